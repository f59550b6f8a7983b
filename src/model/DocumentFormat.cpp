// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "DocumentFormat.h"

#include <charconv>
#include <climits>
#include <cstring>

namespace DocumentFormat {

const char StartMarker[] = "--start--";
const char EndMarker[] = "--end--";

namespace {

// Base-10 conversion with the C library's strtol rules (leading white space, an optional
// sign, digits up to the first non-digit, no digits gives 0, out of range clamps to the long
// limits), then narrowed to int, over exactly length bytes: no terminator is needed.
int convertInt(const char *text, int length)
{
    const char *p = text;
    const char *end = text + length;
    while (p < end && (*p == ' ' || (*p >= '\t' && *p <= '\r')))
        ++p;
    bool negative = false;
    if (p < end && (*p == '+' || *p == '-')) {
        negative = *p == '-';
        ++p;
    }
    unsigned long magnitude = 0;
    bool overflow = false;
    const unsigned long limit = negative ? static_cast<unsigned long>(LONG_MAX) + 1
                                         : static_cast<unsigned long>(LONG_MAX);
    for (; p < end && *p >= '0' && *p <= '9'; ++p) {
        const unsigned digit = unsigned(*p - '0');
        if (magnitude > (limit - digit) / 10)
            overflow = true;
        else
            magnitude = magnitude * 10 + digit;
    }
    long value;
    if (overflow)
        value = negative ? LONG_MIN : LONG_MAX;
    else if (negative)
        value = magnitude == limit ? LONG_MIN : -static_cast<long>(magnitude);
    else
        value = static_cast<long>(magnitude);
    // Narrowing keeps the low 32 bits, as the conversion of strtol's result to int does.
    return static_cast<int>(static_cast<unsigned int>(static_cast<unsigned long>(value)));
}

// Length of the run from cursor up to (not including) the next line feed or the end. Runs
// are a few bytes long, where a plain loop beats a call to memchr.
inline int runLength(const char *cursor, int remaining)
{
    int length = 0;
    while (length < remaining && cursor[length] != '\n')
        ++length;
    return length;
}

inline void skipControls(const char **cursor, int *remaining)
{
    while (*remaining > 0 && static_cast<unsigned char>(**cursor) < 32) {
        ++*cursor;
        --*remaining;
    }
}

// readInt() for the task list, which is nearly all of a large file: the usual line, a line
// feed and up to nine digits, is converted inline, anything else as readInt() does.
inline int nextInt(const char **cursor, int *remaining)
{
    const char *p = *cursor;
    const int left = *remaining;
    if (left >= 2 && p[0] == '\n' && unsigned(p[1] - '0') < 10) {
        const int limit = qMin(left, 10);
        int value = 0;
        int i = 1;
        for (; i < limit && unsigned(p[i] - '0') < 10; ++i)
            value = value * 10 + (p[i] - '0');
        if (i == left || p[i] == '\n') {
            *cursor += i;
            *remaining -= i;
            return value;
        }
    }
    return readInt(cursor, remaining);
}

// A task record in the usual form, each of its 20 numbers a line feed and one to nine digits,
// with the line feed that ends the last one in the buffer: read without a bound check per byte.
// False, having consumed nothing, for anything else, which the careful path then reads.
bool readPlainTask(const char **cursor, int *remaining, TaskRecord *task)
{
    constexpr int Fields = 20;
    // Ten bytes per field at most, and the line feed after the last one.
    if (*remaining < Fields * 10 + 1)
        return false;
    const char *p = *cursor;
    int values[Fields];
    for (int &value : values) {
        if (*p != '\n' || unsigned(p[1] - '0') >= 10)
            return false;
        ++p;
        int v = 0;
        const char *digitsEnd = p + 9;
        do {
            v = v * 10 + (*p - '0');
            ++p;
        } while (p < digitsEnd && unsigned(*p - '0') < 10);
        if (*p != '\n')
            return false;
        value = v;
    }
    const auto clock = [&values](int at, bool withSeconds) {
        WallClock when;
        when.year = values[at];
        when.month = values[at + 1];
        when.day = values[at + 2];
        when.hour = values[at + 3];
        when.minute = values[at + 4];
        when.second = withSeconds ? values[at + 5] : 0;
        return when;
    };
    task->id = values[0];
    task->activityPosition = values[1];
    task->shortcut = values[2];
    task->start = clock(3, false);
    task->stop = clock(8, false);
    task->stamp = clock(13, true);
    task->synchronised = values[19] != 0;
    *remaining -= int(p - *cursor);
    *cursor = p;
    return true;
}

WallClock readWallClock(const char **cursor, int *remaining, bool withSeconds)
{
    WallClock when;
    when.year = nextInt(cursor, remaining);
    when.month = nextInt(cursor, remaining);
    when.day = nextInt(cursor, remaining);
    when.hour = nextInt(cursor, remaining);
    when.minute = nextInt(cursor, remaining);
    when.second = withSeconds ? nextInt(cursor, remaining) : 0;
    return when;
}

} // namespace

bool WallClock::isPlainlyValid() const
{
    static constexpr int monthDays[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (year < 1 || year > 9999 || month < 1 || month > 12 || day < 1 || day > monthDays[month - 1]
        || hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 59)
        return false;
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return month != 2 || day < 29 || leap;
}

qint64 WallClock::dayNumber(const QDate &date)
{
    int year = 0;
    int month = 0;
    int day = 0;
    date.getDate(&year, &month, &day);
    return dayNumber(year, month, day);
}

WallClock WallClock::of(const QDate &date, const QTime &time, bool withSeconds)
{
    WallClock when;
    if (!date.isValid() || !time.isValid())
        return when;
    date.getDate(&when.year, &when.month, &when.day);
    when.hour = time.hour();
    when.minute = time.minute();
    when.second = withSeconds ? time.second() : 0;
    return when;
}

void skipControlCharacters(const char **cursor, int *remaining)
{
    skipControls(cursor, remaining);
}

int readInt(const char **cursor, int *remaining)
{
    skipControls(cursor, remaining);
    if (*remaining <= 0)
        return 0;

    // Nearly every line of a data file is one to nine digits and a line feed: convert those
    // here. Anything else (signs, blanks, long numbers, garbage) takes the general path.
    const char *p = *cursor;
    const int limit = qMin(*remaining, 9);
    int value = 0;
    int digits = 0;
    while (digits < limit && p[digits] >= '0' && p[digits] <= '9') {
        value = value * 10 + (p[digits] - '0');
        ++digits;
    }
    if (digits > 0 && (digits == *remaining || p[digits] == '\n')) {
        *cursor += digits;
        *remaining -= digits;
        return value;
    }

    const int length = runLength(*cursor, *remaining);
    value = convertInt(*cursor, length);
    *cursor += length;
    *remaining -= length;
    return value;
}

QString readString(const char **cursor, int *remaining)
{
    skipControls(cursor, remaining);
    if (*remaining <= 0)
        return QString();
    const int length = runLength(*cursor, *remaining);
    const QString text = QString::fromUtf8(*cursor, length);
    *cursor += length;
    *remaining -= length;
    return text;
}

namespace {

// A category's or an activity's name. QString::fromUtf8 drops a byte order mark that opens
// its bytes; a name keeps it, or a name that goes on with control characters after one would
// read back shorter each time it is written and read.
QString readName(const char **cursor, int *remaining)
{
    skipControls(cursor, remaining);
    const bool marked = *remaining >= 3 && std::memcmp(*cursor, "\xef\xbb\xbf", 3) == 0;
    QString name = readString(cursor, remaining);
    if (marked)
        name.prepend(QChar(0xfeff));
    return name;
}

} // namespace

bool read(const char *data, int length, Sink &sink, const Passing *passing)
{
    const char *cursor = data;
    int remaining = data ? qMax(length, 0) : 0;
    const char **c = &cursor;
    int *r = &remaining;

    if (readString(c, r) != QLatin1String(StartMarker))
        return false;
    if (readInt(c, r) != Version)
        return false;
    sink.nextId(readInt(c, r));

    // Once the buffer is exhausted every further record would be zeros and the closing
    // marker is missing anyway: stop there rather than let a damaged count allocate
    // millions of empty records.
    const int categoryCount = readInt(c, r);
    if (!sink.count(Sink::List::Categories, categoryCount))
        return false;
    for (int i = 0; i < categoryCount && remaining > 0; ++i) {
        CategoryRecord record;
        record.id = readInt(c, r);
        record.name = readName(c, r);
        record.obsolete = readInt(c, r) != 0;
        if (!sink.category(record))
            return false;
    }

    const int activityCount = readInt(c, r);
    if (!sink.count(Sink::List::Activities, activityCount))
        return false;
    for (int i = 0; i < activityCount && remaining > 0; ++i) {
        ActivityRecord record;
        record.id = readInt(c, r);
        record.name = readName(c, r);
        record.obsolete = readInt(c, r) != 0;
        record.categoryPosition = readInt(c, r);
        if (!sink.activity(record))
            return false;
    }

    const int taskCount = readInt(c, r);
    if (!sink.count(Sink::List::Tasks, taskCount))
        return false;
    TaskRecord task;
    // Told again once fewer than this many bytes remain; never without passing.
    int tellBelow = passing ? remaining - PassingStep : -1;
    for (int i = 0; i < taskCount && remaining > 0; ++i) {
        if (remaining < tellBelow) {
            passing->passed(cursor, passing->context);
            tellBelow = remaining - PassingStep;
        }
        if (readPlainTask(c, r, &task)) {
            if (!sink.task(task))
                return false;
            continue;
        }
        task.id = nextInt(c, r);
        task.activityPosition = nextInt(c, r);
        task.shortcut = nextInt(c, r);
        task.start = readWallClock(c, r, false);
        task.stop = readWallClock(c, r, false);
        task.stamp = readWallClock(c, r, true);
        task.synchronised = nextInt(c, r) != 0;
        if (!sink.task(task))
            return false;
    }

    const int deletedCount = readInt(c, r);
    if (!sink.count(Sink::List::DeletedTaskIds, deletedCount))
        return false;
    QList<int> deleted;
    for (int i = 0; i < deletedCount && remaining > 0; ++i)
        deleted.append(readInt(c, r));
    sink.deletedTaskIds(deleted);

    return readString(c, r) == QLatin1String(EndMarker);
}

Writer::Writer(qsizetype expectedSize)
{
    m_bytes.reserve(expectedSize);
}

void Writer::text(const char *line)
{
    m_bytes.append(line);
    m_bytes.append('\n');
}

void Writer::text(const QString &line)
{
    m_bytes.append(line.toUtf8());
    m_bytes.append('\n');
}

void Writer::number(qint64 value)
{
    char digits[24];
    const auto result = std::to_chars(digits, digits + sizeof(digits), value);
    m_bytes.append(digits, result.ptr - digits);
    m_bytes.append('\n');
}

void Writer::toMinute(const QDate &date, const QTime &time)
{
    toMinute(WallClock::of(date, time, false));
}

void Writer::toMinute(const WallClock &when)
{
    if (when.isNull()) {
        m_bytes.append("0\n0\n0\n0\n0\n");
        return;
    }
    number(when.year);
    number(when.month);
    number(when.day);
    number(when.hour);
    number(when.minute);
}

void Writer::toSecond(const WallClock &when)
{
    if (when.isNull()) {
        m_bytes.append("0\n0\n0\n0\n0\n0\n");
        return;
    }
    toMinute(when);
    number(when.second);
}

void Writer::begin(int nextId)
{
    text(StartMarker);
    number(Version);
    number(nextId);
}

void Writer::category(int id, const QString &name, bool obsolete)
{
    number(id);
    text(name);
    flag(obsolete);
}

void Writer::activity(int id, const QString &name, bool obsolete, int categoryPosition)
{
    number(id);
    text(name);
    flag(obsolete);
    number(categoryPosition);
}

void Writer::task(const TaskRecord &record)
{
    number(record.id);
    number(record.activityPosition);
    number(record.shortcut);
    toMinute(record.start);
    toMinute(record.stop);
    toSecond(record.stamp);
    flag(record.synchronised);
}

void Writer::task(int id, int activityPosition, int shortcut, const QDate &startDate,
                  const QTime &startTime, const QDate &stopDate, const QTime &stopTime,
                  const QDateTime &stamp, bool synchronised)
{
    number(id);
    number(activityPosition);
    number(shortcut);
    toMinute(startDate, startTime);
    toMinute(stopDate, stopTime);
    toSecond(WallClock::of(stamp, true));
    flag(synchronised);
}

void Writer::end(const QList<int> &deletedTaskIds)
{
    number(deletedTaskIds.size());
    for (const int id : deletedTaskIds)
        number(id);
    text(EndMarker);
}

} // namespace DocumentFormat
