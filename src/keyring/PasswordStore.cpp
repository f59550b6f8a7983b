// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "PasswordStore.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QEventLoop>
#include <QLoggingCategory>
#include <QThread>

#include <qt6keychain/keychain.h>

namespace {

Q_LOGGING_CATEGORY(keyringLog, "quorvel.keyring", QtWarningMsg)

struct JobResult
{
    bool finished = false;
    QKeychain::Error error = QKeychain::NoError;
    QString errorString;
    QString text;
};

JobResult resultOf(QKeychain::Job *done)
{
    JobResult result;
    result.finished = true;
    result.error = done->error();
    result.errorString = done->errorString();
    if (const auto *reader = qobject_cast<QKeychain::ReadPasswordJob *>(done))
        result.text = reader->textData();
    return result;
}

// Runs job and waits for it, however long the keyring's own prompt takes. The job deletes
// itself when it finishes; all that is needed is taken inside the finished handler.
JobResult runJob(QKeychain::Job *job)
{
    JobResult result;
    QEventLoop loop;
    QObject::connect(job, &QKeychain::Job::finished, &loop, [&result, &loop](QKeychain::Job *done) {
        result = resultOf(done);
        loop.quit();
    });
    job->start();
    // Input waits: the person should not act on a window that is between two states.
    if (!result.finished)
        loop.exec(QEventLoop::ExcludeUserInputEvents);
    return result;
}

// Says once per run where the password is kept, so that the person can tell from the log.
void notePlace(bool keyring, const QString &why = QString())
{
    static bool keyringNoted = false;
    static bool settingsNoted = false;
    bool &noted = keyring ? keyringNoted : settingsNoted;
    if (noted)
        return;
    noted = true;
    if (keyring)
        qCInfo(keyringLog, "The server password is kept in the desktop's keyring");
    else
        qCInfo(keyringLog,
               "The server password is kept scrambled in the settings file (%s); scrambling is "
               "not encryption",
               qPrintable(why));
}

PasswordStore::Outcome outcomeOf(const JobResult &result)
{
    if (result.finished && result.error == QKeychain::NoError) {
        notePlace(true);
        return PasswordStore::Outcome::Done;
    }
    if (result.finished && result.error == QKeychain::EntryNotFound)
        return PasswordStore::Outcome::NoEntry;
    qCInfo(keyringLog, "The keyring did not keep or give the server password: %s",
           qPrintable(result.errorString));
    return PasswordStore::Outcome::Failed;
}

// Whether a secret service runs on the session bus, or the bus can start one.
bool secretServiceOnBus()
{
    const QDBusConnectionInterface *bus = QDBusConnection::sessionBus().interface();
    if (!bus)
        return false;
    const QStringList names
        = {QStringLiteral("org.freedesktop.secrets"), QStringLiteral("org.kde.kwalletd6"),
           QStringLiteral("org.kde.kwalletd5")};
    for (const QString &name : names) {
        if (bus->isServiceRegistered(name).value())
            return true;
    }
    const QStringList startable = bus->activatableServiceNames().value();
    for (const QString &name : names) {
        if (startable.contains(name))
            return true;
    }
    return false;
}

// The jobs need an event loop on this thread, which only the application's own thread has.
bool canWait()
{
    const QCoreApplication *app = QCoreApplication::instance();
    return app && app->thread() == QThread::currentThread();
}

} // namespace

PasswordStore::PasswordStore(const QString &server, const QString &user)
    : m_key(user + QLatin1Char('@') + server)
{}

QString PasswordStore::serviceName()
{
    return QStringLiteral("Quorvel");
}

bool PasswordStore::reachable()
{
    // Never D-Bus autolaunch: without a bus in the environment there is no secret service.
    if (qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS")) {
        notePlace(false, QStringLiteral("no session bus"));
        return false;
    }
    if (!canWait())
        return false;
    if (!secretServiceOnBus()) {
        notePlace(false, QStringLiteral("no secret service on the session bus"));
        return false;
    }
    return true;
}

PasswordStore::Outcome PasswordStore::read(QString *password) const
{
    if (!reachable())
        return Outcome::Unavailable;
    auto *job = new QKeychain::ReadPasswordJob(serviceName(), QCoreApplication::instance());
    job->setKey(m_key);
    const JobResult result = runJob(job);
    const Outcome outcome = outcomeOf(result);
    if (outcome == Outcome::Done)
        *password = result.text;
    return outcome;
}

PasswordStore::Outcome PasswordStore::write(const QString &password) const
{
    if (!reachable())
        return Outcome::Unavailable;
    auto *job = new QKeychain::WritePasswordJob(serviceName(), QCoreApplication::instance());
    job->setKey(m_key);
    job->setTextData(password);
    const Outcome outcome = outcomeOf(runJob(job));
    // A write that finds no entry has still not stored anything.
    return outcome == Outcome::NoEntry ? Outcome::Failed : outcome;
}

void PasswordStore::readAsync(QObject *context,
                              std::function<void(Outcome, const QString &)> done) const
{
    if (!reachable()) {
        done(Outcome::Unavailable, QString());
        return;
    }
    auto *job = new QKeychain::ReadPasswordJob(serviceName(), QCoreApplication::instance());
    job->setKey(m_key);
    QObject::connect(job, &QKeychain::Job::finished, context,
                     [done = std::move(done)](QKeychain::Job *finished) {
                         const JobResult result = resultOf(finished);
                         done(outcomeOf(result), result.text);
                     });
    job->start();
}

void PasswordStore::writeAsync(const QString &password, QObject *context,
                               std::function<void(Outcome)> done) const
{
    if (!reachable()) {
        done(Outcome::Unavailable);
        return;
    }
    auto *job = new QKeychain::WritePasswordJob(serviceName(), QCoreApplication::instance());
    job->setKey(m_key);
    job->setTextData(password);
    QObject::connect(job, &QKeychain::Job::finished, context,
                     [done = std::move(done)](QKeychain::Job *finished) {
                         const Outcome outcome = outcomeOf(resultOf(finished));
                         done(outcome == Outcome::NoEntry ? Outcome::Failed : outcome);
                     });
    job->start();
}
