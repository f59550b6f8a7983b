// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "TaskTableModel.h"

#include "model/QuorvelDocument.h"
#include "platform/Clock.h"
#include "reports/ReportText.h"

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
    if (parent.isValid())
        return 0;
    return m_durationShown ? ColumnCount + 1 : ColumnCount;
}

QVariant TaskTableModel::data(const QModelIndex &index, int role) const
{
    if (role == Qt::TextAlignmentRole && index.isValid() && index.column() == DurationColumn
        && m_durationShown)
        return QVariant(int(Qt::AlignRight | Qt::AlignVCenter));
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
    case DurationColumn:
        if (!m_durationShown)
            return QVariant();
        return durationText(*task, m_now.isValid() ? m_now : Clock::currentTime(true));
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
    case DurationColumn:
        return m_durationShown ? tr("Duration") : QVariant();
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
    Q_EMIT dataChanged(index(row, StartColumn), index(row, columnCount() - 1), {Qt::DisplayRole});
}

void TaskTableModel::setDurationShown(bool shown)
{
    if (shown == m_durationShown)
        return;
    if (shown) {
        beginInsertColumns(QModelIndex(), DurationColumn, DurationColumn);
        m_durationShown = true;
        endInsertColumns();
    } else {
        beginRemoveColumns(QModelIndex(), DurationColumn, DurationColumn);
        m_durationShown = false;
        endRemoveColumns();
    }
}

void TaskTableModel::setNow(const QDateTime &now)
{
    const bool sameMinute = m_now.isValid() && now.isValid()
                            && m_now.toSecsSinceEpoch() / 60 == now.toSecsSinceEpoch() / 60;
    m_now = now;
    if (sameMinute || !m_durationShown)
        return;
    // Only running tasks count on: their cells alone change, so a filter over the table has
    // only those rows to look at again.
    const SortedList<QVTask> &tasks = m_document->tasks;
    for (int row = 0; row < tasks.size(); ++row) {
        if (tasks.at(row)->isRunning()) {
            const QModelIndex cell = index(row, DurationColumn);
            Q_EMIT dataChanged(cell, cell, {Qt::DisplayRole});
        }
    }
}

QString TaskTableModel::durationText(const QVTask &task, const QDateTime &now)
{
    qint64 minutes = 0;
    if (task.isRunning()) {
        const QDateTime start = task.start();
        if (!start.isValid() || !now.isValid())
            return QString();
        // Whole minutes gone, as a running label counts them.
        minutes = start.secsTo(now) / 60;
        if (start > now)
            return QString();
    } else {
        if (!task.start().isValid() || task.stop() < task.start())
            return QString();
        minutes = task.duration();
    }
    return ReportText::formatMinutes(int(qMin<qint64>(minutes, 1000000000)), false);
}
