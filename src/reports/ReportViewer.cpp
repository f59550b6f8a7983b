#include "ReportViewer.h"

#include "platform/DocLnk.h"
#include "platform/MessageBox.h"
#include "reports/Report.h"
#include "reports/ReportBrowser.h"
#include "views/SafeTextBrowser.h"

#include <QDebug>
#include <QGuiApplication>
#include <QPushButton>
#include <QScreen>
#include <QVBoxLayout>

ReportViewer::ReportViewer(Report *report, QWidget *parent)
    : ModalWidget(parent)
    , m_report(report)
{
    // The save button comes first, then the text above it.
    m_save = new QPushButton(tr("Save Report for Viewing Later"), this);
    m_save->setObjectName(QStringLiteral("btnSaveReport"));
    connect(m_save, &QPushButton::clicked, this, &ReportViewer::saveReport);
    setupView(report ? report->getReportText() : QString());
}

ReportViewer::ReportViewer(const QString &savedText, QWidget *parent)
    : ModalWidget(parent)
{
    setupView(savedText);
}

void ReportViewer::setupView(const QString &text)
{
    setWindowTitle(tr("Quorvel - Report"));
    m_browser = new ReportBrowser(this);
    m_browser->setObjectName(QStringLiteral("txtReport"));
    m_browser->setReportText(text);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(1, 1, 1, 1);
    layout->addWidget(m_browser, 1);
    if (m_save)
        layout->addWidget(m_save);
    setFocusProxy(m_browser);
    // The report is read first: the text has the focus, and Tab goes on to the page buttons
    // and the save button under it.
    m_browser->browser()->setFocus();

    // A report table is wide: open large, within the screen.
    const QScreen *shownOn
        = parentWidget() ? parentWidget()->screen() : QGuiApplication::primaryScreen();
    QSize size(900, 650);
    if (shownOn)
        size = size.boundedTo(shownOn->availableGeometry().size() * 9 / 10);
    resize(size);
}

void ReportViewer::saveReport()
{
    if (!m_report)
        return;
    const QString name = m_report->getReportFileName();
    qDebug().noquote() << QStringLiteral("filename=%1").arg(name);
    DocLnk link;
    qDebug("DocLnk created");
    link.setName(name);
    qDebug("file name set");
    link.setType(FileManager::reportType());
    qDebug("type set");
    const FileManager manager;
    qDebug("FileManager created");
    if (!manager.saveFile(link, m_report->getReportText())) {
        // Saying "saved" for a report that is not there would lose it the day it is needed.
        MessageBox::warning(this, tr("Report Not Saved"),
                            tr("The report could not be written to\n%1")
                                .arg(FileManager::folderFor(FileManager::reportType())));
        return;
    }
    qDebug("file saved");
    MessageBox::information(this, tr("Report Saved"), tr("Report document name:\n%1").arg(name));
}
