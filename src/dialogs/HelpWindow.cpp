// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "HelpWindow.h"

#include <QDesktopServices>
#include <QDialogButtonBox>
#include <QFile>
#include <QTextBrowser>
#include <QVBoxLayout>

HelpWindow::HelpWindow(QWidget *parent)
    : QDialog(parent)
    , m_browser(new QTextBrowser(this))
{
    setObjectName(QStringLiteral("helpWindow"));
    setWindowTitle(tr("Quorvel Help"));
    m_browser->setObjectName(QStringLiteral("helpText"));
    m_browser->setReadOnly(true);
    // Links within the guide move within it and links to the web go to the browser; the guide
    // never loads anything, since the files it names are not beside the program.
    m_browser->setOpenLinks(false);
    connect(m_browser, &QTextBrowser::anchorClicked, this, [this](const QUrl &url) {
        const QString scheme = url.scheme();
        if (scheme == QLatin1String("https") || scheme == QLatin1String("http"))
            QDesktopServices::openUrl(url);
        else if (scheme.isEmpty() && url.path().isEmpty() && url.hasFragment())
            m_browser->scrollToAnchor(url.fragment());
    });
    m_browser->setMarkdown(guide());

    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_browser);
    layout->addWidget(buttons);
    resize(QSize(720, 560).expandedTo(minimumSizeHint()));
}

QString HelpWindow::guide()
{
    QFile file(QStringLiteral(":/help/quorvel-help.md"));
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    return QString::fromUtf8(file.readAll());
}
