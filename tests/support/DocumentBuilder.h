// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "model/QuorvelDocument.h"

#include <QDateTime>
#include <QString>

#include <array>

// Short hands for putting records into a document in tests. Every record gets the next id of
// the document and is appended unsorted; call sortAll() when the order matters.
class DocumentBuilder
{
public:
    explicit DocumentBuilder(QuorvelDocument &doc)
        : m_doc(doc)
    {}

    ActivityCategory *category(const QString &name, bool obsolete = false);
    Activity *activity(const QString &name, ActivityCategory *category, bool obsolete = false);
    // One activity without a category per name, in the order given:
    //     const auto [a, b] = build.activities({"A", "B"});
    template<size_t N>
    std::array<Activity *, N> activities(const char *const (&names)[N])
    {
        std::array<Activity *, N> made;
        for (size_t i = 0; i < N; ++i)
            made[i] = activity(QString::fromUtf8(names[i]), nullptr);
        return made;
    }
    // A stopped task, or a running one when stop is a null QDateTime.
    QVTask *task(Activity *activity, const QDateTime &start, const QDateTime &stop,
                 int shortcut = 0);
    void sortAll();
    // Two activities more, "Reviews" and "Meetings" in the first category, and a long time
    // sheet: on each of the days days up to 2026-11-21, 45 minutes of the first activity, of
    // Reviews and of Meetings, from 9:00, 10:00 and 11:00.
    void longTimeSheet(int days);

private:
    QuorvelDocument &m_doc;
};

// 2026-11-<day> at hh:mm:ss, local time.
QDateTime at(int day, int hour, int minute, int second = 0);
