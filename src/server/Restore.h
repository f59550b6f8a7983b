// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QCoreApplication>
#include <QString>

class QTextStream;
class ServerDatabase;

// Puts a SQLite database back from a backup ("quorvel-server backup"), with the server
// stopped: the backup is copied beside the database and checked, the database in place is
// kept aside as "quorvel-server.sqlite.replaced-<time>", the copy takes its place and is
// brought up to date, and its counters start after every id the replaced database and the
// server's record had handed out, so that devices keep their blocks and nothing is handed
// out twice.
class Restore
{
    Q_DECLARE_TR_FUNCTIONS(Restore)

public:
    // The exit status: 0 done, 1 refused (the reason on err).
    static int run(const ServerDatabase &location, const QString &backup, QTextStream &out,
                   QTextStream &err);
};
