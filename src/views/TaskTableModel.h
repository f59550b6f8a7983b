// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QAbstractTableModel>

class QuorvelDocument;
class QVTask;

// The document's task list as a table of three columns: "Start", "Stop", "Activity" (the
// tasks' display texts and activity names). It reads the list live: after the document's
// list changed, call reset(); after one task changed, rowChanged(row).
class TaskTableModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column { StartColumn = 0, StopColumn = 1, ActivityColumn = 2, ColumnCount = 3 };

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

private:
    QuorvelDocument *m_document;
};
