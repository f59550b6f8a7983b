// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// Times exporting the period time sheet of the large document (100 000 tasks over three years,
// 200 activities, 20 categories) for a one-year period ending 2026-11-21 as PDF, the way the
// report window's "Export as PDF…" does it: the viewer's pages, each laid out on its own at the
// size of an A4 sheet, written through a QSaveFile. One export per round; the median is
// reported with the size of the file and its number of sheets. Run it under /usr/bin/time -v
// for the peak memory of the whole process.
//
//   bench_reportexport [--runs N] [--without-zero]
//       --without-zero   leave the activities without time out of the sheet (fewer rows)

#include "BenchSupport.h"
#include "model/QuorvelDocument.h"
#include "reportwindows/PeriodTimeSheetReport.h"
#include "reportwindows/ReportBrowser.h"
#include "reportwindows/ReportViewer.h"
#include "widgets/FileDialog.h"
#include "widgets/MessageBox.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QLocale>
#include <QRegularExpression>
#include <QTextStream>

int main(int argc, char *argv[])
{
    useOffscreenWidgets();
    // A4 paper whatever the machine's locale.
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedKingdom));
    const TemporaryHome home;

    QApplication app(argc, argv);
    const QStringList args = app.arguments();
    const int runs = runsArgument(args, 3);
    const bool zero = !args.contains(QStringLiteral("--without-zero"));
    FileDialog::setTesting(true);
    MessageBox::setTesting(true);

    const QDate to(2026, 11, 21);
    const QDate from = to.addYears(-1).addDays(1);
    QuorvelDocument doc;
    LargeDocument().fill(doc);
    PeriodTimeSheetReport report(nullptr, &doc);
    report.setPeriod(from, to);
    report.setIncludeZeroActivities(zero);
    ReportViewer viewer(&report);

    const QString path = QDir::temp().filePath(QStringLiteral("bench_reportexport.pdf"));
    std::vector<Case> cases = {
        {"Export as PDF",
         [&] { FileDialog::setNextAnswer(path); },
         [&] { viewer.exportPdf(); },
         {}},
    };
    runRounds(cases, runs);

    QFile pdf(path);
    const qint64 size = pdf.size();
    const QByteArray bytes = pdf.open(QIODevice::ReadOnly) ? pdf.readAll() : QByteArray();
    const qsizetype sheets
        = QString::fromLatin1(bytes).count(QRegularExpression(QStringLiteral("/Type /Page\\b")));
    pdf.close();
    QFile::remove(path);

    QTextStream out(stdout);
    out << "Time sheet " << from.toString(Qt::ISODate) << " to " << to.toString(Qt::ISODate)
        << (zero ? ", zero rows listed: " : ", zero rows left out: ")
        << viewer.browser()->reportText().size() << " characters, " << viewer.browser()->pageCount()
        << " viewer pages\n";
    out << "PDF: " << sheets << " sheets, " << QString::number(size / 1048576.0, 'f', 1)
        << " MiB; message boxes: " << MessageBox::shown().size() << '\n';
    out << "Median of " << runs << " exports: " << QString::number(median(cases[0].ms), 'f', 0)
        << " ms\n";
    out << "Peak memory (VmHWM): " << QString::number(peakMemoryMiB(), 'f', 0) << " MiB"
        << Qt::endl;
    return 0;
}
