// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QDialog>
#include <QList>

class QAction;
class QTreeWidget;

// Help → Keyboard Shortcuts: every keyboard shortcut of a window, read from its actions when
// the list is shown, so that a new command's shortcut is listed without anyone adding it here.
class ShortcutsWindow : public QDialog
{
    Q_OBJECT

public:
    explicit ShortcutsWindow(QWidget *window);

    // The actions of window that have a shortcut and a name, in the order of their names.
    static QList<QAction *> actionsWithShortcuts(const QWidget *window);
    // An action's name as listed: its text without mnemonic marks.
    static QString name(const QAction *action);
    // An action's shortcuts as the desktop writes them, separated by commas.
    static QString keys(const QAction *action);

    // Reads the window's actions again.
    void refresh();
    QTreeWidget *list() const { return m_list; }

private:
    QWidget *m_window;
    QTreeWidget *m_list;
};
