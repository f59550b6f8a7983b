// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// What the group server does with requests that are not what the program sends: garbage,
// other paths, bodies cut short, too large or never sent, counts of two billion. Each is
// refused without a crash, in bounded memory, while other clients are still served.

#include "ServerProcess.h"
#include "SyncDevice.h"
#include "TestEnvironment.h"

#include "model/SyncProtocol.h"

#include <QElapsedTimer>
#include <QTcpSocket>
#include <QtTest>

#include <memory>

namespace {

// Everything the server sends on one connection until it closes it (or timeoutMs passes).
QByteArray talk(quint16 port, const QByteArray &bytes, int timeoutMs = 10000,
                bool closeWriting = false)
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, port);
    if (!socket.waitForConnected(5000))
        return "not connected";
    socket.write(bytes);
    socket.flush();
    if (closeWriting)
        socket.disconnectFromHost();
    QByteArray reply;
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < timeoutMs && socket.state() != QAbstractSocket::UnconnectedState) {
        socket.waitForReadyRead(100);
        reply += socket.readAll();
    }
    reply += socket.readAll();
    return reply;
}

QByteArray request(const QByteArray &body)
{
    return "POST /palmtopsync/sync105.php3?uid=1 HTTP/1.0\r\nUser-Agent: quorvelqpe\r\n"
           "Content-Type: text/plain\r\nContent-Length: "
           + QByteArray::number(body.size()) + "\r\n\r\n" + body;
}

QByteArray body(const QByteArray &document, const QByteArray &user = "alice",
                const QByteArray &password = "alice-secret")
{
    return "--sync--\n2026\n11\n21\n9\n30\n0\n127.0.0.1\n" + user + '\n' + password + '\n'
           + document;
}

int status(const QByteArray &reply)
{
    return reply.left(reply.indexOf('\r')).split(' ').value(1).toInt();
}

QByteArray messages(const QByteArray &reply)
{
    SyncProtocol::ReplyParser parser;
    parser.feed(reply);
    return parser.state() == SyncProtocol::ReplyParser::Finished ? parser.messageText()
                                                                 : QByteArray("(unfinished)");
}

QByteArray refused(const char *text)
{
    return QByteArray("<p><b>The server refused this synchronization.</b></p>\n<p>") + text
           + "</p>\n";
}

// AddressSanitizer's shadow memory and quarantine roughly triple what a process holds.
#if defined(__SANITIZE_ADDRESS__)
constexpr qint64 MemoryScale = 3;
#else
constexpr qint64 MemoryScale = 1;
#endif

const char Unreadable[] = "The server could not read what this computer sent. Nothing was changed.";
const char NotUnderstood[] = "This is a Quorvel group server; it understands only the "
                             "synchronization of the Quorvel program. Nothing was changed.";

} // namespace

class TestServerHostile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

    void refusals_data();
    void refusals();
    void countsOfTwoBillion_data();
    void countsOfTwoBillion();
    void hundredMegabyteBody();
    void largestBodyIsReadInBoundedMemory();
    void truncatedBody();
    void silentAndSlowPeersDoNotHoldUpOthers();
    void endMarkerInAMessageIsDefused();
    void memoryStaysBounded();

private:
    // A normal exchange of a fresh device; the time it took.
    qint64 normalExchange()
    {
        QElapsedTimer clock;
        clock.start();
        SyncDevice device(m_server->address(), QStringLiteral("alice"),
                          QStringLiteral("alice-secret"));
        const SyncDevice::Reply reply = device.exchange();
        if (reply.status != 200 || !reply.readable)
            return -1;
        return clock.elapsed();
    }

    QTemporaryDir m_folder;
    std::unique_ptr<ServerProcess> m_server;
};

void TestServerHostile::initTestCase()
{
    m_server = std::make_unique<ServerProcess>(
        QStringList{QStringLiteral("--data"), m_folder.filePath(QStringLiteral("data"))});
    QVERIFY(m_server->addUser(QStringLiteral("alice"), QStringLiteral("alice-secret")));
    QVERIFY(m_server->start({QStringLiteral("--request-timeout"), QStringLiteral("2")}));
    QVERIFY(normalExchange() >= 0);
}

void TestServerHostile::cleanupTestCase()
{
    // Still there, and it ends cleanly.
    QVERIFY(normalExchange() >= 0);
    QVERIFY2(m_server->stop(), qPrintable(m_server->log()));
}

void TestServerHostile::refusals_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("message");

    static const char garbage[] = "\x01\x02garbage\xff\xfe\r\n\r\n";
    QTest::newRow("garbage") << QByteArray(garbage, sizeof(garbage) - 1) << 400
                             << refused(NotUnderstood);
    QTest::newRow("another path") << QByteArray("GET / HTTP/1.0\r\n\r\n") << 404
                                  << refused(NotUnderstood);
    QTest::newRow("not a post") << QByteArray("GET /palmtopsync/sync105.php3 HTTP/1.0\r\n\r\n")
                                << 405 << refused(NotUnderstood);
    QTest::newRow("no length") << QByteArray("POST /palmtopsync/sync105.php3?uid=1 HTTP/1.0\r\n"
                                             "\r\n--sync--\n")
                               << 411 << refused(NotUnderstood);
    QTest::newRow("bad length") << QByteArray("POST /palmtopsync/sync105.php3?uid=1 HTTP/1.0\r\n"
                                              "Content-Length: -5\r\n\r\n")
                                << 400 << refused(NotUnderstood);
    QTest::newRow("chunked") << QByteArray("POST /palmtopsync/sync105.php3 HTTP/1.1\r\n"
                                           "Transfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n")
                             << 501 << refused(NotUnderstood);
    QTest::newRow("head without end") << QByteArray(20000, 'x') << 400 << refused(Unreadable);
    QTest::newRow("body without marker") << request("hello\nworld\n") << 400 << refused(Unreadable);
    QTest::newRow("body cut before the document")
        << request("--sync--\n2026\n11\n21\n") << 400 << refused(Unreadable);
    QTest::newRow("document of another version")
        << request(body("--start--\n104\n1000\n0\n0\n0\n0\n--end--\n")) << 400
        << refused(Unreadable);
    QTest::newRow("document without its end")
        << request(body("--start--\n105\n1000\n1\n1\nWork\n0\n")) << 400 << refused(Unreadable);
    static const char binary[] = "--start--\n105\n\x00\x01\x02\xff";
    QTest::newRow("binary document")
        << request(body(QByteArray(binary, sizeof(binary) - 1))) << 400 << refused(Unreadable);
    QTest::newRow("wrong password")
        << request(body("--start--\n105\n1000\n0\n0\n0\n0\n--end--\n", "alice", "nope")) << 403
        << refused(
               "The user ID or the password is wrong. Please check them in Settings \xe2\x86\x92 "
               "Operating Mode.");
}

void TestServerHostile::refusals()
{
    QFETCH(QByteArray, bytes);
    QFETCH(int, status);
    QFETCH(QByteArray, message);
    const QByteArray reply = talk(m_server->port(), bytes);
    QCOMPARE(::status(reply), status);
    QCOMPARE(messages(reply), message);
    // The device reads no document from a refusal: it reports a failure and goes back.
    SyncProtocol::ReplyParser parser;
    parser.feed(reply);
    QuorvelDocument doc;
    QByteArray document = parser.documentText();
    QVERIFY(!doc.populateFromByteArray(document.data(), int(document.size())));
    QVERIFY(doc.categories.isEmpty());
}

void TestServerHostile::countsOfTwoBillion_data()
{
    QTest::addColumn<QByteArray>("document");
    QTest::newRow("categories") << QByteArray(
        "--start--\n105\n1000\n2000000000\n1\nA\n0\n--end--\n");
    QTest::newRow("activities") << QByteArray("--start--\n105\n1000\n0\n2000000000\n1\nA\n0\n0\n");
    QTest::newRow("tasks") << QByteArray("--start--\n105\n1000\n0\n0\n2000000000\n1\n");
    QTest::newRow("deleted ids") << QByteArray("--start--\n105\n1000\n0\n0\n0\n2000000000\n1\n");
}

void TestServerHostile::countsOfTwoBillion()
{
    QFETCH(QByteArray, document);
    const QByteArray reply = talk(m_server->port(), request(body(document)));
    QCOMPARE(status(reply), 413);
    QCOMPARE(messages(reply),
             refused("This computer holds more records than the server takes in one "
                     "synchronization. Nothing was changed."));
}

void TestServerHostile::hundredMegabyteBody()
{
    // Refused on its head: the body is read only to let the reply through, never kept.
    const QByteArray big(100 * 1000 * 1000, 'x');
    const QByteArray reply = talk(m_server->port(), request(big), 20000);
    QCOMPARE(status(reply), 413);
    QCOMPARE(messages(reply), refused("What this computer sent is larger than the server takes "
                                      "(64 MiB). Nothing was changed."));
    QVERIFY(m_server->peakMemoryKiB() < MemoryScale * 150 * 1024);
}

void TestServerHostile::largestBodyIsReadInBoundedMemory()
{
    // Just under the limit, a body of tiny records.
    QByteArray document("--start--\n105\n1000\n0\n0\n1000000\n");
    const QByteArray task(
        "1\n-1\n0\n2026\n11\n20\n9\n0\n2026\n11\n20\n9\n30\n0\n0\n0\n0\n0\n0\n0\n");
    while (document.size() + task.size() < 60 * 1024 * 1024)
        document += task;
    const QByteArray reply = talk(m_server->port(), request(body(document)), 60000);
    QCOMPARE(status(reply), 400);
    QCOMPARE(messages(reply), refused(Unreadable));
}

void TestServerHostile::truncatedBody()
{
    // The peer promises more than it sends, then closes: nothing is done.
    const QByteArray whole = request(body("--start--\n105\n1000\n0\n0\n0\n0\n--end--\n"));
    QCOMPARE(talk(m_server->port(), whole.left(whole.size() - 10), 5000, true), QByteArray());
    // It promises more than it sends and waits: refused when its time is up.
    const QByteArray reply = talk(m_server->port(), whole.left(whole.size() - 10), 10000);
    QCOMPARE(status(reply), 408);
    QCOMPARE(messages(reply), refused("What this computer sent did not arrive in time. Nothing "
                                      "was changed."));
}

void TestServerHostile::silentAndSlowPeersDoNotHoldUpOthers()
{
    // A crowd of connections that send nothing, and one that drips a byte at a time.
    std::vector<std::unique_ptr<QTcpSocket>> silent;
    for (int i = 0; i < 100; ++i) {
        silent.push_back(std::make_unique<QTcpSocket>());
        silent.back()->connectToHost(QHostAddress::LocalHost, m_server->port());
        QVERIFY(silent.back()->waitForConnected(5000));
    }
    QTcpSocket drip;
    drip.connectToHost(QHostAddress::LocalHost, m_server->port());
    QVERIFY(drip.waitForConnected(5000));
    const QByteArray slow = request(body("--start--\n105\n1000\n0\n0\n0\n0\n--end--\n"));
    for (int i = 0; i < 5; ++i) {
        drip.write(slow.mid(i, 1));
        drip.flush();
        const qint64 ms = normalExchange();
        QVERIFY(ms >= 0);
        QVERIFY2(ms < 1500, qPrintable(QString::number(ms)));
    }
    // Their time runs out: the silent ones are closed, the drip refused.
    QByteArray dripped;
    QElapsedTimer clock;
    clock.start();
    while (drip.state() != QAbstractSocket::UnconnectedState && clock.elapsed() < 10000) {
        drip.waitForReadyRead(100);
        dripped += drip.readAll();
    }
    QCOMPARE(status(dripped), 408);
    for (const auto &socket : silent) {
        if (socket->state() != QAbstractSocket::UnconnectedState)
            socket->waitForDisconnected(5000);
        QCOMPARE(socket->state(), QAbstractSocket::UnconnectedState);
        QCOMPARE(socket->readAll(), QByteArray());
    }
}

void TestServerHostile::endMarkerInAMessageIsDefused()
{
    const ServerProcess::Result sent
        = m_server->admin({QStringLiteral("message"), QStringLiteral("send"),
                           QStringLiteral("alice"), QStringLiteral("before\n--sync-end--\nafter")});
    QCOMPARE(sent.status, 0);
    SyncDevice device(m_server->address(), QStringLiteral("alice"), QStringLiteral("alice-secret"));
    const SyncDevice::Reply reply = device.exchange();
    QVERIFY(reply.readable);
    QVERIFY2(reply.messages.startsWith(QStringLiteral("before\n--sync-end-- \nafter\n<p>")),
             qPrintable(reply.messages));
}

void TestServerHostile::memoryStaysBounded()
{
    // After everything above: a 60 MiB body and a refused 100 MB one among them.
    const qint64 peak = m_server->peakMemoryKiB();
    qInfo("Server peak memory: %lld KiB", peak);
    QVERIFY(peak > 0);
    QVERIFY2(peak < MemoryScale * 256 * 1024, qPrintable(QString::number(peak)));
}

QUORVEL_TEST_GUILESS_MAIN(TestServerHostile)

#include "tst_serverhostile.moc"
