// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "TestEnvironment.h"
#include "TimeFieldTyping.h"

#include "dialogs/PurgeTasks.h"
#include "platform/Clock.h"
#include "platform/Config.h"
#include "widgets/DateBookMonth.h"

#include <QtTest>

#include <QMenu>
#include <QPushButton>
#include <QSpinBox>

namespace {

QDateTime at(int year, int month, int day, int hour, int minute, int second = 0)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute, second));
}

void useTwentyFourHourClock()
{
    Config qpe(QStringLiteral("qpe"));
    qpe.setGroup(QStringLiteral("Time"));
    qpe.writeEntry(QStringLiteral("AMPM"), false);
}

void clickOk(PurgeTasks &dialog)
{
    dialog.buttonBox->button(QDialogButtonBox::Ok)->click();
}

} // namespace

class TestPurge : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void formTexts();
    void radiosAreExclusive();
    void opensWithCurrentTime();
    void invalidDateTimeShowsNow();
    void nowIsTakenAtOk();
    void twelveHourEntry_data();
    void twelveHourEntry();
    void twelveHourDisplay_data();
    void twelveHourDisplay();
    void pmToggleAtTwelve();
    void minuteKeepsHourAndDate();
    void setDateKeepsTime();
    void twentyFourHourClock();
    void widgetsEnabledOnlyWhenSpecified();
    void specifiedIsReturnedExactly();
    void typedDigitsAreTakenAsTyped_data();
    void typedDigitsAreTakenAsTyped();
    void cancelLeavesResultRejected();
    void popupOpensBelowDateButton();
    void pickedDateReplacesDate();
    void buttonPressOpensCalendar();
    void countLineFollowsTheMoment();
};

void TestPurge::init()
{
    TestEnvironment::wipe();
    Clock::setFixed(at(2026, 11, 21, 14, 7, 33));
}

void TestPurge::formTexts()
{
    PurgeTasks dialog;
    QCOMPARE(dialog.objectName(), QStringLiteral("PurgeTasksBase"));
    QCOMPARE(dialog.windowTitle(), QStringLiteral("Quorvel - Purge Tasks"));
    QCOMPARE(dialog.groupPurgeTime->title(), QStringLiteral("Purge All Tasks Completed Before"));
    QCOMPARE(dialog.radNow->text(), QStringLiteral("Now"));
    QVERIFY(dialog.radNow->isChecked());
    QCOMPARE(dialog.radSpecified->text(), QString());
    QVERIFY(!dialog.radSpecified->isChecked());
    QCOMPARE(dialog.lblColon1->text(), QStringLiteral(":"));
    QCOMPARE(dialog.lblColon1->alignment(), Qt::AlignCenter);
    QCOMPARE(dialog.chkPM->text(), QStringLiteral("PM"));
    QCOMPARE(dialog.spinMinute->minimum(), 0);
    QCOMPARE(dialog.spinMinute->maximum(), 59);
    QVERIFY(dialog.btnDate->parentWidget() == dialog.groupPurgeTime);
    QVERIFY(dialog.buttonBox->button(QDialogButtonBox::Ok));
    QVERIFY(dialog.buttonBox->button(QDialogButtonBox::Cancel));
    QCOMPARE(dialog.datePopup->parent(), &dialog);
    QCOMPARE(dialog.monthPicker->parent(), dialog.datePopup);
}

void TestPurge::radiosAreExclusive()
{
    PurgeTasks dialog;
    dialog.radSpecified->click();
    QVERIFY(dialog.radSpecified->isChecked());
    QVERIFY(!dialog.radNow->isChecked());
    dialog.radNow->click();
    QVERIFY(dialog.radNow->isChecked());
    QVERIFY(!dialog.radSpecified->isChecked());
}

void TestPurge::opensWithCurrentTime()
{
    PurgeTasks dialog;
    QCOMPARE(dialog.getDateTime(), at(2026, 11, 21, 14, 7));
    QCOMPARE(dialog.btnDate->text(), QStringLiteral("11/21/26"));
    QVERIFY(!dialog.chkPM->isHidden());
    QVERIFY(dialog.chkPM->isChecked());
    QCOMPARE(dialog.spinHour->value(), 2);
    QCOMPARE(dialog.spinHour->minimum(), 1);
    QCOMPARE(dialog.spinHour->maximum(), 12);
    QCOMPARE(dialog.spinHour->prefix(), QString());
    QCOMPARE(dialog.spinMinute->value(), 7);
    QCOMPARE(dialog.spinMinute->prefix(), QStringLiteral("0"));
}

void TestPurge::invalidDateTimeShowsNow()
{
    PurgeTasks dialog;
    Clock::setFixed(at(2027, 2, 3, 8, 45, 12));
    dialog.setDateTime(QDateTime());
    QCOMPARE(dialog.getDateTime(), at(2027, 2, 3, 8, 45));
    QCOMPARE(dialog.btnDate->text(), QStringLiteral("2/3/27"));
    QCOMPARE(dialog.spinHour->value(), 8);
    QVERIFY(!dialog.chkPM->isChecked());
    QCOMPARE(dialog.spinMinute->value(), 45);
    QCOMPARE(dialog.spinMinute->prefix(), QString());
}

void TestPurge::nowIsTakenAtOk()
{
    Clock::setFixed(at(2026, 11, 21, 9, 0, 0));
    PurgeTasks dialog;
    QCOMPARE(dialog.getDateTime(), at(2026, 11, 21, 9, 0));
    Clock::setFixed(at(2026, 11, 22, 10, 42, 15));
    clickOk(dialog);
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QCOMPARE(dialog.getDateTime(), at(2026, 11, 22, 10, 42));
}

void TestPurge::twelveHourEntry_data()
{
    QTest::addColumn<int>("shown");
    QTest::addColumn<bool>("pm");
    QTest::addColumn<int>("hour");
    QTest::newRow("12 AM is midnight") << 12 << false << 0;
    QTest::newRow("12 PM is noon") << 12 << true << 12;
    QTest::newRow("11 PM") << 11 << true << 23;
    QTest::newRow("11 AM") << 11 << false << 11;
    QTest::newRow("1 AM") << 1 << false << 1;
    QTest::newRow("1 PM") << 1 << true << 13;
}

void TestPurge::twelveHourEntry()
{
    QFETCH(int, shown);
    QFETCH(bool, pm);
    QFETCH(int, hour);

    PurgeTasks dialog;
    dialog.setDateTime(at(2026, 3, 5, 7, 30));
    dialog.radSpecified->click();
    dialog.chkPM->setChecked(pm);
    dialog.spinHour->setValue(shown);
    QCOMPARE(dialog.getDateTime(), at(2026, 3, 5, hour, 30));

    Clock::setFixed(at(2030, 1, 1, 1, 1));
    clickOk(dialog);
    QCOMPARE(dialog.getDateTime(), at(2026, 3, 5, hour, 30));
}

void TestPurge::twelveHourDisplay_data()
{
    QTest::addColumn<int>("hour");
    QTest::addColumn<int>("shown");
    QTest::addColumn<bool>("pm");
    QTest::newRow("midnight") << 0 << 12 << false;
    QTest::newRow("noon") << 12 << 12 << true;
    QTest::newRow("morning") << 9 << 9 << false;
    QTest::newRow("late evening") << 23 << 11 << true;
}

void TestPurge::twelveHourDisplay()
{
    QFETCH(int, hour);
    QFETCH(int, shown);
    QFETCH(bool, pm);

    PurgeTasks dialog;
    dialog.setDateTime(at(2026, 6, 1, hour, 5));
    QCOMPARE(dialog.spinHour->value(), shown);
    QCOMPARE(dialog.chkPM->isChecked(), pm);
    QCOMPARE(dialog.spinHour->prefix(), QString());
    QCOMPARE(dialog.getDateTime(), at(2026, 6, 1, hour, 5));
}

void TestPurge::pmToggleAtTwelve()
{
    PurgeTasks dialog;
    dialog.setDateTime(at(2026, 4, 10, 12, 15));
    dialog.radSpecified->click();
    QCOMPARE(dialog.spinHour->value(), 12);
    QVERIFY(dialog.chkPM->isChecked());

    dialog.chkPM->setChecked(false);
    QCOMPARE(dialog.getDateTime(), at(2026, 4, 10, 0, 15));
    dialog.chkPM->setChecked(true);
    QCOMPARE(dialog.getDateTime(), at(2026, 4, 10, 12, 15));

    dialog.spinHour->setValue(3);
    QCOMPARE(dialog.getDateTime(), at(2026, 4, 10, 15, 15));
    dialog.chkPM->setChecked(false);
    QCOMPARE(dialog.getDateTime(), at(2026, 4, 10, 3, 15));
}

void TestPurge::minuteKeepsHourAndDate()
{
    PurgeTasks dialog;
    dialog.setDateTime(at(2026, 4, 10, 16, 45, 30));
    dialog.spinMinute->setValue(5);
    QCOMPARE(dialog.getDateTime(), at(2026, 4, 10, 16, 5, 0));
    QCOMPARE(dialog.spinMinute->prefix(), QStringLiteral("0"));
    dialog.spinMinute->setValue(10);
    QCOMPARE(dialog.getDateTime(), at(2026, 4, 10, 16, 10, 0));
    QCOMPARE(dialog.spinMinute->prefix(), QString());
}

void TestPurge::setDateKeepsTime()
{
    PurgeTasks dialog;
    dialog.setDateTime(at(2026, 3, 5, 18, 20));
    dialog.setDate(2025, 12, 31);
    QCOMPARE(dialog.getDateTime(), at(2025, 12, 31, 18, 20));
    QCOMPARE(dialog.btnDate->text(), QStringLiteral("12/31/25"));
    QCOMPARE(dialog.spinHour->value(), 6);
    QVERIFY(dialog.chkPM->isChecked());
    QCOMPARE(dialog.spinMinute->value(), 20);
}

void TestPurge::twentyFourHourClock()
{
    useTwentyFourHourClock();
    PurgeTasks dialog;
    QVERIFY(dialog.chkPM->isHidden());
    QCOMPARE(dialog.spinHour->value(), 14);
    QCOMPARE(dialog.spinHour->prefix(), QString());

    dialog.setDateTime(at(2026, 7, 8, 7, 5));
    QCOMPARE(dialog.spinHour->value(), 7);
    QCOMPARE(dialog.spinHour->prefix(), QStringLiteral("0"));
    QCOMPARE(dialog.spinHour->minimum(), 0);
    QCOMPARE(dialog.spinHour->maximum(), 23);
    QCOMPARE(dialog.spinMinute->prefix(), QStringLiteral("0"));

    dialog.radSpecified->click();
    dialog.spinHour->setValue(15);
    QCOMPARE(dialog.spinHour->prefix(), QString());
    QCOMPARE(dialog.getDateTime(), at(2026, 7, 8, 15, 5));
    dialog.spinHour->setValue(0);
    QCOMPARE(dialog.spinHour->prefix(), QStringLiteral("0"));
    QCOMPARE(dialog.getDateTime(), at(2026, 7, 8, 0, 5));

    // The hidden PM box plays no part in the hour.
    dialog.spinHour->setValue(9);
    dialog.chkPM->setChecked(true);
    QCOMPARE(dialog.getDateTime(), at(2026, 7, 8, 9, 5));
}

void TestPurge::widgetsEnabledOnlyWhenSpecified()
{
    PurgeTasks dialog;
    const QList<QWidget *> timeWidgets{dialog.btnDate, dialog.spinHour, dialog.spinMinute,
                                       dialog.chkPM};
    for (const QWidget *widget : timeWidgets)
        QVERIFY2(!widget->isEnabled(), qPrintable(widget->objectName()));

    dialog.radSpecified->click();
    for (const QWidget *widget : timeWidgets)
        QVERIFY2(widget->isEnabled(), qPrintable(widget->objectName()));

    dialog.radNow->click();
    for (const QWidget *widget : timeWidgets)
        QVERIFY2(!widget->isEnabled(), qPrintable(widget->objectName()));
}

void TestPurge::specifiedIsReturnedExactly()
{
    PurgeTasks dialog;
    dialog.radSpecified->click();
    dialog.setDate(2031, 8, 9);
    dialog.chkPM->setChecked(false);
    dialog.spinHour->setValue(6);
    dialog.spinMinute->setValue(3);
    Clock::setFixed(at(2026, 12, 1, 23, 59, 59));
    clickOk(dialog);
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    // A date in the future is accepted as it stands.
    QCOMPARE(dialog.getDateTime(), at(2031, 8, 9, 6, 3));
}

void TestPurge::typedDigitsAreTakenAsTyped_data()
{
    QTest::addColumn<bool>("twelveHour");
    QTest::addColumn<bool>("minute");
    QTest::addColumn<bool>("selectAll");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<int>("value");

    for (const bool selectAll : {false, true}) {
        const QByteArray how = selectAll ? "selected" : "clicked";
        for (const bool twelve : {false, true}) {
            const QByteArray clock = twelve ? " 12h" : " 24h";
            for (const char *typed : {"45", "07", "59", "9"})
                QTest::newRow("minute " + how + clock + ' ' + typed)
                    << twelve << true << selectAll << QString::fromLatin1(typed)
                    << QString::fromLatin1(typed).toInt();
        }
        for (const char *typed : {"07", "9", "19"})
            QTest::newRow("hour " + how + " 24h " + typed)
                << false << false << selectAll << QString::fromLatin1(typed)
                << QString::fromLatin1(typed).toInt();
        for (const char *typed : {"9", "11"})
            QTest::newRow("hour " + how + " 12h " + typed)
                << true << false << selectAll << QString::fromLatin1(typed)
                << QString::fromLatin1(typed).toInt();
    }
}

void TestPurge::typedDigitsAreTakenAsTyped()
{
    QFETCH(bool, twelveHour);
    QFETCH(bool, minute);
    QFETCH(bool, selectAll);
    QFETCH(QString, typed);
    QFETCH(int, value);

    if (!twelveHour)
        useTwentyFourHourClock();
    // 11:32: two digits without a leading zero, which typing one digit brings in.
    Clock::setFixed(at(2026, 11, 21, 11, 32));
    PurgeTasks dialog;
    dialog.radSpecified->click();
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    QSpinBox *spin = minute ? dialog.spinMinute : dialog.spinHour;
    QVERIFY(typeIntoTimeField(spin, selectAll, typed));
    QCOMPARE(spin->value(), value);
    const QString shown = (twelveHour && !minute) || value >= 10
                              ? QString::number(value)
                              : QStringLiteral("0") + QString::number(value);
    QCOMPARE(spin->text(), shown);
    QTest::keyClick(spin, Qt::Key_Tab);
    QCOMPARE(spin->value(), value);
    clickOk(dialog);
    QCOMPARE(dialog.getDateTime(),
             minute ? at(2026, 11, 21, 11, value) : at(2026, 11, 21, value, 32));
}

void TestPurge::cancelLeavesResultRejected()
{
    PurgeTasks dialog;
    dialog.setResult(QDialog::Accepted);
    dialog.buttonBox->button(QDialogButtonBox::Cancel)->click();
    QCOMPARE(dialog.result(), int(QDialog::Rejected));
}

void TestPurge::popupOpensBelowDateButton()
{
    PurgeTasks dialog;
    dialog.move(100, 50);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    dialog.radSpecified->click();
    dialog.btnDate->setGeometry(10, 20, 50, 31);

    // x of the button; y of the button plus 31 * 3 / 2 = 46 in whole pixels.
    const QPoint expected = dialog.mapToGlobal(QPoint(10, 66));
    QCOMPARE(dialog.datePopupPosition(), expected);

    dialog.pickDate();
    QVERIFY(dialog.datePopup->isVisible());
    QCOMPARE(dialog.datePopup->pos(), expected);
    dialog.datePopup->hide();
}

void TestPurge::pickedDateReplacesDate()
{
    PurgeTasks dialog;
    dialog.setDateTime(at(2026, 5, 17, 21, 40));
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    dialog.radSpecified->click();

    // A second opening must not wire the calendar twice, nor to stale slots.
    dialog.pickDate();
    dialog.datePopup->hide();
    dialog.pickDate();
    QCOMPARE(dialog.monthPicker->date(), QDate(2026, 5, 17));
    QSignalSpy hides(dialog.datePopup, &QMenu::aboutToHide);

    dialog.btnDate->setDown(true);
    Q_EMIT dialog.monthPicker->dateClicked(2026, 2, 28);
    QCOMPARE(dialog.getDateTime(), at(2026, 2, 28, 21, 40));
    QCOMPARE(dialog.btnDate->text(), QStringLiteral("2/28/26"));

    // Choosing the day closes the calendar, and the button comes up again.
    QVERIFY(!dialog.datePopup->isVisible());
    QCOMPARE(hides.count(), 1);
    QVERIFY(!dialog.btnDate->isDown());
}

void TestPurge::buttonPressOpensCalendar()
{
    PurgeTasks dialog;
    dialog.setDateTime(at(2026, 9, 2, 8, 0));
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    QVERIFY(!dialog.datePopup->isVisible());

    dialog.radSpecified->click();
    QTest::mousePress(dialog.btnDate, Qt::LeftButton);
    QVERIFY(dialog.datePopup->isVisible());
    QCOMPARE(dialog.monthPicker->date(), QDate(2026, 9, 2));

    dialog.datePopup->hide();
    QVERIFY(!dialog.btnDate->isDown());
}

void TestPurge::countLineFollowsTheMoment()
{
    // Without a counter there is no line.
    {
        PurgeTasks dialog;
        dialog.show();
        QVERIFY(!dialog.lblCount->isVisible());
    }
    PurgeTasks dialog;
    QList<QDateTime> asked;
    int answer = 1234;
    dialog.setCounter([&](const QDateTime &cutOff) {
        asked << cutOff;
        return answer;
    });
    dialog.show();
    QVERIFY(dialog.lblCount->isVisible());
    QCOMPARE(dialog.lblCount->text(),
             QStringLiteral("Removes 1,234 finished tasks; Edit → Undo brings them back"));
    // "Now" is the clock's minute.
    QCOMPARE(asked, QList<QDateTime>{at(2026, 11, 21, 14, 7)});

    answer = 1;
    dialog.radSpecified->click();
    dialog.setDateTime(at(2026, 11, 20, 17, 5));
    QCOMPARE(asked.last(), at(2026, 11, 20, 17, 5));
    QCOMPARE(dialog.lblCount->text(),
             QStringLiteral("Removes 1 finished task; Edit → Undo brings it back"));
    answer = 0;
    dialog.spinMinute->setValue(6);
    QCOMPARE(asked.last(), at(2026, 11, 20, 17, 6));
    QCOMPARE(dialog.lblCount->text(), QStringLiteral("Removes no finished tasks"));

    // The same moment is not counted again; the clock moving on counts "Now" anew.
    answer = 2;
    dialog.radNow->click();
    QCOMPARE(asked.last(), at(2026, 11, 21, 14, 7));
    const qsizetype counted = asked.size();
    QTest::qWait(1100);
    QCOMPARE(asked.size(), counted);
    Clock::setFixed(at(2026, 11, 21, 14, 8, 10));
    QTRY_COMPARE(asked.last(), at(2026, 11, 21, 14, 8));
    QCOMPARE(dialog.lblCount->text(),
             QStringLiteral("Removes 2 finished tasks; Edit → Undo brings them back"));
}

QUORVEL_TEST_MAIN(TestPurge)
#include "tst_purge.moc"
