// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "TaskEdit.h"

#include "ActivityEdit.h"
#include "TimeFields.h"
#include "app/ChangeChannel.h"
#include "model/QuorvelDocument.h"
#include "model/TaskCommands.h"
#include "platform/Clock.h"
#include "platform/TimeString.h"
#include "views/BalloonTip.h"
#include "widgets/DateBookMonth.h"
#include "widgets/MessageBox.h"
#include "widgets/Resource.h"

#include <QButtonGroup>
#include <QCalendarWidget>
#include <QMenu>
#include <QSignalBlocker>

namespace {

// Radio and check boxes report on/off; the slots take the check state as an integer.
int checkState(bool checked)
{
    return checked ? int(Qt::Checked) : int(Qt::Unchecked);
}

// The hour of the day that a twelve-hour spin value and PM box stand for.
int hourOfDay(int spinValue, bool pm)
{
    if (pm)
        return spinValue == 12 ? 12 : spinValue + 12;
    return spinValue == 12 ? 0 : spinValue;
}

QDateTime withTime(const QDateTime &old, int hour, int minute)
{
    return QDateTime(old.date(), QTime(hour, minute, 0));
}

// Tab enters a group of radio buttons at its chosen button, and the arrow keys choose within
// it. Qt moves the tab stop only once a button of the group has had the focus.
void tabStopAtChecked(const QButtonGroup *group)
{
    if (!group->checkedButton())
        return;
    const QList<QAbstractButton *> buttons = group->buttons();
    for (QAbstractButton *button : buttons) {
        const int policy = button->isChecked() ? button->focusPolicy() | Qt::TabFocus
                                               : button->focusPolicy() & ~Qt::TabFocus;
        button->setFocusPolicy(Qt::FocusPolicy(policy));
    }
}

} // namespace

TaskEdit::TaskEdit(QVTask *task, QuorvelDocument *document, QWidget *parent)
    : TaskEditBase(parent)
    , editedTask(task)
    , m_document(document)
{
    setupTask();
    tabStopAtChecked(buttonGroupStart);
    tabStopAtChecked(buttonGroupStop);
    setupActivities();
    setupDatePicker();
    setupBalloonTip();

    for (QSpinBox *spin : {spinStartHour, spinStartMinute, spinStopHour, spinStopMinute})
        TimeFields::typeOver(spin);

    connect(btnStartDate, &QToolButton::pressed, this, &TaskEdit::pickStartDate);
    connect(btnStopDate, &QToolButton::pressed, this, &TaskEdit::pickStopDate);
    connect(comboActivity, &QComboBox::activated, this, &TaskEdit::activityActivated);
    connect(spinStartHour, &QSpinBox::valueChanged, this, &TaskEdit::startHourChanged);
    connect(spinStartMinute, &QSpinBox::valueChanged, this, &TaskEdit::startMinuteChanged);
    connect(spinStopHour, &QSpinBox::valueChanged, this, &TaskEdit::stopHourChanged);
    connect(spinStopMinute, &QSpinBox::valueChanged, this, &TaskEdit::stopMinuteChanged);
    connect(radStartSpecified, &QRadioButton::toggled, this,
            [this](bool checked) { startSpecifiedStateChanged(checkState(checked)); });
    connect(radStopSpecified, &QRadioButton::toggled, this,
            [this](bool checked) { stopSpecifiedStateChanged(checkState(checked)); });
    connect(chkPMStart, &QCheckBox::toggled, this,
            [this](bool checked) { startPMChanged(checkState(checked)); });
    connect(chkPMStop, &QCheckBox::toggled, this,
            [this](bool checked) { stopPMChanged(checkState(checked)); });
    connect(btnActivity, &QToolButton::clicked, this, &TaskEdit::maintainActivities);
}

TaskEdit::~TaskEdit()
{
    // Only the list: the activities belong to the document.
    comboActivities.clear();
}

bool TaskEdit::twelveHourClock() const
{
    return m_document->configuration.twelveHourClock();
}

void TaskEdit::setupTask()
{
    currentTime = Clock::currentTime(false);

    if (!editedTask) {
        setupTimes();
        return;
    }

    setStartDateTime(editedTask->start());
    setStopDateTime(editedTask->stop());
    radStartSpecified->setChecked(true);
    startSpecifiedStateChanged(int(Qt::Checked));
    const QDateTime stop = editedTask->stop();
    // A running task has no stop: its stop choice stays "stop later".
    if (stop.date().isValid() && stop.time().isValid()) {
        radStopSpecified->setChecked(true);
        stopSpecifiedStateChanged(int(Qt::Checked));
    }
    selectedActivity = editedTask->activity;
}

void TaskEdit::setupTimes()
{
    setStartDateTime(currentTime);
    setStopDateTime(currentTime);
}

void TaskEdit::showDateTime(const QDateTime &given, QToolButton *dateButton, QSpinBox *hourSpin,
                            QSpinBox *minuteSpin, QCheckBox *pmBox, QDateTime *target)
{
    const QDateTime dt = given.date().isValid() && given.time().isValid() ? given : currentTime;
    const int hour = dt.time().hour();
    const int minute = dt.time().minute();

    dateButton->setText(TimeString::shortDate(dt.date()));

    if (!twelveHourClock()) {
        pmBox->hide();
        TimeFields::setPrefix(hourSpin, TimeFields::twoDigitPrefix(hour));
        hourSpin->setValue(hour);
        hourSpin->setRange(0, 23);
    } else {
        pmBox->show();
        // Set before the hour, so the hour slot that setValue fires sees the right half day.
        pmBox->setChecked(hour >= 12);
        TimeFields::setPrefix(hourSpin, QString());
        hourSpin->setValue(hour % 12 == 0 ? 12 : hour % 12);
        hourSpin->setRange(1, 12);
    }

    TimeFields::setPrefix(minuteSpin, TimeFields::twoDigitPrefix(minute));
    minuteSpin->setValue(minute);

    *target = dt;
}

void TaskEdit::setStartDateTime(const QDateTime &dt)
{
    showDateTime(dt, btnStartDate, spinStartHour, spinStartMinute, chkPMStart, &startDateTime);
}

void TaskEdit::setStopDateTime(const QDateTime &dt)
{
    showDateTime(dt, btnStopDate, spinStopHour, spinStopMinute, chkPMStop, &stopDateTime);
}

void TaskEdit::hourChanged(int value, QSpinBox *hourSpin, const QCheckBox *pmBox, QDateTime *target)
{
    int hour = value;
    if (twelveHourClock()) {
        hour = hourOfDay(value, pmBox->isChecked());
    } else {
        TimeFields::setPrefix(hourSpin, TimeFields::twoDigitPrefix(value));
    }
    *target = withTime(*target, hour, target->time().minute());
}

void TaskEdit::minuteChanged(int value, QSpinBox *minuteSpin, QDateTime *target)
{
    *target = withTime(*target, target->time().hour(), value);
    TimeFields::setPrefix(minuteSpin, TimeFields::twoDigitPrefix(value));
}

void TaskEdit::pmChanged(int state, const QSpinBox *hourSpin, QDateTime *target)
{
    if (!twelveHourClock())
        return;
    const int hour = hourOfDay(hourSpin->value(), state != int(Qt::Unchecked));
    *target = withTime(*target, hour, target->time().minute());
}

void TaskEdit::startHourChanged(int value)
{
    hourChanged(value, spinStartHour, chkPMStart, &startDateTime);
}

void TaskEdit::startMinuteChanged(int value)
{
    minuteChanged(value, spinStartMinute, &startDateTime);
}

void TaskEdit::stopHourChanged(int value)
{
    hourChanged(value, spinStopHour, chkPMStop, &stopDateTime);
}

void TaskEdit::stopMinuteChanged(int value)
{
    minuteChanged(value, spinStopMinute, &stopDateTime);
}

void TaskEdit::startPMChanged(int state)
{
    pmChanged(state, spinStartHour, &startDateTime);
}

void TaskEdit::stopPMChanged(int state)
{
    pmChanged(state, spinStopHour, &stopDateTime);
}

void TaskEdit::startSpecifiedStateChanged(int state)
{
    const bool on = state != int(Qt::Unchecked);
    btnStartDate->setEnabled(on);
    spinStartHour->setEnabled(on);
    spinStartMinute->setEnabled(on);
    chkPMStart->setEnabled(on);
}

void TaskEdit::stopSpecifiedStateChanged(int state)
{
    const bool on = state != int(Qt::Unchecked);
    btnStopDate->setEnabled(on);
    spinStopHour->setEnabled(on);
    spinStopMinute->setEnabled(on);
    chkPMStop->setEnabled(on);
}

void TaskEdit::setupDatePicker()
{
    monthPicker = DateBookMonth::createInPopup(this);
    datePopup = monthPicker->popup();
}

void TaskEdit::openDatePicker(void (TaskEdit::*chosen)(int, int, int), void (TaskEdit::*hidden)(),
                              const QDate &date, const QWidget *over)
{
    // Both date buttons share the calendar: drop whatever the previous opening connected.
    disconnect(monthPicker, &DateBookMonth::dateClicked, this, nullptr);
    disconnect(datePopup, &QMenu::aboutToHide, this, nullptr);
    connect(monthPicker, &DateBookMonth::dateClicked, this, chosen);
    connect(datePopup, &QMenu::aboutToHide, this, hidden);
    monthPicker->setDate(date);
    datePopup->popup(over->mapToGlobal(QPoint(0, 0)));
    // The days are chosen with the arrow keys and Return too.
    monthPicker->calendar()->setFocus();
}

void TaskEdit::pickStartDate()
{
    // Over the stop group, below the start group that was pressed.
    openDatePicker(&TaskEdit::setStartDate, &TaskEdit::gotHideStartDate, startDateTime.date(),
                   groupStopTime);
}

void TaskEdit::pickStopDate()
{
    openDatePicker(&TaskEdit::setStopDate, &TaskEdit::gotHideStopDate, stopDateTime.date(),
                   groupActivity);
}

void TaskEdit::setStartDate(int year, int month, int day)
{
    startDateTime = QDateTime(QDate(year, month, day), startDateTime.time());
    btnStartDate->setText(TimeString::shortDate(startDateTime.date()));
}

void TaskEdit::setStopDate(int year, int month, int day)
{
    stopDateTime = QDateTime(QDate(year, month, day), stopDateTime.time());
    btnStopDate->setText(TimeString::shortDate(stopDateTime.date()));
}

void TaskEdit::gotHideStartDate()
{
    // The popup took the release of the press that opened it.
    btnStartDate->setDown(false);
}

void TaskEdit::gotHideStopDate()
{
    btnStopDate->setDown(false);
}

void TaskEdit::setupActivities()
{
    if (m_document->configuration.mode() == Configuration::Group)
        btnActivity->hide(); // activities come from the server
    else if (m_document->getNumActiveCategories() == 0)
        btnActivity->setEnabled(false); // a new activity needs a category

    const QSignalBlocker blocker(comboActivity);
    comboActivities.clear();
    comboActivity->clear();

    bool selectedListed = false;
    for (Activity *activity : std::as_const(m_document->activities)) {
        // A task booked to a withdrawn activity keeps showing it.
        if (activity->obsolete && activity != selectedActivity)
            continue;
        comboActivities.append(activity);
        if (activity->obsolete)
            comboActivity->addName(activity->name, Resource::loadIcon(QStringLiteral("trash")));
        else
            comboActivity->addName(activity->name);
        if (activity == selectedActivity) {
            comboActivity->setCurrentIndex(int(comboActivities.size()) - 1);
            selectedListed = true;
        }
    }

    if (!selectedListed) {
        selectedActivity = comboActivities.isEmpty() ? nullptr : comboActivities.first();
        comboActivity->setCurrentIndex(0);
    }
    comboActivity->updateToolTip();
}

void TaskEdit::activityActivated(int index)
{
    selectedActivity
        = index >= 0 && index < comboActivities.size() ? comboActivities.at(index) : nullptr;
}

void TaskEdit::maintainActivities()
{
    ActivityEdit activityEdit(nullptr, m_document, this);
    activityEdit.changes = changes;
    activityEdit.setWindowTitle(tr("Quorvel - New Activity"));
    if (activityEdit.exec() != QDialog::Accepted)
        return;

    // The document owns the activity from here on, even if this dialog is cancelled: a change
    // of its own.
    {
        ChangeScope change(changes);
        change.setText(TaskMessages::recordChange(TaskMessages::Record::Activity,
                                                  TaskMessages::Change::New, activityEdit.name()));
        selectedActivity
            = m_document->addActivity(activityEdit.name(), activityEdit.selectedCategory);
    }
    setupActivities();
}

void TaskEdit::setupBalloonTip()
{
    BalloonTip::showTip(this, tr("Select an activity, then press OK.\nThis will start a new task."),
                        QPoint(20, 60), 5, 1, 1, QStringLiteral("quorvelqpe"),
                        QStringLiteral("BalloonTips"), QStringLiteral("newTask"));
}

void TaskEdit::accept()
{
    currentTime = Clock::currentTime(false);

    const QDateTime start = radStartNow->isChecked() ? currentTime : startDateTime;
    QDateTime stop;
    if (radStopNow->isChecked())
        stop = currentTime;
    else if (radStopLater->isChecked())
        stop = start.addSecs(60); // a running task is checked as if it lasted one minute
    else
        stop = stopDateTime;

    const int result = m_document->validateTask(start, stop, currentTime, editedTask);
    const QString title = tr("Time Validation Error");
    switch (result) {
    case QuorvelDocument::StopBeforeStart:
        MessageBox::warning(this, title,
                            tr("The stop time you have selected\nis before the start time"));
        return;
    case QuorvelDocument::ZeroDuration:
        MessageBox::warning(this, title, tr("Tasks of zero duration are not\nvalid"));
        return;
    case QuorvelDocument::Overlaps:
        MessageBox::warning(this, title,
                            tr("This task is not valid as entered\nas it overlaps with an "
                               "existing\ntask, and concurrent tasks are\nprohibited"));
        return;
    default:
        QDialog::accept();
    }
}
