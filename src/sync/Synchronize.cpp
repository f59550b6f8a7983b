#include "Synchronize.h"

#include "model/QuorvelDocument.h"
#include "platform/Clock.h"
#include "platform/QuorvelApplication.h"
#include "views/SafeTextBrowser.h"

#include <QLocale>
#include <QTcpSocket>
#include <QTextBrowser>
#include <QTimer>

#include <cstdlib>

namespace {

int s_timeoutMilliseconds = 60000;

// The server's messages are laid out whole, and laying out text costs far more than its bytes:
// a megabyte of plain text can take minutes. 64 KiB takes about a second at worst.
constexpr qsizetype MaxShownMessageBytes = 64 * 1024;
// Qt's HTML reader slows down with every level of nesting (quadratically).
constexpr int MaxMarkupDepth = 32;

// Formatting whose layout cost grows with the text alone; not tables (32 levels of nesting take
// minutes, thousands overflow the stack), images or anything else that embeds. Attributes are
// harmless: the view loads nothing they name.
bool isFormattingTag(const QByteArray &name)
{
    static const QByteArrayList tags
        = {"a",   "b",   "big", "blockquote", "body",  "br",   "center", "cite",   "code",
           "dd",  "div", "dl",  "dt",         "em",    "font", "h1",     "h2",     "h3",
           "h4",  "h5",  "h6",  "hr",         "html",  "i",    "kbd",    "li",     "ol",
           "p",   "pre", "s",   "samp",       "small", "span", "strike", "strong", "sub",
           "sup", "tt",  "u",   "ul",         "var"};
    return tags.contains(name);
}

bool isAsciiLetterOrDigit(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

bool isSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

// Skips the attributes of a tag from p: name, name=value, name="value" or name='value'. Returns
// where the tag goes on ('>' or '/'), or -1 when the attributes do not end well.
qsizetype skipAttributes(const QByteArray &text, qsizetype p)
{
    for (;;) {
        while (p < text.size() && isSpace(text.at(p)))
            ++p;
        if (p >= text.size())
            return -1;
        if (text.at(p) == '>' || text.at(p) == '/')
            return p;
        const qsizetype nameStart = p;
        while (p < text.size()
               && (isAsciiLetterOrDigit(text.at(p)) || text.at(p) == '-' || text.at(p) == '_'))
            ++p;
        if (p == nameStart)
            return -1;
        while (p < text.size() && isSpace(text.at(p)))
            ++p;
        if (p >= text.size() || text.at(p) != '=')
            continue;
        ++p;
        while (p < text.size() && isSpace(text.at(p)))
            ++p;
        if (p >= text.size())
            return -1;
        const char quote = text.at(p);
        if (quote == '"' || quote == '\'') {
            p = text.indexOf(quote, p + 1);
            if (p < 0)
                return -1;
            ++p;
        } else {
            const qsizetype valueStart = p;
            while (p < text.size() && !isSpace(text.at(p)) && text.at(p) != '>')
                ++p;
            if (p == valueStart)
                return -1;
        }
    }
}

// True when every tag is a formatting tag, nested at most MaxMarkupDepth deep. Counting each
// unclosed tag as a level errs towards plain text.
bool isSimpleMarkup(const QByteArray &text)
{
    int depth = 0;
    for (qsizetype at = text.indexOf('<'); at >= 0; at = text.indexOf('<', at + 1)) {
        qsizetype p = at + 1;
        const bool closing = p < text.size() && text.at(p) == '/';
        if (closing)
            ++p;
        const qsizetype nameStart = p;
        while (p < text.size() && isAsciiLetterOrDigit(text.at(p)))
            ++p;
        const QByteArray name = text.mid(nameStart, p - nameStart).toLower();
        if (!isFormattingTag(name))
            return false;
        p = closing ? p : skipAttributes(text, p);
        while (p >= 0 && p < text.size() && isSpace(text.at(p)))
            ++p;
        if (p < 0 || p >= text.size())
            return false;
        const bool empty = !closing && text.at(p) == '/';
        if (empty)
            ++p;
        if (p >= text.size() || text.at(p) != '>')
            return false;
        if (closing)
            depth = qMax(0, depth - 1);
        else if (!empty && name != "br" && name != "hr" && ++depth > MaxMarkupDepth)
            return false;
        at = p;
    }
    return true;
}

} // namespace

void Synchronize::showMessages(QTextBrowser *view, const QByteArray &bytes)
{
    if (bytes.size() <= MaxShownMessageBytes) {
        const QString text = QString::fromUtf8(bytes);
        // A long stretch without white space takes seconds to lay out as one.
        if (isSimpleMarkup(bytes) && !SafeTextBrowser::hasLongStretch(text))
            view->setHtml(text);
        else
            view->setPlainText(SafeTextBrowser::withLineBreaks(text));
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
                                             m_password ? *m_password : settings.serverPassword(),
                                             std::rand()));
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
        QuorvelApplication::ownWrite([this] { return document->save(); });
    }
    succeeded = ok;
}
