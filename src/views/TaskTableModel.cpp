// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "TaskTableModel.h"

#include "model/QuorvelDocument.h"

TaskTableModel::TaskTableModel(QuorvelDocument *document, QObject *parent)
    : QAbstractTableModel(parent)
    , m_document(document)
{}

int TaskTableModel::rowCount(const QModelIndex &parent) const
{
    if (parent.isValid())
        return 0;
    return int(m_document->tasks.size());
}

int TaskTableModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant TaskTableModel::data(const QModelIndex &index, int role) const
{
    if (role != Qt::DisplayRole)
        return QVariant();
    const QVTask *task = taskAt(index.isValid() ? index.row() : -1);
    if (!task)
        return QVariant();
    switch (index.column()) {
    case StartColumn:
        return task->startText;
    case StopColumn:
        return task->stopText;
    case ActivityColumn:
        return task->activityName();
    default:
        return QVariant();
    }
}

QVariant TaskTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QVariant();
    switch (section) {
    case StartColumn:
        return tr("Start");
    case StopColumn:
        return tr("Stop");
    case ActivityColumn:
        return tr("Activity");
    default:
        return QVariant();
    }
}

Qt::ItemFlags TaskTableModel::flags(const QModelIndex &index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren;
}

QVTask *TaskTableModel::taskAt(int row) const
{
    if (row < 0 || row >= m_document->tasks.size())
        return nullptr;
    return m_document->tasks.at(row);
}

void TaskTableModel::reset()
{
    beginResetModel();
    endResetModel();
}

void TaskTableModel::rowChanged(int row)
{
    if (row < 0 || row >= rowCount())
        return;
    Q_EMIT dataChanged(index(row, StartColumn), index(row, ActivityColumn), {Qt::DisplayRole});
}
