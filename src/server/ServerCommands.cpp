// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ServerCommands.h"

#include "Admin.h"
#include "CommandLine.h"

#include <QCommandLineParser>
#include <QTextStream>

namespace ServerCommands {

QTextStream &out()
{
    static QTextStream stream(stdout);
    return stream;
}

QTextStream &err()
{
    static QTextStream stream(stderr);
    return stream;
}

int usage(const QString &message)
{
    err() << message << '\n' << CommandLine::tr("Try \"quorvel-server --help\".") << '\n';
    err().flush();
    return 2;
}

bool shareDataFolder(const ServerDatabase &location, FolderLock *lock)
{
    QString error;
    if (location.isPostgres()
        || lock->take(location.stateFolder(), FolderLock::Mode::Shared, &error))
        return true;
    err() << error << '\n';
    return false;
}

int withDatabase(const ServerDatabase &location,
                 const std::function<int(Sql &, const ServerDatabase &)> &body)
{
    const QString name = QStringLiteral("quorvel-admin");
    // Never while a restore replaces the database.
    FolderLock lock;
    if (!shareDataFolder(location, &lock))
        return 1;
    QString error;
    if (!location.open(name, &error)) {
        err() << error << '\n';
        return 1;
    }
    int status = 1;
    {
        QSqlDatabase db = QSqlDatabase::database(name, false);
        if (!location.migrate(db, &error)) {
            err() << error << '\n';
        } else {
            Sql sql(db);
            status = body(sql, location);
        }
    }
    ServerDatabase::close(name);
    out().flush();
    err().flush();
    return status;
}

int admin(const ServerDatabase &location, const std::function<int(Admin &)> &body)
{
    return withDatabase(location, [&](Sql &sql, const ServerDatabase &) {
        Admin admin(sql, location.stateFolder(), out(), err());
        return body(admin);
    });
}

bool parseDate(const QCommandLineParser &parser, const QCommandLineOption &option, QDate *date)
{
    const QString text = parser.value(option);
    *date = QDate::fromString(text, Qt::ISODate);
    if (date->isValid())
        return true;
    usage(CommandLine::tr("--%1 %2 is not a date: write it as YYYY-MM-DD, for instance "
                          "2026-11-21.")
              .arg(option.names().constFirst(), text));
    return false;
}

} // namespace ServerCommands
