// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// import, backup, restore and the period reports.

#include "ServerCommands.h"

#include "Admin.h"
#include "CommandLine.h"
#include "Restore.h"

#include <QCommandLineParser>
#include <QTextStream>

namespace ServerCommands {

QList<Command> dataCommands()
{
    QList<Command> list;
    list.append(
        {{QStringLiteral("import")},
         CommandLine::tr("FILE"),
         CommandLine::tr("Add the categories and activities of a Quorvel data file "
                         "(quorvelqpe.dat) that the server lacks."),
         {},
         1,
         1,
         [](const QCommandLineParser &, const QStringList &args, const ServerDatabase &location) {
             return admin(location, [&](Admin &a) { return a.import(args.at(0)); });
         }});
    list.append(
        {{QStringLiteral("backup")},
         CommandLine::tr("FILE"),
         CommandLine::tr("Copy the SQLite database to a new FILE while the server "
                         "runs."),
         {},
         1,
         1,
         [](const QCommandLineParser &, const QStringList &args, const ServerDatabase &location) {
             return admin(location,
                          [&](Admin &a) { return a.backup(args.at(0), location.isPostgres()); });
         }});

    list.append(
        {{QStringLiteral("restore")},
         CommandLine::tr("FILE"),
         CommandLine::tr("Put the SQLite database back from a FILE that \"backup\" wrote, with "
                         "the server stopped. The database it replaces is kept beside it, and "
                         "no id handed out since the backup is handed out again."),
         {},
         1,
         1,
         [](const QCommandLineParser &, const QStringList &args, const ServerDatabase &location) {
             return Restore::run(location, args.at(0), out(), err());
         }});

    const QCommandLineOption from(QStringLiteral("from"),
                                  CommandLine::tr("First day of the period, YYYY-MM-DD."),
                                  CommandLine::tr("DATE"));
    const QCommandLineOption to(QStringLiteral("to"),
                                CommandLine::tr("Last day of the period, YYYY-MM-DD."),
                                CommandLine::tr("DATE"));
    const QCommandLineOption user(QStringLiteral("user"),
                                  CommandLine::tr("Only this user's tasks (default: the whole "
                                                  "team)."),
                                  CommandLine::tr("USER"));
    const QCommandLineOption format(QStringLiteral("format"),
                                    CommandLine::tr("html (default) or csv."),
                                    CommandLine::tr("FORMAT"), QStringLiteral("html"));
    const QCommandLineOption decimal(QStringLiteral("decimal"),
                                     CommandLine::tr("Show time in decimal hours."));
    const QCommandLineOption zero(QStringLiteral("zero"),
                                  CommandLine::tr("Include activities with zero time."));
    for (const bool summary : {true, false}) {
        list.append({{QStringLiteral("report"),
                      summary ? QStringLiteral("summary") : QStringLiteral("timesheet")},
                     QString(),
                     summary ? CommandLine::tr("The period summary, as the program's Report menu "
                                               "shows it, for a user or the whole team.")
                             : CommandLine::tr("The period time sheet, as the program's Report "
                                               "menu shows it, for a user or the whole team."),
                     {from, to, user, format, decimal, zero},
                     0,
                     0,
                     [=](const QCommandLineParser &parser, const QStringList &,
                         const ServerDatabase &location) {
                         if (!parser.isSet(from) || !parser.isSet(to))
                             return usage(CommandLine::tr("A report needs --from and --to."));
                         QDate first, last;
                         if (!parseDate(parser, from, &first) || !parseDate(parser, to, &last))
                             return 2;
                         const QString kind = parser.value(format);
                         if (kind != QLatin1String("html") && kind != QLatin1String("csv"))
                             return usage(CommandLine::tr("--format takes html or csv."));
                         return admin(location, [&](Admin &a) {
                             return a.report(summary ? Admin::ReportKind::Summary
                                                     : Admin::ReportKind::TimeSheet,
                                             first, last, parser.value(user),
                                             kind == QLatin1String("csv")
                                                 ? Admin::ReportFormat::Csv
                                                 : Admin::ReportFormat::Html,
                                             parser.isSet(decimal), parser.isSet(zero));
                         });
                     }});
    }
    return list;
}

} // namespace ServerCommands
