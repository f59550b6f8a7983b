#include "Launcher.h"

#include "Commands.h"
#include "model/QuorvelDocument.h"
#include "platform/SingleInstance.h"
#include "platform/Translations.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QLockFile>
#include <QThread>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace {

// How long a command waits for the window's answer: it may first have to wait until the
// person has answered a question there.
constexpr int AnswerTimeoutMs = 60 * 1000;
// How long a changing command waits for another one that holds the data file.
constexpr int LockPatienceMs = 15 * 1000;

// The folder of this program, from the kernel: argv[0] may be a bare name found in PATH.
QString programFolder()
{
    char path[PATH_MAX];
    const ssize_t n = ::readlink("/proc/self/exe", path, sizeof path - 1);
    if (n <= 0)
        return QString();
    path[n] = '\0';
    return QFileInfo(QFile::decodeName(path)).absolutePath();
}

void write(FILE *stream, const QByteArray &bytes)
{
    if (!bytes.isEmpty())
        std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream);
}

int finish(const Commands::Result &result)
{
    write(stdout, result.out);
    write(stderr, result.err);
    std::fflush(stdout);
    return result.exitCode;
}

// The window's program could not be started. Saying why is all this process still does; the
// application object the window was to create is made here for the person's language.
int windowNotStarted(char *argv[], const char *text, const QString &first,
                     const QString &second = QString())
{
    int argc = 1;
    QCoreApplication app(argc, argv);
    Translations::install(app);
    const QString message
        = second.isNull() ? Commands::tr(text).arg(first) : Commands::tr(text).arg(first, second);
    std::fprintf(stderr, "quorvel: %s\n", message.toLocal8Bit().constData());
    return 127;
}

int refuse(const QString &message)
{
    Commands::Result result;
    result.exitCode = Commands::Refused;
    result.err = (QStringLiteral("quorvel: ") + message + QLatin1Char('\n')).toUtf8();
    return finish(result);
}

QString dataFolder()
{
    return QFileInfo(QuorvelDocument::dataFilePath()).absolutePath();
}

bool keepRunning(const QDate &, const QDate &, const void *)
{
    return false;
}

// The period a reading command asks about, from its first to its last day.
struct Period
{
    QDate from;
    QDate to;
};

bool keepWithin(const QDate &startDay, const QDate &stopDay, const void *context)
{
    const auto *period = static_cast<const Period *>(context);
    return startDay <= period->to && stopDay >= period->from;
}

// Reads the data file for a command that changes nothing: only the tasks it can need.
bool loadFor(QuorvelDocument &doc, Commands::Needs needs, const QStringList &arguments)
{
    if (needs == Commands::Needs::RunningTasks && doc.loadRunningNote())
        return true;
    if (needs == Commands::Needs::RunningTasks || needs == Commands::Needs::Activities)
        return doc.loadSome(keepRunning, nullptr);
    Period period;
    Commands::period(arguments, &period.from, &period.to);
    if (!period.from.isValid() && !period.to.isValid())
        return doc.load();
    if (!period.from.isValid())
        period.from = QDate(1, 1, 1);
    if (!period.to.isValid())
        period.to = QDate(9999, 12, 31);
    return doc.loadSome(keepWithin, &period);
}

QString unreadableDataFile()
{
    return Commands::tr("the data file %1 cannot be read; it is left as it is. Start Quorvel "
                        "without a command to deal with it.")
        .arg(QuorvelDocument::dataFilePath());
}

int handOver(SingleInstance::HandOver outcome, int exitCode, const QByteArray &out,
             const QByteArray &err)
{
    if (outcome == SingleInstance::HandOver::Lost)
        return refuse(Commands::tr("the running Quorvel did not answer; the command may or may "
                                   "not have been carried out."));
    Commands::Result result;
    result.exitCode = exitCode;
    result.out = out;
    result.err = err;
    return finish(result);
}

// Loads, changes and writes the data file while holding the lock.
int runHere(const QStringList &arguments, const QString &workingFolder)
{
    // Said at once, whatever the command comes to: the kept file is the user's to look at.
    const QString recovered = QuorvelDocument::recoverInterruptedSave();
    if (!recovered.isEmpty()) {
        write(stderr, (QStringLiteral("quorvel: ")
                       + Commands::tr("a save was cut short and left data that may hold "
                                      "changes which are not in the data file; it has been "
                                      "kept as %1")
                             .arg(recovered)
                       + QLatin1Char('\n'))
                          .toUtf8());
    }
    QuorvelDocument doc;
    if (!doc.load() && QFileInfo::exists(QuorvelDocument::dataFilePath()))
        return refuse(unreadableDataFile());
    Commands::Result result = Commands::run(doc, arguments, workingFolder);
    if (result.changed && !doc.save()) {
        result.exitCode = Commands::Refused;
        result.out.clear();
        result.err += (QStringLiteral("quorvel: ")
                       + Commands::tr("the data file %1 could not be written; it holds what it "
                                      "held before.")
                             .arg(QuorvelDocument::dataFilePath())
                       + QLatin1Char('\n'))
                          .toUtf8();
    }
    return finish(result);
}

} // namespace

int Launcher::openWindow(char *argv[])
{
    const QString folder = programFolder();
    const QStringList candidates = {
        folder + QStringLiteral("/quorvel-gui"),
        folder + QLatin1Char('/') + QStringLiteral(QUORVEL_GUI_FROM_BIN)
            + QStringLiteral("/quorvel-gui"),
    };
    for (const QString &candidate : candidates) {
        const QByteArray path = QFile::encodeName(candidate);
        if (::access(path.constData(), X_OK) == 0) {
            argv[0] = const_cast<char *>(path.constData());
            ::execv(path.constData(), argv);
            const int error = errno;
            return windowNotStarted(argv, QT_TRANSLATE_NOOP("Commands", "cannot start %1: %2"),
                                    candidate, QString::fromLocal8Bit(std::strerror(error)));
        }
    }
    return windowNotStarted(
        argv,
        QT_TRANSLATE_NOOP("Commands",
                          "the window's program quorvel-gui is not installed beside %1"),
        folder);
}

int Launcher::runCommand(const QStringList &arguments)
{
    Commands::Result answered;
    const Commands::Needs needs = Commands::check(arguments, &answered);
    if (needs == Commands::Needs::Nothing)
        return finish(answered);

    const QString workingFolder = QDir::currentPath();
    const QStringList handed = QStringList(workingFolder) + arguments;
    const SingleInstance channel(dataFolder());
    int exitCode = 0;
    QByteArray out;
    QByteArray err;

    if (needs != Commands::Needs::Writing) {
        // The window's document may hold changes not yet written: ask it when it runs.
        const SingleInstance::HandOver outcome
            = channel.handCommand(handed, AnswerTimeoutMs, &exitCode, &out, &err);
        if (outcome != SingleInstance::HandOver::NoInstance)
            return handOver(outcome, exitCode, out, err);
        if (needs == Commands::Needs::Records) {
            QFile file(QuorvelDocument::dataFilePath());
            Commands::Result result;
            if (!file.open(QIODevice::ReadOnly)) {
                if (file.exists())
                    return refuse(unreadableDataFile());
                QByteArray empty = QuorvelDocument().getDocumentBytes();
                Commands::runOnRecords(empty.data(), int(empty.size()), arguments, &result);
                return finish(result);
            }
            QByteArray bytes = file.size() < INT_MAX ? file.readAll() : QByteArray();
            if (!Commands::runOnRecords(bytes.data(), int(bytes.size()), arguments, &result))
                return refuse(unreadableDataFile());
            return finish(result);
        }
        // Left to the system when the program ends: freeing a large history one record at a
        // time would take longer than reading it.
        auto *doc = new QuorvelDocument;
        if (!loadFor(*doc, needs, arguments)
            && QFileInfo::exists(QuorvelDocument::dataFilePath())) {
            delete doc;
            return refuse(unreadableDataFile());
        }
        const int status = finish(Commands::run(*doc, arguments, workingFolder));
        std::fflush(stderr);
        ::_exit(status);
    }

    // One writer at a time: the running window, or whoever holds the lock it would hold.
    QDir().mkpath(dataFolder());
    QElapsedTimer patience;
    patience.start();
    for (;;) {
        const SingleInstance::HandOver outcome
            = channel.handCommand(handed, AnswerTimeoutMs, &exitCode, &out, &err);
        if (outcome != SingleInstance::HandOver::NoInstance)
            return handOver(outcome, exitCode, out, err);

        QLockFile lock(channel.lockFilePath());
        lock.setStaleLockTime(0);
        if (lock.tryLock(100))
            return runHere(arguments, workingFolder);
        if (lock.error() != QLockFile::LockFailedError)
            return refuse(Commands::tr("cannot take the lock %1, so the data file is left as "
                                       "it is.")
                              .arg(channel.lockFilePath()));
        // A lock left by a process that has died is taken over; a live holder is waited for.
        if (lock.removeStaleLockFile())
            continue;
        if (patience.elapsed() > LockPatienceMs)
            return refuse(Commands::tr("another Quorvel holds %1 and does not answer; the data "
                                       "file is left as it is.")
                              .arg(channel.lockFilePath()));
        QThread::msleep(50);
    }
}
