// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "reports/RecentTotals.h"

#include <QDateTime>
#include <QList>
#include <QWidget>

class ElidedToolButton;
class QHBoxLayout;
class QLabel;
class QuorvelMainWindow;

// The permanent part of the main window's status bar, right of the notes that the window shows
// there after a change: every running task with its running time and a Stop control (also one
// whose activity or category was withdrawn and so has no shortcut button), the selected task's
// duration, and today's and this week's totals. Durations read h:mm, as in the reports.
//
// It follows the window's one-second timer but changes only at a new minute; the totals keep
// the tasks that can reach this week until the document changes (RecentTotals).
class StatusBarPanel : public QWidget
{
    Q_OBJECT

public:
    explicit StatusBarPanel(QuorvelMainWindow *window);

    // "Today: h:mm", "This week: h:mm" and "Selected: h:mm" ("" without a selected task).
    QString todayText() const;
    QString weekText() const;
    QString selectedText() const;
    QString todayToolTip() const;
    QString weekToolTip() const;
    // The Stop controls of the running tasks, oldest first, and the running time beside each.
    QList<ElidedToolButton *> stopButtons() const { return m_stops; }
    QList<QLabel *> runningTimes() const { return m_times; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

public Q_SLOTS:
    // The tasks may have changed: the totals look for this week's tasks again.
    void documentChanged();
    // The selected task changed.
    void selectionChanged();
    // A tick of the window's one-second timer: everything is shown anew at a new minute.
    void tick();

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    // Shows the parts that have room at the present width, and leaves out the others.
    void fitParts();
    void refresh();
    void refreshRunning(const QDateTime &now);
    void refreshSelected(const QDateTime &now);

    QuorvelMainWindow *m_window;
    QHBoxLayout *m_layout;
    QList<ElidedToolButton *> m_stops;
    QList<QLabel *> m_times;
    QList<int> m_runningIds;
    QLabel *m_selected;
    QLabel *m_today;
    QLabel *m_week;
    RecentTotals m_totals;
    // The minute shown, to change only when it passes.
    QDateTime m_shownMinute;
};
