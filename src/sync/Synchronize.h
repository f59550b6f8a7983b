#pragma once

#include "SyncProtocol.h"
#include "SynchronizeBase.h"

#include <QAbstractSocket>
#include <QDateTime>

#include <optional>

class QTcpSocket;
class QTextBrowser;
class QTimer;
class QuorvelDocument;

// The window of one server exchange. Construction starts it: the document goes to the server
// named in the settings and the reply's document part is appended to it. The window stays
// open with the result and the personal messages until the user closes it; succeeded tells
// the outcome. The document is not owned.
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
    // made only of formatting, otherwise as the text that came (its first 64 KiB, with a note
    // of how much was left out, and a line feed in every 1024 characters without white
    // space), so that no reply the cap lets through takes minutes or gigabytes to lay out.
    static void showMessages(QTextBrowser *view, const QByteArray &messages);

private:
    void socketError(QAbstractSocket::SocketError error);
    void socketTimeout();
    void socketReadyRead();
    void socketConnectionClosed();
    void socketHostFound();
    void socketConnected();
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
};
