// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "TaskFilterProxy.h"

#include "TaskTableModel.h"
#include "model/Activity.h"
#include "model/ActivityCategory.h"
#include "model/QVTask.h"
#include "platform/Clock.h"

#include <algorithm>

TaskFilterProxy::TaskFilterProxy(TaskTableModel *source, QObject *parent)
    : QSortFilterProxyModel(parent)
    , m_source(source)
{
    // The rows stay in the table's order; a task's change is filtered again when it comes.
    setDynamicSortFilter(true);
    setSourceModel(source);
    // A reset may follow a renamed activity or category, or records read anew.
    connect(source, &QAbstractItemModel::modelAboutToBeReset, this, [this] { m_matches.clear(); });
}

void TaskFilterProxy::setText(const QString &text)
{
    if (text == m_text)
        return;
    // A reset, not the filter's row-by-row removals: with many tasks, each removed stretch
    // would be a signal the view handles across the whole table.
    beginResetModel();
    m_text = text;
    m_foldedText = folded(text.trimmed());
    m_matches.clear();
    endResetModel();
}

void TaskFilterProxy::setPeriod(const QDate &from, const QDate &to)
{
    if (from == m_from && to == m_to)
        return;
    beginResetModel();
    m_from = from;
    m_to = to;
    m_today = Clock::now().date();
    endResetModel();
}

void TaskFilterProxy::setActive(bool active)
{
    if (active == isActive())
        return;
    m_matches.clear();
    setSourceModel(active ? m_source : nullptr);
}

QVTask *TaskFilterProxy::taskAt(int row) const
{
    if (!isActive() || row < 0 || row >= rowCount())
        return nullptr;
    return m_source->taskAt(mapToSource(index(row, 0)).row());
}

int TaskFilterProxy::rowOf(int sourceRow) const
{
    if (!isActive() || sourceRow < 0 || sourceRow >= m_source->rowCount())
        return -1;
    return mapFromSource(m_source->index(sourceRow, 0)).row();
}

QString TaskFilterProxy::folded(const QString &text)
{
    // Decomposed, an accented letter is its base letter and combining marks: dropping the
    // marks leaves "Resume" of "Résumé".
    const QString decomposed = text.normalized(QString::NormalizationForm_D);
    QString result;
    result.reserve(decomposed.size());
    for (const QChar c : decomposed) {
        const QChar::Category category = c.category();
        if (category == QChar::Mark_NonSpacing || category == QChar::Mark_SpacingCombining
            || category == QChar::Mark_Enclosing)
            continue;
        result.append(c);
    }
    return result.toCaseFolded();
}

bool TaskFilterProxy::activityMatches(const Activity *activity) const
{
    const auto found = m_matches.constFind(activity);
    if (found != m_matches.constEnd())
        return found.value();
    bool matches = false;
    if (activity) {
        matches
            = folded(activity->name).contains(m_foldedText)
              || (activity->category && folded(activity->category->name).contains(m_foldedText));
    }
    m_matches.insert(activity, matches);
    return matches;
}

bool TaskFilterProxy::filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const
{
    if (sourceParent.isValid())
        return false;
    const QVTask *task = m_source->taskAt(sourceRow);
    if (!task)
        return false;
    if (!m_foldedText.isEmpty() && !activityMatches(task->activity))
        return false;
    if (m_from.isNull() && m_to.isNull())
        return true;
    // A task touches the period when it starts before the period ends and stops after it
    // begins; a running task lasts until today. A task without a valid start belongs to no
    // period.
    const QDate start = task->startDate();
    if (!start.isValid())
        return false;
    const QDate stop = task->isRunning() ? m_today : task->stopDate();
    if (m_to.isValid() && std::min(start, stop.isValid() ? stop : start) > m_to)
        return false;
    if (m_from.isValid() && std::max(start, stop) < m_from)
        return false;
    return true;
}
