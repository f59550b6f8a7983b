// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The idle question: with a fake idle source and a pinned clock, each of its three answers
// gives exactly the tasks expected, a refused stop changes nothing, and the question is asked
// only about tasks the person left running; input in any window of Quorvel counts as presence.
// Also the desktop settings that set its minutes.

#include "DocumentBuilder.h"
#include "ModalAnswers.h"
#include "TestEnvironment.h"

#include "app/ForgottenTimer.h"
#include "app/IdleWatcher.h"
#include "app/QuorvelMainWindow.h"
#include "dialogs/DesktopSettings.h"
#include "model/Configuration.h"
#include "platform/Clock.h"
#include "platform/idle/IdleSource.h"
#include "views/MainWidget.h"
#include "widgets/MessageBox.h"

#include <QAction>
#include <QDialog>
#include <QFile>
#include <QtTest>

namespace {

class FakeIdleSource : public IdleSource
{
    Q_OBJECT

public:
    using IdleSource::IdleSource;
    QString name() const override { return QStringLiteral("fake"); }
    void watch(qint64 thresholdMs) override { threshold = thresholdMs; }

    void goIdle(qint64 idleMs) { Q_EMIT wentIdle(idleMs); }
    void comeBack() { Q_EMIT cameBack(); }

    qint64 threshold = -1;
};

// The window, watched through a fake idle source.
struct Watched
{
    QuorvelMainWindow window;
    FakeIdleSource source;
    IdleWatcher watcher{&window, &source};

    // The person leaves 20 minutes before the clock's time, comes back at back and gives
    // answer, if asked.
    void awayUntil(const QDateTime &back, IdleWatcher::Answer answer)
    {
        source.goIdle(20 * 60 * 1000);
        Clock::setFixed(back);
        MessageBox::setNextChoice(answer);
        source.comeBack();
    }
};

// "Writing" has run since 09:00 and holds the first shortcut button; "Reading" is the second
// activity. With finishedReading, a task of Reading went from 10:05 to 10:10.
void prepareDataFile(bool finishedReading = false)
{
    Configuration().setMode(Configuration::Personal);
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    Activity *writing = build.activity(QStringLiteral("Writing"), work);
    Activity *reading = build.activity(QStringLiteral("Reading"), work);
    build.task(writing, at(21, 9, 0), QDateTime(), 1);
    if (finishedReading)
        build.task(reading, at(21, 10, 5), at(21, 10, 10));
    build.sortAll();
    QVERIFY(doc.save());
}

// Each task as "activity start-stop" (stop empty while it runs), in the document's order.
QStringList tasks(const QuorvelDocument &doc)
{
    QStringList list;
    for (const QVTask *task : doc.tasks) {
        list << task->activityName() + QLatin1Char(' ')
                    + task->start().toString(QStringLiteral("hh:mm")) + QLatin1Char('-')
                    + (task->isRunning() ? QString()
                                         : task->stop().toString(QStringLiteral("hh:mm")));
    }
    return list;
}

QByteArray dataFile()
{
    QFile file(QuorvelDocument::dataFilePath());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TestIdle : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void watchesWithTheSetting();
    void asksWhenThePersonComesBack();
    void keepingTheTimeChangesNothing();
    void stoppingStopsWhenThePersonLeft();
    void stoppingAndStartingAgain();
    void aRefusedStopLeavesEverything();
    void onlyTasksLeftRunningAreAskedAbout();
    void nothingAskedWhenOffOrIdle();
    void waitsForAnOpenQuestion();
    void inputInAnotherWindowIsPresence();
    void inputInQuorvelIsTheReturn();
    void shortAbsenceAsksNothing();
    void settingsDialogSetsTheMinutes();
    void settingsDialogGreysOutWithoutASource();
    void answersAreUndone_data();
    void answersAreUndone();
};

void TestIdle::init()
{
    TestEnvironment::wipe();
    MessageBox::clearShown();
    Clock::setFixed(at(21, 10, 20));
}

void TestIdle::watchesWithTheSetting()
{
    prepareDataFile();
    QuorvelMainWindow window;
    FakeIdleSource source;
    QCOMPARE(IdleWatcher::minutes(), 15);
    IdleWatcher watcher(&window, &source);
    QCOMPARE(source.threshold, qint64(15 * 60 * 1000));
    QVERIFY(watcher.available());
    IdleWatcher::setMinutes(5);
    watcher.settingsChanged();
    QCOMPARE(source.threshold, qint64(5 * 60 * 1000));
    IdleWatcher::setMinutes(0);
    watcher.settingsChanged();
    QCOMPARE(source.threshold, qint64(0));
}

void TestIdle::asksWhenThePersonComesBack()
{
    prepareDataFile();
    QuorvelMainWindow window;
    FakeIdleSource source;
    IdleWatcher watcher(&window, &source);

    // Noticed at 10:20:30 after 20 minutes and 10 seconds: the person left at 10:00:20.
    Clock::setFixed(at(21, 10, 20, 30));
    source.goIdle((20 * 60 + 10) * 1000);
    QVERIFY(MessageBox::shown().isEmpty());
    Clock::setFixed(at(21, 11, 0, 15));
    source.comeBack();
    QCOMPARE(shownTitles(), QStringList{QStringLiteral("Idle Time")});
    const MessageBox::Shown question = MessageBox::shown().at(0);
    QCOMPARE(question.text, QStringLiteral("You have been away since 10:00 AM, for 1:00 (hours and "
                                           "minutes).\nRunning then: Writing.\n\nWhat should be "
                                           "done with the time away?"));
    QCOMPARE(question.buttons,
             (QStringList{QStringLiteral("Keep the Time"), QStringLiteral("Stop at 10:00 AM"),
                          QStringLiteral("Stop at 10:00 AM and Start Again")}));

    // Asked once: coming back again asks nothing.
    source.comeBack();
    QCOMPARE(MessageBox::shown().size(), 1);
}

void TestIdle::keepingTheTimeChangesNothing()
{
    prepareDataFile();
    const QByteArray before = dataFile();
    Watched watched;
    watched.awayUntil(at(21, 11, 0), IdleWatcher::KeepTime);
    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(tasks(*watched.window.document()), QStringList{QStringLiteral("Writing 09:00-")});
    QVERIFY(watched.window.mainWidget()->button(1)->isChecked());
    QCOMPARE(dataFile(), before);
}

void TestIdle::stoppingStopsWhenThePersonLeft()
{
    prepareDataFile();
    Watched watched;
    watched.awayUntil(at(21, 11, 0), IdleWatcher::StopThen);
    QCOMPARE(shownTitles(), QStringList{QStringLiteral("Idle Time")});
    QCOMPARE(tasks(*watched.window.document()), QStringList{QStringLiteral("Writing 09:00-10:00")});
    QVERIFY(!watched.window.mainWidget()->button(1)->isChecked());
    // Written at once, as every command of the watched.window.
    QuorvelDocument reread;
    QVERIFY(reread.load());
    QCOMPARE(tasks(reread), QStringList{QStringLiteral("Writing 09:00-10:00")});
}

void TestIdle::stoppingAndStartingAgain()
{
    prepareDataFile();
    Watched watched;
    watched.awayUntil(at(21, 11, 0, 40), IdleWatcher::StopThenStartAgain);
    QCOMPARE(tasks(*watched.window.document()), (QStringList{QStringLiteral("Writing 09:00-10:00"),
                                                             QStringLiteral("Writing 11:00-")}));
    // The new task takes the activity's button.
    QVERIFY(watched.window.mainWidget()->button(1)->isChecked());
    QCOMPARE(watched.window.document()->tasks.last()->shortcut, 1);
    QuorvelDocument reread;
    QVERIFY(reread.load());
    QCOMPARE(tasks(reread), tasks(*watched.window.document()));
}

void TestIdle::aRefusedStopLeavesEverything()
{
    // Stopping Writing at 10:15 would overlap Reading from 10:05 to 10:10.
    prepareDataFile(true);
    const QByteArray before = dataFile();
    Watched watched;
    Clock::setFixed(at(21, 10, 35));
    watched.awayUntil(at(21, 11, 0), IdleWatcher::StopThenStartAgain);
    QCOMPARE(shownTitles(),
             (QStringList{QStringLiteral("Idle Time"), QStringLiteral("Cannot Stop Task")}));
    QCOMPARE(
        MessageBox::shown().at(1).text,
        QStringLiteral("Stopping at 10:15 AM would make a task overlap another one, so nothing "
                       "was changed.\nYou can Edit the task to set its stop time."));
    QCOMPARE(
        tasks(*watched.window.document()),
        (QStringList{QStringLiteral("Writing 09:00-"), QStringLiteral("Reading 10:05-10:10")}));
    QCOMPARE(dataFile(), before);
}

void TestIdle::onlyTasksLeftRunningAreAskedAbout()
{
    prepareDataFile();
    QuorvelMainWindow window;
    FakeIdleSource source;
    IdleWatcher watcher(&window, &source);
    // Idle since 08:50, before Writing started at 09:00: it was started from elsewhere.
    Clock::setFixed(at(21, 9, 10));
    source.goIdle(20 * 60 * 1000);
    Clock::setFixed(at(21, 9, 30));
    source.comeBack();
    QVERIFY(MessageBox::shown().isEmpty());

    // Writing was stopped from elsewhere while the person was away: nothing to ask.
    Clock::setFixed(at(21, 10, 20));
    source.goIdle(20 * 60 * 1000);
    window.mainWidget()->button(1)->click();
    QCOMPARE(tasks(*window.document()), QStringList{QStringLiteral("Writing 09:00-10:20")});
    Clock::setFixed(at(21, 11, 0));
    source.comeBack();
    QVERIFY(MessageBox::shown().isEmpty());
}

void TestIdle::nothingAskedWhenOffOrIdle()
{
    prepareDataFile();
    IdleWatcher::setMinutes(0);
    {
        QuorvelMainWindow window;
        FakeIdleSource source;
        IdleWatcher watcher(&window, &source);
        source.goIdle(20 * 60 * 1000);
        source.comeBack();
        QVERIFY(MessageBox::shown().isEmpty());
    }
    // No task ran when the person left.
    IdleWatcher::setMinutes(15);
    QuorvelMainWindow window;
    window.mainWidget()->button(1)->click();
    QVERIFY(!window.document()->tasks.last()->isRunning());
    FakeIdleSource source;
    IdleWatcher watcher(&window, &source);
    Clock::setFixed(at(21, 11, 0));
    source.goIdle(20 * 60 * 1000);
    source.comeBack();
    QVERIFY(MessageBox::shown().isEmpty());
}

void TestIdle::waitsForAnOpenQuestion()
{
    prepareDataFile();
    QuorvelMainWindow window;
    FakeIdleSource source;
    IdleWatcher watcher(&window, &source);
    source.goIdle(20 * 60 * 1000);
    Clock::setFixed(at(21, 11, 0));

    // The person comes back to the purge dialog open: the question waits until it closes.
    ModalAnswers answers;
    answers.add([&](QWidget *dialog) {
        source.comeBack();
        QVERIFY(MessageBox::shown().isEmpty());
        QTimer::singleShot(0, dialog, [dialog] { static_cast<QDialog *>(dialog)->reject(); });
    });
    window.purge();
    QCOMPARE(answers.remaining(), 0);
    QTRY_COMPARE(shownTitles(), QStringList{QStringLiteral("Idle Time")});
    QCOMPARE(tasks(*window.document()), QStringList{QStringLiteral("Writing 09:00-")});
}

void TestIdle::inputInAnotherWindowIsPresence()
{
    prepareDataFile();
    QuorvelMainWindow window;
    FakeIdleSource source;
    IdleWatcher watcher(&window, &source);
    // Typing in a dialog of Quorvel (a report window, say) until 10:17, which the session's
    // idle source did not see: at 10:20 it tells 20 minutes.
    QDialog other(&window);
    other.show();
    QVERIFY(QTest::qWaitForWindowExposed(&other));
    Clock::setFixed(at(21, 10, 17, 20));
    QTest::keyClick(&other, Qt::Key_A);
    other.close();
    Clock::setFixed(at(21, 10, 20));
    source.goIdle(20 * 60 * 1000);
    Clock::setFixed(at(21, 10, 40));
    source.comeBack();
    QCOMPARE(shownTitles(), QStringList{QStringLiteral("Idle Time")});
    QCOMPARE(MessageBox::shown().at(0).text,
             QStringLiteral("You have been away since 10:17 AM, for 0:23 (hours and minutes).\n"
                            "Running then: Writing.\n\nWhat should be done with the time away?"));
    QCOMPARE(MessageBox::shown().at(0).buttons.at(1), QStringLiteral("Stop at 10:17 AM"));
}

void TestIdle::inputInQuorvelIsTheReturn()
{
    prepareDataFile();
    QuorvelMainWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    FakeIdleSource source;
    IdleWatcher watcher(&window, &source);
    source.goIdle(20 * 60 * 1000);
    // The first key in the window is the return, also where the source does not tell it; the
    // question counts the time away to that moment.
    Clock::setFixed(at(21, 10, 45));
    QTest::keyClick(&window, Qt::Key_Shift);
    QCOMPARE(shownTitles(), QStringList{QStringLiteral("Idle Time")});
    QCOMPARE(MessageBox::shown().at(0).text,
             QStringLiteral("You have been away since 10:00 AM, for 0:45 (hours and minutes).\n"
                            "Running then: Writing.\n\nWhat should be done with the time away?"));
    // The source's own return later asks nothing more.
    source.comeBack();
    QCOMPARE(MessageBox::shown().size(), 1);
}

void TestIdle::shortAbsenceAsksNothing()
{
    prepareDataFile();
    QuorvelMainWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    FakeIdleSource source;
    IdleWatcher watcher(&window, &source);
    // Input in the window at 10:17; the source calls it 20 minutes at 10:20; back at 10:25:
    // eight minutes away, fewer than the 15 of the setting.
    Clock::setFixed(at(21, 10, 17));
    QTest::keyClick(&window, Qt::Key_Shift);
    Clock::setFixed(at(21, 10, 20));
    source.goIdle(20 * 60 * 1000);
    Clock::setFixed(at(21, 10, 25));
    source.comeBack();
    QVERIFY(MessageBox::shown().isEmpty());
    QCOMPARE(tasks(*window.document()), QStringList{QStringLiteral("Writing 09:00-")});
}

void TestIdle::settingsDialogSetsTheMinutes()
{
    prepareDataFile();
    QuorvelMainWindow window;
    FakeIdleSource source;
    IdleWatcher watcher(&window, &source);
    window.setIdleWatcher(&watcher);
    QAction *entry = actionNamed(window, QStringLiteral("Idle Time and Reminders"));
    QVERIFY(entry);

    ModalAnswers answers;
    answers.add([](QWidget *widget) {
        auto *dialog = qobject_cast<DesktopSettings *>(widget);
        QVERIFY(dialog);
        QCOMPARE(dialog->windowTitle(), QStringLiteral("Quorvel - Idle Time and Reminders"));
        QCOMPARE(dialog->lblIdleMinutes->text(), QStringLiteral("Ask about idle time after:"));
        QCOMPARE(dialog->spnIdleMinutes->text(), QStringLiteral("15 minutes"));
        QCOMPARE(dialog->spnRemindHours->text(), QStringLiteral("10 hours"));
        QVERIFY(dialog->spnIdleMinutes->isEnabled());
        QVERIFY(dialog->lblIdleUnavailable->isHidden());
        QVERIFY(dialog->chkTellAboutPanel->isChecked());
        dialog->spnIdleMinutes->setValue(0);
        QCOMPARE(dialog->spnIdleMinutes->text(), QStringLiteral("Never"));
        dialog->spnIdleMinutes->setValue(25);
        dialog->spnRemindHours->setValue(0);
        QCOMPARE(dialog->spnRemindHours->text(), QStringLiteral("Never"));
        dialog->chkTellAboutPanel->setChecked(false);
        dialog->accept();
    });
    entry->trigger();
    QCOMPARE(answers.remaining(), 0);
    QCOMPARE(IdleWatcher::minutes(), 25);
    QCOMPARE(source.threshold, qint64(25 * 60 * 1000));
    QCOMPARE(ForgottenTimer::hours(), 0);
    QVERIFY(!QuorvelMainWindow::tellsAboutPanel());

    // Cancel keeps what was set.
    answers.add([](QWidget *widget) {
        auto *dialog = qobject_cast<DesktopSettings *>(widget);
        QVERIFY(dialog);
        QCOMPARE(dialog->spnIdleMinutes->value(), 25);
        dialog->spnIdleMinutes->setValue(3);
        dialog->reject();
    });
    entry->trigger();
    QCOMPARE(IdleWatcher::minutes(), 25);
}

void TestIdle::settingsDialogGreysOutWithoutASource()
{
    prepareDataFile();
    QuorvelMainWindow window;
    const QString reason = QStringLiteral("This session tells no idle time.");
    IdleWatcher watcher(&window, nullptr, reason);
    window.setIdleWatcher(&watcher);
    QVERIFY(!watcher.available());

    ModalAnswers answers;
    answers.add([&reason](QWidget *widget) {
        auto *dialog = qobject_cast<DesktopSettings *>(widget);
        QVERIFY(dialog);
        QVERIFY(!dialog->spnIdleMinutes->isEnabled());
        QVERIFY(!dialog->lblIdleMinutes->isEnabled());
        QVERIFY(!dialog->lblIdleUnavailable->isHidden());
        QCOMPARE(dialog->lblIdleUnavailable->text(), reason);
        QCOMPARE(QApplication::focusWidget(), dialog->spnRemindHours);
        dialog->accept();
    });
    actionNamed(window, QStringLiteral("Idle Time and Reminders"))->trigger();
    QCOMPARE(answers.remaining(), 0);
    QCOMPARE(IdleWatcher::minutes(), 15);
}

void TestIdle::answersAreUndone_data()
{
    QTest::addColumn<int>("answer");
    QTest::addColumn<QString>("undoText");
    QTest::newRow("stop") << int(IdleWatcher::StopThen) << QStringLiteral("Undo Stop at 10:00 AM");
    QTest::newRow("stop and start again")
        << int(IdleWatcher::StopThenStartAgain)
        << QStringLiteral("Undo Stop at 10:00 AM and Start Again");
}

void TestIdle::answersAreUndone()
{
    QFETCH(int, answer);
    QFETCH(QString, undoText);
    prepareDataFile();
    Watched watched;
    const QByteArray before = watched.window.document()->getDocumentBytes();
    watched.awayUntil(at(21, 11, 0), IdleWatcher::Answer(answer));
    const QByteArray after = watched.window.document()->getDocumentBytes();
    QVERIFY(after != before);
    QAction *undo = watched.window.findChild<QAction *>(QStringLiteral("undo"));
    QCOMPARE(undo->text(), undoText);
    undo->trigger();
    QCOMPARE(watched.window.document()->getDocumentBytes(), before);
    QCOMPARE(tasks(*watched.window.document()), QStringList{QStringLiteral("Writing 09:00-")});
    QVERIFY(watched.window.mainWidget()->button(1)->isChecked());
    watched.window.findChild<QAction *>(QStringLiteral("redo"))->trigger();
    QCOMPARE(watched.window.document()->getDocumentBytes(), after);
}

QUORVEL_TEST_MAIN(TestIdle)
#include "tst_idle.moc"
