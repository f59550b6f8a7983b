// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "TaskTimeText.h"

#include "Configuration.h"
#include "platform/Clock.h"
#include "platform/TimeString.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

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

// The offset from UTC the C library gives a moment.
long offsetAt(std::time_t moment)
{
    std::tm parts = {};
    localtime_r(&moment, &parts);
    return parts.tm_gmtoff;
}

// The offsets at whole days from the epoch, kept while the environment names the same zone
// (as the C library itself keeps the zone it read): the days of a history come one after
// another, and each asks again for three of the four readings the day before asked for.
class MidnightOffsets
{
public:
    // Has the C library read the zone the environment names now, and forgets what was read for
    // another one. The same name is not read again, by the library either.
    void follow()
    {
        const char *zone = std::getenv("TZ");
        if (m_followed && (zone ? m_zone && *m_zone == zone : !m_zone))
            return;
        tzset();
        m_followed = true;
        m_zone = zone ? std::optional<std::string>(zone) : std::nullopt;
        m_moments.fill(Unread);
    }

    long at(std::time_t moment)
    {
        const size_t slot = size_t(moment / Day) % Slots;
        if (m_moments[slot] != moment) {
            m_moments[slot] = moment;
            m_offsets[slot] = offsetAt(moment);
        }
        return m_offsets[slot];
    }

    static constexpr std::time_t Day = 24 * 60 * 60;

private:
    static constexpr size_t Slots = 8;
    // Never asked for: only midnights from 1970 on are.
    static constexpr std::time_t Unread = -1;
    bool m_followed = false;
    std::optional<std::string> m_zone; // none while TZ is not set
    std::array<std::time_t, Slots> m_moments{};
    std::array<long, Slots> m_offsets{};
};

// The C library's answer, for a tenth of what QDateTime's costs, from moments alone: no change
// of offset skips or repeats a wall-clock time of the day. A change that could do so lies
// between a day before the day's midnight read as UTC and two days after it (offsets stay
// within 14 hours), so the offset is read there a day apart and, where it differs, the change
// is narrowed to its second. No two changes fall within one day.
bool steadyByLocalTime(const QDate &date)
{
    // The zone as the environment names it now.
    thread_local MidnightOffsets midnights;
    midnights.follow();
    constexpr std::time_t Day = MidnightOffsets::Day;
    constexpr qint64 EpochJulianDay = 2440588; // 1970-01-01
    const std::time_t wallMidnight = std::time_t(date.toJulianDay() - EpochJulianDay) * Day;
    std::time_t low = wallMidnight - Day;
    long before = midnights.at(low);
    for (int step = 0; step < 3; ++step, low += Day) {
        const long after = midnights.at(low + Day);
        if (after == before)
            continue;
        std::time_t changeLow = low;
        std::time_t changeHigh = low + Day;
        while (changeHigh - changeLow > 1) {
            const std::time_t middle = changeLow + (changeHigh - changeLow) / 2;
            (offsetAt(middle) == before ? changeLow : changeHigh) = middle;
        }
        // From the change on, the wall-clock times between the two readings of it are
        // skipped (the clock went forward) or repeated (it went back).
        const std::time_t from = changeHigh + std::min(before, after);
        const std::time_t to = changeHigh + std::max(before, after);
        if (from < wallMidnight + Day && to > wallMidnight)
            return false;
        before = after;
    }
    return true;
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
