// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QByteArray>
#include <QCoreApplication>
#include <QDate>
#include <QString>
#include <QStringList>

#include <cstdio>

namespace DocumentFormat {
struct Passing;
}

class QuorvelDocument;

// The commands of the quorvel program ("start", "stop", "status", "list", "activities",
// "report", "export", "import", "setup", "help"). The program runs them on the data file, or hands
// them to the running window, which runs them here on the document it holds: one
// implementation, whoever holds the data.
class Commands
{
    Q_DECLARE_TR_FUNCTIONS(Commands)

public:
    enum ExitCode { Done = 0, Refused = 1, BadUsage = 2 };

    struct Result
    {
        int exitCode = Done;
        QByteArray out;
        QByteArray err;
        // True when the document changed and must be written.
        bool changed = false;
        // What changed, named for the window's Edit menu ("Start of Coding").
        QString change;
        // The activities of tasks taken out because they lasted less than a minute.
        QStringList removedUnderAMinute;
        // Where a long output may go as it is made, instead of all of it in out (the
        // launcher's standard output); null keeps everything in out.
        std::FILE *stream = nullptr;
        // Bytes already written to stream.
        qint64 streamed = 0;
    };

    // What a command needs of the data file, known from its arguments alone.
    enum class Needs {
        Nothing,      // help, a usage error: answered without the data
        RunningTasks, // only the running tasks (status)
        Activities,   // the activities and categories, not the tasks
        Records,      // the document string, read record by record (list, report, export)
        Writing,      // the whole document, to change and write
        Setup         // the settings and the whole document, never handed to a window
    };

    // What "quorvel setup" was asked to do, read from its arguments.
    struct SetupRequest
    {
        enum class Mode { Personal, Group } mode = Mode::Personal;
        bool sample = false;
        QString server;
        QString user;
        bool yes = false;
        bool force = false;
    };

    // True when the first argument names a command, so that the program runs it instead of
    // opening the window.
    static bool isCommand(const QString &firstArgument);

    // Checks the arguments (the command and what follows it) without the data: help and
    // usage errors are answered in *result and Needs::Nothing is returned.
    static Needs check(const QStringList &arguments, Result *result);

    // Told how far a long command has come, for a person who waits for it at a terminal.
    class Progress
    {
    public:
        virtual ~Progress() = default;
        // "quorvel import": done of the file's total tasks are through. Called for each task,
        // and once more with done equal to total at the end.
        virtual void importing(qsizetype done, qsizetype total) = 0;
    };

    // Runs the command on doc, at the moment Clock gives. workingFolder resolves the file name
    // of "import"; progress, when given, hears how far it has come.
    static Result run(QuorvelDocument &doc, const QStringList &arguments,
                      const QString &workingFolder, Progress *progress = nullptr);

    // Runs a command that needs only the records (Needs::Records) on a document string, as
    // it is read. False when the string cannot be read. passing, when given, hears how far
    // the reading has come.
    static bool runOnRecords(const char *data, int length, const QStringList &arguments,
                             Result *result, const DocumentFormat::Passing *passing = nullptr);

    // Reads the arguments of "quorvel setup" (checked by check() first).
    static SetupRequest setupRequest(const QStringList &arguments);

    // The text of "quorvel --help".
    static QString overview();
};
