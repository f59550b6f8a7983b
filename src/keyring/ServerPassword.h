// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QString>

#include <functional>

class Configuration;
class QObject;

// The password of a configuration's server address and user: in the desktop's keyring where a
// secret service exists (waited for however long its own prompt takes), else scrambled in the
// settings file as it always was. A password the keyring refused lasts for the run.
class ServerPassword
{
public:
    explicit ServerPassword(const Configuration &configuration);
    ServerPassword(const QString &server, const QString &user);

    // The window's program run with Configuration::StorePasswordOption, SERVER and USER:
    // stores the first line of standard input as that password (write()), exit status 0.
    static int storeFromStandardInput(int argc, char *argv[]);

    QString read() const;
    void write(const QString &password) const;
    // The same without waiting, for the window: done gets the password once the keyring
    // answers (unless context is gone), and a stored password is usable at once while the
    // keyring takes it.
    void ask(QObject *context, const std::function<void(const QString &)> &done) const;
    void store(const QString &password) const;

private:
    QString m_server;
    QString m_user;
};
