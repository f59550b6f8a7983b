// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "TaskEditBase.h"

#include <QDateTime>
#include <QList>

class Activity;
class ChangeChannel;
class DateBookMonth;
class QCheckBox;
class QMenu;
class QSpinBox;
class QToolButton;
class QuorvelDocument;
class QVTask;

// Creates or edits one task (a new one when task is null): its activity, its start and its
// stop, or that it runs on. It never changes the task: after exec() the caller reads the radio
// buttons, currentTime, getStartDateTime(), getStopDateTime() and selectedActivity. "Add New
// Activity" adds the activity to the document at once.
class TaskEdit : public TaskEditBase
{
    Q_OBJECT

public:
    TaskEdit(QVTask *task, QuorvelDocument *document, QWidget *parent = nullptr);
    ~TaskEdit() override;

    QDateTime getStartDateTime() const { return startDateTime; }
    QDateTime getStopDateTime() const { return stopDateTime; }
    QuorvelDocument *document() const { return m_document; }

    QDateTime currentTime;
    Activity *selectedActivity = nullptr;
    QVTask *editedTask = nullptr;
    QDateTime startDateTime;
    QDateTime stopDateTime;
    QMenu *datePopup = nullptr;
    DateBookMonth *monthPicker = nullptr;
    QList<Activity *> comboActivities;
    // Where "Add New Activity" makes its change, for Edit → Undo; may be null.
    ChangeChannel *changes = nullptr;

public Q_SLOTS:
    void pickStartDate();
    void pickStopDate();
    void setStartDate(int year, int month, int day);
    void setStopDate(int year, int month, int day);
    void gotHideStartDate();
    void gotHideStopDate();
    void activityActivated(int index);
    void startHourChanged(int value);
    void startMinuteChanged(int value);
    void stopHourChanged(int value);
    void stopMinuteChanged(int value);
    void startSpecifiedStateChanged(int state);
    void stopSpecifiedStateChanged(int state);
    void startPMChanged(int state);
    void stopPMChanged(int state);
    void maintainActivities();
    void accept() override;

public:
    void setupTask();
    void setupTimes();
    void setupActivities();
    void setupDatePicker();
    void setupBalloonTip();
    void setStartDateTime(const QDateTime &dt);
    void setStopDateTime(const QDateTime &dt);

private:
    bool twelveHourClock() const;
    // The start and stop widgets behave alike; these do the work for either set.
    void showDateTime(const QDateTime &given, QToolButton *dateButton, QSpinBox *hourSpin,
                      QSpinBox *minuteSpin, QCheckBox *pmBox, QDateTime *target);
    void hourChanged(int value, QSpinBox *hourSpin, const QCheckBox *pmBox, QDateTime *target);
    void minuteChanged(int value, QSpinBox *minuteSpin, QDateTime *target);
    void pmChanged(int state, const QSpinBox *hourSpin, QDateTime *target);
    void openDatePicker(void (TaskEdit::*chosen)(int, int, int), void (TaskEdit::*hidden)(),
                        const QDate &date, const QWidget *over);

    QuorvelDocument *m_document;
};
