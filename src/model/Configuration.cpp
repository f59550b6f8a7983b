#include "Configuration.h"

#include "platform/Config.h"
#include "platform/PasswordStore.h"
#include "platform/TimeString.h"

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

QString Configuration::serverPassword() const
{
    if (PasswordStore::reachable()) {
        const PasswordStore keyring(serverAddress(), serverUserID());
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
        case PasswordStore::Outcome::Unavailable:
            break;
        }
    }
    return LocalSettings().readEntryCrypt(PasswordKey, QString());
}

void Configuration::setServerPassword(const QString &password)
{
    if (PasswordStore::reachable()
        && PasswordStore(serverAddress(), serverUserID()).write(password)
               == PasswordStore::Outcome::Done) {
        LocalSettings settings;
        if (settings.hasKey(PasswordKey))
            settings.removeEntry(PasswordKey);
        return;
    }
    LocalSettings().writeEntryCrypt(PasswordKey, password);
}

bool Configuration::twelveHourClock() const
{
    Config qpe(QStringLiteral("qpe"), Config::User);
    qpe.setGroup(QStringLiteral("Time"));
    return qpe.readBoolEntry(QStringLiteral("AMPM"), TimeString::localeUsesTwelveHourClock());
}
