// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers
#pragma once

#include <QDate>
#include <QList>
#include <QSslCertificate>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

// A certificate authority of a test's own, made with the openssl command in a temporary
// folder, and server certificates signed by it or by themselves: for servers over TLS on
// 127.0.0.1 that the program is to trust, or to refuse. Elliptic-curve keys (P-256), as the
// server's own self-signed command makes.
class TestAuthority
{
public:
    // Makes the authority, named name; isValid() tells whether openssl did.
    explicit TestAuthority(const QString &name = QStringLiteral("Quorvel Test Authority"));

    bool isValid() const { return m_valid; }
    // What openssl said when something failed.
    QString error() const { return m_error; }
    // The authority's own certificate, to be trusted (TlsTrust::setAuthorities).
    QList<QSslCertificate> certificates() const;
    QString certificateFile() const;

    struct Issued
    {
        QString certificateFile;
        QString keyFile;
    };
    // A server certificate named name for hosts (DNS names or IP addresses), valid for days
    // from now; a negative number makes one that expired that many days ago. Empty files when
    // openssl failed.
    Issued issue(const QString &name, const QStringList &hosts, int days = 30);
    // The same, signed by its own key.
    Issued selfSigned(const QString &name, const QStringList &hosts, int days = 30);

    // What `openssl x509` reads from a certificate file: its SHA-256 fingerprint ("AB:CD:…")
    // and the day it expires (UTC).
    static QString fingerprint(const QString &certificateFile);
    static QDate expiryDate(const QString &certificateFile);

private:
    bool openssl(const QStringList &arguments, QString *output = nullptr);
    QString extensionsFile(const QString &name, const QStringList &hosts);
    // A key and a certificate for hosts, signed as the openssl x509 options signer say.
    Issued sign(const QString &name, const QStringList &hosts, int days, const QStringList &signer);

    QTemporaryDir m_folder;
    bool m_valid = false;
    QString m_error;
};
