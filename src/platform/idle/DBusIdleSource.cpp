// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "DBusIdleSource.h"

#include <QDBusPendingCallWatcher>

#include <limits>

DBusIdleSource::DBusIdleSource(const QDBusConnection &bus, const Question &question,
                               QObject *parent)
    : PollingIdleSource(parent)
    , m_bus(bus)
    , m_question(question)
{}

qint64 DBusIdleSource::ask(const QDBusConnection &bus, const Question &question, QDBusError *error)
{
    const QDBusMessage reply = bus.call(question.call, QDBus::Block, StartAnswerMs);
    const qint64 ms = idleMs(question, reply);
    if (error)
        *error = QDBusError(reply);
    return ms;
}

void DBusIdleSource::readIdleTime()
{
    auto *watcher
        = new QDBusPendingCallWatcher(m_bus.asyncCall(m_question.call, ReadingAnswerMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this](QDBusPendingCallWatcher *answered) {
                answered->deleteLater();
                const qint64 ms = idleMs(m_question, answered->reply());
                if (ms < 0)
                    readFailed();
                else
                    idleTimeRead(ms);
            });
}

qint64 DBusIdleSource::idleMs(const Question &question, const QDBusMessage &reply)
{
    if (reply.type() != QDBusMessage::ReplyMessage || reply.signature() != question.answerSignature
        || reply.arguments().isEmpty())
        return -1;
    const qulonglong units = reply.arguments().constFirst().toULongLong();
    // A service that answers nonsense must not overflow the sum.
    if (units > qulonglong(std::numeric_limits<qint64>::max() / question.msPerUnit))
        return -1;
    return qint64(units) * question.msPerUnit;
}
