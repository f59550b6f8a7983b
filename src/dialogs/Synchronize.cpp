// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "Synchronize.h"
#include "keyring/ServerPassword.h"

#include "model/MessageMarkup.h"
#include "model/QuorvelDocument.h"
#include "platform/Clock.h"
#include "views/SafeTextBrowser.h"
#include "widgets/MessageBox.h"
#include "widgets/QuorvelApplication.h"

#include <QLocale>
#include <QPushButton>
#include <QSslSocket>
#include <QTcpSocket>
#include <QTextBrowser>
#include <QTimer>

#include <cstdlib>

namespace {

int s_timeoutMilliseconds = 60000;

// The server's messages are laid out whole, and laying out text costs far more than its bytes:
// a megabyte of plain text can take minutes. 64 KiB takes about a second at worst.
constexpr qsizetype MaxShownMessageBytes = 64 * 1024;

// A fingerprint on two lines of 16 bytes each, short enough for a message box.
QString fingerprintLines(const QString &fingerprint)
{
    constexpr qsizetype Half = 16 * 3 - 1;
    if (fingerprint.size() <= Half)
        return fingerprint;
    return fingerprint.left(Half) + QLatin1Char('\n') + fingerprint.mid(Half + 1);
}

} // namespace

void Synchronize::showMessages(QTextBrowser *view, const QByteArray &bytes)
{
    if (bytes.size() <= MaxShownMessageBytes) {
        // A long stretch without white space takes seconds to lay out as one.
        const std::optional<MessageMarkup::Markup> markup = MessageMarkup::richText(bytes);
        if (markup && !SafeTextBrowser::hasLongStretch(markup->layoutText))
            view->setHtml(markup->html);
        else
            view->setPlainText(SafeTextBrowser::withLineBreaks(QString::fromUtf8(bytes)));
        return;
    }
    // Not inside a character: a UTF-8 sequence has at most three continuation bytes.
    qsizetype cut = MaxShownMessageBytes;
    for (int i = 0; i < 3 && (uchar(bytes.at(cut)) & 0xc0) == 0x80; ++i)
        --cut;
    QString text = QString::fromUtf8(bytes.constData(), cut);
    if (!text.endsWith(QLatin1Char('\n')))
        text += QLatin1Char('\n');
    text += QLatin1Char('\n')
            + tr("The rest of the server's messages (%1) was left out.")
                  .arg(QLocale().formattedDataSize(bytes.size() - cut, 1));
    view->setPlainText(SafeTextBrowser::withLineBreaks(text));
}

Synchronize::Synchronize(QuorvelDocument *doc, QWidget *parent)
    : SynchronizeBase(parent)
    , document(doc)
{
    timeout = new QTimer(this);
    timeout->setSingleShot(true);
    connect(timeout, &QTimer::timeout, this, &Synchronize::socketTimeout);
    // Closing before a result ends the exchange as Escape does: nothing is kept.
    connect(btnClose, &QPushButton::clicked, this, &QWidget::close);
    restartTimeout();

    exchangeTime = Clock::now();
    openConnection();
}

void Synchronize::openConnection()
{
    lblStatus->setText(tr("Looking Up Host"));
    if (socket) {
        // A connection given up for the person's answer; its name goes with it.
        closeSocket();
        socket->setObjectName(QString());
        socket->deleteLater();
    }
    m_verdict.reset();
    m_presented = QSslCertificate();
    m_encrypted = false;

    const QString address = document->configuration.serverAddress();
    const SyncProtocol::HostAndPort server = SyncProtocol::splitHostAndPort(address);
    m_serverKey = TlsTrust::serverKey(address);
    QSslSocket *secure = server.secure ? new QSslSocket(this) : nullptr;
    socket = secure ? secure : new QTcpSocket(this);
    socket->setObjectName(QStringLiteral("socket"));
    connect(socket, &QTcpSocket::hostFound, this, &Synchronize::socketHostFound);
    connect(socket, &QTcpSocket::disconnected, this, &Synchronize::socketConnectionClosed);
    connect(socket, &QTcpSocket::readyRead, this, &Synchronize::socketReadyRead);
    connect(socket, &QTcpSocket::errorOccurred, this, &Synchronize::socketError);
    if (!secure) {
        connect(socket, &QTcpSocket::connected, this, &Synchronize::socketConnected);
        socket->connectToHost(server.host, server.port);
        return;
    }
    // Nothing is written before the connection is encrypted and the certificate trusted.
    connect(secure, &QSslSocket::connected, this, &Synchronize::socketSecuring);
    connect(secure, &QSslSocket::encrypted, this, &Synchronize::socketConnected);
    connect(secure, &QSslSocket::sslErrors, this, &Synchronize::socketSslErrors);
    secure->setSslConfiguration(TlsTrust::clientConfiguration());
    secure->connectToHostEncrypted(server.host, server.port);
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
    if (!visible) {
        m_closed = true;
        closeSocket();
    }
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
    // Over TLS this is the end of the handshake; the socket forgets it once closed.
    m_encrypted = true;
    restartTimeout();
    lblStatus->setText(tr("Connected"));
    const Configuration &settings = document->configuration;
    socket->write(SyncProtocol::buildRequest(
        document->getDocumentString(), exchangeTime, settings.serverAddress(),
        settings.serverUserID(), m_password ? *m_password : ServerPassword(settings).read(),
        std::rand()));
}

void Synchronize::socketSecuring()
{
    restartTimeout();
    lblStatus->setText(tr("Securing Connection"));
}

void Synchronize::socketSslErrors(const QList<QSslError> &errors)
{
    auto *secure = qobject_cast<QSslSocket *>(socket);
    m_presented = secure->peerCertificate();
    m_verdict = TlsTrust::judge(errors, m_presented,
                                document->configuration.trustedCertificate(m_serverKey));
    if (*m_verdict == TlsTrust::Verdict::Trusted)
        secure->ignoreSslErrors(errors);
}

void Synchronize::secureConnectionFailed()
{
    const QString server = m_serverKey;
    const QString fingerprint = TlsTrust::fingerprint(m_presented);
    const TlsTrust::Verdict verdict = m_verdict.value_or(TlsTrust::Verdict::Trusted);
    switch (verdict) {
    case TlsTrust::Verdict::Ask:
        // Asked outside the socket's signal, with the connection closed: the server does not
        // wait for the person, and nothing is sent before the answer.
        closeSocket();
        QTimer::singleShot(0, this, &Synchronize::askTrust);
        return;
    case TlsTrust::Verdict::NotTrusted:
        secureFailure(tr("Secure Connection Failed: the server's certificate is not trusted"),
                      tr("No certificate authority that this computer trusts vouches for the "
                         "certificate of %1, so nothing was sent to it.\n\n"
                         "The certificate: %2, issued by %3\nSHA-256: %4\n\n"
                         "If your team has a certificate authority of its own, it has to be "
                         "added to the authorities of this computer.")
                          .arg(server, TlsTrust::names(m_presented),
                               m_presented.issuerDisplayName(), fingerprint));
        return;
    case TlsTrust::Verdict::OtherHost:
        secureFailure(tr("Secure Connection Failed: the server's certificate is for another host"),
                      tr("The certificate of %1 is made out for %2, so nothing was sent to it."
                         "\n\nEnter the server's address with a name its certificate names "
                         "(Settings \u2192 Operating Mode), or ask your team lead.")
                          .arg(server, TlsTrust::names(m_presented)));
        return;
    case TlsTrust::Verdict::Expired:
        secureFailure(tr("Secure Connection Failed: the server's certificate has expired"),
                      tr("The certificate of %1 expired on %2, so nothing was sent to it.\n\n"
                         "Ask your team lead to renew it, and check the date and time of this "
                         "computer.")
                          .arg(server, m_presented.expiryDate().date().toString(Qt::ISODate)));
        return;
    case TlsTrust::Verdict::NotYetValid:
        secureFailure(tr("Secure Connection Failed: the server's certificate is not valid yet"),
                      tr("The certificate of %1 is valid only from %2 on, so nothing was sent to "
                         "it.\n\nCheck the date and time of this computer.")
                          .arg(server, m_presented.effectiveDate().date().toString(Qt::ISODate)));
        return;
    case TlsTrust::Verdict::Changed:
        secureFailure(
            tr("Secure Connection Failed: the server's certificate has changed"),
            tr("%1 presented a certificate other than the one trusted before, so nothing was "
               "sent to it: someone may be standing between this computer and the server.\n\n"
               "Trusted before: SHA-256 %2\nPresented now: SHA-256 %3\n\n"
               "If your team lead has made a new certificate, compare its fingerprint with "
               "theirs. To be asked about it, enter the server's address again in Settings "
               "\u2192 Operating Mode.")
                .arg(server, document->configuration.trustedCertificate(m_serverKey), fingerprint));
        return;
    case TlsTrust::Verdict::Trusted:
        break;
    }
    secureFailure(tr("Secure Connection Failed: the server did not set up an encrypted "
                     "connection"),
                  tr("No encrypted connection to %1 could be set up (%2), so nothing was sent "
                     "to it.\n\nCheck that the address names the server's TLS port; a server "
                     "without TLS is entered without https://.")
                      .arg(server, socket->errorString()));
}

void Synchronize::secureFailure(const QString &status, const QString &explanation)
{
    message(status, false);
    txtMessages->setPlainText(explanation);
}

void Synchronize::askTrust()
{
    if (m_closed)
        return;
    // The person's answer is what the exchange waits for now, however long it takes.
    timeout->stop();
    const QString fingerprint = TlsTrust::fingerprint(m_presented);
    const bool trusted = MessageBox::ask(
        this, tr("Unknown Server Certificate"),
        tr("Trust this server?\n\n%1 presents a certificate that it made itself: no "
           "certificate authority vouches for it. Its SHA-256 fingerprint is\n\n%2\n\n"
           "Answer Yes only if your team lead gave you this fingerprint. Quorvel then keeps the "
           "certificate and refuses any other from this server.")
            .arg(m_serverKey, fingerprintLines(fingerprint)));
    if (m_closed)
        return;
    restartTimeout();
    if (!trusted) {
        secureFailure(tr("Secure Connection Failed: the server's certificate is not trusted"),
                      tr("You did not trust the certificate of %1, so nothing was sent to it."
                         "\n\nSHA-256: %2")
                          .arg(m_serverKey, fingerprint));
        return;
    }
    document->configuration.setTrustedCertificate(m_serverKey, fingerprint);
    openConnection();
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

    showMessages(txtMessages, reply.messageText());
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
    // A server that closes during the handshake never spoke TLS with us.
    if (!m_serverKey.isEmpty() && !m_encrypted) {
        secureConnectionFailed();
        return;
    }
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
    case QAbstractSocket::SslHandshakeFailedError:
    case QAbstractSocket::SslInternalError:
    case QAbstractSocket::SslInvalidUserDataError:
        secureConnectionFailed();
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
        QuorvelApplication::ownWrite([this] { return document->save(); });
    }
    succeeded = ok;
}
