// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "Exchange.h"

#include "Catalogue.h"
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

namespace {

// The document part of a refusal: the start and end markers around a version no reader
// accepts.
const char UnreadableDocument[] = "--start--\n0\n--end--\n";

// How many tasks a notice names before it says how many more there are.
constexpr int NamedTasksPerNotice = 10;

// --- The request's document, as plain records ---------------------------------------------

struct RequestTask
{
    // What keeps a task from being taken: the program would read it with a start or stop that
    // is no moment, or without its activity.
    enum class Flaw { None, Start, Stop, Activity };

    int id = 0;
    int activityPosition = -1;
    qint64 start = 0;
    qint64 stop = 0;
    qint64 stamp = 0;
    bool synchronised = false;
    Flaw flaw = Flaw::None;
};

// Reads the device's document without building the program's objects and without dropping
// anything, so that positions stay those the device counts; refuses lists beyond the limits
// before they are built.
class RequestDocument : public DocumentFormat::Sink
{
public:
    // bytes: the length of the document string, which bounds how many tasks it can hold.
    RequestDocument(const ExchangeLimits &limits, int bytes)
        : m_limits(limits)
        , m_bytes(bytes)
    {}

    int nextIdValue = 0;
    std::vector<DocumentFormat::CategoryRecord> categories;
    std::vector<DocumentFormat::ActivityRecord> activities;
    std::vector<RequestTask> tasks;
    QList<int> deleted;
    bool overLimit = false;

    void nextId(int value) override { nextIdValue = value; }

    bool count(List list, int count) override
    {
        int limit = 0;
        switch (list) {
        case List::Categories:
            limit = m_limits.maxCategories;
            break;
        case List::Activities:
            limit = m_limits.maxActivities;
            break;
        case List::Tasks:
            limit = m_limits.maxTasks;
            break;
        case List::DeletedTaskIds:
            limit = m_limits.maxDeletedIds;
            break;
        }
        if (count > limit) {
            overLimit = true;
            return false;
        }
        // A task takes at least 40 bytes: room for what the document can hold, not for what a
        // damaged count says.
        if (list == List::Tasks && count > 0)
            tasks.reserve(size_t(qMin(count, m_bytes / 40 + 1)));
        return true;
    }

    bool category(const DocumentFormat::CategoryRecord &record) override
    {
        categories.push_back(record);
        return true;
    }

    bool activity(const DocumentFormat::ActivityRecord &record) override
    {
        activities.push_back(record);
        return true;
    }

    bool task(const DocumentFormat::TaskRecord &record) override
    {
        RequestTask task;
        task.id = record.id;
        task.activityPosition = record.activityPosition;
        task.start = StoredTime::pack(record.start, false);
        task.stop = StoredTime::pack(record.stop, false);
        task.stamp = StoredTime::pack(record.stamp, true);
        task.synchronised = record.synchronised;
        // The activities come before the tasks, so their number is known here.
        if (task.start == 0)
            task.flaw = RequestTask::Flaw::Start;
        else if (task.stop == 0 && !record.stop.isNull())
            task.flaw = RequestTask::Flaw::Stop;
        else if (task.activityPosition < 0 || task.activityPosition >= int(activities.size()))
            task.flaw = RequestTask::Flaw::Activity;
        tasks.push_back(task);
        return true;
    }

    void deletedTaskIds(const QList<int> &ids) override { deleted = ids; }

    bool isEmpty() const { return categories.empty() && activities.empty() && tasks.empty(); }
    int records() const { return int(categories.size() + activities.size() + tasks.size()); }

private:
    const ExchangeLimits &m_limits;
    int m_bytes;
};

// A task's meaningful content: what it is booked to and when. The shortcut slot and the
// change stamp are the device's own business (a slot moving restamps a task).
qint64 fingerprint(qint64 activityId, qint64 start, qint64 stop)
{
    quint64 hash = 14695981039346656037ULL;
    for (const qint64 value : {activityId, start, stop}) {
        for (int i = 0; i < 8; ++i) {
            hash ^= (quint64(value) >> (8 * i)) & 0xff;
            hash *= 1099511628211ULL;
        }
    }
    return qint64(hash);
}

QString nowText()
{
    return Clock::now().toUTC().toString(Qt::ISODate);
}

QString quoted(const QString &name)
{
    return QStringLiteral("\u201c%1\u201d").arg(name.toHtmlEscaped());
}

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

bool Session::run(QString *failure)
{
    failure->clear();
    if (!m_catalogue.load(m_sql))
        return false;
    if (!resolveDevice(failure))
        return false;
    if (!loadTasks() || !takeTasks() || !buildReply() || !writeChanges() || !takeQueuedMessages())
        return false;
    noticeCatalogueChanges();

    QString text = QStringLiteral("<p>%1</p>\n").arg(summary());
    const auto taskNotice = [&](const QStringList &lines, const QString &one, const QString &many,
                                const QString &adviceOne, const QString &adviceMany) {
        if (lines.isEmpty())
            return;
        const bool single = lines.size() == 1;
        text += QStringLiteral("<p>%1<br>\n").arg(single ? one : many.arg(lines.size()));
        for (int i = 0; i < qMin<int>(int(lines.size()), NamedTasksPerNotice); ++i)
            text += lines.at(i) + QStringLiteral("<br>\n");
        if (lines.size() > NamedTasksPerNotice)
            text += tr("and %1 more").arg(lines.size() - NamedTasksPerNotice)
                    + QStringLiteral("<br>\n");
        text += (single ? adviceOne : adviceMany) + QStringLiteral("</p>\n");
    };
    taskNotice(m_flawed,
               tr("A task of this computer cannot be taken by the server and is kept here "
                  "only:"),
               tr("%1 tasks of this computer cannot be taken by the server and are kept here "
                  "only:"),
               tr("Edit or delete it here."), tr("Edit or delete them here."));
    taskNotice(m_deletedElsewhere, tr("A task was deleted on another computer and is still here:"),
               tr("%1 tasks were deleted on another computer and are still here:"),
               tr("Delete it here too."), tr("Delete them here too."));
    taskNotice(m_changedElsewhere,
               tr("A task was changed on another computer and still shows here as it was. The "
                  "server keeps the newer version:"),
               tr("%1 tasks were changed on another computer and still show here as they were. "
                  "The server keeps the newer versions:"),
               tr("Edit it here to match."), tr("Edit them here to match."));
    for (const QString &notice : std::as_const(m_unknownActivities))
        text += QStringLiteral("<p>%1</p>\n").arg(notice);
    if (!m_notices.isEmpty()) {
        text += QStringLiteral("<p>") + m_notices.join(QStringLiteral("<br>\n"))
                + QStringLiteral("<br>\n")
                + tr("This computer keeps the names it has. To take over the server's list: "
                     "synchronise, then choose Personal Mode and then Group Mode again in "
                     "Settings \u2192 Operating Mode, and synchronise once more; your tasks "
                     "come back from the server.")
                + QStringLiteral("</p>\n");
    }
    m_messages = m_queued + text;
    return true;
}

bool Session::resolveDevice(QString *failure)
{
    const qint64 next = m_request.nextIdValue;
    // The block of the next id to be handed out, or else of the last one handed out, when
    // the device has used its block up.
    qint64 blockLast = 0, blockUser = 0, blockDevice = 0;
    QSqlQuery *query = m_sql.run(QStringLiteral("SELECT last_id, user_id, device_id FROM id_blocks "
                                                "WHERE first_id <= ? AND last_id >= ? ORDER BY "
                                                "first_id DESC"),
                                 {next, next - 1});
    if (!query)
        return false;
    const bool found = query->next();
    if (found) {
        blockLast = query->value(0).toLongLong();
        blockUser = query->value(1).toLongLong();
        blockDevice = query->value(2).toLongLong();
    }
    Sql::done(query);

    bool newBlock = false;
    if (found && blockUser == m_userId && blockDevice != 0) {
        m_device = blockDevice;
        newBlock = next > blockLast - IdBlocks::BlockReserve;
        // Near the end of its block, a device gets the next one another day while ids are
        // left in its own.
        QString later;
        if (newBlock && next <= blockLast && !mayTakeBlock(&later)) {
            if (later.isEmpty())
                return false;
            newBlock = false;
        }
    } else if (found && !m_request.isEmpty()) {
        // Another member's device, or a next id from the catalogue's range: its tasks are not
        // this member's to take.
        *failure = tr("This computer holds the data of another user ID. To synchronise as "
                      "this user, choose Personal Mode and then Group Mode again in Settings "
                      "\u2192 Operating Mode, which empties it, and synchronise again.");
        return false;
    } else {
        if (!mayTakeBlock(failure)) {
            if (!failure->isEmpty())
                m_failureStatus = 429;
            return false;
        }
        const std::optional<qint64> device = m_sql.number(
            QStringLiteral("INSERT INTO devices (user_id, created_at) VALUES (?, ?) RETURNING id"),
            {m_userId, m_now});
        if (!device)
            return false;
        m_device = *device;
        // A block the database does not know, of which the device has used ids: a database
        // brought back from a backup, or a device the administrator forgot. The device keeps
        // it, and nothing else is ever given it.
        const qint64 held = found ? 0 : IdBlocks::blockOf(next);
        if (held != 0 && next > held) {
            if (!m_ids.registerBlock(held, m_userId, m_device))
                return false;
            newBlock = next > held + IdBlocks::BlockSize - 1 - IdBlocks::BlockReserve;
        } else {
            newBlock = true;
        }
    }

    m_replyNextId = int(next);
    if (newBlock) {
        qint64 first = 0, last = 0;
        if (!m_ids.allocateBlock(m_userId, m_device, &first, &last)) {
            if (m_ids.exhausted())
                *failure = tr("The server has no ids left to hand out. Please tell your team "
                              "lead.");
            return false;
        }
        m_replyNextId = int(first);
    }
    return m_sql.exec(QStringLiteral("UPDATE devices SET last_exchange_at = ? WHERE id = ?"),
                      {m_now, m_device});
}

bool Session::mayTakeBlock(QString *failure)
{
    const std::optional<int> taken
        = m_ids.blocksSince(m_userId, Clock::now().toUTC().addDays(-1).toString(Qt::ISODate));
    if (!taken)
        return false;
    if (*taken < m_blocksPerDay)
        return true;
    *failure = tr("The server has set up as many new computers for this user ID in the last 24 "
                  "hours as it allows (%1). Nothing was changed; please synchronise again "
                  "tomorrow, or ask your team lead.")
                   .arg(m_blocksPerDay);
    return false;
}

bool Session::loadTasks()
{
    TaskCache::Entry cached;
    if (m_cache && m_cache->take(m_userId, m_serial, &cached)) {
        m_stored = std::move(cached.stored);
        m_otherDevices = std::move(cached.seen);
        const auto device = m_otherDevices.find(m_device);
        if (device != m_otherDevices.end()) {
            m_seen = std::move(*device);
            m_otherDevices.erase(device);
            return true;
        }
        return loadSeen();
    }

    qint64 values[10];
    // A row: id, activity, start, stop, stamp, fingerprint, retired, version, and what this
    // device holds of it (own, fingerprint; own -1 when it holds nothing).
    const auto take = [&] {
        StoredTask task;
        task.activityId = values[1];
        task.start = values[2];
        task.stop = values[3];
        task.stamp = values[4];
        task.fingerprint = values[5];
        task.retired = values[6] != 0;
        task.version = int(values[7]);
        const int id = int(values[0]);
        m_stored.insert(id, task);
        if (values[8] >= 0)
            m_seen.insert(id, {values[8] != 0, values[9]});
    };

    if (!m_sql.isPostgres()) {
        // Two scans along the primary keys beat a join that looks up every task.
        QSqlQuery *query = m_sql.run(QStringLiteral("SELECT id, COALESCE(activity_id, 0), "
                                                    "start_at, stop_at, stamp, fingerprint, "
                                                    "retired, version FROM tasks WHERE "
                                                    "user_id = ?"),
                                     {m_userId});
        if (!query)
            return false;
        values[8] = -1;
        while (query->next()) {
            for (int i = 0; i < 8; ++i)
                values[i] = query->value(i).toLongLong();
            take();
        }
        Sql::done(query);
        return loadSeen();
    }

    // PostgreSQL sends every value as text through the connection: a thousand rows of ten,
    // each made a QVariant, cost more than the rest of an exchange. They come as one text.
    QSqlQuery *query = m_sql.run(
        QStringLiteral("SELECT string_agg(concat_ws(',', t.id, COALESCE(t.activity_id, 0), "
                       "t.start_at, t.stop_at, t.stamp, t.fingerprint, t.retired, t.version, "
                       "COALESCE(d.own, -1), COALESCE(d.fingerprint, 0)), ';') FROM tasks t "
                       "LEFT JOIN device_tasks d ON d.device_id = ? AND d.task_id = t.id WHERE "
                       "t.user_id = ?"),
        {m_device, m_userId});
    if (!query)
        return false;
    const QByteArray rows = query->next() ? query->value(0).toString().toLatin1() : QByteArray();
    Sql::done(query);
    const char *p = rows.constData();
    const char *end = p + rows.size();
    while (p < end) {
        for (qint64 &value : values) {
            const auto [next, error] = std::from_chars(p, end, value);
            if (error != std::errc())
                return false;
            p = next < end ? next + 1 : next; // past the ',' or ';'
        }
        take();
    }
    return true;
}

bool Session::loadSeen()
{
    QSqlQuery *query = m_sql.run(
        QStringLiteral("SELECT task_id, own, fingerprint FROM device_tasks WHERE device_id = ?"),
        {m_device});
    if (!query)
        return false;
    while (query->next())
        m_seen.insert(query->value(0).toInt(),
                      {query->value(1).toInt() != 0, query->value(2).toLongLong()});
    Sql::done(query);
    return true;
}

// The catalogue activity a task of the device is booked to: the one with the id of the
// device's activity; else one of the same name in a category of the same name, regardless of
// case (a withdrawn one is made when there is none, so that the task keeps its booking); 0 for
// a task without an activity. A name that cannot be one on the server is taken in a safe form,
// and the member is told where the tasks went.
qint64 Session::catalogueActivityOf(int position, bool *ok)
{
    *ok = true;
    if (position < 0 || position >= int(m_request.activities.size()))
        return 0;
    const DocumentFormat::ActivityRecord &held = m_request.activities.at(size_t(position));
    if (m_catalogue.activity(held.id))
        return held.id;
    const auto known = m_byName.constFind(position);
    if (known != m_byName.constEnd())
        return known.value();

    const QString name = Catalogue::safeName(held.name);
    QString categoryName;
    const int categoryPosition = held.categoryPosition;
    const bool inCategory
        = categoryPosition >= 0 && categoryPosition < int(m_request.categories.size());
    if (inCategory) {
        const QString heldCategory = m_request.categories.at(size_t(categoryPosition)).name;
        categoryName = Catalogue::safeName(heldCategory);
        if (QuorvelDocument::catalogueName(heldCategory).isEmpty()
            && !m_renamedCategories.contains(heldCategory)) {
            m_renamedCategories.insert(heldCategory);
            m_unknownActivities.append(
                tr("The category %1 cannot be a name on the server. Its activities are kept in "
                   "a category named %2.")
                    .arg(quoted(QuorvelDocument::cleanName(heldCategory)), quoted(categoryName)));
        }
    }

    const Catalogue::Activity *named = m_catalogue.activityIn(name, categoryName);
    if (!named) {
        // Looked for again once the catalogue is locked, so that another exchange making the
        // same one at the same time is seen.
        if (!Catalogue::lock(m_sql) || !m_catalogue.load(m_sql)) {
            *ok = false;
            return 0;
        }
        named = m_catalogue.activityIn(name, categoryName);
    }
    const QString cleaned = QuorvelDocument::cleanName(held.name);
    const QString shown = quoted(cleaned);
    qint64 id = 0;
    if (named) {
        id = named->id;
        if (named->name != cleaned)
            m_unknownActivities.append(tr("The activity %1 is not on the server's list. Its "
                                          "tasks are kept under the server's activity %2.")
                                           .arg(shown, quoted(named->name)));
    } else {
        qint64 categoryId = 0;
        if (inCategory) {
            const Catalogue::Category *category = m_catalogue.categoryNamed(categoryName, true);
            categoryId = category ? category->id
                                  : Catalogue::addCategory(m_sql, m_ids, categoryName, true, m_now);
            if (categoryId == 0) {
                *ok = false;
                return 0;
            }
        }
        id = Catalogue::addActivity(m_sql, m_ids, name, categoryId, true, m_now);
        if (id == 0 || !m_catalogue.load(m_sql)) {
            *ok = false;
            return 0;
        }
        m_unknownActivities.append(
            name == cleaned
                ? tr("The activity %1 is not on the server's list. Its tasks are kept under a "
                     "withdrawn activity of that name; ask your team lead to add it.")
                      .arg(shown)
                : tr("The activity %1 is not on the server's list, and its name cannot be one "
                     "there. Its tasks are kept under a withdrawn activity named %2; ask your "
                     "team lead about it.")
                      .arg(shown, quoted(name)));
    }
    m_byName.insert(position, id);
    return id;
}

bool Session::takeTasks()
{
    // The last of several tasks with one id stands, as it would on the device's next read.
    QHash<int, int> lastOf;
    for (int i = 0; i < int(m_request.tasks.size()); ++i)
        lastOf.insert(m_request.tasks.at(size_t(i)).id, i);

    for (int i = 0; i < int(m_request.tasks.size()); ++i) {
        const RequestTask &task = m_request.tasks.at(size_t(i));
        if (lastOf.value(task.id) != i)
            continue;
        m_listed.insert(task.id);
        if (task.flaw != RequestTask::Flaw::None) {
            // Kept out whole; what the server has of the task, and what the device last sent,
            // stay as they are.
            m_flawed.append(flawLine(task));
            continue;
        }
        bool ok = true;
        const qint64 activityId = catalogueActivityOf(task.activityPosition, &ok);
        if (!ok)
            return false;
        const qint64 print = fingerprint(activityId, task.start, task.stop);
        const auto stored = m_stored.constFind(task.id);
        const StoredTask *storedTask = stored == m_stored.constEnd() ? nullptr : &stored.value();
        const auto seen = m_seen.constFind(task.id);
        const bool own = !task.synchronised;

        if (seen != m_seen.constEnd() && seen->fingerprint == print) {
            // Unchanged here since the device last sent or received it.
            if (storedTask && storedTask->retired)
                m_deletedElsewhere.append(taskLine(*storedTask));
            else if (storedTask && storedTask->fingerprint != print)
                m_changedElsewhere.append(taskLine(*storedTask));
            if (seen->own != own)
                see(task.id, own, print);
            continue;
        }
        if (!storedTask || storedTask->retired || storedTask->fingerprint != print) {
            storeVersion(task.id, task, activityId, print, storedTask);
            ++m_received;
        }
        see(task.id, own, print);
    }

    QSet<int> deleted;
    for (const int id : m_request.deleted) {
        if (m_listed.contains(id) || deleted.contains(id))
            continue;
        deleted.insert(id);
        const auto stored = m_stored.constFind(id);
        if (stored != m_stored.constEnd() && !stored->retired) {
            retire(id);
            ++m_deletedHere;
        }
        if (m_seen.contains(id))
            unsee(id);
    }

    // What the device held and no longer lists. A task it made itself was deleted there
    // (the device records only the removal of tasks it received). A task it received was
    // lost by going back to the file saved before an exchange, or by emptying the device: it
    // is sent again. An emptied device deleted nothing.
    const bool emptied = m_request.isEmpty();
    const QList<int> seenIds = m_seen.keys();
    for (const int id : seenIds) {
        if (m_listed.contains(id) || deleted.contains(id))
            continue;
        const SeenTask seen = m_seen.value(id);
        const auto stored = m_stored.constFind(id);
        if (!emptied && seen.own && stored != m_stored.constEnd() && !stored->retired) {
            retire(id);
            ++m_deletedHere;
        }
        unsee(id);
    }
    for (const int id : std::as_const(deleted))
        m_listed.insert(id); // never sent back
    return true;
}

void Session::storeVersion(int id, const RequestTask &task, qint64 activityId, qint64 print,
                           const StoredTask *stored)
{
    StoredTask now;
    now.activityId = activityId;
    now.start = task.start;
    now.stop = task.stop;
    now.stamp = task.stamp;
    now.fingerprint = print;
    now.version = stored ? stored->version + 1 : 1;
    const char *event = !stored ? "created" : stored->retired ? "restored" : "changed";
    m_stored.insert(id, now);
    m_history.append({id, event, now});
    m_storedChanges.insert(id);
}

void Session::retire(int id)
{
    StoredTask &task = m_stored[id];
    task.retired = true;
    ++task.version;
    m_history.append({id, "deleted", task});
    m_storedChanges.insert(id);
}

void Session::see(int id, bool own, qint64 print)
{
    m_seen.insert(id, {own, print});
    m_seenChanges.insert(id);
}

void Session::unsee(int id)
{
    m_seen.remove(id);
    m_seenChanges.insert(id);
}

bool Session::writeChanges()
{

    QVariantList tasks;
    for (const int id : std::as_const(m_storedChanges)) {
        const StoredTask &task = m_stored[id];
        tasks << m_userId << id << Sql::idOrNull(task.activityId) << task.start << task.stop
              << task.stamp << task.fingerprint << (task.retired ? 1 : 0) << task.version
              << m_device << m_now;
    }
    if (!m_sql.execRows(QStringLiteral("INSERT INTO tasks (user_id, id, activity_id, start_at, "
                                       "stop_at, stamp, fingerprint, retired, version, device_id, "
                                       "updated_at)"),
                        11, tasks,
                        QStringLiteral("ON CONFLICT (user_id, id) DO UPDATE SET activity_id = "
                                       "excluded.activity_id, start_at = excluded.start_at, "
                                       "stop_at = excluded.stop_at, stamp = excluded.stamp, "
                                       "fingerprint = excluded.fingerprint, retired = "
                                       "excluded.retired, version = excluded.version, device_id "
                                       "= excluded.device_id, updated_at = excluded.updated_at")))
        return false;

    QVariantList history;
    for (const HistoryEntry &entry : std::as_const(m_history)) {
        history << m_userId << entry.id << entry.task.version << QString::fromLatin1(entry.event)
                << Sql::idOrNull(entry.task.activityId) << entry.task.start << entry.task.stop
                << entry.task.stamp << m_device << m_now;
    }
    if (!m_sql.execRows(QStringLiteral("INSERT INTO task_history (user_id, task_id, version, "
                                       "event, activity_id, start_at, stop_at, stamp, device_id, "
                                       "recorded_at)"),
                        10, history))
        return false;

    QVariantList gone;
    QVariantList seen;
    for (const int id : std::as_const(m_seenChanges)) {
        const auto found = m_seen.constFind(id);
        if (found == m_seen.constEnd())
            gone << id;
        else
            seen << m_device << id << (found->own ? 1 : 0) << found->fingerprint;
    }
    return m_sql.execIn(QStringLiteral("DELETE FROM device_tasks WHERE device_id = ? AND "
                                       "task_id IN"),
                        {m_device}, gone)
           && m_sql.execRows(QStringLiteral("INSERT INTO device_tasks (device_id, task_id, own, "
                                            "fingerprint)"),
                             4, seen,
                             QStringLiteral("ON CONFLICT (device_id, task_id) DO UPDATE SET own = "
                                            "excluded.own, fingerprint = excluded.fingerprint"));
}

bool Session::buildReply()
{
    // What the device holds of the catalogue, by id, at the positions it counts.
    QHash<qint64, int> heldCategories;
    for (int i = int(m_request.categories.size()) - 1; i >= 0; --i)
        heldCategories.insert(m_request.categories.at(size_t(i)).id, i);
    QHash<qint64, int> heldActivities;
    for (int i = int(m_request.activities.size()) - 1; i >= 0; --i)
        heldActivities.insert(m_request.activities.at(size_t(i)).id, i);

    // The member's tasks the device does not list, oldest first.
    std::vector<std::pair<int, StoredTask>> tasks;
    for (auto it = m_stored.constBegin(); it != m_stored.constEnd(); ++it) {
        // A task without an activity or a start (from a damaged file) would only confuse
        // another device; it stays on the server.
        if (!it->retired && it->activityId != 0 && it->start != 0 && !m_listed.contains(it.key())
            && m_catalogue.activity(it->activityId))
            tasks.emplace_back(it.key(), it.value());
    }
    std::sort(tasks.begin(), tasks.end(), [](const auto &a, const auto &b) {
        return a.second.start != b.second.start ? a.second.start < b.second.start
                                                : a.first < b.first;
    });

    // The activities the device lacks: the team's active ones, and withdrawn ones that a
    // task sent needs. Then the categories those and the team's active ones need.
    QList<const Catalogue::Activity *> activities;
    QSet<qint64> activitySent;
    for (const Catalogue::Activity &activity : std::as_const(m_catalogue.activities)) {
        if (!activity.retired && !heldActivities.contains(activity.id)) {
            activities.append(&activity);
            activitySent.insert(activity.id);
        }
    }
    for (const auto &[id, task] : tasks) {
        if (!heldActivities.contains(task.activityId) && !activitySent.contains(task.activityId)) {
            activities.append(m_catalogue.activity(task.activityId));
            activitySent.insert(task.activityId);
        }
    }
    QList<const Catalogue::Category *> categories;
    QSet<qint64> categorySent;
    for (const Catalogue::Category &category : std::as_const(m_catalogue.categories)) {
        if (!category.retired && !heldCategories.contains(category.id)) {
            categories.append(&category);
            categorySent.insert(category.id);
        }
    }
    for (const Catalogue::Activity *activity : std::as_const(activities)) {
        const Catalogue::Category *category = m_catalogue.category(activity->categoryId);
        if (category && !heldCategories.contains(category->id)
            && !categorySent.contains(category->id)) {
            categories.append(category);
            categorySent.insert(category->id);
        }
    }

    const int deviceCategories = int(m_request.categories.size());
    const int deviceActivities = int(m_request.activities.size());
    QHash<qint64, int> categoryPosition = heldCategories;
    QHash<qint64, int> activityPosition = heldActivities;

    DocumentFormat::Writer out(256 + tasks.size() * 80 + activities.size() * 64);
    out.begin(m_replyNextId);
    out.count(categories.size());
    for (int i = 0; i < categories.size(); ++i) {
        const Catalogue::Category *category = categories.at(i);
        categoryPosition.insert(category->id, deviceCategories + i);
        out.category(int(category->id), category->name, category->retired);
        if (!category->retired)
            m_newCategories.append(category->name);
    }
    out.count(activities.size());
    for (int i = 0; i < activities.size(); ++i) {
        const Catalogue::Activity *activity = activities.at(i);
        activityPosition.insert(activity->id, deviceActivities + i);
        out.activity(int(activity->id), activity->name, activity->retired,
                     activity->categoryId ? categoryPosition.value(activity->categoryId, -1) : -1);
        if (!activity->retired)
            m_newActivities.append(activity->name);
    }
    out.count(qsizetype(tasks.size()));
    for (const auto &[id, task] : tasks) {
        DocumentFormat::TaskRecord record;
        record.id = id;
        record.activityPosition = activityPosition.value(task.activityId, -1);
        // No slot: the device's own tasks hold its buttons.
        record.shortcut = 0;
        record.start = StoredTime::unpack(task.start, false);
        record.stop = StoredTime::unpack(task.stop, false);
        record.stamp = StoredTime::unpack(task.stamp, true);
        record.synchronised = true;
        out.task(record);
        see(id, false, task.fingerprint);
    }
    // The server has taken the deleted ids.
    out.end({});
    m_reply = out.bytes();
    m_sent = int(tasks.size());
    m_recordsOut = int(categories.size() + activities.size()) + m_sent;
    return true;
}

void Session::noticeCatalogueChanges()
{
    const auto categoryNameAt = [&](int position) -> const DocumentFormat::CategoryRecord * {
        return position >= 0 && position < int(m_request.categories.size())
                   ? &m_request.categories.at(size_t(position))
                   : nullptr;
    };
    for (const DocumentFormat::CategoryRecord &held : m_request.categories) {
        const Catalogue::Category *category = m_catalogue.category(held.id);
        if (!category)
            continue;
        if (category->name != held.name)
            m_notices.append(tr("The category %1 is now called %2.")
                                 .arg(quoted(held.name), quoted(category->name)));
        if (category->retired && !held.obsolete)
            m_notices.append(tr("The category %1 has been withdrawn.").arg(quoted(category->name)));
    }
    for (const DocumentFormat::ActivityRecord &held : m_request.activities) {
        const Catalogue::Activity *activity = m_catalogue.activity(held.id);
        if (!activity)
            continue;
        if (activity->name != held.name)
            m_notices.append(tr("The activity %1 is now called %2.")
                                 .arg(quoted(held.name), quoted(activity->name)));
        if (activity->retired && !held.obsolete)
            m_notices.append(tr("The activity %1 has been withdrawn: please start no new tasks "
                                "of it.")
                                 .arg(quoted(activity->name)));
        const DocumentFormat::CategoryRecord *heldCategory = categoryNameAt(held.categoryPosition);
        const Catalogue::Category *category = m_catalogue.category(activity->categoryId);
        if (category && (!heldCategory || heldCategory->id != category->id))
            m_notices.append(tr("The activity %1 now belongs to the category %2.")
                                 .arg(quoted(activity->name), quoted(category->name)));
    }
}

bool Session::takeQueuedMessages()
{
    QSqlQuery *query = m_sql.run(QStringLiteral("SELECT id, body FROM messages WHERE user_id = ? "
                                                "AND delivered_at IS NULL ORDER BY id"),
                                 {m_userId});
    if (!query)
        return false;
    qint64 last = 0;
    while (query->next()) {
        last = query->value(0).toLongLong();
        QString body = query->value(1).toString();
        if (!body.endsWith(QLatin1Char('\n')))
            body += QLatin1Char('\n');
        m_queued += body;
    }
    Sql::done(query);
    if (last == 0)
        return true;
    return m_sql.exec(QStringLiteral("UPDATE messages SET delivered_at = ? WHERE user_id = ? AND "
                                     "delivered_at IS NULL AND id <= ?"),
                      {m_now, m_userId, last});
}

QString Session::taskLine(const StoredTask &task) const
{
    const Catalogue::Activity *activity = m_catalogue.activity(task.activityId);
    const QString name = activity ? activity->name : QString();
    const QDateTime start = StoredTime::unpack(task.start, false).toDateTime();
    const QDateTime stop = StoredTime::unpack(task.stop, false).toDateTime();
    QString when = start.isValid() ? start.toString(QStringLiteral("yyyy-MM-dd hh:mm")) : QString();
    if (stop.isValid())
        when += QStringLiteral("\u2013") + stop.toString(QStringLiteral("hh:mm"));
    return QStringLiteral("%1 %2").arg(when, name.toHtmlEscaped());
}

QString Session::flawLine(const RequestTask &task)
{
    switch (task.flaw) {
    case RequestTask::Flaw::Start:
        return tr("task %1: its start is not a valid date and time").arg(task.id);
    case RequestTask::Flaw::Stop:
        return tr("task %1: its stop is not a valid date and time").arg(task.id);
    case RequestTask::Flaw::Activity:
        return tr("task %1: it has no activity").arg(task.id);
    case RequestTask::Flaw::None:
        break;
    }
    return QString();
}

QString Session::summary() const
{
    QStringList parts;
    const auto count = [&](int n, const QString &one, const QString &many) {
        if (n == 1)
            parts.append(one);
        else if (n > 1)
            parts.append(many.arg(n));
    };
    count(m_received, tr("1 task received"), tr("%1 tasks received"));
    count(m_deletedHere, tr("1 task deleted"), tr("%1 tasks deleted"));
    count(m_sent, tr("1 task sent"), tr("%1 tasks sent"));
    const auto names = [](const QStringList &list) {
        QStringList escaped;
        for (const QString &name : list)
            escaped.append(name.toHtmlEscaped());
        return escaped.join(QStringLiteral(", "));
    };
    if (m_newCategories.size() == 1)
        parts.append(tr("1 new category: %1").arg(names(m_newCategories)));
    else if (m_newCategories.size() > 1)
        parts.append(
            tr("%1 new categories: %2").arg(m_newCategories.size()).arg(names(m_newCategories)));
    if (m_newActivities.size() == 1)
        parts.append(tr("1 new activity: %1").arg(names(m_newActivities)));
    else if (m_newActivities.size() > 1)
        parts.append(
            tr("%1 new activities: %2").arg(m_newActivities.size()).arg(names(m_newActivities)));
    if (parts.isEmpty())
        return tr("Up to date: nothing has changed since the last synchronization.");
    return parts.join(QStringLiteral(", "));
}

} // namespace

Exchange::Exchange(Sql &sql, const QString &stateFolder, Passwords &passwords,
                   const ExchangeLimits &limits, TaskCache *cache)
    : m_sql(sql)
    , m_stateFolder(stateFolder)
    , m_passwords(passwords)
    , m_limits(limits)
    , m_cache(cache)
{}

QString Exchange::unreadableMessage()
{
    return tr("The server could not read what this computer sent. Nothing was changed.");
}

QString Exchange::unavailableMessage()
{
    return tr("The server cannot reach its database just now. Nothing was changed; please try "
              "again later.");
}

ExchangeOutcome Exchange::refusal(int status, const QString &reason, const QString &message)
{
    ExchangeOutcome outcome;
    outcome.status = status;
    outcome.result = QStringLiteral("refused:") + reason;
    outcome.body = SyncProtocol::buildReplyBody(
        UnreadableDocument, QStringLiteral("<p><b>%1</b></p>\n<p>%2</p>\n")
                                .arg(tr("The server refused this synchronization."), message));
    return outcome;
}

ExchangeOutcome Exchange::run(QByteArray body, const QString &peer)
{
    const QString unreadable = unreadableMessage();
    SyncProtocol::RequestBody head;
    if (!SyncProtocol::parseRequestBody(body, &head))
        return refusal(400, QStringLiteral("malformed"), unreadable);
    const int documentBytes = int(body.size() - head.documentOffset);
    RequestDocument request(m_limits, documentBytes);
    if (!DocumentFormat::read(body.data() + head.documentOffset, documentBytes, request)) {
        if (request.overLimit)
            return refusal(413, QStringLiteral("too-large"),
                           tr("This computer holds more records than the server takes in one "
                              "synchronization. Nothing was changed."));
        return refusal(400, QStringLiteral("malformed"), unreadable);
    }
    body = QByteArray();

    const QString name = head.userId;
    const QString unavailable = unavailableMessage();
    // Every refusal from here on names the user it was for, in the log.
    const auto refuse = [&](int status, const char *reason, const QString &text) {
        ExchangeOutcome outcome = refusal(status, QString::fromLatin1(reason), text);
        outcome.user = name;
        return outcome;
    };

    // Who is asking.
    qint64 userId = 0;
    QString storedHash;
    bool disabled = false;
    {
        QSqlQuery *query = m_sql.run(
            QStringLiteral("SELECT id, password_hash, disabled FROM users WHERE name = ?"), {name});
        if (!query)
            return refuse(503, "database", unavailable);
        if (query->next()) {
            userId = query->value(0).toLongLong();
            storedHash = query->value(1).toString();
            disabled = query->value(2).toInt() != 0;
        }
        Sql::done(query);
    }
    // Known and unknown user ids alike.
    SignInLimits limits(m_sql, m_limits.signIns);
    const int wait = limits.wait(name, peer);
    if (wait > 0) {
        const int minutes = (wait + 59) / 60;
        return refuse(429, "rate-limited",
                      minutes == 1
                          ? tr("Too many failed sign-ins. Please wait a minute and check the "
                               "user ID and password in Settings \u2192 Operating Mode.")
                          : tr("Too many failed sign-ins. Please wait %1 minutes and check the "
                               "user ID and password in Settings \u2192 Operating Mode.")
                                .arg(minutes));
    }
    const QString wrongText = tr("The user ID or the password is wrong. Please check them in "
                                 "Settings \u2192 Operating Mode.");
    bool signedIn = false;
    if (userId) {
        signedIn = m_passwords.verify(name, head.password, storedHash);
    } else {
        m_passwords.verifyNothing(head.password);
    }
    if (!signedIn) {
        limits.failed(name, peer);
        return refuse(403, "wrong-credentials", wrongText);
    }
    const QString disabledText = tr("Your user ID has been disabled on this server. Please ask "
                                    "your team lead.");
    if (disabled) {
        return refuse(403, "disabled", disabledText);
    }

    const auto writer = m_sql.queueForWriting();
    Transaction transaction(m_sql);
    if (!transaction.isOpen())
        return refuse(503, "database", unavailable);
    // Every exchange of one member waits for the one before: two devices of one member, or
    // two server processes, never interleave.
    qint64 serial = 0;
    {
        QSqlQuery *query = m_sql.run(
            m_sql.isPostgres()
                ? QStringLiteral(
                    "SELECT disabled, password_hash, task_serial FROM users WHERE id = ? FOR "
                    "UPDATE")
                : QStringLiteral(
                    "SELECT disabled, password_hash, task_serial FROM users WHERE id = ?"),
            {userId});
        if (!query || !query->next()) {
            Sql::done(query);
            return refuse(503, "database", unavailable);
        }
        const bool disabledNow = query->value(0).toInt() != 0;
        const bool hashChanged = query->value(1).toString() != storedHash;
        serial = query->value(2).toLongLong();
        Sql::done(query);
        // Changed by the team lead while the password was checked.
        if (disabledNow)
            return refuse(403, "disabled", disabledText);
        if (hashChanged)
            return refuse(403, "wrong-credentials", wrongText);
    }

    Session session(m_sql, m_stateFolder, m_limits.blocksPerDay, userId, request, m_cache, serial);
    QString failure;
    if (!session.run(&failure)) {
        if (!failure.isEmpty())
            return refuse(session.failureStatus(),
                          session.failureStatus() == 429 ? "blocks" : "device", failure);
        ExchangeOutcome outcome = refuse(503, "database", unavailable);
        outcome.problem = session.problem();
        return outcome;
    }
    // The member's tasks may have changed: what any process remembers of them is stale now.
    if (!m_sql.exec(QStringLiteral("UPDATE users SET last_exchange_at = ?, task_serial = "
                                   "task_serial + 1 WHERE id = ?"),
                    {session.now(), userId}))
        return refuse(503, "database", unavailable);
    if (!limits.succeeded(name, peer))
        return refuse(503, "database", unavailable);
    if (!transaction.commit())
        return refuse(503, "database", unavailable);
    session.keep(serial + 1);

    ExchangeOutcome outcome;
    outcome.body = SyncProtocol::buildReplyBody(session.replyDocument(), session.messages());
    outcome.user = name;
    outcome.device = session.device();
    outcome.recordsIn = request.records();
    outcome.recordsOut = session.recordsOut();
    outcome.result = QStringLiteral("complete");
    return outcome;
}
