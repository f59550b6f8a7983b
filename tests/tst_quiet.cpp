// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// Standard error stays empty in normal use: a session of the window with a task, a report
// saved, a purge and the close prints nothing, since the program's debug lines are off unless
// switched on (QT_LOGGING_RULES), and switched on they are there.

#include "DocumentBuilder.h"
#include "ModalAnswers.h"
#include "TestEnvironment.h"

#include "app/QuorvelMainWindow.h"
#include "dialogs/PurgeTasks.h"
#include "dialogs/ReportParams1.h"
#include "model/Configuration.h"
#include "platform/Clock.h"
#include "reportwindows/ReportViewer.h"
#include "views/MainWidget.h"
#include "widgets/MessageBox.h"

#include <QAction>
#include <QLoggingCategory>
#include <QMenu>
#include <QPushButton>
#include <QToolButton>
#include <QtTest>

namespace {

QStringList s_printed;

// Everything that would reach standard error, in the words it would have there, but the
// offscreen platform's own notes on what it cannot do, which a desktop session never prints.
void record(QtMsgType, const QMessageLogContext &context, const QString &message)
{
    if (message.startsWith(QLatin1String("This plugin does not support")))
        return;
    s_printed << QString::fromLatin1(context.category ? context.category : "") + QLatin1String(": ")
                     + message;
}

void prepareDataFile()
{
    Configuration().setMode(Configuration::Personal);
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    Activity *writing = build.activity(QStringLiteral("Writing"), work);
    build.task(writing, at(20, 9, 0), at(20, 10, 0), 1);
    build.sortAll();
    QVERIFY(doc.save());
}

// Opens the window, starts and stops a task, runs and saves the time sheet, purges the
// finished tasks and closes the window.
void session()
{
    QuorvelMainWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    window.mainWidget()->button(1)->click();
    Clock::setFixed(at(21, 10, 0));
    window.mainWidget()->button(1)->click();
    QCOMPARE(window.document()->tasks.size(), 2);

    ModalAnswers answers;
    answers.add([](QWidget *widget) {
        auto *dialog = qobject_cast<ReportParams1 *>(widget);
        QVERIFY(dialog);
        dialog->pickFromDate();
        dialog->datePopup->hide();
        dialog->pickToDate();
        dialog->datePopup->hide();
        dialog->accept();
    });
    answers.add([](QWidget *widget) {
        auto *viewer = qobject_cast<ReportViewer *>(widget);
        QVERIFY(viewer);
        viewer->saveButton()->click();
        viewer->close();
    });
    actionNamed(window, QStringLiteral("Period Time Sheet"))->trigger();
    QCOMPARE(answers.remaining(), 0);
    QCOMPARE(shownTitles(), QStringList{QStringLiteral("Report Saved")});

    Clock::setFixed(at(21, 10, 5));
    answers.add([](QWidget *widget) {
        auto *dialog = qobject_cast<PurgeTasks *>(widget);
        QVERIFY(dialog);
        dialog->accept();
    });
    window.purge();
    QCOMPARE(answers.remaining(), 0);
    QVERIFY(window.document()->tasks.isEmpty());
    QVERIFY(window.close());
}

} // namespace

class TestQuiet : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void sessionPrintsNothing();
    void debugLinesWhenSwitchedOn();
};

void TestQuiet::init()
{
    TestEnvironment::wipe();
    MessageBox::clearShown();
    Clock::setFixed(at(21, 9, 30));
    prepareDataFile();
    s_printed.clear();
}

void TestQuiet::cleanup()
{
    qInstallMessageHandler(nullptr);
    QLoggingCategory::setFilterRules(QString());
}

void TestQuiet::sessionPrintsNothing()
{
    qInstallMessageHandler(record);
    session();
    qInstallMessageHandler(nullptr);
    QCOMPARE(s_printed.join(QLatin1Char('\n')), QString());
}

void TestQuiet::debugLinesWhenSwitchedOn()
{
    QLoggingCategory::setFilterRules(QStringLiteral("quorvel.*.debug=true"));
    qInstallMessageHandler(record);
    session();
    qInstallMessageHandler(nullptr);
    QVERIFY(s_printed.contains(QStringLiteral("quorvel.window: ReportParams1::pickToDate()")));
    QVERIFY(s_printed.contains(QStringLiteral("quorvel.window: PurgeTasks::accept()")));
    QVERIFY(s_printed.contains(QStringLiteral("quorvel.report: Report: Period Time Sheet")));
    QVERIFY(s_printed.contains(QStringLiteral("quorvel.report: DocLnk created")));
}

QUORVEL_TEST_MAIN(TestQuiet)
#include "tst_quiet.moc"
