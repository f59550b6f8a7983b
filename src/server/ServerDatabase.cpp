// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ServerDatabase.h"

#include "Catalogue.h"

#include "platform/Clock.h"
#include "platform/PrivateFiles.h"
#include "platform/SystemError.h"

#include <QDir>
#include <QRandomGenerator>
#include <QSqlError>
#include <QStandardPaths>

#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

bool markDevicesSeen(Sql &sql)
{
    return sql.exec(QStringLiteral("UPDATE devices SET last_exchange_at = ? WHERE "
                                   "last_exchange_at IS NULL"),
                    {Clock::now().toUTC().toString(Qt::ISODate)});
}

// One entry per schema version, applied in order and never changed once released: a new
// version of the schema is a new entry. "{ID}" is an identity key column, "{BIG}" a 64-bit
// integer. What statements cannot do is done by a function, in the same transaction.
struct Migration
{
    const char *statements;
    bool (*work)(Sql &sql) = nullptr;
};

const Migration Migrations[] = {
    // 1: users, the catalogue, devices and their id blocks, tasks with their history,
    // messages, failed sign-ins.
    {R"(CREATE TABLE users (
           id {ID},
           name TEXT NOT NULL UNIQUE,
           password_hash TEXT NOT NULL,
           disabled INTEGER NOT NULL DEFAULT 0,
           created_at TEXT NOT NULL,
           last_exchange_at TEXT);
       CREATE TABLE counters (
           name TEXT PRIMARY KEY,
           value {BIG} NOT NULL);
       INSERT INTO counters (name, value) VALUES ('next_block', 1000000);
       INSERT INTO counters (name, value) VALUES ('catalogue_next', 0);
       INSERT INTO counters (name, value) VALUES ('catalogue_end', -1);
       CREATE TABLE devices (
           id {ID},
           user_id {BIG} NOT NULL REFERENCES users(id),
           created_at TEXT NOT NULL,
           last_exchange_at TEXT);
       CREATE TABLE id_blocks (
           first_id {BIG} PRIMARY KEY,
           last_id {BIG} NOT NULL,
           user_id {BIG} REFERENCES users(id),
           device_id {BIG} REFERENCES devices(id));
       CREATE TABLE categories (
           id {BIG} PRIMARY KEY,
           name TEXT NOT NULL,
           retired INTEGER NOT NULL DEFAULT 0,
           created_at TEXT NOT NULL);
       CREATE TABLE activities (
           id {BIG} PRIMARY KEY,
           name TEXT NOT NULL,
           category_id {BIG} REFERENCES categories(id),
           retired INTEGER NOT NULL DEFAULT 0,
           created_at TEXT NOT NULL);
       CREATE TABLE tasks (
           user_id {BIG} NOT NULL REFERENCES users(id),
           id {BIG} NOT NULL,
           activity_id {BIG} REFERENCES activities(id),
           start_at {BIG} NOT NULL,
           stop_at {BIG} NOT NULL,
           stamp {BIG} NOT NULL,
           fingerprint {BIG} NOT NULL,
           retired INTEGER NOT NULL DEFAULT 0,
           version INTEGER NOT NULL,
           device_id {BIG},
           updated_at TEXT NOT NULL,
           PRIMARY KEY (user_id, id));
       CREATE TABLE task_history (
           seq {ID},
           user_id {BIG} NOT NULL,
           task_id {BIG} NOT NULL,
           version INTEGER NOT NULL,
           event TEXT NOT NULL,
           activity_id {BIG},
           start_at {BIG} NOT NULL,
           stop_at {BIG} NOT NULL,
           stamp {BIG} NOT NULL,
           device_id {BIG},
           recorded_at TEXT NOT NULL);
       CREATE INDEX task_history_task ON task_history (user_id, task_id);
       CREATE TABLE device_tasks (
           device_id {BIG} NOT NULL,
           task_id {BIG} NOT NULL,
           own INTEGER NOT NULL,
           fingerprint {BIG} NOT NULL,
           PRIMARY KEY (device_id, task_id));
       CREATE TABLE messages (
           id {ID},
           user_id {BIG} NOT NULL REFERENCES users(id),
           body TEXT NOT NULL,
           created_at TEXT NOT NULL,
           delivered_at TEXT);
       CREATE INDEX messages_pending ON messages (user_id, delivered_at);
       CREATE TABLE sign_in_failures (
           subject TEXT PRIMARY KEY,
           failures INTEGER NOT NULL,
           window_start {BIG} NOT NULL,
           blocked_until {BIG} NOT NULL);)"},
    // 2: a count of each member's exchanges, by which a server process knows whether what it
    // remembers of the member's tasks is still what the database holds.
    {R"(ALTER TABLE users ADD COLUMN task_serial {BIG} NOT NULL DEFAULT 0)"},
    // 3: names that no catalogue may hold, taken in before every name was checked, in the
    // forms a device's names are taken in now.
    {"", &Catalogue::repairNames},
    // 4: the database's own id, which names the record of the ids it has handed out that is
    // kept outside it (IdBlocks), and when each block of ids was handed out.
    {R"(INSERT INTO counters (name, value) VALUES ('database_id', {RANDOM});
        ALTER TABLE id_blocks ADD COLUMN created_at TEXT)"},
    // 5: devices were not told apart by when they were last seen; from now on they are, and
    // the devices from before count as seen now, so that none looks long gone that is not.
    {"", &markDevicesSeen},
};

// Any constant: it only has to be the same in every process.
constexpr int MigrationLockKey = 0x51564d31;

QString statementFor(const char *text, bool postgres)
{
    QString statement = QString::fromUtf8(text);
    statement.replace(QStringLiteral("{ID}"),
                      postgres
                          ? QStringLiteral("BIGINT GENERATED BY DEFAULT AS IDENTITY PRIMARY KEY")
                          : QStringLiteral("INTEGER PRIMARY KEY"));
    statement.replace(QStringLiteral("{BIG}"), QStringLiteral("BIGINT"));
    statement.replace(QStringLiteral("{RANDOM}"),
                      QString::number(QRandomGenerator::system()->generate64() >> 2));
    return statement;
}

QStringList splitStatements(const QString &script)
{
    QStringList statements;
    for (const QString &part : script.split(QLatin1Char(';'))) {
        const QString statement = part.trimmed();
        if (!statement.isEmpty())
            statements.append(statement);
    }
    return statements;
}

QString nowText()
{
    return Clock::now().toUTC().toString(Qt::ISODate);
}

// The database's files are the server's own: a symbolic link planted at their place is never
// followed (the file it points to is neither read, written nor given another mode), and the
// database is readable and writable by the server's user only. Looked at, never opened: closing
// any descriptor of a file would end the locks that SQLite's connections in this process hold
// on it. Whoever could swap a file for a link in between can write to the data folder, which
// is the server's user's alone.
bool claimFile(const QString &path, bool create, QString *error)
{
    const QByteArray name = QFile::encodeName(path);
    struct stat info = {};
    if (::lstat(name.constData(), &info) != 0) {
        if (errno == ENOENT && !create)
            return true;
        if (errno == ENOENT) {
            const int fd = ::open(name.constData(),
                                  O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
            if (fd >= 0 || errno == EEXIST) {
                if (fd >= 0)
                    ::close(fd);
                return claimFile(path, false, error);
            }
        }
        *error = ServerDatabase::tr("The database %1 cannot be opened: %2")
                     .arg(path, SystemError::describe(errno));
        return false;
    }
    if (S_ISLNK(info.st_mode)) {
        *error = ServerDatabase::tr("%1 is a symbolic link. The server does not follow one there: "
                                    "put the database itself in its place.")
                     .arg(path);
        return false;
    }
    if (!S_ISREG(info.st_mode)) {
        *error = ServerDatabase::tr("%1 is not a plain file.").arg(path);
        return false;
    }
    PrivateFiles::restrict(path);
    return true;
}

} // namespace

ServerDatabase ServerDatabase::sqliteIn(const QString &folder)
{
    ServerDatabase location;
    location.m_kind = Kind::SQLite;
    location.m_file = QDir(folder).absoluteFilePath(QStringLiteral("quorvel-server.sqlite"));
    return location;
}

bool ServerDatabase::fromUrl(const QString &url, ServerDatabase *location, QString *error)
{
    QString rest;
    for (const QString &scheme : {QStringLiteral("postgresql://"), QStringLiteral("postgres://")}) {
        if (url.startsWith(scheme))
            rest = url.mid(scheme.size());
    }
    const auto decode = [](const QString &text) {
        return QString::fromUtf8(QByteArray::fromPercentEncoding(text.toUtf8()));
    };
    const qsizetype slash = rest.indexOf(QLatin1Char('/'));
    if (rest.isEmpty() || slash < 0 || slash + 1 >= rest.size()) {
        *error = tr("The database address must look like postgresql://USER@HOST/DATABASE: %1")
                     .arg(url);
        return false;
    }
    QString authority = rest.left(slash);
    QString databaseName = rest.mid(slash + 1);
    const qsizetype query = databaseName.indexOf(QLatin1Char('?'));
    if (query >= 0)
        databaseName.truncate(query);

    ServerDatabase result;
    result.m_kind = Kind::PostgreSQL;
    result.m_databaseName = decode(databaseName);
    const qsizetype at = authority.lastIndexOf(QLatin1Char('@'));
    if (at >= 0) {
        const QString userInfo = authority.left(at);
        authority = authority.mid(at + 1);
        const qsizetype colon = userInfo.indexOf(QLatin1Char(':'));
        result.m_user = decode(colon < 0 ? userInfo : userInfo.left(colon));
        if (colon >= 0)
            result.m_password = decode(userInfo.mid(colon + 1));
    }
    const qsizetype colon = authority.lastIndexOf(QLatin1Char(':'));
    if (colon >= 0 && !authority.startsWith(QLatin1Char('['))) {
        bool ok = false;
        const int port = authority.mid(colon + 1).toInt(&ok);
        if (!ok || port <= 0 || port > 65535) {
            *error = tr("The database address has a port that is not valid: %1").arg(url);
            return false;
        }
        result.m_port = port;
        authority.truncate(colon);
    }
    result.m_host = decode(authority);
    if (result.m_databaseName.isEmpty()) {
        *error = tr("The database address names no database: %1").arg(url);
        return false;
    }
    *location = result;
    return true;
}

QString ServerDatabase::defaultDataFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
           + QStringLiteral("/quorvel-server");
}

QString ServerDatabase::stateFolder() const
{
    if (m_kind == Kind::SQLite)
        return QFileInfo(m_file).absolutePath();
    return m_stateFolder.isEmpty() ? defaultDataFolder() : QDir(m_stateFolder).absolutePath();
}

QString ServerDatabase::describe() const
{
    if (m_kind == Kind::SQLite)
        return QStringLiteral("SQLite %1").arg(m_file);
    QString text = QStringLiteral("PostgreSQL ");
    if (!m_user.isEmpty())
        text += m_user + QLatin1Char('@');
    text += m_host.isEmpty() ? QStringLiteral("localhost") : m_host;
    if (m_port > 0)
        text += QLatin1Char(':') + QString::number(m_port);
    return text + QLatin1Char('/') + m_databaseName;
}

bool ServerDatabase::open(const QString &connectionName, QString *error) const
{
    QSqlDatabase db;
    if (m_kind == Kind::SQLite) {
        if (!QSqlDatabase::isDriverAvailable(QStringLiteral("QSQLITE"))) {
            *error = tr("Qt's SQLite driver is not installed (Debian: libqt6sql6-sqlite).");
            return false;
        }
        const QString folder = QFileInfo(m_file).absolutePath();
        if (!PrivateFiles::makeFolder(folder)) {
            *error = tr("The data folder %1 cannot be created.").arg(folder);
            return false;
        }
        if (!claimFile(m_file, true, error)
            || !claimFile(m_file + QStringLiteral("-wal"), false, error)
            || !claimFile(m_file + QStringLiteral("-shm"), false, error))
            return false;
        db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connectionName);
        db.setDatabaseName(m_file);
        // Waits for another writer instead of failing at once.
        db.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=60000"));
    } else {
        if (!QSqlDatabase::isDriverAvailable(QStringLiteral("QPSQL"))) {
            *error = tr("Qt's PostgreSQL driver is not installed (Debian: libqt6sql6-psql).");
            return false;
        }
        db = QSqlDatabase::addDatabase(QStringLiteral("QPSQL"), connectionName);
        db.setDatabaseName(m_databaseName);
        if (!m_host.isEmpty())
            db.setHostName(m_host);
        if (m_port > 0)
            db.setPort(m_port);
        if (!m_user.isEmpty())
            db.setUserName(m_user);
        if (!m_password.isEmpty())
            db.setPassword(m_password);
    }
    if (!db.open()) {
        *error = tr("The database %1 cannot be opened: %2").arg(describe(), db.lastError().text());
        db = QSqlDatabase();
        QSqlDatabase::removeDatabase(connectionName);
        return false;
    }
    QSqlQuery pragma(db);
    if (m_kind == Kind::SQLite) {
        // Readers never wait for the writer; every commit is on disk before it is answered.
        pragma.exec(QStringLiteral("PRAGMA journal_mode=WAL"));
        pragma.exec(QStringLiteral("PRAGMA synchronous=FULL"));
        pragma.exec(QStringLiteral("PRAGMA foreign_keys=ON"));
    } else {
        pragma.exec(QStringLiteral("SET client_min_messages TO WARNING"));
    }
    return true;
}

void ServerDatabase::close(const QString &connectionName)
{
    {
        QSqlDatabase db = QSqlDatabase::database(connectionName, false);
        if (db.isValid())
            db.close();
    }
    QSqlDatabase::removeDatabase(connectionName);
}

int ServerDatabase::schemaVersion()
{
    return int(sizeof(Migrations) / sizeof(Migrations[0]));
}

bool ServerDatabase::migrate(QSqlDatabase &db, QString *error) const
{
    const bool postgres = m_kind == Kind::PostgreSQL;
    QSqlQuery query(db);
    const auto fail = [&](const QSqlQuery &failed) {
        *error = tr("The database schema cannot be brought up to date: %1")
                     .arg(failed.lastError().text());
        return false;
    };
    const auto failText = [&](const QString &text) {
        *error = tr("The database schema cannot be brought up to date: %1").arg(text);
        return false;
    };
    if (postgres
        && !query.exec(QStringLiteral("SELECT pg_advisory_lock(%1)").arg(MigrationLockKey)))
        return fail(query);
    const auto unlock = [&] {
        if (postgres)
            QSqlQuery(db).exec(
                QStringLiteral("SELECT pg_advisory_unlock(%1)").arg(MigrationLockKey));
    };
    if (!query.exec(QStringLiteral("CREATE TABLE IF NOT EXISTS schema_migrations ("
                                   "version INTEGER PRIMARY KEY, applied_at TEXT NOT NULL)"))) {
        unlock();
        return fail(query);
    }
    for (int version = 1; version <= schemaVersion(); ++version) {
        if (!query.exec(postgres ? QStringLiteral("BEGIN") : QStringLiteral("BEGIN IMMEDIATE"))) {
            unlock();
            return fail(query);
        }
        query.prepare(QStringLiteral("SELECT COUNT(*) FROM schema_migrations WHERE version = ?"));
        query.addBindValue(version);
        if (!query.exec() || !query.next()) {
            QSqlQuery(db).exec(QStringLiteral("ROLLBACK"));
            unlock();
            return fail(query);
        }
        const bool applied = query.value(0).toInt() > 0;
        query.finish();
        bool ok = true;
        if (!applied) {
            const Migration &migration = Migrations[version - 1];
            for (const QString &statement :
                 splitStatements(statementFor(migration.statements, postgres))) {
                if (!query.exec(statement)) {
                    ok = false;
                    break;
                }
            }
            if (ok && migration.work) {
                Sql sql(db);
                if (!migration.work(sql)) {
                    *error = tr("The database schema cannot be brought up to date: %1")
                                 .arg(sql.lastError());
                    QSqlQuery(db).exec(QStringLiteral("ROLLBACK"));
                    unlock();
                    return false;
                }
            }
            if (ok) {
                query.prepare(QStringLiteral(
                    "INSERT INTO schema_migrations (version, applied_at) VALUES (?, ?)"));
                query.addBindValue(version);
                query.addBindValue(nowText());
                ok = query.exec();
            }
        }
        if (!ok) {
            const QString failed = query.lastError().text();
            QSqlQuery(db).exec(QStringLiteral("ROLLBACK"));
            unlock();
            return failText(failed);
        }
        if (!query.exec(QStringLiteral("COMMIT"))) {
            unlock();
            return fail(query);
        }
    }
    unlock();
    return true;
}

FolderLock::~FolderLock()
{
    if (m_fd >= 0)
        ::close(m_fd);
}

bool FolderLock::take(const QString &folder, Mode mode, QString *error)
{
    if (!PrivateFiles::makeFolder(folder)) {
        *error = tr("The data folder %1 cannot be created.").arg(folder);
        return false;
    }
    const QByteArray path
        = QFile::encodeName(QDir(folder).filePath(QStringLiteral("quorvel-server.lock")));
    m_fd = ::open(path.constData(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (m_fd < 0) {
        *error = tr("The lock %1 cannot be opened: %2")
                     .arg(QFile::decodeName(path), SystemError::describe(errno));
        return false;
    }
    PrivateFiles::restrict(m_fd);
    const int operation = mode == Mode::Shared ? LOCK_SH : LOCK_EX | LOCK_NB;
    while (::flock(m_fd, operation) != 0) {
        if (errno == EINTR)
            continue;
        *error = errno == EWOULDBLOCK
                     ? tr("The server, or another command, is using the database in %1. Stop "
                          "the server first (for instance: systemctl stop quorvel-server).")
                           .arg(folder)
                     : tr("The lock %1 cannot be taken: %2")
                           .arg(QFile::decodeName(path), SystemError::describe(errno));
        return false;
    }
    return true;
}

Sql::Sql(QSqlDatabase db)
    : m_db(db)
    , m_postgres(db.driverName() == QLatin1String("QPSQL"))
{}

QSqlQuery *Sql::run(const QString &statement, const QVariantList &values)
{
    QSqlQuery *query = m_prepared.value(statement);
    if (!query) {
        auto made = std::make_unique<QSqlQuery>(m_db);
        made->setForwardOnly(true);
        if (!made->prepare(statement)) {
            m_error = made->lastError().text();
            return nullptr;
        }
        query = made.get();
        m_owned.push_back(std::move(made));
        m_prepared.insert(statement, query);
    }
    for (int i = 0; i < values.size(); ++i)
        query->bindValue(i, values.at(i));
    if (!query->exec()) {
        m_error = query->lastError().text();
        query->finish();
        return nullptr;
    }
    return query;
}

std::optional<QMutexLocker<QMutex>> Sql::queueForWriting() const
{
    static QMutex writer;
    std::optional<QMutexLocker<QMutex>> locker;
    if (!m_postgres)
        locker.emplace(&writer);
    return locker;
}

bool Sql::exec(const QString &statement, const QVariantList &values)
{
    QSqlQuery *query = run(statement, values);
    done(query);
    return query != nullptr;
}

std::optional<qint64> Sql::number(const QString &statement, const QVariantList &values)
{
    QSqlQuery *query = run(statement, values);
    if (!query)
        return std::nullopt;
    std::optional<qint64> result;
    if (query->next())
        result = query->value(0).toLongLong();
    done(query);
    return result;
}

bool Sql::execRows(const QString &prefix, int columns, const QVariantList &values,
                   const QString &suffix)
{
    constexpr int RowsPerStatement = 100;
    const int rows = columns > 0 ? int(values.size()) / columns : 0;
    const QString row = QLatin1Char('(')
                        + QStringList(columns, QStringLiteral("?")).join(QStringLiteral(", "))
                        + QLatin1Char(')');
    for (int first = 0; first < rows; first += RowsPerStatement) {
        const int count = qMin(RowsPerStatement, rows - first);
        const QString statement = prefix + QStringLiteral(" VALUES ")
                                  + QStringList(count, row).join(QStringLiteral(", "))
                                  + (suffix.isEmpty() ? QString() : QLatin1Char(' ') + suffix);
        if (!exec(statement, values.mid(qsizetype(first) * columns, qsizetype(count) * columns)))
            return false;
    }
    return true;
}

bool Sql::execIn(const QString &prefix, const QVariantList &fixed, const QVariantList &values)
{
    constexpr int ValuesPerStatement = 1000;
    for (int first = 0; first < values.size(); first += ValuesPerStatement) {
        const int count = qMin(ValuesPerStatement, int(values.size()) - first);
        const QString statement
            = prefix + QStringLiteral(" (")
              + QStringList(count, QStringLiteral("?")).join(QStringLiteral(", "))
              + QLatin1Char(')');
        if (!exec(statement, fixed + values.mid(first, count)))
            return false;
    }
    return true;
}

bool Sql::once(const QString &statement)
{
    QSqlQuery query(m_db);
    if (!query.exec(statement)) {
        m_error = query.lastError().text();
        return false;
    }
    return true;
}

void Sql::done(QSqlQuery *query)
{
    if (query)
        query->finish();
}

bool Sql::begin()
{
    return once(m_postgres ? QStringLiteral("BEGIN") : QStringLiteral("BEGIN IMMEDIATE"));
}

bool Sql::commit()
{
    return once(QStringLiteral("COMMIT"));
}

void Sql::rollback()
{
    const QString error = m_error;
    once(QStringLiteral("ROLLBACK"));
    m_error = error;
}
