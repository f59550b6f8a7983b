// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "ServerDatabase.h"

#include <QCommandLineOption>
#include <QList>
#include <QStringList>

#include <functional>

class Admin;
class QCommandLineParser;
class QDate;
class QTextStream;

// The commands of quorvel-server, a file for each group of them, and the steps they share.
namespace ServerCommands {

struct Command
{
    QStringList words;
    QString arguments; // synopsis of the positional arguments
    QString description;
    QList<QCommandLineOption> options;
    int minArguments = 0;
    int maxArguments = 0;
    // Runs the command with the parsed line and its positional arguments.
    std::function<int(const QCommandLineParser &, const QStringList &, const ServerDatabase &)> run;
};

QTextStream &out();
QTextStream &err();
// Says what is wrong with the command line and where help is; returns exit status 2.
int usage(const QString &message);
// Takes the data folder's lock beside others that share it, as the server and the
// administration commands do, so that a restore waits for them; false having said why not.
// PostgreSQL keeps no data in the folder, and nothing is taken.
bool shareDataFolder(const ServerDatabase &location, FolderLock *lock);
// Runs an administration command on a connection of its own, after the schema is current.
int withDatabase(const ServerDatabase &location,
                 const std::function<int(Sql &, const ServerDatabase &)> &body);
// Runs an administration command through Admin, on a connection of its own.
int admin(const ServerDatabase &location, const std::function<int(Admin &)> &body);
// The date of an option, or false having said what is wrong with it.
bool parseDate(const QCommandLineParser &parser, const QCommandLineOption &option, QDate *date);

// "serve", the default and so the first, and "tls self-signed".
QList<Command> serveCommands();
// The users, categories, activities, devices and messages of the team.
QList<Command> administrationCommands();
// import, backup, restore and the reports.
QList<Command> dataCommands();

} // namespace ServerCommands
