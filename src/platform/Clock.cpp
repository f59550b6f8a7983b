// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "Clock.h"

#include <QElapsedTimer>
#include <QtGlobal>

namespace {

struct ClockState
{
    enum class Mode { System, Fixed, Running };

    Mode mode = Mode::System;
    QDateTime base;
    QElapsedTimer sinceBase;

    ClockState()
    {
        const QByteArray fake = qgetenv("QUORVEL_FAKE_NOW");
        if (fake.isEmpty())
            return;
        const QDateTime start = QDateTime::fromString(QString::fromLatin1(fake), Qt::ISODate);
        if (start.isValid()) {
            mode = Mode::Running;
            base = start;
            sinceBase.start();
        } else {
            qWarning("QUORVEL_FAKE_NOW is not an ISO date and time: %s", fake.constData());
        }
    }
};

ClockState &state()
{
    static ClockState s;
    return s;
}

} // namespace

QDateTime Clock::now()
{
    ClockState &s = state();
    switch (s.mode) {
    case ClockState::Mode::Fixed:
        return s.base;
    case ClockState::Mode::Running:
        return s.base.addMSecs(s.sinceBase.elapsed());
    case ClockState::Mode::System:
        break;
    }
    return QDateTime::currentDateTime();
}

QDateTime Clock::currentTime(bool withSeconds)
{
    const QDateTime n = now();
    const QTime t = n.time();
    return QDateTime(n.date(), QTime(t.hour(), t.minute(), withSeconds ? t.second() : 0, 0));
}

void Clock::setFixed(const QDateTime &when)
{
    ClockState &s = state();
    s.mode = ClockState::Mode::Fixed;
    s.base = when;
}

void Clock::advance(qint64 seconds)
{
    ClockState &s = state();
    if (s.mode == ClockState::Mode::System)
        setFixed(QDateTime::currentDateTime());
    s.base = s.base.addSecs(seconds);
}

void Clock::startRunningAt(const QDateTime &when)
{
    ClockState &s = state();
    s.mode = ClockState::Mode::Running;
    s.base = when;
    s.sinceBase.start();
}

void Clock::useSystemClock()
{
    state().mode = ClockState::Mode::System;
}

void Clock::pinLocalTimeZone()
{
    if (!qEnvironmentVariableIsSet("TZ"))
        qputenv("TZ", ":/etc/localtime");
}
