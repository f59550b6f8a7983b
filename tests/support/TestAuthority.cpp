// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers
#include "TestAuthority.h"

#include <QFile>
#include <QHostAddress>
#include <QLocale>
#include <QProcess>

namespace {

QStringList newKey(const QString &keyFile)
{
    return {QStringLiteral("-newkey"),
            QStringLiteral("ec"),
            QStringLiteral("-pkeyopt"),
            QStringLiteral("ec_paramgen_curve:prime256v1"),
            QStringLiteral("-nodes"),
            QStringLiteral("-keyout"),
            keyFile};
}

QString runOpenssl(const QStringList &arguments, int *status)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(QStringLiteral("openssl"), arguments);
    if (!process.waitForFinished(60000)) {
        process.kill();
        process.waitForFinished();
        *status = -1;
        return QStringLiteral("openssl did not finish: ") + process.errorString();
    }
    *status = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    return QString::fromLocal8Bit(process.readAll());
}

} // namespace

TestAuthority::TestAuthority(const QString &name)
{
    const QString key = m_folder.filePath(QStringLiteral("authority.key"));
    m_valid = m_folder.isValid()
              && openssl(QStringList{QStringLiteral("req"), QStringLiteral("-x509"),
                                     QStringLiteral("-subj"), QStringLiteral("/CN=") + name,
                                     QStringLiteral("-days"), QStringLiteral("30"),
                                     QStringLiteral("-out"), certificateFile()}
                         + newKey(key));
}

bool TestAuthority::openssl(const QStringList &arguments, QString *output)
{
    int status = 0;
    const QString said = runOpenssl(arguments, &status);
    if (output)
        *output = said;
    if (status != 0)
        m_error = QStringLiteral("openssl %1: %2").arg(arguments.join(QLatin1Char(' ')), said);
    return status == 0;
}

QList<QSslCertificate> TestAuthority::certificates() const
{
    return QSslCertificate::fromPath(certificateFile());
}

QString TestAuthority::certificateFile() const
{
    return m_folder.filePath(QStringLiteral("authority.pem"));
}

QString TestAuthority::extensionsFile(const QString &name, const QStringList &hosts)
{
    QStringList alternatives;
    for (const QString &host : hosts)
        alternatives << (QHostAddress(host).isNull() ? QStringLiteral("DNS:")
                                                     : QStringLiteral("IP:"))
                            + host;
    const QString path = m_folder.filePath(name + QStringLiteral(".ext"));
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write("subjectAltName=" + alternatives.join(QLatin1Char(',')).toUtf8() + '\n');
    return path;
}

TestAuthority::Issued TestAuthority::issue(const QString &name, const QStringList &hosts, int days)
{
    return sign(name, hosts, days,
                {QStringLiteral("-CA"), certificateFile(), QStringLiteral("-CAkey"),
                 m_folder.filePath(QStringLiteral("authority.key"))});
}

TestAuthority::Issued TestAuthority::selfSigned(const QString &name, const QStringList &hosts,
                                                int days)
{
    return sign(name, hosts, days,
                {QStringLiteral("-signkey"), m_folder.filePath(name + QStringLiteral(".key"))});
}

TestAuthority::Issued TestAuthority::sign(const QString &name, const QStringList &hosts, int days,
                                          const QStringList &signer)
{
    const Issued issued{m_folder.filePath(name + QStringLiteral(".pem")),
                        m_folder.filePath(name + QStringLiteral(".key"))};
    const QString request = m_folder.filePath(name + QStringLiteral(".csr"));
    if (!openssl(QStringList{QStringLiteral("req"), QStringLiteral("-new"), QStringLiteral("-subj"),
                             QStringLiteral("/CN=") + hosts.value(0), QStringLiteral("-out"),
                             request}
                 + newKey(issued.keyFile))
        || !openssl(QStringList{QStringLiteral("x509"), QStringLiteral("-req"),
                                QStringLiteral("-in"), request}
                    + signer
                    + QStringList{QStringLiteral("-days"), QString::number(days),
                                  QStringLiteral("-extfile"), extensionsFile(name, hosts),
                                  QStringLiteral("-out"), issued.certificateFile}))
        return Issued();
    return issued;
}

QString TestAuthority::fingerprint(const QString &certificateFile)
{
    int status = 0;
    const QString output = runOpenssl({QStringLiteral("x509"), QStringLiteral("-noout"),
                                       QStringLiteral("-fingerprint"), QStringLiteral("-sha256"),
                                       QStringLiteral("-in"), certificateFile},
                                      &status);
    // "sha256 Fingerprint=AB:CD:…"
    return status == 0 ? output.section(QLatin1Char('='), 1).trimmed() : QString();
}

QDate TestAuthority::expiryDate(const QString &certificateFile)
{
    int status = 0;
    const QString output
        = runOpenssl({QStringLiteral("x509"), QStringLiteral("-noout"), QStringLiteral("-enddate"),
                      QStringLiteral("-in"), certificateFile},
                     &status);
    // "notAfter=Nov 25 02:57:29 2026 GMT", the day padded with a blank.
    const QString text = output.section(QLatin1Char('='), 1).simplified();
    return QLocale::c().toDateTime(text, QStringLiteral("MMM d HH:mm:ss yyyy 'GMT'")).date();
}
