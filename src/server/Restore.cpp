// SPDX-License-Identifier: GPL-3.0-or-later
#include "Restore.h"

#include "IdBlocks.h"
#include "ServerDatabase.h"

#include "platform/Clock.h"
#include "platform/SystemError.h"
#include "platform/WriteAll.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlQuery>
#include <QTextStream>

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

namespace {

void syncFolder(const QString &folder)
{
    const QByteArray name = QFile::encodeName(folder);
    const int fd = ::open(name.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        ::fsync(fd);
        ::close(fd);
    }
}

// Copies source to a new file target (never through a symbolic link), 0600 and on the disk.
bool copyNew(const QString &source, const QString &target, QString *error)
{
    QFile in(source);
    if (!in.open(QIODevice::ReadOnly)) {
        *error = Restore::tr("%1 cannot be read: %2").arg(source, in.errorString());
        return false;
    }
    const QByteArray name = QFile::encodeName(target);
    const int fd
        = ::open(name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0) {
        *error = Restore::tr("%1 cannot be written: %2").arg(target, SystemError::describe(errno));
        return false;
    }
    bool ok = true;
    QByteArray chunk;
    while (ok && !(chunk = in.read(1 << 20)).isEmpty()) {
        if (const int failure = writeAll(fd, chunk.constData(), size_t(chunk.size()))) {
            errno = failure;
            ok = false;
        }
    }
    ok = ok && in.error() == QFileDevice::NoError && ::fsync(fd) == 0;
    if (!ok)
        *error = Restore::tr("%1 cannot be written: %2").arg(target, SystemError::describe(errno));
    ::close(fd);
    return ok;
}

// True when the file reads as a whole SQLite database of this server.
bool isServerDatabase(const QString &file)
{
    const QString connection = QStringLiteral("quorvel-restore-check");
    bool ok = false;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection);
        db.setDatabaseName(file);
        db.setConnectOptions(QStringLiteral("QSQLITE_OPEN_READONLY"));
        if (db.open()) {
            QSqlQuery query(db);
            ok = query.exec(QStringLiteral("PRAGMA quick_check")) && query.next()
                 && query.value(0).toString() == QLatin1String("ok");
            ok = ok
                 && query.exec(
                     QStringLiteral("SELECT COUNT(*) FROM counters WHERE name = 'next_block'"))
                 && query.next() && query.value(0).toInt() == 1
                 && query.exec(QStringLiteral("SELECT COUNT(*) FROM schema_migrations"))
                 && query.next() && query.value(0).toInt() > 0;
            query.finish();
            db.close();
        }
    }
    QSqlDatabase::removeDatabase(connection);
    return ok;
}

// Runs body on a connection to the location's database, brought up to date first.
template<typename Body>
bool withDatabase(const ServerDatabase &location, const QString &connection, QString *error,
                  Body &&body)
{
    if (!location.open(connection, error))
        return false;
    bool ok = false;
    {
        QSqlDatabase db = QSqlDatabase::database(connection, false);
        if (location.migrate(db, error)) {
            Sql sql(db);
            ok = body(sql);
            if (!ok && error->isEmpty())
                *error = sql.lastError();
        }
    }
    ServerDatabase::close(connection);
    return ok;
}

} // namespace

int Restore::run(const ServerDatabase &location, const QString &backup, QTextStream &out,
                 QTextStream &err)
{
    const auto fail = [&](const QString &message) {
        err << message << '\n';
        err.flush();
        return 1;
    };
    if (location.isPostgres())
        return fail(tr("The database is PostgreSQL: put a backup back with pg_restore, with the "
                       "server stopped, for instance pg_restore --clean --if-exists "
                       "--dbname=DATABASE quorvel.dump."));
    const QString database = location.filePath();
    const QString folder = location.stateFolder();
    QString error;
    FolderLock lock;
    if (!lock.take(folder, FolderLock::Mode::Alone, &error))
        return fail(error);
    const QFileInfo source(backup);
    if (!source.isFile())
        return fail(tr("%1 is not a file.").arg(backup));
    if (source.canonicalFilePath() == QFileInfo(database).canonicalFilePath())
        return fail(tr("%1 is the database itself.").arg(backup));

    // A copy beside the database, checked before anything is replaced.
    const QString incoming = database + QStringLiteral(".restoring");
    QFile::remove(incoming);
    if (!copyNew(backup, incoming, &error))
        return fail(error);
    if (!isServerDatabase(incoming)) {
        QFile::remove(incoming);
        return fail(tr("%1 is not a backup of a Quorvel group server's database.").arg(backup));
    }

    // What the database in place has handed out, which devices may hold.
    IdBlocks::Counters handedOut;
    const bool replacing = QFileInfo(database).exists() || QFileInfo(database).isSymLink();
    if (replacing) {
        const bool read
            = withDatabase(location, QStringLiteral("quorvel-restore-old"), &error, [&](Sql &sql) {
                  IdBlocks ids(sql, folder);
                  if (!ids.handedOut(&handedOut)) {
                      error = ids.error();
                      return false;
                  }
                  // All of it in the file, which is kept whole.
                  return sql.once(QStringLiteral("PRAGMA wal_checkpoint(TRUNCATE)"));
              });
        // A damaged database is what a backup is for: the server's record of the ids still
        // tells what was handed out.
        if (!read)
            err << tr("The database in place cannot be read (%1); it is replaced all the same.")
                       .arg(error)
                << '\n';
        error.clear();
    }

    const QString kept = database + QStringLiteral(".replaced-")
                         + Clock::now().toString(QStringLiteral("yyyyMMddhhmmss"));
    const QByteArray databaseName = QFile::encodeName(database);
    if (replacing
        && std::rename(databaseName.constData(), QFile::encodeName(kept).constData()) != 0)
        return fail(tr("%1 cannot be renamed: %2").arg(database, SystemError::describe(errno)));
    for (const QString &suffix : {QStringLiteral("-wal"), QStringLiteral("-shm")})
        ::unlink(QFile::encodeName(database + suffix).constData());
    if (std::rename(QFile::encodeName(incoming).constData(), databaseName.constData()) != 0) {
        error = SystemError::describe(errno);
        if (replacing)
            std::rename(QFile::encodeName(kept).constData(), databaseName.constData());
        return fail(tr("%1 cannot be renamed: %2").arg(incoming, error));
    }
    syncFolder(folder);

    // Brought up to date, its counters after everything handed out before.
    const bool done
        = withDatabase(location, QStringLiteral("quorvel-restore"), &error, [&](Sql &sql) {
              Transaction transaction(sql);
              IdBlocks ids(sql, folder);
              bool raised = false;
              if (!transaction.isOpen() || !ids.reconcile(&raised, &handedOut)) {
                  error = ids.error();
                  return false;
              }
              return transaction.commit();
          });
    if (!done)
        return fail(
            tr("The backup is in place, but it cannot be brought up to date: %1").arg(error));
    out << tr("Restored the database from %1.").arg(backup) << '\n';
    if (replacing)
        out << tr("The database it replaced is kept as %1.").arg(kept) << '\n';
    out.flush();
    return 0;
}
