// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

// What the commands of Commands.cpp share: the arguments as read, and the small steps every
// command takes. Only the command line's own files include this.

#include "Commands.h"
#include "model/TaskCommands.h"

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QSet>

#include <vector>

class Activity;
class QObject;
class QTime;

namespace CommandParts {

struct OptionEntry
{
    const char *name;
    const char *valueName; // null for a switch
    const char *description;
    // An earlier name that still works, so that scripts written with it keep running; help
    // and completion offer only the name.
    const char *formerName = nullptr;
};

struct CommandEntry
{
    const char *name;
    const char *arguments;
    const char *summary;
    std::vector<OptionEntry> options;
    int minArguments;
    int maxArguments;
    Commands::Needs needs;
    // What to say when the arguments are missing.
    const char *missing = nullptr;
};

// A command's arguments as read: what the commands below work from.
struct Invocation
{
    const CommandEntry *entry = nullptr;
    QStringList positional;
    QHash<QString, QString> values;
    QSet<QString> switches;
    QDate from;
    QDate to;
    QDateTime at;

    QString value(const char *name) const { return values.value(QLatin1String(name)); }
    bool has(const char *name) const
    {
        return values.contains(QLatin1String(name)) || switches.contains(QLatin1String(name));
    }
};

// The activity a name on the command line means: the exact name, else the name in any
// letter case, else the only one it begins. When none is, the names it could mean.
struct Resolution
{
    Activity *activity = nullptr;
    QList<Activity *> ambiguous;
};

// Steps shared by the commands.
void append(QByteArray &to, const QString &text);
// An answer that has a stream is written out in pieces of this size as it is made: a long
// history's answer then never lies in memory whole, nor in fresh pages that each cost a fault.
// A pipe holds 64 KiB: larger pieces only add resident memory, not speed.
constexpr qsizetype StreamPiece = 64 * 1024;
// Writes out what the result holds once that is a piece, when it has a stream; the room stays
// for the next piece.
void handOnPiece(Commands::Result *result);
void badUsage(const QString &command, const QString &message, Commands::Result *result);
// The start of a long text, for a message that has to show which one it means.
QString shortened(const QString &text);
void refuse(Commands::Result *result, const QString &message);
QString describe(const Activity *activity);
QString candidateLines(const QList<Activity *> &candidates);
Resolution resolve(const QString &name, const QList<Activity *> &candidates);
bool refuseUnlessSetUp(const QuorvelDocument &doc, Commands::Result *result);
QString isoMinute(const QDate &date, const QTime &time);
QString isoMinute(const QDateTime &when);
QString categoryOf(const Activity *activity);
// The activity (and category) that "start --category" or an import creates: null, with the
// refusal in *refusal, when the name cannot be one or the group keeps the activities.
Activity *createActivity(QuorvelDocument &doc, const QString &typedName,
                         const QString &typedCategory, QString *refusal,
                         std::vector<QObject *> *created);
// Takes back what createActivity made, for a command that is refused after all.
void removeCreated(QuorvelDocument &doc, std::vector<QObject *> &created);
QList<Activity *> startable(const QuorvelDocument &doc);
QString jsonString(const QString &text);

// The commands, each in a file of its own.
void start(QuorvelDocument &doc, const Invocation &call, Commands::Result *result);
void stop(QuorvelDocument &doc, const Invocation &call, Commands::Result *result);
void status(const QuorvelDocument &doc, const Invocation &call, Commands::Result *result);
void activities(const QuorvelDocument &doc, Commands::Result *result);
void report(const QuorvelDocument &doc, const Invocation &call, Commands::Result *result);
// The same report straight from a document string; false when it cannot be read.
// passing, when given, hears how far the reading has come.
bool reportRecords(const char *data, int length, const Invocation &call, Commands::Result *result,
                   const DocumentFormat::Passing *passing = nullptr);
bool listRecords(const char *data, int length, const Invocation &call, Commands::Result *result,
                 const DocumentFormat::Passing *passing = nullptr);
bool exportRecords(const char *data, int length, const Invocation &call, Commands::Result *result,
                   const DocumentFormat::Passing *passing = nullptr);
void importTasks(QuorvelDocument &doc, const Invocation &call, const QString &workingFolder,
                 Commands::Result *result, Commands::Progress *progress);

} // namespace CommandParts
