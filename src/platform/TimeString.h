// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QDate>
#include <QString>
#include <QTime>

// Date and time texts for display, in the user's locale (QLocale(), which tests pin).
namespace TimeString {

// The locale's short date, e.g. "11/21/26" for en_US.
QString shortDate(const QDate &date);

// The locale's long date, e.g. "Saturday, November 21, 2026" for en_US.
QString longDateString(const QDate &date);

// Hours and minutes: "9:05 AM" in twelve-hour form, "09:05" otherwise.
QString timeString(const QTime &time, bool twelveHour);

// True when the locale's own short time format shows an AM/PM marker.
bool localeUsesTwelveHourClock();

} // namespace TimeString
