// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ImportReader.h"

#include "TimeArgument.h"

#include "reports/ReportText.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QStringView>
#include <QTime>

#include <algorithm>
#include <cstring>

namespace {

using TimeArgument::allDigits;
using TimeArgument::number;

qsizetype bomLength(const QByteArray &bytes)
{
    return bytes.startsWith("\xEF\xBB\xBF") ? 3 : 0;
}

// Line and paragraph separators count too: a reader may take them for line breaks.
bool isControl(QChar c)
{
    const QChar::Category category = c.category();
    return category == QChar::Other_Control || category == QChar::Separator_Line
           || category == QChar::Separator_Paragraph;
}

// The data file keeps each name on one line, so line breaks and other control characters
// become blanks; everything else is kept as the file has it.
QString cleanName(QString name)
{
    for (QChar &c : name) {
        if (isControl(c))
            c = u' ';
    }
    return name.trimmed();
}

// The offending value inside a one-line message: control characters as blanks, and a runaway
// field (an unterminated quote takes the rest of the file) cut short.
QString shown(const QString &value)
{
    constexpr qsizetype limit = 80;
    QString text = value;
    if (text.size() > limit) {
        qsizetype keep = limit - 1;
        if (text.at(keep - 1).isHighSurrogate())
            --keep;
        text = text.first(keep) + QChar(0x2026);
    }
    for (QChar &c : text) {
        if (isControl(c))
            c = u' ';
    }
    return text;
}

QString startProblem(const QString &value)
{
    return QCoreApplication::translate("ImportReader", "“%1” is not a start time")
        .arg(shown(value));
}

QString stopProblem(const QString &value)
{
    return QCoreApplication::translate("ImportReader", "“%1” is not a stop time").arg(shown(value));
}

QString noActivityProblem()
{
    return QCoreApplication::translate("ImportReader", "no activity");
}

// 2026-11-21T09:30 as the export writes it, or with a blank for the T; seconds are accepted
// and dropped, since the program records whole minutes.
QDateTime exportTime(QStringView s)
{
    s = s.trimmed();
    if (s.size() != 16 && s.size() != 19)
        return {};
    if (s[4] != u'-' || s[7] != u'-' || (s[10] != u'T' && s[10] != u' ') || s[13] != u':')
        return {};
    const QStringView year = s.first(4), month = s.sliced(5, 2), day = s.sliced(8, 2);
    const QStringView hours = s.sliced(11, 2), minutes = s.sliced(14, 2);
    if (!allDigits(year) || !allDigits(month) || !allDigits(day) || !allDigits(hours)
        || !allDigits(minutes))
        return {};
    if (s.size() == 19 && (s[16] != u':' || !allDigits(s.sliced(17)) || number(s.sliced(17)) > 59))
        return {};
    const QDate date(number(year), number(month), number(day));
    const int h = number(hours), m = number(minutes);
    if (!date.isValid() || h > 23 || m > 59)
        return {};
    // Invalid when the clocks skip that local time: no task of the export can start there.
    return QDateTime(date, QTime(h, m));
}

// Timewarrior's 20261121T093000Z, in UTC.
QDateTime timewarriorTime(QStringView s)
{
    if (s.size() != 16 || s[8] != u'T' || s[15] != u'Z')
        return {};
    const QStringView day = s.first(8), clock = s.sliced(9, 6);
    if (!allDigits(day) || !allDigits(clock))
        return {};
    const QDate date(number(day.first(4)), number(day.sliced(4, 2)), number(day.sliced(6, 2)));
    const int h = number(clock.first(2)), m = number(clock.sliced(2, 2)),
              sec = number(clock.sliced(4, 2));
    if (!date.isValid() || h > 23 || m > 59 || sec > 59)
        return {};
    const QDateTime local = QDateTime(date, QTime(h, m, sec), Qt::UTC).toLocalTime();
    // Truncated on the time line rather than rebuilt from date and time, which could land on
    // the other of two equal local times when the clocks go back.
    return local.addSecs(-local.time().second());
}

// A JSON value as the file has it, for a message.
QString valueText(const QJsonValue &value)
{
    switch (value.type()) {
    case QJsonValue::String:
        return value.toString();
    case QJsonValue::Double:
        return QString::number(value.toDouble());
    case QJsonValue::Bool:
        return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    case QJsonValue::Null:
        return QStringLiteral("null");
    case QJsonValue::Array:
        return QString::fromUtf8(QJsonDocument(value.toArray()).toJson(QJsonDocument::Compact));
    case QJsonValue::Object:
        return QString::fromUtf8(QJsonDocument(value.toObject()).toJson(QJsonDocument::Compact));
    case QJsonValue::Undefined:
        break;
    }
    return QString();
}

bool isRunning(const QJsonValue &stop)
{
    return stop.isUndefined() || stop.isNull()
           || (stop.isString() && stop.toString().trimmed().isEmpty());
}

// Splits RFC 4180 text into records, straight from the bytes: the separators are ASCII, which
// never occurs inside a UTF-8 sequence. Only the fields a sink wants are kept, so a line of a
// hundred million commas costs no more memory than the line itself.
class CsvScanner
{
public:
    struct Record
    {
        int line = 0;
        qsizetype fields = 0;
        bool blank = false;
    };

    explicit CsvScanner(const QByteArray &bytes)
        : m_data(bytes.constData())
        , m_size(bytes.size())
        , m_pos(bomLength(bytes))
    {}

    bool atEnd() const { return m_pos >= m_size; }

    // Reads the next record, handing each field the sink wants to sink.take(index, bytes).
    template<typename Sink>
    Record next(Sink &sink)
    {
        Record record;
        record.line = m_line;
        bool blank = true;
        QByteArray field;
        for (;;) {
            const qsizetype index = record.fields++;
            const bool wanted = sink.wants(index);
            field.clear();
            if (m_pos < m_size && m_data[m_pos] == '"') {
                blank = false;
                ++m_pos;
                readQuoted(wanted ? &field : nullptr);
            }
            // Unquoted text, or what follows a closing quote, which is kept rather than refused.
            const qsizetype begin = m_pos;
            while (m_pos < m_size && m_data[m_pos] != ',' && m_data[m_pos] != '\n')
                ++m_pos;
            qsizetype end = m_pos;
            const bool lineEnds = m_pos == m_size || m_data[m_pos] == '\n';
            if (lineEnds && end > begin && m_data[end - 1] == '\r')
                --end;
            for (qsizetype i = begin; blank && i < end; ++i)
                blank = m_data[i] == ' ' || m_data[i] == '\t';
            if (wanted) {
                field.append(m_data + begin, end - begin);
                sink.take(index, field);
            }
            if (lineEnds)
                break;
            ++m_pos;
            blank = false;
        }
        if (m_pos < m_size) {
            ++m_pos;
            ++m_line;
        }
        record.blank = blank;
        return record;
    }

private:
    // From just after an opening quote to just after its closing quote, or to the end of the
    // file when there is none.
    void readQuoted(QByteArray *out)
    {
        for (;;) {
            const void *quote = std::memchr(m_data + m_pos, '"', size_t(m_size - m_pos));
            const qsizetype end = quote ? static_cast<const char *>(quote) - m_data : m_size;
            m_line += int(std::count(m_data + m_pos, m_data + end, '\n'));
            if (out)
                out->append(m_data + m_pos, end - m_pos);
            m_pos = end;
            if (!quote)
                return;
            ++m_pos;
            if (m_pos < m_size && m_data[m_pos] == '"') {
                if (out)
                    out->append('"');
                ++m_pos;
                continue;
            }
            return;
        }
    }

    const char *m_data;
    qsizetype m_size;
    qsizetype m_pos;
    int m_line = 1;
};

// Where each element of a JSON array begins, by line of the file, for the messages: QJson
// keeps no positions. Run only on text that has been parsed as an array, so it need only
// follow strings (which may hold brackets, braces and escaped quotes) and nesting.
class ElementLines
{
public:
    explicit ElementLines(const QByteArray &bytes)
        : m_data(bytes.constData())
        , m_size(bytes.size())
    {
        while (m_pos < m_size && m_data[m_pos] != '[')
            step();
        if (m_pos < m_size)
            ++m_pos;
    }

    // The line of the next element's first character, or 0 after the last one.
    int next()
    {
        while (m_pos < m_size && isBlank(m_data[m_pos]))
            step();
        if (m_pos >= m_size || m_data[m_pos] == ']')
            return 0;
        const int line = m_line;
        int depth = 0;
        while (m_pos < m_size) {
            const char c = m_data[m_pos];
            if (c == '"') {
                skipString();
                continue;
            }
            if (c == '[' || c == '{') {
                ++depth;
            } else if (c == ']' || c == '}') {
                if (depth == 0)
                    break; // the end of the array, read by the next call
                --depth;
            } else if (c == ',' && depth == 0) {
                ++m_pos;
                break;
            }
            step();
        }
        return line;
    }

private:
    static bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

    void step()
    {
        if (m_data[m_pos] == '\n')
            ++m_line;
        ++m_pos;
    }

    // From an opening quote to just after its closing one.
    void skipString()
    {
        ++m_pos;
        while (m_pos < m_size) {
            const char c = m_data[m_pos];
            if (c == '"') {
                ++m_pos;
                return;
            }
            if (c == '\\' && m_pos + 1 < m_size)
                ++m_pos;
            step();
        }
    }

    const char *m_data;
    qsizetype m_size;
    qsizetype m_pos = 0;
    int m_line = 1;
};

enum Column { Activity, Category, Start, Stop, ColumnCount };

struct HeaderSink
{
    qsizetype columns[ColumnCount] = {-1, -1, -1, -1};

    bool wants(qsizetype) const { return true; }

    void take(qsizetype index, const QByteArray &field)
    {
        static const char *const names[ColumnCount] = {"activity", "category", "start", "stop"};
        // No column name is longer; this spares decoding a runaway field.
        if (field.size() > 64)
            return;
        const QString name = QString::fromUtf8(field).trimmed();
        for (int k = 0; k < ColumnCount; ++k) {
            if (columns[k] < 0 && name.compare(QLatin1String(names[k]), Qt::CaseInsensitive) == 0)
                columns[k] = index;
        }
    }
};

struct RowSink
{
    const qsizetype *columns;
    QByteArray values[ColumnCount];

    bool wants(qsizetype index) const
    {
        return std::find(columns, columns + ColumnCount, index) != columns + ColumnCount;
    }

    void take(qsizetype index, const QByteArray &field)
    {
        for (int k = 0; k < ColumnCount; ++k) {
            if (columns[k] == index)
                values[k] = field;
        }
    }
};

ImportRow csvRow(const CsvScanner::Record &record, const RowSink &sink, qsizetype headerFields)
{
    ImportRow row;
    row.line = record.line;
    row.activity = cleanName(ReportText::nameFromCsv(QString::fromUtf8(sink.values[Activity])));
    row.category = cleanName(ReportText::nameFromCsv(QString::fromUtf8(sink.values[Category])));
    const QString startText = QString::fromUtf8(sink.values[Start]);
    const QString stopText = QString::fromUtf8(sink.values[Stop]);
    row.start = exportTime(startText);
    const bool running = stopText.trimmed().isEmpty();
    if (!running)
        row.stop = exportTime(stopText);
    if (record.fields != headerFields) {
        row.problem
            = QCoreApplication::translate("ImportReader", "%1 fields where the first line has %2")
                  .arg(record.fields)
                  .arg(headerFields);
    } else if (row.activity.isEmpty()) {
        row.problem = noActivityProblem();
    } else if (!row.start.isValid()) {
        row.problem = startProblem(startText);
    } else if (!running && !row.stop.isValid()) {
        row.problem = stopProblem(stopText);
    }
    return row;
}

ImportRow ownRow(const QJsonObject &object)
{
    ImportRow row;
    row.activity = cleanName(object.value(QLatin1String("activity")).toString());
    row.category = cleanName(object.value(QLatin1String("category")).toString());
    const QJsonValue start = object.value(QLatin1String("start"));
    const QJsonValue stop = object.value(QLatin1String("stop"));
    if (start.isString())
        row.start = exportTime(start.toString());
    const bool running = isRunning(stop);
    if (!running && stop.isString())
        row.stop = exportTime(stop.toString());
    if (row.activity.isEmpty())
        row.problem = noActivityProblem();
    else if (!row.start.isValid())
        row.problem = startProblem(valueText(start));
    else if (!running && !row.stop.isValid())
        row.problem = stopProblem(valueText(stop));
    return row;
}

ImportRow timewarriorRow(const QJsonObject &object, const QString &category,
                         bool categoryFromFirstTag)
{
    ImportRow row;
    QStringList tags;
    const QJsonArray tagArray = object.value(QLatin1String("tags")).toArray();
    for (const QJsonValue &tag : tagArray) {
        const QString name = cleanName(tag.toString());
        if (!name.isEmpty())
            tags.append(name);
    }
    if (categoryFromFirstTag && tags.size() > 1) {
        row.category = tags.takeFirst();
    } else {
        row.category = cleanName(category);
    }
    row.activity = tags.join(u' ');
    const QJsonValue start = object.value(QLatin1String("start"));
    const QJsonValue end = object.value(QLatin1String("end"));
    if (start.isString())
        row.start = timewarriorTime(start.toString());
    const bool running = end.isUndefined() || end.isNull();
    if (!running && end.isString())
        row.stop = timewarriorTime(end.toString());
    if (tags.isEmpty())
        row.problem = QCoreApplication::translate("ImportReader", "no tags");
    else if (!row.start.isValid())
        row.problem = startProblem(valueText(start));
    else if (!running && !row.stop.isValid())
        row.problem = stopProblem(valueText(end));
    return row;
}

} // namespace

namespace ImportReader {

Format detect(const QByteArray &bytes)
{
    qsizetype i = bomLength(bytes);
    while (i < bytes.size()
           && (bytes[i] == ' ' || bytes[i] == '\t' || bytes[i] == '\r' || bytes[i] == '\n'))
        ++i;
    if (i < bytes.size() && (bytes[i] == '[' || bytes[i] == '{'))
        return Format::Json;
    return Format::Csv;
}

ImportFile readCsv(const QByteArray &bytes)
{
    ImportFile file;
    CsvScanner scanner(bytes);
    HeaderSink header;
    CsvScanner::Record headerRecord;
    do {
        if (scanner.atEnd())
            return file; // an empty file, or only blank lines: nothing to import
        header = HeaderSink();
        headerRecord = scanner.next(header);
    } while (headerRecord.blank);
    if (header.columns[Activity] < 0 || header.columns[Start] < 0 || header.columns[Stop] < 0) {
        file.error = QCoreApplication::translate("ImportReader",
                                                 "The first line must name the columns Activity, "
                                                 "Category, Start, Stop and Minutes.");
        return file;
    }
    while (!scanner.atEnd()) {
        RowSink sink{header.columns, {}};
        const CsvScanner::Record record = scanner.next(sink);
        if (!record.blank)
            file.rows.append(csvRow(record, sink, headerRecord.fields));
    }
    return file;
}

ImportFile readJson(const QByteArray &bytes, const QString &category, bool categoryFromFirstTag)
{
    ImportFile file;
    const qsizetype bom = bomLength(bytes);
    QJsonParseError parseError;
    // Deep nesting, invalid UTF-8 and truncation all end here as a parse error.
    const QJsonDocument document
        = QJsonDocument::fromJson(bom ? bytes.sliced(bom) : bytes, &parseError);
    const qsizetype length = bytes.size() - bom;
    if (parseError.error != QJsonParseError::NoError && length > 0
        && parseError.offset >= length - 1 && parseError.error != QJsonParseError::GarbageAtEnd) {
        // The text ends where more must follow: a download or a copy cut short.
        file.error = QCoreApplication::translate("ImportReader",
                                                 "The JSON text ends too early: the file is cut "
                                                 "short.");
        return file;
    }
    if (parseError.error != QJsonParseError::NoError || !document.isArray()) {
        file.error = QCoreApplication::translate(
            "ImportReader", "The file is neither CSV nor a JSON array of tasks.");
        return file;
    }
    const QJsonArray array = document.array();
    file.rows.reserve(array.size());
    ElementLines lines(bytes);
    int position = 0;
    for (const QJsonValue &value : array) {
        ++position;
        // The scan finds every element the parser found; should it ever not, the last line
        // found is still near.
        const int line = lines.next();
        ImportRow row;
        if (!value.isObject()) {
            row.problem = QCoreApplication::translate("ImportReader", "not a task");
        } else {
            const QJsonObject object = value.toObject();
            if (object.contains(QLatin1String("activity")))
                row = ownRow(object);
            else
                row = timewarriorRow(object, category, categoryFromFirstTag);
        }
        row.line = line > 0 ? line : (file.rows.isEmpty() ? 1 : file.rows.constLast().line);
        if (!file.rows.isEmpty() && file.rows.constLast().line == row.line) {
            file.rows.last().task = position - 1;
            row.task = position;
        }
        file.rows.append(row);
    }
    return file;
}

} // namespace ImportReader
