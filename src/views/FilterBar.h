// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QDate>
#include <QWidget>

class QComboBox;
class QDateEdit;
class QLineEdit;
class QToolButton;

// The bar above the task table that View → Find… opens: a text to find in the activities and
// categories, and a period. It only says what to show; the table's filter does the rest.
class FilterBar : public QWidget
{
    Q_OBJECT

public:
    // The choices of the period box, in their order.
    enum Period { All = 0, Today, ThisWeek, ThisMonth, Range };

    explicit FilterBar(QWidget *parent = nullptr);

    QString text() const;
    Period period() const;
    // The first and last day of the period chosen, as of today; null dates for All.
    QDate from(const QDate &today) const;
    QDate to(const QDate &today) const;

    // Puts the typing cursor in the text, all of it selected.
    void focusText();
    // Back to every task: no text, all periods.
    void clear();

    QLineEdit *textField() const { return m_text; }
    QComboBox *periodBox() const { return m_period; }
    QDateEdit *fromEdit() const { return m_fromEdit; }
    QDateEdit *toEdit() const { return m_toEdit; }

Q_SIGNALS:
    // The text or the period changed.
    void changed();
    // The close button was pressed.
    void closeRequested();

private:
    void periodChosen();

    QLineEdit *m_text;
    QComboBox *m_period;
    QDateEdit *m_fromEdit;
    QDateEdit *m_toEdit;
    QToolButton *m_close;
};
