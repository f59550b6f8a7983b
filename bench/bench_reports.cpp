// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// Times the two period report texts on the large document (100 000 tasks over three years, 200
// activities, 20 categories) for a one-year period ending 2026-11-21, with and without the
// activities that have no time. Reports the median of 15 rounds; --runs N for more.
//
// With "--data FILE" the document is that data file instead (a benchmark history of
// ../shared/bench/gen_dataset.py), and the period the year 2025 (--from and --to for another),
// as the window's Report menu computes it from the document it holds.

#include "BenchSupport.h"
#include "model/QuorvelDocument.h"
#include "platform/Clock.h"
#include "reports/ReportText.h"

#include <QCoreApplication>
#include <QFile>
#include <QTextStream>

#include <vector>

int main(int argc, char *argv[])
{
    Clock::pinLocalTimeZone();
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    const int runs = runsArgument(args);

    const auto option = [&args](const char *name) {
        const qsizetype at = args.indexOf(QLatin1String(name));
        return at >= 0 && at + 1 < args.size() ? args.at(at + 1) : QString();
    };
    QuorvelDocument doc;
    QDate to(2026, 11, 21);
    QDate from = to.addYears(-1).addDays(1);
    const QString dataFile = option("--data");
    if (dataFile.isEmpty()) {
        LargeDocument().fill(doc);
    } else {
        QFile file(dataFile);
        QByteArray bytes;
        if (file.open(QIODevice::ReadOnly))
            bytes = file.readAll();
        if (!doc.populateFromByteArray(bytes.data(), int(bytes.size()))) {
            QTextStream(stderr) << "bench_reports: " << dataFile << " cannot be read\n";
            return 1;
        }
        from = QDate(2025, 1, 1);
        to = QDate(2025, 12, 31);
    }
    if (!option("--from").isEmpty())
        from = QDate::fromString(option("--from"), Qt::ISODate);
    if (!option("--to").isEmpty())
        to = QDate::fromString(option("--to"), Qt::ISODate);

    // The length of each text, kept so that the compiler cannot drop the work and shown because
    // the time sheet's cost is mostly the writing of its tens of millions of characters.
    std::vector<qsizetype> length(4, 0);
    std::vector<Case> cases = {
        {"period summary, zero rows",
         [] {},
         [&] { length[0] = ReportText::periodSummary(doc, from, to, true, false).size(); },
         {}},
        {"period summary, no zero rows",
         [] {},
         [&] { length[1] = ReportText::periodSummary(doc, from, to, false, false).size(); },
         {}},
        {"period time sheet, zero rows",
         [] {},
         [&] { length[2] = ReportText::periodTimeSheet(doc, from, to, true, false).size(); },
         {}},
        {"period time sheet, no zero, decimal",
         [] {},
         [&] { length[3] = ReportText::periodTimeSheet(doc, from, to, false, true).size(); },
         {}},
    };
    runRounds(cases, runs);

    QTextStream out(stdout);
    out << "Document: " << doc.tasks.size() << " tasks, " << doc.activities.size()
        << " activities, " << doc.categories.size() << " categories; period "
        << from.toString(Qt::ISODate) << " to " << to.toString(Qt::ISODate) << '\n';
    out << "Median of " << runs << " rounds (target < 50 ms each):\n";
    for (size_t i = 0; i < cases.size(); ++i) {
        out << "  " << QString::fromLatin1(cases[i].name).leftJustified(40) << ' '
            << QString::number(median(cases[i].ms), 'f', 1).rightJustified(6) << " ms, "
            << length[i] << " characters\n";
    }
    return 0;
}
