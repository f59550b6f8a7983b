// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "CommandLine.h"

#include "ServerCommands.h"

#include <QCommandLineParser>
#include <QTextStream>

#include <algorithm>

using ServerCommands::Command;
using ServerCommands::err;
using ServerCommands::out;
using ServerCommands::usage;

namespace {

QCommandLineOption dataOption()
{
    return QCommandLineOption(QStringLiteral("data"),
                              CommandLine::tr("Keep the data in the SQLite database of FOLDER "
                                              "(default: %1); with --database, keep there the "
                                              "server's record of the ids it has handed out.")
                                  .arg(ServerDatabase::defaultDataFolder()),
                              CommandLine::tr("FOLDER"));
}

QCommandLineOption databaseOption()
{
    return QCommandLineOption(
        QStringLiteral("database"),
        CommandLine::tr("Keep the data in PostgreSQL, at postgresql://USER@HOST/DATABASE."),
        CommandLine::tr("URL"));
}

// In the order the help lists them; "serve" first, as the default.
QList<Command> commands()
{
    return ServerCommands::serveCommands() + ServerCommands::administrationCommands()
           + ServerCommands::dataCommands();
}

QString commandList(const QList<Command> &list, const QString &group)
{
    QString text;
    for (const Command &command : list) {
        if (!group.isEmpty() && command.words.constFirst() != group)
            continue;
        QString synopsis = command.words.join(QLatin1Char(' '));
        if (!command.arguments.isEmpty())
            synopsis += QLatin1Char(' ') + command.arguments;
        text += QStringLiteral("  %1\n      %2\n").arg(synopsis, command.description);
    }
    return text
           + CommandLine::tr("\nEvery command takes --data FOLDER or --database URL, and "
                             "--help for its own options. A name that begins with \"-\" "
                             "goes after \"--\": quorvel-server category add -- -Misc\n");
}

QString overview(const QList<Command> &list)
{
    return CommandLine::tr("Usage: quorvel-server [COMMAND] [OPTIONS]\n\n"
                           "The Quorvel group server. Without a command it runs the "
                           "server.\n\nCommands:\n")
           + commandList(list, QString());
}

// The commands of a group, such as "user": its first word.
QString groupHelp(const QList<Command> &list, const QString &group)
{
    return CommandLine::tr("Usage: quorvel-server %1 COMMAND [OPTIONS]\n\nCommands:\n").arg(group)
           + commandList(list, group);
}

} // namespace

CommandLine::CommandLine(const QStringList &arguments)
    : m_arguments(arguments)
{}

int CommandLine::run()
{
    const QList<Command> list = commands();

    // The command's words are the first arguments that are not options or option values.
    QSet<QString> valueOptions;
    for (const Command &command : list) {
        for (const QCommandLineOption &option : command.options) {
            if (!option.valueName().isEmpty())
                valueOptions.insert(QStringLiteral("--") + option.names().constFirst());
        }
    }
    valueOptions.insert(QStringLiteral("--data"));
    valueOptions.insert(QStringLiteral("--database"));
    QStringList words;
    for (int i = 1; i < m_arguments.size() && words.size() < 2; ++i) {
        const QString &arg = m_arguments.at(i);
        if (arg == QLatin1String("--"))
            break;
        if (arg.startsWith(QLatin1Char('-'))) {
            if (valueOptions.contains(arg))
                ++i;
            continue;
        }
        words.append(arg);
    }

    const Command *chosen = nullptr;
    for (const Command &command : list) {
        if (words.mid(0, command.words.size()) == command.words
            && (!chosen || command.words.size() > chosen->words.size()))
            chosen = &command;
    }
    const bool asksHelp = m_arguments.contains(QStringLiteral("--help"))
                          || m_arguments.contains(QStringLiteral("-h"));
    if (!chosen && words.isEmpty()) {
        if (asksHelp) {
            out() << overview(list);
            out().flush();
            return 0;
        }
        chosen = &list.first(); // serve
    }
    if (!chosen) {
        const bool group = std::any_of(list.cbegin(), list.cend(), [&](const Command &command) {
            return command.words.size() > 1 && command.words.constFirst() == words.constFirst();
        });
        if (group && words.size() == 1) {
            out() << groupHelp(list, words.constFirst());
            out().flush();
            return 0;
        }
        if (group) {
            err() << tr("Unknown command: %1").arg(words.join(QLatin1Char(' '))) << "\n\n"
                  << groupHelp(list, words.constFirst());
            err().flush();
            return 2;
        }
        return usage(tr("Unknown command: %1").arg(words.join(QLatin1Char(' '))));
    }

    QCommandLineParser parser;
    parser.setApplicationDescription(chosen->description);
    const QCommandLineOption data = dataOption();
    const QCommandLineOption database = databaseOption();
    parser.addOption(data);
    parser.addOption(database);
    parser.addOptions(chosen->options);
    const QCommandLineOption help = parser.addHelpOption();
    const QCommandLineOption version = parser.addVersionOption();
    parser.addPositionalArgument(
        chosen->words.join(QLatin1Char(' ')), QString(),
        chosen->words.join(QLatin1Char(' '))
            + (chosen->arguments.isEmpty() ? QString() : QLatin1Char(' ') + chosen->arguments));
    // The usage line names the program, not the path it was started by.
    QStringList arguments = m_arguments;
    if (!arguments.isEmpty())
        arguments.first() = QStringLiteral("quorvel-server");
    if (!parser.parse(arguments))
        return usage(parser.errorText());
    if (parser.isSet(help)) {
        QString text = parser.helpText();
        if (!m_arguments.isEmpty())
            text.replace(text.indexOf(m_arguments.first()), m_arguments.first().size(),
                         QStringLiteral("quorvel-server"));
        out() << text;
        out().flush();
        return 0;
    }
    if (parser.isSet(version)) {
        out() << QCoreApplication::applicationName() << ' '
              << QCoreApplication::applicationVersion() << '\n';
        out().flush();
        return 0;
    }
    QStringList args = parser.positionalArguments();
    // "serve" may be left out.
    const int skip
        = args.mid(0, chosen->words.size()) == chosen->words ? int(chosen->words.size()) : 0;
    args = args.mid(skip);
    if (args.size() < chosen->minArguments || args.size() > chosen->maxArguments) {
        return usage(tr("Usage: quorvel-server %1 %2")
                         .arg(chosen->words.join(QLatin1Char(' ')), chosen->arguments)
                         .trimmed());
    }

    // An empty folder name would be the current folder, wherever that is.
    if (parser.isSet(data) && parser.value(data).isEmpty())
        return usage(tr("--data needs the name of a folder."));
    ServerDatabase location;
    if (parser.isSet(database)) {
        QString error;
        if (!ServerDatabase::fromUrl(parser.value(database), &location, &error))
            return usage(error);
        // The server's own records beside a PostgreSQL database.
        if (parser.isSet(data))
            location.setStateFolder(parser.value(data));
    } else {
        location = ServerDatabase::sqliteIn(
            parser.isSet(data) ? parser.value(data) : ServerDatabase::defaultDataFolder());
    }
    return chosen->run(parser, args, location);
}
