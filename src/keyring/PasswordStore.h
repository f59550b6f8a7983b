// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QString>

#include <functional>

class QObject;

// The group server password in the desktop's secret service (GNOME Keyring, KWallet), through
// QtKeychain: service "Quorvel", one entry per server and user ("USER@SERVER"). The keyring may
// first ask the person for its own password, which takes as long as they take: where a secret
// service exists it is waited for without a time limit, and the window's calls (readAsync,
// writeAsync) do not wait at all. Without a session bus named in the environment, or with none
// offering a secret service, nothing is asked at all.
class PasswordStore
{
public:
    enum class Outcome {
        Done,        // read: the entry was there; write: the keyring holds the password
        NoEntry,     // the keyring answered and holds no password for this server and user
        Failed,      // a secret service exists but did not do it (the person declined, say)
        Unavailable, // there is no secret service: the caller keeps its own copy
    };

    PasswordStore(const QString &server, const QString &user);

    // Whether a secret service can be asked: a session bus is named in the environment and a
    // secret service runs on it or can be started by it.
    static bool reachable();

    // Waits for the keyring's answer (with the person's input shut out meanwhile).
    Outcome read(QString *password) const;
    Outcome write(const QString &password) const;

    // Ask and come back: done runs from the event loop once the keyring answers, unless
    // context is gone by then. Unavailable comes back at once.
    void readAsync(QObject *context,
                   std::function<void(Outcome, const QString &password)> done) const;
    void writeAsync(const QString &password, QObject *context,
                    std::function<void(Outcome)> done) const;

    QString key() const { return m_key; }
    static QString serviceName();

private:
    QString m_key;
};
