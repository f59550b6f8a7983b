// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QCoreApplication>
#include <QDate>
#include <QString>
#include <QStringList>

class IdBlocks;
class QuorvelDocument;
class QTextStream;
class Sql;

// The team lead's commands: users, the catalogue of categories and activities, messages,
// import, backup and the team's reports. Each command is one transaction; it writes what it
// did to out, and a refusal to err, and returns the exit status (0 done, 1 refused).
class Admin
{
    Q_DECLARE_TR_FUNCTIONS(Admin)

public:
    // stateFolder: where the server keeps its records beside the database
    // (ServerDatabase::stateFolder).
    Admin(Sql &sql, const QString &stateFolder, QTextStream &out, QTextStream &err);

    // 0 when the user exists (or, with exists false, when it does not); else the refusal.
    int checkUser(const QString &name, bool exists);
    int userAdd(const QString &name, const QString &password);
    int userPasswd(const QString &name, const QString &password);
    int userDisable(const QString &name, bool disabled);
    int userList();
    // Every version and removal of the user's tasks the server has kept, oldest first.
    int userHistory(const QString &name);

    int categoryAdd(const QString &name);
    int categoryRename(const QString &name, const QString &newName);
    int categoryRetire(const QString &name);
    // Only a category without activities, and an activity without tasks (also deleted ones,
    // and none in the history), withdrawn or not.
    int categoryDelete(const QString &name);
    int categoryList();

    int activityAdd(const QString &name, const QString &category);
    // category may be empty when the name alone is unambiguous.
    int activityRename(const QString &name, const QString &category, const QString &newName);
    int activityRetire(const QString &name, const QString &category);
    int activityDelete(const QString &name, const QString &category);
    int activityList();

    // The devices, each with its user, its blocks of ids, when it was added and last seen;
    // user empty: of every user.
    int deviceList(const QString &user);
    // Forgets devices that are gone, by number, or every one not seen for days: their blocks
    // are handed out again once no other is left.
    int deviceForget(const QList<qint64> &devices);
    int deviceForgetUnseen(int days);

    // users empty: every user that is not disabled.
    int messageSend(const QStringList &users, const QString &text);

    // Adds the categories and activities of a data file that the catalogue lacks.
    int import(const QString &file);
    // A consistent copy of the SQLite database, made while the server runs.
    int backup(const QString &file, bool postgres);

    enum class ReportKind { Summary, TimeSheet };
    enum class ReportFormat { Html, Csv };
    // user empty: the whole team.
    int report(ReportKind kind, const QDate &from, const QDate &to, const QString &user,
               ReportFormat format, bool decimalHours, bool includeZero);
    // The document a report is made from: the whole catalogue and the live tasks of the user
    // (or of every user). False when the user is unknown or the database fails.
    bool reportDocument(const QString &user, QuorvelDocument *doc);

private:
    static bool isUserName(const QString &typed);
    int refuseUserName(const QString &typed);
    int fail(const QString &message);
    int databaseFailed();
    // The refusal for a failed IdBlocks call, or for the database.
    int idsFailed(const IdBlocks &ids);
    qint64 userId(const QString &name, bool *disabled = nullptr);
    // The activity in use of that name (in that category, when given), else, when asked for,
    // the one withdrawn activity of that name; 0 when none or several.
    qint64 findActivity(const QString &name, const QString &category, QString *problem,
                        bool alsoRetired = false);

    Sql &m_sql;
    QString m_stateFolder;
    QTextStream &m_out;
    QTextStream &m_err;
};
