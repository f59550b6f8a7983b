// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "SyncProtocol.h"

namespace SyncProtocol {

const char RequestPath[] = "/palmtopsync/sync105.php3";
const char SyncMarker[] = "--sync--";
const char SyncEndMarker[] = "--sync-end--";

QByteArray buildRequest(const QString &documentString, const QDateTime &exchangeTime,
                        const QString &serverAddress, const QString &userId,
                        const QString &password, int randValue)
{
    const QDate date = exchangeTime.date();
    const QTime time = exchangeTime.time();
    QByteArray body(SyncMarker);
    body += '\n';
    for (const int value :
         {date.year(), date.month(), date.day(), time.hour(), time.minute(), time.second()}) {
        body += QByteArray::number(value);
        body += '\n';
    }
    body += serverAddress.toUtf8() + '\n';
    body += userId.toUtf8() + '\n';
    body += password.toUtf8() + '\n';
    body += documentString.toUtf8();

    QByteArray request("POST ");
    request += RequestPath;
    request += "?uid=";
    request += QByteArray::number(randValue);
    request += " HTTP/1.0\r\n"
               "User-Agent: quorvelqpe\r\n"
               "Content-Type: text/plain\r\n"
               "Content-Length: ";
    request += QByteArray::number(body.size());
    request += "\r\n\r\n";
    request += body;
    return request;
}

bool parseRequestBody(const QByteArray &body, RequestBody *parsed)
{
    QByteArrayList lines;
    qsizetype from = 0;
    while (lines.size() < 10) {
        const qsizetype lineFeed = body.indexOf('\n', from);
        if (lineFeed < 0)
            return false;
        lines.append(body.mid(from, lineFeed - from));
        from = lineFeed + 1;
    }
    if (lines.at(0) != SyncMarker)
        return false;
    for (int i = 0; i < 6; ++i)
        parsed->exchangeTime[i] = lines.at(1 + i).toInt();
    parsed->serverAddress = QString::fromUtf8(lines.at(7));
    parsed->userId = QString::fromUtf8(lines.at(8));
    parsed->password = QString::fromUtf8(lines.at(9));
    parsed->documentOffset = from;
    return true;
}

QByteArray buildReplyBody(const QByteArray &documentString, const QString &messages)
{
    QByteArray body = documentString;
    if (!body.endsWith('\n'))
        body += '\n';
    QByteArray text = messages.toUtf8();
    if (!text.isEmpty() && !text.endsWith('\n'))
        text += '\n';
    const QByteArray endLine = QByteArray(SyncEndMarker) + '\n';
    qsizetype from = 0;
    while (from < text.size()) {
        const qsizetype lineFeed = text.indexOf('\n', from);
        const QByteArray line = text.mid(from, lineFeed + 1 - from);
        body += line == endLine ? QByteArray(SyncEndMarker) + " \n" : line;
        from = lineFeed + 1;
    }
    body += endLine;
    return body;
}

namespace {

// "host:port" with the port after the last colon; without a valid one, the whole text is the
// host.
void takePort(const QString &address, HostAndPort *result)
{
    result->host = address;
    const qsizetype colon = address.lastIndexOf(QLatin1Char(':'));
    // A bare IPv6 address has several colons and no port of ours.
    if (colon < 0 || address.indexOf(QLatin1Char(':')) != colon)
        return;
    bool ok = false;
    const uint port = QStringView(address).mid(colon + 1).toUInt(&ok);
    if (!ok || port == 0 || port > 65535)
        return;
    result->host = address.left(colon);
    result->port = quint16(port);
}

} // namespace

HostAndPort splitHostAndPort(const QString &address)
{
    HostAndPort result;
    const QLatin1String scheme("https://");
    if (!address.startsWith(scheme, Qt::CaseInsensitive)) {
        takePort(address, &result);
        return result;
    }
    result.secure = true;
    result.port = DefaultSecurePort;
    const QString rest = address.mid(scheme.size());
    const qsizetype close = rest.indexOf(QLatin1Char(']'));
    if (!rest.startsWith(QLatin1Char('[')) || close < 0) {
        takePort(rest, &result);
        return result;
    }
    result.host = rest.mid(1, close - 1);
    const QStringView after = QStringView(rest).mid(close + 1);
    if (after.isEmpty())
        return result;
    bool ok = false;
    const uint port = after.startsWith(QLatin1Char(':')) ? after.mid(1).toUInt(&ok) : 0;
    if (!ok || port == 0 || port > 65535) {
        // Nothing a host could be called: the connection fails rather than go elsewhere.
        result.host = rest;
        return result;
    }
    result.port = quint16(port);
    return result;
}

void ReplyParser::feed(const QByteArray &bytes)
{
    if (m_state == Finished || m_overflowed)
        return;
    qsizetype from = 0;
    while (m_state != Finished) {
        const qsizetype lineFeed = bytes.indexOf('\n', from);
        if (lineFeed < 0)
            break;
        const qsizetype length = lineFeed + 1 - from;
        m_received += length;
        if (m_partialLine.isEmpty()) {
            takeLine(bytes.mid(from, length));
        } else {
            m_partialLine += bytes.mid(from, length);
            takeLine(m_partialLine);
            m_partialLine.clear();
        }
        from = lineFeed + 1;
        if (m_state != Finished && m_received > MaxReplyBytes) {
            m_overflowed = true;
            return;
        }
    }
    if (m_state == Finished)
        return;
    const qsizetype rest = bytes.size() - from;
    m_received += rest;
    if (m_received > MaxReplyBytes) {
        m_overflowed = true;
        m_partialLine.clear();
        return;
    }
    m_partialLine += bytes.mid(from);
}

void ReplyParser::takeLine(const QByteArray &line)
{
    switch (m_state) {
    case WaitingForDocument:
        if (line == "--start--\n") {
            m_documentText += line;
            m_state = InDocument;
        }
        break;
    case InDocument:
        m_documentText += line;
        if (line == "--end--\n")
            m_state = InMessages;
        break;
    case InMessages:
        if (line == "--sync-end--\n")
            m_state = Finished;
        else
            m_messageText += line;
        break;
    case Finished:
        break;
    }
}

} // namespace SyncProtocol
