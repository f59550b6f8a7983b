// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// Times View → Find… on a large document: 100 000 stopped tasks over three years on 200
// activities, in a MainWidget on the offscreen platform. Reports the median of several rounds
// of each step a person takes in the find bar, each followed by the paint it causes: opening
// the bar, typing a text that one activity matches, a text that every activity matches (with
// accents typed differently from the names), choosing a period, and closing the bar.
//
//   bench_filter [--runs N]   measure on the offscreen platform, in temporary XDG folders

#include "BenchSupport.h"
#include "model/QuorvelDocument.h"
#include "platform/Clock.h"
#include "views/FilterBar.h"
#include "views/MainWidget.h"
#include "views/QVTable.h"
#include "views/TaskFilterProxy.h"

#include <QApplication>
#include <QComboBox>
#include <QLineEdit>
#include <QTextStream>

#include <vector>

int main(int argc, char *argv[])
{
    useOffscreenWidgets();
    const TemporaryHome home;

    QApplication app(argc, argv);
    const int runs = runsArgument(QCoreApplication::arguments());

    QuorvelDocument doc;
    LargeDocument large;
    large.fileFeatures = false;
    large.shortcuts = true;
    large.fill(doc);
    // The day after the last task, so that "This Month" holds a month of tasks.
    Clock::setFixed(doc.tasks.last()->stop().addDays(1));

    MainWidget widget(&doc);
    widget.resize(480, 640);
    widget.show();
    widget.update();
    settle();
    FilterBar *bar = widget.filterBar();
    QLineEdit *text = bar->textField();
    const auto shown = [&widget] {
        return widget.table->model()->rowCount();
    };

    QTextStream out(stdout);
    out << "Document: " << doc.tasks.size() << " tasks, " << doc.activities.size()
        << " activities; widget " << widget.width() << "x" << widget.height()
        << " on the offscreen platform\n";

    int oneActivity = 0;
    int everyActivity = 0;
    int thisMonth = 0;
    const auto reset = [&] {
        widget.closeFilterBar();
        widget.showFilterBar();
        settle();
    };
    std::vector<Case> cases = {
        {"open the bar (all tasks shown)",
         [&] {
             widget.closeFilterBar();
             settle();
         },
         [&] {
             widget.showFilterBar();
             widget.grab();
         },
         {}},
        {"type a text of one activity",
         reset,
         [&] {
             text->setText(QStringLiteral("activity 117"));
             widget.grab();
             oneActivity = shown();
         },
         {}},
        {"type a text of every activity",
         reset,
         [&] {
             text->setText(QStringLiteral("UNICODE"));
             widget.grab();
             everyActivity = shown();
         },
         {}},
        {"choose This Month",
         reset,
         [&] {
             bar->periodBox()->setCurrentIndex(FilterBar::ThisMonth);
             widget.grab();
             thisMonth = shown();
         },
         {}},
        {"clear the text again",
         [&] {
             reset();
             text->setText(QStringLiteral("activity 117"));
             settle();
         },
         [&] {
             text->clear();
             widget.grab();
         },
         {}},
        {"close the bar",
         reset,
         [&] {
             widget.closeFilterBar();
             widget.grab();
         },
         {}},
        {"rebuild while filtered (update())",
         [&] {
             reset();
             text->setText(QStringLiteral("activity 117"));
             settle();
         },
         [&] {
             widget.update();
             widget.grab();
         },
         {}},
    };
    runRounds(cases, runs);

    if (oneActivity <= 0 || oneActivity >= everyActivity || everyActivity != doc.tasks.size()
        || thisMonth <= 0 || thisMonth >= doc.tasks.size())
        qFatal("the filter did not narrow the table as it should (%d, %d, %d)", oneActivity,
               everyActivity, thisMonth);
    out << "Rows shown: one activity " << oneActivity << ", every activity " << everyActivity
        << ", this month " << thisMonth << "\n";
    out << "Median of " << runs << " rounds (each round runs every operation once):\n";
    for (const Case &c : cases) {
        out << "  " << QString::fromUtf8(c.name).leftJustified(44) << ' '
            << QString::number(median(c.ms), 'f', 2).rightJustified(8) << " ms\n";
    }
    out << "Target: each step with its paint within two frames, < 33 ms" << Qt::endl;
    return 0;
}
