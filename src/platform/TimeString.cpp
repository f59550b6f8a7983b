// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "TimeString.h"

#include <QLocale>

QString TimeString::shortDate(const QDate &date)
{
    return QLocale().toString(date, QLocale::ShortFormat);
}

QString TimeString::longDateString(const QDate &date)
{
    return QLocale().toString(date, QLocale::LongFormat);
}

QString TimeString::timeString(const QTime &time, bool twelveHour)
{
    return QLocale().toString(time,
                              twelveHour ? QStringLiteral("h:mm AP") : QStringLiteral("hh:mm"));
}

bool TimeString::localeUsesTwelveHourClock()
{
    // An AM/PM marker is written "A", "AP", "a" or "ap"; text in single quotes is literal.
    const QString format = QLocale().timeFormat(QLocale::ShortFormat);
    bool quoted = false;
    for (const QChar c : format) {
        if (c == QLatin1Char('\''))
            quoted = !quoted;
        else if (!quoted && (c == QLatin1Char('a') || c == QLatin1Char('A')))
            return true;
    }
    return false;
}
