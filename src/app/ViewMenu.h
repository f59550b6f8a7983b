// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QObject>

class MainWidget;
class QAction;
class QMenu;
class QWidget;

// The View menu: the task table's Duration Column, remembered between starts, and Find…, the
// bar above the table that shows only the tasks looked for; Escape closes it.
class ViewMenu : public QObject
{
    Q_OBJECT

public:
    // Fills menu; the window gets the Escape key of the find bar.
    ViewMenu(QWidget *window, QMenu *menu);

    // The table the entries act on, once the window has made it.
    void attach(MainWidget *view);

    QAction *durationColumn() const { return m_durationColumn; }
    QAction *find() const { return m_find; }
    QAction *closeFind() const { return m_closeFind; }

    // Whether the table shows the Duration column ("Desktop/DurationColumn", off at first).
    static bool durationColumnShown();

private:
    void durationColumnToggled(bool on);

    MainWidget *m_view = nullptr;
    QAction *m_durationColumn;
    QAction *m_find;
    QAction *m_closeFind;
};
