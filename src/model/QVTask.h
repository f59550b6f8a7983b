// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QDateTime>
#include <QObject>
#include <QString>

class Activity;

// One stretch of time booked to one activity. A task whose stop is not a valid date and time
// is running. Owned by the document once appended to its task list.
class QVTask : public QObject
{
    Q_OBJECT

public:
    QVTask();
    QVTask(int id, const QDateTime &start, const QDateTime &stop, int shortcut, Activity *activity,
           const QDateTime &modifiedTime, bool synchronised);
    ~QVTask() override;

    QDateTime start() const { return m_start.value(); }
    QDateTime stop() const { return m_stop.value(); }
    // Store the value exactly (seconds included) and rebuild the display text.
    void setStart(const QDateTime &start);
    void setStop(const QDateTime &stop);

    // The same as setStart(QDateTime(date, time)) and setStop(QDateTime(date, time)), for the
    // data file reader: while a TaskTimeText::Batch is alive, a time on a day without a
    // daylight-saving change is kept as given and turned into a QDateTime, a costly
    // local-time conversion, only when first asked for.
    void setStartWallClock(const QDate &date, const QTime &time);
    void setStopWallClock(const QDate &date, const QTime &time);

    // The date and time parts of start() and stop(), without a local-time conversion.
    QDate startDate() const { return m_start.date(); }
    QTime startTime() const { return m_start.time(); }
    QDate stopDate() const { return m_stop.date(); }
    QTime stopTime() const { return m_stop.time(); }

    // True while the stop's date or time is not valid.
    bool isRunning() const;

    // Whole minutes from start to stop, truncated (119 seconds is 1 minute).
    int duration() const;

    // Change stamp for tasks the group server knows: moves modifiedTime to now, never back.
    void modified();

    // By start; at the same start by activity name, case-sensitive. A task without an
    // activity (from a damaged file) sorts as if the name were empty.
    bool operator<(const QVTask &other) const;
    bool operator==(const QVTask &other) const;

    // The name of the task's activity, or an empty text when it has none.
    QString activityName() const;

    int id = 0;
    // Shortcut button showing the task: 1, 2 or 3; any other value means none.
    int shortcut = 0;
    // Not owned; null only after a damaged data file named an activity that does not exist.
    Activity *activity = nullptr;
    bool synchronised = false;
    // Last change to a synchronised task, to the second; null when never stamped.
    QDateTime modifiedTime;
    // Display texts of start and stop, "" when not set. Written only by the setters above.
    QString startText;
    QString stopText;

private:
    // A local date and time, possibly still waiting to be converted.
    class Moment
    {
    public:
        QDateTime value() const
        {
            if (m_pending) {
                m_value = QDateTime(m_date, m_time);
                m_pending = false;
            }
            return m_value;
        }
        void set(const QDateTime &value)
        {
            m_value = value;
            m_pending = false;
        }
        // Only for a valid date and time on a steady day: the QDateTime is then valid and
        // shows exactly this date and time.
        void setPending(const QDate &date, const QTime &time)
        {
            m_date = date;
            m_time = time;
            m_pending = true;
        }
        QDate date() const { return m_pending ? m_date : m_value.date(); }
        QTime time() const { return m_pending ? m_time : m_value.time(); }

    private:
        mutable QDateTime m_value;
        QDate m_date;
        QTime m_time;
        mutable bool m_pending = false;
    };

    static void setWallClock(Moment &moment, QString &text, const QDate &date, const QTime &time);

    Moment m_start;
    Moment m_stop;
};
