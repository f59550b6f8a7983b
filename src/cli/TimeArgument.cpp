// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "TimeArgument.h"

#include <QCoreApplication>
#include <QStringView>
#include <QTime>

namespace {

using TimeArgument::allDigits;
using TimeArgument::number;

// Exactly yyyy-mm-dd: the form the program writes, so a typo is refused rather than guessed.
QDate isoDate(QStringView s)
{
    if (s.size() != 10 || s[4] != u'-' || s[7] != u'-')
        return {};
    const QStringView year = s.first(4), month = s.sliced(5, 2), day = s.sliced(8, 2);
    if (!allDigits(year) || !allDigits(month) || !allDigits(day))
        return {};
    return QDate(number(year), number(month), number(day));
}

// word is already in lower case and trimmed.
QDate dayFromWord(QStringView word, const QDate &today)
{
    if (word == u"today")
        return today;
    if (word == u"yesterday")
        return today.addDays(-1);
    if (word == u"tomorrow")
        return today.addDays(1);
    static const char16_t *const weekdays[7]
        = {u"monday", u"tuesday", u"wednesday", u"thursday", u"friday", u"saturday", u"sunday"};
    for (int i = 0; i < 7; ++i) {
        const QStringView name(weekdays[i]);
        if (word == name || word == name.first(3)) {
            // Qt numbers Monday 1 to Sunday 7; going back 0 to 6 days includes today.
            const int back = (today.dayOfWeek() - (i + 1) + 7) % 7;
            return today.addDays(-back);
        }
    }
    return isoDate(word);
}

// h:mm or hh:mm, with an optional :ss that is checked and then dropped.
QTime clock(QStringView s)
{
    const qsizetype colon = s.indexOf(u':');
    if (colon < 1 || colon > 2)
        return {};
    const QStringView hours = s.first(colon);
    QStringView minutes = s.sliced(colon + 1);
    QStringView seconds;
    bool hasSeconds = false;
    if (minutes.size() == 5 && minutes[2] == u':') {
        seconds = minutes.sliced(3);
        minutes = minutes.first(2);
        hasSeconds = true;
    }
    if (minutes.size() != 2 || !allDigits(hours) || !allDigits(minutes))
        return {};
    if (hasSeconds && (!allDigits(seconds) || number(seconds) > 59))
        return {};
    const int h = number(hours), m = number(minutes);
    if (h > 23 || m > 59)
        return {};
    return QTime(h, m);
}

} // namespace

namespace TimeArgument {

QDate parseDate(const QString &text, const QDate &today, QString *error)
{
    const QDate date = dayFromWord(text.trimmed().toLower(), today);
    if (!date.isValid() && error) {
        *error = QCoreApplication::translate("TimeArgument",
                                             "“%1” is not a date: use 2026-11-21, today, "
                                             "yesterday or a day of the week such as monday")
                     .arg(text);
    }
    return date;
}

QDateTime parseMoment(const QString &text, const QDateTime &now, QString *error)
{
    const QString s = text.trimmed().toLower();
    const QStringView view(s);
    QDate date;
    QStringView time;
    qsizetype blank = -1;
    for (qsizetype i = 0; i < view.size() && blank < 0; ++i) {
        if (view[i].isSpace())
            blank = i;
    }
    if (blank >= 0) {
        date = dayFromWord(view.first(blank), now.date());
        time = view.sliced(blank).trimmed();
    } else if (view.size() > 10 && view[10] == u't') {
        // The T form is only ISO's: "todayT09:30" is a typo, not a moment.
        date = isoDate(view.first(10));
        time = view.sliced(11);
    } else {
        date = now.date();
        time = view;
    }
    const QTime clockTime = date.isValid() ? clock(time) : QTime();
    // A local time that the clocks skip (the hour lost to daylight saving) is invalid too.
    const QDateTime moment = clockTime.isValid() ? QDateTime(date, clockTime) : QDateTime();
    if (!moment.isValid() && error) {
        *error = QCoreApplication::translate("TimeArgument",
                                             "“%1” is not a time: use 09:30, 2026-11-21T09:30 "
                                             "or a day and a time such as yesterday 17:00")
                     .arg(text);
    }
    return moment.isValid() ? moment : QDateTime();
}

} // namespace TimeArgument

bool TimeArgument::allDigits(QStringView s)
{
    if (s.isEmpty())
        return false;
    for (const QChar c : s) {
        if (c < u'0' || c > u'9')
            return false;
    }
    return true;
}

int TimeArgument::number(QStringView s)
{
    int value = 0;
    for (const QChar c : s)
        value = value * 10 + (c.unicode() - u'0');
    return value;
}
