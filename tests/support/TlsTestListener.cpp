// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers
#include "TlsTestListener.h"

#include <QFile>
#include <QSslKey>
#include <QSslSocket>

TlsTestListener::TlsTestListener(const TestAuthority::Issued &certificate, QObject *parent)
    : QTcpServer(parent)
{
    QFile key(certificate.keyFile);
    if (!key.open(QIODevice::ReadOnly))
        return;
    const QList<QSslCertificate> chain = QSslCertificate::fromPath(certificate.certificateFile);
    if (chain.isEmpty())
        return;
    m_configuration = QSslConfiguration::defaultConfiguration();
    m_configuration.setLocalCertificateChain(chain);
    m_configuration.setPrivateKey(QSslKey(key.readAll(), QSsl::Ec));
    m_configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
}

void TlsTestListener::incomingConnection(qintptr socketDescriptor)
{
    auto *socket = new QSslSocket(this);
    if (!socket->setSocketDescriptor(socketDescriptor)) {
        delete socket;
        return;
    }
    socket->setSslConfiguration(m_configuration);
    socket->startServerEncryption();
    addPendingConnection(socket);
}
