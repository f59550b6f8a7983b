// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The server exchange: the request bytes, the reply read however it arrives, the result shown
// in the window, and the main window's command that goes back to the saved file on failure.

#include "DocumentBuilder.h"
#include "ModalAnswers.h"
#include "TestAuthority.h"
#include "TestEnvironment.h"
#include "TlsTestListener.h"
#include "keyring/ServerPassword.h"

#include "app/QuorvelMainWindow.h"
#include "dialogs/Synchronize.h"
#include "model/QuorvelDocument.h"
#include "model/SyncProtocol.h"
#include "platform/Clock.h"
#include "sync/TlsTrust.h"
#include "widgets/QuorvelApplication.h"

#include <QLabel>
#include <QPointer>
#include <QSslSocket>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTextBrowser>
#include <QTextCursor>
#include <QTextDocument>
#include <QTimer>
#include <QtTest>

#include <cstdlib>
#include <memory>

namespace {

const QString Incomplete = QStringLiteral("Synchronization Incomplete");
const QString IncompleteText = QStringLiteral(
    "Synchronization was not\nsuccessful. Data has reverted\nto pre-synchronization state.");

const QColor Green(128, 255, 128);
const QColor Red(255, 128, 128);

// A group server on loopback, over TLS with a certificate when one is given. It reads one
// request (headers and Content-Length bytes of body), then answers as told; request holds
// every byte that came (decrypted over TLS).
class FakeServer : public QObject
{
public:
    enum Answer { WholeReply, ByteByByte, Silent };

    explicit FakeServer(const TestAuthority::Issued &certificate = TestAuthority::Issued())
        : m_secure(!certificate.certificateFile.isEmpty())
    {
        if (m_secure)
            m_server = std::make_unique<TlsTestListener>(certificate);
        else
            m_server = std::make_unique<QTcpServer>();
        QVERIFY(m_server->listen(QHostAddress::LocalHost, 0));
        connect(m_server.get(), &QTcpServer::newConnection, this, &FakeServer::accept);
        m_drip.setInterval(5);
        connect(&m_drip, &QTimer::timeout, this, &FakeServer::dripOne);
    }

    quint16 port() const { return m_server->serverPort(); }
    QString address() const
    {
        return m_secure ? QStringLiteral("https://localhost:%1").arg(port())
                        : QStringLiteral("127.0.0.1:%1").arg(port());
    }

    Answer answer = WholeReply;
    QByteArray reply;
    bool closeAfterReply = true;
    QByteArray request;
    QPointer<QTcpSocket> peer;

private:
    void accept()
    {
        peer = m_server->nextPendingConnection();
        connect(peer, &QTcpSocket::readyRead, this, &FakeServer::readRequest);
    }

    void readRequest()
    {
        request += peer->readAll();
        const qsizetype headerEnd = request.indexOf("\r\n\r\n");
        if (headerEnd < 0 || m_answered)
            return;
        const QByteArray key("Content-Length: ");
        const qsizetype at = request.indexOf(key);
        if (at < 0)
            return;
        const qsizetype lineEnd = request.indexOf("\r\n", at);
        const int length = request.mid(at + key.size(), lineEnd - at - key.size()).toInt();
        if (request.size() < headerEnd + 4 + length)
            return;
        m_answered = true;
        switch (answer) {
        case WholeReply:
            peer->write(reply);
            peer->flush();
            if (closeAfterReply)
                peer->disconnectFromHost();
            break;
        case ByteByByte:
            m_drip.start();
            break;
        case Silent:
            break;
        }
    }

    void dripOne()
    {
        if (!peer || m_dripped >= reply.size()) {
            m_drip.stop();
            return;
        }
        peer->write(reply.mid(m_dripped++, 1));
        peer->flush();
    }

    bool m_secure = false;
    std::unique_ptr<QTcpServer> m_server;
    QTimer m_drip;
    qsizetype m_dripped = 0;
    bool m_answered = false;
};

const QByteArray EmptyReplyDocument("--start--\n105\n1001\n0\n0\n0\n0\n--end--\n");

QByteArray httpPreamble()
{
    return "HTTP/1.0 200 OK\r\nServer: test\r\nContent-Type: text/plain\r\n\r\n";
}

// A device document with a category, an activity in it and one task, saved as the data file.
void prepareDevice(QuorvelDocument &doc)
{
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    Activity *a = build.activity(QStringLiteral("A"), work);
    build.task(a, at(20, 8, 0), at(20, 8, 30), 1);
    build.sortAll();
}

// Server's document: the category "Home" (id 2000), the activity "B" in it (position 1 counts
// the device's "Work" first), a task of B (position 1 after the device's "A"), nextId 3000 and
// the deleted id 77.
const QByteArray ServerDocument("--start--\n105\n3000\n"
                                "1\n2000\nHome\n0\n"
                                "1\n2001\nB\n0\n1\n"
                                "1\n2002\n1\n0\n"
                                "2026\n11\n19\n10\n0\n"
                                "2026\n11\n19\n11\n0\n"
                                "2026\n11\n19\n11\n0\n7\n"
                                "1\n"
                                "1\n77\n--end--\n");

QColor statusColour(const Synchronize &sync)
{
    return sync.lblStatus->palette().color(QPalette::Active, QPalette::Window);
}

} // namespace

class TestSync : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void hostAndPort_data();
    void hostAndPort();
    void parserKeepsPartialLines();
    void parserRefusesOversizedReply();

    void formStartsYellow();
    void requestBytes_data();
    void requestBytes();
    void requestOverTlsIsThePlainRequest();
    void secureAddressSendsNothingInClear();
    void certificateVerdicts_data();
    void certificateVerdicts();
    void replyInSingleByteWrites();
    void endMarkerCompletesWhileConnectionStaysOpen();
    void completedExchangeAppendsAndSaves();

    void failureRevertsToSavedFile_data();
    void failureRevertsToSavedFile();
};

void TestSync::init()
{
    TestEnvironment::wipe();
    MessageBox::clearShown();
    Clock::setFixed(at(21, 9, 30, 5));
    Synchronize::setTimeoutMilliseconds(60000);
    Configuration config;
    config.setMode(Configuration::Group);
    config.setServerUserID(QStringLiteral("user"));
    ServerPassword(config).write(QStringLiteral("pass"));
}

void TestSync::hostAndPort_data()
{
    QTest::addColumn<QString>("address");
    QTest::addColumn<QString>("host");
    QTest::addColumn<int>("port");
    QTest::addColumn<bool>("secure");
    QTest::newRow("host only") << "sync.example.org"
                               << "sync.example.org" << 80 << false;
    QTest::newRow("with port") << "127.0.0.1:8080"
                               << "127.0.0.1" << 8080 << false;
    QTest::newRow("bad port") << "host:http"
                              << "host:http" << 80 << false;
    QTest::newRow("port zero") << "host:0"
                               << "host:0" << 80 << false;
    QTest::newRow("ipv6") << "::1"
                          << "::1" << 80 << false;
    QTest::newRow("https") << "https://sync.example.org"
                           << "sync.example.org" << 443 << true;
    QTest::newRow("https with port") << "https://localhost:8443"
                                     << "localhost" << 8443 << true;
    QTest::newRow("scheme in capitals") << "HTTPS://Team.example.org"
                                        << "Team.example.org" << 443 << true;
    QTest::newRow("https ipv6") << "https://[::1]:8443"
                                << "::1" << 8443 << true;
    QTest::newRow("https ipv6 without port") << "https://[::1]"
                                             << "::1" << 443 << true;
    QTest::newRow("https bad port") << "https://host:http"
                                    << "host:http" << 443 << true;
    QTest::newRow("https ipv6 bad port") << "https://[::1]:x"
                                         << "[::1]:x" << 443 << true;
    QTest::newRow("https with a path") << "https://host/sync"
                                       << "host/sync" << 443 << true;
    QTest::newRow("http is no scheme of ours") << "http://host"
                                               << "http://host" << 80 << false;
}

void TestSync::hostAndPort()
{
    QFETCH(QString, address);
    const SyncProtocol::HostAndPort split = SyncProtocol::splitHostAndPort(address);
    QFETCH(QString, host);
    QFETCH(int, port);
    QFETCH(bool, secure);
    QCOMPARE(split.host, host);
    QCOMPARE(int(split.port), port);
    QCOMPARE(split.secure, secure);
}

void TestSync::parserKeepsPartialLines()
{
    SyncProtocol::ReplyParser parser;
    const QByteArray reply = "HTTP/1.0 200 OK\r\n--start--\r\n\r\n--sta"
                             "rt--\n105\n--end--\nHi <b>there</b>\n--sync-end--\ntrailing\n";
    for (char byte : reply)
        parser.feed(QByteArray(1, byte));
    QCOMPARE(parser.state(), SyncProtocol::ReplyParser::Finished);
    QCOMPARE(parser.documentText(), QByteArray("--start--\n105\n--end--\n"));
    QCOMPARE(parser.messageText(), QByteArray("Hi <b>there</b>\n"));
    QVERIFY(!parser.overflowed());
}

void TestSync::parserRefusesOversizedReply()
{
    SyncProtocol::ReplyParser parser;
    parser.feed("--start--\n");
    parser.feed(QByteArray(64 * 1024 * 1024 - 10, 'x'));
    QVERIFY(!parser.overflowed());
    parser.feed("y");
    QVERIFY(parser.overflowed());
    parser.feed("\n--end--\n--sync-end--\n");
    QVERIFY(parser.state() != SyncProtocol::ReplyParser::Finished);
}

void TestSync::formStartsYellow()
{
    QuorvelDocument doc;
    Configuration().setServerAddress(QStringLiteral("no-such-host.invalid"));
    Synchronize sync(&doc);
    QCOMPARE(sync.windowTitle(), QStringLiteral("Quorvel - Synchronize"));
    QCOMPARE(sync.fraStatus->title(), QStringLiteral("Synchronization Status"));
    QCOMPARE(sync.fraMesseges->title(), QStringLiteral("Personal Messages From Server"));
    QCOMPARE(sync.lblStatus->text(), QStringLiteral("Looking Up Host"));
    QVERIFY(sync.lblStatus->autoFillBackground());
    QCOMPARE(statusColour(sync), QColor(255, 255, 0));
    QCOMPARE(sync.findChild<QTcpSocket *>(QStringLiteral("socket")) != nullptr, true);
    QVERIFY(!sync.succeeded);
}

void TestSync::requestBytes_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("password");
    QTest::addColumn<QByteArray>("credentialLines");
    QTest::addColumn<int>("lengthWithoutPort");
    // 97 bytes besides the port's digits: "Bürö" is 4 characters and 6 bytes.
    QTest::newRow("credentials") << "user"
                                 << "pass" << QByteArray("user\npass\n") << 97;
    QTest::newRow("empty credentials") << ""
                                       << "" << QByteArray("\n\n") << 89;
}

void TestSync::requestBytes()
{
    QFETCH(QString, user);
    QFETCH(QString, password);
    QFETCH(QByteArray, credentialLines);
    QFETCH(int, lengthWithoutPort);

    FakeServer server;
    server.reply = httpPreamble() + EmptyReplyDocument + "--sync-end--\n";
    Configuration config;
    config.setServerAddress(server.address());
    config.setServerUserID(user);
    ServerPassword(config).write(password);

    QuorvelDocument doc;
    DocumentBuilder(doc).category(QStringLiteral("B\u00fcr\u00f6"));

    std::srand(4711);
    const int r = std::rand();
    std::srand(4711);
    Synchronize sync(&doc);
    QTRY_COMPARE(sync.lblStatus->text(), QStringLiteral("Synchronization Complete"));

    const QByteArray port = QByteArray::number(server.port());
    const QByteArray expected = "POST /palmtopsync/sync105.php3?uid=" + QByteArray::number(r)
                                + " HTTP/1.0\r\n"
                                  "User-Agent: quorvelqpe\r\n"
                                  "Content-Type: text/plain\r\n"
                                  "Content-Length: "
                                + QByteArray::number(lengthWithoutPort + port.size())
                                + "\r\n\r\n"
                                  "--sync--\n2026\n11\n21\n9\n30\n5\n127.0.0.1:"
                                + port + "\n" + credentialLines
                                + "--start--\n105\n1001\n1\n1000\nB\xc3\xbcr\xc3\xb6\n0\n"
                                  "0\n0\n0\n--end--\n";
    QCOMPARE(server.request, expected);
    QVERIFY(sync.succeeded);
}

void TestSync::requestOverTlsIsThePlainRequest()
{
    TestAuthority authority;
    QVERIFY2(authority.isValid(), qPrintable(authority.error()));
    const TestAuthority::Issued certificate = authority.issue(
        QStringLiteral("server"), {QStringLiteral("localhost"), QStringLiteral("127.0.0.1")});
    QVERIFY2(!certificate.certificateFile.isEmpty(), qPrintable(authority.error()));
    TlsTrust::setAuthorities(authority.certificates());

    // The same document and settings, once in plain HTTP and once over TLS.
    QByteArray requests[2];
    QString addresses[2];
    std::srand(4711);
    const int r = std::rand();
    for (const bool secure : {false, true}) {
        FakeServer server(secure ? certificate : TestAuthority::Issued());
        server.reply = httpPreamble() + EmptyReplyDocument + "--sync-end--\n";
        Configuration().setServerAddress(server.address());
        QuorvelDocument doc;
        DocumentBuilder(doc).category(QStringLiteral("B\u00fcr\u00f6"));
        std::srand(4711);
        Synchronize sync(&doc);
        QTRY_COMPARE(sync.lblStatus->text(), QStringLiteral("Synchronization Complete"));
        QVERIFY(sync.succeeded);
        QCOMPARE(qobject_cast<QSslSocket *>(server.peer.data()) != nullptr, secure);
        requests[secure] = server.request;
        addresses[secure] = server.address();
    }
    TlsTrust::setAuthorities({});

    // Byte for byte the request of the exchange; only the address line (as configured) and
    // so the length differ.
    const auto expected = [r](const QString &address) {
        const QByteArray line = address.toUtf8();
        return "POST /palmtopsync/sync105.php3?uid=" + QByteArray::number(r)
               + " HTTP/1.0\r\n"
                 "User-Agent: quorvelqpe\r\n"
                 "Content-Type: text/plain\r\n"
                 "Content-Length: "
               + QByteArray::number(87 + line.size())
               + "\r\n\r\n"
                 "--sync--\n2026\n11\n21\n9\n30\n5\n"
               + line
               + "\nuser\npass\n"
                 "--start--\n105\n1001\n1\n1000\nB\xc3\xbcr\xc3\xb6\n0\n"
                 "0\n0\n0\n--end--\n";
    };
    QVERIFY(addresses[1].startsWith(QLatin1String("https://localhost:")));
    QCOMPARE(requests[0], expected(addresses[0]));
    QCOMPARE(requests[1], expected(addresses[1]));
}

void TestSync::secureAddressSendsNothingInClear()
{
    // A server in plain TCP that records what arrives and never answers: all that ever comes
    // from an https:// address is the start of a TLS handshake.
    Synchronize::setTimeoutMilliseconds(1000);
    FakeServer server;
    server.answer = FakeServer::Silent;
    Configuration().setServerAddress(QStringLiteral("https://127.0.0.1:%1").arg(server.port()));
    QuorvelDocument doc;
    Synchronize sync(&doc);
    QTRY_COMPARE(sync.lblStatus->text(), QStringLiteral("Securing Connection"));
    QTRY_COMPARE_WITH_TIMEOUT(sync.lblStatus->text(), QStringLiteral("Connection Timed Out"),
                              10000);
    QVERIFY(!sync.succeeded);
    QVERIFY(!server.request.isEmpty());
    // A TLS handshake record, version 3.x.
    QCOMPARE(server.request.left(2), QByteArray("\x16\x03"));
    for (const QByteArray &clear : {QByteArray("pass"), QByteArray("user"), QByteArray("--sync--"),
                                    QByteArray("POST"), QByteArray("palmtopsync")})
        QVERIFY2(!server.request.contains(clear), clear.constData());
}

void TestSync::certificateVerdicts_data()
{
    QTest::addColumn<QList<int>>("errors");
    QTest::addColumn<bool>("kept");
    QTest::addColumn<bool>("keptIsThisOne");
    QTest::addColumn<int>("verdict");

    const int selfSigned = QSslError::SelfSignedCertificate;
    const int noIssuer = QSslError::UnableToGetLocalIssuerCertificate;
    const int firstUnverified = QSslError::UnableToVerifyFirstCertificate;
    const int otherHost = QSslError::HostNameMismatch;
    const int expired = QSslError::CertificateExpired;
    const int notYet = QSslError::CertificateNotYetValid;
    const int revoked = QSslError::CertificateRevoked;
    using V = TlsTrust::Verdict;
    QTest::newRow("self-signed, first contact")
        << QList<int>{selfSigned} << false << false << int(V::Ask);
    QTest::newRow("self-signed, kept") << QList<int>{selfSigned} << true << true << int(V::Trusted);
    QTest::newRow("self-signed, another kept")
        << QList<int>{selfSigned} << true << false << int(V::Changed);
    QTest::newRow("unknown authority")
        << QList<int>{noIssuer, firstUnverified} << false << false << int(V::NotTrusted);
    QTest::newRow("unknown authority, another kept")
        << QList<int>{noIssuer, firstUnverified} << true << false << int(V::Changed);
    QTest::newRow("self-signed for another host")
        << QList<int>{selfSigned, otherHost} << false << false << int(V::OtherHost);
    QTest::newRow("another host, another kept")
        << QList<int>{selfSigned, otherHost} << true << false << int(V::Changed);
    QTest::newRow("expired") << QList<int>{expired} << false << false << int(V::Expired);
    QTest::newRow("self-signed and expired, kept")
        << QList<int>{selfSigned, expired} << true << true << int(V::Expired);
    QTest::newRow("not valid yet") << QList<int>{notYet} << false << false << int(V::NotYetValid);
    QTest::newRow("revoked") << QList<int>{revoked} << false << false << int(V::NotTrusted);
    QTest::newRow("self-signed and revoked, kept")
        << QList<int>{selfSigned, revoked} << true << true << int(V::NotTrusted);
}

void TestSync::certificateVerdicts()
{
    QFETCH(QList<int>, errors);
    QFETCH(bool, kept);
    QFETCH(bool, keptIsThisOne);
    QFETCH(int, verdict);
    static TestAuthority authority;
    static const TestAuthority::Issued self
        = authority.selfSigned(QStringLiteral("self"), {QStringLiteral("localhost")});
    const QList<QSslCertificate> certificates = QSslCertificate::fromPath(self.certificateFile);
    QCOMPARE(certificates.size(), 1);
    const QSslCertificate certificate = certificates.constFirst();
    // The fingerprint is the one openssl prints.
    const QString fingerprint = TestAuthority::fingerprint(self.certificateFile);
    QCOMPARE(TlsTrust::fingerprint(certificate), fingerprint);
    QList<QSslError> sslErrors;
    for (const int error : errors)
        sslErrors.append(QSslError(QSslError::SslError(error), certificate));
    const QString trusted = !kept           ? QString()
                            : keptIsThisOne ? fingerprint
                                            : QStringLiteral("00:11:22:33");
    QCOMPARE(int(TlsTrust::judge(sslErrors, certificate, trusted)), verdict);
}

void TestSync::replyInSingleByteWrites()
{
    // Each byte comes 5 ms after the last, the whole reply takes far longer than the timeout:
    // only a timeout restarted on every read lets it finish.
    Synchronize::setTimeoutMilliseconds(300);
    FakeServer server;
    server.answer = FakeServer::ByteByByte;
    server.reply
        = httpPreamble() + EmptyReplyDocument + "A message <i>for</i> you\n" + "--sync-end--\n";
    QVERIFY(server.reply.size() > 120);
    Configuration().setServerAddress(server.address());
    QuorvelDocument doc;
    Synchronize sync(&doc);
    QTRY_COMPARE_WITH_TIMEOUT(sync.lblStatus->text(), QStringLiteral("Synchronization Complete"),
                              10000);
    QVERIFY(sync.succeeded);
    // The line feed is white space in the markup.
    QCOMPARE(sync.txtMessages->toPlainText(), QStringLiteral("A message for you "));
}

void TestSync::endMarkerCompletesWhileConnectionStaysOpen()
{
    FakeServer server;
    server.closeAfterReply = false;
    server.reply = httpPreamble() + EmptyReplyDocument + "--sync-end--\nnot read\n";
    Configuration().setServerAddress(server.address());
    QuorvelDocument doc;
    Synchronize sync(&doc);
    QTRY_COMPARE(sync.lblStatus->text(), QStringLiteral("Synchronization Complete"));
    QVERIFY(sync.succeeded);
    QCOMPARE(statusColour(sync), Green);
    // Our own close after the result is not the server's.
    QTest::qWait(100);
    QCOMPARE(sync.lblStatus->text(), QStringLiteral("Synchronization Complete"));
    QVERIFY(sync.succeeded);
}

void TestSync::completedExchangeAppendsAndSaves()
{
    {
        QuorvelDocument device;
        prepareDevice(device);
        QVERIFY(device.save());
    }
    FakeServer server;
    server.reply
        = httpPreamble() + ServerDocument + "<b>Hello</b> from the <i>server</i>\n--sync-end--\n";
    Configuration().setServerAddress(server.address());

    QuorvelMainWindow window;
    ModalAnswers answers;
    QString messages;
    bool bold = false;
    answers.add([&](QWidget *widget) {
        auto *sync = qobject_cast<Synchronize *>(widget);
        QVERIFY(sync);
        QTRY_COMPARE(sync->lblStatus->text(), QStringLiteral("Synchronization Complete"));
        QCOMPARE(statusColour(*sync), Green);
        QVERIFY(sync->succeeded);
        messages = sync->txtMessages->toPlainText();
        QTextCursor cursor(sync->txtMessages->document());
        cursor.setPosition(2);
        bold = cursor.charFormat().fontWeight() == QFont::Bold;
        sync->close();
    });
    window.syncServer();
    QCOMPARE(answers.remaining(), 0);
    QVERIFY(MessageBox::shown().isEmpty());
    QCOMPARE(messages, QStringLiteral("Hello from the server "));
    QVERIFY(bold);

    QuorvelDocument *doc = window.document();
    QCOMPARE(doc->categories.size(), 2);
    QCOMPARE(doc->activities.size(), 2);
    QCOMPARE(doc->tasks.size(), 2);
    QCOMPARE(doc->nextId, 3000);
    QCOMPARE(doc->deletedTaskIds, QList<int>({77}));
    const Activity *b = nullptr;
    for (const Activity *a : std::as_const(doc->activities)) {
        if (a->name == QStringLiteral("B"))
            b = a;
    }
    QVERIFY(b);
    QVERIFY(b->category);
    QCOMPARE(b->category->name, QStringLiteral("Home"));

    // The result is in the data file.
    QuorvelDocument saved;
    QVERIFY(saved.load());
    QCOMPARE(saved.getDocumentBytes(), doc->getDocumentBytes());
}

void TestSync::failureRevertsToSavedFile_data()
{
    QTest::addColumn<QString>("failure");
    QTest::addColumn<QString>("status");
    QTest::newRow("refused") << "refused"
                             << "Host Connection Refused";
    QTest::newRow("unknown host") << "unknown host"
                                  << "Host Not Found";
    QTest::newRow("peer closes early") << "peer closes early"
                                       << "Synchronization Failed";
    QTest::newRow("garbled document") << "garbled document"
                                      << "Synchronization Failed";
    QTest::newRow("no start marker") << "no start marker"
                                     << "Synchronization Failed";
    QTest::newRow("timeout") << "timeout"
                             << "Connection Timed Out";
}

void TestSync::failureRevertsToSavedFile()
{
    QFETCH(QString, failure);
    QFETCH(QString, status);

    {
        QuorvelDocument device;
        prepareDevice(device);
        QVERIFY(device.save());
    }
    FakeServer server;
    Configuration config;
    config.setServerAddress(server.address());
    if (failure == QStringLiteral("refused")) {
        QTcpServer closed;
        QVERIFY(closed.listen(QHostAddress::LocalHost, 0));
        config.setServerAddress(QStringLiteral("127.0.0.1:%1").arg(closed.serverPort()));
        closed.close();
    } else if (failure == QStringLiteral("unknown host")) {
        config.setServerAddress(QStringLiteral("no-such-host.invalid"));
    } else if (failure == QStringLiteral("peer closes early")) {
        server.reply = httpPreamble() + "--start--\n105\n3000\n";
    } else if (failure == QStringLiteral("garbled document")) {
        // The category is appended before the read fails at the missing lines.
        server.reply = httpPreamble() + "--start--\n105\n5000\n1\n9000\nJunk\n0\n--end--\n"
                       + "--sync-end--\n";
        server.closeAfterReply = false;
    } else if (failure == QStringLiteral("no start marker")) {
        server.reply = httpPreamble() + "105\n--end--\n--sync-end--\n";
    } else if (failure == QStringLiteral("timeout")) {
        Synchronize::setTimeoutMilliseconds(300);
        server.answer = FakeServer::Silent;
    }

    QuorvelMainWindow window;
    // A change not yet written: the command saves it first, so it survives the revert.
    DocumentBuilder(*window.document()).category(QStringLiteral("Unsaved"));
    window.document()->categories.sort();
    const QByteArray before = window.document()->getDocumentBytes();

    ModalAnswers answers;
    bool seenFailure = false;
    answers.add([&](QWidget *widget) {
        auto *sync = qobject_cast<Synchronize *>(widget);
        QVERIFY(sync);
        QTRY_COMPARE_WITH_TIMEOUT(sync->lblStatus->text(), status, 10000);
        QCOMPARE(statusColour(*sync), Red);
        QVERIFY(!sync->succeeded);
        seenFailure = true;
        sync->close();
    });
    window.syncServer();
    QVERIFY(seenFailure);

    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().at(0).title, Incomplete);
    QCOMPARE(MessageBox::shown().at(0).text, IncompleteText);
    QCOMPARE(window.document()->getDocumentBytes(), before);
    QCOMPARE(window.document()->categories.size(), 2);
    QCOMPARE(window.document()->nextId, 1004);
}

int main(int argc, char *argv[])
{
    TestEnvironment environment;
    QuorvelApplication app(argc, argv);
    MessageBox::setTesting(true);
    TestSync tc;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&tc, argc, argv);
}

#include "tst_sync.moc"
