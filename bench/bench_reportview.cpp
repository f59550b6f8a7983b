// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// Times the report browser on the period time sheet of the large document (100 000 tasks over
// three years, 200 activities, 20 categories) for a one-year period ending 2026-11-21 with the
// activities without time listed: 68.6 million characters. Reports the median of several
// rounds of setReportText() (splitting into pages and showing the first) and of showPage() on a
// middle page; of setReportText() on a hidden browser, which leaves the layout for later, and of
// reading the first page into a bare text document, whose difference is the splitting; and for
// comparison the same on a time sheet of few activities, whose pages are filled up to the page
// budget.
//
//   bench_reportview [--runs N]   measure on the offscreen platform, in temporary XDG folders

#include "BenchSupport.h"
#include "model/QuorvelDocument.h"
#include "reports/ReportText.h"
#include "reportwindows/ReportBrowser.h"
#include "views/SafeTextBrowser.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QTextDocument>
#include <QTextStream>

#include <vector>

namespace {

// 20 activities in 4 categories with a task of an hour every day: a year's time sheet whose
// days are short, so that each page holds as many days as the budget allows.
void fillSmall(QuorvelDocument &doc)
{
    for (int i = 0; i < 4; ++i)
        doc.categories.append(
            new ActivityCategory(doc.allocateId(), QStringLiteral("Category %1").arg(i), false));
    for (int i = 0; i < 20; ++i)
        doc.activities.append(new Activity(doc.allocateId(), QStringLiteral("Activity %1").arg(i),
                                           doc.categories.at(i % 4), false));
    const QDate first(2025, 11, 1);
    for (int day = 0; day < 400; ++day) {
        const QDateTime start(first.addDays(day), QTime(9, 0));
        doc.tasks.append(new QVTask(doc.allocateId(), start, start.addSecs(3600), 0,
                                    doc.activities.at(day % 20), QDateTime(), false));
    }
    doc.categories.sort();
    doc.activities.sort();
    doc.tasks.sort();
}

} // namespace

int main(int argc, char *argv[])
{
    useOffscreenWidgets();
    const TemporaryHome home;

    QApplication app(argc, argv);
    const int runs = runsArgument(QCoreApplication::arguments());

    const QDate to(2026, 11, 21);
    const QDate from = to.addYears(-1).addDays(1);
    QString large;
    {
        QuorvelDocument doc;
        LargeDocument().fill(doc);
        large = ReportText::periodTimeSheet(doc, from, to, true, false);
    }
    QString small;
    {
        QuorvelDocument doc;
        fillSmall(doc);
        small = ReportText::periodTimeSheet(doc, from, to, true, false);
    }

    // The browser as a report window would show it, and a hidden one that splits and reads
    // the first page but leaves its layout until it is shown.
    ReportBrowser browser;
    browser.resize(480, 640);
    browser.show();
    settle();
    ReportBrowser hidden;

    browser.setReportText(large);
    const int largePages = browser.pageCount();
    const QString largeFirstPage = browser.pageText(0);
    browser.setReportText(small);
    const int smallPages = browser.pageCount();
    const qsizetype smallMiddlePage = browser.pageText(smallPages / 2).size();

    std::vector<Case> cases = {
        {"setReportText(), year with zero rows", settle, [&] { browser.setReportText(large); }, {}},
        {"showPage() of a middle page",
         [&] {
             browser.setReportText(large);
             settle();
         },
         [&] { browser.showPage(largePages / 2); },
         {}},
        {"setReportText() on a hidden browser", [] {}, [&] { hidden.setReportText(large); }, {}},
        {"QTextDocument::setHtml() of the first page",
         [] {},
         [&] {
             QTextDocument document;
             document.setHtml(largeFirstPage);
         },
         {}},
        {"setReportText(), 20 activities", settle, [&] { browser.setReportText(small); }, {}},
        {"showPage() of a middle page, 20 activities",
         [&] {
             browser.setReportText(small);
             settle();
         },
         [&] { browser.showPage(smallPages / 2); },
         {}},
    };
    runRounds(cases, runs);

    QTextStream out(stdout);
    out << "Time sheet " << from.toString(Qt::ISODate) << " to " << to.toString(Qt::ISODate)
        << ", zero rows listed; browser " << browser.width() << "x" << browser.height()
        << " on the offscreen platform, page budget " << ReportBrowser::PageBudget
        << " characters\n";
    out << "  large document: " << large.size() << " characters, " << largePages
        << " pages, first page " << largeFirstPage.size() << " characters\n";
    out << "  20 activities:  " << small.size() << " characters, " << smallPages
        << " pages, middle page " << smallMiddlePage << " characters\n";
    out << "Median of " << runs << " rounds (each round runs every operation once):\n";
    for (const Case &c : cases) {
        out << "  " << QString::fromUtf8(c.name).leftJustified(44) << ' '
            << QString::number(median(c.ms), 'f', 1).rightJustified(8) << " ms\n";
    }
    out << "Peak memory (VmHWM): " << QString::number(peakMemoryMiB(), 'f', 0) << " MiB"
        << Qt::endl;
    return 0;
}
