// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "FilterBar.h"

#include "platform/Clock.h"

#include <QComboBox>
#include <QDateEdit>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QSignalBlocker>
#include <QToolButton>

#include <algorithm>

FilterBar::FilterBar(QWidget *parent)
    : QWidget(parent)
    , m_text(new QLineEdit(this))
    , m_period(new QComboBox(this))
    , m_fromEdit(new QDateEdit(this))
    , m_toEdit(new QDateEdit(this))
    , m_close(new QToolButton(this))
{
    setObjectName(QStringLiteral("filterBar"));
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);

    auto *findLabel = new QLabel(tr("Find:"), this);
    findLabel->setBuddy(m_text);
    m_text->setObjectName(QStringLiteral("filterText"));
    m_text->setPlaceholderText(tr("Activity or category"));
    m_text->setClearButtonEnabled(true);

    m_period->setObjectName(QStringLiteral("filterPeriod"));
    m_period->addItems(
        {tr("All"), tr("Today"), tr("This Week"), tr("This Month"), tr("Chosen Days")});

    const QDate today = Clock::now().date();
    for (QDateEdit *edit : {m_fromEdit, m_toEdit}) {
        edit->setCalendarPopup(true);
        edit->setDate(today);
        edit->setVisible(false);
    }
    m_fromEdit->setObjectName(QStringLiteral("filterFrom"));
    m_toEdit->setObjectName(QStringLiteral("filterTo"));
    m_fromEdit->setToolTip(tr("First day"));
    m_toEdit->setToolTip(tr("Last day"));

    m_close->setObjectName(QStringLiteral("filterClose"));
    m_close->setAutoRaise(true);
    m_close->setIcon(QIcon::fromTheme(QStringLiteral("window-close")));
    m_close->setText(QStringLiteral("×"));
    m_close->setToolTip(tr("Close the find bar and show every task"));

    layout->addWidget(findLabel);
    layout->addWidget(m_text, 1);
    layout->addWidget(m_period);
    layout->addWidget(m_fromEdit);
    layout->addWidget(m_toEdit);
    layout->addWidget(m_close);

    connect(m_text, &QLineEdit::textChanged, this, &FilterBar::changed);
    connect(m_period, qOverload<int>(&QComboBox::currentIndexChanged), this,
            &FilterBar::periodChosen);
    connect(m_fromEdit, &QDateEdit::dateChanged, this, &FilterBar::changed);
    connect(m_toEdit, &QDateEdit::dateChanged, this, &FilterBar::changed);
    connect(m_close, &QToolButton::clicked, this, &FilterBar::closeRequested);
}

QString FilterBar::text() const
{
    return m_text->text();
}

FilterBar::Period FilterBar::period() const
{
    return Period(m_period->currentIndex());
}

QDate FilterBar::from(const QDate &today) const
{
    switch (period()) {
    case Today:
        return today;
    case ThisWeek: {
        // The week begins on the day the person's locale begins it.
        const int first = int(QLocale().firstDayOfWeek());
        return today.addDays(-((today.dayOfWeek() - first + 7) % 7));
    }
    case ThisMonth:
        return QDate(today.year(), today.month(), 1);
    case Range:
        return std::min(m_fromEdit->date(), m_toEdit->date());
    case All:
    default:
        return QDate();
    }
}

QDate FilterBar::to(const QDate &today) const
{
    switch (period()) {
    case Today:
        return today;
    case ThisWeek:
        return from(today).addDays(6);
    case ThisMonth:
        return QDate(today.year(), today.month(), today.daysInMonth());
    case Range:
        return std::max(m_fromEdit->date(), m_toEdit->date());
    case All:
    default:
        return QDate();
    }
}

void FilterBar::focusText()
{
    m_text->setFocus(Qt::ShortcutFocusReason);
    m_text->selectAll();
}

void FilterBar::clear()
{
    const QSignalBlocker textBlocker(m_text);
    const QSignalBlocker periodBlocker(m_period);
    m_text->clear();
    m_period->setCurrentIndex(All);
    m_fromEdit->setVisible(false);
    m_toEdit->setVisible(false);
}

void FilterBar::periodChosen()
{
    const bool range = period() == Range;
    m_fromEdit->setVisible(range);
    m_toEdit->setVisible(range);
    Q_EMIT changed();
}
