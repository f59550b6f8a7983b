// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "PurgeTasks.h"

#include "TimeFields.h"
#include "WrappedText.h"
#include "model/Configuration.h"
#include "platform/Clock.h"
#include "platform/Logging.h"
#include "platform/TimeString.h"
#include "widgets/DateBookMonth.h"

#include <QCalendarWidget>
#include <QDebug>
#include <QLocale>
#include <QMenu>
#include <QTimer>

namespace {

// Hour of the day for the twelve-hour display: 12 without PM is midnight, 12 with PM noon.
int hourFromTwelveHour(int shown, bool pm)
{
    if (shown == 12)
        return pm ? 12 : 0;
    return pm ? shown + 12 : shown;
}

} // namespace

PurgeTasks::PurgeTasks(QWidget *parent)
    : PurgeTasksBase(parent)
{
    purgeDateTime = QDateTime();
    lblCount->hide();
    setupTimes();
    setupDatePicker();

    TimeFields::typeOver(spinHour);
    TimeFields::typeOver(spinMinute);

    connect(btnDate, &QToolButton::pressed, this, &PurgeTasks::pickDate);
    connect(spinHour, &QSpinBox::valueChanged, this, &PurgeTasks::hourChanged);
    connect(spinMinute, &QSpinBox::valueChanged, this, &PurgeTasks::minuteChanged);
    connect(radSpecified, &QRadioButton::toggled, this,
            [this](bool on) { specifiedStateChanged(on ? Qt::Checked : Qt::Unchecked); });
    connect(chkPM, &QCheckBox::stateChanged, this, &PurgeTasks::pmChanged);
    connect(radNow, &QRadioButton::toggled, this, &PurgeTasks::updateCount);
    // "Now" moves on while the dialog is open.
    auto *tick = new QTimer(this);
    connect(tick, &QTimer::timeout, this, &PurgeTasks::updateCount);
    tick->start(1000);
}

void PurgeTasks::setCounter(const std::function<int(const QDateTime &)> &counter)
{
    m_counter = counter;
    m_counted = QDateTime();
    lblCount->setVisible(bool(m_counter));
    updateCount();
}

void PurgeTasks::updateCount()
{
    if (!m_counter)
        return;
    const QDateTime cutOff = radNow->isChecked() ? Clock::currentTime(false) : purgeDateTime;
    if (cutOff == m_counted)
        return;
    m_counted = cutOff;
    const int count = m_counter(cutOff);
    if (count == 0)
        lblCount->setText(tr("Removes no finished tasks"));
    else if (count == 1)
        lblCount->setText(tr("Removes 1 finished task; Edit → Undo brings it back"));
    else
        lblCount->setText(tr("Removes %1 finished tasks; Edit → Undo brings them back")
                              .arg(QLocale().toString(count)));
    fitToWrappedText(this);
}

void PurgeTasks::setupTimes()
{
    setDateTime(Clock::currentTime(false));
}

void PurgeTasks::setupDatePicker()
{
    monthPicker = DateBookMonth::createInPopup(this);
    datePopup = monthPicker->popup();
}

void PurgeTasks::setDateTime(const QDateTime &when)
{
    QDateTime dt = when;
    if (!dt.date().isValid() || !dt.time().isValid())
        dt = Clock::currentTime(false);

    btnDate->setText(TimeString::shortDate(dt.date()));

    const int hour = dt.time().hour();
    if (!Configuration().twelveHourClock()) {
        chkPM->hide();
        TimeFields::setPrefix(spinHour, TimeFields::twoDigitPrefix(hour));
        spinHour->setValue(hour);
        spinHour->setRange(0, 23);
    } else {
        chkPM->show();
        // Set first, so the hour slot fired by the value change already sees the right half.
        chkPM->setChecked(hour >= 12);
        TimeFields::setPrefix(spinHour, QString());
        spinHour->setValue(hour % 12 == 0 ? 12 : hour % 12);
        spinHour->setRange(1, 12);
    }

    const int minute = dt.time().minute();
    TimeFields::setPrefix(spinMinute, TimeFields::twoDigitPrefix(minute));
    spinMinute->setValue(minute);

    purgeDateTime = dt;
    updateCount();
}

QPoint PurgeTasks::datePopupPosition() const
{
    const QRect button = btnDate->geometry();
    return mapToGlobal(QPoint(button.x(), button.y() + (button.height() * 3) / 2));
}

void PurgeTasks::pickDate()
{
    // The popup and calendar are shared by every opening; drop what an earlier one wired up.
    QObject::disconnect(monthPicker, &DateBookMonth::dateClicked, this, nullptr);
    QObject::disconnect(datePopup, &QMenu::aboutToHide, this, nullptr);
    connect(monthPicker, &DateBookMonth::dateClicked, this, &PurgeTasks::setDate);
    connect(datePopup, &QMenu::aboutToHide, this, &PurgeTasks::gotHideDate);
    monthPicker->setDate(purgeDateTime.date());
    datePopup->popup(datePopupPosition());
    // The days are chosen with the arrow keys and Return too.
    monthPicker->calendar()->setFocus();
}

void PurgeTasks::setDate(int year, int month, int day)
{
    purgeDateTime = QDateTime(QDate(year, month, day), purgeDateTime.time());
    btnDate->setText(TimeString::shortDate(purgeDateTime.date()));
    updateCount();
}

void PurgeTasks::gotHideDate()
{
    // The button was pressed to open the popup, which then took the release.
    btnDate->setDown(false);
}

void PurgeTasks::specifiedStateChanged(int state)
{
    const bool on = state != 0;
    btnDate->setEnabled(on);
    spinHour->setEnabled(on);
    spinMinute->setEnabled(on);
    chkPM->setEnabled(on);
}

void PurgeTasks::hourChanged(int value)
{
    int hour = value;
    if (Configuration().twelveHourClock()) {
        hour = hourFromTwelveHour(value, chkPM->isChecked());
    } else {
        TimeFields::setPrefix(spinHour, TimeFields::twoDigitPrefix(value));
    }
    purgeDateTime = QDateTime(purgeDateTime.date(), QTime(hour, purgeDateTime.time().minute(), 0));
    updateCount();
}

void PurgeTasks::minuteChanged(int value)
{
    purgeDateTime = QDateTime(purgeDateTime.date(), QTime(purgeDateTime.time().hour(), value, 0));
    TimeFields::setPrefix(spinMinute, TimeFields::twoDigitPrefix(value));
    updateCount();
}

void PurgeTasks::pmChanged(int state)
{
    if (!Configuration().twelveHourClock())
        return;
    const int hour = hourFromTwelveHour(spinHour->value(), state != 0);
    purgeDateTime = QDateTime(purgeDateTime.date(), QTime(hour, purgeDateTime.time().minute(), 0));
    updateCount();
}

void PurgeTasks::accept()
{
    qCDebug(windowLog, "PurgeTasks::accept()");
    // "Now" means the moment of OK, not the moment the dialog opened.
    if (radNow->isChecked())
        purgeDateTime = Clock::currentTime(false);
    QDialog::accept();
}
