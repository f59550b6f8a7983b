// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers
#include "WindowExchange.h"
#include "keyring/ServerPassword.h"

#include "ModalAnswers.h"
#include "TestEnvironment.h"

#include "app/QuorvelMainWindow.h"
#include "dialogs/Synchronize.h"
#include "model/Configuration.h"
#include "model/QuorvelDocument.h"

#include <QFile>
#include <QLabel>
#include <QTextBrowser>
#include <QtTest>

namespace {

// A status that ends the exchange, whichever way.
bool isResult(const QString &status)
{
    return status.startsWith(QLatin1String("Synchronization "))
           || status.startsWith(QLatin1String("Secure Connection Failed"))
           || status == QLatin1String("Host Not Found")
           || status == QLatin1String("Host Connection Refused")
           || status == QLatin1String("Socket Read Error")
           || status == QLatin1String("Connection Timed Out");
}

} // namespace

SyncOutcome synchronize(QuorvelMainWindow &window)
{
    SyncOutcome outcome;
    ModalAnswers answers;
    answers.add([&](QWidget *widget) {
        auto *sync = qobject_cast<Synchronize *>(widget);
        if (!sync) {
            widget->close();
            return;
        }
        if (!QTest::qWaitFor([&] { return isResult(sync->lblStatus->text()); }, 30000))
            qWarning("The exchange showed no result within 30 seconds");
        outcome.status = sync->lblStatus->text();
        outcome.messages = sync->txtMessages->toPlainText();
        outcome.colour = sync->lblStatus->palette().color(QPalette::Active, QPalette::Window);
        outcome.succeeded = sync->succeeded;
        sync->close();
    });
    window.syncServer();
    return outcome;
}

QByteArray dataFileBytes()
{
    QFile file(QuorvelDocument::dataFilePath());
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    return file.readAll();
}

bool prepareGroupDevice(const QString &server, const QString &user, const QString &password)
{
    TestEnvironment::wipe();
    Configuration config;
    config.setMode(Configuration::Group);
    config.setServerAddress(server);
    config.setServerUserID(user);
    ServerPassword(config).write(password);
    QuorvelDocument empty;
    return empty.save();
}
