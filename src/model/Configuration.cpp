// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "Configuration.h"

#include "platform/Config.h"
#include "platform/TimeString.h"

#include <QCoreApplication>
#include <QHash>

namespace {

const QLatin1String ModeKey("mode");
const QLatin1String ConcurrentKey("AllowConcurrentTasks");
const QLatin1String AddressKey("ServerAddress");
const QLatin1String UserIdKey("ServerUserID");

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
