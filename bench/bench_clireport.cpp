// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The command line's year report in its steps, inside one process, on a data file:
//
//   bench_clireport DATAFILE [FROM TO] [--runs N]     # default 2025-01-01 2025-12-31, 15 runs
//
// read: the file into memory as "quorvel report" reads it; collect: the records parsed and the
// report computed (ReportData::collect on the document string); render: the period summary's
// HTML; write: its UTF-8 bytes. Medians of N rounds. The start of the process is what
// bench/cli.sh's whole-process time leaves over. Peak memory is this process's own.

#include "BenchSupport.h"
#include "platform/Clock.h"
#include "reports/ReportData.h"
#include "reports/ReportHtml.h"

#include <QCoreApplication>
#include <QFile>
#include <QTextStream>

#include <cstdio>
#include <cstring>
#include <vector>

int main(int argc, char *argv[])
{
    Clock::pinLocalTimeZone();
    QCoreApplication app(argc, argv);
    QStringList args = app.arguments();
    const int runs = runsArgument(args);
    const int runsAt = int(args.indexOf(QStringLiteral("--runs")));
    if (runsAt >= 0)
        args.erase(args.begin() + runsAt, args.begin() + qMin(runsAt + 2, int(args.size())));
    if (args.size() != 2 && args.size() != 4) {
        std::fprintf(stderr, "usage: bench_clireport DATAFILE [FROM TO] [--runs N]\n");
        return 2;
    }
    const QString path = args.at(1);
    const QDate from
        = args.size() == 4 ? QDate::fromString(args.at(2), Qt::ISODate) : QDate(2025, 1, 1);
    const QDate to
        = args.size() == 4 ? QDate::fromString(args.at(3), Qt::ISODate) : QDate(2025, 12, 31);

    QByteArray bytes;
    QByteArray scratch;
    ReportData report;
    QString html;
    QByteArray out;
    bool readable = true;
    std::vector<Case> cases = {
        {"read",
         [&] { bytes.clear(); },
         [&] {
             QFile file(path);
             readable = file.open(QIODevice::ReadOnly);
             bytes = file.readAll();
         },
         {}},
        {"collect",
         // The reader may write into its buffer, so each round reads a fresh copy.
         [&] { scratch = QByteArray(bytes.constData(), bytes.size()); },
         [&] {
             readable = readable
                        && ReportData::collect(scratch.data(), int(scratch.size()), from, to, false,
                                               ReportKind::Summary, &report);
         },
         {}},
        {"render", [] {}, [&] { html = ReportHtml::summary(report, false); }, {}},
        {"write", [] {}, [&] { out = html.toUtf8(); }, {}},
    };
    runRounds(cases, runs);
    if (!readable) {
        std::fprintf(stderr, "bench_clireport: %s cannot be read as a data file\n",
                     qPrintable(path));
        return 1;
    }

    QTextStream text(stdout);
    text << "Data file: " << path << " (" << bytes.size() << " bytes); period "
         << from.toString(Qt::ISODate) << " to " << to.toString(Qt::ISODate) << "; "
         << report.rows.size() << " rows, " << out.size() << " bytes of HTML\n";
    text << "Median of " << runs << " rounds:\n";
    double total = 0;
    for (const Case &c : cases) {
        const double ms = median(c.ms);
        total += ms;
        text << "  " << QString::fromLatin1(c.name).leftJustified(10) << ' '
             << QString::number(ms, 'f', 2).rightJustified(7) << " ms\n";
    }
    text << "  " << QStringLiteral("together").leftJustified(10) << ' '
         << QString::number(total, 'f', 2).rightJustified(7) << " ms\n";
    text << "Peak memory of this process: " << QString::number(peakMemoryMiB(), 'f', 1) << " MiB\n";
    return 0;
}
