// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ServerStores.h"

#include <QDir>
#include <QFile>
#include <QTest>

void ServerStores::addRows(const char *postgresRow)
{
    QTest::addColumn<QString>("backend");
    QTest::newRow("sqlite") << QStringLiteral("sqlite");
    QTest::newRow(postgresRow) << QStringLiteral("postgresql");
}

bool ServerStores::start(QString *problem)
{
    if (m_postgres.start(&m_postgresProblem))
        return true;
    qWarning("*** PostgreSQL could not be started, its cases are SKIPPED: %s",
             qPrintable(m_postgresProblem));
    *problem = m_postgresProblem;
    return qEnvironmentVariableIsEmpty("QUORVEL_REQUIRE_POSTGRES");
}

QStringList ServerStores::create(const QString &backend, QString *skip)
{
    if (backend == QLatin1String("postgresql")) {
        if (!m_postgres.isRunning()) {
            *skip = QStringLiteral("PostgreSQL is not available: ") + m_postgresProblem;
            return {};
        }
        const QString url = m_postgres.createDatabase();
        if (url.isEmpty()) {
            *skip = QStringLiteral("no database could be created in PostgreSQL");
            return {};
        }
        return {QStringLiteral("--database"), url};
    }
    return {QStringLiteral("--data"), m_folder.filePath(QString::number(++m_sqliteFolders))};
}

bool ServerStores::backUp(const ServerProcess &server, const QStringList &storage,
                          const QString &file, QString *problem)
{
    if (storage.value(0) == QLatin1String("--database"))
        return m_postgres.dump(storage.value(1), file, problem);
    const ServerProcess::Result result = server.admin({QStringLiteral("backup"), file});
    *problem = result.err;
    return result.status == 0;
}

bool ServerStores::putBack(const ServerProcess &server, const QStringList &storage,
                           const QString &file, How how, QString *problem)
{
    if (storage.value(0) == QLatin1String("--database"))
        return m_postgres.restore(storage.value(1), file, problem);
    if (how == How::Command) {
        const ServerProcess::Result result = server.admin({QStringLiteral("restore"), file});
        *problem = result.err;
        return result.status == 0;
    }
    const QString database
        = QDir(storage.value(1)).filePath(QStringLiteral("quorvel-server.sqlite"));
    for (const QString &suffix : {QString(), QStringLiteral("-wal"), QStringLiteral("-shm")})
        QFile::remove(database + suffix);
    if (!QFile::copy(file, database)) {
        *problem = QStringLiteral("cannot copy %1 to %2").arg(file, database);
        return false;
    }
    return true;
}
