// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "SynchronizeBase.h"
#include "model/SyncProtocol.h"
#include "sync/TlsTrust.h"

#include <QAbstractSocket>
#include <QDateTime>
#include <QSslCertificate>

#include <optional>

class QSslError;
class QTcpSocket;
class QTextBrowser;
class QTimer;
class QuorvelDocument;

// The window of one server exchange. Construction starts it: the document goes to the server
// named in the settings and the reply's document part is appended to it. The window stays
// open with the result and the personal messages until the user closes it; succeeded tells
// the outcome. The document is not owned.
//
// A server address "https://…" is reached over TLS, and the request is written only once the
// connection is encrypted and the server's certificate trusted: by the system's certificate
// authorities, or, for a self-signed one, by the person when first asked (then kept in the
// settings, and any other certificate of that server refused).
class Synchronize : public SynchronizeBase
{
    Q_OBJECT

public:
    explicit Synchronize(QuorvelDocument *document, QWidget *parent = nullptr);
    ~Synchronize() override;

    bool succeeded = false;
    // The password to send, once asked of the keyring; without it the settings are asked
    // when the connection stands.
    void setPassword(const QString &password) { m_password = password; }

    // Length of the wait for progress, 60000 ms unless a test shortens it.
    static void setTimeoutMilliseconds(int milliseconds);
    static int timeoutMilliseconds();

    void hide();
    void setVisible(bool visible) override;

    // Shows the server's personal messages in view: as rich text when they are short and
    // made only of formatting and small tables (MessageMarkup), otherwise as the text that came
    // (its first 64 KiB, with a note of how much was left out, and a line feed in every 1024
    // characters without white space), so that no reply the cap lets through takes minutes or
    // gigabytes to lay out.
    static void showMessages(QTextBrowser *view, const QByteArray &messages);

private:
    void socketError(QAbstractSocket::SocketError error);
    void socketTimeout();
    void socketReadyRead();
    void socketConnectionClosed();
    void socketHostFound();
    void socketConnected();
    // The connection to a server over TLS stands; the handshake begins.
    void socketSecuring();
    void socketSslErrors(const QList<QSslError> &errors);
    // Connects to the server of the settings, over TLS for an "https://" address.
    void openConnection();
    // The handshake failed: reports why, or asks about a self-signed certificate.
    void secureConnectionFailed();
    // Asks whether to trust the self-signed certificate presented; connects again if so.
    void askTrust();
    // Reports a failure of the secure connection, with what the person can do in the messages.
    void secureFailure(const QString &status, const QString &explanation);
    // Reports the result: status text and colour; a success is saved.
    void message(const QString &text, bool ok);
    // Closes the connection without its signals reaching us, so that our own close is never
    // taken for the server's.
    void closeSocket();
    void restartTimeout();

    QTcpSocket *socket = nullptr;
    QuorvelDocument *document = nullptr;
    QDateTime exchangeTime;
    SyncProtocol::ReplyParser reply;
    QTimer *timeout = nullptr;
    std::optional<QString> m_password;
    // The server's TlsTrust::serverKey; empty when the exchange goes in plain HTTP.
    QString m_serverKey;
    // What the handshake's certificate errors came to, once there were any.
    std::optional<TlsTrust::Verdict> m_verdict;
    QSslCertificate m_presented;
    bool m_encrypted = false;
    bool m_closed = false;
};
