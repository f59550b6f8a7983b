// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "SignInLimits.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QString>

class Passwords;
class Sql;
class TaskCache;

// What one request may hold and how failed sign-ins are limited.
struct ExchangeLimits
{
    int maxCategories = 10000;
    int maxActivities = 100000;
    int maxTasks = 1000000;
    int maxDeletedIds = 1000000;
    SignInRules signIns;
    // New blocks of ids one member's devices may be given in 24 hours: each new computer takes
    // one, so that no member can use up the blocks of the whole team.
    int blocksPerDay = 10;
};

// The reply to one request, and what the log line says of it.
struct ExchangeOutcome
{
    int status = 200;
    // The reply body: document part, personal messages, end marker.
    QByteArray body;
    QString user;
    qint64 device = 0;
    int recordsIn = 0;
    int recordsOut = 0;
    // "complete", or "refused:<reason>".
    QString result;
    // What went wrong on the server's side, for the log only.
    QString problem;
};

// One exchange with a member's device, from the request body to the reply body.
//
// The device appends what the server replies: the reply's records go after its own, positions
// in the reply count the device's records first, and the reply's next id and deleted-id list
// replace the device's. So the reply holds only what the device lacks: the team's categories
// and activities it does not hold yet, and the member's tasks it does not list, as
// synchronised tasks. The device's document is the truth for the member's tasks: every task
// it sends is stored (a changed one as a new version), and every version and every removal is
// kept in the history.
//
// Sign-in refusals and damaged requests are answered with a document part that the device
// cannot read followed by a message saying why: the device shows the message, reports the
// exchange as failed and goes back to the file it saved before, so nothing is lost.
class Exchange
{
    Q_DECLARE_TR_FUNCTIONS(Exchange)

public:
    // stateFolder: where the server keeps its records beside the database
    // (ServerDatabase::stateFolder). cache, when given, keeps members' tasks between
    // exchanges; it may be shared by exchanges on other threads.
    Exchange(Sql &sql, const QString &stateFolder, Passwords &passwords,
             const ExchangeLimits &limits, TaskCache *cache = nullptr);

    // body is consumed (the reader writes into it). peer is the client's address.
    ExchangeOutcome run(QByteArray body, const QString &peer);

    // The refusals' messages that the HTTP side gives too.
    static QString unreadableMessage();
    static QString unavailableMessage();
    // A refusal with its message (rich text), for the HTTP layer's own refusals too.
    static ExchangeOutcome refusal(int status, const QString &reason, const QString &message);

private:
    Sql &m_sql;
    QString m_stateFolder;
    Passwords &m_passwords;
    ExchangeLimits m_limits;
    TaskCache *m_cache;
};
