// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "HttpRequest.h"

#include "model/SyncProtocol.h"

#include <QList>

namespace HttpRequest {

bool findHeadEnd(const QByteArray &received, qsizetype *headEnd, qsizetype *bodyStart)
{
    qsizetype end = received.indexOf("\r\n\r\n");
    qsizetype start = end + 4;
    const qsizetype bare = received.indexOf("\n\n");
    if (bare >= 0 && (end < 0 || bare < end)) {
        end = bare;
        start = bare + 2;
    }
    if (end < 0)
        return false;
    *headEnd = end;
    *bodyStart = start;
    return true;
}

Head parseHead(const QByteArray &head)
{
    Head parsed;
    const QList<QByteArray> lines = head.split('\n');
    const QList<QByteArray> requestLine = lines.value(0).trimmed().split(' ');
    if (requestLine.size() != 3 || !requestLine.at(2).startsWith("HTTP/1.")) {
        parsed.status = 400;
        parsed.reason = QStringLiteral("malformed");
        return parsed;
    }
    parsed.method = requestLine.at(0);
    parsed.path = requestLine.at(1).split('?').value(0);
    if (parsed.path != SyncProtocol::RequestPath) {
        parsed.status = 404;
        parsed.reason = QStringLiteral("not-found");
        return parsed;
    }
    if (parsed.method != "POST") {
        parsed.status = 405;
        parsed.reason = QStringLiteral("method");
        return parsed;
    }
    qint64 length = -1;
    for (int i = 1; i < lines.size(); ++i) {
        const QByteArray line = lines.at(i).trimmed();
        const qsizetype colon = line.indexOf(':');
        if (colon < 0)
            continue;
        const QByteArray name = line.left(colon).trimmed().toLower();
        const QByteArray value = line.mid(colon + 1).trimmed();
        if (name == "content-length") {
            bool ok = false;
            length = value.toLongLong(&ok);
            if (!ok || length < 0) {
                parsed.status = 400;
                parsed.reason = QStringLiteral("malformed");
                return parsed;
            }
        } else if (name == "transfer-encoding") {
            parsed.status = 501;
            parsed.reason = QStringLiteral("chunked");
            return parsed;
        }
    }
    if (length < 0) {
        parsed.status = 411;
        parsed.reason = QStringLiteral("no-length");
        return parsed;
    }
    parsed.contentLength = length;
    return parsed;
}

} // namespace HttpRequest
