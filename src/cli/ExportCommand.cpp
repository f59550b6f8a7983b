// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// "quorvel export": straight from the document string's records, without task objects.

#include "CommandParts.h"

#include "model/DocumentFormat.h"
#include "model/TaskTimeText.h"
#include "reports/ReportText.h"

#include <array>
#include <cstring>
#include <limits>
#include <vector>

namespace CommandParts {

namespace {

// Writes value with at least width digits at p; returns the end.
char *putDigits(char *p, int value, int width)
{
    char digits[12];
    int n = 0;
    do {
        digits[n++] = char('0' + value % 10);
        value /= 10;
    } while (value > 0 && n < 12);
    while (n < width)
        digits[n++] = '0';
    while (n > 0)
        *p++ = digits[--n];
    return p;
}

// "00" to "99" one after another: two digits are copied rather than worked out, as an export
// writes ten pairs per task.
constexpr auto DigitPairs = [] {
    std::array<char, 200> pairs{};
    for (int i = 0; i < 100; ++i) {
        pairs[size_t(2 * i)] = char('0' + i / 10);
        pairs[size_t(2 * i + 1)] = char('0' + i % 10);
    }
    return pairs;
}();

// Two digits of 0 to 99 at p.
char *putTwoDigits(char *p, int value)
{
    Q_ASSERT(value >= 0 && value < 100);
    std::memcpy(p, DigitPairs.data() + 2 * value, 2);
    return p + 2;
}

// "2026-11-21T09:30" at p, written digit by digit: an export writes two of these per task. A
// time as read is written from its numbers; only one that may not be a time (plain false) is
// made a QDate first. Nothing for a time that is not one. Returns the end.
char *putIsoMinute(char *p, const DocumentFormat::WallClock &when, bool plain)
{
    int year = when.year;
    int month = when.month;
    int day = when.day;
    int hour = when.hour;
    int minute = when.minute;
    if (!plain && !when.isPlainlyValid()) {
        const QDate date = when.date();
        const QTime time = when.time();
        if (when.isNull() || !date.isValid() || !time.isValid() || date.year() < 0)
            return p;
        date.getDate(&year, &month, &day);
        hour = time.hour();
        minute = time.minute();
    }
    p = year >= 1000 && year <= 9999 ? putTwoDigits(putTwoDigits(p, year / 100), year % 100)
                                     : putDigits(p, year, 4);
    *p++ = '-';
    p = putTwoDigits(p, month);
    *p++ = '-';
    p = putTwoDigits(p, day);
    *p++ = 'T';
    p = putTwoDigits(p, hour);
    *p++ = ':';
    return putTwoDigits(p, minute);
}

char *putNumber(char *p, int value)
{
    qint64 magnitude = value;
    if (magnitude < 0) {
        *p++ = '-';
        magnitude = -magnitude;
    }
    char digits[20];
    int n = 0;
    do {
        digits[n++] = char('0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude > 0);
    while (n > 0)
        *p++ = digits[--n];
    return p;
}

// Copies a text without its terminator to p; returns the end.
template<size_t N>
char *putText(char *p, const char (&text)[N])
{
    std::memcpy(p, text, N - 1);
    return p + N - 1;
}

// The export, written as the reader hands over the records: no task is built, so a large
// history exports in the time it takes to read it.
class ExportSink : public DocumentFormat::CatalogueSink
{
public:
    ExportSink(const Invocation &call, Commands::Result *result)
        : m_call(call)
        , m_json(call.value("format") == QLatin1String("json"))
        , m_result(result)
        , m_out(result->out)
        , m_firstDay(call.from.isValid() ? DocumentFormat::WallClock::dayNumber(call.from)
                                         : std::numeric_limits<qint64>::min())
        , m_lastDay(call.to.isValid() ? DocumentFormat::WallClock::dayNumber(call.to)
                                      : std::numeric_limits<qint64>::max())
    {}

    bool count(List list, int count) override
    {
        // Room for what this many tasks will need, within what the file could hold.
        if (list == List::Tasks && count > 0) {
            const qsizetype room = qMin(count, 4 << 20) * (m_json ? 150 : 96) + 64;
            m_out.reserve(m_result->stream ? qMin(room, StreamPiece + 4096) : room);
        }
        return true;
    }

    bool task(const DocumentFormat::TaskRecord &record) override
    {
        const DocumentFormat::WallClock &start = record.start;
        const DocumentFormat::WallClock &stop = record.stop;
        // Nearly every record holds plain times: they are compared and counted from their
        // numbers, without making a QDate or QTime of each.
        const qint64 startDay = start.plainDay();
        const qint64 stopDay = stop.plainDay();
        if (startDay < 0 || (stopDay < 0 && !stop.isNull()))
            return unusualTask(record);
        if (startDay < m_firstDay || startDay > m_lastDay)
            return true;
        // Both times are plain here: they are written from their numbers without a check.
        if (stop.isNull())
            writeRow(record, true, 0, true);
        else if (startDay == stopDay && isSteadyDay(startDay, start.year, start.month, start.day))
            writeRow(record, false, (secondOfDay(stop) - secondOfDay(start)) / 60, true);
        else
            writeRow(record, false,
                     minutesBetween(start.date(), start.time(), stop.date(), stop.time()), true);
        return true;
    }

    void begin() { m_out += m_json ? "[" : "Activity,Category,Start,Stop,Minutes\r\n"; }
    void end()
    {
        if (m_json)
            m_out += m_first ? "]\n" : "\n]\n";
    }

private:
    // What a row of this activity begins with: its name and category, quoted once.
    const QByteArray &nameOf(int position)
    {
        if (position < 0 || size_t(position) >= activities.size())
            position = -1;
        // Kept by position, one past it so that "no activity" has a place too.
        const size_t slot = size_t(position + 1);
        if (slot >= m_names.size())
            m_names.resize(activities.size() + 1);
        if (!m_names[slot].isNull())
            return m_names[slot];
        QString name;
        QString category;
        if (position >= 0) {
            const DocumentFormat::ActivityRecord &activity = activities[size_t(position)];
            name = activity.name;
            if (activity.categoryPosition >= 0
                && size_t(activity.categoryPosition) < categories.size())
                category = categories[size_t(activity.categoryPosition)].name;
        }
        m_names[slot]
            = m_json ? (QStringLiteral("{\"activity\":") + jsonString(name)
                        + QStringLiteral(",\"category\":") + jsonString(category)
                        + QStringLiteral(",\"start\":\""))
                           .toUtf8()
                     : (ReportText::csvField(ReportText::csvName(name)) + QLatin1Char(',')
                        + ReportText::csvField(ReportText::csvName(category)) + QLatin1Char(','))
                           .toUtf8();
        return m_names[slot];
    }

    // A record with a time off the plain years, or one not given: QDate and QTime decide.
    bool unusualTask(const DocumentFormat::TaskRecord &record)
    {
        const QDate startDate = record.start.date();
        if (m_call.from.isValid() && (!startDate.isValid() || startDate < m_call.from))
            return true;
        if (m_call.to.isValid() && (!startDate.isValid() || startDate > m_call.to))
            return true;
        const QTime startTime = record.start.time();
        const QDate stopDate = record.stop.date();
        const QTime stopTime = record.stop.time();
        const bool running = !(stopDate.isValid() && stopTime.isValid());
        writeRow(record, running,
                 running ? 0 : minutesBetween(startDate, startTime, stopDate, stopTime), false);
        return true;
    }

    // The row after its activity's part, written in one piece: at most two times of 16
    // characters, a number of 11 and 40 of punctuation. Plain when both times are known to be.
    void writeRow(const DocumentFormat::TaskRecord &record, bool running, int minutes, bool plain)
    {
        char rest[96];
        char *p = putIsoMinute(rest, record.start, plain);
        if (m_json) {
            if (running) {
                p = putText(p, "\",\"stop\":null,\"minutes\":null}");
            } else {
                p = putText(p, "\",\"stop\":\"");
                p = putIsoMinute(p, record.stop, plain);
                p = putText(p, "\",\"minutes\":");
                p = putNumber(p, minutes);
                *p++ = '}';
            }
        } else {
            *p++ = ',';
            if (!running) {
                p = putIsoMinute(p, record.stop, plain);
                *p++ = ',';
                p = putNumber(p, minutes);
            } else {
                *p++ = ',';
            }
            p = putText(p, "\r\n");
        }
        const QByteArray &name = nameOf(record.activityPosition);
        const char *separator = !m_json ? "" : m_first ? "\n" : ",\n";
        const size_t separatorLength = std::strlen(separator);
        // Grown once per row, and then filled: appending piece by piece costs more than the
        // row's own digits.
        const qsizetype at = m_out.size();
        m_out.resize(at + qsizetype(separatorLength) + name.size() + (p - rest));
        char *to = m_out.data() + at;
        std::memcpy(to, separator, separatorLength);
        to += separatorLength;
        std::memcpy(to, name.constData(), size_t(name.size()));
        std::memcpy(to + name.size(), rest, size_t(p - rest));
        m_first = false;
        handOnPiece(m_result);
    }

    // A stopped task's minutes; on a day whose clock never jumps, from the wall-clock times
    // alone, without a costly local-time conversion.
    int minutesBetween(const QDate &startDate, const QTime &startTime, const QDate &stopDate,
                       const QTime &stopTime)
    {
        if (startDate.isValid() && startTime.isValid() && startDate == stopDate) {
            int year = 0;
            int month = 0;
            int day = 0;
            startDate.getDate(&year, &month, &day);
            if (isSteadyDay(DocumentFormat::WallClock::dayNumber(year, month, day), year, month,
                            day))
                return (stopTime.msecsSinceStartOfDay() - startTime.msecsSinceStartOfDay()) / 60000;
        }
        return int(QDateTime(startDate, startTime).secsTo(QDateTime(stopDate, stopTime)) / 60);
    }

    // Asked once per day, by its number: tasks arrive sorted, so mostly for the day asked last.
    bool isSteadyDay(qint64 dayNumber, int year, int month, int day)
    {
        if (dayNumber == m_askedDay)
            return m_askedSteady;
        auto known = m_steadyDays.constFind(dayNumber);
        if (known == m_steadyDays.constEnd())
            known = m_steadyDays.insert(dayNumber,
                                        TaskTimeText::isSteadyDay(QDate(year, month, day)));
        m_askedDay = dayNumber;
        m_askedSteady = known.value();
        return m_askedSteady;
    }

    static int secondOfDay(const DocumentFormat::WallClock &when)
    {
        return (when.hour * 60 + when.minute) * 60 + when.second;
    }

    const Invocation &m_call;
    const bool m_json;
    Commands::Result *m_result;
    QByteArray &m_out;
    bool m_first = true;
    std::vector<QByteArray> m_names;
    // The days asked for, from the first to the last; every day when not given.
    const qint64 m_firstDay;
    const qint64 m_lastDay;
    QHash<qint64, bool> m_steadyDays;
    qint64 m_askedDay = std::numeric_limits<qint64>::min();
    bool m_askedSteady = false;
};

} // namespace

bool exportRecords(const char *data, int length, const Invocation &call, Commands::Result *result,
                   const DocumentFormat::Passing *passing)
{
    ExportSink sink(call, result);
    sink.begin();
    if (!DocumentFormat::read(data, length, sink, passing)) {
        result->out.clear();
        return false;
    }
    sink.end();
    return true;
}

} // namespace CommandParts
