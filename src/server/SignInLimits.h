// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

class Sql;

// How failed sign-ins are limited.
struct SignInRules
{
    // Failed tries of one user id from one address, and from one address for any user ids,
    // before each further failure makes them wait.
    int freePerPair = 5;
    int freePerAddress = 20;
    // The first wait, doubled with each further failure up to the longest.
    int firstDelaySeconds = 60;
    int longestDelaySeconds = 15 * 60;
    // Failures are forgotten this long after the last one.
    int memorySeconds = 24 * 60 * 60;
};

// Failed sign-ins, counted per user id and address together and per address alone, with waits
// that grow with each failure past the free tries. A member who mistypes waits a minute, one
// who guesses waits longer and longer, and nobody at another address can lock a member out. A
// user id that does not exist is counted exactly as one that does, so that no answer, count or
// wait tells which user ids exist.
class SignInLimits
{
public:
    SignInLimits(Sql &sql, const SignInRules &rules);

    // Seconds until the user id may try again from the address; 0 when it may now.
    int wait(const QString &user, const QString &address);
    // Counts a failure of the user id from the address, in a transaction of its own.
    void failed(const QString &user, const QString &address);
    // Forgets the failures of the user id from the address, inside the caller's transaction,
    // after a sign-in succeeded there.
    bool succeeded(const QString &user, const QString &address);
    // Forgets the failures of the user id from everywhere (a new password).
    static bool forgetUser(Sql &sql, const QString &user);

private:
    static QString pairSubject(const QString &user, const QString &address);
    static QString addressSubject(const QString &address);
    void count(const QString &subject, int free, qint64 now);

    Sql &m_sql;
    SignInRules m_rules;
    bool m_pairRecorded = false;
};
