// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ExchangeSession.h"

namespace ExchangeParts {

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

} // namespace ExchangeParts
