#include "TaskTimeText.h"

#include "Configuration.h"
#include "platform/TimeString.h"

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

QString TaskTimeText::Batch::textOf(const QDate &date, const QTime &time)
{
    // Tasks arrive sorted, so the day of the previous text is usually the day of this one.
    const qint64 day = date.toJulianDay();
    if (m_lastDayText.isNull() || day != m_lastDay) {
        auto known = m_dates.find(day);
        if (known == m_dates.end())
            known = m_dates.insert(day, TimeString::shortDate(date) + QLatin1Char(' '));
        m_lastDay = day;
        m_lastDayText = *known;
    }
    QString &clock = m_times[size_t(time.hour() * 60 + time.minute())];
    if (clock.isNull())
        clock = TimeString::timeString(time, m_twelveHour);
    return m_lastDayText + clock;
}
