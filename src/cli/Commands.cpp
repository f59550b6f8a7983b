// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "Commands.h"

#include "CommandParts.h"
#include "TimeArgument.h"
#include "model/QuorvelDocument.h"
#include "platform/Clock.h"
#include "reports/ReportText.h"

#include <QCommandLineParser>

#include <vector>

using namespace CommandParts;

namespace {

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
         Commands::Needs::Records},
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
         Commands::Needs::Records,
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
          // Timewarrior keeps a task's tags sorted, so "first" was never the first typed.
          {"category-from-first-sorted-tag", nullptr,
           QT_TRANSLATE_NOOP("Commands", "a Timewarrior task's alphabetically first tag is its "
                                         "category"),
           "category-from-first-tag"}},
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
            // Two blanks at least after a long option.
            text += QStringLiteral("  ") + optionSynopsis(option).leftJustified(30)
                    + QStringLiteral("  ") + trText(option.description) + QLatin1Char('\n');
        }
    }
    text += QStringLiteral("  ") + QStringLiteral("-h, --help").leftJustified(32)
            + Commands::tr("show this help") + QLatin1Char('\n');
    return text;
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
        QStringList names(QLatin1String(option.name));
        if (option.formerName)
            names << QLatin1String(option.formerName);
        QCommandLineOption parserOption(names);
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
        // A day of a time sheet holds a row per activity with time (with --zero, per activity):
        // over centuries that is more text than a terminal or a file should take.
        if (kind == QLatin1String("timesheet")
            && call->from.daysTo(call->to) >= ReportText::MaxTimeSheetDays) {
            badUsage(name,
                     Commands::tr("a time sheet covers at most %1 days; choose a shorter period.")
                         .arg(ReportText::MaxTimeSheetDays),
                     result);
            return false;
        }
        return checkFormat(
            *call, {QStringLiteral("html"), QStringLiteral("text"), QStringLiteral("csv")}, result);
    }
    return true;
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

Commands::Result Commands::run(QuorvelDocument &doc, const QStringList &arguments,
                               const QString &workingFolder, Progress *progress)
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
    else if (name == QLatin1String("list")) {
        const QByteArray bytes = doc.getDocumentBytes();
        listRecords(bytes.constData(), int(bytes.size()), call, &result);
    } else if (name == QLatin1String("activities"))
        activities(doc, &result);
    else if (name == QLatin1String("report"))
        report(doc, call, &result);
    else if (name == QLatin1String("export")) {
        // The same export as from the data file: from the document string of what is shown.
        const QByteArray bytes = doc.getDocumentBytes();
        exportRecords(bytes.constData(), int(bytes.size()), call, &result);
    } else if (name == QLatin1String("import"))
        importTasks(doc, call, workingFolder, &result, progress);
    return result;
}

bool Commands::runOnRecords(const char *data, int length, const QStringList &arguments,
                            Result *result, const DocumentFormat::Passing *passing)
{
    Invocation call;
    if (!parse(arguments, &call, result))
        return true;
    if (QLatin1String(call.entry->name) == QLatin1String("export"))
        return exportRecords(data, length, call, result, passing);
    if (QLatin1String(call.entry->name) == QLatin1String("report"))
        return reportRecords(data, length, call, result, passing);
    if (QLatin1String(call.entry->name) == QLatin1String("list"))
        return listRecords(data, length, call, result, passing);
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
