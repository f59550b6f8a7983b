// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ShortcutsWindow.h"

#include <QAction>
#include <QDialogButtonBox>
#include <QHeaderView>
#include <QKeySequence>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <algorithm>

ShortcutsWindow::ShortcutsWindow(QWidget *window)
    : QDialog(window)
    , m_window(window)
    , m_list(new QTreeWidget(this))
{
    setObjectName(QStringLiteral("shortcutsWindow"));
    setWindowTitle(tr("Keyboard Shortcuts"));
    m_list->setObjectName(QStringLiteral("shortcutList"));
    m_list->setColumnCount(2);
    m_list->setHeaderLabels({tr("Command"), tr("Shortcut")});
    m_list->setRootIsDecorated(false);
    m_list->setSelectionMode(QAbstractItemView::NoSelection);
    m_list->header()->setStretchLastSection(false);
    m_list->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    m_list->header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);

    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_list);
    layout->addWidget(buttons);
    refresh();
    resize(QSize(440, 420).expandedTo(minimumSizeHint()));
}

QString ShortcutsWindow::name(const QAction *action)
{
    // "&&" is a written ampersand; a single "&" marks the mnemonic letter.
    const QString text = action->text();
    QString result;
    result.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text.at(i) != QLatin1Char('&'))
            result.append(text.at(i));
        else if (i + 1 < text.size() && text.at(i + 1) == QLatin1Char('&'))
            result.append(text.at(++i));
    }
    return result;
}

QString ShortcutsWindow::keys(const QAction *action)
{
    QStringList texts;
    const QList<QKeySequence> shortcuts = action->shortcuts();
    for (const QKeySequence &shortcut : shortcuts) {
        if (!shortcut.isEmpty())
            texts << shortcut.toString(QKeySequence::NativeText);
    }
    return texts.join(QStringLiteral(", "));
}

QList<QAction *> ShortcutsWindow::actionsWithShortcuts(const QWidget *window)
{
    QList<QAction *> found;
    const QList<QAction *> actions = window->findChildren<QAction *>();
    for (QAction *action : actions) {
        if (!keys(action).isEmpty() && !name(action).isEmpty() && !found.contains(action))
            found << action;
    }
    std::stable_sort(found.begin(), found.end(), [](const QAction *a, const QAction *b) {
        return name(a).localeAwareCompare(name(b)) < 0;
    });
    return found;
}

void ShortcutsWindow::refresh()
{
    m_list->clear();
    const QList<QAction *> actions = actionsWithShortcuts(m_window);
    for (const QAction *action : actions)
        m_list->addTopLevelItem(new QTreeWidgetItem(QStringList{name(action), keys(action)}));
}
