// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QDate>
#include <QHash>
#include <QSortFilterProxyModel>
#include <QString>

class Activity;
class TaskTableModel;
class QVTask;

// The task table narrowed down to the tasks a person looks for: those whose activity or
// category contains a text (letter case and accents ignored) and that touch a period. Only
// the view changes; the document and the table's own model stay as they are.
class TaskFilterProxy : public QSortFilterProxyModel
{
    Q_OBJECT

public:
    explicit TaskFilterProxy(TaskTableModel *source, QObject *parent = nullptr);

    // The text to find; empty finds every task.
    void setText(const QString &text);
    QString text() const { return m_text; }
    // The days the tasks must touch, both included; null dates leave that end open.
    void setPeriod(const QDate &from, const QDate &to);
    QDate from() const { return m_from; }
    QDate to() const { return m_to; }

    // Follows the table's model only while active: inactive, it has no rows and costs nothing
    // when the table changes.
    void setActive(bool active);
    bool isActive() const { return sourceModel() != nullptr; }

    // The task shown in a row of this model, or null.
    QVTask *taskAt(int row) const;
    // The row of this model that shows the source model's row, or -1 when it is filtered out.
    int rowOf(int sourceRow) const;

    // The text as it is compared: lower case, without accents and other combining marks.
    static QString folded(const QString &text);

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const override;

private:
    bool activityMatches(const Activity *activity) const;

    TaskTableModel *m_source;
    QString m_text;
    QString m_foldedText;
    QDate m_from;
    QDate m_to;
    // The day a running task lasts until, taken when the period was set.
    QDate m_today;
    // Whether each activity's name or category matches the text: a few activities stand for
    // many thousands of tasks, so each is folded once per text.
    mutable QHash<const Activity *, bool> m_matches;
};
