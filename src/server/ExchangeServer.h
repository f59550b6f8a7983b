// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "Exchange.h"
#include "Passwords.h"
#include "ServerDatabase.h"
#include "TaskCache.h"

#include <QElapsedTimer>
#include <QHash>
#include <QHostAddress>
#include <QObject>
#include <QPointer>
#include <QQueue>
#include <QSet>
#include <QSslConfiguration>
#include <QTcpServer>

#include <memory>
#include <vector>

class QThread;
class ServerConnection;
class ExchangeWorker;

struct ServerOptions
{
    QHostAddress address = QHostAddress::LocalHost;
    quint16 port = 8080;
    // A request body is at most as large as a reply may be.
    qint64 maxRequestBytes = qint64(64) * 1024 * 1024;
    // Request bytes held at one time over all connections; beyond it new requests are told
    // that the server is busy.
    qint64 maxBufferedBytes = qint64(256) * 1024 * 1024;
    // A request must arrive whole within this time, and its reply be taken within it.
    int requestTimeoutMs = 30000;
    int maxConnections = 512;
    // Exchanges carried out at the same time, each on a thread with its own connection.
    int workers = 2;
    ExchangeLimits limits;
    // PEM files of the certificate (with its chain) and the private key: with them the
    // exchange is served over TLS only.
    QString tlsCertificateFile;
    QString tlsKeyFile;
};

// Listens for the exchange. Over TLS it hands out QSslSockets that have not begun their
// handshake, so that the connection can tell a TLS client from one that speaks plain HTTP.
class ExchangeListener : public QTcpServer
{
public:
    bool secure = false;

protected:
    void incomingConnection(qintptr socketDescriptor) override;
};

// The group server's HTTP side: it answers exactly the request the program sends, an HTTP/1.0
// POST to /palmtopsync/sync105.php3 with a Content-Length, and nothing else. Requests are read
// here, on the event loop, with a size and a time bound; each whole request is carried out on
// a worker thread, so that a slow or hostile peer never holds up the others. With a
// certificate and key the same exchange goes over TLS, the handshake within the same bounds.
class ExchangeServer : public QObject
{
    Q_OBJECT

public:
    ExchangeServer(const ServerDatabase &database, const ServerOptions &options,
                   QObject *parent = nullptr);
    ~ExchangeServer() override;

    // Starts the workers, then listens on the address of the options, or on the socket that
    // systemd handed over (socket activation). False with *error when either fails.
    bool start(QString *error);
    QHostAddress address() const { return m_listener.serverAddress(); }
    quint16 port() const { return m_listener.serverPort(); }

    // Stops taking connections, lets the requests under way finish, then emits stopped().
    void stop();

    bool isSecure() const { return m_listener.secure; }
    // What the log says once the server listens (without "quorvel-server: "): where, how, the
    // data and the workers, and a warning when passwords would cross a network in clear.
    static QStringList listeningLines(const QHostAddress &address, quint16 port, bool secure,
                                      const QString &data, int workers);
    // Reads the certificate and key files again; the handshakes that begin afterwards present
    // them. A pair that cannot be used leaves the one before in use, and the log says why.
    void reloadTls();

Q_SIGNALS:
    void stopped();

private:
    friend class ServerConnection;
    struct Job
    {
        quint64 id = 0;
        QPointer<ServerConnection> connection;
        QByteArray body;
        QString peer;
        qint64 reserved = 0;
        QElapsedTimer clock;
        qint64 bytesIn = 0;
    };

    void acceptConnections();
    void connectionFinished(ServerConnection *connection);
    void submit(ServerConnection *connection, QByteArray body, qint64 reserved);
    void dispatch();
    void jobDone(ExchangeWorker *worker, quint64 jobId, const ExchangeOutcome &outcome);
    void checkStopped();
    void log(const QString &line) const;

    bool reserveBuffer(qint64 bytes);
    void releaseBuffer(qint64 bytes) { m_buffered -= bytes; }

    ServerDatabase m_database;
    ServerOptions m_options;
    Passwords m_passwords;
    TaskCache m_cache;
    ExchangeListener m_listener;
    QSslConfiguration m_tls;
    std::vector<std::unique_ptr<QThread>> m_threads;
    std::vector<std::unique_ptr<ExchangeWorker>> m_workers;
    QList<ExchangeWorker *> m_idle;
    QQueue<Job> m_queue;
    QHash<quint64, Job> m_running;
    quint64 m_nextJob = 1;
    // The connections open now. Kept here rather than found among the children: a class
    // without its own meta-object cannot be told apart from other children.
    QSet<ServerConnection *> m_connections;
    qint64 m_buffered = 0;
    bool m_stopping = false;
    bool m_stoppedSignalled = false;
};
