// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The team's users, categories, activities, devices and messages.

#include "ServerCommands.h"

#include "Admin.h"
#include "CommandLine.h"

#include "platform/TerminalInput.h"

#include <QCommandLineParser>
#include <QTextStream>

namespace ServerCommands {

namespace {

// Reads a password from the terminal without echo, asking twice, or else one line from
// standard input; never from the command line, where other users could see it.
bool readPassword(const QString &user, QString *password)
{
    if (TerminalInput::isTerminal()) {
        const auto ask = [](const QString &prompt, QString *answer) {
            err() << prompt;
            err().flush();
            return TerminalInput::readLine(answer, true);
        };
        QString again;
        if (!ask(CommandLine::tr("Password for %1: ").arg(user), password)
            || !ask(CommandLine::tr("The same password again: "), &again))
            return false;
        if (*password != again) {
            err() << CommandLine::tr("The two passwords differ.") << '\n';
            return false;
        }
        return true;
    }
    if (!TerminalInput::readLine(password)) {
        err() << CommandLine::tr("No password on standard input.") << '\n';
        return false;
    }
    return true;
}

} // namespace

QList<Command> administrationCommands()
{
    QList<Command> list;
    list.append(
        {{QStringLiteral("user"), QStringLiteral("add")},
         CommandLine::tr("NAME"),
         CommandLine::tr("Add a user. The password is read from the terminal, or as one "
                         "line from standard input."),
         {},
         1,
         1,
         [](const QCommandLineParser &, const QStringList &args, const ServerDatabase &location) {
             // Asked for only when it can be used.
             return admin(location, [&](Admin &a) {
                 QString password;
                 if (const int refused = a.checkUser(args.at(0), false))
                     return refused;
                 if (!readPassword(args.at(0), &password))
                     return 1;
                 return a.userAdd(args.at(0), password);
             });
         }});
    list.append(
        {{QStringLiteral("user"), QStringLiteral("passwd")},
         CommandLine::tr("NAME"),
         CommandLine::tr("Change a user's password, read as for \"user add\"."),
         {},
         1,
         1,
         [](const QCommandLineParser &, const QStringList &args, const ServerDatabase &location) {
             return admin(location, [&](Admin &a) {
                 QString password;
                 if (const int refused = a.checkUser(args.at(0), true))
                     return refused;
                 if (!readPassword(args.at(0), &password))
                     return 1;
                 return a.userPasswd(args.at(0), password);
             });
         }});
    list.append(
        {{QStringLiteral("user"), QStringLiteral("disable")},
         CommandLine::tr("NAME"),
         CommandLine::tr("Refuse the user's synchronizations; the data stays."),
         {},
         1,
         1,
         [](const QCommandLineParser &, const QStringList &args, const ServerDatabase &location) {
             return admin(location, [&](Admin &a) { return a.userDisable(args.at(0), true); });
         }});
    list.append(
        {{QStringLiteral("user"), QStringLiteral("enable")},
         CommandLine::tr("NAME"),
         CommandLine::tr("Take a disabled user back."),
         {},
         1,
         1,
         [](const QCommandLineParser &, const QStringList &args, const ServerDatabase &location) {
             return admin(location, [&](Admin &a) { return a.userDisable(args.at(0), false); });
         }});
    list.append(
        {{QStringLiteral("user"), QStringLiteral("list")},
         QString(),
         CommandLine::tr("List the users."),
         {},
         0,
         0,
         [](const QCommandLineParser &, const QStringList &, const ServerDatabase &location) {
             return admin(location, [](Admin &a) { return a.userList(); });
         }});

    list.append(
        {{QStringLiteral("user"), QStringLiteral("history")},
         CommandLine::tr("NAME"),
         CommandLine::tr("Every version and removal of the user's tasks, oldest first: "
                         "task id, version, event, start, stop, activity, time "
                         "recorded (UTC)."),
         {},
         1,
         1,
         [](const QCommandLineParser &, const QStringList &args, const ServerDatabase &location) {
             return admin(location, [&](Admin &a) { return a.userHistory(args.at(0)); });
         }});

    list.append(
        {{QStringLiteral("category"), QStringLiteral("add")},
         CommandLine::tr("NAME"),
         CommandLine::tr("Add a category."),
         {},
         1,
         1,
         [](const QCommandLineParser &, const QStringList &args, const ServerDatabase &location) {
             return admin(location, [&](Admin &a) { return a.categoryAdd(args.at(0)); });
         }});
    list.append(
        {{QStringLiteral("category"), QStringLiteral("rename")},
         CommandLine::tr("NAME NEW-NAME"),
         CommandLine::tr("Rename a category."),
         {},
         2,
         2,
         [](const QCommandLineParser &, const QStringList &args, const ServerDatabase &location) {
             return admin(location,
                          [&](Admin &a) { return a.categoryRename(args.at(0), args.at(1)); });
         }});
    list.append(
        {{QStringLiteral("category"), QStringLiteral("retire")},
         CommandLine::tr("NAME"),
         CommandLine::tr("Withdraw a category and its activities; their tasks stay."),
         {},
         1,
         1,
         [](const QCommandLineParser &, const QStringList &args, const ServerDatabase &location) {
             return admin(location, [&](Admin &a) { return a.categoryRetire(args.at(0)); });
         }});
    list.append(
        {{QStringLiteral("category"), QStringLiteral("delete")},
         CommandLine::tr("NAME"),
         CommandLine::tr("Delete a category that has no activities, withdrawn or not."),
         {},
         1,
         1,
         [](const QCommandLineParser &, const QStringList &args, const ServerDatabase &location) {
             return admin(location, [&](Admin &a) { return a.categoryDelete(args.at(0)); });
         }});
    list.append(
        {{QStringLiteral("category"), QStringLiteral("list")},
         QString(),
         CommandLine::tr("List the categories."),
         {},
         0,
         0,
         [](const QCommandLineParser &, const QStringList &, const ServerDatabase &location) {
             return admin(location, [](Admin &a) { return a.categoryList(); });
         }});

    const QCommandLineOption category(QStringLiteral("category"),
                                      CommandLine::tr("The activity's category."),
                                      CommandLine::tr("CATEGORY"));
    list.append({{QStringLiteral("activity"), QStringLiteral("add")},
                 CommandLine::tr("NAME"),
                 CommandLine::tr("Add an activity to a category (--category is required)."),
                 {category},
                 1,
                 1,
                 [=](const QCommandLineParser &parser, const QStringList &args,
                     const ServerDatabase &location) {
                     if (!parser.isSet(category))
                         return usage(CommandLine::tr("\"activity add\" needs --category."));
                     return admin(location, [&](Admin &a) {
                         return a.activityAdd(args.at(0), parser.value(category));
                     });
                 }});
    list.append({{QStringLiteral("activity"), QStringLiteral("rename")},
                 CommandLine::tr("NAME NEW-NAME"),
                 CommandLine::tr("Rename an activity."),
                 {category},
                 2,
                 2,
                 [=](const QCommandLineParser &parser, const QStringList &args,
                     const ServerDatabase &location) {
                     return admin(location, [&](Admin &a) {
                         return a.activityRename(args.at(0), parser.value(category), args.at(1));
                     });
                 }});
    list.append({{QStringLiteral("activity"), QStringLiteral("retire")},
                 CommandLine::tr("NAME"),
                 CommandLine::tr("Withdraw an activity; its tasks stay."),
                 {category},
                 1,
                 1,
                 [=](const QCommandLineParser &parser, const QStringList &args,
                     const ServerDatabase &location) {
                     return admin(location, [&](Admin &a) {
                         return a.activityRetire(args.at(0), parser.value(category));
                     });
                 }});
    list.append({{QStringLiteral("activity"), QStringLiteral("delete")},
                 CommandLine::tr("NAME"),
                 CommandLine::tr("Delete an activity that no task uses (nor ever did), "
                                 "withdrawn or not."),
                 {category},
                 1,
                 1,
                 [=](const QCommandLineParser &parser, const QStringList &args,
                     const ServerDatabase &location) {
                     return admin(location, [&](Admin &a) {
                         return a.activityDelete(args.at(0), parser.value(category));
                     });
                 }});
    list.append(
        {{QStringLiteral("activity"), QStringLiteral("list")},
         QString(),
         CommandLine::tr("List the activities with their categories."),
         {},
         0,
         0,
         [](const QCommandLineParser &, const QStringList &, const ServerDatabase &location) {
             return admin(location, [](Admin &a) { return a.activityList(); });
         }});

    const QCommandLineOption deviceUser(QStringLiteral("user"),
                                        CommandLine::tr("Only this user's devices."),
                                        CommandLine::tr("USER"));
    list.append({{QStringLiteral("device"), QStringLiteral("list")},
                 QString(),
                 CommandLine::tr("List the devices (the users' computers): number, user, blocks "
                                 "of task ids, when added and last synchronized (UTC)."),
                 {deviceUser},
                 0,
                 0,
                 [=](const QCommandLineParser &parser, const QStringList &,
                     const ServerDatabase &location) {
                     return admin(location,
                                  [&](Admin &a) { return a.deviceList(parser.value(deviceUser)); });
                 }});
    const QCommandLineOption notSeenFor(
        QStringLiteral("not-seen-for"),
        CommandLine::tr("Forget every device not synchronized for DAYS days."),
        CommandLine::tr("DAYS"));
    list.append(
        {{QStringLiteral("device"), QStringLiteral("forget")},
         CommandLine::tr("DEVICE... | --not-seen-for DAYS"),
         CommandLine::tr("Forget devices that are gone, by their numbers in \"device list\", so "
                         "that their blocks of task ids can be handed out again once no other is "
                         "left. Their tasks stay."),
         {notSeenFor},
         0,
         1000,
         [=](const QCommandLineParser &parser, const QStringList &args,
             const ServerDatabase &location) {
             const QString usage = CommandLine::tr("\"device forget\" takes device numbers, or "
                                                   "--not-seen-for and a number of days.");
             if (parser.isSet(notSeenFor)) {
                 bool ok = false;
                 const int days = parser.value(notSeenFor).toInt(&ok);
                 if (!args.isEmpty() || !ok || days < 1)
                     return ServerCommands::usage(usage);
                 return admin(location, [&](Admin &a) { return a.deviceForgetUnseen(days); });
             }
             QList<qint64> devices;
             for (const QString &arg : args) {
                 bool ok = false;
                 devices << arg.toLongLong(&ok);
                 if (!ok || devices.constLast() <= 0)
                     return ServerCommands::usage(usage);
             }
             if (devices.isEmpty())
                 return ServerCommands::usage(usage);
             return admin(location, [&](Admin &a) { return a.deviceForget(devices); });
         }});

    const QCommandLineOption all(QStringLiteral("all"),
                                 CommandLine::tr("Send to every user that is not disabled."));
    list.append({{QStringLiteral("message"), QStringLiteral("send")},
                 CommandLine::tr("USER TEXT | --all TEXT"),
                 CommandLine::tr("Queue a message (rich text) until the user's next "
                                 "synchronization."),
                 {all},
                 1,
                 2,
                 [=](const QCommandLineParser &parser, const QStringList &args,
                     const ServerDatabase &location) {
                     const bool everyone = parser.isSet(all);
                     if (args.size() != (everyone ? 1 : 2))
                         return usage(CommandLine::tr("\"message send\" takes a user and a text, "
                                                      "or --all and a text."));
                     const QStringList users = everyone ? QStringList() : QStringList{args.at(0)};
                     return admin(location,
                                  [&](Admin &a) { return a.messageSend(users, args.constLast()); });
                 }});
    return list;
}

} // namespace ServerCommands
