// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// Servers that answer the program's exchange with what no group server sends: garbage, an
// endless drip, a gigabyte, lines that never end, counts of two billion, messages up to the
// reply's cap, markup that names things to load, a connection cut mid-reply and a reply after
// the program gave up. Each time the program survives in bounded memory, opens no second
// connection, and keeps or goes back to what the data file held. Every case runs in plain
// HTTP and again over TLS, the server's answer inside the encrypted connection.

#include "DocumentBuilder.h"
#include "ModalAnswers.h"
#include "TestAuthority.h"
#include "TestEnvironment.h"
#include "TlsTestListener.h"
#include "WindowExchange.h"
#include "keyring/ServerPassword.h"

#include "app/QuorvelMainWindow.h"
#include "dialogs/Synchronize.h"
#include "model/QuorvelDocument.h"
#include "model/SyncProtocol.h"
#include "platform/Clock.h"
#include "sync/TlsTrust.h"
#include "widgets/QuorvelApplication.h"

#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QPointer>
#include <QSslSocket>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTextBrowser>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextFrame>
#include <QTextTable>
#include <QTimer>
#include <QtTest>

#include <sys/socket.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace {

// AddressSanitizer's shadow memory and quarantine roughly triple what a process holds, and it
// runs the code several times slower.
#if defined(__SANITIZE_ADDRESS__)
constexpr qint64 Scale = 3;
#else
constexpr qint64 Scale = 1;
#endif

// What one exchange may add to the peak resident memory of the process.
constexpr qint64 MemoryBoundKiB = 200 * 1024 * Scale;

constexpr qint64 MiB = 1024 * 1024;

const QString Complete = QStringLiteral("Synchronization Complete");
const QString Failed = QStringLiteral("Synchronization Failed");
const QString TimedOut = QStringLiteral("Connection Timed Out");
const QString Processing = QStringLiteral("Processing Server Response");
const QString Incomplete = QStringLiteral("Synchronization Incomplete");
const QString IncompleteText = QStringLiteral(
    "Synchronization was not\nsuccessful. Data has reverted\nto pre-synchronization state.");

const QByteArray Preamble("HTTP/1.0 200 OK\r\nServer: test\r\nContent-Type: text/plain\r\n\r\n");
const QByteArray EmptyDocument("--start--\n105\n1001\n0\n0\n0\n0\n--end--\n");
// The category "Home", its activity "B" and a task of B, as in tst_sync.
const QByteArray ServerDocument("--start--\n105\n3000\n"
                                "1\n2000\nHome\n0\n"
                                "1\n2001\nB\n0\n1\n"
                                "1\n2002\n1\n0\n"
                                "2026\n11\n19\n10\n0\n"
                                "2026\n11\n19\n11\n0\n"
                                "2026\n11\n19\n11\n0\n7\n"
                                "1\n"
                                "1\n77\n--end--\n");
const QByteArray EndLine("--sync-end--\n");

// A line of the long messages: 59 bytes with a three-byte dash at bytes 40 to 42.
const QByteArray MessageLine
    = QStringLiteral("Bitte die Stunden bis Freitag eintragen \u2013 danke! "
                     "Gr\u00fc\u00dfe\n")
          .toUtf8();
// Puts the 65 537th message byte on the dash's last byte.
const QByteArray MessageStart("Hej\n");

qint64 statusKiB(const char *key)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    const QList<QByteArray> lines = status.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith(key) && line.size() > qsizetype(qstrlen(key))
            && line.at(qstrlen(key)) == ':')
            return line.mid(qstrlen(key) + 1).trimmed().split(' ').value(0).toLongLong();
    }
    return -1;
}

// Lets VmHWM start again from the resident set now, so that each case has its own peak.
bool resetPeak()
{
    QFile clear(QStringLiteral("/proc/self/clear_refs"));
    return clear.open(QIODevice::WriteOnly) && clear.write("5") == 1;
}

// A case that hangs blocks the event loop, where no QTRY can notice: this ends the process
// with the case's name instead of leaving it to the test runner's timeout.
class Watchdog
{
public:
    explicit Watchdog(int seconds)
        : m_thread([this, seconds] {
            std::unique_lock<std::mutex> lock(m_mutex);
            if (!m_done.wait_for(lock, std::chrono::seconds(seconds), [this] { return m_stop; })) {
                std::fprintf(stderr, "FAIL: %s still running after %d seconds\n",
                             QTest::currentTestFunction(), seconds);
                std::abort();
            }
        })
    {}
    ~Watchdog()
    {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_stop = true;
        }
        m_done.notify_one();
        m_thread.join();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_done;
    bool m_stop = false;
    std::thread m_thread;
};

// A server on loopback that reads the program's request (headers and Content-Length bytes of
// body) and then answers with a script: head, then repeatBytes bytes of unit over and over,
// then tail, written as the connection takes them so that a gigabyte never sits in memory.
// With a certificate it speaks TLS, and the script goes inside the encrypted connection.
class ScriptedServer : public QObject
{
public:
    enum End { Close, Reset, StayOpen };

    explicit ScriptedServer(const TestAuthority::Issued &certificate = TestAuthority::Issued())
        : m_secure(!certificate.certificateFile.isEmpty())
    {
        if (m_secure)
            m_server = std::make_unique<TlsTestListener>(certificate);
        else
            m_server = std::make_unique<QTcpServer>();
        if (!m_server->listen(QHostAddress::LocalHost, 0))
            qFatal("cannot listen on loopback");
        connect(m_server.get(), &QTcpServer::newConnection, this, &ScriptedServer::accept);
        connect(&m_drip, &QTimer::timeout, this, &ScriptedServer::dripOne);
    }
    ~ScriptedServer() override
    {
        // The connection, a child, outlives the members: its last signals must not reach them.
        if (m_peer)
            m_peer->disconnect(this);
    }

    QString address() const
    {
        return (m_secure ? QStringLiteral("https://localhost:%1") : QStringLiteral("127.0.0.1:%1"))
            .arg(m_server->serverPort());
    }
    QByteArray port() const { return QByteArray::number(m_server->serverPort()); }

    QByteArray head;
    QByteArray unit;
    qint64 repeatBytes = 0;
    QByteArray tail;
    End end = Close;
    // Answer nothing until send().
    bool silent = false;
    // One byte every dripMilliseconds: head, then unit over and over (dripLimit bytes in all
    // when set), never the tail.
    int dripMilliseconds = 0;
    qint64 dripLimit = -1;

    int accepted() const { return m_accepted; }
    // Bytes handed to the connection.
    qint64 sent() const { return m_sent; }
    bool requestRead() const { return m_answering; }
    // The program closed the connection (or it was reset).
    bool peerGone() const { return m_peerGone; }

    void send()
    {
        silent = false;
        if (m_answering)
            pump();
    }

private:
    void accept()
    {
        while (QTcpSocket *socket = m_server->nextPendingConnection()) {
            ++m_accepted;
            // Only the first is the exchange; a later one would be a fetch, and is only counted.
            if (m_peer) {
                socket->abort();
                socket->deleteLater();
                continue;
            }
            m_peer = socket;
            connect(socket, &QTcpSocket::readyRead, this, &ScriptedServer::readRequest);
            connect(socket, &QTcpSocket::bytesWritten, this, &ScriptedServer::pump);
            // Over TLS, what waits to be sent is the encrypted bytes.
            if (auto *secure = qobject_cast<QSslSocket *>(socket))
                connect(secure, &QSslSocket::encryptedBytesWritten, this, &ScriptedServer::pump);
            const auto gone = [this] {
                m_peerGone = true;
                m_drip.stop();
            };
            connect(socket, &QTcpSocket::disconnected, this, gone);
            connect(socket, &QTcpSocket::errorOccurred, this, gone);
        }
    }

    void readRequest()
    {
        m_request += m_peer->readAll();
        const qsizetype headerEnd = m_request.indexOf("\r\n\r\n");
        if (headerEnd < 0 || m_answering)
            return;
        const QByteArray key("Content-Length: ");
        const qsizetype at = m_request.indexOf(key);
        if (at < 0)
            return;
        const qsizetype lineEnd = m_request.indexOf("\r\n", at);
        const int length = m_request.mid(at + key.size(), lineEnd - at - key.size()).toInt();
        if (m_request.size() < headerEnd + 4 + length)
            return;
        m_answering = true;
        if (dripMilliseconds > 0)
            m_drip.start(dripMilliseconds);
        else
            pump();
    }

    void write(const QByteArray &bytes)
    {
        if (!m_peer || m_peer->state() != QAbstractSocket::ConnectedState)
            return;
        m_sent += m_peer->write(bytes);
    }

    // Bytes handed to the connection and not yet sent.
    qint64 waiting() const
    {
        const auto *secure = qobject_cast<const QSslSocket *>(m_peer.data());
        return m_peer->bytesToWrite() + (secure ? secure->encryptedBytesToWrite() : 0);
    }

    // Keeps about a megabyte waiting in the connection until the script is written.
    void pump()
    {
        if (silent || !m_answering || m_finished || !m_peer || dripMilliseconds > 0)
            return;
        if (m_phase == 0) {
            write(head);
            m_phase = 1;
        }
        if (m_phase == 1 && !unit.isEmpty()) {
            if (m_chunk.isEmpty())
                m_chunk = unit.repeated(qMax<qsizetype>(1, 256 * 1024 / unit.size()));
            while (m_repeated < repeatBytes && waiting() < MiB
                   && m_peer->state() == QAbstractSocket::ConnectedState) {
                const qint64 n = qMin<qint64>(repeatBytes - m_repeated, m_chunk.size());
                write(m_chunk.left(n));
                m_repeated += n;
            }
            if (m_repeated < repeatBytes && m_peer->state() == QAbstractSocket::ConnectedState)
                return;
        }
        m_phase = 2;
        write(tail);
        m_finished = true;
        m_peer->flush();
        if (end == Close) {
            m_peer->disconnectFromHost();
        } else if (end == Reset) {
            // A zero linger time makes the close a reset.
            const linger hard = {1, 0};
            ::setsockopt(int(m_peer->socketDescriptor()), SOL_SOCKET, SO_LINGER, &hard,
                         sizeof hard);
            m_peer->abort();
            m_peerGone = true;
        }
    }

    void dripOne()
    {
        if (!m_peer || m_peer->state() != QAbstractSocket::ConnectedState
            || (dripLimit >= 0 && m_dripped >= dripLimit)) {
            m_drip.stop();
            return;
        }
        const char byte = m_dripped < head.size()
                              ? head.at(m_dripped)
                              : unit.at((m_dripped - head.size()) % unit.size());
        write(QByteArray(1, byte));
        m_peer->flush();
        ++m_dripped;
    }

    bool m_secure = false;
    std::unique_ptr<QTcpServer> m_server;
    QPointer<QTcpSocket> m_peer;
    QTimer m_drip;
    QByteArray m_request;
    QByteArray m_chunk;
    int m_accepted = 0;
    qint64 m_sent = 0;
    qint64 m_repeated = 0;
    qint64 m_dripped = 0;
    int m_phase = 0;
    bool m_answering = false;
    bool m_finished = false;
    bool m_peerGone = false;
};

bool isResult(const QString &status)
{
    return status == Complete || status == Failed || status == TimedOut
           || status.startsWith(QLatin1String("Secure Connection Failed"))
           || status == QLatin1String("Socket Read Error")
           || status == QLatin1String("Host Connection Refused")
           || status == QLatin1String("Host Not Found");
}

QStringList categoryNames(const QuorvelDocument &doc)
{
    QStringList names;
    for (const ActivityCategory *c : doc.categories)
        names.append(c->name);
    return names;
}

struct Outcome
{
    QString status;
    QString messages;
    bool succeeded = false;
    qint64 peakKiB = 0;
};

// The messages a reply of just under the cap carries: MessageStart, then this many lines.
qint64 linesUnderTheCap(const QByteArray &document)
{
    const qint64 room = SyncProtocol::ReplyParser::MaxReplyBytes - Preamble.size() - document.size()
                        - MessageStart.size() - EndLine.size();
    return room / MessageLine.size();
}

// What the window shows of those messages: their first 64 KiB, up to the dash that the limit
// falls in, and the note.
QString longMessagesShown()
{
    return QString::fromUtf8(MessageStart + MessageLine.repeated(1110))
           + QStringLiteral("Bitte die Stunden bis Freitag eintragen \n\n"
                            "The rest of the server's messages (63.9 MiB) was left out.");
}

} // namespace

class TestSyncHostile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase_data();
    void initTestCase();
    void init();
    void cleanup();

    void hostileReplies_data();
    void hostileReplies();
    void tablesAreLaidOut();
    void endlessDripStaysCancellable();
    void dripThatStopsTimesOut();
    void replyAfterTheProgramGaveUp();

private:
    // Task → Synchronize with Server against the server; whileOpen runs once the window shows
    // a result (or at once when waitForResult is false) and the window is closed after it.
    Outcome exchange(ScriptedServer &server, const std::function<void(Synchronize *)> &whileOpen,
                     bool waitForResult = true);
    // The data file and the window's document are what the file held before the exchange.
    void verifyReverted();
    // The exchange's result is in the data file.
    void verifySaved(const QStringList &categories);

    // The server of the case, in plain HTTP or over TLS as the global data row says.
    std::unique_ptr<ScriptedServer> newServer() const;

    std::unique_ptr<QuorvelMainWindow> m_window;
    QByteArray m_before;
    TestAuthority m_authority;
    TestAuthority::Issued m_certificate;
};

void TestSyncHostile::initTestCase_data()
{
    QTest::addColumn<bool>("tls");
    QTest::newRow("plain") << false;
    QTest::newRow("tls") << true;
}

void TestSyncHostile::initTestCase()
{
    QVERIFY2(m_authority.isValid(), qPrintable(m_authority.error()));
    m_certificate = m_authority.issue(QStringLiteral("server"), {QStringLiteral("localhost")});
    QVERIFY2(!m_certificate.certificateFile.isEmpty(), qPrintable(m_authority.error()));
    TlsTrust::setAuthorities(m_authority.certificates());
}

std::unique_ptr<ScriptedServer> TestSyncHostile::newServer() const
{
    QFETCH_GLOBAL(bool, tls);
    return std::make_unique<ScriptedServer>(tls ? m_certificate : TestAuthority::Issued());
}

void TestSyncHostile::init()
{
    TestEnvironment::wipe();
    MessageBox::clearShown();
    Clock::setFixed(at(21, 9, 30, 5));
    // Longer than any pause of a healthy case, short enough that a stuck one fails soon.
    Synchronize::setTimeoutMilliseconds(int(10000 * Scale));
    Configuration config;
    config.setMode(Configuration::Group);
    config.setServerUserID(QStringLiteral("user"));
    ServerPassword(config).write(QStringLiteral("pass"));
    {
        QuorvelDocument device;
        DocumentBuilder build(device);
        ActivityCategory *work = build.category(QStringLiteral("Work"));
        Activity *a = build.activity(QStringLiteral("A"), work);
        build.task(a, at(20, 8, 0), at(20, 8, 30), 1);
        build.sortAll();
        QVERIFY(device.save());
    }
    m_window = std::make_unique<QuorvelMainWindow>();
    // A change not yet written: the command saves it first, and it survives a failure.
    DocumentBuilder(*m_window->document()).category(QStringLiteral("Unsaved"));
    m_window->document()->categories.sort();
    m_before = m_window->document()->getDocumentBytes();
}

void TestSyncHostile::cleanup()
{
    // Before init() wipes the files, so that the window's own closing cannot write them.
    m_window.reset();
}

Outcome TestSyncHostile::exchange(ScriptedServer &server,
                                  const std::function<void(Synchronize *)> &whileOpen,
                                  bool waitForResult)
{
    Configuration().setServerAddress(server.address());
    Outcome outcome;
    const Watchdog watchdog(int(120 * Scale));
    if (!resetPeak())
        qWarning("/proc/self/clear_refs cannot be written: the peak is the process's");
    const qint64 startKiB = statusKiB("VmRSS");
    {
        ModalAnswers answers;
        answers.add([&](QWidget *widget) {
            auto *sync = qobject_cast<Synchronize *>(widget);
            if (!sync) {
                widget->close();
                return;
            }
            // Closed whatever it shows, so that a failure cannot leave the test waiting.
            if (waitForResult
                && !QTest::qWaitFor([&] { return isResult(sync->lblStatus->text()); },
                                    int(60000 * Scale)))
                qWarning("The exchange showed no result within a minute");
            if (whileOpen)
                whileOpen(sync);
            outcome.status = sync->lblStatus->text();
            outcome.messages = sync->txtMessages->toPlainText();
            outcome.succeeded = sync->succeeded;
            sync->close();
        });
        m_window->syncServer();
    }
    outcome.peakKiB = statusKiB("VmHWM") - startKiB;
    qInfo("peak resident memory of the exchange: +%lld MiB", outcome.peakKiB / 1024);
    return outcome;
}

void TestSyncHostile::verifyReverted()
{
    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().at(0).title, Incomplete);
    QCOMPARE(MessageBox::shown().at(0).text, IncompleteText);
    QCOMPARE(dataFileBytes(), m_before);
    QCOMPARE(m_window->document()->getDocumentBytes(), m_before);
    QCOMPARE(categoryNames(*m_window->document()),
             QStringList({QStringLiteral("Unsaved"), QStringLiteral("Work")}));
}

void TestSyncHostile::verifySaved(const QStringList &categories)
{
    QVERIFY(MessageBox::shown().isEmpty());
    QCOMPARE(categoryNames(*m_window->document()), categories);
    QCOMPARE(dataFileBytes(), m_window->document()->getDocumentBytes());
}

void TestSyncHostile::hostileReplies_data()
{
    QTest::addColumn<QByteArray>("head");
    QTest::addColumn<QByteArray>("unit");
    QTest::addColumn<qint64>("repeatBytes");
    QTest::addColumn<QByteArray>("tail");
    QTest::addColumn<int>("end");
    QTest::addColumn<QString>("status");
    QTest::addColumn<QString>("messages");
    // The program stops reading at the cap: the server never gets far beyond it written.
    QTest::addColumn<bool>("cutShort");

    const auto row = [](const char *name, const QByteArray &head, const QByteArray &unit,
                        qint64 repeatBytes, const QByteArray &tail, int end, const QString &status,
                        const QString &messages, bool cutShort = false) {
        QTest::newRow(name) << head << unit << repeatBytes << tail << end << status << messages
                            << cutShort;
    };
    const int close = ScriptedServer::Close;
    const int reset = ScriptedServer::Reset;
    const int open = ScriptedServer::StayOpen;
    const QByteArray reply = Preamble + ServerDocument + "Hello\n" + EndLine;

    QByteArray garbage;
    for (int i = 0; i < 65536; ++i)
        garbage += char((i * 131 + 7) & 0xff);
    row("garbage", garbage, {}, 0, {}, close, Failed, QString());
    row("garbage, connection left open", garbage, {}, 0, {}, open, TimedOut, QString());

    const QByteArray numbers = QByteArray("1234567890").repeated(100) + '\n';
    row("a gigabyte of document lines", Preamble + "--start--\n105\n", numbers, 1024 * MiB,
        "--end--\n" + EndLine, close, Failed, QString(), true);
    row("a gigabyte of messages", Preamble + EmptyDocument, MessageLine, 1024 * MiB, EndLine, close,
        Failed, QString(), true);
    row("a gigabyte without a line feed", Preamble + "--start--\n", "0123456789abcdef", 1024 * MiB,
        "\n--end--\n" + EndLine, close, Failed, QString(), true);
    QByteArray returns = reply;
    returns.replace('\n', '\r');
    row("lines ended by carriage returns", returns, {}, 0, {}, close, Failed, QString());

    row("two billion categories",
        Preamble + "--start--\n105\n3000\n2000000000\n1\n2000\nHome\n0\n--end--\nHello\n" + EndLine,
        {}, 0, {}, close, Failed, QStringLiteral("Hello "));
    row("two billion tasks",
        Preamble + "--start--\n105\n3000\n0\n0\n2000000000\n"
            + QByteArray("1\n2002\n1\n0\n2026\n11\n19\n10\n0\n").repeated(1000) + "--end--\nHello\n"
            + EndLine,
        {}, 0, {}, close, Failed, QStringLiteral("Hello "));
    row("two billion deleted ids",
        Preamble + "--start--\n105\n3000\n0\n0\n0\n2000000000\n77\n--end--\nHello\n" + EndLine, {},
        0, {}, close, Failed, QStringLiteral("Hello "));
    row("minus two billion categories",
        Preamble + "--start--\n105\n3000\n-2000000000\n0\n0\n0\n--end--\nHello\n" + EndLine, {}, 0,
        {}, close, Complete, QStringLiteral("Hello "));

    row("messages just under the cap", Preamble + ServerDocument + MessageStart, MessageLine,
        linesUnderTheCap(ServerDocument) * MessageLine.size(), EndLine, open, Complete,
        longMessagesShown());
    row("messages just under the cap, garbled document",
        Preamble + "--start--\n105\n3000\n1\n--end--\n" + MessageStart, MessageLine,
        linesUnderTheCap("--start--\n105\n3000\n1\n--end--\n") * MessageLine.size(), EndLine, close,
        Failed, longMessagesShown());

    row("closed mid-reply", reply.left(reply.size() / 2), {}, 0, {}, close, Failed, QString());
    row("reset mid-reply", reply.left(reply.size() / 2), {}, 0, {}, reset, Failed, QString());

    // Every way rich text names something to load; the port is the server's own.
    const QByteArray loading
        = "<script>document.write('<img src=http://127.0.0.1:PORT/script>')</script>\n"
          "<img src=\"http://127.0.0.1:PORT/x\">\n"
          "<a href=\"http://127.0.0.1:PORT/link\">a link</a>\n"
          "<iframe src=\"http://127.0.0.1:PORT/frame\"></iframe>\n"
          "<link rel=\"stylesheet\" href=\"http://127.0.0.1:PORT/style.css\">\n"
          "<style>body { background: url(http://127.0.0.1:PORT/css); }</style>\n"
          "<p style=\"background-image: url('http://127.0.0.1:PORT/inline')\">styled</p>\n"
          "<table background=\"http://127.0.0.1:PORT/table\"><tr><td>cell</td></tr></table>\n";
    row("markup that loads", Preamble + ServerDocument + loading + EndLine, {}, 0, {}, close,
        Complete, QString::fromUtf8(loading));
    // Rich text reads local files itself when the view gives it nothing, and /dev/zero never ends.
    const QByteArray zeroImage = "<img src=\"file:///dev/zero\">\n";
    row("an image from /dev/zero", Preamble + ServerDocument + zeroImage + EndLine, {}, 0, {},
        close, Complete, QString::fromUtf8(zeroImage));
    const QByteArray zeroStyle
        = "<link rel=\"stylesheet\" type=\"text/css\" href=\"file:///dev/zero\">styled\n";
    row("a style sheet from /dev/zero", Preamble + ServerDocument + zeroStyle + EndLine, {}, 0, {},
        close, Complete, QString::fromUtf8(zeroStyle));
    const QByteArray zeroBackground
        = "<p style=\"background-image: url(file:///dev/zero)\">styled</p>\n";
    row("a background from /dev/zero", Preamble + ServerDocument + zeroBackground + EndLine, {}, 0,
        {}, close, Complete, QStringLiteral("styled "));
    // Formatting with attributes is shown as rich text; what it names stays unloaded.
    const QByteArray attributes
        = "<font color=\"#ff0000\" face='Sans'>Red</font> <a href=http://127.0.0.1:PORT/link>a "
          "link</a> <span style=\"background-image: url(http://127.0.0.1:PORT/span)\">span</span>"
          "\n";
    row("formatting with attributes", Preamble + ServerDocument + attributes + EndLine, {}, 0, {},
        close, Complete, QStringLiteral("Red a link span "));
    const QByteArray unclosedQuote = "<font color=\"red>Red</font>\n";
    row("an attribute without its closing quote",
        Preamble + ServerDocument + unclosedQuote + EndLine, {}, 0, {}, close, Complete,
        QString::fromUtf8(unclosedQuote));

    // Nested tables grow the layout's work with every level: 16 took a second, 32 more than two
    // minutes.
    const QByteArray tables = QByteArray("<table><tr><td>").repeated(32) + "deep"
                              + QByteArray("</td></tr></table>").repeated(32) + '\n';
    // Shown as text, and 1060 characters without a space get a line feed after 1024.
    const QString tablesText = QString::fromUtf8(tables);
    row("tables nested 32 deep", Preamble + ServerDocument + tables + EndLine, {}, 0, {}, close,
        Complete, tablesText.left(1024) + QLatin1Char('\n') + tablesText.mid(1024));
    const QByteArray bold32
        = QByteArray("<b>").repeated(32) + "deep" + QByteArray("</b>").repeated(32);
    row("formatting nested 32 deep", Preamble + ServerDocument + bold32 + '\n' + EndLine, {}, 0, {},
        close, Complete, QStringLiteral("deep "));
    const QByteArray bold33 = "<i>" + bold32 + "</i>\n";
    row("formatting nested 33 deep", Preamble + ServerDocument + bold33 + EndLine, {}, 0, {}, close,
        Complete, QString::fromUtf8(bold33));
    // Tables within the bounds are laid out; beyond them the message is shown as it came.
    const QByteArray tables4 = QByteArray("<table><tr><td>").repeated(4) + "deep"
                               + QByteArray("</td></tr></table>").repeated(4) + '\n';
    row("tables nested 4 deep", Preamble + ServerDocument + tables4 + EndLine, {}, 0, {}, close,
        Complete, QString::fromUtf8(tables4));
    const QByteArray deepInCell = "<table><tr><td>" + QByteArray("<b>").repeated(30) + "deep"
                                  + QByteArray("</b>").repeated(30) + "</td></tr></table>\n";
    row("formatting 30 deep in a cell", Preamble + ServerDocument + deepInCell + EndLine, {}, 0, {},
        close, Complete, QString::fromUtf8(deepInCell));
    const QByteArray row10 = "<tr>" + QByteArray("<td>7</td>").repeated(10) + "</tr>\n";
    const QByteArray cells510 = "<table>\n" + row10.repeated(51) + "</table>\n";
    row("a table of 510 cells", Preamble + ServerDocument + cells510 + EndLine, {}, 0, {}, close,
        Complete, QString::fromUtf8(cells510));
    const QByteArray twoTables = "<table>\n" + row10.repeated(25) + "</table>\n<table>\n"
                                 + row10.repeated(26) + "</table>\n";
    row("two tables of 510 cells", Preamble + ServerDocument + twoTables + EndLine, {}, 0, {},
        close, Complete, QString::fromUtf8(twoTables));
    const QByteArray wide
        = "<table><tr>" + QByteArray("<td>7</td>").repeated(33) + "</tr></table>\n";
    row("a table 33 columns wide", Preamble + ServerDocument + wide + EndLine, {}, 0, {}, close,
        Complete, QString::fromUtf8(wide));
    // Rows spanned below the last row count as rows of the table.
    const QByteArray spanned
        = "<table><tr>" + QByteArray("<td rowspan=64>7</td>").repeated(8) + "</tr></table>\n";
    row("cells spanning 512 cells", Preamble + ServerDocument + spanned + EndLine, {}, 0, {}, close,
        Complete, QString::fromUtf8(spanned));
    const QByteArray stray = "<tr><td>no table</td></tr>\n";
    row("a row without its table", Preamble + ServerDocument + stray + EndLine, {}, 0, {}, close,
        Complete, QString::fromUtf8(stray));
    const QByteArray tableHead = "<table><tr><td>";
    const QByteArray tableTail = "</td></tr></table>\n";
    const QByteArray longCell = tableHead + QByteArray("Stunden ").repeated(9000) + tableTail;
    row("a table beyond 64 KiB", Preamble + ServerDocument + tableHead, "Stunden ", 9000 * 8,
        tableTail + EndLine, close, Complete,
        QString::fromUtf8(longCell.left(64 * 1024))
            + QStringLiteral("\n\nThe rest of the server's messages (%1) was left out.")
                  .arg(QLocale().formattedDataSize(longCell.size() - 64 * 1024, 1)));

    const QByteArray word = QByteArray("x").repeated(64 * 1024 - 1) + '\n';
    // A place to break the line at least every 1024 characters: the layout of a longer stretch
    // takes time in its square.
    QString wordShown;
    for (qsizetype at = 0; at < word.size() - 1; at += 1024)
        wordShown += QString::fromUtf8(word.mid(at, qMin<qsizetype>(1024, word.size() - 1 - at)))
                     + QLatin1Char('\n');
    row("one word of 64 KiB", Preamble + ServerDocument + word + EndLine, {}, 0, {}, close,
        Complete, wordShown);
    const QByteArray stretch
        = QByteArray("x").repeated(1024) + ' ' + QByteArray("y").repeated(1024) + '\n';
    row("stretches of 1024 characters", Preamble + ServerDocument + stretch + EndLine, {}, 0, {},
        close, Complete, QString::fromUtf8(stretch.left(stretch.size() - 1)) + QLatin1Char(' '));
    // Letters of two writing directions and broken bytes, without a space: seconds to lay
    // out in one stretch.
    const QByteArray mixed = QByteArray("<a\x9f<p<h1>lr\x9f\xdf\x9f\x9f\x9f\x9f\x9f\x9f"
                                        "edoA\x9f\x9f")
                                 .repeated(2400);
    const QString mixedText = QString::fromUtf8(mixed);
    QString mixedShown;
    for (qsizetype at = 0; at < mixedText.size(); at += 1024)
        mixedShown += mixedText.mid(at, 1024) + QLatin1Char('\n');
    row("mixed scripts in one stretch", Preamble + ServerDocument + mixed + '\n' + EndLine, {}, 0,
        {}, close, Complete, mixedShown);
}

void TestSyncHostile::hostileReplies()
{
    QFETCH(QByteArray, head);
    QFETCH(QByteArray, unit);
    QFETCH(qint64, repeatBytes);
    QFETCH(QByteArray, tail);
    QFETCH(int, end);
    QFETCH(QString, status);
    QFETCH(QString, messages);
    QFETCH(bool, cutShort);

    if (end == ScriptedServer::StayOpen && status == TimedOut)
        Synchronize::setTimeoutMilliseconds(int(300 * Scale));
    const std::unique_ptr<ScriptedServer> scripted = newServer();
    ScriptedServer &server = *scripted;
    server.head = head.replace("PORT", server.port());
    server.unit = unit;
    server.repeatBytes = repeatBytes;
    server.tail = tail;
    server.end = ScriptedServer::End(end);
    messages.replace(QStringLiteral("PORT"), QString::fromLatin1(server.port()));

    const Outcome outcome = exchange(server, {});
    QCOMPARE(outcome.status, status);
    QCOMPARE(outcome.succeeded, status == Complete);
    QCOMPARE(outcome.messages, messages);
    QVERIFY2(outcome.peakKiB < MemoryBoundKiB,
             qPrintable(QStringLiteral("+%1 MiB").arg(outcome.peakKiB / 1024)));
    if (cutShort) {
        QTRY_VERIFY(server.peerGone());
        QVERIFY2(server.sent() < 96 * MiB, qPrintable(QString::number(server.sent())));
    }
    const QStringList withHome
        = {QStringLiteral("Home"), QStringLiteral("Unsaved"), QStringLiteral("Work")};
    const QStringList withoutHome = {QStringLiteral("Unsaved"), QStringLiteral("Work")};
    // Nothing the reply named was fetched.
    QTest::qWait(200);
    QCOMPARE(server.accepted(), 1);
    if (status == Complete)
        verifySaved(head.contains(ServerDocument) ? withHome : withoutHome);
    else
        verifyReverted();
}

void TestSyncHostile::tablesAreLaidOut()
{
    const std::unique_ptr<ScriptedServer> scripted = newServer();
    ScriptedServer &server = *scripted;
    // The width, span and style beyond what the view takes are dropped, the cells kept.
    server.head = Preamble + ServerDocument
                  + "<p><b>Hours due</b> this <i>week</i>:</p>\n"
                    "<table border=1 width=100000 style=\"background: url(http://127.0.0.1:PORT/t)"
                    "\">\n<tr><th>Name</th><th colspan=5000>Hours</th></tr>\n"
                    "<tr><td>Ann</td><td align=right><font color=\"#ff0000\">12</font></td></tr>\n"
                    "</table>\n<ul><li>Mon<li>Tue</ul>\n"
                  + EndLine;
    server.head.replace("PORT", server.port());

    int rows = 0;
    int columns = 0;
    int tables = 0;
    QStringList cells;
    QString shown;
    bool boldHours = false;
    bool italicWeek = false;
    QColor twelveColour;
    int hoursSpan = 0;
    const Outcome outcome = exchange(server, [&](Synchronize *sync) {
        QTextDocument *document = sync->txtMessages->document();
        shown = document->toPlainText();
        const QList<QTextFrame *> frames = document->rootFrame()->childFrames();
        for (QTextFrame *frame : frames) {
            auto *table = qobject_cast<QTextTable *>(frame);
            if (!table)
                continue;
            ++tables;
            rows = table->rows();
            columns = table->columns();
            hoursSpan = table->cellAt(0, 1).columnSpan();
            for (int r = 0; r < rows; ++r) {
                for (int c = 0; c < columns; ++c) {
                    const QTextTableCell cell = table->cellAt(r, c);
                    QTextCursor cursor = cell.firstCursorPosition();
                    cursor.setPosition(cell.lastCursorPosition().position(),
                                       QTextCursor::KeepAnchor);
                    cells.append(cursor.selectedText());
                }
            }
            QTextCursor twelve = table->cellAt(1, 1).firstCursorPosition();
            twelve.movePosition(QTextCursor::NextCharacter);
            twelveColour = twelve.charFormat().foreground().color();
        }
        QTextCursor hours = document->find(QStringLiteral("Hours due"));
        boldHours = !hours.isNull() && hours.charFormat().fontWeight() == QFont::Bold;
        QTextCursor week = document->find(QStringLiteral("week"));
        italicWeek = !week.isNull() && week.charFormat().fontItalic();
    });
    QCOMPARE(outcome.status, Complete);
    QCOMPARE(tables, 1);
    QCOMPARE(rows, 2);
    QCOMPARE(columns, 2);
    QCOMPARE(hoursSpan, 1);
    QCOMPARE(cells, QStringList({QStringLiteral("Name"), QStringLiteral("Hours"),
                                 QStringLiteral("Ann"), QStringLiteral("12")}));
    QCOMPARE(twelveColour, QColor(255, 0, 0));
    QVERIFY(boldHours);
    QVERIFY(italicWeek);
    QVERIFY2(!shown.contains(QLatin1Char('<')) && !shown.contains(QLatin1Char('>')),
             qPrintable(shown));
    QCOMPARE(shown, QStringLiteral("Hours due this week:\nName\nHours\nAnn\n12\n\nMon\nTue "));
    // Nothing the style named was fetched.
    QTest::qWait(200);
    QCOMPARE(server.accepted(), 1);
}

void TestSyncHostile::endlessDripStaysCancellable()
{
    // Every byte restarts the wait for progress, so a server that never stops dripping is
    // never timed out: the window stays responsive and the user's close ends the exchange.
    Synchronize::setTimeoutMilliseconds(int(300 * Scale));
    const std::unique_ptr<ScriptedServer> scripted = newServer();
    ScriptedServer &server = *scripted;
    server.dripMilliseconds = 5;
    server.head = Preamble + "--start--\n105\n";
    server.unit = "1\n";

    qint64 dripped = 0;
    qint64 longestPause = 0;
    QString status;
    const Outcome outcome = exchange(
        server,
        [&](Synchronize *sync) {
            QTRY_COMPARE_WITH_TIMEOUT(sync->lblStatus->text(), Processing, int(10000 * Scale));
            const qint64 sentBefore = server.sent();
            // The event loop keeps turning while the bytes come.
            QElapsedTimer clock;
            clock.start();
            qint64 last = 0;
            QTimer tick;
            QObject::connect(&tick, &QTimer::timeout, [&] {
                longestPause = qMax(longestPause, clock.elapsed() - last);
                last = clock.elapsed();
            });
            tick.start(10);
            QTest::qWait(int(1500 * Scale));
            dripped = server.sent() - sentBefore;
            status = sync->lblStatus->text();
        },
        false);
    QCOMPARE(status, Processing);
    QVERIFY2(dripped > 50, qPrintable(QString::number(dripped)));
    QVERIFY2(longestPause < 500 * Scale, qPrintable(QString::number(longestPause)));
    QCOMPARE(outcome.status, Processing);
    QVERIFY(!outcome.succeeded);
    QCOMPARE(outcome.messages, QString());

    // Closing the window closed the connection, and the drip stops with it.
    QTRY_VERIFY(server.peerGone());
    const qint64 sent = server.sent();
    QTest::qWait(100);
    QCOMPARE(server.sent(), sent);
    QCOMPARE(server.accepted(), 1);
    QVERIFY(outcome.peakKiB < MemoryBoundKiB);
    verifyReverted();
}

void TestSyncHostile::dripThatStopsTimesOut()
{
    Synchronize::setTimeoutMilliseconds(int(300 * Scale));
    const std::unique_ptr<ScriptedServer> scripted = newServer();
    ScriptedServer &server = *scripted;
    server.dripMilliseconds = 5;
    server.head = Preamble + "--start--\n105\n";
    server.unit = "1\n";
    server.dripLimit = server.head.size() + 40;

    const Outcome outcome = exchange(server, {});
    QCOMPARE(outcome.status, TimedOut);
    QVERIFY(!outcome.succeeded);
    QCOMPARE(outcome.messages, QString());
    QCOMPARE(server.sent(), server.dripLimit);
    QCOMPARE(server.accepted(), 1);
    verifyReverted();
}

void TestSyncHostile::replyAfterTheProgramGaveUp()
{
    // A whole, good reply that comes after the timeout must not reach the document.
    Synchronize::setTimeoutMilliseconds(int(300 * Scale));
    const std::unique_ptr<ScriptedServer> scripted = newServer();
    ScriptedServer &server = *scripted;
    server.silent = true;
    server.head = Preamble + ServerDocument + "Hello\n" + EndLine;

    QString status;
    QString messages;
    QStringList categories;
    const Outcome outcome = exchange(server, [&](Synchronize *sync) {
        QCOMPARE(sync->lblStatus->text(), TimedOut);
        QVERIFY(server.requestRead());
        server.send();
        QTest::qWait(300);
        status = sync->lblStatus->text();
        messages = sync->txtMessages->toPlainText();
        categories = categoryNames(*m_window->document());
    });
    QCOMPARE(status, TimedOut);
    QCOMPARE(messages, QString());
    QCOMPARE(categories, QStringList({QStringLiteral("Unsaved"), QStringLiteral("Work")}));
    QCOMPARE(outcome.status, TimedOut);
    QVERIFY(!outcome.succeeded);
    QVERIFY(server.peerGone());
    QCOMPARE(server.accepted(), 1);
    verifyReverted();
}

int main(int argc, char *argv[])
{
    TestEnvironment environment;
    QuorvelApplication app(argc, argv);
    MessageBox::setTesting(true);
    TestSyncHostile tc;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&tc, argc, argv);
}

#include "tst_synchostile.moc"
