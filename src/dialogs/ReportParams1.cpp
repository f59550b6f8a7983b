// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ReportParams1.h"

#include "platform/Clock.h"
#include "platform/Logging.h"
#include "platform/TimeString.h"
#include "widgets/DateBookMonth.h"
#include "widgets/MessageBox.h"

#include <QCalendarWidget>
#include <QDebug>
#include <QMenu>

ReportParams1::ReportParams1(QWidget *parent)
    : ReportParams1Base(parent)
{
    setupTimes();
    setupDatePicker();
    connect(btnFromDate, &QToolButton::pressed, this, &ReportParams1::pickFromDate);
    connect(btnToDate, &QToolButton::pressed, this, &ReportParams1::pickToDate);
}

void ReportParams1::setupTimes()
{
    const QDate today = Clock::currentTime(false).date();
    setFromDate(today);
    setToDate(today);
}

void ReportParams1::setupDatePicker()
{
    monthPicker = DateBookMonth::createInPopup(this);
    datePopup = monthPicker->popup();
}

void ReportParams1::setFromDate(const QDate &date)
{
    fromDate = date.isValid() ? date : Clock::currentTime(false).date();
    btnFromDate->setText(TimeString::longDateString(fromDate));
}

void ReportParams1::setToDate(const QDate &date)
{
    toDate = date.isValid() ? date : Clock::currentTime(false).date();
    btnToDate->setText(TimeString::longDateString(toDate));
}

void ReportParams1::setFromDate(int year, int month, int day)
{
    fromDate = QDate(year, month, day);
    btnFromDate->setText(TimeString::longDateString(fromDate));
}

void ReportParams1::setToDate(int year, int month, int day)
{
    toDate = QDate(year, month, day);
    btnToDate->setText(TimeString::longDateString(toDate));
}

QPoint ReportParams1::datePopupPosition(const QWidget *button) const
{
    return button->mapToGlobal(QPoint(0, button->height()));
}

void ReportParams1::openDatePicker(void (ReportParams1::*chosen)(int, int, int),
                                   void (ReportParams1::*hidden)(), const QDate &date,
                                   const QToolButton *button)
{
    // One calendar serves both buttons: drop what the other button's opening wired up.
    QObject::disconnect(monthPicker, &DateBookMonth::dateClicked, this, nullptr);
    QObject::disconnect(datePopup, &QMenu::aboutToHide, this, nullptr);
    connect(monthPicker, &DateBookMonth::dateClicked, this, chosen);
    connect(datePopup, &QMenu::aboutToHide, this, hidden);
    monthPicker->setDate(date);
    datePopup->popup(datePopupPosition(button));
    // The calendar itself, not its frame, takes the arrow keys and Return.
    monthPicker->calendar()->setFocus();
}

void ReportParams1::pickFromDate()
{
    qCDebug(windowLog, "ReportParams1::pickFromDate()");
    openDatePicker(qOverload<int, int, int>(&ReportParams1::setFromDate),
                   &ReportParams1::gotHideFromDate, fromDate, btnFromDate);
}

void ReportParams1::pickToDate()
{
    qCDebug(windowLog, "ReportParams1::pickToDate()");
    openDatePicker(qOverload<int, int, int>(&ReportParams1::setToDate),
                   &ReportParams1::gotHideToDate, toDate, btnToDate);
}

void ReportParams1::gotHideFromDate()
{
    // The button was pressed to open the popup, which then took the release.
    btnFromDate->setDown(false);
}

void ReportParams1::gotHideToDate()
{
    btnToDate->setDown(false);
}

void ReportParams1::accept()
{
    if (fromDate > toDate) {
        MessageBox::warning(this, tr("Date Validation Error"),
                            tr("From date cannot be\nafter To date."));
        return;
    }
    QDialog::accept();
}
