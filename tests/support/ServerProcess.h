// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>

// A private PostgreSQL cluster for one test run: initdb in a temporary folder and the server as
// a child of the test, as an unprivileged user when the tests run as root (as CI does),
// listening on 127.0.0.1 on a free port with trust authentication. Stopped and removed at
// destruction, and stopped too when the test is killed or aborts.
class PostgresCluster
{
public:
    PostgresCluster();
    ~PostgresCluster();
    PostgresCluster(const PostgresCluster &) = delete;
    PostgresCluster &operator=(const PostgresCluster &) = delete;

    // Whether the cluster writes its changes through to the disk (fsync), set before start().
    // Off by default: the tests need no durability and run faster without it. A benchmark
    // turns it on, as a real installation has it.
    void setFsync(bool on) { m_fsync = on; }
    // Starts the cluster; false with the reason when PostgreSQL is missing or fails.
    bool start(QString *reason);
    bool isRunning() const { return m_running; }
    // A new empty database; its address for --database.
    QString createDatabase();
    // A backup of the database of an address as an administrator takes it, with pg_dump in
    // its custom format, and the database put back from it with pg_restore. False with what
    // the tool said.
    bool dump(const QString &url, const QString &file, QString *output);
    bool restore(const QString &url, const QString &file, QString *output);
    quint16 port() const { return m_port; }

private:
    QString run(const QString &program, const QStringList &arguments, bool asOwner, int *status);
    QStringList connection(const QString &url) const;

    QString m_binDir;
    QString m_root;
    QString m_owner; // the user the server runs as, when the tests run as root
    uint m_ownerUid = 0;
    uint m_ownerGid = 0;
    std::unique_ptr<QProcess> m_postgres;
    quint16 m_port = 0;
    bool m_running = false;
    bool m_fsync = false;
    int m_databases = 0;
};

// quorvel-server as a child process on 127.0.0.1 and a free port, with its data in a SQLite
// folder or a PostgreSQL database given by the storage arguments (--data DIR or --database
// URL). The administration commands run against the same storage.
class ServerProcess
{
public:
    explicit ServerProcess(const QStringList &storage);
    ~ServerProcess();
    ServerProcess(const ServerProcess &) = delete;
    ServerProcess &operator=(const ServerProcess &) = delete;

    static QString binary();

    // Starts the server and waits until it listens; extra arguments go to the command line.
    bool start(const QStringList &extra = {});
    quint16 port() const { return m_port; }
    // "127.0.0.1:<port>", as the program's server address.
    QString address() const;
    qint64 pid() const;
    // Peak resident memory of the server so far, in KiB.
    qint64 peakMemoryKiB() const;
    // A memory figure ("VmHWM", "VmRSS", …) of any process from /proc, in KiB; -1 when
    // unknown.
    static qint64 memoryKiB(qint64 pid, const QByteArray &field);
    // SIGTERM, then waits for the exit; true when it ended by itself with status 0.
    bool stop(int timeoutMs = 30000);
    // Everything the server wrote to standard error.
    QString log();
    // The log's exchange lines.
    QStringList exchangeLines();

    struct Result
    {
        int status = -1;
        QString out;
        QString err;
    };
    // Runs an administration command with standard input given.
    Result admin(const QStringList &arguments, const QByteArray &input = QByteArray()) const;
    // Adds a user with a password.
    bool addUser(const QString &name, const QString &password) const;
    // The user's task history as "user history" lists it, without the time each entry was
    // recorded: task id, version, event, start, stop, activity.
    QStringList history(const QString &user) const;

private:
    QStringList m_storage;
    std::unique_ptr<QProcess> m_process;
    QByteArray m_log;
    quint16 m_port = 0;
};
