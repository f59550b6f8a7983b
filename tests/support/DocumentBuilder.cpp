// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "DocumentBuilder.h"

ActivityCategory *DocumentBuilder::category(const QString &name, bool obsolete)
{
    auto *c = new ActivityCategory(m_doc.allocateId(), name, obsolete);
    m_doc.categories.append(c);
    return c;
}

Activity *DocumentBuilder::activity(const QString &name, ActivityCategory *category, bool obsolete)
{
    auto *a = new Activity(m_doc.allocateId(), name, category, obsolete);
    m_doc.activities.append(a);
    return a;
}

QVTask *DocumentBuilder::task(Activity *activity, const QDateTime &start, const QDateTime &stop,
                              int shortcut)
{
    auto *t = new QVTask(m_doc.allocateId(), start, stop, shortcut, activity, QDateTime(), false);
    m_doc.tasks.append(t);
    return t;
}

void DocumentBuilder::sortAll()
{
    m_doc.categories.sort();
    m_doc.activities.sort();
    m_doc.tasks.sort();
}

void DocumentBuilder::longTimeSheet(int days)
{
    ActivityCategory *category = m_doc.categories.first();
    const QList<Activity *> activities{m_doc.activities.first(),
                                       activity(QStringLiteral("Reviews"), category),
                                       activity(QStringLiteral("Meetings"), category)};
    const QDate last(2026, 11, 21);
    for (int day = 0; day < days; ++day) {
        const QDate date = last.addDays(-day);
        for (int i = 0; i < activities.size(); ++i)
            task(activities.at(i), QDateTime(date, QTime(9 + i, 0)),
                 QDateTime(date, QTime(9 + i, 45)));
    }
}

QDateTime at(int day, int hour, int minute, int second)
{
    return QDateTime(QDate(2026, 11, day), QTime(hour, minute, second));
}
