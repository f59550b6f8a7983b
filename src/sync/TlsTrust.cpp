// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers
#include "TlsTrust.h"

#include "model/SyncProtocol.h"

#include <QCryptographicHash>
#include <QSslSocket>

#include <optional>

namespace TlsTrust {

namespace {

std::optional<QList<QSslCertificate>> &testAuthorities()
{
    static std::optional<QList<QSslCertificate>> authorities;
    return authorities;
}

} // namespace

QString fingerprint(const QSslCertificate &certificate)
{
    const QByteArray digest = certificate.digest(QCryptographicHash::Sha256);
    return QString::fromLatin1(digest.toHex(':').toUpper());
}

QString names(const QSslCertificate &certificate)
{
    const auto alternatives = certificate.subjectAlternativeNames();
    QStringList all
        = alternatives.values(QSsl::DnsEntry) + alternatives.values(QSsl::IpAddressEntry);
    if (all.isEmpty())
        all = certificate.subjectInfo(QSslCertificate::CommonName);
    return all.join(QStringLiteral(", "));
}

QSslConfiguration clientConfiguration()
{
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setProtocol(QSsl::TlsV1_2OrLater);
    configuration.setPeerVerifyMode(QSslSocket::VerifyPeer);
    if (testAuthorities())
        configuration.setCaCertificates(*testAuthorities());
    return configuration;
}

void setAuthorities(const QList<QSslCertificate> &authorities)
{
    if (authorities.isEmpty())
        testAuthorities().reset();
    else
        testAuthorities() = authorities;
}

QString serverKey(const QString &serverAddress)
{
    const SyncProtocol::HostAndPort server = SyncProtocol::splitHostAndPort(serverAddress);
    if (!server.secure)
        return QString();
    return server.host.toLower() + QLatin1Char(':') + QString::number(server.port);
}

Verdict judge(const QList<QSslError> &errors, const QSslCertificate &certificate,
              const QString &trusted)
{
    // A certificate other than the one kept is the alarm, whatever else is wrong with it.
    if (!trusted.isEmpty() && fingerprint(certificate) != trusted)
        return Verdict::Changed;
    bool otherHost = false;
    bool expired = false;
    bool notYetValid = false;
    bool selfSigned = false;
    bool noAuthority = false;
    bool unusable = false;
    for (const QSslError &error : errors) {
        switch (error.error()) {
        case QSslError::NoError:
            break;
        case QSslError::HostNameMismatch:
            otherHost = true;
            break;
        case QSslError::CertificateExpired:
            expired = true;
            break;
        case QSslError::CertificateNotYetValid:
            notYetValid = true;
            break;
        case QSslError::SelfSignedCertificate:
            selfSigned = true;
            noAuthority = true;
            break;
        case QSslError::SelfSignedCertificateInChain:
        case QSslError::UnableToGetIssuerCertificate:
        case QSslError::UnableToGetLocalIssuerCertificate:
        case QSslError::UnableToVerifyFirstCertificate:
        case QSslError::CertificateUntrusted:
            noAuthority = true;
            break;
        default:
            // A bad signature, a revoked certificate, one not meant for servers…
            unusable = true;
            break;
        }
    }
    if (otherHost)
        return Verdict::OtherHost;
    if (expired)
        return Verdict::Expired;
    if (notYetValid)
        return Verdict::NotYetValid;
    if (unusable)
        return Verdict::NotTrusted;
    // Only the authority is missing: the person's trust stands in for it.
    if (!noAuthority || !trusted.isEmpty())
        return Verdict::Trusted;
    return selfSigned ? Verdict::Ask : Verdict::NotTrusted;
}

} // namespace TlsTrust
