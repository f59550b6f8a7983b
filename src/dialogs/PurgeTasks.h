// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "PurgeTasksBase.h"

#include <QDateTime>
#include <QPoint>

#include <functional>

class DateBookMonth;
class QMenu;

// Asks for the moment before which completed tasks are purged: now, or a date and time.
// It refuses nothing; the caller reads getDateTime() after exec(). With a counter, a line
// under the date and time says how many tasks the moment chosen removes, as it changes.
class PurgeTasks : public PurgeTasksBase
{
    Q_OBJECT

public:
    explicit PurgeTasks(QWidget *parent = nullptr);

    QDateTime getDateTime() const { return purgeDateTime; }
    void setDateTime(const QDateTime &dt);
    // How many finished tasks a purge up to a moment removes; shown in lblCount from now on.
    void setCounter(const std::function<int(const QDateTime &)> &counter);

    // Global point at which the month calendar opens: below btnDate, by half its height.
    QPoint datePopupPosition() const;

    QDateTime purgeDateTime;
    QMenu *datePopup = nullptr;
    DateBookMonth *monthPicker = nullptr;

public Q_SLOTS:
    void pickDate();
    void setDate(int year, int month, int day);
    void gotHideDate();
    void specifiedStateChanged(int state);
    void hourChanged(int value);
    void minuteChanged(int value);
    void pmChanged(int state);
    void accept() override;

private:
    void setupTimes();
    void setupDatePicker();
    // The moment "Now" or the date and time stand for, counted again when it changed.
    void updateCount();

    std::function<int(const QDateTime &)> m_counter;
    QDateTime m_counted;
};
