// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "ServerProcess.h"

#include <QStringList>
#include <QTemporaryDir>

// Where the server of a test keeps its data: a new SQLite folder, or a new database in a
// private PostgreSQL cluster started once per test program. Tests run every case on both
// through QtTest's global data.
class ServerStores
{
public:
    // The global data rows: column "backend", "sqlite" and "postgresql".
    static void addRows(const char *postgresRow = "postgresql");

    // Starts PostgreSQL. When it cannot, says so loudly; false only when the environment asks
    // for PostgreSQL to be there (QUORVEL_REQUIRE_POSTGRES, as in CI), with the reason.
    bool start(QString *problem);
    // The storage arguments of a new store for the backend, or empty with the reason to skip.
    QStringList create(const QString &backend, QString *skip);
    // Where every SQLite store of this run lies.
    QString sqliteFolder() const { return m_folder.path(); }

    // A backup of a store as an administrator takes it while the server runs: "quorvel-server
    // backup" for SQLite, pg_dump for PostgreSQL. False with the reason.
    bool backUp(const ServerProcess &server, const QStringList &storage, const QString &file,
                QString *problem);
    // The store put back from a backup with the server stopped: with "quorvel-server restore"
    // for SQLite, or by hand, the backup copied over the SQLite file; pg_restore for
    // PostgreSQL.
    enum class How { Command, ByHand };
    bool putBack(const ServerProcess &server, const QStringList &storage, const QString &file,
                 How how, QString *problem);

private:
    PostgresCluster m_postgres;
    QString m_postgresProblem;
    QTemporaryDir m_folder;
    int m_sqliteFolders = 0;
};
