// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "MainWidgetBase.h"

#include <QDateTime>

class QLabel;
class QToolButton;
class QuorvelDocument;
class QVTable;
class QVTask;
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

    // The text of a running-time label for a task running since start, at now: "" when the
    // start lies in the future; "H:MM" below a day, "Nd  H:MM" from a day on; the colon is
    // a blank on even seconds.
    static QString runningTimeText(const QDateTime &start, const QDateTime &now);

Q_SIGNALS:
    void taskChanged();

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

    QuorvelDocument *m_document;
    TaskTableModel *m_model = nullptr;
};
