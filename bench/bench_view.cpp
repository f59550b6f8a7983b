// Times the task list view on a large document: 100 000 stopped tasks over three years on 200
// activities. Reports the median of several rounds of a full rebuild (update()), of a one-row
// refresh (updateRow() on a task in the middle of the list, alone and with the rest of the
// main window's one-row path) and of painting the widget once after a rebuild.
//
//   bench_view [--runs N]   measure on the offscreen platform, in temporary XDG folders

#include "model/QuorvelDocument.h"
#include "model/TaskTimeText.h"
#include "platform/Clock.h"
#include "views/MainWidget.h"
#include "views/QVTable.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QPixmap>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTextStream>

#include <algorithm>
#include <functional>
#include <vector>

namespace {

constexpr int TaskCount = 100000;
constexpr int ActivityCount = 200;
constexpr int CategoryCount = 20;

void fillDocument(QuorvelDocument &doc)
{
    QRandomGenerator random(20261121);
    const TaskTimeText::Batch textBatch;
    for (int i = 0; i < CategoryCount; ++i)
        doc.categories.append(
            new ActivityCategory(doc.allocateId(), QStringLiteral("Category %1").arg(i), false));
    for (int i = 0; i < ActivityCount; ++i)
        doc.activities.append(new Activity(doc.allocateId(),
                                           QStringLiteral("Activity %1 – Ünïcode").arg(i),
                                           doc.categories.at(i % CategoryCount), false));
    // Three years of tasks, one every 15 to 16 minutes, each 1 to 15 minutes long; the last
    // three hold the shortcut buttons.
    const QDateTime first(QDate(2023, 11, 22), QTime(0, 0));
    const qint64 span = first.secsTo(QDateTime(QDate(2026, 11, 22), QTime(0, 0))) / 60;
    for (int i = 0; i < TaskCount; ++i) {
        const QDateTime start = first.addSecs(60 * (span * i / TaskCount));
        const QDateTime stop = start.addSecs(60 * (1 + random.bounded(15)));
        const int shortcut = i >= TaskCount - 3 ? TaskCount - i : 0;
        doc.tasks.append(new QVTask(doc.allocateId(), start, stop, shortcut,
                                    doc.activities.at(random.bounded(ActivityCount)), QDateTime(),
                                    false));
    }
    doc.categories.sort();
    doc.activities.sort();
    doc.tasks.sort();
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const size_t n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

struct Case
{
    const char *name;
    std::function<void()> prepare; // untimed
    std::function<void()> work;    // timed
    std::vector<double> ms;
};

// Every case once per round, round after round, so that a burst of load on the machine falls
// on all of them alike.
void runRounds(std::vector<Case> &cases, int rounds)
{
    for (int round = 0; round < rounds; ++round) {
        for (Case &c : cases) {
            c.prepare();
            QElapsedTimer timer;
            timer.start();
            c.work();
            c.ms.push_back(timer.nsecsElapsed() / 1e6);
        }
    }
}

// Lets the widget settle: posted layout requests, the paint after a rebuild.
void settle()
{
    for (int i = 0; i < 3; ++i)
        QCoreApplication::processEvents();
}

} // namespace

int main(int argc, char *argv[])
{
    Clock::pinLocalTimeZone();
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QTemporaryDir home;
    if (!home.isValid())
        qFatal("no temporary folder");
    qputenv("XDG_DATA_HOME", QFile::encodeName(home.path() + QStringLiteral("/data")));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(home.path() + QStringLiteral("/config")));
    const QString runtime = home.path() + QStringLiteral("/runtime");
    QDir().mkpath(runtime);
    QFile::setPermissions(runtime,
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    qputenv("XDG_RUNTIME_DIR", QFile::encodeName(runtime));

    QApplication app(argc, argv);
    const QStringList args = app.arguments();
    const int runsAt = int(args.indexOf(QStringLiteral("--runs")));
    const int runs = runsAt >= 0 ? args.value(runsAt + 1).toInt() : 15;

    QuorvelDocument doc;
    fillDocument(doc);
    Clock::setFixed(QDateTime(QDate(2026, 11, 21), QTime(9, 30, 0)));

    MainWidget widget(&doc);
    widget.resize(480, 640);
    widget.show();
    settle();

    QTextStream out(stdout);
    out << "Document: " << doc.tasks.size() << " tasks, " << doc.activities.size()
        << " activities; widget " << widget.width() << "x" << widget.height()
        << " on the offscreen platform\n";

    QElapsedTimer coldTimer;
    coldTimer.start();
    widget.update();
    const double cold = coldTimer.nsecsElapsed() / 1e6;
    settle();
    if (widget.selectedTask != doc.tasks.last() || !widget.shortcutTask3)
        qFatal("the rebuild did not select the newest task or set the buttons");

    QVTask *middle = doc.tasks.at(TaskCount / 2);
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
