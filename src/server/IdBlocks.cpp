// SPDX-License-Identifier: GPL-3.0-or-later
#include "IdBlocks.h"

#include "ServerDatabase.h"

#include "platform/Clock.h"
#include "platform/PrivateFiles.h"
#include "platform/SystemError.h"

#include <QDir>
#include <QFile>

#include <cerrno>
#include <climits>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

void IdBlocks::Counters::raise(const Counters &other)
{
    nextBlock = qMax(nextBlock, other.nextBlock);
    // The catalogue's next id belongs to its block: the two go together.
    if (other.catalogueEnd > catalogueEnd
        || (other.catalogueEnd == catalogueEnd && other.catalogueNext > catalogueNext)) {
        catalogueNext = other.catalogueNext;
        catalogueEnd = other.catalogueEnd;
    }
}

namespace {

using Counters = IdBlocks::Counters;

// The mark holds the counters twice, each copy in a slot of its own with a checksum, written
// and synced one after the other: a write cut short by a crash spoils one copy at most, and
// the other still holds the counters. The file is written in place, so it keeps its owner.
constexpr int SlotBytes = 64;

QByteArray slotOf(const Counters &counters)
{
    QByteArray text = QByteArray::number(counters.nextBlock) + ' '
                      + QByteArray::number(counters.catalogueNext) + ' '
                      + QByteArray::number(counters.catalogueEnd);
    text += ' ' + QByteArray::number(qChecksum(text), 16);
    return text.leftJustified(SlotBytes - 1, ' ') + '\n';
}

bool fromSlot(const QByteArray &slot, Counters *counters)
{
    const QList<QByteArray> parts = slot.simplified().split(' ');
    if (parts.size() != 4)
        return false;
    bool ok[4] = {};
    const qint64 values[3]
        = {parts[0].toLongLong(&ok[0]), parts[1].toLongLong(&ok[1]), parts[2].toLongLong(&ok[2])};
    const uint checksum = parts[3].toUInt(&ok[3], 16);
    if (!ok[0] || !ok[1] || !ok[2] || !ok[3]
        || checksum != qChecksum(parts[0] + ' ' + parts[1] + ' ' + parts[2]))
        return false;
    counters->nextBlock = values[0];
    counters->catalogueNext = values[1];
    counters->catalogueEnd = values[2];
    return true;
}

// The mark, open and locked against the other processes on the same folder until closed.
// Never opened through a symbolic link.
class MarkFile
{
public:
    MarkFile() = default;
    MarkFile(const MarkFile &) = delete;
    MarkFile &operator=(const MarkFile &) = delete;
    ~MarkFile()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }

    bool open(const QString &path, QString *error)
    {
        m_path = path;
        const QByteArray name = QFile::encodeName(path);
        m_fd = ::open(name.constData(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
        struct stat info = {};
        if (m_fd < 0 || ::fstat(m_fd, &info) != 0)
            return fail(error, SystemError::describe(errno));
        if (!S_ISREG(info.st_mode))
            return fail(error, IdBlocks::tr("it is not a plain file"));
        PrivateFiles::restrict(m_fd);
        m_new = info.st_size == 0;
        while (::flock(m_fd, LOCK_EX) != 0) {
            if (errno != EINTR)
                return fail(error, SystemError::describe(errno));
        }
        return true;
    }

    bool isNew() const { return m_new; }

    Counters read() const
    {
        char bytes[2 * SlotBytes];
        const ssize_t size = ::pread(m_fd, bytes, sizeof(bytes), 0);
        Counters counters;
        for (int slot = 0; slot < 2; ++slot) {
            Counters copy;
            if (size >= (slot + 1) * SlotBytes
                && fromSlot(QByteArray(bytes + slot * SlotBytes, SlotBytes), &copy))
                counters.raise(copy);
        }
        return counters;
    }

    bool write(const Counters &counters, QString *error)
    {
        const QByteArray slot = slotOf(counters);
        for (int copy = 0; copy < 2; ++copy) {
            if (::pwrite(m_fd, slot.constData(), SlotBytes, copy * SlotBytes) != SlotBytes
                || ::fdatasync(m_fd) != 0)
                return fail(error, SystemError::describe(errno));
        }
        if (m_new) {
            // The file's name is on the disk too.
            const QByteArray folder = QFile::encodeName(QFileInfo(m_path).absolutePath());
            const int fd = ::open(folder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
            if (fd >= 0) {
                ::fsync(fd);
                ::close(fd);
            }
            m_new = false;
        }
        return true;
    }

private:
    bool fail(QString *error, const QString &reason) const
    {
        *error = IdBlocks::tr("The server's record of the ids it has handed out, %1, cannot be "
                              "used: %2")
                     .arg(m_path, reason);
        return false;
    }

    QString m_path;
    int m_fd = -1;
    bool m_new = false;
};

QString nowText()
{
    return Clock::now().toUTC().toString(Qt::ISODate);
}

} // namespace

IdBlocks::IdBlocks(Sql &sql, const QString &folder)
    : m_sql(sql)
    , m_folder(folder)
{}

qint64 IdBlocks::blockOf(qint64 id)
{
    if (id < FirstId)
        return 0;
    const qint64 first = FirstId + (id - FirstId) / BlockSize * BlockSize;
    // Ids are ints in the document.
    return first + BlockSize - 1 <= INT_MAX ? first : 0;
}

QString IdBlocks::markPath(const QString &folder, qint64 databaseId)
{
    return QDir(folder).filePath(
        QStringLiteral("handed-out-ids.%1").arg(quint64(databaseId), 16, 16, QLatin1Char('0')));
}

bool IdBlocks::failed()
{
    m_error = tr("The database failed: %1").arg(m_sql.lastError());
    return false;
}

bool IdBlocks::counters(Counters *inDatabase)
{
    // Each row is held until the transaction ends, always the catalogue's first, so that two
    // transactions never wait for each other's.
    const std::optional<qint64> catalogueNext = m_sql.number(QStringLiteral(
        "UPDATE counters SET value = value WHERE name = 'catalogue_next' RETURNING value"));
    const std::optional<qint64> nextBlock = m_sql.number(QStringLiteral(
        "UPDATE counters SET value = value WHERE name = 'next_block' RETURNING value"));
    const std::optional<qint64> catalogueEnd
        = m_sql.number(QStringLiteral("SELECT value FROM counters WHERE name = 'catalogue_end'"));
    if (!catalogueNext || !nextBlock || !catalogueEnd)
        return failed();
    inDatabase->nextBlock = *nextBlock;
    inDatabase->catalogueNext = *catalogueNext;
    inDatabase->catalogueEnd = *catalogueEnd;
    return true;
}

bool IdBlocks::readMark(Counters *marked)
{
    if (m_markPath.isEmpty()) {
        const std::optional<qint64> databaseId
            = m_sql.number(QStringLiteral("SELECT value FROM counters WHERE name = 'database_id'"));
        if (!databaseId)
            return failed();
        if (!PrivateFiles::makeFolder(m_folder)) {
            m_error
                = tr("The folder %1 for the server's own records cannot be made.").arg(m_folder);
            return false;
        }
        m_markPath = markPath(m_folder, *databaseId);
    }
    MarkFile file;
    if (!file.open(m_markPath, &m_error))
        return false;
    *marked = file.read();
    return true;
}

bool IdBlocks::raiseMark(const Counters &to)
{
    MarkFile file;
    if (!file.open(m_markPath, &m_error))
        return false;
    Counters counters = file.read();
    const Counters before = counters;
    counters.raise(to);
    return (counters == before && !file.isNew()) || file.write(counters, &m_error);
}

bool IdBlocks::takeBlock(qint64 userId, qint64 deviceId, qint64 *first, qint64 *last)
{
    Counters now;
    Counters marked;
    if (!counters(&now) || !readMark(&marked))
        return false;
    now.raise(marked);

    // The next block that no device holds: a device may hold one above the counter that
    // a restored database has been told of since.
    qint64 block = 0;
    qint64 next = qMax(now.nextBlock, FirstId);
    while (next + BlockSize - 1 <= INT_MAX) {
        const std::optional<qint64> held = m_sql.number(
            QStringLiteral("SELECT COUNT(*) FROM id_blocks WHERE first_id = ?"), {next});
        if (!held)
            return failed();
        next += BlockSize;
        if (*held == 0) {
            block = next - BlockSize;
            break;
        }
    }
    if (block == 0) {
        // Every block up to the last has been handed out: the lowest that no device holds
        // any more, since the administrator forgot its device.
        QSqlQuery *query = m_sql.run(
            QStringLiteral("SELECT first_id FROM id_blocks WHERE first_id >= ? ORDER BY first_id"),
            {FirstId});
        if (!query)
            return failed();
        qint64 free = FirstId;
        while (query->next() && query->value(0).toLongLong() <= free) {
            if (query->value(0).toLongLong() == free)
                free += BlockSize;
        }
        Sql::done(query);
        if (free + BlockSize - 1 > INT_MAX) {
            m_exhausted = true;
            m_error = tr("Every block of ids has been handed out.");
            return false;
        }
        block = free;
    }

    // The mark first: should the database's commit fail, the mark is ahead and a block is
    // passed over, never handed out twice.
    now.nextBlock = qMax(now.nextBlock, next);
    if (!raiseMark(now))
        return false;
    if (!m_sql.exec(QStringLiteral("UPDATE counters SET value = ? WHERE name = 'next_block'"),
                    {now.nextBlock})
        || !m_sql.exec(QStringLiteral("INSERT INTO id_blocks (first_id, last_id, user_id, "
                                      "device_id, created_at) VALUES (?, ?, ?, ?, ?)"),
                       {block, block + BlockSize - 1, Sql::idOrNull(userId),
                        Sql::idOrNull(deviceId), nowText()}))
        return failed();
    *first = block;
    *last = block + BlockSize - 1;
    return true;
}

bool IdBlocks::allocateBlock(qint64 userId, qint64 deviceId, qint64 *first, qint64 *last)
{
    m_exhausted = false;
    return takeBlock(userId, deviceId, first, last);
}

bool IdBlocks::allocateId(qint64 *id)
{
    m_exhausted = false;
    Counters now;
    Counters marked;
    if (!counters(&now) || !readMark(&marked))
        return false;
    now.raise(marked);
    if (now.catalogueNext < FirstId || now.catalogueNext > now.catalogueEnd) {
        qint64 first = 0;
        qint64 last = 0;
        if (!takeBlock(0, 0, &first, &last))
            return false;
        now.catalogueNext = first;
        now.catalogueEnd = last;
    }
    *id = now.catalogueNext;
    ++now.catalogueNext;
    if (!raiseMark(now))
        return false;
    if (!m_sql.exec(QStringLiteral("UPDATE counters SET value = ? WHERE name = 'catalogue_next'"),
                    {now.catalogueNext})
        || !m_sql.exec(QStringLiteral("UPDATE counters SET value = ? WHERE name = 'catalogue_end'"),
                       {now.catalogueEnd}))
        return failed();
    return true;
}

bool IdBlocks::registerBlock(qint64 first, qint64 userId, qint64 deviceId)
{
    if (!m_sql.exec(QStringLiteral("INSERT INTO id_blocks (first_id, last_id, user_id, "
                                   "device_id, created_at) VALUES (?, ?, ?, ?, ?)"),
                    {first, first + BlockSize - 1, Sql::idOrNull(userId), Sql::idOrNull(deviceId),
                     nowText()}))
        return failed();
    return true;
}

bool IdBlocks::handedOut(Counters *handed)
{
    Counters marked;
    if (!counters(handed) || !readMark(&marked))
        return false;
    handed->raise(marked);
    return true;
}

bool IdBlocks::reconcile(bool *raised, const Counters *alsoHandedOut)
{
    Counters inDatabase;
    Counters marked;
    if (!counters(&inDatabase) || !readMark(&marked))
        return false;
    Counters now = inDatabase;
    now.raise(marked);
    if (alsoHandedOut)
        now.raise(*alsoHandedOut);
    *raised = !(now == inDatabase);
    if (*raised) {
        const std::pair<const char *, qint64> rows[] = {{"next_block", now.nextBlock},
                                                        {"catalogue_next", now.catalogueNext},
                                                        {"catalogue_end", now.catalogueEnd}};
        for (const auto &[name, value] : rows) {
            if (!m_sql.exec(QStringLiteral("UPDATE counters SET value = ? WHERE name = ?"),
                            {value, QString::fromLatin1(name)}))
                return failed();
        }
    }
    return raiseMark(now);
}

std::optional<int> IdBlocks::blocksSince(qint64 userId, const QString &since)
{
    const std::optional<qint64> count = m_sql.number(
        QStringLiteral("SELECT COUNT(*) FROM id_blocks WHERE user_id = ? AND created_at >= ?"),
        {userId, since});
    if (!count)
        failed();
    return count ? std::optional<int>(int(*count)) : std::nullopt;
}
