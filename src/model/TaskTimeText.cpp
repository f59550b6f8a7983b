// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "TaskTimeText.h"

#include "Configuration.h"
#include "platform/Clock.h"
#include "platform/TimeString.h"

#include <ctime>

TaskTimeText::Batch *TaskTimeText::s_current = nullptr;

QString TaskTimeText::text(const QDateTime &when)
{
    const QDate date = when.date();
    const QTime time = when.time();
    if (!date.isValid() || !time.isValid())
        return QString();
    if (s_current)
        return s_current->textOf(date, time);
    return TimeString::shortDate(date) + QLatin1Char(' ')
           + TimeString::timeString(time, Configuration().twelveHourClock());
}

QString TaskTimeText::moment(const QDateTime &when)
{
    if (when.date() == Clock::currentTime(false).date())
        return TimeString::timeString(when.time(), Configuration().twelveHourClock());
    return text(when);
}

TaskTimeText::Batch::Batch()
    : m_outer(s_current)
    , m_twelveHour(Configuration().twelveHourClock())
{
    s_current = this;
}

TaskTimeText::Batch::~Batch()
{
    s_current = m_outer;
}

TaskTimeText::Batch *TaskTimeText::Batch::current()
{
    return s_current;
}

const TaskTimeText::Batch::Day &TaskTimeText::Batch::day(const QDate &date)
{
    // Tasks arrive sorted, so the day asked for is usually the day asked for last.
    const qint64 julianDay = date.toJulianDay();
    if (m_lastDay && julianDay == m_lastJulianDay)
        return *m_lastDay;
    auto known = m_days.find(julianDay);
    if (known == m_days.end()) {
        Day d;
        d.text = TimeString::shortDate(date) + QLatin1Char(' ');
        d.steady = TaskTimeText::isSteadyDay(date);
        known = m_days.insert(julianDay, d);
    }
    // The address stays good until the next insertion, which comes back here and resets it.
    m_lastJulianDay = julianDay;
    m_lastDay = &known.value();
    return *m_lastDay;
}

namespace {

// The local time of a moment, as the C library has it.
std::tm localParts(std::time_t moment)
{
    std::tm parts = {};
    localtime_r(&moment, &parts);
    return parts;
}

QDate dateOf(const std::tm &parts)
{
    return QDate(parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday);
}

// The C library's answer, for a tenth of what QDateTime's costs: the day's midnight exists
// and is its first moment (not the second of a repeated one), 86 399 seconds later the clock
// shows the day's last second at the same offset, and the moment after is on a later day.
bool steadyByLocalTime(const QDate &date)
{
    int year = 0;
    int month = 0;
    int day = 0;
    date.getDate(&year, &month, &day);
    std::tm parts = {};
    parts.tm_year = year - 1900;
    parts.tm_mon = month - 1;
    parts.tm_mday = day;
    parts.tm_isdst = -1;
    const std::time_t midnight = std::mktime(&parts);
    if (midnight == std::time_t(-1) || dateOf(parts) != date || parts.tm_hour != 0
        || parts.tm_min != 0 || parts.tm_sec != 0)
        return false;
    const std::tm last = localParts(midnight + 24 * 60 * 60 - 1);
    return dateOf(localParts(midnight - 1)) < date && dateOf(last) == date && last.tm_hour == 23
           && last.tm_min == 59 && last.tm_sec == 59 && last.tm_gmtoff == parts.tm_gmtoff
           && dateOf(localParts(midnight + 24 * 60 * 60)) > date;
}

} // namespace

bool TaskTimeText::isSteadyDay(const QDate &date)
{
    // Between these years QDateTime's local time is the C library's, asked directly here: a
    // long history asks this for every day it has tasks on.
    if (date.isValid() && date.year() >= 1971 && date.year() <= 2037)
        return steadyByLocalTime(date);
    const QDateTime midnight(date, QTime(0, 0));
    const QDateTime nextMidnight(date.addDays(1), QTime(0, 0));
    // Both midnights exist as given and lie a plain 24 hours apart at the same offset: no
    // transition falls within the day. (Two transitions that cancel out within one day do not
    // occur in the time zone database.)
    return midnight.isValid() && nextMidnight.isValid() && midnight.time() == QTime(0, 0)
           && nextMidnight.time() == QTime(0, 0) && midnight.date() == date
           && nextMidnight.date() == date.addDays(1)
           && midnight.offsetFromUtc() == nextMidnight.offsetFromUtc()
           && midnight.secsTo(nextMidnight) == 24 * 60 * 60;
}

bool TaskTimeText::Batch::isSteadyDay(const QDate &date)
{
    return day(date).steady;
}

QString TaskTimeText::Batch::textOf(const QDate &date, const QTime &time)
{
    QString &clock = m_times[size_t(time.hour() * 60 + time.minute())];
    if (clock.isNull())
        clock = TimeString::timeString(time, m_twelveHour);
    return day(date).text + clock;
}

QString TaskTimeText::runningTime(const QDateTime &start, const QDateTime &now,
                                  const char *separator)
{
    if (!start.isValid() || !now.isValid())
        return QString();
    const qint64 s = start.secsTo(now);
    if (s < 0)
        return QString();
    const qint64 days = s / 86400;
    const qint64 rest = s - days * 86400;
    const qint64 hours = rest / 3600;
    const qint64 minutes = (rest - hours * 3600) / 60;
    if (days < 1)
        return QString::asprintf("%d%s%02d", int(hours), separator, int(minutes));
    return QString::asprintf("%lldd  %d%s%02d", days, int(hours), separator, int(minutes));
}
