// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "SyncDevice.h"

#include "model/SyncProtocol.h"
#include "sync/TlsTrust.h"

#include <QSslSocket>

SyncDevice::SyncDevice(const QString &address, const QString &userId, const QString &secret)
    : user(userId)
    , password(secret)
    , m_address(address)
{}

SyncDevice::Reply SyncDevice::exchange(bool keep)
{
    Reply reply;
    const SyncProtocol::HostAndPort server = SyncProtocol::splitHostAndPort(m_address);
    QSslSocket socket;
    if (!source.isNull() && !socket.bind(source))
        return reply;
    if (server.secure) {
        socket.setSslConfiguration(TlsTrust::clientConfiguration());
        socket.connectToHostEncrypted(server.host, server.port);
        if (!socket.waitForEncrypted(10000))
            return reply;
        reply.certificate = TlsTrust::fingerprint(socket.peerCertificate());
    } else {
        socket.connectToHost(server.host, server.port);
        if (!socket.waitForConnected(10000))
            return reply;
    }
    socket.write(SyncProtocol::buildRequest(
        sentDocument.isEmpty() ? doc.getDocumentString() : QString::fromUtf8(sentDocument),
        QDateTime(QDate(2026, 11, 21), QTime(9, 30)), m_address, user, password, 4711));
    QByteArray received;
    SyncProtocol::ReplyParser parser;
    while (parser.state() != SyncProtocol::ReplyParser::Finished) {
        if (socket.bytesAvailable() == 0 && !socket.waitForReadyRead(30000))
            break;
        const QByteArray bytes = socket.readAll();
        received += bytes;
        parser.feed(bytes);
    }
    const QByteArray statusLine = received.left(received.indexOf('\r'));
    reply.status = statusLine.split(' ').value(1).toInt();
    reply.finished = parser.state() == SyncProtocol::ReplyParser::Finished;
    reply.document = parser.documentText();
    reply.messages = QString::fromUtf8(parser.messageText());
    if (!reply.finished)
        return reply;
    // Read into a copy first: a reply that does not read leaves the device as it was.
    QuorvelDocument probe;
    QByteArray copy = reply.document;
    reply.readable = probe.populateFromByteArray(copy.data(), int(copy.size()));
    if (reply.readable && keep) {
        QByteArray bytes = reply.document;
        doc.populateFromByteArray(bytes.data(), int(bytes.size()));
        doc.tasks.sort();
        doc.activities.sort();
        doc.categories.sort();
    }
    return reply;
}

Activity *SyncDevice::activity(const QString &name) const
{
    for (Activity *a : doc.activities) {
        if (a->name == name)
            return a;
    }
    return nullptr;
}

QVTask *SyncDevice::addTask(const QString &activityName, const QDateTime &start,
                            const QDateTime &stop)
{
    auto *t
        = new QVTask(doc.allocateId(), start, stop, 0, activity(activityName), QDateTime(), false);
    doc.tasks.append(t);
    doc.tasks.sort();
    return t;
}

QVTask *SyncDevice::task(int id) const
{
    for (QVTask *t : doc.tasks) {
        if (t->id == id)
            return t;
    }
    return nullptr;
}
