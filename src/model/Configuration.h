// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QObject>
#include <QString>

#include <functional>

// The one accessor of the application's settings. It keeps no state: every call opens the
// store, reads or writes one key and closes it again, so each write is on disk when the call
// returns and a value changed by another program is seen at the next read.
class Configuration : public QObject
{
    Q_OBJECT

public:
    // Stored as an integer. The underlying type is fixed so that any number found in the
    // store (say a hand-written 7) is a valid value and is handed back unchanged.
    enum OperatingMode : int { Unset = 0, Personal = 1, Group = 2 };

    Configuration();

    OperatingMode mode() const;
    void setMode(OperatingMode mode);

    bool allowConcurrentTasks() const;
    void setAllowConcurrentTasks(bool allow);

    QString serverAddress() const;
    void setServerAddress(const QString &address);

    QString serverUserID() const;
    void setServerUserID(const QString &userId);

    // The password of the current server address and user is ServerPassword's (the keyring),
    // which only the window's program links; the command line has it stored by running
    // `quorvel-gui --store-server-password SERVER USER` with the password on standard input.
    static constexpr char StorePasswordOption[] = "--store-server-password";

    // The SHA-256 fingerprint (TlsTrust::fingerprint) of the self-signed certificate the person
    // trusted for a server reached over TLS, by its TlsTrust::serverKey; empty when none. An
    // empty fingerprint forgets the server's.
    QString trustedCertificate(const QString &server) const;
    void setTrustedCertificate(const QString &server, const QString &fingerprint);

    // The desktop's twelve-hour clock choice (store "qpe", group "Time", key "AMPM"); when it
    // was never set, the locale's time format decides.
    bool twelveHourClock() const;

    // Host name of the public synchronisation server, the default server address.
    static QString defaultServerAddress();

    // The settings a first start begins with, whichever mode is chosen then: every balloon tip
    // to be shown again, the zero-duration question on, concurrent tasks off.
    static void resetForFirstStart();

    // Names of the application's store and its group of local settings.
    static QString storeName();
    static QString localSettingsGroup();
};
