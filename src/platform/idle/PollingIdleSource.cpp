// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "PollingIdleSource.h"

#include <QTimer>

PollingIdleSource::PollingIdleSource(QObject *parent)
    : IdleSource(parent)
    , m_timer(new QTimer(this))
{
    m_timer->setInterval(DefaultPollInterval);
    connect(m_timer, &QTimer::timeout, this, &PollingIdleSource::poll);
}

void PollingIdleSource::watch(qint64 thresholdMs)
{
    const qint64 threshold = qMax<qint64>(0, thresholdMs);
    if (threshold == m_threshold)
        return;
    m_threshold = threshold;
    m_idle = false;
    m_lastIdleMs = -1;
    if (m_threshold > 0)
        m_timer->start();
    else
        m_timer->stop();
}

int PollingIdleSource::pollInterval() const
{
    return m_timer->interval();
}

void PollingIdleSource::setPollInterval(int ms)
{
    m_timer->setInterval(ms);
}

void PollingIdleSource::poll()
{
    // A slow answer is not asked for again while it is still on its way.
    if (m_reading)
        return;
    m_reading = true;
    readIdleTime();
}

void PollingIdleSource::readFailed()
{
    m_reading = false;
}

void PollingIdleSource::idleTimeRead(qint64 idleMs)
{
    m_reading = false;
    // An answer that comes after watching stopped counts for nothing.
    if (m_threshold == 0 || idleMs < 0)
        return;
    const qint64 before = m_lastIdleMs;
    m_lastIdleMs = idleMs;
    // The state is settled before the signals, whose receivers may call watch() again.
    if (!m_idle && idleMs >= m_threshold) {
        m_idle = true;
        Q_EMIT wentIdle(idleMs);
    } else if (m_idle && idleMs < before) {
        m_idle = false;
        Q_EMIT cameBack();
    }
}
