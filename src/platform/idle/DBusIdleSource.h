// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "PollingIdleSource.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>

// A service on the session bus that tells the idle time when asked; the subclasses say which
// and how. Readings are asynchronous, so a slow service never holds up the window.
class DBusIdleSource : public PollingIdleSource
{
    Q_OBJECT

public:
    // How long a question at start-up, and a reading, may wait for its answer.
    static constexpr int StartAnswerMs = 500;
    static constexpr int ReadingAnswerMs = 1500;

    // The call that asks, the signature of its answer (one number) and the milliseconds in
    // one unit of that number.
    struct Question
    {
        QDBusMessage call;
        QString answerSignature;
        qint64 msPerUnit = 1;
    };

    // Asks once, waiting StartAnswerMs at most: the idle time in milliseconds, or -1. When
    // error is given it gets the error the bus or the service answered, if any.
    static qint64 ask(const QDBusConnection &bus, const Question &question,
                      QDBusError *error = nullptr);

protected:
    DBusIdleSource(const QDBusConnection &bus, const Question &question, QObject *parent);

    void readIdleTime() override;

private:
    // The idle time in milliseconds that reply tells, or -1 when it is no such answer.
    static qint64 idleMs(const Question &question, const QDBusMessage &reply);

    QDBusConnection m_bus;
    Question m_question;
};
