// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

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
    m_start.set(start);
    startText = TaskTimeText::text(start);
}

void QVTask::setStop(const QDateTime &stop)
{
    m_stop.set(stop);
    stopText = TaskTimeText::text(stop);
}

void QVTask::setWallClock(Moment &moment, QString &text, const QDate &date, const QTime &time)
{
    TaskTimeText::Batch *batch = TaskTimeText::Batch::current();
    if (batch && date.isValid() && time.isValid() && batch->isSteadyDay(date)) {
        moment.setPending(date, time);
        text = batch->textOf(date, time);
        return;
    }
    const QDateTime value(date, time);
    moment.set(value);
    text = TaskTimeText::text(value);
}

void QVTask::setStartWallClock(const QDate &date, const QTime &time)
{
    setWallClock(m_start, startText, date, time);
}

void QVTask::setStopWallClock(const QDate &date, const QTime &time)
{
    setWallClock(m_stop, stopText, date, time);
}

bool QVTask::isRunning() const
{
    return !(stopDate().isValid() && stopTime().isValid());
}

int QVTask::duration() const
{
    return int(start().secsTo(stop()) / 60);
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
    const QDateTime a = start();
    const QDateTime b = other.start();
    if (a != b)
        return a < b;
    return activityName().compare(other.activityName()) < 0;
}

bool QVTask::operator==(const QVTask &other) const
{
    return start() == other.start() && activityName() == other.activityName();
}
