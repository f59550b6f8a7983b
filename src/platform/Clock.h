// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QDateTime>

// The one source of "now" for the whole program. Code never reads the system clock directly,
// so tests can pin time and demos can start at a chosen moment.
//
// Modes:
//  - system: the real local time (the default);
//  - fixed: a time set by a test that stands still until set or advanced again;
//  - running: starts at a chosen time and runs on with the real clock. The environment
//    variable QUORVEL_FAKE_NOW (ISO 8601, e.g. 2026-11-21T09:30:00) selects this mode at the
//    first use of the clock.
class Clock
{
public:
    // Current local date and time, to the millisecond.
    static QDateTime now();

    // The current time as every recorded start and stop uses it: milliseconds always 0,
    // seconds 0 unless withSeconds.
    static QDateTime currentTime(bool withSeconds);

    static void setFixed(const QDateTime &when);
    static void advance(qint64 seconds);
    static void startRunningAt(const QDateTime &when);
    static void useSystemClock();

    // glibc re-reads /etc/localtime on every local-time conversion while TZ is unset, which
    // makes loading a large data file ten times slower. Programs call this first thing in
    // main(); a time-zone change of the system is then seen at the next start.
    static void pinLocalTimeZone();
};
