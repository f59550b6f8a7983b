// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QCoreApplication>
#include <QString>

#include <optional>

class Sql;

// The blocks of ids that the devices and the catalogue number their records from.
//
// Ids come in blocks of BlockSize from one counter, the first starting at FirstId: the
// catalogue draws its ids from blocks of its own, and every device is given a block of its own
// as its next id, from which it numbers its tasks. So a device never numbers a task with an id
// that another device or the catalogue uses, and the block a device's next id lies in tells
// the server which device is speaking.
//
// A database brought back from a backup holds its counters as they were then, while devices
// hold blocks, and records with catalogue ids, handed out since. So before any id is handed
// out, the counters are also written to a file of the server's own beside the database, the
// mark (one per database, named by the database's own id), and every allocation starts from
// the higher of the two: however the database came back, nothing is handed out twice. What
// the mark cannot tell (should it have been lost too) the devices tell: a block that a device
// holds and the database does not know is registered for that device again (registerBlock),
// and allocation passes over every registered block.
class IdBlocks
{
    Q_DECLARE_TR_FUNCTIONS(IdBlocks)

public:
    static constexpr qint64 FirstId = 1000000;
    static constexpr qint64 BlockSize = 20000;
    // A device is given a new block when fewer ids than this are left in its own.
    static constexpr qint64 BlockReserve = 2000;

    // The counters the database and the mark hold.
    struct Counters
    {
        qint64 nextBlock = 0;     // the first id of the next block to hand out
        qint64 catalogueNext = 0; // the catalogue's next id
        qint64 catalogueEnd = -1; // the last id of the catalogue's block
        // Each to the higher of the two: the counters only ever go up.
        void raise(const Counters &other);
        bool operator==(const Counters &other) const
        {
            return nextBlock == other.nextBlock && catalogueNext == other.catalogueNext
                   && catalogueEnd == other.catalogueEnd;
        }
    };

    // folder: where the mark is kept; made (0700) when missing.
    IdBlocks(Sql &sql, const QString &folder);

    // The first id of the block that id lies in; 0 when it lies in none.
    static qint64 blockOf(qint64 id);
    // The mark's path for a database, by the database's own id.
    static QString markPath(const QString &folder, qint64 databaseId);

    // Each of these runs inside the caller's transaction; false on failure, with error()
    // saying why (exhausted() when every block has been handed out).
    //
    // The next id for a category or activity. The catalogue's counter stays held until the
    // transaction ends.
    bool allocateId(qint64 *id);
    // A new block for a device of a user, or for the catalogue (userId and deviceId 0).
    bool allocateBlock(qint64 userId, qint64 deviceId, qint64 *first, qint64 *last);
    // Records that a device of a user holds the block starting at first, which the database
    // does not know.
    bool registerBlock(qint64 first, qint64 userId, qint64 deviceId);
    // Brings the counters of the database up to the mark (and to alsoHandedOut, when given),
    // and the mark up to the database. *raised tells whether the database was behind: it
    // came back from a backup.
    bool reconcile(bool *raised, const Counters *alsoHandedOut = nullptr);
    // How many blocks devices of the user were given (or had registered) since the moment,
    // an ISO date and time in UTC.
    std::optional<int> blocksSince(qint64 userId, const QString &since);

    // What has been handed out as far as the database and the mark know.
    bool handedOut(Counters *counters);

    bool exhausted() const { return m_exhausted; }
    QString error() const { return m_error; }

private:
    bool counters(Counters *inDatabase);
    bool readMark(Counters *marked);
    bool raiseMark(const Counters &to);
    bool takeBlock(qint64 userId, qint64 deviceId, qint64 *first, qint64 *last);
    bool failed();

    Sql &m_sql;
    QString m_folder;
    QString m_markPath;
    bool m_exhausted = false;
    QString m_error;
};
