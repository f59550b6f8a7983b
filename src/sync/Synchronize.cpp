#include "Synchronize.h"

#include "model/QuorvelDocument.h"
#include "platform/Clock.h"
#include "platform/QuorvelApplication.h"

#include <QTcpSocket>
#include <QTimer>

#include <cstdlib>

namespace {

int s_timeoutMilliseconds = 60000;

} // namespace

Synchronize::Synchronize(QuorvelDocument *doc, QWidget *parent)
    : SynchronizeBase(parent)
    , document(doc)
{
    socket = new QTcpSocket(this);
    socket->setObjectName(QStringLiteral("socket"));
    connect(socket, &QTcpSocket::hostFound, this, &Synchronize::socketHostFound);
    connect(socket, &QTcpSocket::connected, this, &Synchronize::socketConnected);
    connect(socket, &QTcpSocket::disconnected, this, &Synchronize::socketConnectionClosed);
    connect(socket, &QTcpSocket::readyRead, this, &Synchronize::socketReadyRead);
    connect(socket, &QTcpSocket::errorOccurred, this, &Synchronize::socketError);

    timeout = new QTimer(this);
    timeout->setSingleShot(true);
    connect(timeout, &QTimer::timeout, this, &Synchronize::socketTimeout);
    restartTimeout();

    lblStatus->setText(tr("Looking Up Host"));
    exchangeTime = Clock::now();
    const SyncProtocol::HostAndPort server
        = SyncProtocol::splitHostAndPort(document->configuration.serverAddress());
    socket->connectToHost(server.host, server.port);
}

Synchronize::~Synchronize()
{
    closeSocket();
}

void Synchronize::setTimeoutMilliseconds(int milliseconds)
{
    s_timeoutMilliseconds = milliseconds;
}

int Synchronize::timeoutMilliseconds()
{
    return s_timeoutMilliseconds;
}

void Synchronize::hide()
{
    setVisible(false);
}

void Synchronize::setVisible(bool visible)
{
    if (!visible)
        closeSocket();
    SynchronizeBase::setVisible(visible);
}

void Synchronize::restartTimeout()
{
    timeout->start(s_timeoutMilliseconds);
}

void Synchronize::closeSocket()
{
    if (!socket)
        return;
    socket->disconnect(this);
    socket->abort();
}

void Synchronize::socketHostFound()
{
    lblStatus->setText(tr("Host Found"));
}

void Synchronize::socketConnected()
{
    restartTimeout();
    lblStatus->setText(tr("Connected"));
    const Configuration &settings = document->configuration;
    socket->write(SyncProtocol::buildRequest(document->getDocumentString(), exchangeTime,
                                             settings.serverAddress(), settings.serverUserID(),
                                             settings.serverPassword(), std::rand()));
}

void Synchronize::socketReadyRead()
{
    restartTimeout();
    const SyncProtocol::ReplyParser::State before = reply.state();
    reply.feed(socket->readAll());
    if (reply.overflowed()) {
        message(tr("Synchronization Failed"), false);
        return;
    }
    if (before == SyncProtocol::ReplyParser::WaitingForDocument
        && reply.state() != SyncProtocol::ReplyParser::WaitingForDocument)
        lblStatus->setText(tr("Processing Server Response"));
    if (reply.state() != SyncProtocol::ReplyParser::Finished)
        return;

    txtMessages->setHtml(QString::fromUtf8(reply.messageText()));
    QByteArray documentText = reply.documentText();
    if (document->populateFromByteArray(documentText.data(), int(documentText.size()))) {
        document->tasks.sort();
        document->activities.sort();
        document->categories.sort();
        message(tr("Synchronization Complete"), true);
    } else {
        message(tr("Synchronization Failed"), false);
    }
}

void Synchronize::socketConnectionClosed()
{
    // Lines that came with the close are still the reply's.
    if (socket->bytesAvailable() > 0) {
        socketReadyRead();
        if (reply.state() == SyncProtocol::ReplyParser::Finished || reply.overflowed())
            return;
    }
    message(tr("Synchronization Failed"), false);
}

void Synchronize::socketError(QAbstractSocket::SocketError error)
{
    switch (error) {
    case QAbstractSocket::ConnectionRefusedError:
        message(tr("Host Connection Refused"), false);
        break;
    case QAbstractSocket::HostNotFoundError:
        message(tr("Host Not Found"), false);
        break;
    case QAbstractSocket::RemoteHostClosedError:
        // The server closing is the closed-connection path's to report.
        break;
    default:
        message(tr("Socket Read Error"), false);
        break;
    }
}

void Synchronize::socketTimeout()
{
    message(tr("Connection Timed Out"), false);
}

void Synchronize::message(const QString &text, bool ok)
{
    closeSocket();
    lblStatus->setText(text);
    QPalette palette = lblStatus->palette();
    const QColor colour = ok ? QColor(128, 255, 128) : QColor(255, 128, 128);
    palette.setColor(QPalette::Active, QPalette::Window, colour);
    palette.setColor(QPalette::Inactive, QPalette::Window, colour);
    lblStatus->setPalette(palette);
    if (ok) {
        // Our own write must not come back as a reload.
        QuorvelApplication *app = QuorvelApplication::instance();
        if (app)
            app->expectOwnWrite();
        document->save();
        if (app)
            app->ownWriteFinished();
    }
    succeeded = ok;
}
