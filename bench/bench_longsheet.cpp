// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// Times a time sheet over a long period of a benchmark history (../shared/bench/gen_dataset.py),
// the way the report window makes and shows it: the report text, the viewer's pages (split and
// the first shown), and with --pdf the export as PDF through "Export as PDF…" (A4, 15 mm
// margins). Run once; prints the figures and the peak memory of the process (VmHWM).
//
//   bench_longsheet [--history DIR] [--years N] [--to YYYY-MM-DD] [--without-zero] [--pdf]
//       --history   folder with app105.txt (default /tmp/ds-100k)
//       --years     length of the period in years (default 10), ending on --to (2026-10-31)

#include "BenchSupport.h"
#include "model/QuorvelDocument.h"
#include "reportwindows/PeriodTimeSheetReport.h"
#include "reportwindows/ReportBrowser.h"
#include "reportwindows/ReportViewer.h"
#include "widgets/FileDialog.h"
#include "widgets/MessageBox.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QTextStream>

#include <memory>

namespace {

QString argument(const QStringList &args, const QString &name, const QString &deflt)
{
    const qsizetype at = args.indexOf(name);
    return at >= 0 && at + 1 < args.size() ? args.at(at + 1) : deflt;
}

} // namespace

int main(int argc, char *argv[])
{
    useOffscreenWidgets();
    // A4 paper whatever the machine's locale.
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedKingdom));
    const TemporaryHome home;

    QApplication app(argc, argv);
    const QStringList args = app.arguments();
    const QString history
        = argument(args, QStringLiteral("--history"), QStringLiteral("/tmp/ds-100k"));
    const int years = argument(args, QStringLiteral("--years"), QStringLiteral("10")).toInt();
    const QDate to = QDate::fromString(
        argument(args, QStringLiteral("--to"), QStringLiteral("2026-10-31")), Qt::ISODate);
    const QDate from = to.addYears(-years).addDays(1);
    const bool zero = !args.contains(QStringLiteral("--without-zero"));
    const bool pdf = args.contains(QStringLiteral("--pdf"));
    FileDialog::setTesting(true);
    MessageBox::setTesting(true);
    QTextStream out(stdout);

    const QString data = QuorvelDocument::dataFilePath();
    QDir().mkpath(QFileInfo(data).path());
    if (!QFile::copy(QDir(history).filePath(QStringLiteral("app105.txt")), data)) {
        out << "No history in " << history << " (see ../shared/bench/README.md)\n";
        return 1;
    }
    QuorvelDocument doc;
    if (!doc.load()) {
        out << "The history could not be loaded\n";
        return 1;
    }

    PeriodTimeSheetReport report(nullptr, &doc);
    report.setPeriod(from, to);
    report.setIncludeZeroActivities(zero);
    QElapsedTimer timer;
    timer.start();
    const qsizetype characters = report.getReportText().size();
    const qint64 textMs = timer.elapsed();

    // The viewer computes the text again, as the report window does, then splits it into
    // pages and lays out the first.
    timer.restart();
    auto viewer = std::make_unique<ReportViewer>(&report);
    const qint64 viewerMs = timer.elapsed();
    out << "Time sheet " << from.toString(Qt::ISODate) << " to " << to.toString(Qt::ISODate) << " ("
        << from.daysTo(to) + 1 << " days), " << (zero ? "zero rows listed" : "zero rows left out")
        << ": " << characters << " characters in " << textMs << " ms\n";
    out << "Report window (text, pages, first page shown): " << viewerMs << " ms, "
        << viewer->browser()->pageCount() << " pages\n";
    timer.restart();
    viewer->browser()->showPage(viewer->browser()->pageCount() / 2);
    out << "Middle page shown: " << timer.elapsed() << " ms\n";
    out.flush();

    if (pdf) {
        const QString path = QDir::temp().filePath(QStringLiteral("bench_longsheet.pdf"));
        FileDialog::setNextAnswer(path);
        timer.restart();
        viewer->exportPdf();
        const qint64 pdfMs = timer.elapsed();
        const double exportPeak = peakMemoryMiB();
        QFile file(path);
        const qint64 size = file.size();
        const QByteArray bytes = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        // Each sheet is one "/Type /Page" object; the tree of them is "/Type /Pages".
        qsizetype sheets = 0;
        const QByteArray marker("/Type /Page");
        for (qsizetype at = bytes.indexOf(marker); at >= 0; at = bytes.indexOf(marker, at + 1)) {
            const char after = at + marker.size() < bytes.size() ? bytes[at + marker.size()] : ' ';
            if (after != 's')
                ++sheets;
        }
        file.close();
        QFile::remove(path);
        out << "Peak memory (VmHWM) after the export: " << QString::number(exportPeak, 'f', 0)
            << " MiB\n";
        out << "PDF: " << sheets << " sheets, " << QString::number(size / 1048576.0, 'f', 1)
            << " MiB in " << QString::number(pdfMs / 1000.0, 'f', 1)
            << " s; message boxes: " << MessageBox::shown().size() << '\n';
    }
    out << "Peak memory (VmHWM): " << QString::number(peakMemoryMiB(), 'f', 0) << " MiB"
        << Qt::endl;
    return 0;
}
