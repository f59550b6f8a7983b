// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QByteArray>
#include <QHash>
#include <QMutex>
#include <QSemaphore>
#include <QString>

// Passwords are kept as Argon2id hashes (libsodium's crypto_pwhash_str), never as typed.
//
// One Argon2id check takes tens of milliseconds and 64 MiB, far more than the rest of an
// exchange. A member exchanges every few minutes with the same password, so a successful
// check is remembered, in this process only, as a keyed digest of the password under a key
// made at start: the next exchange with the same password and the same stored hash costs
// one HMAC. No password is kept, and a changed password or hash needs a full check again.
// At most two full checks run at once, which bounds their memory.
class Passwords
{
public:
    Passwords();

    // The Argon2id hash of a password, "" when libsodium cannot make one (out of memory).
    static QString hash(const QString &password);
    // True when password matches storedHash. user names the entry it may be remembered under.
    bool verify(const QString &user, const QString &password, const QString &storedHash);
    // Spends the time of a full check without a stored hash, so that an unknown user id
    // takes as long to refuse as a wrong password.
    void verifyNothing(const QString &password);

private:
    bool fullCheck(const QString &password, const QString &storedHash);
    QByteArray digest(const QString &password, const QString &storedHash) const;

    QByteArray m_key;
    QMutex m_mutex;
    QHash<QString, QByteArray> m_remembered;
    QSemaphore m_fullChecks{2};
    QString m_dummyHash;
};
