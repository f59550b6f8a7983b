// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "Passwords.h"

#include <QMessageAuthenticationCode>
#include <QMutexLocker>

#include <sodium.h>

Passwords::Passwords()
{
    if (sodium_init() < 0)
        qFatal("libsodium cannot be initialised");
    m_key.resize(32);
    randombytes_buf(m_key.data(), size_t(m_key.size()));
    m_dummyHash = hash(QStringLiteral("no such user"));
}

QString Passwords::hash(const QString &password)
{
    if (sodium_init() < 0)
        return QString();
    const QByteArray bytes = password.toUtf8();
    char out[crypto_pwhash_STRBYTES];
    if (crypto_pwhash_str_alg(out, bytes.constData(), quint64(bytes.size()),
                              crypto_pwhash_OPSLIMIT_INTERACTIVE,
                              crypto_pwhash_MEMLIMIT_INTERACTIVE, crypto_pwhash_ALG_ARGON2ID13)
        != 0)
        return QString();
    return QString::fromLatin1(out);
}

QByteArray Passwords::digest(const QString &password, const QString &storedHash) const
{
    QMessageAuthenticationCode code(QCryptographicHash::Sha256, m_key);
    code.addData(storedHash.toUtf8());
    code.addData(QByteArray(1, '\0'));
    code.addData(password.toUtf8());
    return code.result();
}

bool Passwords::fullCheck(const QString &password, const QString &storedHash)
{
    const QByteArray bytes = password.toUtf8();
    const QByteArray stored = storedHash.toLatin1();
    // crypto_pwhash_str_verify wants the hash as a C string of at most STRBYTES.
    if (stored.isEmpty() || stored.size() >= crypto_pwhash_STRBYTES)
        return false;
    m_fullChecks.acquire();
    const bool ok
        = crypto_pwhash_str_verify(stored.constData(), bytes.constData(), quint64(bytes.size()))
          == 0;
    m_fullChecks.release();
    return ok;
}

bool Passwords::verify(const QString &user, const QString &password, const QString &storedHash)
{
    const QByteArray wanted = digest(password, storedHash);
    {
        QMutexLocker lock(&m_mutex);
        const auto found = m_remembered.constFind(user);
        if (found != m_remembered.constEnd() && found.value().size() == wanted.size()
            && sodium_memcmp(found.value().constData(), wanted.constData(), size_t(wanted.size()))
                   == 0)
            return true;
    }
    if (!fullCheck(password, storedHash))
        return false;
    QMutexLocker lock(&m_mutex);
    m_remembered.insert(user, wanted);
    return true;
}

void Passwords::verifyNothing(const QString &password)
{
    fullCheck(password, m_dummyHash);
}
