// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The parameter string a period report remembers between runs (the settings file holds it, so
// anything may stand there), read by both period reports. The reading must follow "%d,%d,…"
// and its rules for the fields it keeps, leave both dates real days, and give a string that
// reads back to the same parameters. Over a short period, both builds of each report's text
// must agree.

#include "FuzzSupport.h"
#include "ReportReference.h"

#include "model/QuorvelDocument.h"
#include "reports/ReportData.h"
#include "reports/ReportText.h"
#include "reportwindows/PeriodSummaryReport.h"
#include "reportwindows/PeriodTimeSheetReport.h"

#include <cstdio>
#include <memory>

namespace {

// A few tasks of each kind the reports treat apart: within a day, over midnight, over the
// night the clocks go back, over the new year, running, on an obsolete activity.
QuorvelDocument *sampleDocument()
{
    static QuorvelDocument *doc = nullptr;
    if (doc)
        return doc;
    doc = new QuorvelDocument;
    doc->createSampleData();
    doc->activities.at(4)->obsolete = true;
    auto add = [](int activity, const QDateTime &start, const QDateTime &stop) {
        doc->tasks.append(new QVTask(doc->allocateId(), start, stop, 0,
                                     doc->activities.at(activity), QDateTime(), false));
    };
    const QDate day(2026, 11, 20);
    add(0, QDateTime(day, QTime(9, 0)), QDateTime(day, QTime(12, 30)));
    add(1, QDateTime(day, QTime(22, 0)), QDateTime(day.addDays(1), QTime(1, 30)));
    add(2, QDateTime(QDate(2026, 10, 24), QTime(23, 0)),
        QDateTime(QDate(2026, 10, 25), QTime(4, 0)));
    add(3, QDateTime(QDate(2025, 12, 31), QTime(23, 0)), QDateTime(QDate(2026, 1, 1), QTime(1, 0)));
    add(4, QDateTime(day, QTime(13, 0)), QDateTime(day, QTime(13, 45)));
    add(0, QDateTime(day.addDays(1), QTime(8, 0)), QDateTime());
    doc->tasks.sort();
    return doc;
}

struct Parameters
{
    bool includeZero = true;
    bool decimalHours = false;
    QDate from;
    QDate to;
};

Parameters parametersOf(const PeriodReport &report)
{
    return {report.includeZeroActivities(), report.decimalHours(), report.fromDate(),
            report.toDate()};
}

bool operator==(const Parameters &a, const Parameters &b)
{
    return a.includeZero == b.includeZero && a.decimalHours == b.decimalHours && a.from == b.from
           && a.to == b.to;
}

// True for texts that sscanf reads as the reports do: ASCII without zero bytes (QString keeps
// them, C strings end there) and no run of digits that could leave int.
bool sscanfComparable(const QByteArray &bytes)
{
    int digits = 0;
    for (const char c : bytes) {
        if (c <= 0)
            return false;
        digits = c >= '0' && c <= '9' ? digits + 1 : 0;
        if (digits > 9)
            return false;
    }
    return true;
}

// What the header promises, with the C library's "%d,%d,…" as the reader of the fields.
Parameters expectedAfter(Parameters before, const QByteArray &bytes)
{
    int f[8] = {};
    const int scanned = bytes.isEmpty()
                            ? 0
                            : std::sscanf(bytes.constData(), "%d,%d,%d,%d,%d,%d,%d,%d", &f[0],
                                          &f[1], &f[2], &f[3], &f[4], &f[5], &f[6], &f[7]);
    if (scanned >= 1)
        before.includeZero = f[0] != 0;
    if (scanned >= 2)
        before.decimalHours = f[1] != 0;
    if (scanned >= 5 && QDate::isValid(f[2], f[3], f[4]))
        before.from = QDate(f[2], f[3], f[4]);
    if (scanned >= 8 && QDate::isValid(f[5], f[6], f[7]))
        before.to = QDate(f[5], f[6], f[7]);
    return before;
}

template<typename ReportType>
void check(const QByteArray &bytes)
{
    QuorvelDocument *doc = sampleDocument();
    ReportType report(nullptr, doc);
    const Parameters before = parametersOf(report);
    report.setParametersFromString(QString::fromUtf8(bytes));
    const Parameters after = parametersOf(report);
    FUZZ_CHECK(after.from.isValid() && after.to.isValid());
    if (sscanfComparable(bytes))
        FUZZ_CHECK(after == expectedAfter(before, bytes));

    // What is remembered reads back as it was.
    const QString remembered = report.getParameters();
    ReportType again(nullptr, doc);
    again.setParametersFromString(remembered);
    FUZZ_CHECK(parametersOf(again) == after);
    FUZZ_CHECK(again.getParameters() == remembered);

    // The reports over the period read: a short one only, to keep each run quick.
    const qint64 days = after.from.daysTo(after.to);
    if (days >= -2 && days <= 62) {
        const bool zero = after.includeZero, hours = after.decimalHours;
        FUZZ_CHECK(ReportData::collect(*doc, after.from, after.to, zero, ReportKind::Summary)
                   == ReportReference::summary(*doc, after.from, after.to, zero));
        FUZZ_CHECK(ReportData::collect(*doc, after.from, after.to, zero, ReportKind::TimeSheet)
                   == ReportReference::timeSheet(*doc, after.from, after.to, zero));
        FUZZ_CHECK(ReportText::periodSummary(*doc, after.from, after.to, zero, hours)
                   == ReportReference::summaryHtml(*doc, after.from, after.to, zero, hours));
        FUZZ_CHECK(ReportText::periodTimeSheet(*doc, after.from, after.to, zero, hours)
                   == ReportReference::timeSheetHtml(*doc, after.from, after.to, zero, hours));
        FUZZ_CHECK(!report.getReportText().isEmpty());
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
    // A settings entry is one line of text; longer ones say nothing new.
    if (size > 4096)
        return 0;
    const QByteArray bytes = Fuzz::bytes(data, size);
    check<PeriodSummaryReport>(bytes);
    check<PeriodTimeSheetReport>(bytes);
    return 0;
}
