// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers
#include "TlsFiles.h"

#include "platform/Clock.h"
#include "platform/PrivateFiles.h"
#include "sync/TlsTrust.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHostAddress>
#include <QProcess>
#include <QRegularExpression>
#include <QSslKey>
#include <QSslSocket>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>

namespace {

// Certificates and keys are a few kilobytes; a larger file is not one.
constexpr qint64 MaxFileBytes = 1024 * 1024;

bool readSmallFile(const QString &path, QByteArray *bytes, QString *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = TlsFiles::tr("%1 cannot be read: %2").arg(path, file.errorString());
        return false;
    }
    *bytes = file.read(MaxFileBytes + 1);
    if (bytes->size() > MaxFileBytes) {
        *error = TlsFiles::tr("%1 is larger than a certificate or key can be.").arg(path);
        return false;
    }
    return true;
}

// Hands over the socket of the first connection, for the server's side of a handshake.
class OneConnection : public QTcpServer
{
public:
    qintptr handle = -1;

protected:
    void incomingConnection(qintptr socketDescriptor) override
    {
        if (handle < 0)
            handle = socketDescriptor;
    }
};

// OpenSSL checks that the key is the certificate's only when a handshake begins: this begins
// one on loopback, so that a wrong pair is refused before it replaces a working one.
bool keyFitsCertificate(const QSslConfiguration &configuration, QString *error)
{
    OneConnection listener;
    QTcpSocket client;
    if (!listener.listen(QHostAddress::LocalHost, 0)) {
        *error = TlsFiles::tr("cannot check the key on this machine's loopback: %1")
                     .arg(listener.errorString());
        return false;
    }
    client.connectToHost(QHostAddress::LocalHost, listener.serverPort());
    if (!client.waitForConnected(5000) || !listener.waitForNewConnection(5000)
        || listener.handle < 0) {
        *error = TlsFiles::tr("cannot check the key on this machine's loopback");
        return false;
    }
    QSslSocket server;
    QString first;
    QObject::connect(&server, &QSslSocket::errorOccurred, &server, [&] {
        if (first.isEmpty())
            first = server.errorString();
    });
    if (!server.setSocketDescriptor(listener.handle)) {
        *error = server.errorString();
        return false;
    }
    server.setSslConfiguration(configuration);
    server.startServerEncryption();
    server.abort();
    if (!first.isEmpty()) {
        *error = first;
        return false;
    }
    return true;
}

} // namespace

bool TlsFiles::load(const QString &certificateFile, const QString &keyFile,
                    QSslConfiguration *configuration, QString *error)
{
    QByteArray certificateBytes;
    QByteArray keyBytes;
    if (!readSmallFile(certificateFile, &certificateBytes, error)
        || !readSmallFile(keyFile, &keyBytes, error))
        return false;
    const QList<QSslCertificate> chain = QSslCertificate::fromData(certificateBytes, QSsl::Pem);
    if (chain.isEmpty() || chain.constFirst().isNull()) {
        *error = tr("%1 holds no certificate in PEM form.").arg(certificateFile);
        return false;
    }
    const QSsl::KeyAlgorithm algorithm = chain.constFirst().publicKey().algorithm();
    const QSslKey key(keyBytes, algorithm, QSsl::Pem, QSsl::PrivateKey);
    if (key.isNull()) {
        *error = tr("%1 holds no unencrypted private key in PEM form for the certificate of %2.")
                     .arg(keyFile, certificateFile);
        return false;
    }
    QSslConfiguration candidate = QSslConfiguration::defaultConfiguration();
    candidate.setProtocol(QSsl::TlsV1_2OrLater);
    // Members sign in with their passwords; the server asks for no certificate of theirs, and
    // so needs no authorities: each connection's context would copy the system's in.
    candidate.setPeerVerifyMode(QSslSocket::VerifyNone);
    candidate.setCaCertificates({});
    candidate.setLocalCertificateChain(chain);
    candidate.setPrivateKey(key);
    QString why;
    if (!keyFitsCertificate(candidate, &why)) {
        *error = tr("The key %1 does not go with the certificate %2: %3")
                     .arg(keyFile, certificateFile, why);
        return false;
    }
    *configuration = candidate;
    return true;
}

QString TlsFiles::describe(const QSslCertificate &certificate)
{
    const QDateTime expiry = certificate.expiryDate();
    const QString validity
        = expiry < Clock::now() ? tr("EXPIRED on %1: clients refuse it") : tr("valid until %1");
    return tr("for %1, SHA-256 %2, %3")
        .arg(TlsTrust::names(certificate), TlsTrust::fingerprint(certificate),
             validity.arg(expiry.date().toString(Qt::ISODate)));
}

bool TlsFiles::isHostName(const QString &text)
{
    static const QRegularExpression name(
        QStringLiteral("^[A-Za-z0-9]([A-Za-z0-9-]{0,61}[A-Za-z0-9])?(\\.[A-Za-z0-9]([A-Za-z0-9-]{0,"
                       "61}[A-Za-z0-9])?)*$"));
    return !QHostAddress(text).isNull() || (text.size() <= 253 && name.match(text).hasMatch());
}

bool TlsFiles::makeSelfSigned(const QStringList &hosts, int days, const QString &certificateFile,
                              const QString &keyFile, QString *error)
{
    for (const QString &file : {keyFile, certificateFile}) {
        if (QFileInfo(file).exists() || QFileInfo(file).isSymLink()) {
            *error = tr("%1 exists already: remove it first, or name other files with "
                        "--tls-cert and --tls-key.")
                         .arg(file);
            return false;
        }
    }
    const QString openssl = QStandardPaths::findExecutable(QStringLiteral("openssl"));
    if (openssl.isEmpty()) {
        *error = tr("The openssl command makes the key and the certificate, and it is not "
                    "installed (Debian package openssl).");
        return false;
    }
    const QString keyFolder = QFileInfo(keyFile).absolutePath();
    if (!PrivateFiles::makeFolder(keyFolder)
        || !QDir().mkpath(QFileInfo(certificateFile).absolutePath())) {
        *error = tr("The folders of %1 and %2 cannot be made.").arg(keyFile, certificateFile);
        return false;
    }
    // Made beside the key, readable by its owner alone, and moved into place once whole.
    QTemporaryDir work(keyFolder + QStringLiteral("/.quorvel-tls-XXXXXX"));
    if (!work.isValid()) {
        *error = tr("%1 cannot be written: %2").arg(keyFolder, work.errorString());
        return false;
    }
    QStringList alternatives;
    for (const QString &host : hosts)
        alternatives << (QHostAddress(host).isNull() ? QStringLiteral("DNS:")
                                                     : QStringLiteral("IP:"))
                            + host;
    QFile config(work.filePath(QStringLiteral("openssl.cnf")));
    if (!config.open(QIODevice::WriteOnly)) {
        *error = tr("%1 cannot be written: %2").arg(config.fileName(), config.errorString());
        return false;
    }
    config.write(QStringLiteral("[req]\ndistinguished_name = name\nx509_extensions = server\n"
                                "prompt = no\n[name]\nCN = %1\n[server]\n"
                                "subjectAltName = %2\nextendedKeyUsage = serverAuth\n"
                                "subjectKeyIdentifier = hash\n")
                     .arg(hosts.constFirst(), alternatives.join(QLatin1Char(',')))
                     .toUtf8());
    config.close();
    const QString newKey = work.filePath(QStringLiteral("key.pem"));
    const QString newCertificate = work.filePath(QStringLiteral("certificate.pem"));
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(openssl,
                  {QStringLiteral("req"), QStringLiteral("-x509"), QStringLiteral("-config"),
                   config.fileName(), QStringLiteral("-newkey"), QStringLiteral("ec"),
                   QStringLiteral("-pkeyopt"), QStringLiteral("ec_paramgen_curve:prime256v1"),
                   QStringLiteral("-nodes"), QStringLiteral("-sha256"), QStringLiteral("-days"),
                   QString::number(days), QStringLiteral("-keyout"), newKey, QStringLiteral("-out"),
                   newCertificate});
    if (!process.waitForFinished(60000) || process.exitStatus() != QProcess::NormalExit
        || process.exitCode() != 0) {
        *error = tr("openssl failed: %1").arg(QString::fromLocal8Bit(process.readAll()).trimmed());
        return false;
    }
    if (!PrivateFiles::restrict(newKey)
        || !QFile::setPermissions(newCertificate, QFileDevice::ReadOwner | QFileDevice::WriteOwner
                                                      | QFileDevice::ReadGroup
                                                      | QFileDevice::ReadOther)) {
        *error = tr("%1 cannot be made private.").arg(newKey);
        return false;
    }
    // rename() would replace a file made meanwhile; QFile::rename never does.
    if (!QFile::rename(newKey, keyFile)) {
        *error = tr("%1 cannot be written.").arg(keyFile);
        return false;
    }
    if (!QFile::rename(newCertificate, certificateFile)) {
        QFile::remove(keyFile);
        *error = tr("%1 cannot be written.").arg(certificateFile);
        return false;
    }
    return true;
}
