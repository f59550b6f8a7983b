// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// What a peer sends to the group server, read as the server reads it: the head up to the blank
// line (within the bound on its size), the head's request line and headers, and the body's
// lines before the document string. Then, with texts taken from the input, a request as the
// program builds it must be read back as it was meant.
//
// The input is the bytes that arrive. For the built request, the input is cut at its first
// four zero bytes into the document string, the server address, the user id and the password.

#include "FuzzSupport.h"

#include "HttpRequest.h"
#include "model/SyncProtocol.h"

#include <QDateTime>

namespace {

// As the server's connection bounds it.
constexpr qsizetype MaxHeadBytes = 16 * 1024;

void checkHead(const HttpRequest::Head &head)
{
    if (head.status == 0) {
        FUZZ_CHECK(head.reason.isEmpty());
        FUZZ_CHECK(head.method == "POST");
        FUZZ_CHECK(head.path == SyncProtocol::RequestPath);
        FUZZ_CHECK(head.contentLength >= 0);
    } else {
        FUZZ_CHECK(head.status == 400 || head.status == 404 || head.status == 405
                   || head.status == 411 || head.status == 501);
        FUZZ_CHECK(!head.reason.isEmpty());
        FUZZ_CHECK(head.contentLength == -1);
    }
}

void checkBody(const QByteArray &body)
{
    SyncProtocol::RequestBody parsed;
    if (!SyncProtocol::parseRequestBody(body, &parsed))
        return;
    FUZZ_CHECK(body.startsWith("--sync--\n"));
    FUZZ_CHECK(parsed.documentOffset >= 10 && parsed.documentOffset <= body.size());
    FUZZ_CHECK(body.at(parsed.documentOffset - 1) == '\n');
    FUZZ_CHECK(!parsed.serverAddress.contains(QLatin1Char('\n')));
    FUZZ_CHECK(!parsed.userId.contains(QLatin1Char('\n')));
    FUZZ_CHECK(!parsed.password.contains(QLatin1Char('\n')));
}

// The bytes as they arrive: the head is looked for in at most MaxHeadBytes + 1 bytes, and a
// head that has not ended by then is refused.
void readArrived(const QByteArray &arrived)
{
    const QByteArray received = arrived.left(MaxHeadBytes + 1);
    qsizetype end = -1;
    qsizetype bodyStart = -1;
    if (!HttpRequest::findHeadEnd(received, &end, &bodyStart))
        return;
    FUZZ_CHECK(end >= 0 && bodyStart > end && bodyStart <= received.size());
    const QByteArray blank = received.mid(end, bodyStart - end);
    FUZZ_CHECK(blank == "\r\n\r\n" || blank == "\n\n");
    // No earlier blank line of either kind.
    FUZZ_CHECK(!received.left(end + 1).contains("\n\n"));
    FUZZ_CHECK(!received.left(end + 3).contains("\r\n\r\n"));

    const HttpRequest::Head head = HttpRequest::parseHead(received.left(end));
    checkHead(head);
    if (head.status != 0)
        return;
    const QByteArray body = arrived.mid(bodyStart);
    if (body.size() >= head.contentLength)
        checkBody(body.left(head.contentLength));
}

// A request as the program sends it is one the server takes, with its texts as they were.
void buildAndRead(const QByteArray &input)
{
    QList<QByteArray> parts = input.split('\0');
    while (parts.size() < 4)
        parts.append(QByteArray());
    const QString document = QString::fromUtf8(parts.at(0));
    const QString address = QString::fromUtf8(parts.at(1));
    const QString user = QString::fromUtf8(parts.at(2));
    const QString password = QString::fromUtf8(parts.at(3));
    const QDateTime when(QDate(2026, 11, 21), QTime(9, 30, 15));
    const QByteArray request
        = SyncProtocol::buildRequest(document, when, address, user, password, 4711);

    qsizetype end = -1;
    qsizetype bodyStart = -1;
    FUZZ_CHECK(HttpRequest::findHeadEnd(request, &end, &bodyStart));
    FUZZ_CHECK(end < MaxHeadBytes);
    const HttpRequest::Head head = HttpRequest::parseHead(request.left(end));
    FUZZ_CHECK(head.status == 0);
    const QByteArray body = request.mid(bodyStart);
    FUZZ_CHECK(head.contentLength == body.size());

    SyncProtocol::RequestBody parsed;
    const bool oneLineEach = !address.contains(QLatin1Char('\n'))
                             && !user.contains(QLatin1Char('\n'))
                             && !password.contains(QLatin1Char('\n'));
    FUZZ_CHECK(SyncProtocol::parseRequestBody(body, &parsed) || !oneLineEach);
    if (!oneLineEach)
        return;
    const int expectedTime[6] = {2026, 11, 21, 9, 30, 15};
    for (int i = 0; i < 6; ++i)
        FUZZ_CHECK(parsed.exchangeTime[i] == expectedTime[i]);
    FUZZ_CHECK(parsed.serverAddress == address);
    FUZZ_CHECK(parsed.userId == user);
    FUZZ_CHECK(parsed.password == password);
    FUZZ_CHECK(body.mid(parsed.documentOffset) == document.toUtf8());
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    Fuzz::setUp(Fuzz::Application::Core);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray input = Fuzz::bytes(data, size);
    readArrived(input);
    checkBody(input);
    buildAndRead(input);
    return 0;
}
