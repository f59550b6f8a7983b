// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "Admin.h"

#include "Catalogue.h"
#include "IdBlocks.h"
#include "Passwords.h"
#include "ServerDatabase.h"
#include "SignInLimits.h"
#include "StoredTime.h"

#include "model/DocumentFormat.h"
#include "model/QuorvelDocument.h"
#include "platform/Clock.h"
#include "reports/ReportText.h"

#include <QFile>
#include <QFileInfo>
#include <QTextStream>

#include <algorithm>

namespace {

QString nowText()
{
    return Clock::now().toUTC().toString(Qt::ISODate);
}

} // namespace

Admin::Admin(Sql &sql, const QString &stateFolder, QTextStream &out, QTextStream &err)
    : m_sql(sql)
    , m_stateFolder(stateFolder)
    , m_out(out)
    , m_err(err)
{}

int Admin::fail(const QString &message)
{
    m_err << message << '\n';
    m_err.flush();
    return 1;
}

int Admin::databaseFailed()
{
    return fail(tr("The database failed: %1").arg(m_sql.lastError()));
}

int Admin::idsFailed(const IdBlocks &ids)
{
    return ids.error().isEmpty() ? databaseFailed() : fail(ids.error());
}

qint64 Admin::userId(const QString &name, bool *disabled)
{
    QSqlQuery *query
        = m_sql.run(QStringLiteral("SELECT id, disabled FROM users WHERE name = ?"), {name});
    if (!query)
        return -1;
    qint64 id = 0;
    if (query->next()) {
        id = query->value(0).toLongLong();
        if (disabled)
            *disabled = query->value(1).toInt() != 0;
    }
    Sql::done(query);
    return id;
}

int Admin::checkUser(const QString &name, bool exists)
{
    if (!exists && !isUserName(name))
        return refuseUserName(name);
    const qint64 id = userId(name.trimmed());
    if (id < 0)
        return databaseFailed();
    if (exists && id == 0)
        return fail(tr("There is no user %1.").arg(name));
    if (!exists && id > 0)
        return fail(tr("The user %1 already exists.").arg(name));
    return 0;
}

bool Admin::isUserName(const QString &typed)
{
    const QString name = typed.trimmed();
    return !name.isEmpty() && QuorvelDocument::cleanName(name) == name
           && !QuorvelDocument::isReservedName(name);
}

int Admin::refuseUserName(const QString &typed)
{
    return fail(tr("\"%1\" cannot be a user ID: it must not be empty, hold line breaks or be "
                   "one of the markers --sync--, --start-- and --end--.")
                    .arg(typed));
}

int Admin::userAdd(const QString &typed, const QString &password)
{
    const QString name = typed.trimmed();
    if (!isUserName(typed))
        return refuseUserName(typed);
    if (password.isEmpty() || password.trimmed() != password
        || QuorvelDocument::isReservedName(password) || password.contains(QLatin1Char('\n')))
        return fail(tr("This password cannot be used: it must not be empty, begin or end with a "
                       "blank (the program drops those), or be a marker of the format."));
    const QString hash = Passwords::hash(password);
    if (hash.isEmpty())
        return fail(tr("The password could not be hashed (out of memory?)."));
    Transaction transaction(m_sql);
    const qint64 existing = userId(name);
    if (existing < 0)
        return databaseFailed();
    if (existing > 0)
        return fail(tr("The user %1 already exists.").arg(name));
    if (!m_sql.exec(QStringLiteral("INSERT INTO users (name, password_hash, disabled, "
                                   "created_at) VALUES (?, ?, 0, ?)"),
                    {name, hash, nowText()})
        || !transaction.commit())
        return databaseFailed();
    m_out << tr("Added the user %1.").arg(name) << '\n';
    return 0;
}

int Admin::userPasswd(const QString &name, const QString &password)
{
    if (password.isEmpty() || password.trimmed() != password
        || QuorvelDocument::isReservedName(password) || password.contains(QLatin1Char('\n')))
        return fail(tr("This password cannot be used: it must not be empty, begin or end with a "
                       "blank (the program drops those), or be a marker of the format."));
    const QString hash = Passwords::hash(password);
    if (hash.isEmpty())
        return fail(tr("The password could not be hashed (out of memory?)."));
    Transaction transaction(m_sql);
    const qint64 id = userId(name);
    if (id < 0)
        return databaseFailed();
    if (id == 0)
        return fail(tr("There is no user %1.").arg(name));
    QSqlQuery *query
        = m_sql.run(QStringLiteral("UPDATE users SET password_hash = ? WHERE id = ?"), {hash, id});
    Sql::done(query);
    if (!query || !SignInLimits::forgetUser(m_sql, name) || !transaction.commit())
        return databaseFailed();
    m_out << tr("Changed the password of %1.").arg(name) << '\n';
    return 0;
}

int Admin::userDisable(const QString &name, bool disabled)
{
    Transaction transaction(m_sql);
    const qint64 id = userId(name);
    if (id < 0)
        return databaseFailed();
    if (id == 0)
        return fail(tr("There is no user %1.").arg(name));
    if (!m_sql.exec(QStringLiteral("UPDATE users SET disabled = ? WHERE id = ?"),
                    {disabled ? 1 : 0, id})
        || !transaction.commit())
        return databaseFailed();
    m_out << (disabled ? tr("Disabled the user %1.") : tr("Enabled the user %1.")).arg(name)
          << '\n';
    return 0;
}

int Admin::userList()
{
    QSqlQuery *query = m_sql.run(QStringLiteral(
        "SELECT u.name, u.disabled, u.last_exchange_at, (SELECT COUNT(*) FROM tasks t WHERE "
        "t.user_id = u.id AND t.retired = 0) FROM users u ORDER BY u.name"));
    if (!query)
        return databaseFailed();
    while (query->next()) {
        QString line = query->value(0).toString();
        line += QLatin1Char('\t') + (query->value(1).toInt() ? tr("disabled") : tr("enabled"));
        line += QLatin1Char('\t') + tr("%1 tasks").arg(query->value(3).toLongLong());
        line += QLatin1Char('\t')
                + (query->value(2).isNull()
                       ? tr("never synchronized")
                       : tr("last synchronized %1").arg(query->value(2).toString()));
        m_out << line << '\n';
    }
    Sql::done(query);
    return 0;
}

int Admin::userHistory(const QString &name)
{
    const qint64 id = userId(name);
    if (id < 0)
        return databaseFailed();
    if (id == 0)
        return fail(tr("There is no user %1.").arg(name));
    Catalogue catalogue;
    if (!catalogue.load(m_sql))
        return databaseFailed();
    QSqlQuery *query = m_sql.run(QStringLiteral("SELECT task_id, version, event, activity_id, "
                                                "start_at, stop_at, recorded_at FROM task_history "
                                                "WHERE user_id = ? ORDER BY task_id, seq"),
                                 {id});
    if (!query)
        return databaseFailed();
    const auto when = [](qint64 packed) {
        const QDateTime moment = StoredTime::unpack(packed, false).toDateTime();
        return moment.isValid() ? moment.toString(QStringLiteral("yyyy-MM-dd hh:mm")) : QString();
    };
    while (query->next()) {
        const Catalogue::Activity *activity = catalogue.activity(query->value(3).toLongLong());
        m_out << query->value(0).toLongLong() << '\t' << query->value(1).toInt() << '\t'
              << query->value(2).toString() << '\t' << when(query->value(4).toLongLong()) << '\t'
              << when(query->value(5).toLongLong()) << '\t'
              << (activity ? activity->name : QString()) << '\t' << query->value(6).toString()
              << '\n';
    }
    Sql::done(query);
    return 0;
}

int Admin::categoryAdd(const QString &typed)
{
    const QString name = QuorvelDocument::catalogueName(typed);
    if (name.isEmpty())
        return fail(tr("\"%1\" cannot be a category name.").arg(typed));
    Transaction transaction(m_sql);
    Catalogue catalogue;
    if (!catalogue.load(m_sql))
        return databaseFailed();
    if (const Catalogue::Category *existing = catalogue.categoryNamed(name, false))
        return fail(tr("A category named %1 already exists.").arg(existing->name));
    IdBlocks ids(m_sql, m_stateFolder);
    if (Catalogue::addCategory(m_sql, ids, name, false, nowText()) == 0)
        return idsFailed(ids);
    if (!transaction.commit())
        return databaseFailed();
    m_out << tr("Added the category %1.").arg(name) << '\n';
    return 0;
}

int Admin::categoryRename(const QString &oldName, const QString &typed)
{
    const QString name = QuorvelDocument::catalogueName(typed);
    if (name.isEmpty())
        return fail(tr("\"%1\" cannot be a category name.").arg(typed));
    Transaction transaction(m_sql);
    Catalogue catalogue;
    if (!catalogue.load(m_sql))
        return databaseFailed();
    const Catalogue::Category *category = catalogue.categoryNamed(oldName, false);
    if (!category)
        return fail(tr("There is no category %1.").arg(oldName));
    const Catalogue::Category *clash = catalogue.categoryNamed(name, false);
    if (clash && clash != category)
        return fail(tr("A category named %1 already exists.").arg(clash->name));
    if (!m_sql.exec(QStringLiteral("UPDATE categories SET name = ? WHERE id = ?"),
                    {name, category->id})
        || !transaction.commit())
        return databaseFailed();
    m_out << tr("Renamed the category %1 to %2.").arg(oldName, name) << '\n';
    return 0;
}

int Admin::categoryRetire(const QString &name)
{
    Transaction transaction(m_sql);
    Catalogue catalogue;
    if (!catalogue.load(m_sql))
        return databaseFailed();
    const Catalogue::Category *category = catalogue.categoryNamed(name, false);
    if (!category)
        return fail(tr("There is no category %1.").arg(name));
    // As on the desktop, a withdrawn category takes its activities with it.
    if (!m_sql.exec(QStringLiteral("UPDATE activities SET retired = 1 WHERE category_id = ?"),
                    {category->id}))
        return databaseFailed();
    if (!m_sql.exec(QStringLiteral("UPDATE categories SET retired = 1 WHERE id = ?"),
                    {category->id})
        || !transaction.commit())
        return databaseFailed();
    m_out << tr("Withdrew the category %1 and its activities.").arg(name) << '\n';
    return 0;
}

int Admin::categoryDelete(const QString &name)
{
    Transaction transaction(m_sql);
    Catalogue catalogue;
    if (!catalogue.load(m_sql))
        return databaseFailed();
    const Catalogue::Category *category = catalogue.categoryNamed(name, true);
    if (!category)
        return fail(tr("There is no category %1.").arg(name));
    const std::optional<qint64> activities = m_sql.number(
        QStringLiteral("SELECT COUNT(*) FROM activities WHERE category_id = ?"), {category->id});
    if (!activities)
        return databaseFailed();
    if (*activities > 0)
        return fail(tr("The category %1 has activities, so it stays; delete those first, or "
                       "withdraw it with \"category retire\".")
                        .arg(name));
    if (!m_sql.exec(QStringLiteral("DELETE FROM categories WHERE id = ?"), {category->id})
        || !transaction.commit())
        return databaseFailed();
    m_out << tr("Deleted the category %1.").arg(name) << '\n';
    return 0;
}

int Admin::categoryList()
{
    Catalogue catalogue;
    if (!catalogue.load(m_sql))
        return databaseFailed();
    for (const Catalogue::Category &category : std::as_const(catalogue.categories)) {
        m_out << category.name;
        if (category.retired)
            m_out << '\t' << tr("withdrawn");
        m_out << '\n';
    }
    return 0;
}

qint64 Admin::findActivity(const QString &name, const QString &category, QString *problem,
                           bool alsoRetired)
{
    Catalogue catalogue;
    if (!catalogue.load(m_sql)) {
        *problem = tr("The database failed: %1").arg(m_sql.lastError());
        return 0;
    }
    QList<const Catalogue::Activity *> found;
    for (const Catalogue::Activity &activity : std::as_const(catalogue.activities)) {
        if ((activity.retired && !alsoRetired) || !QuorvelDocument::sameName(activity.name, name))
            continue;
        const Catalogue::Category *in = catalogue.category(activity.categoryId);
        if (!category.isEmpty() && (!in || !QuorvelDocument::sameName(in->name, category)))
            continue;
        found.append(&activity);
    }
    // The one in use stands for its name; withdrawn ones share names with it and each other.
    if (found.size() > 1) {
        const auto inUse = std::find_if(found.cbegin(), found.cend(),
                                        [](const Catalogue::Activity *a) { return !a->retired; });
        if (inUse != found.cend())
            found = {*inUse};
    }
    if (found.isEmpty()) {
        *problem = category.isEmpty()
                       ? tr("There is no activity %1.").arg(name)
                       : tr("There is no activity %1 in the category %2.").arg(name, category);
        return 0;
    }
    if (found.size() > 1) {
        *problem = tr("There are several activities named %1; name the category with "
                      "--category.")
                       .arg(name);
        return 0;
    }
    return found.first()->id;
}

int Admin::activityAdd(const QString &typed, const QString &categoryName)
{
    const QString name = QuorvelDocument::catalogueName(typed);
    if (name.isEmpty())
        return fail(tr("\"%1\" cannot be an activity name.").arg(typed));
    Transaction transaction(m_sql);
    Catalogue catalogue;
    if (!catalogue.load(m_sql))
        return databaseFailed();
    const Catalogue::Category *category = catalogue.categoryNamed(categoryName, false);
    if (!category)
        return fail(tr("There is no category %1.").arg(categoryName));
    // Names are unique among the activities in use, as on the desktop.
    if (const Catalogue::Activity *existing = catalogue.activityNamed(name, false))
        return fail(tr("An activity named %1 already exists.").arg(existing->name));
    IdBlocks ids(m_sql, m_stateFolder);
    if (Catalogue::addActivity(m_sql, ids, name, category->id, false, nowText()) == 0)
        return idsFailed(ids);
    if (!transaction.commit())
        return databaseFailed();
    m_out << tr("Added the activity %1 in the category %2.").arg(name, category->name) << '\n';
    return 0;
}

int Admin::activityRename(const QString &oldName, const QString &category, const QString &typed)
{
    const QString name = QuorvelDocument::catalogueName(typed);
    if (name.isEmpty())
        return fail(tr("\"%1\" cannot be an activity name.").arg(typed));
    Transaction transaction(m_sql);
    QString problem;
    const qint64 id = findActivity(oldName, category, &problem);
    if (id == 0)
        return fail(problem);
    Catalogue catalogue;
    if (!catalogue.load(m_sql))
        return databaseFailed();
    const Catalogue::Activity *clash = catalogue.activityNamed(name, false);
    if (clash && clash->id != id)
        return fail(tr("An activity named %1 already exists.").arg(clash->name));
    if (!m_sql.exec(QStringLiteral("UPDATE activities SET name = ? WHERE id = ?"), {name, id})
        || !transaction.commit())
        return databaseFailed();
    m_out << tr("Renamed the activity %1 to %2.").arg(oldName, name) << '\n';
    return 0;
}

int Admin::activityRetire(const QString &name, const QString &category)
{
    Transaction transaction(m_sql);
    QString problem;
    const qint64 id = findActivity(name, category, &problem);
    if (id == 0)
        return fail(problem);
    if (!m_sql.exec(QStringLiteral("UPDATE activities SET retired = 1 WHERE id = ?"), {id})
        || !transaction.commit())
        return databaseFailed();
    m_out << tr("Withdrew the activity %1.").arg(name) << '\n';
    return 0;
}

int Admin::activityDelete(const QString &name, const QString &category)
{
    Transaction transaction(m_sql);
    QString problem;
    const qint64 id = findActivity(name, category, &problem, true);
    if (id == 0)
        return fail(problem);
    // Deleted tasks and the history keep their activity too.
    const std::optional<qint64> used = m_sql.number(
        QStringLiteral("SELECT (SELECT COUNT(*) FROM tasks WHERE activity_id = ?) + (SELECT "
                       "COUNT(*) FROM task_history WHERE activity_id = ?)"),
        {id, id});
    if (!used)
        return databaseFailed();
    if (*used > 0)
        return fail(tr("The activity %1 has tasks, so it stays; withdraw it instead with "
                       "\"activity retire\".")
                        .arg(name));
    if (!m_sql.exec(QStringLiteral("DELETE FROM activities WHERE id = ?"), {id})
        || !transaction.commit())
        return databaseFailed();
    m_out << tr("Deleted the activity %1.").arg(name) << '\n';
    return 0;
}

int Admin::activityList()
{
    Catalogue catalogue;
    if (!catalogue.load(m_sql))
        return databaseFailed();
    for (const Catalogue::Activity &activity : std::as_const(catalogue.activities)) {
        const Catalogue::Category *category = catalogue.category(activity.categoryId);
        m_out << activity.name << '\t' << (category ? category->name : QString());
        if (activity.retired)
            m_out << '\t' << tr("withdrawn");
        m_out << '\n';
    }
    return 0;
}

int Admin::deviceList(const QString &user)
{
    qint64 only = 0;
    if (!user.isEmpty()) {
        only = userId(user);
        if (only < 0)
            return databaseFailed();
        if (only == 0)
            return fail(tr("There is no user %1.").arg(user));
    }
    QSqlQuery *query = m_sql.run(
        QStringLiteral(
            "SELECT d.id, u.name, d.created_at, d.last_exchange_at, b.first_id, b.last_id FROM "
            "devices d JOIN users u ON u.id = d.user_id LEFT JOIN id_blocks b ON b.device_id = "
            "d.id "
            "WHERE ? = 0 OR d.user_id = ? ORDER BY d.id, b.first_id"),
        {only, only});
    if (!query)
        return databaseFailed();
    qint64 device = 0;
    QStringList fields;
    QStringList blocks;
    const auto flush = [&] {
        if (device == 0)
            return;
        fields.insert(2, blocks.isEmpty() ? tr("no block") : blocks.join(QLatin1Char(',')));
        m_out << fields.join(QLatin1Char('\t')) << '\n';
    };
    while (query->next()) {
        if (query->value(0).toLongLong() != device) {
            flush();
            device = query->value(0).toLongLong();
            blocks.clear();
            fields = QStringList{QString::number(device), query->value(1).toString(),
                                 tr("added %1").arg(query->value(2).toString()),
                                 tr("last synchronized %1").arg(query->value(3).toString())};
        }
        if (!query->value(4).isNull())
            blocks << QStringLiteral("%1-%2")
                          .arg(query->value(4).toLongLong())
                          .arg(query->value(5).toLongLong());
    }
    flush();
    Sql::done(query);
    return 0;
}

int Admin::deviceForget(const QList<qint64> &devices)
{
    Transaction transaction(m_sql);
    QStringList told;
    for (const qint64 device : devices) {
        QSqlQuery *query = m_sql.run(QStringLiteral("SELECT u.id, u.name FROM devices d JOIN "
                                                    "users u ON u.id = d.user_id WHERE d.id = ?"),
                                     {device});
        if (!query)
            return databaseFailed();
        const bool found = query->next();
        const qint64 user = found ? query->value(0).toLongLong() : 0;
        const QString name = found ? query->value(1).toString() : QString();
        Sql::done(query);
        if (!found)
            return fail(tr("There is no device %1.").arg(device));
        // What the server remembers of the member's tasks names the device: it is read
        // afresh at the next exchange.
        if (!m_sql.exec(QStringLiteral("DELETE FROM device_tasks WHERE device_id = ?"), {device})
            || !m_sql.exec(QStringLiteral("DELETE FROM id_blocks WHERE device_id = ?"), {device})
            || !m_sql.exec(QStringLiteral("DELETE FROM devices WHERE id = ?"), {device})
            || !m_sql.exec(QStringLiteral("UPDATE users SET task_serial = task_serial + 1 WHERE "
                                          "id = ?"),
                           {user}))
            return databaseFailed();
        told << tr("Forgot the device %1 of %2.").arg(device).arg(name);
    }
    if (!transaction.commit())
        return databaseFailed();
    for (const QString &line : std::as_const(told))
        m_out << line << '\n';
    if (!told.isEmpty())
        m_out << tr("The blocks of ids of a forgotten device are handed out again once no other "
                    "is left. Should such a computer synchronise again before that, it is "
                    "registered anew and keeps its tasks.")
              << '\n';
    return 0;
}

int Admin::deviceForgetUnseen(int days)
{
    QSqlQuery *query
        = m_sql.run(QStringLiteral("SELECT id FROM devices WHERE last_exchange_at < ? ORDER BY id"),
                    {Clock::now().toUTC().addDays(-days).toString(Qt::ISODate)});
    if (!query)
        return databaseFailed();
    QList<qint64> devices;
    while (query->next())
        devices << query->value(0).toLongLong();
    Sql::done(query);
    if (devices.isEmpty()) {
        m_out << tr("No device has been away that long.") << '\n';
        return 0;
    }
    return deviceForget(devices);
}

int Admin::messageSend(const QStringList &users, const QString &text)
{
    if (text.trimmed().isEmpty())
        return fail(tr("The message is empty."));
    Transaction transaction(m_sql);
    QList<qint64> ids;
    if (users.isEmpty()) {
        QSqlQuery *query = m_sql.run(QStringLiteral("SELECT id FROM users WHERE disabled = 0"));
        if (!query)
            return databaseFailed();
        while (query->next())
            ids.append(query->value(0).toLongLong());
        Sql::done(query);
    } else {
        for (const QString &user : users) {
            const qint64 id = userId(user);
            if (id < 0)
                return databaseFailed();
            if (id == 0)
                return fail(tr("There is no user %1.").arg(user));
            ids.append(id);
        }
    }
    const QString now = nowText();
    for (const qint64 id : std::as_const(ids)) {
        if (!m_sql.exec(QStringLiteral("INSERT INTO messages (user_id, body, "
                                       "created_at) VALUES (?, ?, ?)"),
                        {id, text, now}))
            return databaseFailed();
    }
    if (!transaction.commit())
        return databaseFailed();
    m_out << (ids.size() == 1 ? tr("Queued the message for 1 user.")
                              : tr("Queued the message for %1 users.").arg(ids.size()))
          << '\n';
    return 0;
}

int Admin::import(const QString &file)
{
    QFile in(file);
    if (!in.open(QIODevice::ReadOnly))
        return fail(tr("%1 cannot be read: %2").arg(file, in.errorString()));
    QByteArray bytes = in.readAll();
    DocumentFormat::CatalogueSink sink;
    if (!DocumentFormat::read(bytes.data(), int(qMin<qint64>(bytes.size(), INT_MAX)), sink))
        return fail(tr("%1 is not a Quorvel data file.").arg(file));

    Transaction transaction(m_sql);
    Catalogue catalogue;
    if (!catalogue.load(m_sql))
        return databaseFailed();
    const QString now = nowText();
    IdBlocks ids(m_sql, m_stateFolder);
    int categoriesAdded = 0;
    int activitiesAdded = 0;
    int present = 0;
    // Names in use differ in more than case: the keys are the names case-folded.
    QHash<QString, qint64> categoryIds;
    for (const Catalogue::Category &category : std::as_const(catalogue.categories)) {
        if (!category.retired)
            categoryIds.insert(category.name.toCaseFolded(), category.id);
    }
    for (const DocumentFormat::CategoryRecord &record : std::as_const(sink.categories)) {
        const QString name = QuorvelDocument::catalogueName(record.name);
        if (record.obsolete || name.isEmpty())
            continue;
        if (categoryIds.contains(name.toCaseFolded())) {
            ++present;
            continue;
        }
        const qint64 id = Catalogue::addCategory(m_sql, ids, name, false, now);
        if (id == 0)
            return idsFailed(ids);
        categoryIds.insert(name.toCaseFolded(), id);
        ++categoriesAdded;
    }
    QSet<QString> activityNames;
    for (const Catalogue::Activity &activity : std::as_const(catalogue.activities)) {
        if (!activity.retired)
            activityNames.insert(activity.name.toCaseFolded());
    }
    for (const DocumentFormat::ActivityRecord &record : std::as_const(sink.activities)) {
        const QString name = QuorvelDocument::catalogueName(record.name);
        if (record.obsolete || name.isEmpty() || record.categoryPosition < 0
            || record.categoryPosition >= int(sink.categories.size()))
            continue;
        const DocumentFormat::CategoryRecord &category
            = sink.categories.at(size_t(record.categoryPosition));
        const qint64 categoryId
            = categoryIds.value(QuorvelDocument::catalogueName(category.name).toCaseFolded());
        if (category.obsolete || categoryId == 0)
            continue;
        if (activityNames.contains(name.toCaseFolded())) {
            ++present;
            continue;
        }
        if (Catalogue::addActivity(m_sql, ids, name, categoryId, false, now) == 0)
            return idsFailed(ids);
        activityNames.insert(name.toCaseFolded());
        ++activitiesAdded;
    }
    if (!transaction.commit())
        return databaseFailed();
    m_out << tr("Added %1 categories and %2 activities; %3 were there already.")
                 .arg(categoriesAdded)
                 .arg(activitiesAdded)
                 .arg(present)
          << '\n';
    return 0;
}

int Admin::backup(const QString &file, bool postgres)
{
    if (postgres)
        return fail(tr("The database is PostgreSQL: back it up with pg_dump, for instance "
                       "pg_dump --format=custom --file=quorvel.dump DATABASE."));
    if (QFileInfo::exists(file) || QFileInfo(file).isSymLink())
        return fail(tr("%1 exists already; choose a new file.").arg(file));
    QString literal = QFileInfo(file).absoluteFilePath();
    literal.replace(QLatin1String("'"), QLatin1String("''"));
    // A consistent copy taken while exchanges go on.
    if (!m_sql.once(QStringLiteral("VACUUM INTO '%1'").arg(literal)))
        return fail(tr("The backup failed: %1").arg(m_sql.lastError()));
    QFile::setPermissions(file, QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    m_out << tr("Wrote the backup %1.").arg(file) << '\n';
    return 0;
}

bool Admin::reportDocument(const QString &user, QuorvelDocument *doc)
{
    Catalogue catalogue;
    if (!catalogue.load(m_sql))
        return false;
    qint64 id = 0;
    if (!user.isEmpty()) {
        id = userId(user);
        if (id <= 0)
            return false;
    }
    DocumentFormat::Writer out;
    out.begin(1000);
    QHash<qint64, int> categoryPosition;
    out.count(catalogue.categories.size());
    for (const Catalogue::Category &category : std::as_const(catalogue.categories)) {
        categoryPosition.insert(category.id, int(categoryPosition.size()));
        out.category(int(category.id), category.name, category.retired);
    }
    QHash<qint64, int> activityPosition;
    out.count(catalogue.activities.size());
    for (const Catalogue::Activity &activity : std::as_const(catalogue.activities)) {
        activityPosition.insert(activity.id, int(activityPosition.size()));
        out.activity(int(activity.id), activity.name, activity.retired,
                     categoryPosition.value(activity.categoryId, -1));
    }
    QSqlQuery *query
        = id ? m_sql.run(QStringLiteral("SELECT activity_id, start_at, stop_at FROM tasks WHERE "
                                        "retired = 0 AND user_id = ? ORDER BY start_at"),
                         {id})
             : m_sql.run(QStringLiteral("SELECT activity_id, start_at, stop_at FROM tasks WHERE "
                                        "retired = 0 ORDER BY start_at"));
    if (!query)
        return false;
    QList<DocumentFormat::TaskRecord> tasks;
    while (query->next()) {
        DocumentFormat::TaskRecord task;
        task.id = int(tasks.size()) + 1;
        task.activityPosition = query->value(0).isNull()
                                    ? -1
                                    : activityPosition.value(query->value(0).toLongLong(), -1);
        task.start = StoredTime::unpack(query->value(1).toLongLong(), false);
        task.stop = StoredTime::unpack(query->value(2).toLongLong(), false);
        tasks.append(task);
    }
    Sql::done(query);
    out.count(tasks.size());
    for (const DocumentFormat::TaskRecord &task : std::as_const(tasks))
        out.task(task);
    out.end({});
    QByteArray bytes = out.bytes();
    if (!doc->populateFromByteArray(bytes.data(), int(bytes.size())))
        return false;
    doc->categories.sort();
    doc->activities.sort();
    doc->tasks.sort();
    return true;
}

int Admin::report(ReportKind kind, const QDate &from, const QDate &to, const QString &user,
                  ReportFormat format, bool decimalHours, bool includeZero)
{
    if (!user.isEmpty()) {
        const qint64 id = userId(user);
        if (id < 0)
            return databaseFailed();
        if (id == 0)
            return fail(tr("There is no user %1.").arg(user));
    }
    if (to < from)
        return fail(tr("The period ends before it begins."));
    QuorvelDocument doc;
    if (!reportDocument(user, &doc))
        return databaseFailed();
    // Over centuries, or with millions of rows, a time sheet would be gigabytes of text.
    if (kind == ReportKind::TimeSheet) {
        const QString refused = ReportText::timeSheetRefusal(doc, from, to, includeZero);
        if (!refused.isEmpty())
            return fail(refused);
    }
    QString text;
    if (format == ReportFormat::Csv)
        text = kind == ReportKind::Summary
                   ? ReportText::periodSummaryCsv(doc, from, to, includeZero)
                   : ReportText::periodTimeSheetCsv(doc, from, to, includeZero);
    else
        text = kind == ReportKind::Summary
                   ? ReportText::periodSummary(doc, from, to, includeZero, decimalHours)
                   : ReportText::periodTimeSheet(doc, from, to, includeZero, decimalHours);
    m_out << text;
    if (format == ReportFormat::Html)
        m_out << '\n';
    m_out.flush();
    return 0;
}
