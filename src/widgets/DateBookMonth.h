// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QDate>
#include <QWidget>

class QCalendarWidget;
class QMenu;

// A month calendar: shown with a date, it reports the day the user picks as
// dateClicked(year, month, day). The task editor and the purge dialog show it inside a
// pop-up menu (QWidgetAction), whose closing they watch.
class DateBookMonth : public QWidget
{
    Q_OBJECT

public:
    explicit DateBookMonth(QWidget *parent = nullptr);

    // A month view as the only item of a new pop-up menu, a child of owner, that closes as
    // soon as a day is chosen (a menu closes by itself only for actions, not for a click in a
    // widget of its own).
    static DateBookMonth *createInPopup(QWidget *owner);
    // The pop-up menu the view sits in; null for a view that is not in one.
    QMenu *popup() const;

    void setDate(const QDate &date);
    QDate date() const;
    QCalendarWidget *calendar() const { return m_calendar; }

Q_SIGNALS:
    void dateClicked(int year, int month, int day);

private:
    QCalendarWidget *m_calendar = nullptr;
};
