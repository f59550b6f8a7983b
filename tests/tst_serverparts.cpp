// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The group server's small parts on their own: database addresses, the request body's lines,
// the reply body, task times as the server stores them, and the blocks of ids with their
// record outside the database, and what the server says when it listens.

#include "TestEnvironment.h"

#include "ExchangeServer.h"
#include "IdBlocks.h"
#include "ServerDatabase.h"
#include "StoredTime.h"
#include "model/SyncProtocol.h"

#include <QtTest>

class TestServerParts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void databaseAddress_data();
    void databaseAddress();
    void sqliteFolder();
    void requestBody();
    void requestBodyRefused_data();
    void requestBodyRefused();
    void replyBody_data();
    void replyBody();
    void storedTime_data();
    void storedTime();
    void idBlocksStartAfterTheirRecord();
    void listeningLines_data();
    void listeningLines();
};

void TestServerParts::databaseAddress_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("described");
    QTest::addColumn<QString>("error");
    QTest::newRow("host and port") << "postgresql://quorvel@127.0.0.1:5432/team"
                                   << "PostgreSQL quorvel@127.0.0.1:5432/team"
                                   << "";
    QTest::newRow("short scheme") << "postgres://quorvel@db.example.org/team"
                                  << "PostgreSQL quorvel@db.example.org/team"
                                  << "";
    // The password never shows.
    QTest::newRow("password and socket folder")
        << "postgresql://quorvel:p%40ss@%2Frun%2Fpostgresql/team?sslmode=disable"
        << "PostgreSQL quorvel@/run/postgresql/team"
        << "";
    QTest::newRow("no user") << "postgresql://localhost/team"
                             << "PostgreSQL localhost/team"
                             << "";
    QTest::newRow("other scheme")
        << "mysql://quorvel@localhost/team"
        << ""
        << "The database address must look like postgresql://USER@HOST/DATABASE: "
           "mysql://quorvel@localhost/team";
    QTest::newRow("no database")
        << "postgresql://quorvel@localhost/"
        << ""
        << "The database address must look like postgresql://USER@HOST/DATABASE: "
           "postgresql://quorvel@localhost/";
    QTest::newRow("bad port") << "postgresql://quorvel@localhost:http/team"
                              << ""
                              << "The database address has a port that is not valid: "
                                 "postgresql://quorvel@localhost:http/team";
}

void TestServerParts::databaseAddress()
{
    QFETCH(QString, url);
    QFETCH(QString, described);
    QFETCH(QString, error);
    ServerDatabase location;
    QString problem;
    const bool ok = ServerDatabase::fromUrl(url, &location, &problem);
    QCOMPARE(ok, error.isEmpty());
    QCOMPARE(problem, error);
    if (ok) {
        QVERIFY(location.isPostgres());
        QCOMPARE(location.describe(), described);
    }
}

void TestServerParts::sqliteFolder()
{
    const ServerDatabase location = ServerDatabase::sqliteIn(QStringLiteral("/srv/team"));
    QVERIFY(!location.isPostgres());
    QCOMPARE(location.filePath(), QStringLiteral("/srv/team/quorvel-server.sqlite"));
    QCOMPARE(location.describe(), QStringLiteral("SQLite /srv/team/quorvel-server.sqlite"));
    QCOMPARE(ServerDatabase::defaultDataFolder(),
             TestEnvironment::instance()->dataHome() + QStringLiteral("/quorvel-server"));
}

void TestServerParts::requestBody()
{
    // The program's own request, with an empty user id: the lines are taken as they stand.
    const QByteArray request = SyncProtocol::buildRequest(
        QStringLiteral("--start--\n105\n1000\n0\n0\n0\n0\n--end--\n"),
        QDateTime(QDate(2026, 11, 21), QTime(9, 30, 5)), QStringLiteral("team.example:8080"),
        QString(), QStringLiteral("p\u00e4ss"), 7);
    const QByteArray body = request.mid(request.indexOf("\r\n\r\n") + 4);
    SyncProtocol::RequestBody parsed;
    QVERIFY(SyncProtocol::parseRequestBody(body, &parsed));
    QCOMPARE(QList<int>(parsed.exchangeTime, parsed.exchangeTime + 6),
             QList<int>({2026, 11, 21, 9, 30, 5}));
    QCOMPARE(parsed.serverAddress, QStringLiteral("team.example:8080"));
    QCOMPARE(parsed.userId, QString());
    QCOMPARE(parsed.password, QStringLiteral("p\u00e4ss"));
    QCOMPARE(body.mid(parsed.documentOffset),
             QByteArray("--start--\n105\n1000\n0\n0\n0\n0\n--end--\n"));
}

void TestServerParts::requestBodyRefused_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("another marker") << QByteArray("--start--\n1\n2\n3\n4\n5\n6\na\nb\nc\n");
    QTest::newRow("marker with a carriage return")
        << QByteArray("--sync--\r\n1\n2\n3\n4\n5\n6\na\nb\nc\n");
    QTest::newRow("nine lines") << QByteArray("--sync--\n1\n2\n3\n4\n5\n6\na\nb\nc");
}

void TestServerParts::requestBodyRefused()
{
    QFETCH(QByteArray, body);
    SyncProtocol::RequestBody parsed;
    QVERIFY(!SyncProtocol::parseRequestBody(body, &parsed));
}

void TestServerParts::replyBody_data()
{
    QTest::addColumn<QString>("messages");
    QTest::addColumn<QByteArray>("expected");
    const QByteArray document("--start--\n105\n1000\n0\n0\n0\n0\n--end--\n");
    QTest::newRow("no messages") << QString() << document + "--sync-end--\n";
    QTest::newRow("line feed added")
        << QStringLiteral("<p>Hi</p>") << document + "<p>Hi</p>\n--sync-end--\n";
    QTest::newRow("end marker defused") << QStringLiteral("a\n--sync-end--\nb\n")
                                        << document + "a\n--sync-end-- \nb\n--sync-end--\n";
    QTest::newRow("marker within a line kept")
        << QStringLiteral("x --sync-end--\n") << document + "x --sync-end--\n--sync-end--\n";
    QTest::newRow("non-ASCII") << QStringLiteral("\u201cCaf\u00e9\u201d")
                               << document
                                      + "\xe2\x80\x9c"
                                        "Caf\xc3\xa9\xe2\x80\x9d\n--sync-end--\n";
}

void TestServerParts::replyBody()
{
    QFETCH(QString, messages);
    QFETCH(QByteArray, expected);
    const QByteArray document("--start--\n105\n1000\n0\n0\n0\n0\n--end--\n");
    const QByteArray body = SyncProtocol::buildReplyBody(document, messages);
    QCOMPARE(body, expected);
    // The program's parser reads it whole.
    SyncProtocol::ReplyParser parser;
    parser.feed(body);
    QCOMPARE(parser.state(), SyncProtocol::ReplyParser::Finished);
    QCOMPARE(parser.documentText(), document);
}

void TestServerParts::storedTime_data()
{
    QTest::addColumn<QList<int>>("fields");
    QTest::addColumn<bool>("withSeconds");
    QTest::addColumn<qint64>("packed");
    QTest::newRow("minute") << QList<int>{2026, 11, 21, 9, 30, 0} << false << qint64(202611210930);
    QTest::newRow("second") << QList<int>{2026, 11, 21, 9, 30, 42} << true
                            << qint64(20261121093042);
    QTest::newRow("seconds dropped")
        << QList<int>{2026, 1, 2, 3, 4, 59} << false << qint64(202601020304);
    QTest::newRow("not set") << QList<int>{0, 11, 21, 9, 30, 0} << false << qint64(0);
    QTest::newRow("month 13") << QList<int>{2026, 13, 1, 9, 30, 0} << false << qint64(0);
    QTest::newRow("hour 24") << QList<int>{2026, 11, 21, 24, 0, 0} << false << qint64(0);
    QTest::newRow("year 10000") << QList<int>{10000, 1, 1, 0, 0, 0} << false << qint64(0);
    QTest::newRow("year before 1") << QList<int>{-44, 3, 15, 12, 0, 0} << false << qint64(0);
    QTest::newRow("first moment") << QList<int>{1, 1, 1, 0, 0, 0} << true << qint64(10101000000);
}

void TestServerParts::storedTime()
{
    QFETCH(QList<int>, fields);
    QFETCH(bool, withSeconds);
    QFETCH(qint64, packed);
    DocumentFormat::WallClock when;
    when.year = fields.at(0);
    when.month = fields.at(1);
    when.day = fields.at(2);
    when.hour = fields.at(3);
    when.minute = fields.at(4);
    when.second = fields.at(5);
    QCOMPARE(StoredTime::pack(when, withSeconds), packed);
    const DocumentFormat::WallClock back = StoredTime::unpack(packed, withSeconds);
    if (packed == 0) {
        QVERIFY(back.isNull());
        return;
    }
    QCOMPARE(QList<int>({back.year, back.month, back.day, back.hour, back.minute, back.second}),
             QList<int>({when.year, when.month, when.day, when.hour, when.minute,
                         withSeconds ? when.second : 0}));
}

void TestServerParts::idBlocksStartAfterTheirRecord()
{
    QTemporaryDir folder;
    const ServerDatabase location = ServerDatabase::sqliteIn(folder.path());
    const QString connection = QStringLiteral("parts");
    QString error;
    QVERIFY2(location.open(connection, &error), qPrintable(error));
    {
        QSqlDatabase db = QSqlDatabase::database(connection, false);
        QVERIFY2(location.migrate(db, &error), qPrintable(error));
        Sql sql(db);
        const auto block = [&](qint64 expected) {
            Transaction transaction(sql);
            IdBlocks ids(sql, folder.path());
            qint64 first = 0;
            qint64 last = 0;
            QVERIFY2(ids.allocateBlock(1, 0, &first, &last), qPrintable(ids.error()));
            QVERIFY(transaction.commit());
            QCOMPARE(first, expected);
            QCOMPARE(last, expected + IdBlocks::BlockSize - 1);
        };
        QVERIFY(sql.exec(QStringLiteral("INSERT INTO users (id, name, password_hash, "
                                        "created_at) VALUES (1, 'alice', 'x', 'now')")));
        block(1000000);
        block(1020000);
        const QStringList marks
            = QDir(folder.path()).entryList({QStringLiteral("handed-out-ids.*")}, QDir::Files);
        QCOMPARE(marks.size(), 1);
        const QString mark = folder.filePath(marks.first());
        QCOMPARE(QFileInfo(mark).permissions() & ~(QFileDevice::ReadUser | QFileDevice::WriteUser),
                 QFileDevice::ReadOwner | QFileDevice::WriteOwner);

        // The database put back to before both blocks: the record still knows them.
        QVERIFY(sql.exec(QStringLiteral("DELETE FROM id_blocks")));
        QVERIFY(sql.exec(QStringLiteral("UPDATE counters SET value = 1000000 WHERE name = "
                                        "'next_block'")));
        block(1040000);
        // A write cut short spoils one copy of the record; the other still counts.
        QVERIFY(sql.exec(QStringLiteral("DELETE FROM id_blocks")));
        QVERIFY(sql.exec(QStringLiteral("UPDATE counters SET value = 1000000 WHERE name = "
                                        "'next_block'")));
        {
            QFile file(mark);
            QVERIFY(file.open(QIODevice::ReadWrite));
            QVERIFY(file.seek(7));
            QVERIFY(file.write("9") == 1);
        }
        block(1060000);
        // A block that a device holds is never handed out, also above the counters.
        QVERIFY(sql.exec(QStringLiteral("INSERT INTO id_blocks (first_id, last_id, user_id) "
                                        "VALUES (1080000, 1099999, 1)")));
        block(1100000);
        QCOMPARE(IdBlocks::blockOf(999999), 0);
        QCOMPARE(IdBlocks::blockOf(1000000), 1000000);
        QCOMPARE(IdBlocks::blockOf(1039999), 1020000);
        QCOMPARE(IdBlocks::blockOf(2147483647), 0);
    }
    ServerDatabase::close(connection);
}

void TestServerParts::listeningLines_data()
{
    QTest::addColumn<QString>("address");
    QTest::addColumn<bool>("secure");
    QTest::addColumn<QStringList>("lines");
    const QString data = QStringLiteral("SQLite /srv/quorvel/quorvel-server.sqlite");
    const auto listening = [&](const QString &where, const QString &how) {
        return QStringLiteral("listening on %1%2, data in %3, 3 workers").arg(where, how, data);
    };
    const auto warning = [](const QString &where) {
        return QStringLiteral("warning: members' passwords and tasks cross the network in clear "
                              "on %1: serve TLS with --tls-cert and --tls-key, or listen on "
                              "127.0.0.1 behind a TLS proxy")
            .arg(where);
    };
    const QString inClear = QStringLiteral(" in plain HTTP (passwords travel in clear)");
    const QString overTls = QStringLiteral(" over TLS");
    // Only this machine reaches a loopback address: nothing to warn of.
    QTest::newRow("loopback") << "127.0.0.1" << false
                              << QStringList{listening(QStringLiteral("127.0.0.1:8080"), {})};
    QTest::newRow("other loopback")
        << "127.0.0.2" << false << QStringList{listening(QStringLiteral("127.0.0.2:8080"), {})};
    QTest::newRow("ipv6 loopback")
        << "::1" << false << QStringList{listening(QStringLiteral("::1:8080"), {})};
    QTest::newRow("every address")
        << "0.0.0.0" << false
        << QStringList{listening(QStringLiteral("0.0.0.0:8080"), inClear),
                       warning(QStringLiteral("0.0.0.0:8080"))};
    QTest::newRow("every ipv6 address")
        << "::" << false
        << QStringList{listening(QStringLiteral(":::8080"), inClear),
                       warning(QStringLiteral(":::8080"))};
    QTest::newRow("a network's address")
        << "192.0.2.7" << false
        << QStringList{listening(QStringLiteral("192.0.2.7:8080"), inClear),
                       warning(QStringLiteral("192.0.2.7:8080"))};
    QTest::newRow("tls on every address")
        << "0.0.0.0" << true << QStringList{listening(QStringLiteral("0.0.0.0:8080"), overTls)};
    QTest::newRow("tls on loopback")
        << "127.0.0.1" << true << QStringList{listening(QStringLiteral("127.0.0.1:8080"), overTls)};
}

void TestServerParts::listeningLines()
{
    QFETCH(QString, address);
    QFETCH(bool, secure);
    QFETCH(QStringList, lines);
    QCOMPARE(ExchangeServer::listeningLines(QHostAddress(address), 8080, secure,
                                            QStringLiteral("SQLite "
                                                           "/srv/quorvel/quorvel-server.sqlite"),
                                            3),
             lines);
}

QUORVEL_TEST_GUILESS_MAIN(TestServerParts)

#include "tst_serverparts.moc"
