// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "Catalogue.h"
#include "Exchange.h"
#include "ExchangeRequest.h"
#include "IdBlocks.h"
#include "Passwords.h"
#include "ServerDatabase.h"
#include "SignInLimits.h"
#include "StoredTime.h"
#include "TaskCache.h"

#include "model/DocumentFormat.h"
#include "model/QuorvelDocument.h"
#include "model/SyncProtocol.h"
#include "platform/Clock.h"

#include <QDateTime>
#include <QHash>
#include <QSet>

#include <algorithm>
#include <charconv>
#include <optional>
#include <vector>

// The parts of one exchange (Exchange::run): a Session takes the device's tasks in
// (ExchangeSession.cpp) and builds the reply and the messages (ExchangeReply.cpp).
namespace ExchangeParts {

// The document part of a refusal: the start and end markers around a version no reader
// accepts.
inline constexpr char UnreadableDocument[] = "--start--\n0\n--end--\n";

// How many tasks a notice names before it says how many more there are.
inline constexpr int NamedTasksPerNotice = 10;

// A task's meaningful content: what it is booked to and when. The shortcut slot and the
// change stamp are the device's own business (a slot moving restamps a task).
qint64 fingerprint(qint64 activityId, qint64 start, qint64 stop);

QString nowText();

QString quoted(const QString &name);

// --- The exchange proper ----------------------------------------------------------------------

using StoredTask = TaskCache::Stored;
using SeenTask = TaskCache::Seen;

// One exchange inside its transaction: the tasks taken in, the reply and the messages.
class Session
{
    Q_DECLARE_TR_FUNCTIONS(Exchange)

public:
    Session(Sql &sql, const QString &stateFolder, int blocksPerDay, qint64 userId,
            const RequestDocument &request, TaskCache *cache, qint64 serial)
        : m_sql(sql)
        , m_ids(sql, stateFolder)
        , m_blocksPerDay(blocksPerDay)
        , m_userId(userId)
        , m_request(request)
        , m_now(nowText())
        , m_cache(cache)
        , m_serial(serial)
    {}

    // After the exchange was committed: what is now known of the member's tasks, for the
    // next exchange, under the serial the database now holds.
    void keep(qint64 serial)
    {
        if (!m_cache)
            return;
        TaskCache::Entry entry;
        entry.serial = serial;
        entry.stored = std::move(m_stored);
        entry.seen = std::move(m_otherDevices);
        entry.seen.insert(m_device, std::move(m_seen));
        m_cache->put(m_userId, std::move(entry));
    }

    // False with *failure set to the member's message when the exchange cannot go on; false
    // with an empty *failure when the database failed.
    bool run(QString *failure);

    qint64 device() const { return m_device; }
    // The moment of the exchange, as the database records it.
    QString now() const { return m_now; }
    QByteArray replyDocument() const { return m_reply; }
    QString messages() const { return m_messages; }
    int recordsOut() const { return m_recordsOut; }
    // Why the exchange could not go on when the database did not fail: the server's record
    // of the ids it has handed out could not be used. For the log.
    QString problem() const { return m_ids.error(); }
    // The HTTP status of a failure that run() told the member of.
    int failureStatus() const { return m_failureStatus; }

private:
    bool resolveDevice(QString *failure);
    // False with *failure set when the member's devices have been given as many blocks in
    // the last 24 hours as they may; false alone when the database failed.
    bool mayTakeBlock(QString *failure);
    bool loadTasks();
    // What this device last sent or received of each task.
    bool loadSeen();
    qint64 catalogueActivityOf(int activityPosition, bool *ok);
    bool takeTasks();
    // The changes are gathered in memory and written at the end, a statement for many rows.
    void storeVersion(int id, const RequestTask &task, qint64 activityId, qint64 print,
                      const StoredTask *stored);
    void retire(int id);
    void see(int id, bool own, qint64 print);
    void unsee(int id);
    bool writeChanges();
    bool buildReply();
    void noticeCatalogueChanges();
    bool takeQueuedMessages();
    QString taskLine(const StoredTask &task) const;
    static QString flawLine(const RequestTask &task);
    QString summary() const;

    Sql &m_sql;
    IdBlocks m_ids;
    int m_blocksPerDay;
    int m_failureStatus = 409;
    qint64 m_userId;
    const RequestDocument &m_request;
    QString m_now;
    Catalogue m_catalogue;
    qint64 m_device = 0;
    int m_replyNextId = 0;

    struct HistoryEntry
    {
        int id;
        const char *event;
        StoredTask task;
    };

    TaskCache *m_cache;
    qint64 m_serial;
    QHash<int, StoredTask> m_stored;
    QHash<int, SeenTask> m_seen;
    // What the member's other devices hold, when it came from the cache.
    QHash<qint64, QHash<int, SeenTask>> m_otherDevices;
    QSet<int> m_storedChanges;
    QSet<int> m_seenChanges;
    QList<HistoryEntry> m_history;
    // The device's activity positions that resolved to a catalogue activity by name.
    QHash<int, qint64> m_byName;
    // The device's category names that had to be taken in another form, told once.
    QSet<QString> m_renamedCategories;

    QSet<int> m_listed;
    int m_received = 0;
    int m_deletedHere = 0;
    QStringList m_newActivities;
    QStringList m_newCategories;
    QStringList m_notices;
    QStringList m_unknownActivities;
    QStringList m_deletedElsewhere;
    QStringList m_changedElsewhere;
    QStringList m_flawed;
    QString m_queued;

    QByteArray m_reply;
    QString m_messages;
    int m_recordsOut = 0;
    int m_sent = 0;
};

} // namespace ExchangeParts
