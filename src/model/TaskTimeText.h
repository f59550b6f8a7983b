#pragma once

#include <QDateTime>
#include <QHash>
#include <QString>

#include <array>

// The display text of a task's start or stop: "<short date> <time>", the time in twelve-hour
// form when the settings say so at the moment the text is made.
//
// Reading the settings and formatting a date costs microseconds, which adds up when a data
// file with 100 000 tasks is read. While a Batch is alive the twelve-hour choice is read once
// and the texts of each day and each minute are formatted once.
class TaskTimeText
{
public:
    static QString text(const QDateTime &when);

    class Batch
    {
    public:
        Batch();
        ~Batch();
        Batch(const Batch &) = delete;
        Batch &operator=(const Batch &) = delete;

    private:
        friend class TaskTimeText;
        QString textOf(const QDate &date, const QTime &time);

        Batch *m_outer;
        bool m_twelveHour;
        QHash<qint64, QString> m_dates;
        qint64 m_lastDay = 0;
        QString m_lastDayText;
        std::array<QString, 24 * 60> m_times;
    };

private:
    static Batch *s_current;
};
