// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QByteArray>
#include <QString>

// The head of a request as the group server reads it, apart from the socket, so that every
// byte sequence a peer may send can be checked against it on its own.
namespace HttpRequest {

// Where the head ends in the bytes received so far: at the first "\r\n\r\n" or bare "\n\n",
// whichever comes first. *headEnd is the offset of that blank line, *bodyStart the offset just
// after it. False while no blank line has come.
bool findHeadEnd(const QByteArray &received, qsizetype *headEnd, qsizetype *bodyStart);

struct Head
{
    // 0 for the request the server answers: a POST to SyncProtocol::RequestPath over HTTP/1.x
    // with a Content-Length and no Transfer-Encoding. Otherwise the status of the refusal.
    int status = 0;
    // Why it is refused, as the log names it: "malformed", "not-found", "method", "chunked" or
    // "no-length"; empty when status is 0.
    QString reason;
    // The request line's method and its path without the query; empty when the line is not
    // three words.
    QByteArray method;
    QByteArray path;
    // The last Content-Length given; -1 when there is none, or the head is refused before it.
    qint64 contentLength = -1;
};

// Reads the request line and the header lines, the bytes before the blank line.
Head parseHead(const QByteArray &head);

} // namespace HttpRequest
