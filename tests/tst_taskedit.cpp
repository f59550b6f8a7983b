// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "DocumentBuilder.h"
#include "ModalAnswers.h"
#include "TestEnvironment.h"
#include "TimeFieldTyping.h"

#include "dialogs/ActivityEdit.h"
#include "dialogs/TaskEdit.h"
#include "model/Configuration.h"
#include "model/QuorvelDocument.h"
#include "platform/Clock.h"
#include "platform/Config.h"
#include "views/BalloonTip.h"
#include "widgets/DateBookMonth.h"
#include "widgets/MessageBox.h"

#include <QtTest>

#include <QCalendarWidget>
#include <QMenu>
#include <QPushButton>
#include <QSpinBox>
#include <QTableView>

namespace {

const QString validationTitle = QStringLiteral("Time Validation Error");
const QString stopBeforeStartText
    = QStringLiteral("The stop time you have selected\nis before the start time");
const QString zeroDurationText = QStringLiteral("Tasks of zero duration are not\nvalid");
const QString overlapText = QStringLiteral("This task is not valid as entered\nas it overlaps "
                                           "with an existing\ntask, and concurrent tasks "
                                           "are\nprohibited");

void useTwentyFourHourClock()
{
    Config config(QStringLiteral("qpe"));
    config.setGroup(QStringLiteral("Time"));
    config.writeEntry(QStringLiteral("AMPM"), false);
}

QStringList comboTexts(const QComboBox *combo)
{
    QStringList texts;
    for (int i = 0; i < combo->count(); ++i)
        texts.append(combo->itemText(i));
    return texts;
}

// Enters a specified start time by hand, as the user does with the radio button.
void specifyStart(TaskEdit &dialog, const QDateTime &start)
{
    dialog.radStartSpecified->setChecked(true);
    dialog.setStartDateTime(start);
}

void specifyStop(TaskEdit &dialog, const QDateTime &stop)
{
    dialog.radStopSpecified->setChecked(true);
    dialog.setStopDateTime(stop);
}

} // namespace

class TestTaskEdit : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void newTaskForm();
    void twelveHourDisplay_data();
    void twelveHourDisplay();
    void twelveHourEntry_data();
    void twelveHourEntry();
    void pmToggleAtTwelveNeverGivesTwentyFour();
    void twentyFourHourClock();
    void minuteDoesNotCarryIntoHour();
    void typedDigitsAreTakenAsTyped_data();
    void typedDigitsAreTakenAsTyped();
    void typingAfterClickReplaces_data();
    void typingAfterClickReplaces();
    void specifiedRadioEnablesItsWidgets();
    void runningTaskShowsStopLater();
    void stoppedTaskShowsSpecifiedStop();

    void stopLaterFutureStartAccepted();
    void stopLaterOverlapRefused();
    void stopBeforeStartRefused();
    void zeroDurationRefused();
    void acceptTakesFreshCurrentTime();

    void obsoleteActivityOfTaskListed();
    void activityActivatedSelects();
    void groupModeHidesAddActivity();
    void noActiveCategoryDisablesAddActivity();
    void addNewActivityStaysAfterCancel();

    void calendarChangesOnlyStartDate();
    void calendarChangesOnlyStopDate();
    void closingCalendarChangesNothing();

    void newTaskTipShownOnce();

    void dateBookMonthRoundTrip();
    void dateBookMonthReportsChosenDay();
};

void TestTaskEdit::init()
{
    TestEnvironment::wipe();
    MessageBox::clearShown();
    Clock::setFixed(at(21, 9, 30));
    Configuration().setMode(Configuration::Personal);
    Configuration().setAllowConcurrentTasks(false);
}

void TestTaskEdit::newTaskForm()
{
    QuorvelDocument doc;
    TaskEdit dialog(nullptr, &doc);

    QCOMPARE(dialog.objectName(), QStringLiteral("TaskEditBase"));
    QCOMPARE(dialog.windowTitle(), QStringLiteral("Edit Task"));
    QCOMPARE(dialog.groupActivity->title(), QStringLiteral("Activity"));
    QCOMPARE(dialog.groupStartTime->title(), QStringLiteral("Start Time"));
    QCOMPARE(dialog.groupStopTime->title(), QStringLiteral("Stop Time"));
    QCOMPARE(dialog.btnActivity->text(), QStringLiteral("Add New Activity"));
    QCOMPARE(dialog.radStartNow->text(), QStringLiteral("Now"));
    QCOMPARE(dialog.radStopNow->text(), QStringLiteral("Now"));
    QCOMPARE(dialog.radStopLater->text(), QStringLiteral("Unspecified (stop later)"));
    QVERIFY(dialog.radStartSpecified->text().isEmpty());
    QVERIFY(dialog.radStopSpecified->text().isEmpty());
    QCOMPARE(dialog.lblColon1->text(), QStringLiteral(":"));
    QCOMPARE(dialog.chkPMStart->text(), QStringLiteral("PM"));
    QVERIFY(!dialog.comboActivity->isEditable());

    QVERIFY(dialog.radStartNow->isChecked());
    QVERIFY(dialog.radStopLater->isChecked());
    QVERIFY(!dialog.radStopNow->isChecked());
    QVERIFY(!dialog.btnStartDate->isEnabled());
    QVERIFY(!dialog.spinStartHour->isEnabled());
    QVERIFY(!dialog.spinStopMinute->isEnabled());
    QVERIFY(!dialog.chkPMStop->isEnabled());
    // The pointer reaches "Now" of the stop group; the Tab key does not.
    QCOMPARE(dialog.radStopNow->focusPolicy(), Qt::ClickFocus);

    // Both time sets show the current time, 9:30 AM on 11/21/26.
    QCOMPARE(dialog.currentTime, at(21, 9, 30));
    QCOMPARE(dialog.getStartDateTime(), at(21, 9, 30));
    QCOMPARE(dialog.getStopDateTime(), at(21, 9, 30));
    QCOMPARE(dialog.btnStartDate->text(), QStringLiteral("11/21/26"));
    QCOMPARE(dialog.btnStopDate->text(), QStringLiteral("11/21/26"));
    QCOMPARE(dialog.spinStartHour->value(), 9);
    QCOMPARE(dialog.spinStartMinute->value(), 30);
    QVERIFY(!dialog.chkPMStart->isChecked());
    QCOMPARE(dialog.editedTask, nullptr);
    QCOMPARE(dialog.selectedActivity, nullptr);
}

void TestTaskEdit::twelveHourDisplay_data()
{
    QTest::addColumn<int>("hour");
    QTest::addColumn<int>("minute");
    QTest::addColumn<int>("spinHour");
    QTest::addColumn<bool>("pm");
    QTest::addColumn<QString>("minutePrefix");

    QTest::newRow("00:30") << 0 << 30 << 12 << false << QString();
    QTest::newRow("12:30") << 12 << 30 << 12 << true << QString();
    QTest::newRow("13:05") << 13 << 5 << 1 << true << QStringLiteral("0");
    QTest::newRow("11:59") << 11 << 59 << 11 << false << QString();
}

void TestTaskEdit::twelveHourDisplay()
{
    QFETCH(int, hour);
    QFETCH(int, minute);
    QFETCH(int, spinHour);
    QFETCH(bool, pm);
    QFETCH(QString, minutePrefix);

    QuorvelDocument doc;
    DocumentBuilder build(doc);
    const auto [work] = build.activities({"Work"});
    QVTask *task = build.task(work, at(20, hour, minute), at(20, 23, 0));

    TaskEdit dialog(task, &doc);
    QVERIFY(!dialog.chkPMStart->isHidden());
    QCOMPARE(dialog.spinStartHour->value(), spinHour);
    QCOMPARE(dialog.spinStartHour->minimum(), 1);
    QCOMPARE(dialog.spinStartHour->maximum(), 12);
    QVERIFY(dialog.spinStartHour->prefix().isEmpty());
    QCOMPARE(dialog.chkPMStart->isChecked(), pm);
    QCOMPARE(dialog.spinStartMinute->value(), minute);
    QCOMPARE(dialog.spinStartMinute->prefix(), minutePrefix);
    QCOMPARE(dialog.getStartDateTime(), at(20, hour, minute));
}

void TestTaskEdit::twelveHourEntry_data()
{
    QTest::addColumn<bool>("pm");
    QTest::addColumn<int>("entered");
    QTest::addColumn<int>("hour");

    QTest::newRow("12 without PM") << false << 12 << 0;
    QTest::newRow("12 with PM") << true << 12 << 12;
    QTest::newRow("11 with PM") << true << 11 << 23;
    QTest::newRow("1 with PM") << true << 1 << 13;
    QTest::newRow("11 without PM") << false << 11 << 11;
}

void TestTaskEdit::twelveHourEntry()
{
    QFETCH(bool, pm);
    QFETCH(int, entered);
    QFETCH(int, hour);

    QuorvelDocument doc;
    TaskEdit dialog(nullptr, &doc);
    specifyStart(dialog, at(21, 10, 15, 42));
    dialog.chkPMStart->setChecked(pm);
    dialog.spinStartHour->setValue(entered);

    QCOMPARE(dialog.getStartDateTime(), at(21, hour, 15));
}

void TestTaskEdit::pmToggleAtTwelveNeverGivesTwentyFour()
{
    QuorvelDocument doc;
    TaskEdit dialog(nullptr, &doc);
    specifyStart(dialog, at(21, 0, 45));
    QCOMPARE(dialog.spinStartHour->value(), 12);

    dialog.chkPMStart->setChecked(true);
    QCOMPARE(dialog.getStartDateTime(), at(21, 12, 45));
    dialog.chkPMStart->setChecked(false);
    QCOMPARE(dialog.getStartDateTime(), at(21, 0, 45));
    dialog.chkPMStart->setChecked(true);
    QCOMPARE(dialog.getStartDateTime(), at(21, 12, 45));

    // Away from 12 the PM box moves the hour by twelve.
    dialog.spinStartHour->setValue(3);
    QCOMPARE(dialog.getStartDateTime(), at(21, 15, 45));
    dialog.chkPMStart->setChecked(false);
    QCOMPARE(dialog.getStartDateTime(), at(21, 3, 45));
}

void TestTaskEdit::twentyFourHourClock()
{
    useTwentyFourHourClock();
    QuorvelDocument doc;
    TaskEdit dialog(nullptr, &doc);

    QVERIFY(dialog.chkPMStart->isHidden());
    QVERIFY(dialog.chkPMStop->isHidden());
    QCOMPARE(dialog.spinStartHour->minimum(), 0);
    QCOMPARE(dialog.spinStartHour->maximum(), 23);
    QCOMPARE(dialog.spinStartHour->value(), 9);
    QCOMPARE(dialog.spinStartHour->prefix(), QStringLiteral("0"));

    specifyStart(dialog, at(21, 13, 5));
    QCOMPARE(dialog.spinStartHour->value(), 13);
    QVERIFY(dialog.spinStartHour->prefix().isEmpty());
    QCOMPARE(dialog.spinStartMinute->prefix(), QStringLiteral("0"));

    dialog.spinStartHour->setValue(9);
    QCOMPARE(dialog.spinStartHour->prefix(), QStringLiteral("0"));
    QCOMPARE(dialog.getStartDateTime(), at(21, 9, 5));
    dialog.spinStartHour->setValue(10);
    QVERIFY(dialog.spinStartHour->prefix().isEmpty());
    QCOMPARE(dialog.getStartDateTime(), at(21, 10, 5));
    dialog.spinStartHour->setValue(0);
    QCOMPARE(dialog.spinStartHour->prefix(), QStringLiteral("0"));
    QCOMPARE(dialog.getStartDateTime(), at(21, 0, 5));

    dialog.spinStartMinute->setValue(30);
    QVERIFY(dialog.spinStartMinute->prefix().isEmpty());
    dialog.spinStartMinute->setValue(5);
    QCOMPARE(dialog.spinStartMinute->prefix(), QStringLiteral("0"));
    QCOMPARE(dialog.getStartDateTime(), at(21, 0, 5));

    // The PM box has no say with the 24-hour clock.
    dialog.chkPMStart->setChecked(true);
    QCOMPARE(dialog.getStartDateTime(), at(21, 0, 5));
}

void TestTaskEdit::typedDigitsAreTakenAsTyped_data()
{
    QTest::addColumn<bool>("twelveHour");
    QTest::addColumn<QString>("field");
    QTest::addColumn<bool>("selectAll");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<int>("value");
    QTest::addColumn<QString>("shown");

    const QStringList minutes
        = {QStringLiteral("spinStartMinute"), QStringLiteral("spinStopMinute")};
    const QStringList hours = {QStringLiteral("spinStartHour"), QStringLiteral("spinStopHour")};
    for (const bool selectAll : {false, true}) {
        const char *how = selectAll ? "selected" : "clicked";
        for (const QString &field : minutes) {
            for (const bool twelve : {false, true}) {
                const QByteArray name = field.toLatin1() + ' ' + how + (twelve ? " 12h" : " 24h");
                QTest::newRow(name + " 45") << twelve << field << selectAll << QStringLiteral("45")
                                            << 45 << QStringLiteral("45");
                QTest::newRow(name + " 07") << twelve << field << selectAll << QStringLiteral("07")
                                            << 7 << QStringLiteral("07");
                QTest::newRow(name + " 59") << twelve << field << selectAll << QStringLiteral("59")
                                            << 59 << QStringLiteral("59");
                QTest::newRow(name + " 9") << twelve << field << selectAll << QStringLiteral("9")
                                           << 9 << QStringLiteral("09");
            }
        }
        for (const QString &field : hours) {
            const QByteArray name = field.toLatin1() + ' ' + how;
            QTest::newRow(name + " 24h 07")
                << false << field << selectAll << QStringLiteral("07") << 7 << QStringLiteral("07");
            QTest::newRow(name + " 24h 9")
                << false << field << selectAll << QStringLiteral("9") << 9 << QStringLiteral("09");
            QTest::newRow(name + " 24h 19") << false << field << selectAll << QStringLiteral("19")
                                            << 19 << QStringLiteral("19");
            QTest::newRow(name + " 12h 9")
                << true << field << selectAll << QStringLiteral("9") << 9 << QStringLiteral("9");
            QTest::newRow(name + " 12h 11")
                << true << field << selectAll << QStringLiteral("11") << 11 << QStringLiteral("11");
        }
    }
}

void TestTaskEdit::typedDigitsAreTakenAsTyped()
{
    QFETCH(bool, twelveHour);
    QFETCH(QString, field);
    QFETCH(bool, selectAll);
    QFETCH(QString, typed);
    QFETCH(int, value);
    QFETCH(QString, shown);

    if (!twelveHour)
        useTwentyFourHourClock();
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    Activity *coding
        = build.activity(QStringLiteral("Coding"), build.category(QStringLiteral("Dev")));
    Q_UNUSED(coding);
    TaskEdit dialog(nullptr, &doc);
    // 11:32 to 11:33: two digits without a leading zero, which typing one digit brings in.
    specifyStart(dialog, at(21, 11, 32));
    specifyStop(dialog, at(21, 11, 33));
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));

    auto *spin = dialog.findChild<QSpinBox *>(field);
    QVERIFY(spin);
    QVERIFY(typeIntoTimeField(spin, selectAll, typed));
    QCOMPARE(spin->value(), value);
    QCOMPARE(spin->text(), shown);
    QTest::keyClick(spin, Qt::Key_Tab);
    QCOMPARE(spin->value(), value);
    QCOMPARE(spin->text(), shown);

    const bool start = field.startsWith(QStringLiteral("spinStart"));
    const bool minute = field.endsWith(QStringLiteral("Minute"));
    const QDateTime before = start ? at(21, 11, 32) : at(21, 11, 33);
    const QDateTime expected = minute
                                   ? QDateTime(before.date(), QTime(before.time().hour(), value))
                                   : QDateTime(before.date(), QTime(value, before.time().minute()));
    QCOMPARE(start ? dialog.getStartDateTime() : dialog.getStopDateTime(), expected);
}

void TestTaskEdit::typingAfterClickReplaces_data()
{
    QTest::addColumn<bool>("twelveHour");
    QTest::addColumn<QString>("field");
    QTest::addColumn<QString>("how");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<int>("value");
    QTest::addColumn<QString>("shown");

    const QStringList minutes
        = {QStringLiteral("spinStartMinute"), QStringLiteral("spinStopMinute")};
    const QStringList hours = {QStringLiteral("spinStartHour"), QStringLiteral("spinStopHour")};
    const QStringList ways = {QStringLiteral("click"), QStringLiteral("click End"),
                              QStringLiteral("click Home"), QStringLiteral("select")};
    for (const QString &how : ways) {
        for (const bool twelve : {false, true}) {
            const QByteArray clock = twelve ? " 12h " : " 24h ";
            for (const QString &field : minutes) {
                const QByteArray name = field.toLatin1() + ' ' + how.toLatin1() + clock;
                QTest::newRow(name + "45")
                    << twelve << field << how << QStringLiteral("45") << 45 << QStringLiteral("45");
                QTest::newRow(name + "7")
                    << twelve << field << how << QStringLiteral("7") << 7 << QStringLiteral("07");
                QTest::newRow(name + "06")
                    << twelve << field << how << QStringLiteral("06") << 6 << QStringLiteral("06");
                // A third digit that no minute has starts the minutes anew.
                QTest::newRow(name + "456")
                    << twelve << field << how << QStringLiteral("456") << 6 << QStringLiteral("06");
            }
            for (const QString &field : hours) {
                const QByteArray name = field.toLatin1() + ' ' + how.toLatin1() + clock;
                QTest::newRow(name + "9") << twelve << field << how << QStringLiteral("9") << 9
                                          << (twelve ? QStringLiteral("9") : QStringLiteral("09"));
                QTest::newRow(name + "10")
                    << twelve << field << how << QStringLiteral("10") << 10 << QStringLiteral("10");
            }
            const QByteArray name = "hours " + how.toLatin1() + clock;
            if (twelve)
                QTest::newRow(name + "13") << twelve << QStringLiteral("spinStopHour") << how
                                           << QStringLiteral("13") << 3 << QStringLiteral("3");
            else
                QTest::newRow(name + "23") << twelve << QStringLiteral("spinStopHour") << how
                                           << QStringLiteral("23") << 23 << QStringLiteral("23");
        }
    }
}

// A person clicks into a field showing 12 (behind its text, or after moving the cursor with
// End or Home) and types: the digits replace the value rather than being refused after it.
void TestTaskEdit::typingAfterClickReplaces()
{
    QFETCH(bool, twelveHour);
    QFETCH(QString, field);
    QFETCH(QString, how);
    QFETCH(QString, typed);
    QFETCH(int, value);
    QFETCH(QString, shown);

    if (!twelveHour)
        useTwentyFourHourClock();
    QuorvelDocument doc;
    TaskEdit dialog(nullptr, &doc);
    // 12:12 in both fields: every field shows "12" before the typing.
    specifyStart(dialog, at(21, 12, 12));
    specifyStop(dialog, at(21, 12, 12));
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));

    auto *spin = dialog.findChild<QSpinBox *>(field);
    QVERIFY(spin);
    QCOMPARE(spin->text(), QStringLiteral("12"));
    auto *edit = spin->findChild<QLineEdit *>();
    QVERIFY(edit);
    if (how == QStringLiteral("select")) {
        spin->setFocus();
        spin->selectAll();
        QVERIFY(edit->hasSelectedText());
    } else {
        QTest::mouseClick(edit, Qt::LeftButton, {}, QPoint(edit->width() - 4, edit->height() / 2));
        QVERIFY(spin->hasFocus());
        QVERIFY(!edit->hasSelectedText());
        if (how == QStringLiteral("click End"))
            QTest::keyClick(spin, Qt::Key_End);
        else if (how == QStringLiteral("click Home"))
            QTest::keyClick(spin, Qt::Key_Home);
    }
    QTest::keyClicks(spin, typed);
    QCOMPARE(spin->value(), value);
    QCOMPARE(spin->text(), shown);
    QTest::keyClick(spin, Qt::Key_Tab);
    QCOMPARE(spin->value(), value);

    const bool start = field.startsWith(QStringLiteral("spinStart"));
    const bool minute = field.endsWith(QStringLiteral("Minute"));
    // 12:12 is after noon: with the twelve-hour clock PM stays on.
    const int hour = twelveHour && value != 12 ? value + 12 : value;
    const QDateTime expected = minute ? at(21, 12, value) : at(21, hour, 12);
    QCOMPARE(start ? dialog.getStartDateTime() : dialog.getStopDateTime(), expected);
    // The other time stays as it was.
    QCOMPARE(start ? dialog.getStopDateTime() : dialog.getStartDateTime(), at(21, 12, 12));
}

void TestTaskEdit::minuteDoesNotCarryIntoHour()
{
    QuorvelDocument doc;
    TaskEdit dialog(nullptr, &doc);
    specifyStop(dialog, at(21, 14, 58, 17));

    dialog.spinStopMinute->stepUp();
    QCOMPARE(dialog.spinStopMinute->value(), 59);
    QCOMPARE(dialog.getStopDateTime(), at(21, 14, 59));
    dialog.spinStopMinute->stepUp();
    QCOMPARE(dialog.spinStopMinute->value(), 59);
    QCOMPARE(dialog.spinStopHour->value(), 2);
    QCOMPARE(dialog.getStopDateTime(), at(21, 14, 59));
    QCOMPARE(dialog.getStopDateTime().time().second(), 0);

    dialog.spinStopMinute->setValue(7);
    QCOMPARE(dialog.spinStopMinute->prefix(), QStringLiteral("0"));
    QCOMPARE(dialog.getStopDateTime(), at(21, 14, 7));
}

void TestTaskEdit::specifiedRadioEnablesItsWidgets()
{
    QuorvelDocument doc;
    TaskEdit dialog(nullptr, &doc);

    dialog.radStopSpecified->setChecked(true);
    QVERIFY(dialog.btnStopDate->isEnabled());
    QVERIFY(dialog.spinStopHour->isEnabled());
    QVERIFY(dialog.spinStopMinute->isEnabled());
    QVERIFY(dialog.chkPMStop->isEnabled());
    QVERIFY(!dialog.spinStartHour->isEnabled());

    dialog.radStopNow->setChecked(true);
    QVERIFY(!dialog.btnStopDate->isEnabled());
    QVERIFY(!dialog.spinStopHour->isEnabled());
    QVERIFY(!dialog.spinStopMinute->isEnabled());
    QVERIFY(!dialog.chkPMStop->isEnabled());
    QVERIFY(!dialog.radStopLater->isChecked());
}

void TestTaskEdit::runningTaskShowsStopLater()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    const auto [work] = build.activities({"Work"});
    QVTask *task = build.task(work, at(20, 16, 5), QDateTime());

    TaskEdit dialog(task, &doc);
    QCOMPARE(dialog.editedTask, task);
    QVERIFY(dialog.radStartSpecified->isChecked());
    QVERIFY(dialog.btnStartDate->isEnabled());
    QVERIFY(dialog.spinStartHour->isEnabled());
    QCOMPARE(dialog.btnStartDate->text(), QStringLiteral("11/20/26"));
    QCOMPARE(dialog.spinStartHour->value(), 4);
    QCOMPARE(dialog.spinStartMinute->value(), 5);
    QVERIFY(dialog.chkPMStart->isChecked());

    QVERIFY(dialog.radStopLater->isChecked());
    QVERIFY(!dialog.spinStopHour->isEnabled());
    QCOMPARE(dialog.btnStopDate->text(), QStringLiteral("11/21/26"));
    QCOMPARE(dialog.spinStopHour->value(), 9);
    QCOMPARE(dialog.spinStopMinute->value(), 30);
    QVERIFY(!dialog.chkPMStop->isChecked());
    QCOMPARE(dialog.getStopDateTime(), at(21, 9, 30));
    QCOMPARE(dialog.selectedActivity, work);
}

void TestTaskEdit::stoppedTaskShowsSpecifiedStop()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    const auto [work] = build.activities({"Work"});
    QVTask *task = build.task(work, at(19, 8, 0), at(19, 12, 0));

    TaskEdit dialog(task, &doc);
    QVERIFY(dialog.radStartSpecified->isChecked());
    QVERIFY(dialog.radStopSpecified->isChecked());
    QVERIFY(dialog.spinStopHour->isEnabled());
    QVERIFY(dialog.btnStopDate->isEnabled());
    QCOMPARE(dialog.btnStopDate->text(), QStringLiteral("11/19/26"));
    QCOMPARE(dialog.spinStopHour->value(), 12);
    QVERIFY(dialog.chkPMStop->isChecked());
    QCOMPARE(dialog.getStopDateTime(), at(19, 12, 0));

    // Unchanged, the task validates against everything but itself.
    dialog.accept();
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QVERIFY(MessageBox::shown().isEmpty());
}

void TestTaskEdit::stopLaterFutureStartAccepted()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    const auto [work] = build.activities({"Work"});
    build.task(work, at(21, 8, 0), at(21, 9, 0));
    // Ends exactly where the checked minute of the new task ends.
    build.task(work, at(21, 11, 1), at(21, 12, 0));

    TaskEdit dialog(nullptr, &doc);
    specifyStart(dialog, at(21, 11, 0));
    QVERIFY(dialog.radStopLater->isChecked());
    dialog.accept();

    QVERIFY(MessageBox::shown().isEmpty());
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
}

void TestTaskEdit::stopLaterOverlapRefused()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    const auto [work] = build.activities({"Work"});
    build.task(work, at(21, 10, 0), at(21, 12, 0));

    TaskEdit dialog(nullptr, &doc);
    specifyStart(dialog, at(21, 11, 0));
    dialog.accept();

    const QList<MessageBox::Shown> shown = MessageBox::shown();
    QCOMPARE(shown.size(), 1);
    QCOMPARE(shown.first().title, validationTitle);
    QCOMPARE(shown.first().text, overlapText);
    QCOMPARE(shown.first().icon, QMessageBox::Warning);
    QCOMPARE(dialog.result(), int(QDialog::Rejected));
    // Everything stays as entered.
    QVERIFY(dialog.radStartSpecified->isChecked());
    QCOMPARE(dialog.getStartDateTime(), at(21, 11, 0));

    // The same start is fine once concurrent tasks are allowed.
    Configuration().setAllowConcurrentTasks(true);
    MessageBox::clearShown();
    dialog.accept();
    QVERIFY(MessageBox::shown().isEmpty());
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
}

void TestTaskEdit::stopBeforeStartRefused()
{
    QuorvelDocument doc;
    TaskEdit dialog(nullptr, &doc);
    specifyStart(dialog, at(21, 11, 0));
    specifyStop(dialog, at(21, 10, 0));
    dialog.accept();

    const QList<MessageBox::Shown> shown = MessageBox::shown();
    QCOMPARE(shown.size(), 1);
    QCOMPARE(shown.first().title, validationTitle);
    QCOMPARE(shown.first().text, stopBeforeStartText);
    QCOMPARE(dialog.result(), int(QDialog::Rejected));
}

void TestTaskEdit::zeroDurationRefused()
{
    QuorvelDocument doc;
    TaskEdit dialog(nullptr, &doc);
    // Start and stop both "Now".
    dialog.radStopNow->setChecked(true);
    dialog.accept();

    QList<MessageBox::Shown> shown = MessageBox::shown();
    QCOMPARE(shown.size(), 1);
    QCOMPARE(shown.first().title, validationTitle);
    QCOMPARE(shown.first().text, zeroDurationText);
    QCOMPARE(dialog.result(), int(QDialog::Rejected));

    MessageBox::clearShown();
    specifyStart(dialog, at(20, 14, 0));
    specifyStop(dialog, at(20, 14, 0));
    dialog.accept();
    shown = MessageBox::shown();
    QCOMPARE(shown.size(), 1);
    QCOMPARE(shown.first().text, zeroDurationText);
}

void TestTaskEdit::acceptTakesFreshCurrentTime()
{
    QuorvelDocument doc;
    TaskEdit dialog(nullptr, &doc);
    QCOMPARE(dialog.currentTime, at(21, 9, 30));

    Clock::setFixed(at(21, 9, 42, 33));
    dialog.accept();
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QCOMPARE(dialog.currentTime, at(21, 9, 42));
    // The specified times are not touched by OK.
    QCOMPARE(dialog.getStartDateTime(), at(21, 9, 30));
}

void TestTaskEdit::obsoleteActivityOfTaskListed()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *category = build.category(QStringLiteral("Office"));
    build.activity(QStringLiteral("Meetings"), category);
    Activity *retired = build.activity(QStringLiteral("Filing"), category, true);
    build.activity(QStringLiteral("Archive"), category, true);
    build.activity(QStringLiteral("Calls"), category);
    build.sortAll();
    QVTask *task = build.task(retired, at(19, 8, 0), at(19, 9, 0));

    TaskEdit editing(task, &doc);
    QCOMPARE(comboTexts(editing.comboActivity),
             QStringList(
                 {QStringLiteral("Calls"), QStringLiteral("Filing"), QStringLiteral("Meetings")}));
    QCOMPARE(editing.comboActivity->currentIndex(), 1);
    QCOMPARE(editing.selectedActivity, retired);
    QVERIFY(!editing.comboActivity->itemIcon(1).isNull());
    QVERIFY(editing.comboActivity->itemIcon(0).isNull());
    QCOMPARE(editing.comboActivities.size(), 3);
    QCOMPARE(editing.comboActivities.at(1), retired);

    TaskEdit creating(nullptr, &doc);
    QCOMPARE(comboTexts(creating.comboActivity),
             QStringList({QStringLiteral("Calls"), QStringLiteral("Meetings")}));
    QCOMPARE(creating.comboActivity->currentIndex(), 0);
    QCOMPARE(creating.selectedActivity->name, QStringLiteral("Calls"));
}

void TestTaskEdit::activityActivatedSelects()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    const auto [a, b] = build.activities({"Alpha", "Beta"});

    TaskEdit dialog(nullptr, &doc);
    QCOMPARE(dialog.selectedActivity, a);
    dialog.activityActivated(1);
    QCOMPARE(dialog.selectedActivity, b);
    dialog.activityActivated(2);
    QCOMPARE(dialog.selectedActivity, nullptr);

    QuorvelDocument empty;
    TaskEdit none(nullptr, &empty);
    QCOMPARE(none.selectedActivity, nullptr);
    QCOMPARE(none.comboActivity->count(), 0);
    // An empty list does not stop OK.
    none.accept();
    QCOMPARE(none.result(), int(QDialog::Accepted));
}

void TestTaskEdit::groupModeHidesAddActivity()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    build.category(QStringLiteral("Office"));

    Configuration().setMode(Configuration::Group);
    TaskEdit group(nullptr, &doc);
    QVERIFY(group.btnActivity->isHidden());

    Configuration().setMode(Configuration::Personal);
    TaskEdit personal(nullptr, &doc);
    QVERIFY(!personal.btnActivity->isHidden());
    QVERIFY(personal.btnActivity->isEnabled());
}

void TestTaskEdit::noActiveCategoryDisablesAddActivity()
{
    QuorvelDocument doc;
    TaskEdit none(nullptr, &doc);
    QVERIFY(!none.btnActivity->isHidden());
    QVERIFY(!none.btnActivity->isEnabled());

    DocumentBuilder build(doc);
    build.category(QStringLiteral("Old"), true);
    TaskEdit onlyObsolete(nullptr, &doc);
    QVERIFY(!onlyObsolete.btnActivity->isEnabled());
}

void TestTaskEdit::addNewActivityStaysAfterCancel()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    build.category(QStringLiteral("Home"));
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    build.activity(QStringLiteral("Alpha"), work);
    build.activity(QStringLiteral("Zulu"), work);
    build.sortAll();
    const int nextId = doc.nextId;

    TaskEdit dialog(nullptr, &doc);
    QString title;
    QWidget *editorParent = nullptr;
    bool isActivityEdit = false;
    ModalAnswers answers;
    answers.add([&](QWidget *widget) {
        title = widget->windowTitle();
        editorParent = widget->parentWidget();
        auto *editor = qobject_cast<ActivityEdit *>(widget);
        isActivityEdit = editor != nullptr;
        if (!editor) {
            widget->close();
            return;
        }
        editor->txtName->setText(QStringLiteral("  Mail  "));
        editor->comboCategory->setCurrentIndex(1);
        editor->categoryActivated(1);
        editor->buttonBox->button(QDialogButtonBox::Ok)->click();
        if (editor->isVisible())
            editor->close();
    });

    dialog.btnActivity->click();

    QCOMPARE(answers.remaining(), 0);
    QVERIFY(isActivityEdit);
    QCOMPARE(title, QStringLiteral("Quorvel - New Activity"));
    QCOMPARE(editorParent, &dialog);
    QCOMPARE(doc.activities.size(), 3);
    QCOMPARE(doc.activities.at(1)->name, QStringLiteral("Mail"));
    QCOMPARE(doc.activities.at(1)->id, nextId);
    QCOMPARE(doc.activities.at(1)->category, work);
    QVERIFY(!doc.activities.at(1)->obsolete);
    QCOMPARE(dialog.selectedActivity, doc.activities.at(1));
    QCOMPARE(
        comboTexts(dialog.comboActivity),
        QStringList({QStringLiteral("Alpha"), QStringLiteral("Mail"), QStringLiteral("Zulu")}));
    QCOMPARE(dialog.comboActivity->currentText(), QStringLiteral("Mail"));

    dialog.reject();
    QCOMPARE(doc.activities.size(), 3);
    QCOMPARE(doc.activities.at(1)->name, QStringLiteral("Mail"));

    // Cancelling the activity editor adds nothing.
    answers.add([](QWidget *widget) { widget->close(); });
    dialog.btnActivity->click();
    QCOMPARE(answers.remaining(), 0);
    QCOMPARE(doc.activities.size(), 3);
}

void TestTaskEdit::calendarChangesOnlyStartDate()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    const auto [work] = build.activities({"Work"});
    QVTask *task = build.task(work, at(20, 13, 5), at(20, 15, 0));
    TaskEdit dialog(task, &doc);

    QTest::mouseClick(dialog.btnStopDate, Qt::LeftButton); // an earlier use of the calendar
    dialog.datePopup->hide();

    dialog.pickStartDate();
    QVERIFY(dialog.datePopup->isVisible());
    QCOMPARE(dialog.monthPicker->date(), QDate(2026, 11, 20));

    Q_EMIT dialog.monthPicker->dateClicked(2026, 11, 3);
    QVERIFY(!dialog.datePopup->isVisible());
    QCOMPARE(dialog.getStartDateTime(), QDateTime(QDate(2026, 11, 3), QTime(13, 5)));
    QCOMPARE(dialog.btnStartDate->text(), QStringLiteral("11/3/26"));
    QCOMPARE(dialog.spinStartHour->value(), 1);
    QCOMPARE(dialog.spinStartMinute->value(), 5);
    QVERIFY(dialog.chkPMStart->isChecked());
    // The stop, picked earlier with the same calendar, is left alone.
    QCOMPARE(dialog.getStopDateTime(), at(20, 15, 0));
    QCOMPARE(dialog.btnStopDate->text(), QStringLiteral("11/20/26"));
}

void TestTaskEdit::calendarChangesOnlyStopDate()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    const auto [work] = build.activities({"Work"});
    QVTask *task = build.task(work, at(20, 13, 5), at(20, 15, 0));
    TaskEdit dialog(task, &doc);

    dialog.pickStartDate();
    dialog.datePopup->hide();
    dialog.pickStopDate();
    QCOMPARE(dialog.monthPicker->date(), QDate(2026, 11, 20));

    // A day chosen on the calendar itself, with the keyboard.
    auto *view = dialog.monthPicker->calendar()->findChild<QTableView *>();
    QVERIFY(view);
    dialog.monthPicker->calendar()->setSelectedDate(QDate(2026, 11, 24));
    QTest::keyClick(view, Qt::Key_Return);

    QVERIFY(!dialog.datePopup->isVisible());
    QVERIFY(!dialog.btnStopDate->isDown());
    QCOMPARE(dialog.getStopDateTime(), QDateTime(QDate(2026, 11, 24), QTime(15, 0)));
    QCOMPARE(dialog.btnStopDate->text(), QStringLiteral("11/24/26"));
    QCOMPARE(dialog.spinStopHour->value(), 3);
    QCOMPARE(dialog.getStartDateTime(), at(20, 13, 5));
    QCOMPARE(dialog.btnStartDate->text(), QStringLiteral("11/20/26"));
}

void TestTaskEdit::closingCalendarChangesNothing()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    const auto [work] = build.activities({"Work"});
    QVTask *task = build.task(work, at(20, 13, 5), at(20, 15, 0));
    TaskEdit dialog(task, &doc);

    dialog.btnStartDate->setDown(true);
    dialog.pickStartDate();
    QVERIFY(dialog.datePopup->isVisible());
    dialog.datePopup->hide();

    QVERIFY(!dialog.btnStartDate->isDown());
    QCOMPARE(dialog.getStartDateTime(), at(20, 13, 5));
    QCOMPARE(dialog.getStopDateTime(), at(20, 15, 0));
    QCOMPARE(dialog.btnStartDate->text(), QStringLiteral("11/20/26"));
    QCOMPARE(dialog.btnStopDate->text(), QStringLiteral("11/20/26"));
}

void TestTaskEdit::newTaskTipShownOnce()
{
    QuorvelDocument doc;
    {
        TaskEdit first(nullptr, &doc);
        const QList<BalloonTip *> tips = first.findChildren<BalloonTip *>();
        QCOMPARE(tips.size(), 1);
        QCOMPARE(tips.first()->text,
                 QStringLiteral("Select an activity, then press OK.\nThis will start a new task."));
    }
    TaskEdit second(nullptr, &doc);
    QVERIFY(second.findChildren<BalloonTip *>().isEmpty());
}

void TestTaskEdit::dateBookMonthRoundTrip()
{
    DateBookMonth month;
    month.setDate(QDate(2026, 2, 28));
    QCOMPARE(month.date(), QDate(2026, 2, 28));
    QCOMPARE(month.calendar()->monthShown(), 2);
    month.setDate(QDate(2031, 12, 1));
    QCOMPARE(month.date(), QDate(2031, 12, 1));
    QCOMPARE(month.calendar()->yearShown(), 2031);
}

void TestTaskEdit::dateBookMonthReportsChosenDay()
{
    DateBookMonth month;
    month.setDate(QDate(2026, 11, 21));
    QSignalSpy spy(&month, &DateBookMonth::dateClicked);

    Q_EMIT month.calendar()->clicked(QDate(2026, 11, 9));
    QCOMPARE(spy.size(), 1);
    QCOMPARE(spy.at(0), QVariantList({2026, 11, 9}));

    Q_EMIT month.calendar()->activated(QDate(2027, 1, 2));
    QCOMPARE(spy.size(), 2);
    QCOMPARE(spy.at(1), QVariantList({2027, 1, 2}));

    auto *view = month.calendar()->findChild<QTableView *>();
    QVERIFY(view);
    QTest::keyClick(view, Qt::Key_Return);
    QCOMPARE(spy.size(), 3);
    QCOMPARE(spy.at(2), QVariantList({2026, 11, 21}));
}

QUORVEL_TEST_MAIN(TestTaskEdit)
#include "tst_taskedit.moc"
