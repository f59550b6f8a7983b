// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// A date or a moment typed on the command line, as text. Either it is refused with a reason,
// or it is a real day (a moment in whole minutes) that reads back the same when written the
// way the program writes it. Days are taken relative to three todays: the test day, and the
// days the clocks go forward and back in Berlin, where some local times do not exist.

#include "FuzzSupport.h"

#include "cli/TimeArgument.h"

namespace {

void checkDate(const QString &text, const QDate &today)
{
    QString error;
    const QDate date = TimeArgument::parseDate(text, today, &error);
    if (!date.isValid()) {
        FUZZ_CHECK(!error.isEmpty());
        return;
    }
    FUZZ_CHECK(error.isEmpty());
    // The text itself, or a word, stands for a day within a week of today or an ISO date.
    FUZZ_CHECK(qAbs(today.daysTo(date)) <= 6 || (date.year() >= 0 && date.year() <= 9999));
    if (date.year() >= 1 && date.year() <= 9999) {
        const QString written = date.toString(QStringLiteral("yyyy-MM-dd"));
        FUZZ_CHECK(TimeArgument::parseDate(written, today, nullptr) == date);
    }
}

void checkMoment(const QString &text, const QDateTime &now)
{
    QString error;
    const QDateTime moment = TimeArgument::parseMoment(text, now, &error);
    if (!moment.isValid()) {
        FUZZ_CHECK(!error.isEmpty());
        return;
    }
    FUZZ_CHECK(error.isEmpty());
    FUZZ_CHECK(moment.time().second() == 0 && moment.time().msec() == 0);
    if (moment.date().year() >= 1 && moment.date().year() <= 9999) {
        const QString written = moment.toString(QStringLiteral("yyyy-MM-ddTHH:mm"));
        FUZZ_CHECK(TimeArgument::parseMoment(written, now, nullptr) == moment);
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    Fuzz::setUp(Fuzz::Application::Core);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // An argument on a command line; a long one is refused like a short one.
    if (size > 256)
        return 0;
    const QString text = QString::fromUtf8(Fuzz::bytes(data, size));
    const QDateTime nows[] = {QDateTime(QDate(2026, 11, 21), QTime(9, 30)),
                              QDateTime(QDate(2026, 3, 29), QTime(1, 59)),
                              QDateTime(QDate(2026, 10, 25), QTime(2, 30))};
    for (const QDateTime &now : nows) {
        checkDate(text, now.date());
        checkMoment(text, now);
    }
    return 0;
}
