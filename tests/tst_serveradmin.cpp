// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The group server's command line: help for every command, the team lead's commands and
// their refusals, import and backup, a listening socket handed over by systemd (also over TLS),
// SIGTERM while an exchange is under way, the self-signed certificate it makes, the TLS files
// it refuses, and that a plain server on loopback says nothing of passwords in clear.

#include "ServerProcess.h"
#include "SyncDevice.h"
#include "TestAuthority.h"
#include "TestEnvironment.h"

#include "model/QuorvelDocument.h"
#include "sync/TlsTrust.h"

#include <QRegularExpression>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QSslCertificate>
#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QStringList words(const char *text)
{
    return QString::fromUtf8(text).split(QLatin1Char(' '));
}

} // namespace

class TestServerAdmin : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void helpForEveryCommand_data();
    void helpForEveryCommand();
    void groupsAloneShowTheirHelp_data();
    void groupsAloneShowTheirHelp();
    void namesBeginningWithADashGoAfterTwoDashes();
    void badUsage_data();
    void badUsage();
    void usersAndPasswords();
    void catalogue();
    void importSeedsCatalogue();
    void olderDatabaseGetsItsNamesRepaired();
    void unusedRecordsAreDeleted();
    void backupCopiesDatabase();
    void restorePutsBackupBack();
    void devicesAreListedAndForgotten();
    void symbolicLinksAreNotFollowed();
    void dataFolderIsPrivate();
    void messagesToEveryone();
    void reportRefusals();
    void reportCsvNamesNeverRunAsFormulas();
    void socketHandedOverBySystemd_data();
    void socketHandedOverBySystemd();
    void sigtermFinishesExchangeUnderWay();
    void selfSignedCertificate();
    void unusableTlsFilesAreRefused();
    void plainServerOnLoopbackSaysNothingOfPasswords();

private:
    ServerProcess::Result run(const QStringList &args, const QByteArray &input = QByteArray())
    {
        return m_server->admin(args, input);
    }
    void ok(const char *command, const QString &expected)
    {
        const ServerProcess::Result result = run(words(command));
        QCOMPARE(result.err, QString());
        QCOMPARE(result.out, expected);
        QCOMPARE(result.status, 0);
    }
    void refused(const QStringList &args, const QString &expected, int status = 1)
    {
        const ServerProcess::Result result = run(args);
        QCOMPARE(result.out, QString());
        QCOMPARE(result.err, expected);
        QCOMPARE(result.status, status);
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<ServerProcess> m_server;
};

void TestServerAdmin::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    m_server = std::make_unique<ServerProcess>(
        QStringList{QStringLiteral("--data"), m_folder->filePath(QStringLiteral("data"))});
}

void TestServerAdmin::helpForEveryCommand_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("arguments");
    const std::pair<const char *, const char *> commands[] = {
        {"serve", ""},
        {"user add", " NAME"},
        {"user passwd", " NAME"},
        {"user disable", " NAME"},
        {"user enable", " NAME"},
        {"user list", ""},
        {"user history", " NAME"},
        {"category add", " NAME"},
        {"category rename", " NAME NEW-NAME"},
        {"category retire", " NAME"},
        {"category delete", " NAME"},
        {"category list", ""},
        {"activity add", " NAME"},
        {"activity rename", " NAME NEW-NAME"},
        {"activity retire", " NAME"},
        {"activity delete", " NAME"},
        {"activity list", ""},
        {"device list", ""},
        {"device forget", " DEVICE... | --not-seen-for DAYS"},
        {"message send", " USER TEXT | --all TEXT"},
        {"import", " FILE"},
        {"backup", " FILE"},
        {"restore", " FILE"},
        {"report summary", ""},
        {"report timesheet", ""},
        {"tls self-signed", ""},
    };
    for (const auto &[command, arguments] : commands)
        QTest::newRow(command) << QString::fromUtf8(command) << QString::fromUtf8(arguments);
}

void TestServerAdmin::helpForEveryCommand()
{
    QFETCH(QString, command);
    QFETCH(QString, arguments);
    const ServerProcess::Result result
        = run(command.split(QLatin1Char(' ')) + QStringList{QStringLiteral("--help")});
    QCOMPARE(result.status, 0);
    QCOMPARE(result.out.section(QLatin1Char('\n'), 0, 0),
             QStringLiteral("Usage: quorvel-server [options] ") + command + arguments);
    QVERIFY(result.out.contains(QStringLiteral("--data <FOLDER>")));
    const ServerProcess::Result overview = run({QStringLiteral("--help")});
    QCOMPARE(overview.status, 0);
    QVERIFY(
        overview.out.contains(QStringLiteral("\n  ") + command + arguments + QLatin1Char('\n')));
}

void TestServerAdmin::groupsAloneShowTheirHelp_data()
{
    QTest::addColumn<QString>("group");
    QTest::addColumn<QStringList>("commands");
    QTest::newRow("user")
        << QStringLiteral("user")
        << QStringList({QStringLiteral("user add NAME"), QStringLiteral("user passwd NAME"),
                        QStringLiteral("user disable NAME"), QStringLiteral("user enable NAME"),
                        QStringLiteral("user list"), QStringLiteral("user history NAME")});
    QTest::newRow("category") << QStringLiteral("category")
                              << QStringList({QStringLiteral("category add NAME"),
                                              QStringLiteral("category rename NAME NEW-NAME"),
                                              QStringLiteral("category retire NAME"),
                                              QStringLiteral("category delete NAME"),
                                              QStringLiteral("category list")});
    QTest::newRow("activity") << QStringLiteral("activity")
                              << QStringList({QStringLiteral("activity add NAME"),
                                              QStringLiteral("activity rename NAME NEW-NAME"),
                                              QStringLiteral("activity retire NAME"),
                                              QStringLiteral("activity delete NAME"),
                                              QStringLiteral("activity list")});
    QTest::newRow("device") << QStringLiteral("device")
                            << QStringList({QStringLiteral("device list"),
                                            QStringLiteral("device forget DEVICE... | "
                                                           "--not-seen-for DAYS")});
    QTest::newRow("message") << QStringLiteral("message")
                             << QStringList({QStringLiteral("message send USER TEXT | --all "
                                                            "TEXT")});
    QTest::newRow("report") << QStringLiteral("report")
                            << QStringList({QStringLiteral("report summary"),
                                            QStringLiteral("report timesheet")});
    QTest::newRow("tls") << QStringLiteral("tls") << QStringList{QStringLiteral("tls self-signed")};
}

void TestServerAdmin::groupsAloneShowTheirHelp()
{
    QFETCH(QString, group);
    QFETCH(QStringList, commands);
    const QString footer = QStringLiteral(
        "\nEvery command takes --data FOLDER or --database URL, and --help for its own options. "
        "A name that begins with \"-\" goes after \"--\": quorvel-server category add -- -Misc\n");
    for (const QStringList &args :
         {QStringList{group}, QStringList{group, QStringLiteral("--help")}}) {
        const ServerProcess::Result result = run(args);
        QCOMPARE(result.err, QString());
        QCOMPARE(result.status, 0);
        QVERIFY2(result.out.startsWith(QStringLiteral("Usage: quorvel-server %1 COMMAND [OPTIONS]\n"
                                                      "\nCommands:\n")
                                           .arg(group)),
                 qPrintable(result.out));
        QVERIFY(result.out.endsWith(footer));
        QStringList listed;
        for (const QString &line : result.out.split(QLatin1Char('\n'))) {
            if (line.startsWith(QStringLiteral("  ")) && !line.startsWith(QStringLiteral("    ")))
                listed << line.mid(2);
        }
        QCOMPARE(listed, commands);
    }
    const ServerProcess::Result unknown = run({group, QStringLiteral("frobnicate")});
    QCOMPARE(unknown.status, 2);
    QVERIFY2(unknown.err.startsWith(QStringLiteral("Unknown command: %1 frobnicate\n\nUsage: "
                                                   "quorvel-server %1 COMMAND [OPTIONS]\n")
                                        .arg(group)),
             qPrintable(unknown.err));
    QVERIFY(run({QStringLiteral("--help")}).out.endsWith(footer));
}

void TestServerAdmin::namesBeginningWithADashGoAfterTwoDashes()
{
    ok("category add -- -Misc", QStringLiteral("Added the category -Misc.\n"));
    ok("activity add --category -Misc -- --Odd", QStringLiteral("Added the activity --Odd in the "
                                                                "category -Misc.\n"));
    ok("activity list", QStringLiteral("--Odd\t-Misc\n"));
}

void TestServerAdmin::badUsage_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<QString>("message");
    const QString tryHelp = QStringLiteral("Try \"quorvel-server --help\".\n");
    QTest::newRow("unknown command")
        << words("frobnicate") << QStringLiteral("Unknown command: frobnicate\n") + tryHelp;
    QTest::newRow("missing name") << words(
        "user add") << QStringLiteral("Usage: quorvel-server user add NAME\n") + tryHelp;
    QTest::newRow("activity without category")
        << words("activity add Coding")
        << QStringLiteral("\"activity add\" needs --category.\n") + tryHelp;
    QTest::newRow("bad date")
        << words("report summary --from 2026-13-01 --to 2026-12-01")
        << QStringLiteral("--from 2026-13-01 is not a date: write it as YYYY-MM-DD, for instance "
                          "2026-11-21.\n")
               + tryHelp;
    QTest::newRow("no period") << words("report timesheet --to 2026-12-01")
                               << QStringLiteral("A report needs --from and --to.\n") + tryHelp;
    QTest::newRow("bad format") << words(
        "report summary --from 2026-11-01 --to 2026-12-01 --format xml")
                                << QStringLiteral("--format takes html or csv.\n") + tryHelp;
    QTest::newRow("empty data folder")
        << QStringList({QStringLiteral("user"), QStringLiteral("list"), QStringLiteral("--data"),
                        QString()})
        << QStringLiteral("--data needs the name of a folder.\n") + tryHelp;
    QTest::newRow("bad listen") << words("serve --listen nowhere")
                                << QStringLiteral("--listen nowhere is not an address and port: "
                                                  "write it as ADDRESS:PORT, for instance "
                                                  "127.0.0.1:8080 or 0.0.0.0:8080.\n")
                                       + tryHelp;
    QTest::newRow("message without text")
        << words("message send --all")
        << QStringLiteral("Usage: quorvel-server message send USER TEXT | --all TEXT\n") + tryHelp;
    QTest::newRow("certificate without key")
        << words("serve --tls-cert server.pem")
        << QStringLiteral("--tls-cert and --tls-key go together.\n") + tryHelp;
    QTest::newRow("key without certificate")
        << words("serve --tls-key server.key")
        << QStringLiteral("--tls-cert and --tls-key go together.\n") + tryHelp;
    QTest::newRow("self-signed without host")
        << words("tls self-signed")
        << QStringLiteral("\"tls self-signed\" needs --host.\n") + tryHelp;
    QTest::newRow("self-signed for no host name")
        << words("tls self-signed --host team_server")
        << QStringLiteral("--host team_server is not a host name or an IP address.\n") + tryHelp;
    QTest::newRow("self-signed for no days")
        << words("tls self-signed --host teamserver --days 0")
        << QStringLiteral("--days takes a number from 1 to 36500.\n") + tryHelp;
}

void TestServerAdmin::badUsage()
{
    QFETCH(QStringList, args);
    QFETCH(QString, message);
    refused(args, message, 2);
}

void TestServerAdmin::usersAndPasswords()
{
    QCOMPARE(run(words("user add alice"), "s3cret word\n").out,
             QStringLiteral("Added the user alice.\n"));
    refused(words("user add alice"), QStringLiteral("The user alice already exists.\n"));
    const QString badPassword = QStringLiteral(
        "This password cannot be used: it must not be empty, begin or end with a blank (the "
        "program drops those), or be a marker of the format.\n");
    for (const QByteArray &password :
         {QByteArray(" padded\n"), QByteArray("\n"), QByteArray("--sync--\n")}) {
        const ServerProcess::Result result = run(words("user add bob"), password);
        QCOMPARE(result.err, badPassword);
        QCOMPARE(result.status, 1);
    }
    const ServerProcess::Result none = run(words("user add bob"));
    QCOMPARE(none.err, QStringLiteral("No password on standard input.\n"));
    QCOMPARE(none.status, 1);
    refused(words("user add -- --end--"),
            QStringLiteral("\"--end--\" cannot be a user ID: it must not be empty, hold line "
                           "breaks or be one of the markers --sync--, --start-- and --end--.\n"));
    refused(words("user passwd nobody"), QStringLiteral("There is no user nobody.\n"));
    refused(words("user disable nobody"), QStringLiteral("There is no user nobody.\n"));
    ok("user list", QStringLiteral("alice\tenabled\t0 tasks\tnever synchronized\n"));
    ok("user disable alice", QStringLiteral("Disabled the user alice.\n"));
    ok("user list", QStringLiteral("alice\tdisabled\t0 tasks\tnever synchronized\n"));
    ok("user enable alice", QStringLiteral("Enabled the user alice.\n"));

    // Kept as an Argon2id hash, never as typed.
    {
        QSqlDatabase db
            = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("check"));
        db.setDatabaseName(m_folder->filePath(QStringLiteral("data/quorvel-server.sqlite")));
        QVERIFY(db.open());
        QSqlQuery query(db);
        QVERIFY(query.exec(QStringLiteral("SELECT password_hash FROM users")));
        QVERIFY(query.next());
        const QString hash = query.value(0).toString();
        QVERIFY2(hash.startsWith(QStringLiteral("$argon2id$")), qPrintable(hash));
        QVERIFY(!hash.contains(QStringLiteral("s3cret")));
        db.close();
    }
    QSqlDatabase::removeDatabase(QStringLiteral("check"));

    QVERIFY(m_server->start());
    SyncDevice device(m_server->address(), QStringLiteral("alice"), QStringLiteral("s3cret word"));
    QCOMPARE(device.exchange().status, 200);
    QCOMPARE(run(words("user passwd alice"), "new one\n").out,
             QStringLiteral("Changed the password of alice.\n"));
    QCOMPARE(device.exchange().status, 403);
    device.password = QStringLiteral("new one");
    QCOMPARE(device.exchange().status, 200);
    QVERIFY(m_server->stop());
}

void TestServerAdmin::catalogue()
{
    ok("category add Work", QStringLiteral("Added the category Work.\n"));
    refused(words("category add Work"), QStringLiteral("A category named Work already exists.\n"));
    refused({QStringLiteral("category"), QStringLiteral("add"), QStringLiteral("  --end--  ")},
            QStringLiteral("\"  --end--  \" cannot be a category name.\n"));
    // Line breaks become blanks, blanks at the ends go, as in the program.
    QCOMPARE(
        run({QStringLiteral("category"), QStringLiteral("add"), QStringLiteral(" Side\nline ")})
            .out,
        QStringLiteral("Added the category Side line.\n"));
    // Every marker of the document and the exchange, and names that differ only in case from
    // one in use, as the program finds names regardless of case.
    for (const char *marker : {"--sync--", "--start--", "--end--", "--sync-end--"})
        refused(
            {QStringLiteral("category"), QStringLiteral("add"), QStringLiteral("--"),
             QString::fromUtf8(marker)},
            QStringLiteral("\"%1\" cannot be a category name.\n").arg(QString::fromUtf8(marker)));
    refused({QStringLiteral("category"), QStringLiteral("add"), QStringLiteral("\t\n")},
            QStringLiteral("\"\t\n\" cannot be a category name.\n"));
    refused(words("category add work"), QStringLiteral("A category named Work already exists.\n"));
    const QString tooLong(QuorvelDocument::MaxNameLength + 1, QLatin1Char('w'));
    refused({QStringLiteral("category"), QStringLiteral("add"), tooLong},
            QStringLiteral("\"%1\" cannot be a category name.\n").arg(tooLong));
    ok("activity add Coding --category work",
       QStringLiteral("Added the activity Coding in the category Work.\n"));
    refused(words("activity add Coding --category Work"),
            QStringLiteral("An activity named Coding already exists.\n"));
    refused(words("activity add CODING --category Work"),
            QStringLiteral("An activity named Coding already exists.\n"));
    refused({QStringLiteral("activity"), QStringLiteral("add"), QStringLiteral("--category"),
             QStringLiteral("Work"), QStringLiteral("--"), QStringLiteral("--sync-end--")},
            QStringLiteral("\"--sync-end--\" cannot be an activity name.\n"));
    refused(words("activity add Testing --category Nope"),
            QStringLiteral("There is no category Nope.\n"));
    ok("activity add Testing --category Work",
       QStringLiteral("Added the activity Testing in the category Work.\n"));
    refused(words("activity rename Testing Coding"),
            QStringLiteral("An activity named Coding already exists.\n"));
    ok("activity rename Testing QA", QStringLiteral("Renamed the activity Testing to QA.\n"));
    refused(words("activity rename QA coding"),
            QStringLiteral("An activity named Coding already exists.\n"));
    ok("activity rename qa Qa", QStringLiteral("Renamed the activity qa to Qa.\n"));
    ok("activity rename Qa QA", QStringLiteral("Renamed the activity Qa to QA.\n"));
    refused(words("activity retire Testing"), QStringLiteral("There is no activity Testing.\n"));
    ok("category rename Work Office", QStringLiteral("Renamed the category Work to Office.\n"));
    ok("activity list", QStringLiteral("Coding\tOffice\nQA\tOffice\n"));
    ok("category retire Office",
       QStringLiteral("Withdrew the category Office and its activities.\n"));
    ok("activity list", QStringLiteral("Coding\tOffice\twithdrawn\nQA\tOffice\twithdrawn\n"));
    ok("category list", QStringLiteral("Office\twithdrawn\nSide line\n"));
    // A withdrawn name may be used again.
    QCOMPARE(run({QStringLiteral("activity"), QStringLiteral("add"), QStringLiteral("Coding"),
                  QStringLiteral("--category"), QStringLiteral("Side line")})
                 .out,
             QStringLiteral("Added the activity Coding in the category Side line.\n"));
    refused(words("activity retire Coding --category Office"),
            QStringLiteral("There is no activity Coding in the category Office.\n"));
    QCOMPARE(run({QStringLiteral("activity"), QStringLiteral("retire"), QStringLiteral("Coding"),
                  QStringLiteral("--category"), QStringLiteral("Side line")})
                 .out,
             QStringLiteral("Withdrew the activity Coding.\n"));
}

void TestServerAdmin::importSeedsCatalogue()
{
    const QString file = m_folder->filePath(QStringLiteral("quorvelqpe.dat"));
    {
        QuorvelDocument sample;
        sample.createSampleData();
        // A withdrawn activity is not brought over.
        sample.activities.first()->obsolete = true;
        QFile out(file);
        QVERIFY(out.open(QIODevice::WriteOnly));
        out.write(sample.getDocumentBytes());
    }
    ok("category add Private", QStringLiteral("Added the category Private.\n"));
    QCOMPARE(run({QStringLiteral("import"), file}).out,
             QStringLiteral("Added 2 categories and 4 activities; 1 were there already.\n"));
    ok("activity list", QStringLiteral("Home Project Beta\tPrivate\n"
                                       "Home Project Delta\tPrivate\n"
                                       "Project Alpha Development\tBill rate 2\n"
                                       "Project Alpha Documentation\tBill rate 1\n"));
    QCOMPARE(run({QStringLiteral("import"), file}).out,
             QStringLiteral("Added 0 categories and 0 activities; 7 were there already.\n"));
    // Names that differ in case only are there already too.
    QuorvelDocument shouting;
    auto *rate = new ActivityCategory(shouting.allocateId(), QStringLiteral("BILL RATE 1"), false);
    shouting.categories.append(rate);
    shouting.activities.append(
        new Activity(shouting.allocateId(), QStringLiteral("home project beta"), rate, false));
    {
        QFile out(file);
        QVERIFY(out.open(QIODevice::WriteOnly));
        out.write(shouting.getDocumentBytes());
    }
    QCOMPARE(run({QStringLiteral("import"), file}).out,
             QStringLiteral("Added 0 categories and 0 activities; 2 were there already.\n"));
    const QString junk = m_folder->filePath(QStringLiteral("junk"));
    QFile out(junk);
    QVERIFY(out.open(QIODevice::WriteOnly));
    out.write("not a data file\n");
    out.close();
    refused({QStringLiteral("import"), junk},
            QStringLiteral("%1 is not a Quorvel data file.\n").arg(junk));
}

void TestServerAdmin::olderDatabaseGetsItsNamesRepaired()
{
    ok("category add Work", QStringLiteral("Added the category Work.\n"));
    // Names as a server that took them unchecked could hold them, and the database marked as
    // not repaired yet.
    {
        QSqlDatabase db
            = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("older"));
        db.setDatabaseName(m_folder->filePath(QStringLiteral("data/quorvel-server.sqlite")));
        QVERIFY(db.open());
        QSqlQuery query(db);
        const auto insert = [&](const char *table, qint64 id, const QString &name, bool retired) {
            QVERIFY(query.prepare(
                QStringLiteral("INSERT INTO %1 (id, name, retired, created_at) VALUES (?, ?, ?, "
                               "'2026-11-01T00:00:00Z')")
                    .arg(QString::fromLatin1(table))));
            query.addBindValue(id);
            query.addBindValue(name);
            query.addBindValue(retired ? 1 : 0);
            QVERIFY2(query.exec(), qPrintable(query.lastQuery()));
        };
        insert("categories", 2000001, QStringLiteral("--end--"), false);
        insert("categories", 2000002, QStringLiteral("WORK"), false);
        insert("categories", 2000003, QStringLiteral("Work (2)"), false);
        insert("categories", 2000004, QStringLiteral("  "), true);
        insert("categories", 2000005, QStringLiteral("Old\tone"), true);
        insert("activities", 2000010, QStringLiteral("--sync-end--"), false);
        insert("activities", 2000011, QStringLiteral("Coding"), false);
        insert("activities", 2000012, QStringLiteral("coding"), false);
        insert("activities", 2000013, QStringLiteral("CODING"), true);
        QVERIFY(query.exec(QStringLiteral("UPDATE activities SET category_id = 1000000")));
        QVERIFY(query.exec(QStringLiteral("DELETE FROM schema_migrations WHERE version = 3")));
        query.finish();
        db.close();
    }
    QSqlDatabase::removeDatabase(QStringLiteral("older"));

    ok("category list", QStringLiteral("(no name)\twithdrawn\n--end-- (renamed)\n"
                                       "Old one\twithdrawn\nWORK (3)\nWork\nWork (2)\n"));
    ok("activity list", QStringLiteral("--sync-end-- (renamed)\tWork\nCODING\tWork\twithdrawn\n"
                                       "Coding\tWork\ncoding (2)\tWork\n"));
}

void TestServerAdmin::unusedRecordsAreDeleted()
{
    QCOMPARE(run(words("user add alice"), "pass\n").status, 0);
    ok("category add Work", QStringLiteral("Added the category Work.\n"));
    ok("category add c", QStringLiteral("Added the category c.\n"));
    ok("activity add Coding --category Work",
       QStringLiteral("Added the activity Coding in the category Work.\n"));
    ok("activity add Typo --category Work",
       QStringLiteral("Added the activity Typo in the category Work.\n"));
    ok("activity add Spare --category c",
       QStringLiteral("Added the activity Spare in the category c.\n"));
    QVERIFY(m_server->start());
    SyncDevice device(m_server->address(), QStringLiteral("alice"), QStringLiteral("pass"));
    device.exchange();
    device.addTask(QStringLiteral("Coding"), QDateTime(QDate(2026, 11, 20), QTime(9, 0)),
                   QDateTime(QDate(2026, 11, 20), QTime(10, 0)));
    QCOMPARE(device.exchange().status, 200);

    refused(words("activity delete Coding"),
            QStringLiteral("The activity Coding has tasks, so it stays; withdraw it instead with "
                           "\"activity retire\".\n"));
    refused(words("category delete C"),
            QStringLiteral("The category C has activities, so it stays; delete those first, or "
                           "withdraw it with \"category retire\".\n"));
    refused(words("activity delete Nothing"), QStringLiteral("There is no activity Nothing.\n"));
    refused(words("category delete Nothing"), QStringLiteral("There is no category Nothing.\n"));
    ok("activity delete typo", QStringLiteral("Deleted the activity typo.\n"));
    ok("activity retire Spare", QStringLiteral("Withdrew the activity Spare.\n"));
    ok("activity delete Spare --category c", QStringLiteral("Deleted the activity Spare.\n"));
    ok("category delete c", QStringLiteral("Deleted the category c.\n"));
    ok("activity list", QStringLiteral("Coding\tWork\n"));
    ok("category list", QStringLiteral("Work\n"));
    // A task deleted on the device keeps its activity in the history.
    QVTask *task = device.doc.tasks.first();
    device.doc.removeTask(task);
    delete task;
    QCOMPARE(device.exchange().messages.left(17), QStringLiteral("<p>1 task deleted"));
    QVERIFY(m_server->stop());
    refused(words("activity delete Coding"),
            QStringLiteral("The activity Coding has tasks, so it stays; withdraw it instead with "
                           "\"activity retire\".\n"));
}

void TestServerAdmin::backupCopiesDatabase()
{
    ok("category add Work", QStringLiteral("Added the category Work.\n"));
    QVERIFY(m_server->start());
    const QString file = m_folder->filePath(QStringLiteral("copy.sqlite"));
    QCOMPARE(run({QStringLiteral("backup"), file}).out,
             QStringLiteral("Wrote the backup %1.\n").arg(file));
    QCOMPARE(QFileInfo(file).permissions() & (QFileDevice::ReadOther | QFileDevice::ReadGroup),
             QFileDevice::Permissions());
    refused({QStringLiteral("backup"), file},
            QStringLiteral("%1 exists already; choose a new file.\n").arg(file));
    QVERIFY(m_server->stop());
    // The copy is a server database of its own.
    ServerProcess copy({QStringLiteral("--data"), m_folder->filePath(QStringLiteral("restored"))});
    QDir().mkpath(m_folder->filePath(QStringLiteral("restored")));
    QVERIFY(
        QFile::copy(file, m_folder->filePath(QStringLiteral("restored/quorvel-server.sqlite"))));
    QCOMPARE(copy.admin({QStringLiteral("category"), QStringLiteral("list")}).out,
             QStringLiteral("Work\n"));
}

void TestServerAdmin::restorePutsBackupBack()
{
    ok("category add Work", QStringLiteral("Added the category Work.\n"));
    QVERIFY(m_server->start());
    const QString file = m_folder->filePath(QStringLiteral("copy.sqlite"));
    QCOMPARE(run({QStringLiteral("backup"), file}).status, 0);
    ok("category add Later", QStringLiteral("Added the category Later.\n"));
    const QString data = m_folder->filePath(QStringLiteral("data"));
    refused({QStringLiteral("restore"), file},
            QStringLiteral("The server, or another command, is using the database in %1. Stop "
                           "the server first (for instance: systemctl stop quorvel-server).\n")
                .arg(data));
    QVERIFY(m_server->stop());

    const QString junk = m_folder->filePath(QStringLiteral("junk"));
    {
        QFile out(junk);
        QVERIFY(out.open(QIODevice::WriteOnly));
        out.write("not a database\n");
    }
    refused({QStringLiteral("restore"), junk},
            QStringLiteral("%1 is not a backup of a Quorvel group server's database.\n").arg(junk));
    refused({QStringLiteral("restore"), m_folder->filePath(QStringLiteral("none"))},
            QStringLiteral("%1 is not a file.\n").arg(m_folder->filePath(QStringLiteral("none"))));
    refused({QStringLiteral("restore"), file, QStringLiteral("--database"),
             QStringLiteral("postgresql://quorvel@127.0.0.1:1/none")},
            QStringLiteral("The database is PostgreSQL: put a backup back with pg_restore, with "
                           "the server stopped, for instance pg_restore --clean --if-exists "
                           "--dbname=DATABASE quorvel.dump.\n"));
    ok("category list", QStringLiteral("Later\nWork\n"));

    const ServerProcess::Result restored = run({QStringLiteral("restore"), file});
    QCOMPARE(restored.err, QString());
    QCOMPARE(restored.status, 0);
    const QRegularExpression told(
        QStringLiteral("^Restored the database from %1\\.\nThe database it replaced is kept as "
                       "%2/quorvel-server\\.sqlite\\.replaced-(\\d{14})\\.\n$")
            .arg(QRegularExpression::escape(file), QRegularExpression::escape(data)));
    const QRegularExpressionMatch match = told.match(restored.out);
    QVERIFY2(match.hasMatch(), qPrintable(restored.out));
    ok("category list", QStringLiteral("Work\n"));
    // The database it replaced is whole, and a database of its own.
    ServerProcess replaced({QStringLiteral("--data"), m_folder->filePath(QStringLiteral("old"))});
    QDir().mkpath(m_folder->filePath(QStringLiteral("old")));
    QVERIFY(
        QFile::copy(data + QStringLiteral("/quorvel-server.sqlite.replaced-") + match.captured(1),
                    m_folder->filePath(QStringLiteral("old/quorvel-server.sqlite"))));
    QCOMPARE(replaced.admin({QStringLiteral("category"), QStringLiteral("list")}).out,
             QStringLiteral("Later\nWork\n"));
    // The category added after the backup had an id that is not handed out again.
    ok("category add Again", QStringLiteral("Added the category Again.\n"));
    {
        QSqlDatabase db
            = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("ids"));
        db.setDatabaseName(data + QStringLiteral("/quorvel-server.sqlite"));
        QVERIFY(db.open());
        QSqlQuery query(db);
        QVERIFY(query.exec(QStringLiteral("SELECT id FROM categories ORDER BY id")));
        QList<qint64> ids;
        while (query.next())
            ids << query.value(0).toLongLong();
        QCOMPARE(ids, QList<qint64>({1000000, 1000002}));
        query.finish();
        db.close();
    }
    QSqlDatabase::removeDatabase(QStringLiteral("ids"));
}

void TestServerAdmin::devicesAreListedAndForgotten()
{
    for (const char *user : {"alice", "bob"})
        QCOMPARE(
            run({QStringLiteral("user"), QStringLiteral("add"), QString::fromUtf8(user)}, "pass\n")
                .status,
            0);
    ok("category add Work", QStringLiteral("Added the category Work.\n"));
    ok("device list", QString());
    QVERIFY(m_server->start());
    std::vector<std::unique_ptr<SyncDevice>> devices;
    for (const char *user : {"alice", "alice", "bob"}) {
        devices.push_back(std::make_unique<SyncDevice>(m_server->address(), QString::fromUtf8(user),
                                                       QStringLiteral("pass")));
        QCOMPARE(devices.back()->exchange().status, 200);
    }
    QVERIFY(m_server->stop());

    // Times in the listing are the server's; here they are set, to be read back.
    const QString data = m_folder->filePath(QStringLiteral("data/quorvel-server.sqlite"));
    const auto sql = [&](const QString &statement) {
        QSqlDatabase db
            = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("devices"));
        db.setDatabaseName(data);
        QVERIFY(db.open());
        QSqlQuery query(db);
        QVERIFY2(query.exec(statement), qPrintable(statement));
        query.finish();
        db.close();
        db = QSqlDatabase();
        QSqlDatabase::removeDatabase(QStringLiteral("devices"));
    };
    sql(QStringLiteral("UPDATE devices SET created_at = '2026-01-0' || id || 'T08:00:00Z', "
                       "last_exchange_at = '2026-02-0' || id || 'T09:00:00Z'"));
    sql(QStringLiteral("UPDATE devices SET last_exchange_at = '2099-01-01T00:00:00Z' WHERE "
                       "id = 3"));
    ok("device list",
       QStringLiteral("1\talice\t1020000-1039999\tadded 2026-01-01T08:00:00Z\tlast synchronized "
                      "2026-02-01T09:00:00Z\n"
                      "2\talice\t1040000-1059999\tadded 2026-01-02T08:00:00Z\tlast synchronized "
                      "2026-02-02T09:00:00Z\n"
                      "3\tbob\t1060000-1079999\tadded 2026-01-03T08:00:00Z\tlast synchronized "
                      "2099-01-01T00:00:00Z\n"));
    ok("device list --user bob",
       QStringLiteral("3\tbob\t1060000-1079999\tadded 2026-01-03T08:00:00Z\tlast synchronized "
                      "2099-01-01T00:00:00Z\n"));
    refused(words("device forget 9"), QStringLiteral("There is no device 9.\n"));
    refused(words("device forget two"),
            QStringLiteral("\"device forget\" takes device numbers, or --not-seen-for and a "
                           "number of days.\nTry \"quorvel-server --help\".\n"),
            2);
    const QString handedOutAgain = QStringLiteral(
        "The blocks of ids of a forgotten device are handed out again once no other is left. "
        "Should such a computer synchronise again before that, it is registered anew and keeps "
        "its tasks.\n");
    ok("device forget 2", QStringLiteral("Forgot the device 2 of alice.\n") + handedOutAgain);
    ok("device forget --not-seen-for 36500",
       QStringLiteral("No device has been away that long.\n"));
    ok("device forget --not-seen-for 30",
       QStringLiteral("Forgot the device 1 of alice.\n") + handedOutAgain);
    ok("device list",
       QStringLiteral("3\tbob\t1060000-1079999\tadded 2026-01-03T08:00:00Z\tlast synchronized "
                      "2099-01-01T00:00:00Z\n"));

    // A forgotten device that comes back keeps its block and its tasks.
    QVERIFY(m_server->start());
    SyncDevice &back = *devices.at(0);
    back.setAddress(m_server->address());
    back.addTask(QStringLiteral("Coding"), QDateTime(QDate(2026, 11, 20), QTime(9, 0)),
                 QDateTime(QDate(2026, 11, 20), QTime(10, 0)));
    QCOMPARE(back.exchange().status, 200);
    QCOMPARE(back.doc.nextId, 1020001);
    QVERIFY(m_server->stop());

    // Once every block has been handed out, the forgotten ones are handed out again; then
    // there are none left.
    sql(QStringLiteral("WITH RECURSIVE b(f) AS (SELECT 1080000 UNION ALL SELECT f + 20000 FROM b "
                       "WHERE f < 2147460000) INSERT INTO id_blocks (first_id, last_id) SELECT "
                       "f, f + 19999 FROM b"));
    sql(QStringLiteral("UPDATE counters SET value = 2147480000 WHERE name = 'next_block'"));
    QVERIFY(m_server->start());
    SyncDevice late(m_server->address(), QStringLiteral("bob"), QStringLiteral("pass"));
    QCOMPARE(late.exchange().status, 200);
    QCOMPARE(late.doc.nextId, 1040000);
    SyncDevice none(m_server->address(), QStringLiteral("bob"), QStringLiteral("pass"));
    const SyncDevice::Reply reply = none.exchange();
    QCOMPARE(reply.status, 409);
    QVERIFY(reply.messages.contains(
        QStringLiteral("The server has no ids left to hand out. Please tell your team lead.")));
    QVERIFY(m_server->stop());
}

void TestServerAdmin::symbolicLinksAreNotFollowed()
{
    const QString data = m_folder->filePath(QStringLiteral("data"));
    QVERIFY(QDir().mkpath(data));
    const QString victim = m_folder->filePath(QStringLiteral("victim"));
    {
        QFile out(victim);
        QVERIFY(out.open(QIODevice::WriteOnly));
        out.write("someone else's file\n");
    }
    const QFileDevice::Permissions open = QFileDevice::ReadOwner | QFileDevice::WriteOwner
                                          | QFileDevice::ReadGroup | QFileDevice::ReadOther;
    QVERIFY(QFile::setPermissions(victim, open));
    for (const QString &name :
         {QStringLiteral("quorvel-server.sqlite"), QStringLiteral("quorvel-server.sqlite-wal"),
          QStringLiteral("quorvel-server.sqlite-shm")}) {
        const QString path = data + QLatin1Char('/') + name;
        QVERIFY(QFile::link(victim, path));
        refused(words("user list"),
                QStringLiteral("%1 is a symbolic link. The server does not follow one there: put "
                               "the database itself in its place.\n")
                    .arg(path));
        const QFileDevice::Permissions user
            = QFileDevice::ReadUser | QFileDevice::WriteUser | QFileDevice::ExeUser;
        QCOMPARE(QFileInfo(victim).permissions() & ~user, open);
        QFile in(victim);
        QVERIFY(in.open(QIODevice::ReadOnly));
        QCOMPARE(in.readAll(), QByteArray("someone else's file\n"));
        QVERIFY(QFile::remove(path));
        if (name.endsWith(QLatin1String(".sqlite")))
            ok("user list", QString());
    }
    // Nor is one at a backup's name.
    const QString backup = m_folder->filePath(QStringLiteral("backup.sqlite"));
    QVERIFY(QFile::link(m_folder->filePath(QStringLiteral("nowhere")), backup));
    refused({QStringLiteral("backup"), backup},
            QStringLiteral("%1 exists already; choose a new file.\n").arg(backup));
    QVERIFY(!QFileInfo::exists(m_folder->filePath(QStringLiteral("nowhere"))));
}

void TestServerAdmin::dataFolderIsPrivate()
{
    // Made whatever the umask, with the folders above it that were missing.
    const QString data = m_folder->filePath(QStringLiteral("above/data"));
    const mode_t umask = ::umask(0);
    QProcess process;
    process.start(ServerProcess::binary(),
                  {QStringLiteral("user"), QStringLiteral("list"), QStringLiteral("--data"), data});
    ::umask(umask);
    QVERIFY(process.waitForFinished(60000));
    QCOMPARE(process.exitCode(), 0);
    const QFileDevice::Permissions owner
        = QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner;
    for (const QString &folder : {data, m_folder->filePath(QStringLiteral("above"))}) {
        QCOMPARE(QFileInfo(folder).permissions()
                     & ~(QFileDevice::ReadUser | QFileDevice::WriteUser | QFileDevice::ExeUser),
                 owner);
    }
    for (const QString &file : QDir(data).entryList(QDir::Files | QDir::Hidden)) {
        QCOMPARE(QFileInfo(data + QLatin1Char('/') + file).permissions()
                     & ~(QFileDevice::ReadUser | QFileDevice::WriteUser),
                 QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    }
}

void TestServerAdmin::messagesToEveryone()
{
    for (const char *user : {"alice", "bob", "carol"})
        QCOMPARE(
            run({QStringLiteral("user"), QStringLiteral("add"), QString::fromUtf8(user)}, "pass\n")
                .status,
            0);
    ok("user disable carol", QStringLiteral("Disabled the user carol.\n"));
    QCOMPARE(run({QStringLiteral("message"), QStringLiteral("send"), QStringLiteral("--all"),
                  QStringLiteral("<p>Hello</p>")})
                 .out,
             QStringLiteral("Queued the message for 2 users.\n"));
    refused({QStringLiteral("message"), QStringLiteral("send"), QStringLiteral("dave"),
             QStringLiteral("Hi")},
            QStringLiteral("There is no user dave.\n"));
    refused({QStringLiteral("message"), QStringLiteral("send"), QStringLiteral("bob"),
             QStringLiteral("  ")},
            QStringLiteral("The message is empty.\n"));
    QVERIFY(m_server->start());
    SyncDevice bob(m_server->address(), QStringLiteral("bob"), QStringLiteral("pass"));
    QVERIFY(bob.exchange().messages.startsWith(QStringLiteral("<p>Hello</p>\n<p>Up to date")));
    QVERIFY(m_server->stop());
}

void TestServerAdmin::reportRefusals()
{
    QCOMPARE(run(words("user add alice"), "pass\n").status, 0);
    refused(words("report summary --from 2026-11-02 --to 2026-11-01"),
            QStringLiteral("The period ends before it begins.\n"));
    // A time sheet may cover ten years: 3 653 days, from the first to the last.
    const ServerProcess::Result tenYears
        = run(words("report timesheet --from 2016-11-21 --to 2026-11-21"));
    QCOMPARE(tenYears.status, 0);
    const QString dayCell = QStringLiteral("<td align=top bgcolor=#c0c0c0 rowspan=1>");
    QCOMPARE(tenYears.out.count(dayCell), 3653);
    QCOMPARE(tenYears.out.indexOf(dayCell + QStringLiteral("Mon<br>Nov&nbsp;21<br>2016</td>")),
             tenYears.out.indexOf(dayCell));
    QCOMPARE(tenYears.out.indexOf(dayCell + QStringLiteral("Sat<br>Nov&nbsp;21<br>2026</td>")),
             tenYears.out.lastIndexOf(dayCell));
    // A hundred years and a day would be more text than anyone reads.
    refused(words("report timesheet --from 1926-11-20 --to 2026-11-20"),
            QStringLiteral("A time sheet covers at most 36525 days. Choose a shorter period.\n"));
    refused(words("report summary --from 2026-11-01 --to 2026-11-02 --user nobody"),
            QStringLiteral("There is no user nobody.\n"));
    // A summary may cover any period.
    const ServerProcess::Result summary
        = run(words("report summary --from 2000-01-01 --to 2026-11-01 --format csv"));
    QCOMPARE(summary.out, QStringLiteral("Activity,Category,Minutes,Hours\r\n"));
}

void TestServerAdmin::reportCsvNamesNeverRunAsFormulas()
{
    QCOMPARE(run(words("user add alice"), "pass\n").status, 0);
    ok("category add +Clients", QStringLiteral("Added the category +Clients.\n"));
    ok("activity add =Cost --category +Clients",
       QStringLiteral("Added the activity =Cost in the category +Clients.\n"));
    QVERIFY(m_server->start());
    SyncDevice device(m_server->address(), QStringLiteral("alice"), QStringLiteral("pass"));
    device.exchange();
    device.addTask(QStringLiteral("=Cost"), QDateTime(QDate(2026, 11, 20), QTime(9, 0)),
                   QDateTime(QDate(2026, 11, 20), QTime(10, 0)));
    QCOMPARE(device.exchange().status, 200);
    QVERIFY(m_server->stop());
    ok("report summary --from 2026-11-20 --to 2026-11-20 --format csv",
       QStringLiteral("Activity,Category,Minutes,Hours\r\n'=Cost,'+Clients,60,1.0000\r\n"));
    ok("report timesheet --from 2026-11-20 --to 2026-11-20 --format csv",
       QStringLiteral("Date,Activity,Category,Minutes\r\n2026-11-20,'=Cost,'+Clients,60\r\n"));
}

void TestServerAdmin::socketHandedOverBySystemd_data()
{
    QTest::addColumn<bool>("tls");
    QTest::newRow("plain") << false;
    QTest::newRow("tls") << true;
}

void TestServerAdmin::socketHandedOverBySystemd()
{
    QFETCH(bool, tls);
    TestAuthority authority;
    TestAuthority::Issued certificate;
    QStringList tlsOptions;
    if (tls) {
        QVERIFY2(authority.isValid(), qPrintable(authority.error()));
        certificate = authority.issue(QStringLiteral("server"), {QStringLiteral("127.0.0.1")});
        QVERIFY(!certificate.certificateFile.isEmpty());
        TlsTrust::setAuthorities(authority.certificates());
        tlsOptions = QStringList{certificate.certificateFile, certificate.keyFile};
    }
    QTcpServer probe;
    QVERIFY(probe.listen(QHostAddress::LocalHost, 0));
    const quint16 port = probe.serverPort();
    const int listening = ::dup(int(probe.socketDescriptor()));
    QVERIFY(listening >= 0);
    probe.close();
    QCOMPARE(run(words("user add alice"), "pass\n").status, 0);

    // As systemd starts a socket-activated service: the socket as descriptor 3, and
    // LISTEN_PID naming the service's own process.
    QProcess server;
    server.setChildProcessModifier([listening] {
        ::dup2(listening, 3);
        ::fcntl(3, F_SETFD, 0);
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    });
    server.start(
        QStringLiteral("/bin/sh"),
        QStringList{QStringLiteral("-c"),
                    QStringLiteral("LISTEN_PID=$$ LISTEN_FDS=1 exec \"$0\" serve --data "
                                   "\"$1\"")
                        + (tls ? QStringLiteral(" --tls-cert \"$2\" --tls-key \"$3\"") : QString()),
                    ServerProcess::binary(), m_folder->filePath(QStringLiteral("data"))}
            + tlsOptions);
    QVERIFY(server.waitForStarted());
    ::close(listening);
    QByteArray log;
    QTRY_VERIFY_WITH_TIMEOUT((log += server.readAllStandardError())
                                 .contains("listening on 127.0.0.1:" + QByteArray::number(port)
                                           + (tls ? " over TLS, data in " : ", data in ")),
                             20000);
    SyncDevice device(
        (tls ? QStringLiteral("https://127.0.0.1:%1") : QStringLiteral("127.0.0.1:%1")).arg(port),
        QStringLiteral("alice"), QStringLiteral("pass"));
    const SyncDevice::Reply reply = device.exchange();
    QCOMPARE(reply.status, 200);
    if (tls)
        QCOMPARE(reply.certificate, TestAuthority::fingerprint(certificate.certificateFile));
    ::kill(pid_t(server.processId()), SIGTERM);
    QVERIFY(server.waitForFinished(20000));
    QCOMPARE(server.exitCode(), 0);
    TlsTrust::setAuthorities({});
}

void TestServerAdmin::sigtermFinishesExchangeUnderWay()
{
    QCOMPARE(run(words("user add alice"), "pass\n").status, 0);
    QVERIFY(m_server->start());
    SyncDevice warm(m_server->address(), QStringLiteral("alice"), QStringLiteral("pass"));
    QCOMPARE(warm.exchange().status, 200);

    // Half a request is under way when the server is told to stop.
    QuorvelDocument empty;
    const QByteArray body
        = "--sync--\n2026\n11\n21\n9\n30\n0\nx\nalice\npass\n" + empty.getDocumentBytes();
    const QByteArray request = "POST /palmtopsync/sync105.php3?uid=1 HTTP/1.0\r\n"
                               "Content-Length: "
                               + QByteArray::number(body.size()) + "\r\n\r\n" + body;
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, m_server->port());
    QVERIFY(socket.waitForConnected(5000));
    socket.write(request.left(request.size() / 2));
    QVERIFY(socket.waitForBytesWritten(5000));
    QTest::qWait(200);
    ::kill(pid_t(m_server->pid()), SIGTERM);
    QTRY_VERIFY(m_server->log().contains(QStringLiteral("stopping: finishing 1 connection(s)")));
    // No new connections now.
    QTcpSocket late;
    late.connectToHost(QHostAddress::LocalHost, m_server->port());
    QVERIFY(!late.waitForConnected(2000));

    socket.write(request.mid(request.size() / 2));
    QByteArray reply;
    while (socket.state() != QAbstractSocket::UnconnectedState && socket.waitForReadyRead(10000))
        reply += socket.readAll();
    reply += socket.readAll();
    QVERIFY2(reply.startsWith("HTTP/1.0 200 OK\r\n"), reply.constData());
    QVERIFY(reply.endsWith("--sync-end--\n"));
    QVERIFY(m_server->stop());
    QVERIFY(m_server->log().contains(QStringLiteral("quorvel-server: stopped\n")));
}

void TestServerAdmin::selfSignedCertificate()
{
    const QString data = m_folder->filePath(QStringLiteral("data"));
    const QString certificateFile = data + QStringLiteral("/tls-certificate.pem");
    const QString keyFile = data + QStringLiteral("/tls-key.pem");
    // Private whatever the umask.
    const mode_t umask = ::umask(0);
    const ServerProcess::Result made
        = run(words("tls self-signed --host teamserver --host 192.0.2.7 --days 30"));
    ::umask(umask);
    QCOMPARE(made.err, QString());
    QCOMPARE(made.status, 0);
    const QString fingerprint = TestAuthority::fingerprint(certificateFile);
    QCOMPARE(fingerprint.size(), 95);
    QCOMPARE(made.out,
             QStringLiteral("Wrote the key %1, readable by you alone, and the certificate %2 for "
                            "teamserver, 192.0.2.7, valid until %3.\n"
                            "Serve with: quorvel-server --tls-cert %2 --tls-key %1 --listen "
                            "0.0.0.0:8443\n"
                            "Members enter the server as https://teamserver:8443 and, when "
                            "Quorvel asks whether to trust it, compare this SHA-256 "
                            "fingerprint:\n%4\n")
                 .arg(keyFile, certificateFile,
                      TestAuthority::expiryDate(certificateFile).toString(Qt::ISODate),
                      fingerprint));
    QCOMPARE(TestAuthority::expiryDate(certificateFile),
             QDateTime::currentDateTimeUtc().date().addDays(30));
    QCOMPARE(QFileInfo(keyFile).permissions()
                 & ~(QFileDevice::ReadUser | QFileDevice::WriteUser | QFileDevice::ExeUser),
             QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    QCOMPARE(QFileInfo(certificateFile).permissions()
                 & ~(QFileDevice::ReadUser | QFileDevice::WriteUser | QFileDevice::ExeUser),
             QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadGroup
                 | QFileDevice::ReadOther);
    // Signed by its own key, for the names given.
    const QList<QSslCertificate> read = QSslCertificate::fromPath(certificateFile);
    QCOMPARE(read.size(), 1);
    QVERIFY(read.at(0).isSelfSigned());
    QCOMPARE(read.at(0).subjectAlternativeNames().values(QSsl::DnsEntry),
             QStringList{QStringLiteral("teamserver")});
    QCOMPARE(read.at(0).subjectAlternativeNames().values(QSsl::IpAddressEntry),
             QStringList{QStringLiteral("192.0.2.7")});
    // Nothing left behind but the two files.
    QCOMPARE(QDir(data).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
             QStringList({QStringLiteral("tls-certificate.pem"), QStringLiteral("tls-key.pem")}));

    // Never over a key that is there.
    const QByteArray key = [&] {
        QFile file(keyFile);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }();
    refused(words("tls self-signed --host teamserver"),
            QStringLiteral("%1 exists already: remove it first, or name other files with "
                           "--tls-cert and --tls-key.\n")
                .arg(keyFile));
    QFile file(keyFile);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), key);
}

void TestServerAdmin::unusableTlsFilesAreRefused()
{
    TestAuthority authority;
    QVERIFY2(authority.isValid(), qPrintable(authority.error()));
    const TestAuthority::Issued one
        = authority.issue(QStringLiteral("one"), {QStringLiteral("127.0.0.1")});
    const TestAuthority::Issued two
        = authority.issue(QStringLiteral("two"), {QStringLiteral("127.0.0.1")});
    const QString missing = m_folder->filePath(QStringLiteral("missing.pem"));
    const auto serve = [&](const QString &certificateFile, const QString &keyFile) {
        return run({QStringLiteral("serve"), QStringLiteral("--listen"),
                    QStringLiteral("127.0.0.1:0"), QStringLiteral("--tls-cert"), certificateFile,
                    QStringLiteral("--tls-key"), keyFile});
    };
    ServerProcess::Result result = serve(missing, one.keyFile);
    QCOMPARE(result.status, 1);
    QCOMPARE(result.err,
             QStringLiteral("%1 cannot be read: No such file or directory\n").arg(missing));
    // A key where the certificate belongs.
    result = serve(one.keyFile, one.keyFile);
    QCOMPARE(result.status, 1);
    QCOMPARE(result.err, QStringLiteral("%1 holds no certificate in PEM form.\n").arg(one.keyFile));
    // The certificate where the key belongs.
    result = serve(one.certificateFile, one.certificateFile);
    QCOMPARE(result.status, 1);
    QCOMPARE(result.err, QStringLiteral("%1 holds no unencrypted private key in PEM form for the "
                                        "certificate of %1.\n")
                             .arg(one.certificateFile));
    // A key that is another certificate's.
    result = serve(one.certificateFile, two.keyFile);
    QCOMPARE(result.status, 1);
    const QString mismatch = QStringLiteral("The key %1 does not go with the certificate %2: ")
                                 .arg(two.keyFile, one.certificateFile);
    QVERIFY2(result.err.startsWith(mismatch) && result.err.endsWith(QLatin1Char('\n')),
             qPrintable(result.err));
    // Nothing listened.
    QCOMPARE(result.out, QString());
}

void TestServerAdmin::plainServerOnLoopbackSaysNothingOfPasswords()
{
    QCOMPARE(run(words("user add alice"), "pass\n").status, 0);
    // On loopback only this machine can listen in: nothing to say. (What it says on other
    // addresses is tst_serverparts' listeningLines, without a server open to a network.)
    QProcess server;
    server.start(ServerProcess::binary(),
                 {QStringLiteral("serve"), QStringLiteral("--data"),
                  m_folder->filePath(QStringLiteral("data")), QStringLiteral("--listen"),
                  QStringLiteral("127.0.0.1:0")});
    QVERIFY(server.waitForStarted());
    QByteArray log;
    static const QRegularExpression listening(
        QStringLiteral("^quorvel-server: listening on 127\\.0\\.0\\.1:(\\d+), data in SQLite "
                       "(.*), 2 workers\n$"));
    QRegularExpressionMatch match;
    QTRY_VERIFY_WITH_TIMEOUT(
        (match = listening.match(QString::fromUtf8(log += server.readAllStandardError())))
            .hasMatch(),
        20000);
    QCOMPARE(match.captured(2), m_folder->filePath(QStringLiteral("data/quorvel-server.sqlite")));
    // Without TLS there is nothing for SIGHUP to read again: it stops, as a hang-up does.
    ::kill(pid_t(server.processId()), SIGHUP);
    QVERIFY(server.waitForFinished(20000));
    QCOMPARE(server.exitCode(), 0);
    log += server.readAllStandardError();
    QVERIFY2(!log.contains("passwords"), log.constData());
    QVERIFY2(log.endsWith("quorvel-server: stopped\n"), log.constData());
}

QUORVEL_TEST_GUILESS_MAIN(TestServerAdmin)

#include "tst_serveradmin.moc"
