// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers
#pragma once

#include <QCoreApplication>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QString>
#include <QStringList>

// The group server's certificate and private key: read from PEM files (and read again when a
// renewed pair is put in their place), checked to belong together before they are used, and
// made self-signed for a team without a certificate authority.
class TlsFiles
{
    Q_DECLARE_TR_FUNCTIONS(TlsFiles)

public:
    // The server's side of TLS 1.2 or newer with the certificate (and the chain after it) of
    // certificateFile and the key of keyFile. False with *error when a file cannot be read,
    // holds no certificate or no unencrypted private key in PEM, or the key is not the
    // certificate's.
    static bool load(const QString &certificateFile, const QString &keyFile,
                     QSslConfiguration *configuration, QString *error);

    // "for NAMES, SHA-256 FINGERPRINT, valid until DATE" (or "expired on DATE"), for the log.
    static QString describe(const QSslCertificate &certificate);

    // Whether every text names a host (letters, digits, hyphens and dots) or is an IP address.
    static bool isHostName(const QString &text);

    // Writes a new elliptic-curve key, readable by its owner alone, and a certificate for the
    // hosts signed with it, valid for days, with the openssl command. Neither file may exist.
    // False with *error.
    static bool makeSelfSigned(const QStringList &hosts, int days, const QString &certificateFile,
                               const QString &keyFile, QString *error);
};
