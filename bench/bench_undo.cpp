// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers
// Times Edit → Undo and Redo of the main window on the large document: a purge of its 100 000
// finished tasks, its undo and its redo, a start and a stop by a shortcut button, each with
// the step the window records for it, and the cost of a step alone. Reports the median of several
// interleaved rounds, the size of the document string before and after the purge and the peak
// memory of the process.
//
//   bench_undo [--runs N]   measure on the offscreen platform, in temporary XDG folders

#include "BenchSupport.h"
#include "app/ChangeChannel.h"
#include "app/QuorvelMainWindow.h"
#include "app/StatusBarPanel.h"
#include "model/QuorvelDocument.h"
#include "platform/Clock.h"
#include "views/MainWidget.h"

#include <QApplication>
#include <QTextStream>
#include <QToolButton>
#include <QUndoStack>

#include <vector>

int main(int argc, char *argv[])
{
    useOffscreenWidgets();
    const TemporaryHome home;

    QApplication app(argc, argv);
    const int runs = runsArgument(QCoreApplication::arguments());

    // The window reads the large document from its data file, as at a start.
    {
        Configuration().setMode(Configuration::Personal);
        Configuration().setAllowConcurrentTasks(false);
        QuorvelDocument doc;
        LargeDocument large;
        large.shortcuts = true;
        large.fill(doc);
        if (!doc.save())
            qFatal("the large document could not be written");
    }
    // After the last task of the large document.
    QDateTime now(QDate(2026, 11, 23), QTime(9, 30, 0));
    Clock::setFixed(now);
    QuorvelMainWindow window;
    window.resize(640, 480);
    window.show();
    settle();
    QuorvelDocument &doc = *window.document();
    ChangeChannel *changes = window.changes();
    const qsizetype tasks = doc.tasks.size();

    QTextStream out(stdout);
    out << "Document: " << tasks << " tasks, " << doc.activities.size()
        << " activities, in the main window on the offscreen platform\n";

    // The purge as the window makes it, without its dialog.
    const auto purge = [&] {
        ChangeScope change(changes);
        change.setText(QStringLiteral("Purge"));
        doc.purge(now);
    };
    const auto whole = [&] {
        if (doc.tasks.size() < tasks)
            window.undo();
        if (doc.tasks.size() < tasks)
            qFatal("the undo of the purge did not bring the tasks back");
    };
    const auto purged = [&] {
        if (doc.tasks.size() == tasks)
            purge();
    };
    const auto undone = [&] {
        if (!changes->stack()->canRedo()) {
            purged();
            window.undo();
        }
    };
    QToolButton *button = window.mainWidget()->button(1);
    // The step alone: a change of one record in the middle, which the view has no more to show.
    int stampSecond = 0;
    const auto oneRecord = [&] {
        ChangeScope change(changes);
        change.setText(QStringLiteral("Stamp"));
        QVTask *middle = doc.tasks.at(doc.tasks.size() / 2);
        stampSecond = (stampSecond + 1) % 60;
        middle->modifiedTime = QDateTime(middle->stopDate(), QTime(23, 59, stampSecond));
    };
    std::vector<Case> cases = {
        {"purge of every finished task (with its step)", whole, purge, {}},
        {"undo of the purge", purged, [&] { window.undo(); }, {}},
        {"redo of the purge", undone, [&] { window.redo(); }, {}},
        {"start by a shortcut button (with its step)",
         [&] {
             whole();
             now = now.addSecs(120);
             Clock::setFixed(now);
         },
         [&] { button->click(); },
         {}},
        {"stop by the same button (with its step)",
         [&] { Clock::setFixed(now.addSecs(60)); },
         [&] { button->click(); },
         {}},
        {"a change of one record (the step alone)", [] {}, oneRecord, {}},
        // What the status bar adds to every change: the week's tasks looked for again.
        {"status bar after a change (totals anew)",
         [] {},
         [&] { window.statusPanel()->documentChanged(); },
         {}},
    };
    runRounds(cases, runs);
    if (doc.tasks.size() != tasks + runs || doc.activeTasks())
        qFatal("the buttons did not start and stop a task in every round");
    for (const Case &c : cases) {
        out << "  " << QString::fromLatin1(c.name).leftJustified(48) << ' '
            << QString::number(median(c.ms), 'f', 1).rightJustified(7) << " ms\n";
    }

    // The purge's step keeps about the difference of the two.
    whole();
    const qsizetype before = doc.getDocumentBytes().size();
    purge();
    const qsizetype after = doc.getDocumentBytes().size();
    out << "  " << QStringLiteral("document string before and after the purge").leftJustified(48)
        << ' ' << QString::number(before / 1048576.0, 'f', 1) << " MiB / "
        << QString::number(after / 1024.0, 'f', 1) << " KiB\n";
    out << "  " << QStringLiteral("peak memory of the process").leftJustified(48) << ' '
        << QString::number(peakMemoryMiB(), 'f', 1).rightJustified(7) << " MiB\n";
    return 0;
}
