// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "Configuration.h"

#include "platform/Config.h"
#include "platform/PasswordStore.h"
#include "platform/TimeString.h"

#include <QCoreApplication>
#include <QHash>

namespace {

const QLatin1String ModeKey("mode");
const QLatin1String ConcurrentKey("AllowConcurrentTasks");
const QLatin1String AddressKey("ServerAddress");
const QLatin1String UserIdKey("ServerUserID");
const QLatin1String PasswordKey("ServerPassword");

// Opens the application's store at its local settings group.
class LocalSettings : public Config
{
public:
    LocalSettings()
        : Config(Configuration::storeName(), Config::User)
    {
        setGroup(Configuration::localSettingsGroup());
    }
};

} // namespace

Configuration::Configuration() = default;

QString Configuration::storeName()
{
    return QStringLiteral("quorvelqpe");
}

QString Configuration::localSettingsGroup()
{
    return QStringLiteral("LocalSettings");
}

QString Configuration::defaultServerAddress()
{
    return QStringLiteral("sync.quorvel.org");
}

Configuration::OperatingMode Configuration::mode() const
{
    return OperatingMode(LocalSettings().readNumEntry(ModeKey, Unset));
}

void Configuration::setMode(OperatingMode mode)
{
    LocalSettings().writeEntry(ModeKey, int(mode));
}

bool Configuration::allowConcurrentTasks() const
{
    return LocalSettings().readBoolEntry(ConcurrentKey, false);
}

void Configuration::setAllowConcurrentTasks(bool allow)
{
    LocalSettings().writeEntry(ConcurrentKey, allow);
}

QString Configuration::serverAddress() const
{
    return LocalSettings().readEntry(AddressKey, defaultServerAddress());
}

void Configuration::setServerAddress(const QString &address)
{
    LocalSettings().writeEntry(AddressKey, address);
}

QString Configuration::serverUserID() const
{
    return LocalSettings().readEntry(UserIdKey, QString());
}

void Configuration::setServerUserID(const QString &userId)
{
    LocalSettings().writeEntry(UserIdKey, userId);
}

namespace {

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

QString Configuration::serverPassword() const
{
    const PasswordStore keyring(serverAddress(), serverUserID());
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

void Configuration::setServerPassword(const QString &password)
{
    const PasswordStore keyring(serverAddress(), serverUserID());
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

void Configuration::askServerPassword(QObject *context,
                                      const std::function<void(const QString &)> &done) const
{
    const PasswordStore keyring(serverAddress(), serverUserID());
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

void Configuration::storeServerPassword(const QString &password)
{
    const PasswordStore keyring(serverAddress(), serverUserID());
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

namespace {

// Certificates trusted on first contact, one per server, beside the local settings.
class TrustedCertificates : public Config
{
public:
    TrustedCertificates()
        : Config(Configuration::storeName(), Config::User)
    {
        setGroup(QStringLiteral("TrustedCertificates"));
    }
};

} // namespace

QString Configuration::trustedCertificate(const QString &server) const
{
    if (server.isEmpty())
        return QString();
    return TrustedCertificates().readEntry(server);
}

void Configuration::setTrustedCertificate(const QString &server, const QString &fingerprint)
{
    if (server.isEmpty())
        return;
    TrustedCertificates store;
    if (fingerprint.isEmpty())
        store.removeEntry(server);
    else
        store.writeEntry(server, fingerprint);
}

bool Configuration::twelveHourClock() const
{
    Config qpe(QStringLiteral("qpe"), Config::User);
    qpe.setGroup(QStringLiteral("Time"));
    return qpe.readBoolEntry(QStringLiteral("AMPM"), TimeString::localeUsesTwelveHourClock());
}

void Configuration::resetForFirstStart()
{
    Config config(storeName(), Config::User);
    config.setGroup(QStringLiteral("BalloonTips"));
    for (const char *key : {"groupMode", "categories", "activities", "startHere", "newTask",
                            "shortcutButtons", "taskList", "additionalHelp"})
        config.writeEntry(QString::fromLatin1(key), 0);
    config.setGroup(localSettingsGroup());
    config.writeEntry(QStringLiteral("WarnDeleteZeroTasks"), 1);
    config.writeEntry(QStringLiteral("AllowConcurrentTasks"), 0);
}
