// SPDX-License-Identifier: GPL-3.0-or-later
// Another local user against a person's command channel, with two real users that the test
// makes where it runs as root (as CI does): listeners and plain files at every name Quorvel
// could use, a connection to the real socket, and a server at its place run by someone else.

#include "CommandRunner.h"
#include "TestEnvironment.h"

#include "model/QuorvelDocument.h"

#include <QCryptographicHash>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QtTest>

#include <functional>
#include <memory>

#include <grp.h>
#include <poll.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

struct User
{
    QString name;
    uid_t uid = 0;
    gid_t gid = 0;
};

// The user of that name, made first when there is none.
bool findOrMakeUser(const QString &name, User *user)
{
    const passwd *entry = ::getpwnam(name.toLocal8Bit().constData());
    if (!entry) {
        QProcess::execute(QStringLiteral("useradd"),
                          {QStringLiteral("--system"), QStringLiteral("--no-create-home"),
                           QStringLiteral("--shell"), QStringLiteral("/usr/sbin/nologin"), name});
        entry = ::getpwnam(name.toLocal8Bit().constData());
    }
    if (!entry)
        return false;
    user->name = name;
    user->uid = entry->pw_uid;
    user->gid = entry->pw_gid;
    return true;
}

std::function<void()> becomes(const User &user)
{
    const uid_t uid = user.uid;
    const gid_t gid = user.gid;
    return [uid, gid] {
        if (::setgroups(0, nullptr) != 0 || ::setgid(gid) != 0 || ::setuid(uid) != 0)
            ::_exit(127);
    };
}

bool chownTree(const QString &path, const User &user)
{
    return QProcess::execute(
               QStringLiteral("chown"),
               {QStringLiteral("-R"), QStringLiteral("%1:%2").arg(user.uid).arg(user.gid), path})
           == 0;
}

struct Run
{
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
    qint64 elapsedMs = 0;
};

// A process as another user, run to its end while the event loop goes on.
Run runAs(const User &user, const QString &program, const QStringList &arguments,
          const QProcessEnvironment &env)
{
    QProcess process;
    process.setProcessEnvironment(env);
    process.setChildProcessModifier(becomes(user));
    QElapsedTimer clock;
    clock.start();
    process.start(program, arguments);
    Run run;
    if (!waitUntil([&] { return process.state() == QProcess::NotRunning; }, 60000)) {
        process.kill();
        process.waitForFinished();
        return run;
    }
    run.elapsedMs = clock.elapsed();
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.out = process.readAllStandardOutput();
    run.err = process.readAllStandardError();
    return run;
}

} // namespace

class TestOtherUser : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void othersListenersAreNeverUsed_data();
    void othersListenersAreNeverUsed();
    void plainFilesAtOtherNamesDoNotDelay();
    void othersConnectionToTheSocketIsRefused();
    void serverOfAnotherUserAtTheNameIsNotTrusted();

private:
    QProcessEnvironment victimEnvironment(bool runtimeDir) const;
    // Every name that this or an earlier Quorvel could listen at, outside the data folder.
    QStringList otherNames() const;
    // Runs what writes the victim's data and settings with the victim's folders in effect.
    void withVictimFolders(const std::function<void()> &work) const;
    Run victim(const QStringList &arguments, bool runtimeDir = false) const;
    QString dataFolder() const { return m_home + QStringLiteral("/data/quorvelqpe"); }
    QString socketPath() const { return dataFolder() + QStringLiteral("/quorvel.socket"); }
    QList<QPair<QString, QDateTime>> victimTasks() const;

    User m_victim;
    User m_other;
    std::unique_ptr<QTemporaryDir> m_base;
    QString m_home;
    QString m_runtime;
};

void TestOtherUser::initTestCase()
{
    if (::geteuid() != 0)
        QSKIP("SKIPPED LOUDLY: two real users are needed, and only root can make them; run this "
              "test as root (CI does)");
    if (!findOrMakeUser(QStringLiteral("quorvel-victim"), &m_victim)
        || !findOrMakeUser(QStringLiteral("quorvel-other"), &m_other))
        QSKIP("SKIPPED LOUDLY: useradd could not make the test's two users");
    m_base = std::make_unique<QTemporaryDir>(QStringLiteral("/tmp/quorvel-users-XXXXXX"));
    QVERIFY(m_base->isValid());
    QVERIFY(QFile::setPermissions(
        m_base->path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadOther
                            | QFile::ExeOther | QFile::ReadGroup | QFile::ExeGroup));
    // A runtime folder that the other user owns and anyone may write to, as a careless or
    // hostile environment might name.
    m_runtime = m_base->path() + QStringLiteral("/run");
    QVERIFY(QDir().mkpath(m_runtime));
    QVERIFY(::chmod(QFile::encodeName(m_runtime).constData(), 0777) == 0);
    QVERIFY(chownTree(m_runtime, m_other));
    m_home = m_base->path() + QStringLiteral("/victim");
}

void TestOtherUser::init()
{
    QDir(m_home).removeRecursively();
    for (const char *sub : {"data", "config", "documents"})
        QVERIFY(QDir().mkpath(m_home + QLatin1Char('/') + QLatin1String(sub)));
    withVictimFolders([] { QVERIFY(writeWorkActivities({QStringLiteral("Alpha")})); });
    QVERIFY(::chmod(QFile::encodeName(m_home).constData(), 0700) == 0);
    QVERIFY(chownTree(m_home, m_victim));
}

QProcessEnvironment TestOtherUser::victimEnvironment(bool runtimeDir) const
{
    QProcessEnvironment env;
    env.insert(QStringLiteral("PATH"), QStringLiteral("/usr/bin:/bin"));
    env.insert(QStringLiteral("HOME"), m_home);
    env.insert(QStringLiteral("XDG_DATA_HOME"), m_home + QStringLiteral("/data"));
    env.insert(QStringLiteral("XDG_CONFIG_HOME"), m_home + QStringLiteral("/config"));
    env.insert(QStringLiteral("XDG_DOCUMENTS_DIR"), m_home + QStringLiteral("/documents"));
    env.insert(QStringLiteral("QUORVEL_FAKE_NOW"), QStringLiteral("2026-11-21T09:30:00"));
    env.insert(QStringLiteral("LC_ALL"), QStringLiteral("en_US.UTF-8"));
    env.insert(QStringLiteral("TZ"), QStringLiteral("UTC"));
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    for (const char *name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS"}) {
        if (qEnvironmentVariableIsSet(name))
            env.insert(QLatin1String(name), qEnvironmentVariable(name));
    }
    if (runtimeDir)
        env.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_runtime);
    return env;
}

QStringList TestOtherUser::otherNames() const
{
    const QByteArray key
        = QByteArray::number(qulonglong(m_victim.uid)) + '\n' + QFile::encodeName(dataFolder());
    const QString hash = QString::fromLatin1(
        QCryptographicHash::hash(key, QCryptographicHash::Sha256).toHex().left(24));
    return {QStringLiteral("/tmp/quorvel-%1-%2").arg(m_victim.uid).arg(hash),
            m_runtime + QStringLiteral("/quorvel-") + hash + QStringLiteral(".socket"),
            m_runtime + QStringLiteral("/quorvel.socket")};
}

void TestOtherUser::withVictimFolders(const std::function<void()> &work) const
{
    const QByteArray data = qgetenv("XDG_DATA_HOME");
    const QByteArray config = qgetenv("XDG_CONFIG_HOME");
    qputenv("XDG_DATA_HOME", QFile::encodeName(m_home + QStringLiteral("/data")));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_home + QStringLiteral("/config")));
    work();
    qputenv("XDG_DATA_HOME", data);
    qputenv("XDG_CONFIG_HOME", config);
}

Run TestOtherUser::victim(const QStringList &arguments, bool runtimeDir) const
{
    return runAs(m_victim, QStringLiteral(QUORVEL_CLI), arguments, victimEnvironment(runtimeDir));
}

QList<QPair<QString, QDateTime>> TestOtherUser::victimTasks() const
{
    QList<QPair<QString, QDateTime>> tasks;
    withVictimFolders([&tasks] {
        QuorvelDocument doc;
        doc.load();
        for (const QVTask *task : doc.tasks)
            tasks << qMakePair(task->activityName(), task->stop());
    });
    return tasks;
}

void TestOtherUser::othersListenersAreNeverUsed_data()
{
    QTest::addColumn<bool>("runtimeDir");
    QTest::addColumn<bool>("window");
    QTest::newRow("no runtime folder, no window") << false << false;
    QTest::newRow("a runtime folder of the other's, no window") << true << false;
    QTest::newRow("no runtime folder, a window") << false << true;
    QTest::newRow("a runtime folder of the other's, a window") << true << true;
}

void TestOtherUser::othersListenersAreNeverUsed()
{
    QFETCH(bool, runtimeDir);
    QFETCH(bool, window);
    QProcess squatter;
    squatter.setChildProcessModifier(becomes(m_other));
    squatter.start(QStringLiteral(SQUATTER), QStringList{QStringLiteral("listen")} + otherNames());
    QVERIFY(squatter.waitForReadyRead(10000));
    QCOMPARE(squatter.readLine(), QByteArray("ready\n"));

    std::unique_ptr<WindowProcess> gui;
    if (window) {
        gui = std::make_unique<WindowProcess>(QStringLiteral(QUORVEL_GUI),
                                              victimEnvironment(runtimeDir));
        gui->setChildModifier(becomes(m_victim));
        QVERIFY2(gui->start(socketPath()), "the victim's window did not start listening");
    }
    Run run = victim({QStringLiteral("start"), QStringLiteral("Alpha"), QStringLiteral("--at"),
                      QStringLiteral("09:00")},
                     runtimeDir);
    QCOMPARE(run.err, QByteArray());
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("Started “Alpha” at 11/21/26 9:00 AM.\n"));
    run = victim({QStringLiteral("status")}, runtimeDir);
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("Alpha\t0:30\n"));
    run = victim({QStringLiteral("stop"), QStringLiteral("--at"), QStringLiteral("09:30")},
                 runtimeDir);
    QCOMPARE(run.err, QByteArray());
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("Stopped “Alpha” at 11/21/26 9:30 AM (0:30).\n"));
    if (gui)
        QCOMPARE(gui->terminate(), 0);

    // Carried out on the victim's own data, and nothing ever reached the other user.
    const QList<QPair<QString, QDateTime>> tasks = victimTasks();
    QCOMPARE(tasks.size(), 1);
    QCOMPARE(tasks.at(0).second, QDateTime(QDate(2026, 11, 21), QTime(9, 30)));
    squatter.kill();
    squatter.waitForFinished();
    QCOMPARE(squatter.readAllStandardOutput(), QByteArray());
}

void TestOtherUser::plainFilesAtOtherNamesDoNotDelay()
{
    QProcess squatter;
    squatter.setChildProcessModifier(becomes(m_other));
    squatter.start(QStringLiteral(SQUATTER), QStringList{QStringLiteral("file")} + otherNames());
    QVERIFY(squatter.waitForReadyRead(10000));
    QCOMPARE(squatter.readLine(), QByteArray("ready\n"));
    for (const bool runtimeDir : {false, true}) {
        const Run run
            = victim({QStringLiteral("start"), QStringLiteral("Alpha"), QStringLiteral("--at"),
                      runtimeDir ? QStringLiteral("09:10") : QStringLiteral("09:00")},
                     runtimeDir);
        QCOMPARE(run.err, QByteArray());
        QCOMPARE(run.exitCode, 0);
        QVERIFY2(run.elapsedMs < 3000, qPrintable(QString::number(run.elapsedMs)));
    }
    squatter.kill();
    squatter.waitForFinished();
}

void TestOtherUser::othersConnectionToTheSocketIsRefused()
{
    WindowProcess gui(QStringLiteral(QUORVEL_GUI), victimEnvironment(false));
    gui.setChildModifier(becomes(m_victim));
    QVERIFY(gui.start(socketPath()));
    // Let the other user reach the socket, as a careless mode and a link would: a second name
    // for it in a folder anyone may enter (the window keeps its own folder closed). The check
    // of who connects is all that stands in the way then.
    const QString reachable = m_base->path() + QStringLiteral("/reachable.socket");
    QVERIFY(::link(QFile::encodeName(socketPath()).constData(),
                   QFile::encodeName(reachable).constData())
            == 0);
    QVERIFY(::chmod(QFile::encodeName(reachable).constData(), 0666) == 0);
    const Run run = runAs(m_other, QStringLiteral(SQUATTER), {QStringLiteral("send"), reachable},
                          QProcessEnvironment::systemEnvironment());
    QFile::remove(reachable);
    QCOMPARE(run.out, QByteArray("refused\n"));
    QCOMPARE(gui.terminate(), 0);
    QVERIFY(victimTasks().isEmpty());
    QVERIFY(gui.errorOutput().contains("Refused a connection to " + QFile::encodeName(socketPath())
                                       + " from another user"));
}

void TestOtherUser::serverOfAnotherUserAtTheNameIsNotTrusted()
{
    // A socket of the victim's at the right place, but served by another user (root here,
    // who alone can put one there).
    const QByteArray path = QFile::encodeName(socketPath());
    const int server = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    QVERIFY(size_t(path.size()) < sizeof address.sun_path);
    std::memcpy(address.sun_path, path.constData(), size_t(path.size()));
    QVERIFY(::bind(server, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0);
    QVERIFY(::listen(server, 4) == 0);
    QVERIFY(::chown(path.constData(), m_victim.uid, m_victim.gid) == 0);

    const Run run = victim({QStringLiteral("start"), QStringLiteral("Alpha"),
                            QStringLiteral("--at"), QStringLiteral("09:00")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.err, "quorvel: " + path
                          + " is served by another user; the command is carried out on the data "
                            "file instead.\n");
    QCOMPARE(run.out, QByteArray("Started “Alpha” at 11/21/26 9:00 AM.\n"));
    QCOMPARE(victimTasks().size(), 1);

    // The victim connected, saw who served, and sent nothing.
    const int client = ::accept4(server, nullptr, nullptr, SOCK_NONBLOCK);
    QVERIFY(client >= 0);
    char byte = 0;
    pollfd reading = {client, POLLIN, 0};
    QVERIFY(::poll(&reading, 1, 2000) > 0);
    QCOMPARE(::read(client, &byte, 1), ssize_t(0));
    ::close(client);
    ::close(server);
    ::unlink(path.constData());
}

QUORVEL_TEST_GUILESS_MAIN(TestOtherUser)
#include "tst_otheruser.moc"
