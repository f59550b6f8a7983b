// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ServerProcess.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTcpServer>
#include <QThread>
#include <QVersionNumber>

#include <grp.h>
#include <pwd.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

quint16 freePort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}

// A server of the test dies with the test, also when the test is killed or aborts: nothing is
// left listening or holding a folder.
void dieWithTheTest(QProcess *process, int signal)
{
    process->setChildProcessModifier([signal] { ::prctl(PR_SET_PDEATHSIG, signal); });
}

} // namespace

PostgresCluster::PostgresCluster() = default;

PostgresCluster::~PostgresCluster()
{
    if (m_postgres && m_postgres->state() != QProcess::NotRunning) {
        // The immediate shutdown: the test needs nothing of it any more.
        ::kill(pid_t(m_postgres->processId()), SIGQUIT);
        if (!m_postgres->waitForFinished(30000)) {
            m_postgres->kill();
            m_postgres->waitForFinished();
        }
    }
    if (!m_root.isEmpty())
        QDir(m_root).removeRecursively();
}

QString PostgresCluster::run(const QString &program, const QStringList &arguments, bool asOwner,
                             int *status)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    // The tools look for their files relative to the current folder.
    process.setWorkingDirectory(m_root);
    if (asOwner && !m_owner.isEmpty()) {
        process.start(QStringLiteral("runuser"),
                      QStringList{QStringLiteral("-u"), m_owner, QStringLiteral("--"), program}
                          + arguments);
    } else {
        process.start(program, arguments);
    }
    if (!process.waitForFinished(120000)) {
        process.kill();
        process.waitForFinished();
        *status = -1;
        return QStringLiteral("timed out: ") + QString::fromLocal8Bit(process.readAll());
    }
    *status = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    return QString::fromLocal8Bit(process.readAll());
}

bool PostgresCluster::start(QString *reason)
{
    // The newest installed server version.
    QVersionNumber newest;
    const QDir versions(QStringLiteral("/usr/lib/postgresql"));
    for (const QString &entry : versions.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        const QVersionNumber version = QVersionNumber::fromString(entry);
        if (QFile::exists(versions.filePath(entry + QStringLiteral("/bin/initdb")))
            && version > newest) {
            newest = version;
            m_binDir = versions.filePath(entry + QStringLiteral("/bin"));
        }
    }
    if (m_binDir.isEmpty()) {
        *reason = QStringLiteral("PostgreSQL is not installed (Debian package postgresql): "
                                 "no /usr/lib/postgresql/*/bin/initdb");
        return false;
    }

    m_root = QDir::tempPath()
             + QStringLiteral("/quorvel-pg-%1-%2")
                   .arg(::getpid())
                   .arg(QDateTime::currentMSecsSinceEpoch());
    QDir().mkpath(m_root);
    // PostgreSQL refuses to run as root.
    if (::geteuid() == 0) {
        const passwd *nobody = ::getpwnam("nobody");
        if (!nobody) {
            *reason = QStringLiteral("running as root and there is no user nobody to run "
                                     "PostgreSQL as");
            return false;
        }
        m_owner = QStringLiteral("nobody");
        m_ownerUid = nobody->pw_uid;
        m_ownerGid = nobody->pw_gid;
        if (::chown(QFile::encodeName(m_root).constData(), nobody->pw_uid, nobody->pw_gid) != 0) {
            *reason = QStringLiteral("cannot hand %1 to nobody").arg(m_root);
            return false;
        }
    }
    QFile::setPermissions(m_root, QFileDevice::ReadOwner | QFileDevice::WriteOwner
                                      | QFileDevice::ExeOwner | QFileDevice::ExeGroup
                                      | QFileDevice::ExeOther);

    int status = 0;
    QString output
        = run(m_binDir + QStringLiteral("/initdb"),
              {QStringLiteral("-D"), m_root + QStringLiteral("/data"), QStringLiteral("-U"),
               QStringLiteral("quorvel"), QStringLiteral("--auth=trust"), QStringLiteral("-E"),
               QStringLiteral("UTF8"), QStringLiteral("--no-locale")},
              true, &status);
    if (status != 0) {
        *reason = QStringLiteral("initdb failed: ") + output;
        return false;
    }
    m_port = freePort();
    // The server itself, not pg_ctl's daemon, so that it is the test's child and dies with it
    // (the death signal set after the change of user, which clears it).
    m_postgres = std::make_unique<QProcess>();
    m_postgres->setWorkingDirectory(m_root);
    m_postgres->setProcessChannelMode(QProcess::MergedChannels);
    m_postgres->setStandardOutputFile(m_root + QStringLiteral("/log"));
    const bool asOwner = !m_owner.isEmpty();
    const uid_t uid = m_ownerUid;
    const gid_t gid = m_ownerGid;
    m_postgres->setChildProcessModifier([asOwner, uid, gid] {
        if (asOwner && (::setgroups(0, nullptr) != 0 || ::setgid(gid) != 0 || ::setuid(uid) != 0))
            ::_exit(127);
        // SIGQUIT is PostgreSQL's immediate shutdown, which ends its own children too.
        ::prctl(PR_SET_PDEATHSIG, SIGQUIT);
    });
    m_postgres->start(m_binDir + QStringLiteral("/postgres"),
                      {QStringLiteral("-D"), m_root + QStringLiteral("/data"), QStringLiteral("-p"),
                       QString::number(m_port), QStringLiteral("-k"), m_root, QStringLiteral("-c"),
                       QStringLiteral("listen_addresses=127.0.0.1"), QStringLiteral("-c"),
                       QStringLiteral("max_connections=200"), QStringLiteral("-c"),
                       m_fsync ? QStringLiteral("fsync=on") : QStringLiteral("fsync=off")});
    const auto failed = [this, reason](const QString &what) {
        QFile log(m_root + QStringLiteral("/log"));
        log.open(QIODevice::ReadOnly);
        *reason = QStringLiteral("postgres ") + what + QStringLiteral(": ")
                  + QString::fromLocal8Bit(log.readAll());
        return false;
    };
    if (!m_postgres->waitForStarted(30000))
        return failed(QStringLiteral("did not start (") + m_postgres->errorString()
                      + QLatin1Char(')'));
    // Ready once it accepts connections, as pg_ctl -w waits for.
    QDeadlineTimer deadline(120000);
    for (;;) {
        run(m_binDir + QStringLiteral("/pg_isready"),
            {QStringLiteral("-q"), QStringLiteral("-h"), QStringLiteral("127.0.0.1"),
             QStringLiteral("-p"), QString::number(m_port), QStringLiteral("-U"),
             QStringLiteral("quorvel")},
            false, &status);
        if (status == 0)
            break;
        if (m_postgres->state() == QProcess::NotRunning)
            return failed(
                QStringLiteral("ended at start with status %1").arg(m_postgres->exitCode()));
        if (deadline.hasExpired())
            return failed(QStringLiteral("was not ready within 120 s"));
        QThread::msleep(100);
    }
    m_running = true;
    return true;
}

QString PostgresCluster::createDatabase()
{
    const QString name = QStringLiteral("quorvel%1").arg(++m_databases);
    int status = 0;
    const QString output
        = run(m_binDir + QStringLiteral("/createdb"),
              {QStringLiteral("-h"), QStringLiteral("127.0.0.1"), QStringLiteral("-p"),
               QString::number(m_port), QStringLiteral("-U"), QStringLiteral("quorvel"), name},
              false, &status);
    if (status != 0) {
        qWarning("createdb failed: %s", qPrintable(output));
        return QString();
    }
    return QStringLiteral("postgresql://quorvel@127.0.0.1:%1/%2").arg(m_port).arg(name);
}

QStringList PostgresCluster::connection(const QString &url) const
{
    return {QStringLiteral("-h"), QStringLiteral("127.0.0.1"),
            QStringLiteral("-p"), QString::number(m_port),
            QStringLiteral("-U"), QStringLiteral("quorvel"),
            QStringLiteral("-d"), url.section(QLatin1Char('/'), -1)};
}

bool PostgresCluster::dump(const QString &url, const QString &file, QString *output)
{
    int status = 0;
    *output = run(
        m_binDir + QStringLiteral("/pg_dump"),
        connection(url)
            + QStringList{QStringLiteral("--format=custom"), QStringLiteral("--file=") + file},
        false, &status);
    return status == 0;
}

bool PostgresCluster::restore(const QString &url, const QString &file, QString *output)
{
    int status = 0;
    *output = run(m_binDir + QStringLiteral("/pg_restore"),
                  connection(url)
                      + QStringList{QStringLiteral("--clean"), QStringLiteral("--if-exists"),
                                    QStringLiteral("--single-transaction"), file},
                  false, &status);
    return status == 0;
}

ServerProcess::ServerProcess(const QStringList &storage)
    : m_storage(storage)
{}

ServerProcess::~ServerProcess()
{
    if (m_process && m_process->state() != QProcess::NotRunning) {
        m_process->kill();
        m_process->waitForFinished();
    }
}

QString ServerProcess::binary()
{
    return QStringLiteral(QUORVEL_SERVER_BINARY);
}

bool ServerProcess::start(const QStringList &extra)
{
    m_process = std::make_unique<QProcess>();
    m_process->setProcessChannelMode(QProcess::SeparateChannels);
    dieWithTheTest(m_process.get(), SIGKILL);
    m_process->start(binary(),
                     QStringList{QStringLiteral("serve")} + m_storage
                         + QStringList{QStringLiteral("--listen"), QStringLiteral("127.0.0.1:0")}
                         + extra);
    if (!m_process->waitForStarted())
        return false;
    static const QRegularExpression listening(
        QStringLiteral("listening on 127\\.0\\.0\\.1:(\\d+)"));
    // A server started again keeps the log of the one before.
    const qsizetype from = m_log.size();
    QDeadlineTimer deadline(60000);
    while (!deadline.hasExpired()) {
        log();
        const QRegularExpressionMatch match = listening.match(QString::fromUtf8(m_log.mid(from)));
        if (match.hasMatch()) {
            m_port = quint16(match.captured(1).toUInt());
            return true;
        }
        if (m_process->state() == QProcess::NotRunning)
            break;
        m_process->waitForReadyRead(100);
    }
    qWarning("quorvel-server did not start: %s", qPrintable(log()));
    return false;
}

QString ServerProcess::address() const
{
    return QStringLiteral("127.0.0.1:%1").arg(m_port);
}

qint64 ServerProcess::pid() const
{
    return m_process ? m_process->processId() : 0;
}

qint64 ServerProcess::peakMemoryKiB() const
{
    return memoryKiB(pid(), "VmHWM");
}

qint64 ServerProcess::memoryKiB(qint64 pid, const QByteArray &field)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray key = field + ':';
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith(key))
            return line.mid(key.size()).trimmed().split(' ').value(0).toLongLong();
    }
    return -1;
}

bool ServerProcess::stop(int timeoutMs)
{
    if (!m_process || m_process->state() == QProcess::NotRunning)
        return false;
    ::kill(pid_t(m_process->processId()), SIGTERM);
    if (!m_process->waitForFinished(timeoutMs)) {
        m_process->kill();
        m_process->waitForFinished();
        return false;
    }
    log();
    return m_process->exitStatus() == QProcess::NormalExit && m_process->exitCode() == 0;
}

QString ServerProcess::log()
{
    if (m_process) {
        // Take what the pipe holds even without an event loop running.
        while (m_process->state() == QProcess::Running && m_process->waitForReadyRead(20)) {
        }
        m_log += m_process->readAllStandardError();
    }
    return QString::fromUtf8(m_log);
}

QStringList ServerProcess::exchangeLines()
{
    QStringList lines;
    for (const QString &line : log().split(QLatin1Char('\n'))) {
        if (line.startsWith(QStringLiteral("quorvel-server: exchange ")))
            lines.append(line);
    }
    return lines;
}

ServerProcess::Result ServerProcess::admin(const QStringList &arguments,
                                           const QByteArray &input) const
{
    QProcess process;
    dieWithTheTest(&process, SIGKILL);
    process.start(binary(), m_storage + arguments);
    Result result;
    if (!process.waitForStarted())
        return result;
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(120000)) {
        process.kill();
        process.waitForFinished();
        return result;
    }
    result.status = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.out = QString::fromUtf8(process.readAllStandardOutput());
    result.err = QString::fromUtf8(process.readAllStandardError());
    return result;
}

bool ServerProcess::addUser(const QString &name, const QString &password) const
{
    const Result result
        = admin({QStringLiteral("user"), QStringLiteral("add"), name}, password.toUtf8() + '\n');
    if (result.status != 0)
        qWarning("user add %s failed: %s", qPrintable(name), qPrintable(result.err));
    return result.status == 0;
}

QStringList ServerProcess::history(const QString &user) const
{
    const Result result = admin({QStringLiteral("user"), QStringLiteral("history"), user});
    QStringList lines;
    for (const QString &line : result.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
        lines << line.section(QLatin1Char('\t'), 0, 5);
    return lines;
}
