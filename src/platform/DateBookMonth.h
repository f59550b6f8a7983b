#pragma once

#include <QDate>
#include <QWidget>

class QCalendarWidget;

// A month calendar: shown with a date, it reports the day the user picks as
// dateClicked(year, month, day). The task editor and the purge dialog show it inside a
// pop-up menu (QWidgetAction), whose closing they watch.
class DateBookMonth : public QWidget
{
    Q_OBJECT

public:
    explicit DateBookMonth(QWidget *parent = nullptr);

    void setDate(const QDate &date);
    QDate date() const;
    QCalendarWidget *calendar() const { return m_calendar; }

Q_SIGNALS:
    void dateClicked(int year, int month, int day);

private:
    QCalendarWidget *m_calendar = nullptr;
};
