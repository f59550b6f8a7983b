// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "PrivateBus.h"
#include "TestEnvironment.h"
#include "keyring/ServerPassword.h"

#include "keyring/PasswordStore.h"
#include "model/Configuration.h"
#include "platform/Config.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <qt6keychain/keychain.h>

#include <csignal>

#include <sys/prctl.h>

namespace {

QByteArray settingsFileContents()
{
    QFile file(Config::filePath(Configuration::storeName()));
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    return file.readAll();
}

// What the keyring itself holds for key, read without Configuration; "<error>" and the
// reason when it holds nothing.
QString keyringEntry(const QString &key)
{
    QKeychain::ReadPasswordJob job(PasswordStore::serviceName());
    job.setAutoDelete(false);
    job.setKey(key);
    QEventLoop loop;
    QObject::connect(&job, &QKeychain::Job::finished, &loop, &QEventLoop::quit);
    job.start();
    loop.exec();
    if (job.error() != QKeychain::NoError)
        return QStringLiteral("<error> ") + job.errorString();
    return job.textData();
}

void setServer(const QString &server, const QString &user)
{
    Configuration configuration;
    configuration.setServerAddress(server);
    configuration.setServerUserID(user);
}

} // namespace

// The server password in a real secret service: gnome-keyring-daemon on the test's own session
// bus, with a login keyring of its own under the test's temporary XDG_DATA_HOME. The functions
// run in order: first without any bus, then on a bus without a secret service, then with the
// keyring daemon on that same bus (the keyring library keeps its first bus for the process).
class TestKeyring : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanupTestCase();

    void noBusKeepsScrambledEntry();
    void busWithoutSecretServiceKeepsScrambledEntry();
    void slowKeyringStillGetsThePassword();
    void passwordRoundTripsThroughKeyring();
    void settingsFileHoldsNoPassword();
    void eachServerAndUserHasItsOwnEntry();
    void scrambledEntryMovesIntoKeyring();

private:
    void startKeyring();
    // The daemon's own folders, and the environment that names them.
    QProcessEnvironment keyringEnvironment();
    // The behaviour without a secret service: the scrambled entry, exactly as always.
    void checkScrambledFallback();

    PrivateBus m_bus;
    QTemporaryDir m_keyringHome;
    QProcess m_keyring;
};

void TestKeyring::init()
{
    TestEnvironment::wipe();
    setServer(QStringLiteral("sync.example.net"), QStringLiteral("margaret"));
}

void TestKeyring::cleanupTestCase()
{
    // The bus stays until the process ends: the keyring library's connection to it ends the
    // process when the bus goes away under it.
    if (m_keyring.state() != QProcess::NotRunning) {
        m_keyring.terminate();
        m_keyring.waitForFinished(5000);
    }
}

QProcessEnvironment TestKeyring::keyringEnvironment()
{
    // HOME, XDG_DATA_HOME and XDG_RUNTIME_DIR are fresh temporary folders of the daemon's own
    // (not the test's data folder, which each test wipes), so it finds no keyring and creates
    // a login keyring, unlocked with the password read from stdin; it also makes that the
    // default collection, so nothing more needs creating.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    if (!m_keyringHome.isValid())
        return environment;
    for (const char *folder : {"home", "data", "runtime"}) {
        const QString path = m_keyringHome.filePath(QString::fromLatin1(folder));
        QDir().mkpath(path);
        QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::WriteOwner
                                        | QFileDevice::ExeOwner);
    }
    environment.insert(QStringLiteral("HOME"), m_keyringHome.filePath(QStringLiteral("home")));
    environment.insert(QStringLiteral("XDG_DATA_HOME"),
                       m_keyringHome.filePath(QStringLiteral("data")));
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"),
                       m_keyringHome.filePath(QStringLiteral("runtime")));
    return environment;
}

void TestKeyring::startKeyring()
{
    if (m_keyring.state() == QProcess::Running)
        return;
    // The bus may have started one already (slowKeyringStillGetsThePassword).
    if (QDBusConnection::sessionBus().interface()->isServiceRegistered(
            QStringLiteral("org.freedesktop.secrets")))
        return;
    m_keyring.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
    QVERIFY(m_keyringHome.isValid());
    const QProcessEnvironment environment = keyringEnvironment();
    m_keyring.setProcessEnvironment(environment);
    m_keyring.start(QStringLiteral("gnome-keyring-daemon"),
                    {QStringLiteral("--foreground"), QStringLiteral("--components=secrets"),
                     QStringLiteral("--unlock")});
    if (!m_keyring.waitForStarted(10000))
        QFAIL(qPrintable(QStringLiteral("cannot start gnome-keyring-daemon (Debian package "
                                        "gnome-keyring): ")
                         + m_keyring.errorString()));
    m_keyring.write("test keyring password");
    m_keyring.closeWriteChannel();
    QDBusConnectionInterface *bus = QDBusConnection::sessionBus().interface();
    QVERIFY2(bus, "no connection to the private bus");
    QElapsedTimer waited;
    waited.start();
    while (!bus->isServiceRegistered(QStringLiteral("org.freedesktop.secrets")).value()) {
        if (m_keyring.state() != QProcess::Running || waited.elapsed() > 10000)
            QFAIL(qPrintable(QStringLiteral("gnome-keyring-daemon offers no secret service: ")
                             + QString::fromUtf8(m_keyring.readAllStandardError())));
        QTest::qWait(50);
    }
}

void TestKeyring::checkScrambledFallback()
{
    const QString password = QStringLiteral("s3cret pässwörd");
    QElapsedTimer elapsed;
    elapsed.start();
    Configuration configuration;
    ServerPassword(configuration).write(password);
    const QByteArray raw = settingsFileContents();
    QVERIFY2(raw.contains("\nServerPassword=" + Config::scramble(password).toLatin1() + '\n'),
             raw.constData());
    QVERIFY(!raw.contains("s3cret"));
    QCOMPARE(ServerPassword(configuration).read(), password);
    QCOMPARE(ServerPassword(Configuration()).read(), password);
    // Another server or user reads the same one entry, as before.
    setServer(QStringLiteral("other.example.org"), QStringLiteral("ann"));
    QCOMPARE(ServerPassword(Configuration()).read(), password);
    // Without a secret service nothing waits for one.
    QVERIFY2(elapsed.elapsed() < 2000, qPrintable(QString::number(elapsed.elapsed())));
}

void TestKeyring::noBusKeepsScrambledEntry()
{
    QVERIFY(qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS"));
    QCOMPARE(PasswordStore::reachable(), false);
    QString password = QStringLiteral("untouched");
    QCOMPARE(PasswordStore(QStringLiteral("a"), QStringLiteral("b")).read(&password),
             PasswordStore::Outcome::Unavailable);
    QCOMPARE(password, QStringLiteral("untouched"));
    checkScrambledFallback();
}

void TestKeyring::busWithoutSecretServiceKeepsScrambledEntry()
{
    QVERIFY2(m_bus.start(), qPrintable(m_bus.error()));
    // A bus, but no secret service on it, nor one it can start: nothing to ask or wait for.
    QCOMPARE(PasswordStore::reachable(), false);
    QCOMPARE(PasswordStore(QStringLiteral("sync.example.net"), QStringLiteral("margaret"))
                 .write(QStringLiteral("x")),
             PasswordStore::Outcome::Unavailable);
    checkScrambledFallback();
}

void TestKeyring::slowKeyringStillGetsThePassword()
{
    // A secret service that the bus starts on demand and that takes five seconds to answer,
    // as one does while the person types the keyring's own password.
    QVERIFY(m_keyringHome.isValid());
    const QProcessEnvironment environment = keyringEnvironment();
    const QString script = m_keyringHome.filePath(QStringLiteral("slow-keyring.sh"));
    {
        QFile file(script);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QByteArray text = "#!/bin/sh\nsleep 5\n";
        for (const char *name : {"HOME", "XDG_DATA_HOME", "XDG_RUNTIME_DIR"}) {
            text += "export " + QByteArray(name) + "='"
                    + QFile::encodeName(environment.value(QLatin1String(name))) + "'\n";
        }
        text += "printf 'test keyring password' | exec gnome-keyring-daemon --foreground "
                "--components=secrets --unlock\n";
        file.write(text);
        file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner
                            | QFileDevice::ExeOwner);
    }
    {
        QFile service(m_bus.serviceFolder() + QStringLiteral("/org.freedesktop.secrets.service"));
        QVERIFY(service.open(QIODevice::WriteOnly));
        service.write("[D-BUS Service]\nName=org.freedesktop.secrets\nExec="
                      + QFile::encodeName(script) + "\n");
    }
    QTRY_VERIFY_WITH_TIMEOUT(PasswordStore::reachable(), 10000);

    // A password kept scrambled from before, asked for by the window.
    setServer(QStringLiteral("slow.example.net"), QStringLiteral("ann"));
    {
        Config settings(Configuration::storeName());
        settings.setGroup(Configuration::localSettingsGroup());
        settings.writeEntryCrypt(QStringLiteral("ServerPassword"), QStringLiteral("kept before"));
    }
    QElapsedTimer clock;
    clock.start();
    QObject context;
    QString asked = QStringLiteral("<not yet>");
    qint64 answeredAfter = -1;
    ServerPassword(Configuration()).ask(&context, [&](const QString &password) {
        asked = password;
        answeredAfter = clock.elapsed();
    });
    // And a new one stored for another user meanwhile: usable at once, never scrambled.
    setServer(QStringLiteral("slow.example.net"), QStringLiteral("margaret"));
    ServerPassword(Configuration()).store(QStringLiteral("slow secret"));
    QVERIFY(clock.elapsed() < 1000);
    QCOMPARE(ServerPassword(Configuration()).read(), QStringLiteral("slow secret"));

    // The event loop goes on all the while: the window stays usable.
    int ticks = 0;
    QTimer ticker;
    QObject::connect(&ticker, &QTimer::timeout, [&ticks] { ++ticks; });
    ticker.start(100);
    QTRY_VERIFY_WITH_TIMEOUT(answeredAfter >= 0, 60000);
    QVERIFY2(answeredAfter >= 4000, qPrintable(QString::number(answeredAfter)));
    QVERIFY(ticks >= 30);
    QCOMPARE(asked, QStringLiteral("kept before"));

    // Both end in the keyring, and the settings file keeps no password at all.
    QTRY_COMPARE_WITH_TIMEOUT(keyringEntry(QStringLiteral("margaret@slow.example.net")),
                              QStringLiteral("slow secret"), 30000);
    QTRY_COMPARE_WITH_TIMEOUT(keyringEntry(QStringLiteral("ann@slow.example.net")),
                              QStringLiteral("kept before"), 30000);
    QTRY_VERIFY_WITH_TIMEOUT(!settingsFileContents().contains("ServerPassword"), 30000);
}

void TestKeyring::passwordRoundTripsThroughKeyring()
{
    startKeyring();
    if (QTest::currentTestFailed())
        return;
    const QString password = QStringLiteral("s3cret pässwörd");
    Configuration configuration;
    ServerPassword(configuration).write(password);
    QCOMPARE(ServerPassword(configuration).read(), password);
    QCOMPARE(ServerPassword(Configuration()).read(), password);
    QCOMPARE(keyringEntry(QStringLiteral("margaret@sync.example.net")), password);
    QCOMPARE(PasswordStore(QStringLiteral("sync.example.net"), QStringLiteral("margaret")).key(),
             QStringLiteral("margaret@sync.example.net"));

    ServerPassword(configuration).write(QStringLiteral("changed"));
    QCOMPARE(ServerPassword(Configuration()).read(), QStringLiteral("changed"));
    QCOMPARE(keyringEntry(QStringLiteral("margaret@sync.example.net")), QStringLiteral("changed"));
}

void TestKeyring::settingsFileHoldsNoPassword()
{
    startKeyring();
    if (QTest::currentTestFailed())
        return;
    const QString password = QStringLiteral("tea-time");
    // A scrambled entry from before is removed once the keyring holds the password.
    {
        Config settings(Configuration::storeName());
        settings.setGroup(Configuration::localSettingsGroup());
        settings.writeEntryCrypt(QStringLiteral("ServerPassword"), QStringLiteral("old one"));
    }
    QVERIFY(settingsFileContents().contains("ServerPassword="));
    ServerPassword(Configuration()).write(password);
    const QByteArray raw = settingsFileContents();
    QCOMPARE(raw, QByteArray(
                      "[LocalSettings]\nServerAddress=sync.example.net\nServerUserID=margaret\n"));
    QVERIFY(!raw.contains(password.toUtf8()));
    QVERIFY(!raw.contains(Config::scramble(password).toLatin1()));
    QCOMPARE(ServerPassword(Configuration()).read(), password);
}

void TestKeyring::eachServerAndUserHasItsOwnEntry()
{
    startKeyring();
    if (QTest::currentTestFailed())
        return;
    ServerPassword(Configuration()).write(QStringLiteral("margaret's"));
    setServer(QStringLiteral("sync.example.net"), QStringLiteral("ann"));
    QCOMPARE(ServerPassword(Configuration()).read(), QString());
    ServerPassword(Configuration()).write(QStringLiteral("ann's"));
    setServer(QStringLiteral("other.example.org"), QStringLiteral("margaret"));
    QCOMPARE(ServerPassword(Configuration()).read(), QString());
    ServerPassword(Configuration()).write(QStringLiteral("margaret's elsewhere"));

    setServer(QStringLiteral("sync.example.net"), QStringLiteral("margaret"));
    QCOMPARE(ServerPassword(Configuration()).read(), QStringLiteral("margaret's"));
    setServer(QStringLiteral("sync.example.net"), QStringLiteral("ann"));
    QCOMPARE(ServerPassword(Configuration()).read(), QStringLiteral("ann's"));
    setServer(QStringLiteral("other.example.org"), QStringLiteral("margaret"));
    QCOMPARE(ServerPassword(Configuration()).read(), QStringLiteral("margaret's elsewhere"));
    QCOMPARE(keyringEntry(QStringLiteral("ann@sync.example.net")), QStringLiteral("ann's"));
    QCOMPARE(keyringEntry(QStringLiteral("margaret@other.example.org")),
             QStringLiteral("margaret's elsewhere"));
    QVERIFY(!settingsFileContents().contains("ServerPassword"));
}

void TestKeyring::scrambledEntryMovesIntoKeyring()
{
    startKeyring();
    if (QTest::currentTestFailed())
        return;
    // As an installation from before the keyring left it.
    setServer(QStringLiteral("moved.example.net"), QStringLiteral("margaret"));
    {
        Config settings(Configuration::storeName());
        settings.setGroup(Configuration::localSettingsGroup());
        settings.writeEntryCrypt(QStringLiteral("ServerPassword"), QStringLiteral("kept before"));
    }
    QCOMPARE(keyringEntry(QStringLiteral("margaret@moved.example.net")).left(7),
             QStringLiteral("<error>"));
    QCOMPARE(ServerPassword(Configuration()).read(), QStringLiteral("kept before"));
    QCOMPARE(keyringEntry(QStringLiteral("margaret@moved.example.net")),
             QStringLiteral("kept before"));
    QVERIFY(!settingsFileContents().contains("ServerPassword"));
    QCOMPARE(ServerPassword(Configuration()).read(), QStringLiteral("kept before"));
}

QUORVEL_TEST_GUILESS_MAIN(TestKeyring)
#include "tst_keyring.moc"
