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
    QVTask(int id, const QDateTime &start, const QDateTime &stop, int shortcut,
           Activity *activity, const QDateTime &modifiedTime, bool synchronised);
    ~QVTask() override;

    QDateTime start() const { return m_start; }
    QDateTime stop() const { return m_stop; }
    // Store the value exactly (seconds included) and rebuild the display text.
    void setStart(const QDateTime &start);
    void setStop(const QDateTime &stop);

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
    // Display texts of start and stop, "" when not set. Written only by setStart / setStop.
    QString startText;
    QString stopText;

private:
    QDateTime m_start;
    QDateTime m_stop;
};
