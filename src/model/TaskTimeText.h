// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QDateTime>
#include <QHash>
#include <QString>

#include <array>

// The display text of a task's start or stop: "<short date> <time>", the time in twelve-hour
// form when the settings say so at the moment the text is made.
//
// Reading the settings and formatting a date costs microseconds, which adds up when a data
// file with 100 000 tasks is read. While a Batch is alive the twelve-hour choice is read once
// and the texts of each day and each minute are formatted once.
class TaskTimeText
{
public:
    static QString text(const QDateTime &when);
    // A moment as a question or a button names it: the time alone when it is today (by the
    // Clock), else text().
    static QString moment(const QDateTime &when);

    // The running time from start to now as the window shows it: "h:mm", or "Nd  h:mm" from
    // a day on, with the given separator between hours and minutes. Empty when now is before
    // start or either is not valid.
    static QString runningTime(const QDateTime &start, const QDateTime &now,
                               const char *separator = ":");

    // True when every wall-clock time of the day is one moment that QDateTime keeps as
    // given: the local time's offset is the same all day (no daylight-saving change, no gap,
    // no repeated hour). Two local-time conversions; Batch keeps the answer per day.
    static bool isSteadyDay(const QDate &date);

    class Batch
    {
    public:
        Batch();
        ~Batch();
        Batch(const Batch &) = delete;
        Batch &operator=(const Batch &) = delete;

        // The innermost live batch, or null.
        static Batch *current();

        // True when every wall-clock time of the day is one moment that QDateTime keeps as
        // given: the local time's offset is the same all day (no daylight-saving change, no
        // gap, no repeated hour).
        bool isSteadyDay(const QDate &date);

        // The text of a valid date and time.
        QString textOf(const QDate &date, const QTime &time);

    private:
        struct Day
        {
            QString text; // short date and a blank
            bool steady = false;
        };
        const Day &day(const QDate &date);

        Batch *m_outer;
        bool m_twelveHour;
        QHash<qint64, Day> m_days;
        qint64 m_lastJulianDay = 0;
        const Day *m_lastDay = nullptr;
        std::array<QString, 24 * 60> m_times;
    };

private:
    static Batch *s_current;
};
