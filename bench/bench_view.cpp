// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// Times the task list view on a large document: 100 000 stopped tasks over three years on 200
// activities. Reports the median of several rounds of a full rebuild (update()), of a one-row
// refresh (updateRow() on a task in the middle of the list, alone and with the rest of the
// main window's one-row path) and of painting the widget once after a rebuild.
//
//   bench_view [--runs N]   measure on the offscreen platform, in temporary XDG folders

#include "BenchSupport.h"
#include "model/QuorvelDocument.h"
#include "platform/Clock.h"
#include "views/MainWidget.h"
#include "views/QVTable.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QPixmap>
#include <QTextStream>

#include <vector>

int main(int argc, char *argv[])
{
    useOffscreenWidgets();
    const TemporaryHome home;

    QApplication app(argc, argv);
    const int runs = runsArgument(QCoreApplication::arguments());

    QuorvelDocument doc;
    LargeDocument view;
    view.fileFeatures = false;
    view.shortcuts = true;
    view.fill(doc);
    Clock::setFixed(QDateTime(QDate(2026, 11, 21), QTime(9, 30, 0)));

    MainWidget widget(&doc);
    widget.resize(480, 640);
    widget.show();
    settle();

    QTextStream out(stdout);
    out << "Document: " << doc.tasks.size() << " tasks, " << doc.activities.size()
        << " activities; widget " << widget.width() << "x" << widget.height()
        << " on the offscreen platform\n";

    // Showing gave the table the focus, which makes its first row current; the window starts
    // with the newest task selected, and so does this.
    widget.selectedTask = doc.tasks.last();
    QElapsedTimer coldTimer;
    coldTimer.start();
    widget.update();
    const double cold = coldTimer.nsecsElapsed() / 1e6;
    settle();
    if (widget.selectedTask != doc.tasks.last() || !widget.shortcutTask3)
        qFatal("the rebuild did not select the newest task or set the buttons");

    QVTask *middle = doc.tasks.at(LargeDocument::TaskCount / 2);
    int stopMinute = 0;
    // The one-row refresh runs on a task whose stop really changed, as after an edit.
    const auto changeMiddle = [&] {
        stopMinute = (stopMinute + 1) % 10;
        middle->setStop(middle->start().addSecs(60 * (1 + stopMinute)));
    };
    std::vector<Case> cases = {
        {"update()", settle, [&] { widget.update(); }, {}},
        {"updateRow() on the middle task", changeMiddle, [&] { widget.updateRow(middle); }, {}},
        {"updateRow() + setSelectedTask(-1) + blank",
         changeMiddle,
         [&] {
             widget.updateRow(middle);
             widget.setSelectedTask(-1);
             widget.blankUnusedButtons();
         },
         {}},
        {"grab() of the widget after update()",
         [&] {
             widget.update();
             settle();
         },
         [&] { widget.grab(); },
         {}},
        {"update() and its paint (grab())",
         settle,
         [&] {
             widget.update();
             widget.grab();
         },
         {}},
    };
    runRounds(cases, runs);

    out << "First update() after show: " << QString::number(cold, 'f', 1) << " ms\n";
    out << "Median of " << runs << " rounds (each round runs every operation once):\n";
    for (const Case &c : cases) {
        out << "  " << QString::fromUtf8(c.name).leftJustified(44) << ' '
            << QString::number(median(c.ms), 'f', 2).rightJustified(8) << " ms\n";
    }
    out << "Targets: update() < 100 ms, updateRow() < 5 ms" << Qt::endl;
    return 0;
}
