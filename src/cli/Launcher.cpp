// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "Launcher.h"

#include "Commands.h"
#include "MappedFile.h"
#include "model/Configuration.h"
#include "model/QuorvelDocument.h"
#include "platform/CommandChannel.h"
#include "platform/FileLock.h"
#include "platform/GraphicalSession.h"
#include "platform/PrivateFiles.h"
#include "platform/TerminalInput.h"
#include "platform/Translations.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QProcess>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <optional>
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

// The window's program: beside this one (the build tree), or where the installation puts it;
// empty when neither is there to run.
QString windowProgram()
{
    const QString folder = programFolder();
    for (const QString &candidate :
         {folder + QStringLiteral("/quorvel-gui"), folder + QLatin1Char('/')
                                                       + QStringLiteral(QUORVEL_GUI_FROM_BIN)
                                                       + QStringLiteral("/quorvel-gui")}) {
        if (::access(QFile::encodeName(candidate).constData(), X_OK) == 0)
            return candidate;
    }
    return QString();
}

// The keyring is the window program's: it stores the password, so that this program starts
// without the session bus and the keyring's libraries. Empty when stored, else why not.
QString storePassword(const QString &server, const QString &user, const QString &password)
{
    const QString program = windowProgram();
    if (program.isEmpty())
        return Commands::tr("the window's program quorvel-gui, which keeps the password, is "
                            "not installed beside %1")
            .arg(programFolder());
    QProcess keeper;
    keeper.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    keeper.start(program, {QString::fromLatin1(Configuration::StorePasswordOption), server, user});
    keeper.write(password.toUtf8() + '\n');
    keeper.closeWriteChannel();
    // The keyring may ask the person for its own password first: no time limit.
    if (!keeper.waitForFinished(-1) || keeper.exitStatus() != QProcess::NormalExit
        || keeper.exitCode() != 0)
        return Commands::tr("%1 could not keep the password (%2)")
            .arg(program, keeper.error() == QProcess::UnknownError
                              ? Commands::tr("exit status %1").arg(keeper.exitCode())
                              : keeper.errorString());
    return QString();
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

// A message on standard error: one line, named after the program.
QByteArray messageLine(const QString &message)
{
    return (QStringLiteral("quorvel: ") + message + QLatin1Char('\n')).toUtf8();
}

int refuse(const QString &message)
{
    Commands::Result result;
    result.exitCode = Commands::Refused;
    result.err = messageLine(message);
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

// Reads the data file for "status" or "activities": the stopped tasks are passed over.
bool loadFor(QuorvelDocument &doc, Commands::Needs needs)
{
    if (needs == Commands::Needs::RunningTasks && doc.loadRunningNote())
        return true;
    return doc.loadSome(keepRunning, nullptr);
}

QString unreadableDataFile()
{
    return Commands::tr("the data file %1 cannot be read; it is left as it is. Start Quorvel "
                        "without a command to deal with it.")
        .arg(QuorvelDocument::dataFilePath());
}

// The data file failed to read after part of the export had already gone out.
QString unreadableAfterPart()
{
    return Commands::tr("the data file %1 cannot be read past the part written above, which is "
                        "therefore incomplete; the file is left as it is. Start Quorvel without "
                        "a command to deal with it.")
        .arg(QuorvelDocument::dataFilePath());
}

void say(const QString &message)
{
    write(stderr, messageLine(message));
}

// The window took the command and ended before it answered: only a crash can do that, between
// two steps of one command.
int lost()
{
    return refuse(Commands::tr("the running Quorvel ended while it was carrying out the "
                               "command, before it could answer; “quorvel status” and "
                               "“quorvel list” show what the data file holds now."));
}

int answered(int exitCode, const QByteArray &out, const QByteArray &err)
{
    Commands::Result result;
    result.exitCode = exitCode;
    result.out = out;
    result.err = err;
    return finish(result);
}

// The command's change could not be made lasting: what the data file holds now, and why.
QString saveFailure(const QuorvelDocument &doc, bool contentsWritten)
{
    const QString path = QuorvelDocument::dataFilePath();
    if (!contentsWritten)
        return Commands::tr("the data file %1 could not be written (%2); it holds what it held "
                            "before.")
            .arg(path, doc.saveProblem());
    if (QFileInfo::exists(path + QLatin1String(".new")))
        return Commands::tr("the data file %1 could not be replaced by its new contents (%2); "
                            "it holds what it held before, and the new contents are kept in "
                            "%3.")
            .arg(path, doc.saveProblem(), path + QLatin1String(".new"));
    return Commands::tr("the data file %1 was written, but the disk could not confirm that it "
                        "keeps it (%2).")
        .arg(path, doc.saveProblem());
}

// A long command's progress as one line on standard error, written over at each step and
// taken away at the end, for a person at a terminal. Scripts, whose standard error is no
// terminal, never get it.
class TerminalProgress final : public Commands::Progress
{
public:
    void importing(qsizetype done, qsizetype total) override
    {
        if (total <= 0)
            return;
        // The first and the last step, and a few times a second between them.
        if (done > 0 && done < total && m_sinceShown.isValid() && m_sinceShown.elapsed() < 100)
            return;
        const QLocale locale;
        show(Commands::tr("Importing tasks… %1 of %2")
                 .arg(locale.toString(qlonglong(done)), locale.toString(qlonglong(total))));
    }

    // Takes the line away, leaving the cursor where the line began.
    void clear()
    {
        if (m_width == 0)
            return;
        write(stderr, (QLatin1Char('\r') + QString(m_width, u' ') + QLatin1Char('\r')).toUtf8());
        m_width = 0;
    }

private:
    void show(const QString &text)
    {
        QString line = QLatin1Char('\r') + text;
        // Blanks over what a longer text before left.
        if (text.size() < m_width)
            line += QString(m_width - text.size(), u' ');
        m_width = std::max(m_width, text.size());
        write(stderr, line.toUtf8());
        m_sinceShown.start();
    }

    qsizetype m_width = 0;
    QElapsedTimer m_sinceShown;
};

// Loads, changes and writes the data file; the caller holds the data lock.
int runHere(const QStringList &arguments, const QString &workingFolder)
{
    // Said at once, whatever the command comes to: the kept file is the user's to look at.
    const QString recovered = QuorvelDocument::recoverInterruptedSave();
    if (!recovered.isEmpty()) {
        say(Commands::tr("a save was cut short and left data that may hold changes which are "
                         "not in the data file; it has been kept as %1")
                .arg(recovered));
    }
    QuorvelDocument doc;
    if (!doc.load() && QFileInfo::exists(QuorvelDocument::dataFilePath()))
        return refuse(unreadableDataFile());
    TerminalProgress progress;
    Commands::Result result = Commands::run(doc, arguments, workingFolder,
                                            ::isatty(STDERR_FILENO) ? &progress : nullptr);
    if (result.changed) {
        const bool written = doc.save();
        if (!written || !doc.savedToDataFile()) {
            result.exitCode = Commands::Refused;
            result.out.clear();
            result.err += messageLine(saveFailure(doc, written));
        }
    }
    // Only now: the last step stays on the terminal while the data file is written.
    progress.clear();
    return finish(result);
}

// Carries out a command that changes nothing on the data file as it is.
int readHere(Commands::Needs needs, const QStringList &arguments, const QString &workingFolder)
{
    if (needs == Commands::Needs::Records) {
        MappedFile file(QuorvelDocument::dataFilePath());
        Commands::Result result;
        if (file.state() == MappedFile::State::Missing) {
            const QByteArray empty = QuorvelDocument().getDocumentBytes();
            Commands::runOnRecords(empty.constData(), int(empty.size()), arguments, &result);
            return finish(result);
        }
        if (file.state() == MappedFile::State::Unreadable)
            return refuse(unreadableDataFile());
        result.stream = stdout;
        // Another program may cut the file short while it is read here.
        file.onLostPages(messageLine(unreadableDataFile()), messageLine(unreadableAfterPart()),
                         &result.streamed);
        const DocumentFormat::Passing passing = file.passing();
        if (!Commands::runOnRecords(file.data(), file.size(), arguments, &result, &passing)) {
            std::fflush(stdout);
            return refuse(result.streamed > 0 ? unreadableAfterPart() : unreadableDataFile());
        }
        return finish(result);
    }
    // Left to the system when the program ends: freeing a large history one record at a
    // time would take longer than reading it.
    auto *doc = new QuorvelDocument;
    if (!loadFor(*doc, needs) && QFileInfo::exists(QuorvelDocument::dataFilePath())) {
        delete doc;
        return refuse(unreadableDataFile());
    }
    const int status = finish(Commands::run(*doc, arguments, workingFolder));
    std::fflush(stderr);
    ::_exit(status);
}

// The server password: typed on the terminal without being shown, or one line of standard
// input when that is not a terminal; never an argument, which others may see.
bool readPassword(const QString &server, const QString &user, QString *password)
{
    if (TerminalInput::isTerminal()) {
        write(stderr, Commands::tr("Password of %1 on %2: ").arg(user, server).toUtf8());
        std::fflush(stderr);
    }
    return TerminalInput::readLine(password, true);
}

// Whether the person agrees to empty the local data: asked on the terminal; without one, only
// --yes agrees.
bool agreesToEmpty(const QuorvelDocument &doc)
{
    if (!TerminalInput::isTerminal() || !::isatty(STDERR_FILENO))
        return false;
    write(stderr, Commands::tr("Setting up empties the local data: %1 tasks, and the activities "
                               "and categories (a copy of the data file is kept). Go on? [y/N] ")
                      .arg(doc.tasks.size())
                      .toUtf8());
    std::fflush(stderr);
    QString answer;
    if (!TerminalInput::readLine(&answer))
        return false;
    answer = answer.trimmed().toLower();
    return answer == QLatin1String("y") || answer == QLatin1String("yes")
           || answer == Commands::tr("y") || answer == Commands::tr("yes");
}

// Does what the first start's choices do, for a person without a window (ssh, a server, a
// script): the same settings and the same data file.
int setUp(const QStringList &arguments)
{
    const Commands::SetupRequest request = Commands::setupRequest(arguments);
    PrivateFiles::makeFolder(dataFolder());
    CommandChannel channel(dataFolder());
    // While a window is open it is the place to change the mode: its settings and document
    // would otherwise be changed under it.
    FileLock window(channel.lockFilePath());
    if (window.tryLock(0) == FileLock::Outcome::Busy)
        return refuse(Commands::tr("Quorvel's window is open: choose the mode there (Settings → "
                                   "Operating Mode), or close it first."));
    FileLock lock(channel.dataLockPath());
    switch (lock.tryLock(LockPatienceMs)) {
    case FileLock::Outcome::Locked:
        break;
    case FileLock::Outcome::Failed:
        return refuse(Commands::tr("cannot take the lock %1 (%2), so the data file is left as "
                                   "it is.")
                          .arg(lock.path(), lock.errorString()));
    case FileLock::Outcome::Busy:
        return refuse(Commands::tr("another Quorvel holds %1 and does not answer; the command "
                                   "was not carried out.")
                          .arg(lock.path()));
    }

    QuorvelDocument doc;
    Configuration &configuration = doc.configuration;
    const Configuration::OperatingMode current = configuration.mode();
    if (current != Configuration::Unset && !request.force) {
        return refuse(current == Configuration::Group
                          ? Commands::tr("Quorvel is already set up for group mode with the "
                                         "server %1; add --force to set it up again.")
                                .arg(configuration.serverAddress())
                          : Commands::tr("Quorvel is already set up for personal mode; add "
                                         "--force to set it up again."));
    }
    const QString path = QuorvelDocument::dataFilePath();
    const bool exists = QFileInfo::exists(path);
    const bool loaded = exists && doc.load();
    const bool hasData = loaded
                         && (!doc.tasks.isEmpty() || doc.getNumActiveActivities(false) > 0
                             || doc.getNumActiveCategories() > 0);
    if (hasData && !request.yes && !agreesToEmpty(doc)) {
        return refuse(Commands::tr("setting up empties the local data (%1 tasks, and the "
                                   "activities and categories); nothing was changed. Add --yes "
                                   "to go on.")
                          .arg(doc.tasks.size()));
    }
    QString password;
    if (request.mode == Commands::SetupRequest::Mode::Group
        && !readPassword(request.server, request.user, &password))
        return refuse(Commands::tr("no password was given; nothing was changed."));
    // Kept before anything changes, so that a keyring that fails leaves the set-up as it was.
    if (request.mode == Commands::SetupRequest::Mode::Group) {
        const QString problem = storePassword(request.server, request.user, password.trimmed());
        if (!problem.isEmpty())
            return refuse(Commands::tr("%1; nothing was changed.").arg(problem));
    }

    // Whatever the file held stays beside it, as the first start keeps it.
    if (exists) {
        const QString kept = QuorvelDocument::keepCopyOfDataFile(
            loaded ? QStringLiteral("replaced") : QStringLiteral("unreadable"));
        if (kept.isEmpty())
            return refuse(Commands::tr("the data file %1 could not be copied aside, so it is left "
                                       "as it is.")
                              .arg(path));
        write(stdout, Commands::tr("The data file has been kept as %1\n").arg(kept).toUtf8());
    }
    if (request.mode == Commands::SetupRequest::Mode::Personal && request.sample)
        doc.createSampleData();
    else
        doc.clear();
    // The data file first: settings that name a mode with the old file under them would let
    // the next start take the old data for the new mode's.
    const bool written = doc.save();
    if (!written || !doc.savedToDataFile())
        return refuse(saveFailure(doc, written));
    Configuration::resetForFirstStart();
    if (request.mode == Commands::SetupRequest::Mode::Personal) {
        configuration.setMode(Configuration::Personal);
        write(stdout, (request.sample ? Commands::tr("Quorvel is set up for personal mode, with "
                                                     "the sample activities.\n")
                                      : Commands::tr("Quorvel is set up for personal mode.\n"))
                          .toUtf8());
        return Commands::Done;
    }
    configuration.setMode(Configuration::Group);
    configuration.setServerAddress(request.server);
    configuration.setServerUserID(request.user);
    write(stdout, Commands::tr("Quorvel is set up for group mode with the server %1 as %2. "
                               "Synchronize with Server in the window brings the team's "
                               "activities.\n")
                      .arg(request.server, request.user)
                      .toUtf8());
    return Commands::Done;
}

} // namespace

int Launcher::openWindow(char *argv[])
{
    // Without a display the toolkit would abort; say what can be done from here instead, as
    // the window's program itself does.
    int argc = 0;
    while (argv[argc])
        ++argc;
    if (!GraphicalSession::available(argc, argv))
        return GraphicalSession::refuse(argv);
    const QString folder = programFolder();
    const QString program = windowProgram();
    if (!program.isEmpty()) {
        const QByteArray path = QFile::encodeName(program);
        argv[0] = const_cast<char *>(path.constData());
        ::execv(path.constData(), argv);
        const int error = errno;
        return windowNotStarted(argv, QT_TRANSLATE_NOOP("Commands", "cannot start %1: %2"), program,
                                QString::fromLocal8Bit(std::strerror(error)));
    }
    return windowNotStarted(
        argv,
        QT_TRANSLATE_NOOP("Commands",
                          "the window's program quorvel-gui is not installed beside %1"),
        folder);
}

int Launcher::runCommand(int argc, char *argv[])
{
    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    // A command that only reads needs no application object, whose making maps and touches
    // about half a MiB of Qt: it is made for a catalogue, which only it can install, and, as
    // before, for the commands that change something (set-up starts the window's program to
    // keep the password, which wants one).
    std::optional<QCoreApplication> app;
    Translations::Catalogue catalogue = Translations::load();
    if (catalogue.own) {
        app.emplace(argc, argv);
        Translations::install(*app, std::move(catalogue));
    }
    Commands::Result answered;
    const Commands::Needs needs = Commands::check(arguments, &answered);
    if (!app && (needs == Commands::Needs::Writing || needs == Commands::Needs::Setup))
        app.emplace(argc, argv);
    if (needs == Commands::Needs::Nothing)
        return finish(answered);
    if (needs == Commands::Needs::Setup)
        return setUp(arguments);

    const QString workingFolder = QDir::currentPath();
    const QStringList handed = QStringList(workingFolder) + arguments;
    CommandChannel channel(dataFolder());
    int exitCode = 0;
    QByteArray out;
    QByteArray err;
    bool problemSaid = false;
    // Hands the command to the running window, if one listens; says once why it cannot be
    // asked when something else stands where it would listen.
    auto hand = [&] {
        QString problem;
        const CommandChannel::HandOver outcome
            = channel.handCommand(handed, AnswerTimeoutMs, &exitCode, &out, &err, &problem);
        if (!problem.isEmpty() && !problemSaid) {
            problemSaid = true;
            say(Commands::tr("%1; the command is carried out on the data file instead.")
                    .arg(problem));
        }
        return outcome;
    };

    const bool writing = needs == Commands::Needs::Writing;
    CommandChannel::HandOver outcome = hand();
    if (outcome == CommandChannel::HandOver::Answered)
        return ::answered(exitCode, out, err);
    // A reading command is simply asked again.
    if (outcome == CommandChannel::HandOver::Lost && writing)
        return lost();
    // The window's document may hold changes not yet written: when one runs it is asked, and
    // otherwise the file holds everything.
    if (!writing && outcome == CommandChannel::HandOver::NoInstance)
        return readHere(needs, arguments, workingFolder);

    // One writer at a time: the running window, or whoever holds the data lock. A window that
    // declined the command is ending and lets go of the lock once it has written its data.
    PrivateFiles::makeFolder(dataFolder());
    FileLock lock(channel.dataLockPath());
    QElapsedTimer patience;
    patience.start();
    for (;;) {
        switch (lock.tryLock(100)) {
        case FileLock::Outcome::Locked:
            if (!writing)
                return readHere(needs, arguments, workingFolder);
            return runHere(arguments, workingFolder);
        case FileLock::Outcome::Failed:
            return refuse(Commands::tr("cannot take the lock %1 (%2), so the data file is left "
                                       "as it is.")
                              .arg(lock.path(), lock.errorString()));
        case FileLock::Outcome::Busy:
            break;
        }
        if (patience.elapsed() > LockPatienceMs)
            return refuse(Commands::tr("another Quorvel holds %1 and does not answer; the "
                                       "command was not carried out.")
                              .arg(lock.path()));
        outcome = hand();
        if (outcome == CommandChannel::HandOver::Answered)
            return ::answered(exitCode, out, err);
        if (outcome == CommandChannel::HandOver::Lost && writing)
            return lost();
    }
}
