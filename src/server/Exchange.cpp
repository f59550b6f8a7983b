// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "Exchange.h"
#include "ExchangeSession.h"

using ExchangeParts::Session;
using ExchangeParts::UnreadableDocument;

Exchange::Exchange(Sql &sql, const QString &stateFolder, Passwords &passwords,
                   const ExchangeLimits &limits, TaskCache *cache)
    : m_sql(sql)
    , m_stateFolder(stateFolder)
    , m_passwords(passwords)
    , m_limits(limits)
    , m_cache(cache)
{}

QString Exchange::unreadableMessage()
{
    return tr("The server could not read what this computer sent. Nothing was changed.");
}

QString Exchange::unavailableMessage()
{
    return tr("The server cannot reach its database just now. Nothing was changed; please try "
              "again later.");
}

ExchangeOutcome Exchange::refusal(int status, const QString &reason, const QString &message)
{
    ExchangeOutcome outcome;
    outcome.status = status;
    outcome.result = QStringLiteral("refused:") + reason;
    outcome.body = SyncProtocol::buildReplyBody(
        UnreadableDocument, QStringLiteral("<p><b>%1</b></p>\n<p>%2</p>\n")
                                .arg(tr("The server refused this synchronization."), message));
    return outcome;
}

ExchangeOutcome Exchange::run(QByteArray body, const QString &peer)
{
    const QString unreadable = unreadableMessage();
    SyncProtocol::RequestBody head;
    if (!SyncProtocol::parseRequestBody(body, &head))
        return refusal(400, QStringLiteral("malformed"), unreadable);
    const int documentBytes = int(body.size() - head.documentOffset);
    RequestDocument request(m_limits, documentBytes);
    if (!DocumentFormat::read(body.data() + head.documentOffset, documentBytes, request)) {
        if (request.overLimit)
            return refusal(413, QStringLiteral("too-large"),
                           tr("This computer holds more records than the server takes in one "
                              "synchronization. Nothing was changed."));
        return refusal(400, QStringLiteral("malformed"), unreadable);
    }
    body = QByteArray();

    const QString name = head.userId;
    const QString unavailable = unavailableMessage();
    // Every refusal from here on names the user it was for, in the log.
    const auto refuse = [&](int status, const char *reason, const QString &text) {
        ExchangeOutcome outcome = refusal(status, QString::fromLatin1(reason), text);
        outcome.user = name;
        return outcome;
    };

    // Who is asking.
    qint64 userId = 0;
    QString storedHash;
    bool disabled = false;
    {
        QSqlQuery *query = m_sql.run(
            QStringLiteral("SELECT id, password_hash, disabled FROM users WHERE name = ?"), {name});
        if (!query)
            return refuse(503, "database", unavailable);
        if (query->next()) {
            userId = query->value(0).toLongLong();
            storedHash = query->value(1).toString();
            disabled = query->value(2).toInt() != 0;
        }
        Sql::done(query);
    }
    // Known and unknown user ids alike.
    SignInLimits limits(m_sql, m_limits.signIns);
    const int wait = limits.wait(name, peer);
    if (wait > 0) {
        const int minutes = (wait + 59) / 60;
        return refuse(429, "rate-limited",
                      minutes == 1
                          ? tr("Too many failed sign-ins. Please wait a minute and check the "
                               "user ID and password in Settings \u2192 Operating Mode.")
                          : tr("Too many failed sign-ins. Please wait %1 minutes and check the "
                               "user ID and password in Settings \u2192 Operating Mode.")
                                .arg(minutes));
    }
    const QString wrongText = tr("The user ID or the password is wrong. Please check them in "
                                 "Settings \u2192 Operating Mode.");
    bool signedIn = false;
    if (userId) {
        signedIn = m_passwords.verify(name, head.password, storedHash);
    } else {
        m_passwords.verifyNothing(head.password);
    }
    if (!signedIn) {
        limits.failed(name, peer);
        return refuse(403, "wrong-credentials", wrongText);
    }
    const QString disabledText = tr("Your user ID has been disabled on this server. Please ask "
                                    "your team lead.");
    if (disabled) {
        return refuse(403, "disabled", disabledText);
    }

    const auto writer = m_sql.queueForWriting();
    Transaction transaction(m_sql);
    if (!transaction.isOpen())
        return refuse(503, "database", unavailable);
    // Every exchange of one member waits for the one before: two devices of one member, or
    // two server processes, never interleave.
    qint64 serial = 0;
    {
        QSqlQuery *query = m_sql.run(
            m_sql.isPostgres()
                ? QStringLiteral(
                    "SELECT disabled, password_hash, task_serial FROM users WHERE id = ? FOR "
                    "UPDATE")
                : QStringLiteral(
                    "SELECT disabled, password_hash, task_serial FROM users WHERE id = ?"),
            {userId});
        if (!query || !query->next()) {
            Sql::done(query);
            return refuse(503, "database", unavailable);
        }
        const bool disabledNow = query->value(0).toInt() != 0;
        const bool hashChanged = query->value(1).toString() != storedHash;
        serial = query->value(2).toLongLong();
        Sql::done(query);
        // Changed by the team lead while the password was checked.
        if (disabledNow)
            return refuse(403, "disabled", disabledText);
        if (hashChanged)
            return refuse(403, "wrong-credentials", wrongText);
    }

    Session session(m_sql, m_stateFolder, m_limits.blocksPerDay, userId, request, m_cache, serial);
    QString failure;
    if (!session.run(&failure)) {
        if (!failure.isEmpty())
            return refuse(session.failureStatus(),
                          session.failureStatus() == 429 ? "blocks" : "device", failure);
        ExchangeOutcome outcome = refuse(503, "database", unavailable);
        outcome.problem = session.problem();
        return outcome;
    }
    // The member's tasks may have changed: what any process remembers of them is stale now.
    if (!m_sql.exec(QStringLiteral("UPDATE users SET last_exchange_at = ?, task_serial = "
                                   "task_serial + 1 WHERE id = ?"),
                    {session.now(), userId}))
        return refuse(503, "database", unavailable);
    if (!limits.succeeded(name, peer))
        return refuse(503, "database", unavailable);
    if (!transaction.commit())
        return refuse(503, "database", unavailable);
    session.keep(serial + 1);

    ExchangeOutcome outcome;
    outcome.body = SyncProtocol::buildReplyBody(session.replyDocument(), session.messages());
    outcome.user = name;
    outcome.device = session.device();
    outcome.recordsIn = request.records();
    outcome.recordsOut = session.recordsOut();
    outcome.result = QStringLiteral("complete");
    return outcome;
}
