// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "Commands.h"

#include "ImportReader.h"
#include "TimeArgument.h"
#include "model/DocumentFormat.h"
#include "model/QuorvelDocument.h"
#include "model/TaskCommands.h"
#include "model/TaskTimeText.h"
#include "platform/Clock.h"
#include "platform/SystemError.h"
#include "reports/ReportText.h"

#include <QCommandLineParser>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>
#include <cerrno>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct OptionEntry
{
    const char *name;
    const char *valueName; // null for a switch
    const char *description;
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

const OptionEntry AtOption = {"at", QT_TRANSLATE_NOOP("Commands", "TIME"),
                              QT_TRANSLATE_NOOP("Commands", "the moment instead of now: 09:30, "
                                                            "2026-11-21T09:30 or yesterday 17:00")};
// A moment more than a day ahead is most likely a typing slip (a year, a month).
const OptionEntry ForceOption = {"force", nullptr,
                                 QT_TRANSLATE_NOOP("Commands", "take an --at more than a day "
                                                               "ahead")};
const OptionEntry FromOption = {"from", QT_TRANSLATE_NOOP("Commands", "DATE"),
                                QT_TRANSLATE_NOOP("Commands", "the first day: 2026-11-21, today, "
                                                              "yesterday or a weekday")};
const OptionEntry ToOption = {"to", QT_TRANSLATE_NOOP("Commands", "DATE"),
                              QT_TRANSLATE_NOOP("Commands", "the last day, included")};

const std::vector<CommandEntry> &commandTable()
{
    static const std::vector<CommandEntry> table = {
        {"start",
         QT_TRANSLATE_NOOP("Commands", "ACTIVITY"),
         QT_TRANSLATE_NOOP("Commands", "Start a task of the activity, as its shortcut button "
                                       "does."),
         {AtOption,
          {"category", QT_TRANSLATE_NOOP("Commands", "CATEGORY"),
           QT_TRANSLATE_NOOP("Commands", "create the activity in this category when none is "
                                         "called so (personal mode)")},
          ForceOption},
         1,
         1,
         Commands::Needs::Writing,
         QT_TRANSLATE_NOOP("Commands", "name the activity to start.")},
        {"stop",
         QT_TRANSLATE_NOOP("Commands", "[ACTIVITY]"),
         QT_TRANSLATE_NOOP("Commands", "Stop the running tasks, or those of the activity."),
         {AtOption, ForceOption},
         0,
         1,
         Commands::Needs::Writing},
        {"status",
         "",
         QT_TRANSLATE_NOOP("Commands", "Show the running tasks and their running time; exit "
                                       "status 1 when none runs."),
         {{"format", QT_TRANSLATE_NOOP("Commands", "FORMAT"),
           QT_TRANSLATE_NOOP("Commands", "text or json")}},
         0,
         0,
         Commands::Needs::RunningTasks},
        {"list",
         "",
         QT_TRANSLATE_NOOP("Commands", "List the tasks as the window's table shows them."),
         {FromOption, ToOption},
         0,
         0,
         Commands::Needs::Reading},
        {"activities",
         "",
         QT_TRANSLATE_NOOP("Commands", "List the activities that can be started."),
         {},
         0,
         0,
         Commands::Needs::Activities},
        {"report",
         QT_TRANSLATE_NOOP("Commands", "summary|timesheet"),
         QT_TRANSLATE_NOOP("Commands", "Write the period summary or the time sheet of a "
                                       "period."),
         {FromOption,
          ToOption,
          {"decimal", nullptr,
           QT_TRANSLATE_NOOP("Commands", "hours with decimals instead of hours and minutes")},
          {"zero", nullptr, QT_TRANSLATE_NOOP("Commands", "list activities without time too")},
          {"format", QT_TRANSLATE_NOOP("Commands", "FORMAT"),
           QT_TRANSLATE_NOOP("Commands", "html (as the Report menu shows it), text or csv")}},
         1,
         1,
         Commands::Needs::Reading,
         QT_TRANSLATE_NOOP("Commands", "say summary or timesheet.")},
        {"export",
         "",
         QT_TRANSLATE_NOOP("Commands", "Write every task with its activity, category, start, "
                                       "stop and minutes."),
         {FromOption,
          ToOption,
          {"format", QT_TRANSLATE_NOOP("Commands", "FORMAT"),
           QT_TRANSLATE_NOOP("Commands", "csv or json")}},
         0,
         0,
         Commands::Needs::Records},
        {"import",
         QT_TRANSLATE_NOOP("Commands", "FILE"),
         QT_TRANSLATE_NOOP("Commands", "Add the tasks of an export, or of a Timewarrior "
                                       "export (timew export)."),
         {{"format", QT_TRANSLATE_NOOP("Commands", "FORMAT"),
           QT_TRANSLATE_NOOP("Commands", "csv or json (by default told from the contents)")},
          {"category", QT_TRANSLATE_NOOP("Commands", "CATEGORY"),
           QT_TRANSLATE_NOOP("Commands", "the category of Timewarrior's tasks (Timewarrior "
                                         "unless given)")},
          {"category-from-first-tag", nullptr,
           QT_TRANSLATE_NOOP("Commands", "a Timewarrior task's first tag is its category")}},
         1,
         1,
         Commands::Needs::Writing,
         QT_TRANSLATE_NOOP("Commands", "name the file to import.")},
        {"setup",
         QT_TRANSLATE_NOOP("Commands", "personal|group"),
         QT_TRANSLATE_NOOP("Commands", "Choose how Quorvel is used, as its first start asks: "
                                       "personal, or group with a server."),
         {{"sample", nullptr,
           QT_TRANSLATE_NOOP("Commands", "personal mode with the sample activities and "
                                         "categories")},
          {"server", QT_TRANSLATE_NOOP("Commands", "ADDRESS"),
           QT_TRANSLATE_NOOP("Commands", "the group server, host:port (group mode)")},
          {"user", QT_TRANSLATE_NOOP("Commands", "ID"),
           QT_TRANSLATE_NOOP("Commands", "your user ID on the server (group mode); the "
                                         "password is asked for")},
          {"yes", nullptr, QT_TRANSLATE_NOOP("Commands", "empty the local data without asking")},
          {"force", nullptr,
           QT_TRANSLATE_NOOP("Commands", "set Quorvel up again although it is set up")}},
         1,
         1,
         Commands::Needs::Setup,
         QT_TRANSLATE_NOOP("Commands", "say personal or group.")},
        {"help",
         QT_TRANSLATE_NOOP("Commands", "[COMMAND]"),
         QT_TRANSLATE_NOOP("Commands", "Show how to use a command."),
         {},
         0,
         1,
         Commands::Needs::Nothing},
    };
    return table;
}

const CommandEntry *findCommand(const QString &name)
{
    for (const CommandEntry &entry : commandTable()) {
        if (name == QLatin1String(entry.name))
            return &entry;
    }
    return nullptr;
}

QString trText(const char *text)
{
    return Commands::tr(text);
}

QString optionSynopsis(const OptionEntry &option)
{
    QString text = QStringLiteral("--") + QLatin1String(option.name);
    if (option.valueName)
        text += QLatin1Char(' ') + trText(option.valueName);
    return text;
}

QString helpOf(const CommandEntry &entry)
{
    QString usage = QStringLiteral("quorvel ") + QLatin1String(entry.name);
    if (*entry.arguments)
        usage += QLatin1Char(' ') + trText(entry.arguments);
    for (const OptionEntry &option : entry.options)
        usage += QStringLiteral(" [") + optionSynopsis(option) + QLatin1Char(']');

    QString text = Commands::tr("Usage: %1").arg(usage) + QLatin1String("\n\n")
                   + trText(entry.summary) + QLatin1Char('\n');
    if (!entry.options.empty()) {
        text += QLatin1Char('\n') + Commands::tr("Options:") + QLatin1Char('\n');
        for (const OptionEntry &option : entry.options) {
            text += QStringLiteral("  ") + optionSynopsis(option).leftJustified(32)
                    + trText(option.description) + QLatin1Char('\n');
        }
    }
    text += QStringLiteral("  ") + QStringLiteral("-h, --help").leftJustified(32)
            + Commands::tr("show this help") + QLatin1Char('\n');
    return text;
}

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

void append(QByteArray &to, const QString &text)
{
    to += text.toUtf8();
}

void badUsage(const QString &command, const QString &message, Commands::Result *result)
{
    result->exitCode = Commands::BadUsage;
    const QString who
        = command.isEmpty() ? QStringLiteral("quorvel") : QStringLiteral("quorvel ") + command;
    append(result->err, who + QLatin1String(": ") + message + QLatin1Char('\n'));
    append(result->err,
           command.isEmpty()
               ? Commands::tr("Try “quorvel --help”.") + QLatin1Char('\n')
               : Commands::tr("Try “quorvel help %1”.").arg(command) + QLatin1Char('\n'));
}

// The start of a long text, for a message that has to show which one it means.
QString shortened(const QString &text)
{
    constexpr qsizetype Shown = 40;
    if (text.size() <= Shown)
        return text;
    qsizetype keep = Shown - 1;
    if (text.at(keep - 1).isHighSurrogate())
        --keep;
    return text.first(keep) + QChar(0x2026);
}

bool checkFormat(const Invocation &call, const QStringList &accepted, Commands::Result *result)
{
    if (!call.has("format") || accepted.contains(call.value("format")))
        return true;
    QStringList quotedNames;
    for (const QString &name : accepted)
        quotedNames << name;
    badUsage(QLatin1String(call.entry->name),
             Commands::tr("--format must be %1, not “%2”.")
                 .arg(quotedNames.join(Commands::tr(" or ")), call.value("format")),
             result);
    return false;
}

bool readDate(const Invocation &call, const char *option, QDate *date, Commands::Result *result)
{
    if (!call.has(option))
        return true;
    QString error;
    *date = TimeArgument::parseDate(call.value(option), Clock::now().date(), &error);
    if (date->isValid())
        return true;
    badUsage(QLatin1String(call.entry->name),
             QStringLiteral("--") + QLatin1String(option) + QLatin1String(": ") + error, result);
    return false;
}

// Reads the arguments (the command first). False when the answer is already in *result:
// help, or a usage error.
bool parse(const QStringList &arguments, Invocation *call, Commands::Result *result)
{
    const QString name = arguments.value(0);
    if (name == QLatin1String("--help") || name == QLatin1String("-h")) {
        append(result->out, Commands::overview());
        return false;
    }
    if (name == QLatin1String("--version")) {
        append(result->out, QStringLiteral("quorvel %1\n").arg(QStringLiteral(QUORVEL_VERSION)));
        return false;
    }
    call->entry = findCommand(name);
    if (!call->entry) {
        badUsage(QString(), Commands::tr("“%1” is not a command.").arg(name), result);
        return false;
    }
    const CommandEntry &entry = *call->entry;

    QCommandLineParser parser;
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    QCommandLineOption help(QStringList{QStringLiteral("h"), QStringLiteral("help")});
    parser.addOption(help);
    for (const OptionEntry &option : entry.options) {
        QCommandLineOption parserOption(QLatin1String(option.name));
        if (option.valueName)
            parserOption.setValueName(QLatin1String(option.valueName));
        parser.addOption(parserOption);
    }
    if (!parser.parse(QStringList(QStringLiteral("quorvel")) + arguments.mid(1))) {
        badUsage(name, parser.errorText(), result);
        return false;
    }
    if (parser.isSet(help)) {
        append(result->out, helpOf(entry));
        return false;
    }

    call->positional = parser.positionalArguments();
    for (const OptionEntry &option : entry.options) {
        const QString optionName = QLatin1String(option.name);
        if (!parser.isSet(optionName))
            continue;
        if (option.valueName)
            call->values.insert(optionName, parser.value(optionName));
        else
            call->switches.insert(optionName);
    }
    if (call->positional.size() < entry.minArguments) {
        badUsage(name, trText(entry.missing), result);
        return false;
    }
    if (call->positional.size() > entry.maxArguments) {
        badUsage(name,
                 Commands::tr("unexpected argument “%1”.")
                     .arg(call->positional.value(entry.maxArguments)),
                 result);
        return false;
    }

    if (name == QLatin1String("help")) {
        if (call->positional.isEmpty()) {
            append(result->out, Commands::overview());
            return false;
        }
        const CommandEntry *about = findCommand(call->positional.first());
        if (!about) {
            badUsage(name, Commands::tr("“%1” is not a command.").arg(call->positional.first()),
                     result);
            return false;
        }
        append(result->out, helpOf(*about));
        return false;
    }

    if (!readDate(*call, "from", &call->from, result) || !readDate(*call, "to", &call->to, result))
        return false;
    if (call->from.isValid() && call->to.isValid() && call->from > call->to) {
        badUsage(name, Commands::tr("--from is after --to."), result);
        return false;
    }
    if (call->has("at")) {
        QString error;
        call->at = TimeArgument::parseMoment(call->value("at"), Clock::now(), &error);
        if (!call->at.isValid()) {
            badUsage(name, QStringLiteral("--at: ") + error, result);
            return false;
        }
        if (call->at > Clock::now().addDays(1) && !call->has("force")) {
            badUsage(name,
                     Commands::tr("--at: %1 is more than a day ahead; add --force if you mean "
                                  "it.")
                         .arg(call->at.toString(QStringLiteral("yyyy-MM-dd HH:mm"))),
                     result);
            return false;
        }
    }

    if (name == QLatin1String("start") || name == QLatin1String("stop")) {
        QStringList names = call->positional;
        if (call->has("category"))
            names << call->value("category");
        for (const QString &typed : std::as_const(names)) {
            const qsizetype length = QuorvelDocument::cleanName(typed).size();
            if (length > QuorvelDocument::MaxNameLength) {
                badUsage(name,
                         Commands::tr("“%1” is too long for a name: it has %2 characters, and a "
                                      "name has at most %3.")
                             .arg(shortened(typed))
                             .arg(length)
                             .arg(QuorvelDocument::MaxNameLength),
                         result);
                return false;
            }
        }
    }
    if (name == QLatin1String("status"))
        return checkFormat(*call, {QStringLiteral("text"), QStringLiteral("json")}, result);
    if (name == QLatin1String("export") || name == QLatin1String("import"))
        return checkFormat(*call, {QStringLiteral("csv"), QStringLiteral("json")}, result);
    if (name == QLatin1String("setup")) {
        const QString mode = call->positional.first();
        if (mode == QLatin1String("personal")) {
            if (call->has("server") || call->has("user")) {
                badUsage(name, Commands::tr("--server and --user are for group mode."), result);
                return false;
            }
        } else if (mode == QLatin1String("group")) {
            if (call->has("sample")) {
                badUsage(name, Commands::tr("--sample is for personal mode."), result);
                return false;
            }
            if (call->value("server").trimmed().isEmpty()
                || call->value("user").trimmed().isEmpty()) {
                badUsage(name, Commands::tr("group mode needs --server and --user."), result);
                return false;
            }
        } else {
            badUsage(name, Commands::tr("say personal or group, not “%1”.").arg(mode), result);
            return false;
        }
        return true;
    }
    if (name == QLatin1String("report")) {
        const QString kind = call->positional.first();
        if (kind != QLatin1String("summary") && kind != QLatin1String("timesheet")) {
            badUsage(name, Commands::tr("say summary or timesheet, not “%1”.").arg(kind), result);
            return false;
        }
        if (!call->from.isValid() || !call->to.isValid()) {
            badUsage(name, Commands::tr("--from and --to are needed."), result);
            return false;
        }
        return checkFormat(
            *call, {QStringLiteral("html"), QStringLiteral("text"), QStringLiteral("csv")}, result);
    }
    return true;
}

void refuse(Commands::Result *result, const QString &message)
{
    result->exitCode = Commands::Refused;
    append(result->err, QStringLiteral("quorvel: ") + message + QLatin1Char('\n'));
}

void refuse(Commands::Result *result, const TaskMessages::Message &message)
{
    refuse(result, message.title + QLatin1String(": ") + TaskMessages::oneLine(message.text));
}

QString describe(const Activity *activity)
{
    if (!activity->category)
        return activity->name;
    return Commands::tr("%1 (%2)").arg(activity->name, activity->category->name);
}

QString candidateLines(const QList<Activity *> &candidates)
{
    QString text;
    for (const Activity *activity : candidates)
        text += QStringLiteral("\n  ") + describe(activity);
    return text;
}

// The activity a name on the command line means: the exact name, else the name in any
// letter case, else the only one it begins. When none is, the names it could mean.
struct Resolution
{
    Activity *activity = nullptr;
    QList<Activity *> ambiguous;
};

Resolution resolve(const QString &name, const QList<Activity *> &candidates)
{
    using Test = bool (*)(const QString &, const QString &);
    const Test tests[] = {
        [](const QString &n, const QString &a) { return a == n; },
        [](const QString &n, const QString &a) { return a.compare(n, Qt::CaseInsensitive) == 0; },
        [](const QString &n, const QString &a) { return a.startsWith(n, Qt::CaseInsensitive); },
    };
    Resolution resolution;
    for (const Test test : tests) {
        for (Activity *activity : candidates) {
            if (test(name, activity->name))
                resolution.ambiguous << activity;
        }
        if (resolution.ambiguous.size() == 1)
            resolution.activity = resolution.ambiguous.takeFirst();
        if (!resolution.ambiguous.isEmpty() || resolution.activity)
            return resolution;
    }
    return resolution;
}

bool refuseUnlessSetUp(const QuorvelDocument &doc, Commands::Result *result)
{
    if (doc.configuration.mode() != Configuration::Unset)
        return false;
    refuse(result, Commands::tr("Quorvel is not set up yet: run “quorvel setup personal” (or "
                                "“quorvel setup group --server ADDRESS --user ID”), or start it "
                                "once without a command and choose how you use it."));
    return true;
}

QString isoMinute(const QDate &date, const QTime &time)
{
    if (!date.isValid() || !time.isValid())
        return QString();
    return QString::asprintf("%04d-%02d-%02dT%02d:%02d", date.year(), date.month(), date.day(),
                             time.hour(), time.minute());
}

QString isoMinute(const QDateTime &when)
{
    return isoMinute(when.date(), when.time());
}

QString categoryOf(const Activity *activity)
{
    return activity && activity->category ? activity->category->name : QString();
}

// The activity (and category) that "start --category" or an import creates: null, with the
// refusal in *refusal, when the name cannot be one or the group keeps the activities.
Activity *createActivity(QuorvelDocument &doc, const QString &typedName,
                         const QString &typedCategory, QString *refusal,
                         std::vector<QObject *> *created)
{
    const QString name = QuorvelDocument::catalogueName(typedName);
    const QString categoryName = QuorvelDocument::catalogueName(typedCategory);
    if (doc.configuration.mode() == Configuration::Group) {
        *refusal = Commands::tr("in group mode the group server keeps the activities, so “%1” "
                                "is not created here: ask the team lead to add it.")
                       .arg(QuorvelDocument::cleanName(typedName));
        return nullptr;
    }
    if (name.isEmpty()) {
        *refusal = Commands::tr("“%1” cannot be the name of an activity.").arg(typedName);
        return nullptr;
    }
    if (categoryName.isEmpty()) {
        *refusal = Commands::tr("“%1” cannot be the name of a category.").arg(typedCategory);
        return nullptr;
    }
    ActivityCategory *category = nullptr;
    for (ActivityCategory *c : std::as_const(doc.categories)) {
        if (!c->obsolete && QuorvelDocument::sameName(c->name, categoryName)) {
            category = c;
            break;
        }
    }
    if (!category) {
        category = doc.addCategory(categoryName);
        created->push_back(category);
    }
    Activity *activity = doc.addActivity(name, category);
    created->push_back(activity);
    return activity;
}

// Takes back what createActivity made, for a command that is refused after all.
void removeCreated(QuorvelDocument &doc, std::vector<QObject *> &created)
{
    for (QObject *object : created) {
        if (auto *activity = qobject_cast<Activity *>(object))
            doc.activities.removeRef(activity);
        else if (auto *category = qobject_cast<ActivityCategory *>(object))
            doc.categories.removeRef(category);
        delete object;
    }
    created.clear();
}

QList<Activity *> startable(const QuorvelDocument &doc)
{
    QList<Activity *> list;
    for (Activity *activity : doc.activities) {
        if (!activity->obsolete)
            list << activity;
    }
    return list;
}

void noteLines(Commands::Result *result, const QStringList &notes)
{
    for (const QString &note : notes)
        append(result->out, note + QLatin1Char('\n'));
}

void start(QuorvelDocument &doc, const Invocation &call, Commands::Result *result)
{
    if (refuseUnlessSetUp(doc, result))
        return;
    const QString name = call.positional.first();
    std::vector<QObject *> created;
    Activity *activity = nullptr;
    if (call.has("category")) {
        const QString categoryName = QuorvelDocument::cleanName(call.value("category"));
        for (Activity *a : startable(doc)) {
            if (a->category && a->category->name.compare(categoryName, Qt::CaseInsensitive) == 0
                && a->name.compare(QuorvelDocument::cleanName(name), Qt::CaseInsensitive) == 0) {
                activity = a;
                break;
            }
        }
        if (!activity) {
            QString refusal;
            activity = createActivity(doc, name, call.value("category"), &refusal, &created);
            if (!activity) {
                refuse(result, refusal);
                return;
            }
        }
    } else {
        const QList<Activity *> candidates = startable(doc);
        const Resolution resolution = resolve(name, candidates);
        activity = resolution.activity;
        if (!resolution.ambiguous.isEmpty()) {
            refuse(result, Commands::tr("“%1” could be any of these activities:%2")
                               .arg(name, candidateLines(resolution.ambiguous)));
            return;
        }
        if (!activity && candidates.isEmpty()) {
            refuse(result,
                   Commands::tr("no activity is called “%1”, and there are none yet.").arg(name));
            return;
        }
        if (!activity) {
            refuse(result, Commands::tr("no activity is called “%1”. The activities are:%2")
                               .arg(name, candidateLines(candidates)));
            return;
        }
    }

    const QDateTime when = call.at.isValid() ? call.at : Clock::currentTime(false);
    const TaskCommands::Outcome outcome = TaskCommands::start(doc, activity, when);
    if (outcome.refused) {
        removeCreated(doc, created);
        refuse(result, outcome.refusal);
        return;
    }
    if (!created.empty()) {
        append(result->out, Commands::tr("Created the activity “%1” in “%2”.")
                                    .arg(activity->name, categoryOf(activity))
                                + QLatin1Char('\n'));
    }
    noteLines(result, outcome.notes);
    result->changed = outcome.changed || !created.empty();
    result->change = TaskMessages::startChange(activity->name);
    result->removedUnderAMinute = outcome.removedUnderAMinute;
}

// A word as a shell takes it whole: in single quotes unless it is plain.
QString shellWord(const QString &word)
{
    static const QRegularExpression plain(QStringLiteral("^[A-Za-z0-9_.,:/+=@%-]+$"));
    if (plain.match(word).hasMatch())
        return word;
    QString quoted = word;
    quoted.replace(QLatin1Char('\''), QLatin1String("'\\''"));
    return QLatin1Char('\'') + quoted + QLatin1Char('\'');
}

void stop(QuorvelDocument &doc, const Invocation &call, Commands::Result *result)
{
    if (refuseUnlessSetUp(doc, result))
        return;
    QList<QVTask *> running;
    QList<Activity *> runningActivities;
    for (QVTask *task : std::as_const(doc.tasks)) {
        if (!task->isRunning())
            continue;
        running << task;
        if (task->activity && !runningActivities.contains(task->activity))
            runningActivities << task->activity;
    }
    if (running.isEmpty()) {
        refuse(result, Commands::tr("no task is running."));
        return;
    }
    if (!call.positional.isEmpty()) {
        const QString name = call.positional.first();
        const Resolution resolution = resolve(name, runningActivities);
        Activity *activity = resolution.activity;
        if (!resolution.ambiguous.isEmpty()) {
            refuse(result, Commands::tr("“%1” could be any of these running activities:%2")
                               .arg(name, candidateLines(resolution.ambiguous)));
            return;
        }
        if (!activity) {
            refuse(result, Commands::tr("no running activity is called “%1”. Running:%2")
                               .arg(name, candidateLines(runningActivities)));
            return;
        }
        QList<QVTask *> ofActivity;
        for (QVTask *task : std::as_const(running)) {
            if (task->activity == activity)
                ofActivity << task;
        }
        running = ofActivity;
    }

    const QDateTime when = call.at.isValid() ? call.at : Clock::currentTime(false);
    const TaskCommands::Outcome outcome = TaskCommands::stop(doc, running, when);
    if (outcome.refused) {
        refuse(result, outcome.refusal);
        // The way out of a task that a later task keeps from stopping now.
        if (outcome.latestStop.isValid()) {
            const QString command
                = QStringLiteral("quorvel stop %1 --at %2")
                      .arg(shellWord(outcome.trappedActivity), isoMinute(outcome.latestStop));
            append(result->err, Commands::tr("It can stop at %1, where the next task starts: %2")
                                        .arg(TaskTimeText::text(outcome.latestStop), command)
                                    + QLatin1Char('\n'));
        }
        return;
    }
    noteLines(result, outcome.notes);
    result->changed = outcome.changed;
    result->change = outcome.change;
    result->removedUnderAMinute = outcome.removedUnderAMinute;
}

QString jsonString(const QString &text)
{
    QString quoted;
    quoted.reserve(text.size() + 2);
    quoted += QLatin1Char('"');
    for (const QChar c : text) {
        switch (c.unicode()) {
        case '"':
            quoted += QLatin1String("\\\"");
            break;
        case '\\':
            quoted += QLatin1String("\\\\");
            break;
        case '\n':
            quoted += QLatin1String("\\n");
            break;
        case '\r':
            quoted += QLatin1String("\\r");
            break;
        case '\t':
            quoted += QLatin1String("\\t");
            break;
        default:
            if (c.unicode() < 0x20)
                quoted += QString::asprintf("\\u%04x", unsigned(c.unicode()));
            else
                quoted += c;
        }
    }
    quoted += QLatin1Char('"');
    return quoted;
}

void status(const QuorvelDocument &doc, const Invocation &call, Commands::Result *result)
{
    const bool json = call.value("format") == QLatin1String("json");
    const QDateTime now = Clock::currentTime(true);
    QString text;
    QStringList objects;
    for (const QVTask *task : doc.tasks) {
        if (!task->isRunning())
            continue;
        const QDateTime started = task->start();
        // A start in the future (set by hand) has run for no time yet.
        const QDateTime until = qMax(started, now);
        const QString time = TaskTimeText::runningTime(started, until);
        objects << QStringLiteral("{\"activity\":%1,\"category\":%2,\"start\":%3,"
                                  "\"seconds\":%4,\"time\":%5}")
                       .arg(jsonString(task->activityName()),
                            jsonString(categoryOf(task->activity)), jsonString(isoMinute(started)),
                            QString::number(started.secsTo(until)), jsonString(time));
        text += task->activityName() + QLatin1Char('\t') + time + QLatin1Char('\n');
    }
    if (json)
        text = QStringLiteral("{\"running\":[") + objects.join(QLatin1Char(','))
               + QStringLiteral("]}\n");
    append(result->out, text);
    if (objects.isEmpty()) {
        result->exitCode = Commands::Refused;
        if (!json)
            append(result->err, Commands::tr("No task is running.") + QLatin1Char('\n'));
    }
}

bool startsWithin(const QVTask *task, const Invocation &call)
{
    const QDate day = task->startDate();
    if (call.from.isValid() && (!day.isValid() || day < call.from))
        return false;
    if (call.to.isValid() && (!day.isValid() || day > call.to))
        return false;
    return true;
}

void list(const QuorvelDocument &doc, const Invocation &call, Commands::Result *result)
{
    int startWidth = 0;
    int stopWidth = 0;
    for (const QVTask *task : doc.tasks) {
        if (!startsWithin(task, call))
            continue;
        startWidth = qMax(startWidth, int(task->startText.size()));
        stopWidth = qMax(stopWidth, int(task->stopText.size()));
    }
    QString text;
    for (const QVTask *task : doc.tasks) {
        if (!startsWithin(task, call))
            continue;
        text += task->startText.leftJustified(startWidth) + QLatin1String("  ")
                + task->stopText.leftJustified(stopWidth) + QLatin1String("  ")
                + task->activityName() + QLatin1Char('\n');
    }
    append(result->out, text);
}

void activities(const QuorvelDocument &doc, Commands::Result *result)
{
    QString text;
    for (const Activity *activity : startable(doc))
        text += activity->name + QLatin1Char('\n');
    append(result->out, text);
}

void report(const QuorvelDocument &doc, const Invocation &call, Commands::Result *result)
{
    const bool summary = call.positional.first() == QLatin1String("summary");
    const QString format = call.has("format") ? call.value("format") : QStringLiteral("html");
    const bool zero = call.has("zero");
    const bool decimal = call.has("decimal");
    QString text;
    if (format == QLatin1String("csv")) {
        text = summary ? ReportText::periodSummaryCsv(doc, call.from, call.to, zero)
                       : ReportText::periodTimeSheetCsv(doc, call.from, call.to, zero);
    } else if (format == QLatin1String("text")) {
        text = summary ? ReportText::periodSummaryText(doc, call.from, call.to, zero, decimal)
                       : ReportText::periodTimeSheetText(doc, call.from, call.to, zero, decimal);
    } else {
        text = summary ? ReportText::periodSummary(doc, call.from, call.to, zero, decimal)
                       : ReportText::periodTimeSheet(doc, call.from, call.to, zero, decimal);
        text += QLatin1Char('\n');
    }
    append(result->out, text);
}

// Writes value with at least width digits at p; returns the end.
char *putDigits(char *p, int value, int width)
{
    char digits[12];
    int n = 0;
    do {
        digits[n++] = char('0' + value % 10);
        value /= 10;
    } while (value > 0 && n < 12);
    while (n < width)
        digits[n++] = '0';
    while (n > 0)
        *p++ = digits[--n];
    return p;
}

// "2026-11-21T09:30", written digit by digit: an export writes two of these per task.
void appendIsoMinute(QByteArray &out, const QDate &date, const QTime &time)
{
    if (!date.isValid() || !time.isValid() || date.year() < 0)
        return;
    int year = 0;
    int month = 0;
    int day = 0;
    date.getDate(&year, &month, &day);
    char text[32];
    char *p = putDigits(text, year, 4);
    *p++ = '-';
    p = putDigits(p, month, 2);
    *p++ = '-';
    p = putDigits(p, day, 2);
    *p++ = 'T';
    p = putDigits(p, time.hour(), 2);
    *p++ = ':';
    p = putDigits(p, time.minute(), 2);
    out.append(text, p - text);
}

void appendNumber(QByteArray &out, int value)
{
    char text[16];
    char *p = text;
    if (value < 0) {
        *p++ = '-';
        value = -value;
    }
    p = putDigits(p, value, 1);
    out.append(text, p - text);
}

// The export, written as the reader hands over the records: no task is built, so a large
// history exports in the time it takes to read it.
class ExportSink : public DocumentFormat::Sink
{
public:
    ExportSink(const Invocation &call, QByteArray &out)
        : m_call(call)
        , m_json(call.value("format") == QLatin1String("json"))
        , m_out(out)
    {}

    void nextId(int) override {}
    void deletedTaskIds(const QList<int> &) override {}

    bool count(List list, int count) override
    {
        // Room for what this many tasks will need, within what the file could hold.
        if (list == List::Tasks && count > 0)
            m_out.reserve(qMin(count, 4 << 20) * (m_json ? 150 : 96) + 64);
        return true;
    }

    bool category(const DocumentFormat::CategoryRecord &record) override
    {
        m_categories << record.name;
        return true;
    }

    bool activity(const DocumentFormat::ActivityRecord &record) override
    {
        m_activities << record;
        return true;
    }

    bool task(const DocumentFormat::TaskRecord &record) override
    {
        const QDate startDate = record.start.date();
        const QTime startTime = record.start.time();
        if (m_call.from.isValid() && (!startDate.isValid() || startDate < m_call.from))
            return true;
        if (m_call.to.isValid() && (!startDate.isValid() || startDate > m_call.to))
            return true;
        const QDate stopDate = record.stop.date();
        const QTime stopTime = record.stop.time();
        const bool running = !(stopDate.isValid() && stopTime.isValid());

        if (m_json)
            m_out += m_first ? "\n" : ",\n";
        m_out += nameOf(record.activityPosition);
        appendIsoMinute(m_out, startDate, startTime);
        if (m_json) {
            if (running) {
                m_out += "\",\"stop\":null,\"minutes\":null}";
            } else {
                m_out += "\",\"stop\":\"";
                appendIsoMinute(m_out, stopDate, stopTime);
                m_out += "\",\"minutes\":";
                appendNumber(m_out, minutes(startDate, startTime, stopDate, stopTime));
                m_out += '}';
            }
        } else {
            m_out += ',';
            if (!running) {
                appendIsoMinute(m_out, stopDate, stopTime);
                m_out += ',';
                appendNumber(m_out, minutes(startDate, startTime, stopDate, stopTime));
            } else {
                m_out += ',';
            }
            m_out += "\r\n";
        }
        m_first = false;
        return true;
    }

    void begin() { m_out += m_json ? "[" : "Activity,Category,Start,Stop,Minutes\r\n"; }
    void end()
    {
        if (m_json)
            m_out += m_first ? "]\n" : "\n]\n";
    }

private:
    // What a row of this activity begins with: its name and category, quoted once.
    const QByteArray &nameOf(int position)
    {
        if (position < 0 || position >= m_activities.size())
            position = -1;
        auto found = m_names.find(position);
        if (found != m_names.end())
            return *found;
        QString name;
        QString category;
        if (position >= 0) {
            const DocumentFormat::ActivityRecord &activity = m_activities.at(position);
            name = activity.name;
            category = m_categories.value(activity.categoryPosition);
        }
        const QByteArray text
            = m_json ? (QStringLiteral("{\"activity\":") + jsonString(name)
                        + QStringLiteral(",\"category\":") + jsonString(category)
                        + QStringLiteral(",\"start\":\""))
                           .toUtf8()
                     : (ReportText::csvField(ReportText::csvName(name)) + QLatin1Char(',')
                        + ReportText::csvField(ReportText::csvName(category)) + QLatin1Char(','))
                           .toUtf8();
        return *m_names.insert(position, text);
    }

    // A stopped task's minutes; on a day whose clock never jumps, from the wall-clock times
    // alone, without a costly local-time conversion.
    int minutes(const QDate &startDate, const QTime &startTime, const QDate &stopDate,
                const QTime &stopTime)
    {
        if (startDate.isValid() && startTime.isValid() && startDate == stopDate
            && m_days.isSteadyDay(startDate))
            return (stopTime.msecsSinceStartOfDay() - startTime.msecsSinceStartOfDay()) / 60000;
        return int(QDateTime(startDate, startTime).secsTo(QDateTime(stopDate, stopTime)) / 60);
    }

    const Invocation &m_call;
    const bool m_json;
    QByteArray &m_out;
    bool m_first = true;
    QStringList m_categories;
    QList<DocumentFormat::ActivityRecord> m_activities;
    QHash<int, QByteArray> m_names;
    TaskTimeText::Batch m_days;
};

bool exportRecords(char *data, int length, const Invocation &call, Commands::Result *result)
{
    ExportSink sink(call, result->out);
    sink.begin();
    if (!DocumentFormat::read(data, length, sink)) {
        result->out.clear();
        return false;
    }
    sink.end();
    return true;
}

// A task's identity for telling a row already recorded.
QString taskKey(const Activity *activity, const QDateTime &start, const QDateTime &stop)
{
    return QString::number(quintptr(activity)) + QLatin1Char('/')
           + QString::number(start.toSecsSinceEpoch()) + QLatin1Char('/')
           + (stop.isValid() ? QString::number(stop.toSecsSinceEpoch()) : QString());
}

// The activities that are not withdrawn, by name, in the document's order: an import looks
// up every row's activity, and a history has many rows.
class ActivityNames
{
public:
    explicit ActivityNames(const QuorvelDocument &doc) { refresh(doc); }

    // Read again after the document's activities changed.
    void refresh(const QuorvelDocument &doc)
    {
        m_byName.clear();
        for (Activity *activity : doc.activities) {
            if (!activity->obsolete)
                m_byName[activity->name].append(activity);
        }
    }

    // The activity a row names, when there is one: the same name, in the same category
    // unless the row names none.
    Activity *find(const ImportRow &row) const
    {
        const QString category = QuorvelDocument::cleanName(row.category);
        for (Activity *activity : m_byName.value(QuorvelDocument::cleanName(row.activity))) {
            if (category.isEmpty() || categoryOf(activity) == category)
                return activity;
        }
        return nullptr;
    }

private:
    QHash<QString, QList<Activity *>> m_byName;
};

// The recorded tasks' times in seconds, ordered by start, for the overlap check of imported
// rows: only tasks that start less than the longest task's length before a row can overlap
// it, so each row looks at a few neighbours and an import stays linear in its rows.
class RecordedTimes
{
public:
    explicit RecordedTimes(const QuorvelDocument &doc)
    {
        for (const QVTask *task : doc.tasks)
            add(task->start(), task->isRunning() ? task->start().addSecs(60) : task->stop());
    }

    void add(const QDateTime &start, const QDateTime &stop)
    {
        const qint64 s = start.toSecsSinceEpoch();
        const qint64 e = stop.toSecsSinceEpoch();
        // A task that stops before it starts (a damaged file) is looked at every time.
        if (e < s) {
            m_backwards.emplace_back(s, e);
            return;
        }
        m_spans.emplace(s, e);
        m_longest = std::max(m_longest, e - s);
    }

    bool overlaps(const QDateTime &start, const QDateTime &stop) const
    {
        const qint64 s = start.toSecsSinceEpoch();
        const qint64 e = stop.toSecsSinceEpoch();
        for (auto it = m_spans.lower_bound(s - m_longest); it != m_spans.end() && it->first < e;
             ++it) {
            if (QuorvelDocument::timesOverlap(s, e, it->first, it->second))
                return true;
        }
        for (const auto &[taskStart, taskStop] : m_backwards) {
            if (QuorvelDocument::timesOverlap(s, e, taskStart, taskStop))
                return true;
        }
        return false;
    }

private:
    std::multimap<qint64, qint64> m_spans;
    std::vector<std::pair<qint64, qint64>> m_backwards;
    qint64 m_longest = 0;
};

Activity *newActivityFor(QuorvelDocument &doc, const ImportRow &row, QString *refusal,
                         std::vector<QObject *> *created)
{
    const QString name = QuorvelDocument::cleanName(row.activity);
    if (QuorvelDocument::cleanName(row.category).isEmpty()) {
        *refusal = Commands::tr("“%1” is not an activity, and without a category it is not "
                                "created")
                       .arg(name);
        return nullptr;
    }
    if (doc.configuration.mode() == Configuration::Group) {
        *refusal = Commands::tr("“%1” is not an activity of the group, and none is created in "
                                "group mode")
                       .arg(name);
        return nullptr;
    }
    return createActivity(doc, row.activity, row.category, refusal, created);
}

void importTasks(QuorvelDocument &doc, const Invocation &call, const QString &workingFolder,
                 Commands::Result *result)
{
    if (refuseUnlessSetUp(doc, result))
        return;
    const QString given = call.positional.first();
    const QString path = QDir(workingFolder).absoluteFilePath(given);
    // Opened by hand, so that a refusal can name the reason in the person's words.
    QFile file;
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    struct stat info;
    const int error = fd < 0                    ? errno
                      : ::fstat(fd, &info) != 0 ? errno
                      : S_ISDIR(info.st_mode)   ? EISDIR
                                                : 0;
    if (error != 0 || !file.open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        if (fd >= 0)
            ::close(fd);
        refuse(result, Commands::tr("cannot read “%1”: %2")
                           .arg(given, SystemError::describe(error != 0 ? error : EIO)));
        return;
    }
    // Far more than any history; a bound so that a wrong file cannot exhaust the memory.
    constexpr qint64 MaxImportBytes = qint64(512) << 20;
    if (file.size() > MaxImportBytes) {
        refuse(result, Commands::tr("“%1” is too large to import.").arg(given));
        return;
    }
    const QByteArray bytes = file.readAll();
    file.close();

    ImportReader::Format format = ImportReader::detect(bytes);
    if (call.has("format"))
        format = call.value("format") == QLatin1String("json") ? ImportReader::Format::Json
                                                               : ImportReader::Format::Csv;
    const ImportFile read
        = format == ImportReader::Format::Json ? ImportReader::readJson(
              bytes, call.has("category") ? call.value("category") : QStringLiteral("Timewarrior"),
              call.has("category-from-first-tag"))
                                               : ImportReader::readCsv(bytes);
    if (!read.error.isEmpty()) {
        refuse(result, Commands::tr("%1: %2").arg(given, read.error));
        return;
    }

    QSet<QString> recorded;
    recorded.reserve(doc.tasks.size());
    for (const QVTask *task : doc.tasks)
        recorded.insert(taskKey(task->activity, task->start(), task->stop()));

    const bool concurrent = doc.configuration.allowConcurrentTasks();
    bool running = doc.activeTasks();
    ActivityNames activities(doc);
    RecordedTimes times(doc);
    std::vector<QObject *> created;
    int imported = 0;
    int already = 0;
    QStringList skipped;
    for (const ImportRow &row : read.rows) {
        const auto skip = [&](const QString &why) {
            skipped << Commands::tr("%1, line %2: %3").arg(given).arg(row.line).arg(why);
        };
        if (!row.problem.isEmpty()) {
            skip(row.problem);
            continue;
        }
        if (QuorvelDocument::cleanName(row.activity).size() > QuorvelDocument::MaxNameLength
            || QuorvelDocument::cleanName(row.category).size() > QuorvelDocument::MaxNameLength) {
            skip(Commands::tr("a name in it has more than %1 characters")
                     .arg(QuorvelDocument::MaxNameLength));
            continue;
        }
        const bool rowRuns = !row.stop.isValid();
        if (!rowRuns && row.stop < row.start) {
            skip(Commands::tr("it stops before it starts"));
            continue;
        }
        if (!rowRuns && row.stop == row.start) {
            skip(Commands::tr("it is shorter than a minute"));
            continue;
        }
        Activity *activity = activities.find(row);
        if (activity && recorded.contains(taskKey(activity, row.start, row.stop))) {
            ++already;
            continue;
        }
        if (rowRuns && running && !concurrent) {
            skip(Commands::tr("it runs, and another task is running"));
            continue;
        }
        const QDateTime stop = rowRuns ? row.start.addSecs(60) : row.stop;
        // Overlaps count only when concurrent tasks are off, as for the task editor.
        if (!concurrent && times.overlaps(row.start, stop)) {
            skip(Commands::tr("it overlaps a recorded task"));
            continue;
        }
        // Only a task that is taken makes its activity.
        if (!activity) {
            QString refusal;
            activity = newActivityFor(doc, row, &refusal, &created);
            if (!activity) {
                skip(refusal);
                continue;
            }
            activities.refresh(doc);
        }
        const QString key = taskKey(activity, row.start, row.stop);
        auto *task = new QVTask();
        task->id = doc.allocateId();
        task->activity = activity;
        task->setStart(row.start);
        if (!rowRuns)
            task->setStop(row.stop);
        doc.tasks.append(task);
        if (rowRuns) {
            doc.includeShortcut(task);
            running = true;
        }
        recorded.insert(key);
        times.add(row.start, stop);
        ++imported;
    }
    doc.tasks.sort();
    for (const QObject *object : created) {
        if (const auto *activity = qobject_cast<const Activity *>(object)) {
            append(result->out, Commands::tr("Created the activity “%1” in “%2”.")
                                        .arg(activity->name, categoryOf(activity))
                                    + QLatin1Char('\n'));
        }
    }
    append(result->out,
           (imported == 1 ? Commands::tr("Imported 1 task from “%1”.").arg(given)
                          : Commands::tr("Imported %1 tasks from “%2”.").arg(imported).arg(given))
               + QLatin1Char('\n'));
    if (already > 0) {
        append(result->out,
               (already == 1 ? Commands::tr("1 task was already recorded.")
                             : Commands::tr("%1 tasks were already recorded.").arg(already))
                   + QLatin1Char('\n'));
    }
    if (!skipped.isEmpty()) {
        append(result->err,
               (skipped.size() == 1 ? Commands::tr("Skipped 1 task:")
                                    : Commands::tr("Skipped %1 tasks:").arg(skipped.size()))
                   + QLatin1Char('\n'));
        for (const QString &line : std::as_const(skipped))
            append(result->err, QStringLiteral("  ") + line + QLatin1Char('\n'));
        result->exitCode = Commands::Refused;
    }
    result->changed = imported > 0 || !created.empty();
    result->change = imported == 1 ? Commands::tr("Import of 1 Task")
                                   : Commands::tr("Import of %1 Tasks").arg(imported);
}

} // namespace

bool Commands::isCommand(const QString &firstArgument)
{
    return findCommand(firstArgument) || firstArgument == QLatin1String("--help")
           || firstArgument == QLatin1String("-h") || firstArgument == QLatin1String("--version");
}

Commands::Needs Commands::check(const QStringList &arguments, Result *result)
{
    Invocation call;
    if (!parse(arguments, &call, result))
        return Needs::Nothing;
    return call.entry->needs;
}

Commands::SetupRequest Commands::setupRequest(const QStringList &arguments)
{
    Invocation call;
    Result ignored;
    SetupRequest request;
    if (!parse(arguments, &call, &ignored) || qstrcmp(call.entry->name, "setup") != 0)
        return request;
    request.mode = call.positional.value(0) == QLatin1String("group")
                       ? SetupRequest::Mode::Group
                       : SetupRequest::Mode::Personal;
    request.sample = call.has("sample");
    request.server = call.value("server").trimmed();
    request.user = call.value("user").trimmed();
    request.yes = call.has("yes");
    request.force = call.has("force");
    return request;
}

void Commands::period(const QStringList &arguments, QDate *from, QDate *to)
{
    Invocation call;
    Result ignored;
    *from = QDate();
    *to = QDate();
    if (!parse(arguments, &call, &ignored))
        return;
    if (call.entry->needs != Needs::Reading)
        return;
    *from = call.from;
    *to = call.to;
}

Commands::Result Commands::run(QuorvelDocument &doc, const QStringList &arguments,
                               const QString &workingFolder)
{
    Result result;
    Invocation call;
    if (!parse(arguments, &call, &result))
        return result;
    const QString name = QLatin1String(call.entry->name);
    if (name == QLatin1String("start"))
        start(doc, call, &result);
    else if (name == QLatin1String("stop"))
        stop(doc, call, &result);
    else if (name == QLatin1String("status"))
        status(doc, call, &result);
    else if (name == QLatin1String("list"))
        list(doc, call, &result);
    else if (name == QLatin1String("activities"))
        activities(doc, &result);
    else if (name == QLatin1String("report"))
        report(doc, call, &result);
    else if (name == QLatin1String("export")) {
        // The same export as from the data file: from the document string of what is shown.
        QByteArray bytes = doc.getDocumentBytes();
        exportRecords(bytes.data(), int(bytes.size()), call, &result);
    } else if (name == QLatin1String("import"))
        importTasks(doc, call, workingFolder, &result);
    return result;
}

bool Commands::runOnRecords(char *data, int length, const QStringList &arguments, Result *result)
{
    Invocation call;
    if (!parse(arguments, &call, result))
        return true;
    if (QLatin1String(call.entry->name) == QLatin1String("export"))
        return exportRecords(data, length, call, result);
    return true;
}

QString Commands::overview()
{
    QString text = tr("Usage: quorvel [FILE.qvreport]\n"
                      "       quorvel COMMAND [OPTIONS]\n\n"
                      "Without a command, opens the window (and the saved report FILE).\n\n"
                      "Commands:\n");
    for (const CommandEntry &entry : commandTable()) {
        QString usage = QLatin1String(entry.name);
        if (*entry.arguments)
            usage += QLatin1Char(' ') + trText(entry.arguments);
        text += QStringLiteral("  ") + usage.leftJustified(28) + trText(entry.summary)
                + QLatin1Char('\n');
    }
    text += QLatin1Char('\n')
            + tr("A command the running window carries out can be taken back there with\n"
                 "Edit → Undo; one carried out without a window has no undo.\n")
            + QLatin1Char('\n')
            + tr("“quorvel help COMMAND” or “quorvel COMMAND --help” tells more.\n"
                 "Exit status: 0 done, 1 refused, 2 bad usage.\n");
    return text;
}
