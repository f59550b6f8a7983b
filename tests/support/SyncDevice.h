// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "model/QuorvelDocument.h"

#include <QByteArray>
#include <QDateTime>
#include <QHostAddress>
#include <QString>

// A device talking to a group server at the level of the exchange: the request is built by the
// program's own request builder and the reply read by its own parser, then taken in as the
// program takes it in (appended to the document, the lists sorted), or dropped as the program
// drops it when it goes back to the file saved before the exchange. An "https://" address is
// reached over TLS with the program's own requirements (TlsTrust::clientConfiguration).
class SyncDevice
{
public:
    SyncDevice(const QString &address, const QString &user, const QString &password);

    QString user;
    QString password;
    QuorvelDocument doc;
    // When set, the document string sent instead of doc's (for records the program would
    // never write).
    QByteArray sentDocument;
    // When set, the address the device connects from (any of 127.0.0.0/8 on the loopback).
    QHostAddress source;

    struct Reply
    {
        int status = 0;        // HTTP status; 0 when no reply came
        bool finished = false; // up to "--sync-end--"
        bool readable = false; // the document part reads
        QByteArray document;   // the document part
        QString messages;      // the personal messages, as sent (rich text)
        // Over TLS: the SHA-256 fingerprint of the certificate the server presented.
        QString certificate;
    };

    // One exchange. With keep, a readable reply is taken in; otherwise the device stays as it
    // was, as after the program's revert.
    Reply exchange(bool keep = true);

    // The server moved (a restarted server listens on a port of its own).
    void setAddress(const QString &address) { m_address = address; }

    Activity *activity(const QString &name) const;
    // A stopped task of the named activity (or a running one for a null stop), with the next id.
    QVTask *addTask(const QString &activity, const QDateTime &start, const QDateTime &stop);
    QVTask *task(int id) const;

private:
    QString m_address;
};
