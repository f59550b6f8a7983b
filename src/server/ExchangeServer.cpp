// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ExchangeServer.h"

#include "HttpRequest.h"
#include "TlsFiles.h"

#include <QMetaObject>
#include <QSslSocket>
#include <QTcpSocket>
#include <QThread>
#include <QTimer>

#include <cstdio>
#include <unistd.h>

namespace {

// Request line and headers together; the program sends about a hundred bytes.
constexpr qsizetype MaxHeadBytes = 16 * 1024;
// How long a refused request's remaining body is still read, so that the peer sees the
// reply rather than a reset connection.
constexpr int DrainMs = 2000;
// The first byte a TLS client sends (the record type of its handshake); no request line
// begins with it.
constexpr char TlsHandshakeRecord = 0x16;

QByteArray reasonPhrase(int status)
{
    switch (status) {
    case 200:
        return "OK";
    case 400:
        return "Bad Request";
    case 403:
        return "Forbidden";
    case 404:
        return "Not Found";
    case 405:
        return "Method Not Allowed";
    case 408:
        return "Request Timeout";
    case 409:
        return "Conflict";
    case 411:
        return "Length Required";
    case 413:
        return "Payload Too Large";
    case 429:
        return "Too Many Requests";
    case 501:
        return "Not Implemented";
    case 503:
        return "Service Unavailable";
    default:
        return "Error";
    }
}

// A text for the log: quoted, with quotes, backslashes and control characters escaped, so that
// a user id from the network cannot forge a log line.
QString logText(const QString &text)
{
    QString out = QStringLiteral("\"");
    for (const QChar c : text) {
        if (c == QLatin1Char('"') || c == QLatin1Char('\\'))
            out += QLatin1Char('\\') + c;
        else if (c.unicode() < 32 || c.unicode() == 127)
            out += QStringLiteral("\\x%1").arg(c.unicode(), 2, 16, QLatin1Char('0'));
        else
            out += c;
    }
    return out + QLatin1Char('"');
}

} // namespace

// Carries out exchanges on a thread of its own, with a database connection of its own.
class ExchangeWorker : public QObject
{
public:
    ExchangeWorker(const ServerDatabase &database, Passwords &passwords, TaskCache &cache,
                   const ExchangeLimits &limits, int number)
        : m_database(database)
        , m_passwords(passwords)
        , m_cache(cache)
        , m_limits(limits)
        , m_connectionName(QStringLiteral("quorvel-worker-%1").arg(number))
    {}

    ~ExchangeWorker() override { closeDatabase(); }

    // On the worker's thread.
    bool openDatabase(QString *error)
    {
        if (!m_database.open(m_connectionName, error))
            return false;
        m_sql = std::make_unique<Sql>(QSqlDatabase::database(m_connectionName, false));
        m_exchange = std::make_unique<Exchange>(*m_sql, m_database.stateFolder(), m_passwords,
                                                m_limits, &m_cache);
        return true;
    }

    void closeDatabase()
    {
        if (!m_sql)
            return;
        m_exchange.reset();
        m_sql.reset();
        ServerDatabase::close(m_connectionName);
    }

    ExchangeOutcome process(QByteArray body, const QString &peer)
    {
        if (!m_exchange) {
            QString error;
            if (!openDatabase(&error)) {
                return Exchange::refusal(503, QStringLiteral("database"),
                                         Exchange::unavailableMessage());
            }
        }
        ExchangeOutcome outcome = m_exchange->run(std::move(body), peer);
        // A connection that failed (the database restarted, say) is opened afresh for the
        // next exchange.
        if (outcome.result == QLatin1String("refused:database"))
            closeDatabase();
        return outcome;
    }

private:
    ServerDatabase m_database;
    Passwords &m_passwords;
    TaskCache &m_cache;
    ExchangeLimits m_limits;
    QString m_connectionName;
    std::unique_ptr<Sql> m_sql;
    std::unique_ptr<Exchange> m_exchange;
};

// One client connection: reads the request head and body within the bounds, hands the body
// to the server, writes the reply and closes.
class ServerConnection : public QObject
{
public:
    ServerConnection(QTcpSocket *socket, ExchangeServer *server)
        : QObject(server)
        , m_socket(socket)
        , m_server(server)
    {
        socket->setParent(this);
        m_peer = socket->peerAddress().toString();
        if (server->isSecure()) {
            m_state = State::Hello;
            connect(socket, &QTcpSocket::errorOccurred, this, &ServerConnection::socketError);
        }
        m_deadline.setSingleShot(true);
        connect(&m_deadline, &QTimer::timeout, this, &ServerConnection::timedOut);
        m_deadline.start(server->m_options.requestTimeoutMs);
        connect(socket, &QTcpSocket::readyRead, this, &ServerConnection::readMore);
        connect(socket, &QTcpSocket::disconnected, this, &ServerConnection::peerClosed);
        connect(socket, &QTcpSocket::bytesWritten, this, &ServerConnection::written);
        readMore();
    }

    ~ServerConnection() override { m_server->releaseBuffer(m_reserved); }

    QString peer() const { return m_peer; }
    bool isIdle() const
    {
        return (m_state == State::Hello || m_state == State::Head) && m_head.isEmpty();
    }

    // The reply to a request handed over with its bytes.
    void reply(const ExchangeOutcome &outcome)
    {
        if (m_state != State::Processing)
            return;
        if (m_peerGone) {
            finish();
            return;
        }
        sendReply(outcome.status, outcome.body);
    }

    // Closes a connection that has not begun a request, when the server stops.
    void closeIdle()
    {
        if (isIdle())
            finish();
    }

private:
    // Hello: over TLS, before the first byte has told how the peer speaks.
    enum class State { Hello, Head, Body, Processing, Writing, Draining, Done };

    void readMore()
    {
        while (m_state == State::Hello || m_state == State::Head || m_state == State::Body
               || m_state == State::Draining) {
            const qint64 available = m_socket->bytesAvailable();
            if (available <= 0)
                return;
            if (m_state == State::Hello) {
                if (!takeHello())
                    return;
                continue;
            }
            if (m_state == State::Draining) {
                m_socket->skip(available);
                m_drained += available;
                if (m_drained >= m_bodyLength)
                    finishWriting();
                return;
            }
            if (m_state == State::Head) {
                const qint64 room = MaxHeadBytes - m_head.size();
                const QByteArray bytes = m_socket->read(qMin<qint64>(available, room + 1));
                m_head += bytes;
                if (!takeHead())
                    return;
                continue;
            }
            // Body.
            const qint64 wanted = m_bodyLength - m_body.size();
            if (!takeBody(m_socket->read(qMin(available, wanted))))
                return;
        }
    }

    // Over TLS, the first byte tells a TLS client from one that speaks plain HTTP: the
    // handshake begins, and the request comes decrypted with a later readyRead (false), or the
    // plain request is read only to be refused (true). The byte stays to be read.
    bool takeHello()
    {
        auto *secure = static_cast<QSslSocket *>(m_socket);
        m_state = State::Head;
        char first = 0;
        if (secure->peek(&first, 1) == 1 && first == TlsHandshakeRecord) {
            secure->setSslConfiguration(m_server->m_tls);
            secure->startServerEncryption();
            return false;
        }
        m_plainOnTls = true;
        return true;
    }

    void socketError(QAbstractSocket::SocketError error)
    {
        if (error != QAbstractSocket::SslHandshakeFailedError
            && error != QAbstractSocket::SslInternalError
            && error != QAbstractSocket::SslInvalidUserDataError)
            return;
        m_server->log(QStringLiteral("request peer=%1 result=tls-failed problem=%2")
                          .arg(m_peer, logText(m_socket->errorString())));
        finish();
    }

    // Looks for the end of the head in what has come; false when it has not come yet or the
    // request was refused.
    bool takeHead()
    {
        // A TLS client at a server without TLS: nothing it sends can be read, nor any reply.
        if (!m_server->isSecure() && m_head.startsWith(TlsHandshakeRecord)) {
            m_server->log(
                QStringLiteral("request peer=%1 result=refused:tls-at-plain-server").arg(m_peer));
            finish();
            return false;
        }
        qsizetype end = -1;
        qsizetype bodyStart = -1;
        if (!HttpRequest::findHeadEnd(m_head, &end, &bodyStart)) {
            if (m_head.size() > MaxHeadBytes)
                refuse(400, QStringLiteral("malformed"), Exchange::unreadableMessage());
            return false;
        }
        const QByteArray rest = m_head.mid(bodyStart);
        const HttpRequest::Head head = HttpRequest::parseHead(m_head.left(end));
        m_head.clear();

        if (m_plainOnTls) {
            m_bodyLength = qMax<qint64>(0, head.contentLength);
            m_drained = rest.size();
            refuse(400, QStringLiteral("not-encrypted"),
                   ExchangeServer::tr("This server takes only encrypted connections: enter its "
                                      "address beginning with https:// in Settings \u2192 "
                                      "Operating Mode. What this computer sent crossed the network "
                                      "unencrypted, its password with it; if the network is "
                                      "not your own, ask your team lead to change the "
                                      "password. Nothing was changed."));
            return false;
        }

        if (head.status != 0) {
            refuse(head.status, head.reason,
                   ExchangeServer::tr("This is a Quorvel group server; it understands only the "
                                      "synchronization of the Quorvel program. Nothing was "
                                      "changed."));
            return false;
        }
        const qint64 length = head.contentLength;
        m_bodyLength = length;
        if (length > m_server->m_options.maxRequestBytes) {
            m_drained = rest.size();
            refuse(413, QStringLiteral("too-large"),
                   ExchangeServer::tr("What this computer sent is larger than the server takes "
                                      "(%1 MiB). Nothing was changed.")
                       .arg(m_server->m_options.maxRequestBytes / (1024 * 1024)));
            return false;
        }
        m_state = State::Body;
        // Room for the whole body at once: memory is taken as the bytes arrive, and the buffer
        // never has to grow by copying.
        m_body.reserve(length);
        return takeBody(rest.left(length));
    }

    // Adds bytes of the body, within the server's bound on what all connections hold, and
    // hands the body over once it is whole. False when no more is to be read.
    bool takeBody(const QByteArray &bytes)
    {
        if (!m_server->reserveBuffer(bytes.size())) {
            refuse(503, QStringLiteral("busy"),
                   ExchangeServer::tr("The server is too busy just now. Nothing was changed; "
                                      "please try again in a minute."));
            return false;
        }
        m_reserved += bytes.size();
        m_body += bytes;
        if (m_body.size() < m_bodyLength)
            return true;
        m_state = State::Processing;
        const qint64 reserved = m_reserved;
        m_reserved = 0;
        m_server->submit(this, std::move(m_body), reserved);
        m_body = QByteArray();
        return false;
    }

    void refuse(int status, const QString &reason, const QString &message)
    {
        const ExchangeOutcome outcome = Exchange::refusal(status, reason, message);
        m_server->log(QStringLiteral("request peer=%1 result=%2").arg(m_peer, outcome.result));
        const bool bodyComing = m_state != State::Processing;
        sendReply(status, outcome.body);
        if (bodyComing && m_state == State::Writing) {
            // Keep reading what the peer still sends, for a short while.
            m_draining = true;
        }
    }

    void sendReply(int status, const QByteArray &body)
    {
        m_body = QByteArray();
        m_server->releaseBuffer(m_reserved);
        m_reserved = 0;
        QByteArray reply = "HTTP/1.0 " + QByteArray::number(status) + ' ' + reasonPhrase(status)
                           + "\r\nContent-Type: text/plain; charset=utf-8\r\nContent-Length: "
                           + QByteArray::number(body.size()) + "\r\nConnection: close\r\n\r\n";
        reply += body;
        m_state = State::Writing;
        m_toWrite = reply.size();
        m_deadline.start(m_server->m_options.requestTimeoutMs);
        m_socket->write(reply);
    }

    void written(qint64 bytes)
    {
        m_toWrite -= bytes;
        if (m_state == State::Writing && m_toWrite <= 0)
            finishWriting();
    }

    void finishWriting()
    {
        if (m_draining && m_drained < m_bodyLength && m_state == State::Writing) {
            // The reply is out; read the rest of the refused body for a moment.
            m_state = State::Draining;
            m_deadline.start(DrainMs);
            readMore();
            return;
        }
        m_socket->disconnectFromHost();
        if (m_socket->state() == QAbstractSocket::UnconnectedState)
            finish();
    }

    void timedOut()
    {
        switch (m_state) {
        case State::Hello:
        case State::Head:
        case State::Body:
            if (m_head.isEmpty() && m_body.isEmpty() && m_state != State::Body) {
                // Sent nothing at all.
                m_server->log(QStringLiteral("request peer=%1 result=refused:timeout").arg(m_peer));
                finish();
                return;
            }
            refuse(408, QStringLiteral("timeout"),
                   ExchangeServer::tr("What this computer sent did not arrive in time. Nothing "
                                      "was changed."));
            m_draining = false;
            return;
        case State::Processing:
            return;
        case State::Writing:
        case State::Draining:
        case State::Done:
            finish();
            return;
        }
    }

    void peerClosed()
    {
        // A peer that closes while its exchange is being carried out gets no reply; the
        // exchange itself still completes.
        if (m_state == State::Processing) {
            m_peerGone = true;
            return;
        }
        finish();
    }

    void finish()
    {
        if (m_state == State::Done)
            return;
        m_state = State::Done;
        m_deadline.stop();
        m_socket->disconnect(this);
        m_socket->abort();
        m_server->connectionFinished(this);
        deleteLater();
    }

    QTcpSocket *m_socket;
    ExchangeServer *m_server;
    QString m_peer;
    QTimer m_deadline;
    State m_state = State::Head;
    QByteArray m_head;
    QByteArray m_body;
    qint64 m_bodyLength = 0;
    qint64 m_reserved = 0;
    qint64 m_toWrite = 0;
    qint64 m_drained = 0;
    bool m_draining = false;
    bool m_peerGone = false;
    bool m_plainOnTls = false;
};

void ExchangeListener::incomingConnection(qintptr socketDescriptor)
{
    if (!secure) {
        QTcpServer::incomingConnection(socketDescriptor);
        return;
    }
    auto *socket = new QSslSocket(this);
    if (!socket->setSocketDescriptor(socketDescriptor)) {
        delete socket;
        ::close(int(socketDescriptor));
        return;
    }
    addPendingConnection(socket);
}

ExchangeServer::ExchangeServer(const ServerDatabase &database, const ServerOptions &options,
                               QObject *parent)
    : QObject(parent)
    , m_database(database)
    , m_options(options)
{
    m_listener.setMaxPendingConnections(options.maxConnections);
    connect(&m_listener, &QTcpServer::newConnection, this, &ExchangeServer::acceptConnections);
}

ExchangeServer::~ExchangeServer()
{
    m_listener.close();
    // Connections first: they tell the server when they go.
    const QSet<ServerConnection *> connections = m_connections;
    for (ServerConnection *connection : connections)
        delete connection;
    m_connections.clear();
    for (const auto &thread : m_threads) {
        thread->quit();
        thread->wait();
    }
}

bool ExchangeServer::start(QString *error)
{
    if (!m_options.tlsCertificateFile.isEmpty()) {
        if (!TlsFiles::load(m_options.tlsCertificateFile, m_options.tlsKeyFile, &m_tls, error))
            return false;
        m_listener.secure = true;
    }
    for (int i = 0; i < qMax(1, m_options.workers); ++i) {
        auto worker = std::make_unique<ExchangeWorker>(m_database, m_passwords, m_cache,
                                                       m_options.limits, i + 1);
        auto thread = std::make_unique<QThread>();
        thread->setObjectName(QStringLiteral("exchange worker %1").arg(i + 1));
        ExchangeWorker *w = worker.get();
        // Each worker opens its connection on its own thread, and closes it there.
        bool opened = false;
        QString openError;
        connect(
            thread.get(), &QThread::finished, w, [w] { w->closeDatabase(); }, Qt::DirectConnection);
        worker->moveToThread(thread.get());
        thread->start();
        QMetaObject::invokeMethod(
            w, [w, &opened, &openError] { opened = w->openDatabase(&openError); },
            Qt::BlockingQueuedConnection);
        m_threads.push_back(std::move(thread));
        m_workers.push_back(std::move(worker));
        if (!opened) {
            *error = openError;
            return false;
        }
        m_idle.append(w);
    }

    bool activated = false;
    // Socket activation: systemd hands the listening socket over as descriptor 3.
    if (qgetenv("LISTEN_PID").toLongLong() == qint64(::getpid())
        && qgetenv("LISTEN_FDS").toInt() >= 1) {
        if (!m_listener.setSocketDescriptor(3)) {
            *error = tr("The socket handed over by systemd cannot be used: %1")
                         .arg(m_listener.errorString());
            return false;
        }
        activated = true;
    }
    if (!activated && !m_listener.listen(m_options.address, m_options.port)) {
        *error = tr("Cannot listen on %1:%2: %3")
                     .arg(m_options.address.toString())
                     .arg(m_options.port)
                     .arg(m_listener.errorString());
        return false;
    }
    const QStringList lines
        = listeningLines(m_listener.serverAddress(), m_listener.serverPort(), isSecure(),
                         m_database.describe(), int(m_workers.size()));
    log(lines.constFirst());
    if (isSecure()) {
        log(QStringLiteral("TLS certificate %1 (from %2)")
                .arg(TlsFiles::describe(m_tls.localCertificate()), m_options.tlsCertificateFile));
    }
    for (qsizetype i = 1; i < lines.size(); ++i)
        log(lines.at(i));
    return true;
}

QStringList ExchangeServer::listeningLines(const QHostAddress &address, quint16 port, bool secure,
                                           const QString &data, int workers)
{
    const QString where = QStringLiteral("%1:%2").arg(address.toString()).arg(port);
    // Only this machine can reach a loopback address; anything else is a network.
    const bool inClear = !secure && !address.isLoopback();
    QStringList lines{QStringLiteral("listening on %1%2, data in %3, %4 workers")
                          .arg(where,
                               secure    ? QStringLiteral(" over TLS")
                               : inClear ? QStringLiteral(" in plain HTTP (passwords travel in "
                                                          "clear)")
                                         : QString(),
                               data)
                          .arg(workers)};
    if (inClear) {
        lines << QStringLiteral("warning: members' passwords and tasks cross the network in "
                                "clear on %1: serve TLS with --tls-cert and --tls-key, or listen "
                                "on 127.0.0.1 behind a TLS proxy")
                     .arg(where);
    }
    return lines;
}

void ExchangeServer::reloadTls()
{
    QSslConfiguration renewed;
    QString error;
    if (!TlsFiles::load(m_options.tlsCertificateFile, m_options.tlsKeyFile, &renewed, &error)) {
        log(QStringLiteral("SIGHUP: kept the TLS certificate in use: %1").arg(error));
        return;
    }
    m_tls = renewed;
    log(QStringLiteral("SIGHUP: TLS certificate read again: %1")
            .arg(TlsFiles::describe(m_tls.localCertificate())));
}

void ExchangeServer::stop()
{
    if (m_stopping)
        return;
    m_stopping = true;
    log(QStringLiteral("stopping: finishing %1 connection(s)").arg(m_connections.size()));
    m_listener.close();
    const QSet<ServerConnection *> connections = m_connections;
    for (ServerConnection *connection : connections)
        connection->closeIdle();
    checkStopped();
}

void ExchangeServer::acceptConnections()
{
    while (QTcpSocket *socket = m_listener.nextPendingConnection()) {
        if (m_stopping || m_connections.size() >= m_options.maxConnections) {
            socket->abort();
            socket->deleteLater();
            continue;
        }
        m_connections.insert(new ServerConnection(socket, this));
    }
}

void ExchangeServer::connectionFinished(ServerConnection *connection)
{
    m_connections.remove(connection);
    checkStopped();
}

bool ExchangeServer::reserveBuffer(qint64 bytes)
{
    if (m_buffered + bytes > m_options.maxBufferedBytes)
        return false;
    m_buffered += bytes;
    return true;
}

void ExchangeServer::submit(ServerConnection *connection, QByteArray body, qint64 reserved)
{
    Job job;
    job.id = m_nextJob++;
    job.connection = connection;
    job.bytesIn = body.size();
    job.body = std::move(body);
    job.peer = connection->peer();
    job.reserved = reserved;
    job.clock.start();
    m_queue.enqueue(std::move(job));
    dispatch();
}

void ExchangeServer::dispatch()
{
    while (!m_idle.isEmpty() && !m_queue.isEmpty()) {
        ExchangeWorker *worker = m_idle.takeFirst();
        Job job = m_queue.dequeue();
        const quint64 id = job.id;
        QByteArray body = std::move(job.body);
        const QString peer = job.peer;
        job.body = QByteArray();
        m_running.insert(id, std::move(job));
        QMetaObject::invokeMethod(
            worker, [this, worker, id, body = std::move(body), peer]() mutable {
                const ExchangeOutcome outcome = worker->process(std::move(body), peer);
                QMetaObject::invokeMethod(
                    this, [this, worker, id, outcome] { jobDone(worker, id, outcome); });
            });
    }
}

void ExchangeServer::jobDone(ExchangeWorker *worker, quint64 jobId, const ExchangeOutcome &outcome)
{
    Job job = m_running.take(jobId);
    releaseBuffer(job.reserved);
    m_idle.append(worker);
    log(QStringLiteral("exchange user=%1 device=%2 records-in=%3 records-out=%4 bytes-in=%5 "
                       "bytes-out=%6 ms=%7 result=%8 peer=%9")
            .arg(logText(outcome.user))
            .arg(outcome.device)
            .arg(outcome.recordsIn)
            .arg(outcome.recordsOut)
            .arg(job.bytesIn)
            .arg(outcome.body.size())
            .arg(job.clock.elapsed())
            .arg(outcome.result, job.peer)
        + (outcome.problem.isEmpty() ? QString()
                                     : QStringLiteral(" problem=") + logText(outcome.problem)));
    if (job.connection)
        job.connection->reply(outcome);
    dispatch();
    checkStopped();
}

void ExchangeServer::checkStopped()
{
    if (!m_stopping || m_stoppedSignalled || !m_connections.isEmpty() || !m_running.isEmpty()
        || !m_queue.isEmpty())
        return;
    m_stoppedSignalled = true;
    log(QStringLiteral("stopped"));
    QMetaObject::invokeMethod(this, &ExchangeServer::stopped, Qt::QueuedConnection);
}

void ExchangeServer::log(const QString &line) const
{
    const QByteArray bytes = QStringLiteral("quorvel-server: %1\n").arg(line).toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stderr);
    std::fflush(stderr);
}
