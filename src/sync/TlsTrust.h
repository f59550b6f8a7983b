// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers
#pragma once

#include <QList>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslError>
#include <QString>

// The trust an exchange over TLS puts in the server: its certificate checked against the
// system's certificate authorities and the host name, or else a self-signed certificate that
// the person trusted on first contact and that is kept, by its fingerprint, for that server
// only. Shared by the program and the group server, which prints the fingerprint members
// compare.
namespace TlsTrust {

// The SHA-256 of the certificate's DER form, as colon-separated pairs of upper-case hex
// digits, the form `openssl x509 -noout -fingerprint -sha256` prints.
QString fingerprint(const QSslCertificate &certificate);

// The host names and IP addresses a certificate is made out for (its common name when it names
// none), separated by commas.
QString names(const QSslCertificate &certificate);

// What the client asks of a server: TLS 1.2 or newer, and a certificate that the system's
// certificate authorities (or those a test set) vouch for, for the host name connected to.
QSslConfiguration clientConfiguration();

// Test seam: these authorities instead of the system's; an empty list gives the system's back.
void setAuthorities(const QList<QSslCertificate> &authorities);

// The key the trusted certificate of a server address is kept under: "host:port" with the
// host in lower case; empty for an address that is not reached over TLS.
QString serverKey(const QString &serverAddress);

enum class Verdict {
    Trusted,    // go on, with the errors ignored
    Ask,        // only self-signed: ask the person whether to trust it
    NotTrusted, // no authority vouches for it, or it is unusable in another way
    OtherHost,  // made out for another host name
    Expired,
    NotYetValid,
    Changed, // another certificate than the one trusted before for this server
};

// What to make of the errors of a handshake that presented certificate, given the fingerprint
// trusted before for the server (empty when none). Called only when the system's authorities
// did not vouch for the certificate, so a certificate they vouch for never meets the one kept.
Verdict judge(const QList<QSslError> &errors, const QSslCertificate &certificate,
              const QString &trusted);

} // namespace TlsTrust
