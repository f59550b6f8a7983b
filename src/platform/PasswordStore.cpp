#include "PasswordStore.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QLoggingCategory>
#include <QThread>
#include <QTimer>

#include <qt6keychain/keychain.h>

namespace {

Q_LOGGING_CATEGORY(keyringLog, "quorvel.keyring", QtInfoMsg)

struct JobResult
{
    bool finished = false;
    QKeychain::Error error = QKeychain::NoError;
    QString errorString;
    QString text;
};

// Runs job and waits at most PasswordStore::WaitMs for it. The job deletes itself when it
// finishes, which may be after this has stopped waiting; it is never touched after finished()
// nor after the wait, so all that is needed is taken inside the finished handler.
JobResult runJob(QKeychain::Job *job)
{
    JobResult result;
    QEventLoop loop;
    QObject::connect(job, &QKeychain::Job::finished, &loop, [&result, &loop](QKeychain::Job *done) {
        result.finished = true;
        result.error = done->error();
        result.errorString = done->errorString();
        if (const auto *reader = qobject_cast<QKeychain::ReadPasswordJob *>(done))
            result.text = reader->textData();
        loop.quit();
    });
    QTimer::singleShot(PasswordStore::WaitMs, &loop, &QEventLoop::quit);
    job->start();
    // Input waits too: the person should not act on a window that is between two states.
    if (!result.finished)
        loop.exec(QEventLoop::ExcludeUserInputEvents);
    if (!result.finished)
        result.errorString = QStringLiteral("no answer within %1 ms").arg(PasswordStore::WaitMs);
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
    notePlace(false, QStringLiteral("no secret service: ") + result.errorString);
    return PasswordStore::Outcome::Unavailable;
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
    return canWait();
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
    return outcome == Outcome::Done ? outcome : Outcome::Unavailable;
}
