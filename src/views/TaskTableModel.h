// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QAbstractTableModel>
#include <QDateTime>

class QuorvelDocument;
class QVTask;

// The document's task list as a table of three columns: "Start", "Stop", "Activity" (the
// tasks' display texts and activity names), and a fourth, "Duration", when it is switched on.
// It reads the list live: after the document's list changed, call reset(); after one task
// changed, rowChanged(row).
class TaskTableModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column {
        StartColumn = 0,
        StopColumn = 1,
        ActivityColumn = 2,
        ColumnCount = 3,
        DurationColumn = 3
    };

    explicit TaskTableModel(QuorvelDocument *document, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;

    // The task shown in a row, or null outside the list.
    QVTask *taskAt(int row) const;
    // The whole list may have changed (tasks added, removed or re-sorted).
    void reset();
    // The texts of the task in this row changed.
    void rowChanged(int row);

    // The fourth column, with each task's duration; off at first.
    void setDurationShown(bool shown);
    bool durationShown() const { return m_durationShown; }
    // The running tasks' durations are worked out at now; when now has reached another
    // minute, their cells change.
    void setNow(const QDateTime &now);
    // A task's duration as the reports write it, "h:mm" in whole minutes: start to stop, or
    // start to now while it runs. Empty when the stop (or now) lies before the start.
    static QString durationText(const QVTask &task, const QDateTime &now);

private:
    QuorvelDocument *m_document;
    bool m_durationShown = false;
    QDateTime m_now;
};
