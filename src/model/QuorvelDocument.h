// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "Activity.h"
#include "ActivityCategory.h"
#include "Configuration.h"
#include "QVTask.h"
#include "SortedList.h"

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

// Owner of every category, activity and task, with the data file they live in and the rules
// that keep the task list consistent. No operation saves by itself and none shows a message:
// callers decide when to write and how to word a refusal.
//
// The document string (the data file's contents and the payload of a server exchange) is a
// sequence of lines, each ended by a line feed, between "--start--" and "--end--". Records
// refer to each other by their position in the lists as written, so the lists are always
// written whole and in order.
class QuorvelDocument : public QObject
{
    Q_OBJECT

public:
    static constexpr int FORMAT_VERSION = 105;

    // Result codes of validateTask.
    enum TaskValidity { Valid = 0, StopBeforeStart = 1, ZeroDuration = 2, Overlaps = 3 };

    QuorvelDocument();
    ~QuorvelDocument() override;

    Configuration configuration;
    SortedList<Activity> activities;
    SortedList<ActivityCategory> categories;
    SortedList<QVTask> tasks;
    // Ids of synchronised tasks removed since the server last took the list.
    QList<int> deletedTaskIds;
    int nextId = 1000;

    // Path of the data file.
    static QString dataFilePath();
    // A name beside the data file for a copy kept at this moment: "<file>.<kind>-<stamp>",
    // the stamp being Clock::now() as yyyyMMddhhmmss.
    static QString besideDataFile(const QString &kind);
    // besideDataFile(kind), or with "-2", "-3"… after it when that is taken.
    static QString unusedBesideDataFile(const QString &kind);
    // Copies the data file to unusedBesideDataFile(kind), readable by its owner alone; the copy's
    // path, or empty when it could not be made.
    static QString keepCopyOfDataFile(const QString &kind);

    // A category or activity name as typed, made fit for the data file, which keeps each name
    // on one line and skips control characters before it: control characters (line feeds,
    // tabs, …) become blanks, and blanks at both ends go.
    static QString cleanName(const QString &typed);
    // The longest name taken from outside the window (the command line, an import): longer
    // ones are refused rather than carried into every report.
    static constexpr int MaxNameLength = 1000;
    // True for the markers that delimit the document and the server exchange
    // ("--sync--", "--start--", "--end--"), which no name may be.
    static bool isReservedName(const QString &name);
    // A category's or an activity's name as a catalogue takes it, whatever it comes from (a
    // command, an import, a device's exchange): cleaned as cleanName() cleans it; empty when it
    // cannot be a name at all, being blank, longer than MaxNameLength, or a line that the
    // document or the exchange reads as a marker (the reserved names, and "--sync-end--",
    // which ends a reply).
    static QString catalogueName(const QString &typed);
    // True when two names are one name to the person: names are looked up regardless of case,
    // so no two names in use may differ in case only.
    static bool sameName(const QString &a, const QString &b);

    // --- Data file ----------------------------------------------------------------------

    QString getDocumentString() const;
    // The document string as the UTF-8 bytes that save() writes.
    QByteArray getDocumentBytes() const;

    // Reads a document string and appends what it reads to the lists (nothing is cleared
    // first). True on success; on a damaged body the records read so far stay appended.
    // Never reads outside [data, data + length); may write to the buffer.
    bool populateFromByteArray(char *data, int length);

    // Reads a document string that getDocumentBytes() gave, record for record: unlike
    // populateFromByteArray() it keeps withdrawn activities and categories that no task uses,
    // so that writing the result gives the same bytes again (for taking a change back).
    bool restoreFromBytes(QByteArray bytes);

    // Cursor helpers of the reader; each advances *cursor and lowers *remaining by the bytes
    // it consumed and never looks past the end.
    static void skipControlCharacters(char **cursor, int *remaining);
    static int readInt(char **cursor, int *remaining);
    static QString readString(char **cursor, int *remaining);

    // clear(), then read the data file. False when it cannot be opened or parsed.
    bool load();
    // For a question about some tasks only (what runs, a period): like load(), but a stopped
    // task is built only when keep() says so for its start and stop (wall-clock times), or
    // when it is the first passed over of its activity, which keeps the activity's "has
    // tasks" answer and the clean-up of withdrawn records as a whole load has them. Such a
    // document answers questions and is never saved.
    bool loadSome(bool (*keep)(const QDate &startDay, const QDate &stopDay, const void *context),
                  const void *context);
    // For the question "what runs?" without reading a large data file: clear(), then read
    // the running tasks (with their activities and categories) from the note that save()
    // leaves beside the data file. False when there is no note, or it does not describe the
    // data file as it is now (changed since by anything else): then the file must be read.
    bool loadRunningNote();
    static QString runningNotePath();

    // Writes the data file through "<file>.new" and a rename. True when the new contents
    // were written in full (also when only the rename failed: the ".new" file then holds
    // them).
    bool save();
    // Whether the last save() put the new contents into the data file itself, durably: a
    // save that returned true may still have left them only in the ".new" file.
    bool savedToDataFile() const { return m_savedToDataFile; }
    // Why the last save() did not reach the data file, in the person's words ("" when it did).
    QString saveProblem() const;
    // Whether that was for want of space (a full disk, a quota, a size limit).
    bool saveFailedForSpace() const;
    // Deals with a "<file>.new" that a save cut short by a crash or a kill left behind; run
    // before the data file is read for a change, while no save can be under way. One that
    // does not read, or reads but is not newer than the data file (or holds the same bytes),
    // is removed. One that reads and is newer, or stands where there is no data file, may
    // hold changes the data file lacks: it is kept as besideDataFile("recovered") and that
    // path is returned. Otherwise "" (also when nothing was there, or it is not a plain file).
    static QString recoverInterruptedSave();
    // Deletes every record. nextId and deletedTaskIds stay.
    void clear();

    // --- Task rules and queries ---------------------------------------------------------

    int allocateId();
    // A new category or activity with the next id, in the list in its sorted place; the
    // document owns it.
    ActivityCategory *addCategory(const QString &name);
    Activity *addActivity(const QString &name, ActivityCategory *category);
    int validateTask(const QDateTime &start, const QDateTime &stop, const QDateTime &excludeStart,
                     const QVTask *task) const;
    // Whether a task from start to stop overlaps one from s to e (a running task's e is one
    // minute after its start), by the rule validateTask applies; for times or seconds.
    template<typename Time>
    static bool timesOverlap(const Time &start, const Time &stop, const Time &s, const Time &e)
    {
        return (stop > s && stop < e) || (start > s && start < e) || (s > start && s < stop)
               || (e > start && e < stop) || (start == s && stop == e && start != stop);
    }
    void includeShortcut(QVTask *task);
    void stopTask(QVTask *task, const QDateTime &when);
    // Takes the task out of the list; the caller deletes it.
    void removeTask(QVTask *task);
    // The latest moment a running task can stop at without overlapping a task that starts
    // after it: the start of the first of those. Invalid when none starts after it, or when
    // a stop there is refused too.
    QDateTime latestStop(const QVTask *task) const;
    // Whether a purge of the tasks completed before cutOff takes this one: a task that stopped
    // before it (one stopped exactly then stays; a running task never goes).
    static bool purgedBy(const QVTask *task, const QDateTime &cutOff);
    int countPurgedBy(const QDateTime &cutOff) const;
    // Removes and deletes every task purgedBy(cutOff), each as removeTask() takes it out;
    // returns how many went.
    int purge(const QDateTime &cutOff);
    bool activeTasks() const;
    // The activities of the running tasks among tasks, in order and each once; with
    // onButtons only those of tasks on a shortcut button.
    static QStringList runningActivities(const QList<QVTask *> &tasks, bool onButtons);
    // Minutes booked to the activity within the days from..to inclusive; *running tells
    // whether one of its running tasks started before the end of the period.
    int getActivityDuration(const QDate &from, const QDate &to, const Activity *activity,
                            bool *running) const;
    int getNumActiveActivities(bool includeUsedObsolete) const;
    int getNumActiveCategories() const;
    bool hasActivityGotTasks(const Activity *activity) const;
    void removeObsoleteActivitiesAndCategories();
    void createSampleData();

private:
    bool m_savedToDataFile = false;
    int m_saveError = 0;

    void passSlotOn(const QVTask *task, bool alsoStopped);
    void writeRunningNote() const;
};
