#pragma once

#include <QString>

// The group server password in the desktop's secret service (GNOME Keyring, KWallet), through
// QtKeychain: service "Quorvel", one entry per server and user ("USER@SERVER"). The keyring
// answers asynchronously; each call here waits for it a short, bounded time and never hangs.
// Without a session bus named in the environment nothing is asked at all.
class PasswordStore
{
public:
    enum class Outcome {
        Done,       // read: the entry was there; write: the keyring holds the password
        NoEntry,    // the keyring answered and holds no password for this server and user
        Unavailable // no secret service answered in time: the caller keeps its own copy
    };

    PasswordStore(const QString &server, const QString &user);

    // Whether a secret service can be asked: a session bus is named in the environment.
    static bool reachable();

    Outcome read(QString *password) const;
    Outcome write(const QString &password) const;

    QString key() const { return m_key; }
    static QString serviceName();

    // How long one call waits for the keyring.
    static constexpr int WaitMs = 2000;

private:
    QString m_key;
};
