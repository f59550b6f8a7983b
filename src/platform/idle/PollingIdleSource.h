// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "IdleSource.h"

class QTimer;

// A source that can only be asked for the idle time now, so it asks every pollInterval: the
// person went idle when the time reaches the threshold, and came back when it is less than at
// the reading before.
class PollingIdleSource : public IdleSource
{
    Q_OBJECT

public:
    static constexpr int DefaultPollInterval = 2000;

    explicit PollingIdleSource(QObject *parent = nullptr);

    void watch(qint64 thresholdMs) override;

    // How often the idle time is read, in milliseconds; tests read it more often.
    int pollInterval() const;
    void setPollInterval(int ms);

protected:
    // Reads the idle time and hands it to idleTimeRead, at once or later; or to readFailed.
    virtual void readIdleTime() = 0;
    void idleTimeRead(qint64 idleMs);
    // Nothing was read this time; the next reading comes at the next interval.
    void readFailed();

private:
    void poll();

    QTimer *m_timer;
    qint64 m_threshold = 0;
    // The idle time at the last reading, -1 before the first.
    qint64 m_lastIdleMs = -1;
    bool m_idle = false;
    bool m_reading = false;
};
