#include "QVTask.h"

#include "Activity.h"
#include "TaskTimeText.h"
#include "platform/Clock.h"

QVTask::QVTask()
{
    setStart(QDateTime());
    setStop(QDateTime());
}

QVTask::QVTask(int id, const QDateTime &start, const QDateTime &stop, int shortcut,
               Activity *activity, const QDateTime &modifiedTime, bool synchronised)
    : id(id)
    , shortcut(shortcut)
    , activity(activity)
    , synchronised(synchronised)
    , modifiedTime(modifiedTime)
{
    setStart(start);
    setStop(stop);
}

QVTask::~QVTask() = default;

void QVTask::setStart(const QDateTime &start)
{
    m_start = start;
    startText = TaskTimeText::text(start);
}

void QVTask::setStop(const QDateTime &stop)
{
    m_stop = stop;
    stopText = TaskTimeText::text(stop);
}

bool QVTask::isRunning() const
{
    return !(m_stop.date().isValid() && m_stop.time().isValid());
}

int QVTask::duration() const
{
    return int(m_start.secsTo(m_stop) / 60);
}

void QVTask::modified()
{
    if (!synchronised)
        return;
    const QDateTime now = Clock::currentTime(true);
    const bool stamped = modifiedTime.date().isValid() && modifiedTime.time().isValid();
    // When the clock stands at or before the stamp, the stamp stays: it never moves back and
    // never runs ahead of the clock.
    if (!stamped || now > modifiedTime)
        modifiedTime = now;
}

QString QVTask::activityName() const
{
    return activity ? activity->name : QString();
}

bool QVTask::operator<(const QVTask &other) const
{
    if (m_start != other.m_start)
        return m_start < other.m_start;
    return activityName().compare(other.activityName()) < 0;
}

bool QVTask::operator==(const QVTask &other) const
{
    return m_start == other.m_start && activityName() == other.activityName();
}
