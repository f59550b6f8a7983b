// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QByteArray>
#include <QDate>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QTime>

#include <vector>

// The document string: the data file's contents and the payload of a server exchange, as
// plain records. The one reader and the one writer of the format live here, so that the
// program, the group server and every other reader can never disagree about it.
//
// A sequence of lines, each ended by a line feed, between "--start--" and "--end--". Records
// refer to each other by their position in the lists as written (a task names its activity by
// the activity's place in the activity list), so lists are always written whole and in order.
namespace DocumentFormat {

constexpr int Version = 105;

extern const char StartMarker[]; // "--start--"
extern const char EndMarker[];   // "--end--"

// A date-time block as it stands in the document: year, month, day, hour, minute (and second
// for the change stamp). A year of 0 stands for "not set".
struct WallClock
{
    int year = 0;
    int month = 0;
    int day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;

    bool isNull() const { return year == 0; }
    // True when date() and time() are certainly valid, told from the numbers alone without
    // making them: for years 1 to 9999, the years nearly every record holds. False says
    // nothing; QDate and QTime decide the rest.
    bool isPlainlyValid() const;
    // The date as one number that orders as the dates do, made from the numbers alone; -1
    // unless isPlainlyValid().
    qint64 plainDay() const { return isPlainlyValid() ? dayNumber(year, month, day) : -1; }
    // That number for any date.
    static qint64 dayNumber(const QDate &date);
    static constexpr qint64 dayNumber(qint64 year, int month, int day)
    {
        return (year * 16 + month) * 32 + day;
    }
    QDate date() const { return QDate(year, month, day); }
    QTime time() const { return QTime(hour, minute, second, 0); }
    // A null QDateTime for "not set".
    QDateTime toDateTime() const { return isNull() ? QDateTime() : QDateTime(date(), time()); }

    // The block of a date and time: null unless both are valid. Seconds are kept only when
    // asked for.
    static WallClock of(const QDate &date, const QTime &time, bool withSeconds);
    static WallClock of(const QDateTime &when, bool withSeconds)
    {
        return of(when.date(), when.time(), withSeconds);
    }
};

struct CategoryRecord
{
    int id = 0;
    QString name;
    bool obsolete = false;
};

struct ActivityRecord
{
    int id = 0;
    QString name;
    bool obsolete = false;
    // Position of its category in the category list (0 = first); -1 for none.
    int categoryPosition = -1;
};

struct TaskRecord
{
    int id = 0;
    // Position of its activity in the activity list (0 = first); -1 for none.
    int activityPosition = -1;
    int shortcut = 0;
    WallClock start; // minutes only
    WallClock stop;  // minutes only; null while the task runs
    WallClock stamp; // to the second; null when never stamped
    bool synchronised = false;
};

// Receives what the reader reads, in the order it stands. A record handler returns false to
// stop the read, which then fails; counts are handed over before their records so that a
// reader with limits can refuse a list before anything of it is built.
class Sink
{
public:
    enum class List { Categories, Activities, Tasks, DeletedTaskIds };

    virtual ~Sink() = default;
    virtual void nextId(int value) = 0;
    virtual bool count(List list, int count)
    {
        Q_UNUSED(list);
        Q_UNUSED(count);
        return true;
    }
    virtual bool category(const CategoryRecord &record) = 0;
    virtual bool activity(const ActivityRecord &record) = 0;
    virtual bool task(const TaskRecord &record) = 0;
    // Called even when the read fails at the end marker, as the list was read by then.
    virtual void deletedTaskIds(const QList<int> &ids) = 0;
};

// A sink that keeps the categories and activities as read, for readers that take the tasks
// their own way (or not at all).
class CatalogueSink : public Sink
{
public:
    std::vector<CategoryRecord> categories;
    std::vector<ActivityRecord> activities;

    void nextId(int) override {}
    bool category(const CategoryRecord &record) override
    {
        categories.push_back(record);
        return true;
    }
    bool activity(const ActivityRecord &record) override
    {
        activities.push_back(record);
        return true;
    }
    bool task(const TaskRecord &) override { return true; }
    void deletedTaskIds(const QList<int> &) override {}
};

// Told, as the reader goes through the tasks, that it will never look before upTo again: a
// caller whose bytes are a mapped file lets go of the pages behind, so that a long history is
// never resident all at once. Told every PassingStep bytes or so.
struct Passing
{
    void (*passed)(const char *upTo, void *context);
    void *context;
};
constexpr int PassingStep = 64 * 1024;

// Reads a document string of length bytes at data. True when it is whole: the start marker,
// version 105, and the end marker where the counts say it is. Never reads outside
// [data, data + length) and never writes there, so the bytes may be a read-only mapping.
// Counts are used as read, but once the buffer is exhausted no further record is handed over,
// so a damaged count cannot make millions of empty records.
// passing, when given, hears how far the reader has come.
bool read(const char *data, int length, Sink &sink, const Passing *passing = nullptr);

// Cursor helpers of the reader; each advances *cursor and lowers *remaining by the bytes it
// consumed and never looks past the end. Values are separated by line feeds; bytes below 32
// before a value (blank lines, carriage returns, tabs) are skipped.
void skipControlCharacters(const char **cursor, int *remaining);
// 0 when nothing is left; otherwise the C library's strtol rules over the line.
int readInt(const char **cursor, int *remaining);
// A null string when nothing is left; otherwise the line's UTF-8 text.
QString readString(const char **cursor, int *remaining);

// Builds a document string as UTF-8 in one growing buffer. The caller writes the parts in
// the order of the format: begin, the categories, the activities, the tasks, end.
class Writer
{
public:
    explicit Writer(qsizetype expectedSize = 256);

    void begin(int nextId);
    void count(qsizetype count) { number(count); }
    void category(int id, const QString &name, bool obsolete);
    void activity(int id, const QString &name, bool obsolete, int categoryPosition);
    void task(const TaskRecord &record);
    // The same from the wall-clock parts, so that writing converts nothing.
    void task(int id, int activityPosition, int shortcut, const QDate &startDate,
              const QTime &startTime, const QDate &stopDate, const QTime &stopTime,
              const QDateTime &stamp, bool synchronised);
    // The deleted-id list with its count, and the end marker.
    void end(const QList<int> &deletedTaskIds);

    const QByteArray &bytes() const { return m_bytes; }

private:
    void text(const char *line);
    void text(const QString &line);
    void number(qint64 value);
    void flag(bool value) { m_bytes.append(value ? "1\n" : "0\n"); }
    void toMinute(const QDate &date, const QTime &time);
    void toMinute(const WallClock &when);
    void toSecond(const WallClock &when);

    QByteArray m_bytes;
};

} // namespace DocumentFormat
