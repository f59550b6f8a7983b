#include "PrivateBus.h"
#include "TestEnvironment.h"

#include "model/Configuration.h"
#include "platform/Config.h"
#include "platform/PasswordStore.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
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
    void passwordRoundTripsThroughKeyring();
    void settingsFileHoldsNoPassword();
    void eachServerAndUserHasItsOwnEntry();
    void scrambledEntryMovesIntoKeyring();

private:
    void startKeyring();
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

void TestKeyring::startKeyring()
{
    if (m_keyring.state() == QProcess::Running)
        return;
    m_keyring.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
    // HOME, XDG_DATA_HOME and XDG_RUNTIME_DIR are fresh temporary folders of the daemon's own
    // (not the test's data folder, which each test wipes), so it finds no keyring and creates
    // a login keyring, unlocked with the password read from stdin; it also makes that the
    // default collection, so nothing more needs creating.
    QVERIFY(m_keyringHome.isValid());
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char *folder : {"home", "data", "runtime"}) {
        const QString path = m_keyringHome.filePath(QString::fromLatin1(folder));
        QVERIFY(QDir().mkpath(path));
        QVERIFY(QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::WriteOwner
                                                | QFileDevice::ExeOwner));
    }
    environment.insert(QStringLiteral("HOME"), m_keyringHome.filePath(QStringLiteral("home")));
    environment.insert(QStringLiteral("XDG_DATA_HOME"),
                       m_keyringHome.filePath(QStringLiteral("data")));
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"),
                       m_keyringHome.filePath(QStringLiteral("runtime")));
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
    configuration.setServerPassword(password);
    const QByteArray raw = settingsFileContents();
    QVERIFY2(raw.contains("\nServerPassword=" + Config::scramble(password).toLatin1() + '\n'),
             raw.constData());
    QVERIFY(!raw.contains("s3cret"));
    QCOMPARE(configuration.serverPassword(), password);
    QCOMPARE(Configuration().serverPassword(), password);
    // Another server or user reads the same one entry, as before.
    setServer(QStringLiteral("other.example.org"), QStringLiteral("ann"));
    QCOMPARE(Configuration().serverPassword(), password);
    // Each call waits for the keyring a bounded time at most.
    QVERIFY2(elapsed.elapsed() < 4 * PasswordStore::WaitMs,
             qPrintable(QString::number(elapsed.elapsed())));
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
    QCOMPARE(PasswordStore::reachable(), true);
    QCOMPARE(PasswordStore(QStringLiteral("sync.example.net"), QStringLiteral("margaret"))
                 .write(QStringLiteral("x")),
             PasswordStore::Outcome::Unavailable);
    checkScrambledFallback();
}

void TestKeyring::passwordRoundTripsThroughKeyring()
{
    startKeyring();
    if (QTest::currentTestFailed())
        return;
    const QString password = QStringLiteral("s3cret pässwörd");
    Configuration configuration;
    configuration.setServerPassword(password);
    QCOMPARE(configuration.serverPassword(), password);
    QCOMPARE(Configuration().serverPassword(), password);
    QCOMPARE(keyringEntry(QStringLiteral("margaret@sync.example.net")), password);
    QCOMPARE(PasswordStore(QStringLiteral("sync.example.net"), QStringLiteral("margaret")).key(),
             QStringLiteral("margaret@sync.example.net"));

    configuration.setServerPassword(QStringLiteral("changed"));
    QCOMPARE(Configuration().serverPassword(), QStringLiteral("changed"));
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
    Configuration().setServerPassword(password);
    const QByteArray raw = settingsFileContents();
    QCOMPARE(raw, QByteArray(
                      "[LocalSettings]\nServerAddress=sync.example.net\nServerUserID=margaret\n"));
    QVERIFY(!raw.contains(password.toUtf8()));
    QVERIFY(!raw.contains(Config::scramble(password).toLatin1()));
    QCOMPARE(Configuration().serverPassword(), password);
}

void TestKeyring::eachServerAndUserHasItsOwnEntry()
{
    startKeyring();
    if (QTest::currentTestFailed())
        return;
    Configuration().setServerPassword(QStringLiteral("margaret's"));
    setServer(QStringLiteral("sync.example.net"), QStringLiteral("ann"));
    QCOMPARE(Configuration().serverPassword(), QString());
    Configuration().setServerPassword(QStringLiteral("ann's"));
    setServer(QStringLiteral("other.example.org"), QStringLiteral("margaret"));
    QCOMPARE(Configuration().serverPassword(), QString());
    Configuration().setServerPassword(QStringLiteral("margaret's elsewhere"));

    setServer(QStringLiteral("sync.example.net"), QStringLiteral("margaret"));
    QCOMPARE(Configuration().serverPassword(), QStringLiteral("margaret's"));
    setServer(QStringLiteral("sync.example.net"), QStringLiteral("ann"));
    QCOMPARE(Configuration().serverPassword(), QStringLiteral("ann's"));
    setServer(QStringLiteral("other.example.org"), QStringLiteral("margaret"));
    QCOMPARE(Configuration().serverPassword(), QStringLiteral("margaret's elsewhere"));
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
    QCOMPARE(Configuration().serverPassword(), QStringLiteral("kept before"));
    QCOMPARE(keyringEntry(QStringLiteral("margaret@moved.example.net")),
             QStringLiteral("kept before"));
    QVERIFY(!settingsFileContents().contains("ServerPassword"));
    QCOMPARE(Configuration().serverPassword(), QStringLiteral("kept before"));
}

QUORVEL_TEST_GUILESS_MAIN(TestKeyring)
#include "tst_keyring.moc"
