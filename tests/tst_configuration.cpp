// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "TestEnvironment.h"
#include "keyring/ServerPassword.h"

#include "model/Configuration.h"
#include "platform/Config.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QUrl>
#include <QtTest>

namespace {

QString settingsFile()
{
    return Config::filePath(QStringLiteral("quorvelqpe"));
}

QByteArray readAll(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    return file.readAll();
}

// Writes a settings file as a user with a text editor would.
void writeByHand(const QString &path, const QByteArray &contents)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(file.write(contents), qint64(contents.size()));
    file.close();
}

void writeTwelveHourClock(bool twelveHour)
{
    Config qpe(QStringLiteral("qpe"));
    qpe.setGroup(QStringLiteral("Time"));
    qpe.writeEntry(QStringLiteral("AMPM"), twelveHour);
}

} // namespace

class TestConfiguration : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void freshInstallation();
    void defaultServerAddress();
    void modeRoundTrip_data();
    void modeRoundTrip();
    void concurrencyRoundTrip();
    void textRoundTrip_data();
    void textRoundTrip();
    void passwordNotStoredAsTyped();
    void handWrittenModeOutOfRange();
    void writesSeenByNewObject();
    void writesOnDiskWhenSetterReturns();
    void handEditBetweenReadsIsSeen();
    void twelveHourClockSetting();
    void twelveHourClockFollowsLocaleWhenUnset();
    void scrambleRoundTrip_data();
    void scrambleRoundTrip();
    void handWrittenPlainPassword();
};

void TestConfiguration::init()
{
    TestEnvironment::wipe();
}

void TestConfiguration::cleanup()
{
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
}

void TestConfiguration::freshInstallation()
{
    Configuration configuration;
    QCOMPARE(configuration.mode(), Configuration::Unset);
    QCOMPARE(int(configuration.mode()), 0);
    QCOMPARE(configuration.allowConcurrentTasks(), false);
    QCOMPARE(configuration.serverUserID(), QString());
    QVERIFY(configuration.serverUserID().isEmpty());
    QVERIFY(ServerPassword(configuration).read().isEmpty());
    QCOMPARE(configuration.twelveHourClock(), true);
    QCOMPARE(configuration.parent(), nullptr);
}

void TestConfiguration::defaultServerAddress()
{
    Configuration configuration;
    QVERIFY(!Configuration::defaultServerAddress().isEmpty());
    QCOMPARE(configuration.serverAddress(), Configuration::defaultServerAddress());
}

void TestConfiguration::modeRoundTrip_data()
{
    QTest::addColumn<int>("mode");
    QTest::newRow("personal") << 1;
    QTest::newRow("group") << 2;
    QTest::newRow("unset again") << 0;
}

void TestConfiguration::modeRoundTrip()
{
    QFETCH(int, mode);
    Configuration configuration;
    // Start from another value so the write is seen to change something.
    configuration.setMode(mode == 2 ? Configuration::Personal : Configuration::Group);
    configuration.setMode(Configuration::OperatingMode(mode));
    QCOMPARE(int(configuration.mode()), mode);
}

void TestConfiguration::concurrencyRoundTrip()
{
    Configuration configuration;
    configuration.setAllowConcurrentTasks(true);
    QCOMPARE(configuration.allowConcurrentTasks(), true);
    configuration.setAllowConcurrentTasks(false);
    QCOMPARE(configuration.allowConcurrentTasks(), false);
    configuration.setAllowConcurrentTasks(true);
    QCOMPARE(Configuration().allowConcurrentTasks(), true);
}

void TestConfiguration::textRoundTrip_data()
{
    QTest::addColumn<QString>("value");
    QTest::newRow("host name") << QStringLiteral("sync.example.org");
    QTest::newRow("host and port") << QStringLiteral("127.0.0.1:8080");
    QTest::newRow("plain word") << QStringLiteral("margaret");
    QTest::newRow("inner spaces") << QStringLiteral("Ann Lee");
    QTest::newRow("non-ASCII") << QStringLiteral("Jürgen Øster €");
    QTest::newRow("equals sign") << QStringLiteral("a=b=c");
    QTest::newRow("commas") << QStringLiteral("one,two, three");
    QTest::newRow("semicolon and hash") << QStringLiteral("x;y#z");
    QTest::newRow("quotes and backslash") << QStringLiteral("say \"hi\" \\ bye");
    QTest::newRow("brackets") << QStringLiteral("[LocalSettings]");
}

void TestConfiguration::textRoundTrip()
{
    QFETCH(QString, value);
    Configuration configuration;

    configuration.setServerAddress(value);
    QCOMPARE(configuration.serverAddress(), value);

    configuration.setServerUserID(value);
    QCOMPARE(configuration.serverUserID(), value);

    ServerPassword(configuration).write(value);
    QCOMPARE(ServerPassword(configuration).read(), value);

    // Each key keeps its own value.
    configuration.setServerAddress(QStringLiteral("other.example.org"));
    QCOMPARE(configuration.serverUserID(), value);
    QCOMPARE(ServerPassword(configuration).read(), value);
    QCOMPARE(configuration.serverAddress(), QStringLiteral("other.example.org"));
}

void TestConfiguration::passwordNotStoredAsTyped()
{
    const QString password = QStringLiteral("s3cret pässwörd");
    Configuration configuration;
    ServerPassword(configuration).write(password);

    const QByteArray raw = readAll(settingsFile());
    QVERIFY(!raw.isEmpty());
    QVERIFY(raw.contains("ServerPassword"));
    QVERIFY(!raw.contains(password.toUtf8()));
    QVERIFY(!raw.contains(password.toLatin1()));
    QVERIFY(!raw.contains(QUrl::toPercentEncoding(password)));
    QVERIFY(!raw.contains("s3cret"));
    QVERIFY(!raw.contains(QStringLiteral("pässwörd").toUtf8()));
    QVERIFY(!raw.contains("p\\xe4ssw"));

    QCOMPARE(ServerPassword(configuration).read(), password);
    QCOMPARE(ServerPassword(Configuration()).read(), password);
}

void TestConfiguration::handWrittenModeOutOfRange()
{
    writeByHand(settingsFile(), "[LocalSettings]\nmode=7\n");
    QCOMPARE(int(Configuration().mode()), 7);

    writeByHand(settingsFile(), "[LocalSettings]\nmode=-3\n");
    QCOMPARE(int(Configuration().mode()), -3);
}

void TestConfiguration::writesSeenByNewObject()
{
    {
        Configuration writer;
        writer.setMode(Configuration::Group);
        writer.setAllowConcurrentTasks(true);
        writer.setServerAddress(QStringLiteral("sync.example.net"));
        writer.setServerUserID(QStringLiteral("margaret"));
        ServerPassword(writer).write(QStringLiteral("tea-time"));
    }
    Configuration reader;
    QCOMPARE(reader.mode(), Configuration::Group);
    QCOMPARE(reader.allowConcurrentTasks(), true);
    QCOMPARE(reader.serverAddress(), QStringLiteral("sync.example.net"));
    QCOMPARE(reader.serverUserID(), QStringLiteral("margaret"));
    QCOMPARE(ServerPassword(reader).read(), QStringLiteral("tea-time"));

    // A write through one object is seen by another that already exists.
    Configuration other;
    reader.setMode(Configuration::Personal);
    QCOMPARE(other.mode(), Configuration::Personal);
}

void TestConfiguration::writesOnDiskWhenSetterReturns()
{
    Configuration configuration;
    configuration.setMode(Configuration::Group);
    configuration.setServerUserID(QStringLiteral("margaret"));

    const QByteArray raw = readAll(settingsFile());
    QVERIFY(raw.contains("[LocalSettings]"));
    QVERIFY(raw.contains("mode=2"));
    QVERIFY(raw.contains("ServerUserID=margaret"));
}

void TestConfiguration::handEditBetweenReadsIsSeen()
{
    Configuration configuration;
    configuration.setMode(Configuration::Personal);
    configuration.setServerUserID(QStringLiteral("ann"));
    QCOMPARE(configuration.mode(), Configuration::Personal);
    QCOMPARE(configuration.serverUserID(), QStringLiteral("ann"));

    writeByHand(settingsFile(),
                "[LocalSettings]\nmode=2\nServerUserID=margaret\nAllowConcurrentTasks=1\n");
    QCOMPARE(configuration.mode(), Configuration::Group);
    QCOMPARE(configuration.serverUserID(), QStringLiteral("margaret"));
    QCOMPARE(configuration.allowConcurrentTasks(), true);

    QVERIFY(QFile::remove(settingsFile()));
    QCOMPARE(configuration.mode(), Configuration::Unset);
    QCOMPARE(configuration.serverUserID(), QString());
    QCOMPARE(configuration.allowConcurrentTasks(), false);
}

void TestConfiguration::twelveHourClockSetting()
{
    Configuration configuration;
    QCOMPARE(configuration.twelveHourClock(), true);
    writeTwelveHourClock(false);
    QCOMPARE(configuration.twelveHourClock(), false);
    writeTwelveHourClock(true);
    QCOMPARE(configuration.twelveHourClock(), true);

    // The key lives in the desktop's own store, not in the application's.
    QVERIFY(QFile::exists(Config::filePath(QStringLiteral("qpe"))));
    QVERIFY(!readAll(settingsFile()).contains("AMPM"));
}

void TestConfiguration::twelveHourClockFollowsLocaleWhenUnset()
{
    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    Configuration configuration;
    QCOMPARE(configuration.twelveHourClock(), false);

    writeTwelveHourClock(true);
    QCOMPARE(configuration.twelveHourClock(), true);

    writeTwelveHourClock(false);
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    QCOMPARE(configuration.twelveHourClock(), false);
}

void TestConfiguration::scrambleRoundTrip_data()
{
    QTest::addColumn<QString>("plain");
    QTest::newRow("empty") << QString();
    QTest::newRow("ASCII") << QStringLiteral("hunter2");
    QTest::newRow("non-ASCII") << QStringLiteral("s3cret pässwörd €✓");
    QTest::newRow("equals sign") << QStringLiteral("key=value");
    QTest::newRow("comma") << QStringLiteral("one,two");
    QTest::newRow("spaces around") << QStringLiteral("  padded  ");
    QTest::newRow("long") << QStringLiteral("abcdefghijklmnopqrstuvwxyz0123456789-"
                                            "ABCDEFGHIJKLMNOPQRSTUVWXYZ");
}

void TestConfiguration::scrambleRoundTrip()
{
    QFETCH(QString, plain);
    const QString scrambled = Config::scramble(plain);
    QCOMPARE(Config::unscramble(scrambled), plain);
    if (!plain.isEmpty()) {
        QVERIFY(scrambled != plain);
        QVERIFY(!scrambled.contains(plain));
    }

    // And through a store, written and read by separate objects.
    {
        Config writer(QStringLiteral("scrambletest"));
        writer.setGroup(QStringLiteral("G"));
        writer.writeEntryCrypt(QStringLiteral("Secret"), plain);
    }
    Config reader(QStringLiteral("scrambletest"));
    reader.setGroup(QStringLiteral("G"));
    QCOMPARE(reader.readEntryCrypt(QStringLiteral("Secret"), QStringLiteral("absent")), plain);
}

void TestConfiguration::handWrittenPlainPassword()
{
    writeByHand(settingsFile(), "[LocalSettings]\nServerPassword=letmein\n");
    QCOMPARE(ServerPassword(Configuration()).read(), QStringLiteral("letmein"));
}

QUORVEL_TEST_GUILESS_MAIN(TestConfiguration)
#include "tst_configuration.moc"
