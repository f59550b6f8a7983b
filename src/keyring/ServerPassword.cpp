// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ServerPassword.h"

#include "PasswordStore.h"
#include "model/Configuration.h"
#include "platform/Config.h"

#include <QCoreApplication>
#include <QFile>
#include <QHash>

namespace {

const QLatin1String PasswordKey("ServerPassword");

// Opens the application's store at its local settings group, where a password lived before
// the keyring and still lives where there is none.
class LocalSettings : public Config
{
public:
    LocalSettings()
        : Config(Configuration::storeName(), Config::User)
    {
        setGroup(Configuration::localSettingsGroup());
    }
};

// Passwords of this run that the keyring did not take (the person declined its prompt, say),
// by keyring key: kept for the run only, never written anywhere.
QHash<QString, QString> &passwordsOfThisRun()
{
    static QHash<QString, QString> passwords;
    return passwords;
}

// Once the keyring holds the password, a scrambled copy from before goes.
void dropScrambledCopy()
{
    LocalSettings settings;
    if (settings.hasKey(PasswordKey))
        settings.removeEntry(PasswordKey);
}

} // namespace

ServerPassword::ServerPassword(const Configuration &configuration)
    : m_server(configuration.serverAddress())
    , m_user(configuration.serverUserID())
{}

ServerPassword::ServerPassword(const QString &server, const QString &user)
    : m_server(server)
    , m_user(user)
{}

int ServerPassword::storeFromStandardInput(int argc, char *argv[])
{
    if (argc != 4)
        return 2;
    const QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("quorvel"));
    QFile input;
    if (!input.open(stdin, QIODevice::ReadOnly))
        return 1;
    const QString password = QString::fromUtf8(input.readLine()).trimmed();
    ServerPassword(QString::fromLocal8Bit(argv[2]), QString::fromLocal8Bit(argv[3]))
        .write(password);
    return 0;
}

QString ServerPassword::read() const
{
    const PasswordStore keyring(m_server, m_user);
    if (passwordsOfThisRun().contains(keyring.key()))
        return passwordsOfThisRun().value(keyring.key());
    QString password;
    switch (keyring.read(&password)) {
    case PasswordStore::Outcome::Done:
        return password;
    case PasswordStore::Outcome::NoEntry: {
        // A password kept in the settings file before the keyring was there moves into it.
        LocalSettings settings;
        if (!settings.hasKey(PasswordKey))
            return QString();
        password = settings.readEntryCrypt(PasswordKey, QString());
        if (keyring.write(password) == PasswordStore::Outcome::Done)
            settings.removeEntry(PasswordKey);
        return password;
    }
    case PasswordStore::Outcome::Failed:
    case PasswordStore::Outcome::Unavailable:
        break;
    }
    return LocalSettings().readEntryCrypt(PasswordKey, QString());
}

void ServerPassword::write(const QString &password) const
{
    const PasswordStore keyring(m_server, m_user);
    passwordsOfThisRun().remove(keyring.key());
    switch (keyring.write(password)) {
    case PasswordStore::Outcome::Done:
        dropScrambledCopy();
        return;
    case PasswordStore::Outcome::Unavailable:
        // No secret service at all: scrambled in the settings file, as it always was.
        LocalSettings().writeEntryCrypt(PasswordKey, password);
        return;
    case PasswordStore::Outcome::NoEntry:
    case PasswordStore::Outcome::Failed:
        // A keyring that exists but refused keeps nothing; the password lasts for this run.
        dropScrambledCopy();
        passwordsOfThisRun().insert(keyring.key(), password);
        return;
    }
}

void ServerPassword::ask(QObject *context, const std::function<void(const QString &)> &done) const
{
    const PasswordStore keyring(m_server, m_user);
    if (passwordsOfThisRun().contains(keyring.key())) {
        done(passwordsOfThisRun().value(keyring.key()));
        return;
    }
    keyring.readAsync(
        context, [keyring, context, done](PasswordStore::Outcome outcome, const QString &password) {
            if (outcome == PasswordStore::Outcome::Done) {
                done(password);
                return;
            }
            LocalSettings settings;
            const QString scrambled = settings.readEntryCrypt(PasswordKey, QString());
            if (outcome == PasswordStore::Outcome::NoEntry && settings.hasKey(PasswordKey)) {
                // Moves into the keyring now that one answers; the copy goes once it holds it.
                keyring.writeAsync(scrambled, context, [](PasswordStore::Outcome written) {
                    if (written == PasswordStore::Outcome::Done)
                        dropScrambledCopy();
                });
            }
            done(scrambled);
        });
}

void ServerPassword::store(const QString &password) const
{
    const PasswordStore keyring(m_server, m_user);
    // Usable at once, whatever the keyring makes of it later.
    passwordsOfThisRun().insert(keyring.key(), password);
    keyring.writeAsync(password, QCoreApplication::instance(),
                       [keyring, password](PasswordStore::Outcome outcome) {
                           switch (outcome) {
                           case PasswordStore::Outcome::Done:
                               dropScrambledCopy();
                               // Read from the keyring from now on, unless changed meanwhile.
                               if (passwordsOfThisRun().value(keyring.key()) == password)
                                   passwordsOfThisRun().remove(keyring.key());
                               return;
                           case PasswordStore::Outcome::Unavailable:
                               LocalSettings().writeEntryCrypt(PasswordKey, password);
                               passwordsOfThisRun().remove(keyring.key());
                               return;
                           case PasswordStore::Outcome::NoEntry:
                           case PasswordStore::Outcome::Failed:
                               dropScrambledCopy();
                               return;
                           }
                       });
}
