// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "ReportParams1Base.h"

#include <QDate>
#include <QPoint>

class DateBookMonth;
class QMenu;
class QToolButton;

// Asks for a report's period (from and to date, both included) and its two options. One
// month calendar in a pop-up serves both date buttons. OK is refused while the from date is
// after the to date, or while the period is longer than the longest one allowed.
class ReportParams1 : public ReportParams1Base
{
    Q_OBJECT

public:
    explicit ReportParams1(QWidget *parent = nullptr);

    QDate getFromDate() const { return fromDate; }
    QDate getToDate() const { return toDate; }
    // An invalid date is replaced by today.
    void setFromDate(const QDate &date);
    void setToDate(const QDate &date);

    // Global point at which the calendar opens for a button: just below it.
    QPoint datePopupPosition(const QWidget *button) const;

    QDate fromDate;
    QDate toDate;
    QMenu *datePopup = nullptr;
    DateBookMonth *monthPicker = nullptr;

public Q_SLOTS:
    void setFromDate(int year, int month, int day);
    void setToDate(int year, int month, int day);
    void pickFromDate();
    void pickToDate();
    void gotHideFromDate();
    void gotHideToDate();
    void accept() override;

private:
    void setupTimes();
    void setupDatePicker();
    // Opens the calendar on date below button, wired to the given slots.
    void openDatePicker(void (ReportParams1::*chosen)(int, int, int),
                        void (ReportParams1::*hidden)(), const QDate &date,
                        const QToolButton *button);
};
