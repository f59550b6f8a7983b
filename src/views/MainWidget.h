// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "MainWidgetBase.h"

#include <QDate>
#include <QDateTime>

class FilterBar;
class QLabel;
class QModelIndex;
class QToolButton;
class QuorvelDocument;
class QVTable;
class QVTask;
class TaskFilterProxy;
class TaskTableModel;

// The main window's central widget: every task of the document in a table ("Start", "Stop",
// "Activity"), and three shortcut buttons that stand for the tasks holding shortcut slots
// 1, 2 and 3, each with a label that shows the running time of its task. The widget points
// at the document's tasks and must be refreshed (update()) whenever one may have been
// deleted.
class MainWidget : public MainWidgetBase
{
    Q_OBJECT

public:
    explicit MainWidget(QuorvelDocument *document, QWidget *parent = nullptr);

    QuorvelDocument *document() const { return m_document; }

    // Rebuilds the whole table and all three buttons.
    void update();
    // Rewrites the row of one task (the whole table when the task is not in the list).
    void updateRow(QVTask *task);
    // Makes the selected task's row current again; column -1 keeps the current column. When
    // the selected task is gone, the last row becomes current and its task selected.
    void setSelectedTask(int column);
    // Blanks the buttons whose slot is empty: no text, disabled, off.
    void blankUnusedButtons();

    QVTask *selectedTask = nullptr;
    QVTable *table = nullptr;
    QVTask *shortcutTask1 = nullptr;
    QVTask *shortcutTask2 = nullptr;
    QVTask *shortcutTask3 = nullptr;

    // The widgets of the form, for the main window.
    QToolButton *button(int slot) const;
    QLabel *statusLabel(int slot) const;
    TaskTableModel *model() const { return m_model; }

    // The find bar above the table and the filter behind it. While the bar is open the table
    // shows the filter's rows; its rows are then no longer the document's.
    FilterBar *filterBar() const { return m_filterBar; }
    TaskFilterProxy *filter() const { return m_filter; }
    bool filtering() const { return m_filtering; }
    // Opens the bar (or brings the typing cursor back to it).
    void showFilterBar();
    // Closes the bar and shows every task again, the selected task still selected.
    void closeFilterBar();
    // The task in a row of the table as shown, or null.
    QVTask *taskAtViewRow(int row) const;
    // The table's cell that shows the document's task at taskRow, or an invalid index when it
    // is filtered out.
    QModelIndex viewIndex(int taskRow, int column) const;

    // The task shown in the row after task's, or before it when task's row is the last; null
    // when task is not shown or alone.
    QVTask *neighbourShown(const QVTask *task) const;

    // The fourth column with each task's duration.
    void setDurationShown(bool shown);
    bool durationShown() const;

    // The text of a running-time label for a task running since start, at now: "" when the
    // start lies in the future; "H:MM" below a day, "Nd  H:MM" from a day on; the colon is
    // a blank on even seconds.
    static QString runningTimeText(const QDateTime &start, const QDateTime &now);

Q_SIGNALS:
    void taskChanged();
    // The find bar opened (true) or closed.
    void filteringChanged(bool filtering);

public Q_SLOTS:
    void tableCellChanged(int row, int column);
    void updateShortcutTimers();

private:
    void initTable();
    // Start and stop 100 pixels wide or as wide as a date and time, the activity 200 (and
    // whatever room is left).
    void setColumnWidths();
    void populateTableRow(QVTask *task, int row);
    void setButton(QToolButton *button, QVTask **slot, QVTask *task);
    void updateShortcutTimer(const QVTask *task, const QDateTime &now, QLabel *label);

    // Shows the tasks the find bar asks for.
    void applyFilter();
    // Shows the given model in the table (the document's or the filter's), keeping the columns'
    // widths.
    void showModel(bool filtered);

    QuorvelDocument *m_document;
    TaskTableModel *m_model = nullptr;
    TaskFilterProxy *m_filter = nullptr;
    FilterBar *m_filterBar = nullptr;
    bool m_filtering = false;
    // The day the filter's Today, This Week and This Month were worked out for.
    QDate m_filterDay;
};
