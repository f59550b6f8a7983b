// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>

// Framing of the server exchange: one HTTP/1.0 POST carrying the document string, and a reply
// whose document part and personal messages are delimited by marker lines. No sockets here.
namespace SyncProtocol {

// Port used when the server address names none.
constexpr quint16 DefaultPort = 80;
// Port of an "https://" server address that names none.
constexpr quint16 DefaultSecurePort = 443;

// The path of the request; its query ("?uid=N") only defeats caches.
extern const char RequestPath[]; // "/palmtopsync/sync105.php3"
// First line of a request body, and the line that ends a reply.
extern const char SyncMarker[];    // "--sync--"
extern const char SyncEndMarker[]; // "--sync-end--"

// The whole request as UTF-8 bytes: request line (randValue only defeats caches), the three
// headers and the body of credentials and document.
QByteArray buildRequest(const QString &documentString, const QDateTime &exchangeTime,
                        const QString &serverAddress, const QString &userId,
                        const QString &password, int randValue);

// The body of a request as the server reads it: the lines before the document string are
// taken exactly as they stand, so an empty user id is an empty line.
struct RequestBody
{
    // Year, month, day, hour, minute, second of the device's clock, as sent.
    int exchangeTime[6] = {0, 0, 0, 0, 0, 0};
    QString serverAddress;
    QString userId;
    QString password;
    // Where the document string begins in the body.
    qsizetype documentOffset = 0;
};

// Reads the ten lines before the document string. False when the body does not begin with
// "--sync--" or ends before the tenth line.
bool parseRequestBody(const QByteArray &body, RequestBody *parsed);

// A reply body: the document part (a document string from "--start--" to "--end--"), the
// personal messages, and the end marker. A message line that would read as the end marker
// gets a blank appended, which rich text does not show; the messages end with a line feed.
QByteArray buildReplyBody(const QByteArray &documentString, const QString &messages);

struct HostAndPort
{
    QString host;
    quint16 port = DefaultPort;
    // The exchange goes over TLS: the address began with "https://".
    bool secure = false;
};

// Splits "host:port"; without a valid port after the last colon the whole text is the host
// and the port is 80. "https://host[:port]" (the scheme in any case) is a server reached over
// TLS, on port 443 unless one is named; an IPv6 address goes in brackets there
// ("https://[::1]:8443"). Whatever follows "https://", the exchange never goes in clear.
HostAndPort splitHostAndPort(const QString &address);

// Reads the reply line by line as bytes arrive, however they are split. Lines keep their line
// feed and are compared whole with the markers; a line not yet complete waits for more bytes.
class ReplyParser
{
public:
    enum State { WaitingForDocument = 0, InDocument = 1, InMessages = 2, Finished = 3 };

    // More than this many reply bytes before the end marker make the reply unusable.
    static constexpr qint64 MaxReplyBytes = qint64(64) * 1024 * 1024;

    // Takes the next bytes of the reply. Bytes after the end marker are ignored.
    void feed(const QByteArray &bytes);

    State state() const { return m_state; }
    // True once the reply has passed MaxReplyBytes without being finished.
    bool overflowed() const { return m_overflowed; }
    // From "--start--\n" to "--end--\n", both included.
    const QByteArray &documentText() const { return m_documentText; }
    // The lines between the document part and the end marker.
    const QByteArray &messageText() const { return m_messageText; }

private:
    void takeLine(const QByteArray &line);

    State m_state = WaitingForDocument;
    bool m_overflowed = false;
    qint64 m_received = 0;
    QByteArray m_partialLine;
    QByteArray m_documentText;
    QByteArray m_messageText;
};

} // namespace SyncProtocol
