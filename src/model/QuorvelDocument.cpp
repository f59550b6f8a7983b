// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "QuorvelDocument.h"

#include "DocumentFormat.h"
#include "TaskTimeText.h"
#include "platform/Clock.h"
#include "platform/Paths.h"
#include "platform/PrivateFiles.h"
#include "platform/SystemError.h"
#include "platform/WriteAll.h"

#include <QFile>
#include <QFileInfo>
#include <QHash>

#include <cerrno>
#include <climits>
#include <cstring>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

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
    DocumentFormat::Writer out(128 + doc.categories.size() * 48 + doc.activities.size() * 64
                               + doc.tasks.size() * 72 + doc.deletedTaskIds.size() * 8);
    out.begin(doc.nextId);

    out.count(doc.categories.size());
    for (const ActivityCategory *category : doc.categories)
        out.category(category->id, category->name, category->obsolete);

    const QHash<const ActivityCategory *, int> categoryPositions = positionsOf(doc.categories);
    out.count(doc.activities.size());
    for (const Activity *activity : doc.activities)
        out.activity(activity->id, activity->name, activity->obsolete,
                     categoryPositions.value(activity->category, -1));

    const QHash<const Activity *, int> activityPositions = positionsOf(doc.activities);
    out.count(doc.tasks.size());
    for (const QVTask *task : doc.tasks) {
        // The wall-clock parts, so that writing does not convert times not yet asked for.
        out.task(task->id, activityPositions.value(task->activity, -1), task->shortcut,
                 task->startDate(), task->startTime(), task->stopDate(), task->stopTime(),
                 task->modifiedTime, task->synchronised);
    }

    out.end(doc.deletedTaskIds);
    return out.bytes();
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

QString QuorvelDocument::besideDataFile(const QString &kind)
{
    return dataFilePath() + QLatin1Char('.') + kind + QLatin1Char('-')
           + Clock::now().toString(QStringLiteral("yyyyMMddhhmmss"));
}

QString QuorvelDocument::unusedBesideDataFile(const QString &kind)
{
    // A kept copy is never replaced, not even one kept in the same second.
    const QString first = besideDataFile(kind);
    QString path = first;
    for (int n = 2; QFileInfo::exists(path) || QFileInfo(path).isSymLink(); ++n)
        path = first + QLatin1Char('-') + QString::number(n);
    return path;
}

QString QuorvelDocument::keepCopyOfDataFile(const QString &kind)
{
    const QString copy = unusedBesideDataFile(kind);
    if (!QFile::copy(dataFilePath(), copy))
        return QString();
    // The copy takes the mode of a data file an older version may have left readable.
    PrivateFiles::restrict(copy);
    return copy;
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
    return name == QLatin1String("--sync--") || name == QLatin1String(DocumentFormat::StartMarker)
           || name == QLatin1String(DocumentFormat::EndMarker);
}

QString QuorvelDocument::catalogueName(const QString &typed)
{
    const QString name = cleanName(typed);
    if (name.isEmpty() || name.size() > MaxNameLength || isReservedName(name)
        || name == QLatin1String("--sync-end--"))
        return QString();
    return name;
}

bool QuorvelDocument::sameName(const QString &a, const QString &b)
{
    return a.compare(b, Qt::CaseInsensitive) == 0;
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
    const char *at = *cursor;
    DocumentFormat::skipControlCharacters(&at, remaining);
    *cursor += at - *cursor;
}

int QuorvelDocument::readInt(char **cursor, int *remaining)
{
    const char *at = *cursor;
    const int value = DocumentFormat::readInt(&at, remaining);
    *cursor += at - *cursor;
    return value;
}

QString QuorvelDocument::readString(char **cursor, int *remaining)
{
    const char *at = *cursor;
    QString text = DocumentFormat::readString(&at, remaining);
    *cursor += at - *cursor;
    return text;
}

namespace {

// Appends what the reader reads to a document's lists, resolving positions over the lists as
// they stand (records held before the read come first).
class DocumentSink : public DocumentFormat::Sink
{
public:
    explicit DocumentSink(QuorvelDocument &doc)
        : m_doc(doc)
    {}

    void nextId(int value) override { m_doc.nextId = value; }

    bool count(List list, int count) override
    {
        // Room for what the buffer could hold at most, not for what a damaged count says.
        if (list == List::Tasks && count > 0)
            m_doc.tasks.reserve(m_doc.tasks.size() + qMin(count, m_expectedTasks));
        return true;
    }

    bool category(const DocumentFormat::CategoryRecord &record) override
    {
        m_doc.categories.append(new ActivityCategory(record.id, record.name, record.obsolete));
        return true;
    }

    bool addActivity(const DocumentFormat::ActivityRecord &record)
    {
        m_passedOver.append(false);
        m_doc.activities.append(new Activity(record.id, record.name,
                                             itemAt(m_doc.categories, record.categoryPosition),
                                             record.obsolete));
        return true;
    }

    bool task(const DocumentFormat::TaskRecord &record) override
    {
        if (m_keep && !record.stop.isNull()
            && !m_keep(record.start.date(), record.stop.date(), m_keepContext)) {
            // The first task passed over of each activity still stands for it.
            const int position = record.activityPosition;
            if (position < 0 || position >= m_passedOver.size() || m_passedOver[position])
                return true;
            m_passedOver[position] = true;
        }
        auto *task = new QVTask(record.id, QDateTime(), QDateTime(), record.shortcut,
                                itemAt(m_doc.activities, record.activityPosition),
                                record.stamp.toDateTime(), record.synchronised);
        if (!record.start.isNull())
            task->setStartWallClock(record.start.date(), record.start.time());
        if (!record.stop.isNull())
            task->setStopWallClock(record.stop.date(), record.stop.time());
        m_doc.tasks.append(task);
        return true;
    }

    void deletedTaskIds(const QList<int> &ids) override { m_doc.deletedTaskIds = ids; }

    // A task takes at least 40 bytes of the document string.
    void expectAtMost(int bytes) { m_expectedTasks = bytes / 40 + 1; }

    void keepOnly(bool (*keep)(const QDate &, const QDate &, const void *), const void *context)
    {
        m_keep = keep;
        m_keepContext = context;
    }

    bool activity(const DocumentFormat::ActivityRecord &record) override;

private:
    QuorvelDocument &m_doc;
    int m_expectedTasks = 0;
    bool (*m_keep)(const QDate &, const QDate &, const void *) = nullptr;
    const void *m_keepContext = nullptr;
    QList<bool> m_passedOver;
};

bool DocumentSink::activity(const DocumentFormat::ActivityRecord &record)
{
    return addActivity(record);
}

bool readInto(QuorvelDocument &doc, char *data, int length,
              bool (*keep)(const QDate &, const QDate &, const void *), const void *context,
              bool cleanUp = true)
{
    // Read the twelve-hour choice once and format each day's text once for all tasks.
    const TaskTimeText::Batch textBatch;
    DocumentSink sink(doc);
    sink.expectAtMost(data ? qMax(length, 0) : 0);
    sink.keepOnly(keep, context);
    if (!DocumentFormat::read(data, length, sink))
        return false;
    if (cleanUp)
        doc.removeObsoleteActivitiesAndCategories();
    return true;
}

} // namespace

bool QuorvelDocument::populateFromByteArray(char *data, int length)
{
    return readInto(*this, data, length, nullptr, nullptr);
}

bool QuorvelDocument::restoreFromBytes(QByteArray bytes)
{
    return readInto(*this, bytes.data(), int(bytes.size()), nullptr, nullptr, false);
}

bool QuorvelDocument::load()
{
    return loadSome(nullptr, nullptr);
}

bool QuorvelDocument::loadSome(bool (*keep)(const QDate &, const QDate &, const void *),
                               const void *context)
{
    clear();
    QFile file(dataFilePath());
    if (!file.open(QIODevice::ReadOnly))
        return false;
    FileBuffer contents;
    if (!contents.read(file))
        return false;
    file.close();
    return readInto(*this, contents.data(), contents.size(), keep, context);
}

bool QuorvelDocument::save()
{
    m_savedToDataFile = false;
    m_saveError = 0;
    const QString path = dataFilePath();
    const QString newPath = path + QLatin1String(".new");
    const QByteArray newName = QFile::encodeName(newPath);
    const QByteArray name = QFile::encodeName(path);

    const int fd = ::open(newName.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC,
                          PrivateFiles::FileMode);
    if (fd < 0) {
        m_saveError = errno;
        return false;
    }
    // One left by an older version keeps its mode through O_TRUNC; the rename passes it on.
    PrivateFiles::restrict(fd);

    const QByteArray bytes = documentBytes(*this);
    m_saveError = writeAll(fd, bytes.constData(), size_t(bytes.size()));
    // The new contents must be on disk before they replace the old file.
    if (m_saveError == 0 && ::fsync(fd) != 0)
        m_saveError = errno;
    ::close(fd);
    if (m_saveError != 0) {
        QFile::remove(newPath);
        return false;
    }

    if (::rename(newName.constData(), name.constData()) != 0) {
        m_saveError = errno;
        qWarning("problem renaming file %s to %s errno %d", newName.constData(), name.constData(),
                 m_saveError);
        // The new contents are whole in the ".new" file, which the next start looks at.
        return true;
    }
    // Make the rename itself durable; a disk that fails here may lose it.
    const QByteArray folder = QFile::encodeName(path.left(path.lastIndexOf(QLatin1Char('/'))));
    const int dirFd = ::open(folder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dirFd >= 0) {
        if (::fsync(dirFd) != 0 && errno == EIO)
            m_saveError = EIO;
        ::close(dirFd);
    }
    m_savedToDataFile = m_saveError == 0;
    writeRunningNote();
    return true;
}

QString QuorvelDocument::saveProblem() const
{
    return m_saveError == 0 ? QString() : SystemError::describe(m_saveError);
}

bool QuorvelDocument::saveFailedForSpace() const
{
    return m_saveError == ENOSPC || m_saveError == EDQUOT || m_saveError == EFBIG;
}

QString QuorvelDocument::recoverInterruptedSave()
{
    const QString path = dataFilePath();
    const QString newPath = path + QLatin1String(".new");
    const QByteArray newName = QFile::encodeName(newPath);
    struct stat leftover;
    // Only a plain file can be what save() left; anything else there is not ours to touch.
    if (::lstat(newName.constData(), &leftover) != 0 || !S_ISREG(leftover.st_mode))
        return QString();
    QFile newFile(newPath);
    FileBuffer contents;
    // One that cannot be read now (permissions, an I/O error) is left for the user to see.
    if (!newFile.open(QIODevice::ReadOnly) || !contents.read(newFile))
        return QString();
    newFile.close();

    struct stat current;
    const bool dataFileThere = ::stat(QFile::encodeName(path).constData(), &current) == 0;
    bool sameBytes = false;
    if (dataFileThere) {
        QFile dataFile(path);
        FileBuffer held;
        sameBytes = dataFile.open(QIODevice::ReadOnly) && held.read(dataFile)
                    && held.size() == contents.size()
                    && std::memcmp(held.data(), contents.data(), size_t(held.size())) == 0;
    }
    const bool newer = !dataFileThere || leftover.st_mtim.tv_sec > current.st_mtim.tv_sec
                       || (leftover.st_mtim.tv_sec == current.st_mtim.tv_sec
                           && leftover.st_mtim.tv_nsec > current.st_mtim.tv_nsec);
    // The reader may write into the buffer: it is read last.
    QuorvelDocument probe;
    if (sameBytes || !newer || !probe.populateFromByteArray(contents.data(), contents.size())) {
        QFile::remove(newPath);
        return QString();
    }

    const QString keptAs = unusedBesideDataFile(QStringLiteral("recovered"));
    if (::rename(newName.constData(), QFile::encodeName(keptAs).constData()) != 0)
        return QString();
    PrivateFiles::restrict(keptAs);
    return keptAs;
}

namespace {

constexpr char RunningNoteMagic[] = "quorvel-running-1";
// More running tasks than anyone keeps: a note claiming more is damaged.
constexpr int MaxNotedTasks = 100000;

// The data file as it is now: a file replaced or changed in any way since differs here.
QByteArray fileIdentity(const QString &path)
{
    struct stat info;
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return QByteArray();
    return QByteArray::number(qulonglong(info.st_dev)) + ' '
           + QByteArray::number(qulonglong(info.st_ino)) + ' '
           + QByteArray::number(qlonglong(info.st_size)) + ' '
           + QByteArray::number(qlonglong(info.st_mtim.tv_sec)) + '.'
           + QByteArray::number(qlonglong(info.st_mtim.tv_nsec)) + ' '
           + QByteArray::number(qlonglong(info.st_ctim.tv_sec)) + '.'
           + QByteArray::number(qlonglong(info.st_ctim.tv_nsec));
}

} // namespace

QString QuorvelDocument::runningNotePath()
{
    return dataFilePath() + QLatin1String(".running");
}

void QuorvelDocument::writeRunningNote() const
{
    QByteArray note = RunningNoteMagic;
    note += '\n';
    note += fileIdentity(dataFilePath());
    note += '\n';
    QByteArray tasksText;
    int count = 0;
    for (const QVTask *task : tasks) {
        if (!task->isRunning() || !task->startDate().isValid() || !task->startTime().isValid())
            continue;
        ++count;
        tasksText += task->startDate().toString(Qt::ISODate).toLatin1() + ' '
                     + task->startTime().toString(QStringLiteral("HH:mm")).toLatin1() + '\n';
        tasksText += task->activityName().toUtf8() + '\n';
        tasksText
            += (task->activity && task->activity->category ? task->activity->category->name.toUtf8()
                                                           : QByteArray())
               + '\n';
    }
    note += QByteArray::number(count) + '\n' + tasksText;

    // Only a cache: written without syncing, and a note that cannot be written goes, so that
    // an old one is never taken for this file.
    const QString path = runningNotePath();
    const QString newPath = path + QLatin1String(".new");
    QFile file(newPath);
    const bool opened = file.open(QIODevice::WriteOnly | QIODevice::Truncate);
    if (opened)
        PrivateFiles::restrict(file.handle());
    if (!opened || file.write(note) != note.size() || !file.flush()) {
        file.close();
        QFile::remove(newPath);
        QFile::remove(path);
        return;
    }
    file.close();
    if (::rename(QFile::encodeName(newPath).constData(), QFile::encodeName(path).constData())
        != 0) {
        QFile::remove(newPath);
        QFile::remove(path);
    }
}

namespace {

// A start time as the note holds it, "HH:mm"; null for anything else. Read by hand: QTime's
// format parser brings the locale's machinery into a command that only asks what runs.
QTime noteTime(const QByteArray &text)
{
    const auto digit = [&text](int at) {
        const char c = text.at(at);
        return c >= '0' && c <= '9' ? c - '0' : -1;
    };
    if (text.size() != 5 || text.at(2) != ':')
        return QTime();
    const int digits[] = {digit(0), digit(1), digit(3), digit(4)};
    for (const int d : digits) {
        if (d < 0)
            return QTime();
    }
    // Out of range, QTime stays invalid.
    return QTime(digits[0] * 10 + digits[1], digits[2] * 10 + digits[3]);
}

} // namespace

bool QuorvelDocument::loadRunningNote()
{
    clear();
    QFile file(runningNotePath());
    if (!file.open(QIODevice::ReadOnly))
        return false;
    // A note of a few running tasks is small; anything larger is not ours.
    const QByteArray note = file.read(4 << 20);
    const QList<QByteArray> lines = note.split('\n');
    if (lines.size() < 3 || lines.at(0) != RunningNoteMagic
        || lines.at(1) != fileIdentity(dataFilePath()) || lines.at(1).isEmpty())
        return false;
    bool ok = false;
    const int count = lines.at(2).toInt(&ok);
    if (!ok || count < 0 || count > MaxNotedTasks || lines.size() < 3 + 3 * count)
        return false;
    for (int i = 0; i < count; ++i) {
        const QList<QByteArray> when = lines.at(3 + 3 * i).split(' ');
        const QDate date = QDate::fromString(QString::fromLatin1(when.value(0)), Qt::ISODate);
        const QTime time = noteTime(when.value(1));
        if (!date.isValid() || !time.isValid()) {
            clear();
            return false;
        }
        const QString activityName = QString::fromUtf8(lines.at(4 + 3 * i));
        const QString categoryName = QString::fromUtf8(lines.at(5 + 3 * i));
        ActivityCategory *category = nullptr;
        for (ActivityCategory *c : std::as_const(categories)) {
            if (c->name == categoryName)
                category = c;
        }
        if (!category && !categoryName.isEmpty()) {
            category = new ActivityCategory(0, categoryName, false);
            categories.append(category);
        }
        Activity *activity = nullptr;
        for (Activity *a : std::as_const(activities)) {
            if (a->name == activityName && a->category == category)
                activity = a;
        }
        if (!activity) {
            activity = new Activity(0, activityName, category, false);
            activities.append(activity);
        }
        auto *task
            = new QVTask(0, QDateTime(date, time), QDateTime(), 0, activity, QDateTime(), false);
        tasks.append(task);
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
