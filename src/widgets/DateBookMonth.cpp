// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "DateBookMonth.h"

#include <QCalendarWidget>
#include <QMenu>
#include <QVBoxLayout>
#include <QWidgetAction>

DateBookMonth::DateBookMonth(QWidget *parent)
    : QWidget(parent)
    , m_calendar(new QCalendarWidget(this))
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_calendar);
    m_calendar->setVerticalHeaderFormat(QCalendarWidget::NoVerticalHeader);

    // A click chooses the day; Return or a double click (activated) chooses it as well.
    const auto choose = [this](QDate chosen) {
        if (chosen.isValid())
            Q_EMIT dateClicked(chosen.year(), chosen.month(), chosen.day());
    };
    connect(m_calendar, &QCalendarWidget::clicked, this, choose);
    connect(m_calendar, &QCalendarWidget::activated, this, choose);
}

void DateBookMonth::setDate(const QDate &date)
{
    m_calendar->setSelectedDate(date);
    m_calendar->setCurrentPage(date.year(), date.month());
}

QDate DateBookMonth::date() const
{
    return m_calendar->selectedDate();
}

DateBookMonth *DateBookMonth::createInPopup(QWidget *owner)
{
    auto *menu = new QMenu(owner);
    auto *view = new DateBookMonth(menu);
    auto *action = new QWidgetAction(menu);
    action->setDefaultWidget(view);
    menu->addAction(action);
    connect(view, &DateBookMonth::dateClicked, menu, &QMenu::hide);
    return view;
}

QMenu *DateBookMonth::popup() const
{
    return qobject_cast<QMenu *>(parentWidget());
}
