#include "QuorvelDocument.h"

#include "TaskTimeText.h"
#include "platform/Paths.h"

#include <QFile>
#include <QHash>

#include <cerrno>
#include <charconv>
#include <climits>
#include <cstring>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

const char StartMarker[] = "--start--";
const char EndMarker[] = "--end--";

// Builds the document string as UTF-8 in one growing buffer; formatting two million numbers
// through QString would dominate the time of a save.
class DocumentWriter
{
public:
    explicit DocumentWriter(qsizetype expectedSize) { m_bytes.reserve(expectedSize); }

    void text(const char *line)
    {
        m_bytes.append(line);
        m_bytes.append('\n');
    }

    void text(const QString &line)
    {
        m_bytes.append(line.toUtf8());
        m_bytes.append('\n');
    }

    void number(qint64 value)
    {
        char digits[24];
        const auto result = std::to_chars(digits, digits + sizeof(digits), value);
        m_bytes.append(digits, result.ptr - digits);
        m_bytes.append('\n');
    }

    void flag(bool value) { m_bytes.append(value ? "1\n" : "0\n"); }

    // Year, month, day, hour and minute; five "0" lines when the date or time is not valid.
    void toMinute(const QDate &date, const QTime &time)
    {
        if (!date.isValid() || !time.isValid()) {
            m_bytes.append("0\n0\n0\n0\n0\n");
            return;
        }
        int year = 0, month = 0, day = 0;
        date.getDate(&year, &month, &day);
        number(year);
        number(month);
        number(day);
        number(time.hour());
        number(time.minute());
    }

    // The same with seconds; six "0" lines when not valid.
    void toSecond(const QDateTime &when)
    {
        const QDate date = when.date();
        const QTime time = when.time();
        if (!date.isValid() || !time.isValid()) {
            m_bytes.append("0\n0\n0\n0\n0\n0\n");
            return;
        }
        toMinute(date, time);
        number(time.second());
    }

    QByteArray bytes() const { return m_bytes; }

private:
    QByteArray m_bytes;
};

template<typename T>
QHash<const T *, int> positionsOf(const SortedList<T> &list)
{
    QHash<const T *, int> positions;
    positions.reserve(list.size());
    // The first occurrence wins, as a search from the front of the list would find it.
    for (int i = int(list.size()) - 1; i >= 0; --i)
        positions.insert(list.at(i), i);
    return positions;
}

QByteArray documentBytes(const QuorvelDocument &doc)
{
    DocumentWriter out(128 + doc.categories.size() * 48 + doc.activities.size() * 64
                       + doc.tasks.size() * 72 + doc.deletedTaskIds.size() * 8);
    out.text(StartMarker);
    out.number(QuorvelDocument::FORMAT_VERSION);
    out.number(doc.nextId);

    out.number(doc.categories.size());
    for (const ActivityCategory *category : doc.categories) {
        out.number(category->id);
        out.text(category->name);
        out.flag(category->obsolete);
    }

    const QHash<const ActivityCategory *, int> categoryPositions = positionsOf(doc.categories);
    out.number(doc.activities.size());
    for (const Activity *activity : doc.activities) {
        out.number(activity->id);
        out.text(activity->name);
        out.flag(activity->obsolete);
        out.number(categoryPositions.value(activity->category, -1));
    }

    const QHash<const Activity *, int> activityPositions = positionsOf(doc.activities);
    out.number(doc.tasks.size());
    for (const QVTask *task : doc.tasks) {
        out.number(task->id);
        out.number(activityPositions.value(task->activity, -1));
        out.number(task->shortcut);
        // The wall-clock parts, so that writing does not convert times not yet asked for.
        out.toMinute(task->startDate(), task->startTime());
        out.toMinute(task->stopDate(), task->stopTime());
        out.toSecond(task->modifiedTime);
        out.flag(task->synchronised);
    }

    out.number(doc.deletedTaskIds.size());
    for (const int id : doc.deletedTaskIds)
        out.number(id);
    out.text(EndMarker);
    return out.bytes();
}

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

inline void skipControls(char **cursor, int *remaining)
{
    while (*remaining > 0 && static_cast<unsigned char>(**cursor) < 32) {
        ++*cursor;
        --*remaining;
    }
}

// A date-time block of the file: year, month, day, hour, minute (and second). A year of 0
// stands for "not set".
struct WallClock
{
    QDate date;
    QTime time;
    bool null = true;

    bool isNull() const { return null; }
    QDateTime toDateTime() const { return null ? QDateTime() : QDateTime(date, time); }
};

WallClock readWallClock(char **cursor, int *remaining, bool withSeconds)
{
    const int year = QuorvelDocument::readInt(cursor, remaining);
    const int month = QuorvelDocument::readInt(cursor, remaining);
    const int day = QuorvelDocument::readInt(cursor, remaining);
    const int hour = QuorvelDocument::readInt(cursor, remaining);
    const int minute = QuorvelDocument::readInt(cursor, remaining);
    const int second = withSeconds ? QuorvelDocument::readInt(cursor, remaining) : 0;
    WallClock result;
    if (year != 0) {
        result.date = QDate(year, month, day);
        result.time = QTime(hour, minute, second, 0);
        result.null = false;
    }
    return result;
}

template<typename T>
T *itemAt(const SortedList<T> &list, int position)
{
    return position >= 0 && position < list.size() ? list.at(position) : nullptr;
}

// The whole data file in memory, in pages of its own rather than on the heap: after a large
// document was freed, one multi-megabyte heap block makes the allocator consolidate every
// freed record first, which cost more than reading the file. Not a file mapping, so another
// program truncating the file while we read cannot fault us.
class FileBuffer
{
public:
    FileBuffer() = default;
    FileBuffer(const FileBuffer &) = delete;
    FileBuffer &operator=(const FileBuffer &) = delete;
    ~FileBuffer()
    {
        if (m_pages)
            ::munmap(m_pages, m_capacity);
    }

    // Reads the file to its end; false on a read error or when it is 2 GiB or more, which
    // the reader's int counts cannot address.
    bool read(QFile &file)
    {
        qint64 expected = file.size();
        for (;;) {
            if (!reserve(size_t(qMax<qint64>(expected, m_size) + 1)))
                return false;
            const qint64 n = file.read(m_pages + m_size, qint64(m_capacity) - qint64(m_size));
            if (n < 0)
                return false;
            if (n == 0)
                return true;
            m_size += size_t(n);
            // The file may have grown since we asked its size: keep reading.
            expected = qint64(m_size) * 2;
        }
    }

    char *data() const { return m_pages; }
    int size() const { return int(m_size); }

private:
    bool reserve(size_t wanted)
    {
        if (wanted <= m_capacity)
            return true;
        if (wanted > size_t(INT_MAX))
            return false;
        void *pages
            = ::mmap(nullptr, wanted, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (pages == MAP_FAILED)
            return false;
        if (m_pages) {
            std::memcpy(pages, m_pages, m_size);
            ::munmap(m_pages, m_capacity);
        }
        m_pages = static_cast<char *>(pages);
        m_capacity = wanted;
        return true;
    }

    char *m_pages = nullptr;
    size_t m_capacity = 0;
    size_t m_size = 0;
};

} // namespace

QuorvelDocument::QuorvelDocument() = default;

QuorvelDocument::~QuorvelDocument()
{
    clear();
}

QString QuorvelDocument::dataFilePath()
{
    return Global::applicationFileName(QStringLiteral("quorvelqpe"),
                                       QStringLiteral("quorvelqpe.dat"));
}

QString QuorvelDocument::cleanName(const QString &typed)
{
    QString name = typed;
    for (QChar &c : name) {
        if (c.unicode() < 32)
            c = QLatin1Char(' ');
    }
    return name.trimmed();
}

bool QuorvelDocument::isReservedName(const QString &name)
{
    return name == QLatin1String("--sync--") || name == QLatin1String(StartMarker)
           || name == QLatin1String(EndMarker);
}

QString QuorvelDocument::getDocumentString() const
{
    return QString::fromUtf8(documentBytes(*this));
}

QByteArray QuorvelDocument::getDocumentBytes() const
{
    return documentBytes(*this);
}

void QuorvelDocument::skipControlCharacters(char **cursor, int *remaining)
{
    skipControls(cursor, remaining);
}

int QuorvelDocument::readInt(char **cursor, int *remaining)
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

QString QuorvelDocument::readString(char **cursor, int *remaining)
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

bool QuorvelDocument::populateFromByteArray(char *data, int length)
{
    char *cursor = data;
    int remaining = data ? qMax(length, 0) : 0;
    char **c = &cursor;
    int *r = &remaining;

    if (readString(c, r) != QLatin1String(StartMarker))
        return false;
    if (readInt(c, r) != FORMAT_VERSION)
        return false;
    nextId = readInt(c, r);

    // Read the twelve-hour choice once and format each day's text once for all tasks.
    const TaskTimeText::Batch textBatch;

    // A count is used as read, but once the buffer is exhausted every further record would
    // be zeros and the closing marker is missing anyway: stop there rather than let a
    // damaged count allocate millions of empty records.
    const int categoryCount = readInt(c, r);
    for (int i = 0; i < categoryCount && remaining > 0; ++i) {
        const int id = readInt(c, r);
        const QString name = readString(c, r);
        const int obsolete = readInt(c, r);
        categories.append(new ActivityCategory(id, name, obsolete != 0));
    }

    const int activityCount = readInt(c, r);
    for (int i = 0; i < activityCount && remaining > 0; ++i) {
        const int id = readInt(c, r);
        const QString name = readString(c, r);
        const int obsolete = readInt(c, r);
        const int position = readInt(c, r);
        activities.append(new Activity(id, name, itemAt(categories, position), obsolete != 0));
    }

    const int taskCount = readInt(c, r);
    if (taskCount > 0)
        tasks.reserve(tasks.size() + qMin(taskCount, remaining / 40 + 1));
    for (int i = 0; i < taskCount && remaining > 0; ++i) {
        const int id = readInt(c, r);
        const int position = readInt(c, r);
        const int shortcut = readInt(c, r);
        const WallClock start = readWallClock(c, r, false);
        const WallClock stop = readWallClock(c, r, false);
        const WallClock stamp = readWallClock(c, r, true);
        const int synchronised = readInt(c, r);
        auto *task
            = new QVTask(id, QDateTime(), QDateTime(), shortcut, itemAt(activities, position),
                         stamp.toDateTime(), synchronised != 0);
        if (!start.isNull())
            task->setStartWallClock(start.date, start.time);
        if (!stop.isNull())
            task->setStopWallClock(stop.date, stop.time);
        tasks.append(task);
    }

    const int deletedCount = readInt(c, r);
    QList<int> deleted;
    for (int i = 0; i < deletedCount && remaining > 0; ++i)
        deleted.append(readInt(c, r));
    deletedTaskIds = deleted;

    if (readString(c, r) != QLatin1String(EndMarker))
        return false;
    removeObsoleteActivitiesAndCategories();
    return true;
}

bool QuorvelDocument::load()
{
    clear();
    QFile file(dataFilePath());
    if (!file.open(QIODevice::ReadOnly))
        return false;
    FileBuffer contents;
    if (!contents.read(file))
        return false;
    file.close();
    return populateFromByteArray(contents.data(), contents.size());
}

bool QuorvelDocument::save()
{
    const QString path = dataFilePath();
    const QString newPath = path + QLatin1String(".new");
    const QByteArray newName = QFile::encodeName(newPath);
    const QByteArray name = QFile::encodeName(path);

    const int fd = ::open(newName.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd < 0)
        return false;

    const QByteArray bytes = documentBytes(*this);
    qsizetype written = 0;
    while (written < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.constData() + written, size_t(bytes.size() - written));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        written += n;
    }
    // The new contents must be on disk before they replace the old file.
    const bool complete = written == bytes.size() && ::fsync(fd) == 0;
    ::close(fd);
    if (!complete) {
        QFile::remove(newPath);
        return false;
    }

    if (::rename(newName.constData(), name.constData()) != 0) {
        const int error = errno;
        qWarning("problem renaming file %s to %s errno %d", newName.constData(), name.constData(),
                 error);
        return true;
    }
    // Make the rename itself durable.
    const QByteArray folder = QFile::encodeName(path.left(path.lastIndexOf(QLatin1Char('/'))));
    const int dirFd = ::open(folder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dirFd >= 0) {
        ::fsync(dirFd);
        ::close(dirFd);
    }
    return true;
}

void QuorvelDocument::clear()
{
    qDeleteAll(tasks);
    tasks.clear();
    qDeleteAll(activities);
    activities.clear();
    qDeleteAll(categories);
    categories.clear();
}
