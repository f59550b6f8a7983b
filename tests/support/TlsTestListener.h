// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers
#pragma once

#include "TestAuthority.h"

#include <QSslConfiguration>
#include <QTcpServer>

// A test's own server over TLS: a QTcpServer whose connections are QSslSockets that begin the
// server's side of the handshake at once, with a certificate and key from files. Their
// readyRead brings the decrypted bytes, and what is written to them goes encrypted.
class TlsTestListener : public QTcpServer
{
public:
    explicit TlsTestListener(const TestAuthority::Issued &certificate, QObject *parent = nullptr);

    // Whether the certificate and key could be read.
    bool isValid() const { return !m_configuration.localCertificate().isNull(); }

protected:
    void incomingConnection(qintptr socketDescriptor) override;

private:
    QSslConfiguration m_configuration;
};
