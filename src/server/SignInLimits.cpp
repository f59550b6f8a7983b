// SPDX-License-Identifier: GPL-3.0-or-later
#include "SignInLimits.h"

#include "ServerDatabase.h"

#include "platform/Clock.h"

#include <QCryptographicHash>

namespace {

qint64 nowSeconds()
{
    return Clock::now().toSecsSinceEpoch();
}

// A user id stands in the table as a digest: a user id from the network may be megabytes long.
QString userKey(const QString &user)
{
    return QString::fromLatin1(
        QCryptographicHash::hash(user.toUtf8(), QCryptographicHash::Sha256).toHex().left(32));
}

} // namespace

SignInLimits::SignInLimits(Sql &sql, const SignInRules &rules)
    : m_sql(sql)
    , m_rules(rules)
{}

QString SignInLimits::pairSubject(const QString &user, const QString &address)
{
    return QStringLiteral("pair:%1@%2").arg(userKey(user), address);
}

QString SignInLimits::addressSubject(const QString &address)
{
    return QStringLiteral("address:") + address;
}

int SignInLimits::wait(const QString &user, const QString &address)
{
    const QString pair = pairSubject(user, address);
    QSqlQuery *query = m_sql.run(QStringLiteral("SELECT subject, blocked_until FROM "
                                                "sign_in_failures WHERE subject IN (?, ?)"),
                                 {pair, addressSubject(address)});
    if (!query)
        return 0;
    qint64 until = 0;
    while (query->next()) {
        if (query->value(0).toString() == pair)
            m_pairRecorded = true;
        until = qMax(until, query->value(1).toLongLong());
    }
    Sql::done(query);
    return int(qMax<qint64>(0, until - nowSeconds()));
}

void SignInLimits::failed(const QString &user, const QString &address)
{
    const qint64 now = nowSeconds();
    const auto writer = m_sql.queueForWriting();
    Transaction transaction(m_sql);
    if (!transaction.isOpen())
        return;
    // Failures long past go, so that the table stays small.
    m_sql.exec(QStringLiteral("DELETE FROM sign_in_failures WHERE window_start < ? AND "
                              "blocked_until < ?"),
               {now - m_rules.memorySeconds, now});
    count(pairSubject(user, address), m_rules.freePerPair, now);
    count(addressSubject(address), m_rules.freePerAddress, now);
    transaction.commit();
}

void SignInLimits::count(const QString &subject, int free, qint64 now)
{
    // window_start holds the moment of the last failure.
    QSqlQuery *query = m_sql.run(
        QStringLiteral("SELECT failures, window_start FROM sign_in_failures WHERE subject = ?"),
        {subject});
    if (!query)
        return;
    int failures = 0;
    if (query->next() && query->value(1).toLongLong() >= now - m_rules.memorySeconds)
        failures = query->value(0).toInt();
    Sql::done(query);
    ++failures;
    qint64 blockedUntil = 0;
    if (failures >= free) {
        qint64 delay = m_rules.firstDelaySeconds;
        for (int past = free; past < failures && delay < m_rules.longestDelaySeconds; ++past)
            delay *= 2;
        blockedUntil = now + qMin<qint64>(delay, m_rules.longestDelaySeconds);
    }
    m_sql.exec(QStringLiteral("INSERT INTO sign_in_failures (subject, failures, window_start, "
                              "blocked_until) VALUES (?, ?, ?, ?) ON CONFLICT (subject) DO "
                              "UPDATE SET failures = excluded.failures, window_start = "
                              "excluded.window_start, blocked_until = excluded.blocked_until"),
               {subject, failures, now, blockedUntil});
}

bool SignInLimits::succeeded(const QString &user, const QString &address)
{
    return !m_pairRecorded
           || m_sql.exec(QStringLiteral("DELETE FROM sign_in_failures WHERE subject = ?"),
                         {pairSubject(user, address)});
}

bool SignInLimits::forgetUser(Sql &sql, const QString &user)
{
    return sql.exec(QStringLiteral("DELETE FROM sign_in_failures WHERE subject LIKE ?"),
                    {QStringLiteral("pair:%1@%").arg(userKey(user))});
}
