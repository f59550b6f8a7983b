// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QDate>
#include <QDateTime>
#include <QString>
#include <QStringView>

// The dates and moments the command line takes, such as "yesterday" or "monday 09:00".
namespace TimeArgument {

// A day: an ISO date, today, yesterday, tomorrow or a weekday name (full or three letters),
// the weekday meaning the most recent such day with today included. Case and surrounding
// blanks do not matter. On failure an invalid date, and *error (when given) says why.
QDate parseDate(const QString &text, const QDate &today, QString *error);

// A moment for --at: a time of day ("9:30", "09:30:15") on now's date, or a date and a time
// ("2026-11-21T09:30", "2026-11-21 09:30", "yesterday 17:00", "monday 09:00"). The result is
// local time in whole minutes: seconds are accepted and dropped. On failure an invalid
// moment, and *error (when given) says why.
QDateTime parseMoment(const QString &text, const QDateTime &now, QString *error);

// True for one or more ASCII digits and nothing else.
bool allDigits(QStringView s);

// The value of a few ASCII digits (checked with allDigits): short enough not to overflow.
int number(QStringView s);

} // namespace TimeArgument
