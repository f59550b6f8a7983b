// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// Times the data file of a large document: 100 000 stopped tasks over three years on 200
// activities in 20 categories. Reports the median of several runs of each operation and the
// peak memory of a process that only loads the file.
//
//   bench_document [--runs N]   measure, in a temporary XDG data folder
//   bench_document --generate   write the large document as the data file of the current
//                               XDG data folder (point XDG_DATA_HOME somewhere first)

#include "BenchSupport.h"
#include "model/QuorvelDocument.h"
#include "platform/Clock.h"

#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QTextStream>

#include <memory>
#include <vector>

int main(int argc, char *argv[])
{
    Clock::pinLocalTimeZone();
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();

    // Child mode: load the data file and report the peak memory of doing only that.
    if (args.contains(QStringLiteral("--peak-after-load"))) {
        QuorvelDocument doc;
        const bool ok = doc.load();
        QTextStream(stdout) << (ok ? doc.tasks.size() : -1) << ' ' << peakMemoryMiB() << '\n';
        return ok ? 0 : 1;
    }

    // Generator mode: write the large document as the data file of the current XDG data
    // folder, for profiling and for trying the program with a large file.
    if (args.contains(QStringLiteral("--generate"))) {
        QuorvelDocument doc;
        LargeDocument().fill(doc);
        const bool saved = doc.save();
        QTextStream(stdout) << QuorvelDocument::dataFilePath() << '\n';
        return saved ? 0 : 1;
    }

    const int runs = runsArgument(args);
    const TemporaryHome home;

    QuorvelDocument doc;
    LargeDocument().fill(doc);
    const QByteArray bytes = doc.getDocumentString().toUtf8();

    QTextStream out(stdout);
    out << "Document: " << doc.tasks.size() << " tasks, " << doc.activities.size()
        << " activities, " << doc.categories.size() << " categories; data file "
        << QString::number(bytes.size() / 1048576.0, 'f', 1) << " MiB\n";
    out << "Median of " << runs << " rounds (each round runs every operation once):\n";

    std::unique_ptr<QuorvelDocument> target;
    QByteArray buffer;
    const auto nothing = [] {
    };
    const auto freshTarget = [&] {
        target = std::make_unique<QuorvelDocument>();
    };
    const auto loadedTarget = [&] {
        if (!target)
            target = std::make_unique<QuorvelDocument>();
        target->load();
    };
    std::vector<Case> cases = {
        {"getDocumentString", nothing, [&] { doc.getDocumentString(); }, {}},
        {"populateFromByteArray (new document)",
         [&] {
             freshTarget();
             buffer = bytes;
             buffer.detach();
         },
         [&] { target->populateFromByteArray(buffer.data(), int(buffer.size())); },
         {}},
        {"save (write, fsync, rename)", nothing, [&] { doc.save(); }, {}},
        {"save of a freshly loaded document", loadedTarget, [&] { target->save(); }, {}},
        {"load (into a new document)", freshTarget, [&] { target->load(); }, {}},
        {"load (replacing a loaded document)", loadedTarget, [&] { target->load(); }, {}},
        // Loading leaves most starts and stops as wall-clock values; the first use of each
        // pays for its local-time conversion, measured here for all of them at once.
        {"first use of every start and stop",
         loadedTarget,
         [&] {
             qint64 valid = 0;
             for (const QVTask *task : std::as_const(target->tasks))
                 valid += task->start().isValid() + task->stop().isValid();
             if (valid != 2 * target->tasks.size())
                 qFatal("a task lost its start or stop");
         },
         {}},
        {"sort of the tasks after a load", loadedTarget, [&] { target->tasks.sort(); }, {}},
    };
    runRounds(cases, runs);
    for (const Case &c : cases) {
        out << "  " << QString::fromLatin1(c.name).leftJustified(40) << ' '
            << QString::number(median(c.ms), 'f', 1).rightJustified(6) << " ms\n";
    }
    target.reset();

    QProcess child;
    child.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--peak-after-load")});
    child.waitForFinished(120000);
    const QList<QByteArray> reply = child.readAllStandardOutput().trimmed().split(' ');
    out << "  " << QStringLiteral("peak memory of a process after load").leftJustified(40) << ' '
        << QString::number(reply.value(1).toDouble(), 'f', 1).rightJustified(6) << " MiB ("
        << reply.value(0) << " tasks)\n";
    return child.exitCode();
}
