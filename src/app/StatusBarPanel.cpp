// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "StatusBarPanel.h"

#include "QuorvelMainWindow.h"
#include "model/QuorvelDocument.h"
#include "platform/Clock.h"
#include "platform/TimeString.h"
#include "reports/ReportText.h"
#include "views/ElidedToolButton.h"
#include "views/MainWidget.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>

namespace {

// Between the parts, in pixels.
constexpr int Spacing = 12;

// Whole minutes from start to the end, none for a start after it.
int minutesBetween(const QDateTime &start, const QDateTime &end)
{
    if (!start.isValid() || !end.isValid() || end <= start)
        return 0;
    return int(start.secsTo(end) / 60);
}

QString hoursAndMinutes(int minutes)
{
    return ReportText::formatMinutes(minutes, false);
}

} // namespace

StatusBarPanel::StatusBarPanel(QuorvelMainWindow *window)
    : QWidget(window)
    , m_window(window)
{
    setObjectName(QStringLiteral("statusBarPanel"));
    m_layout = new QHBoxLayout(this);
    m_layout->setContentsMargins(0, 0, 0, 0);
    m_layout->setSpacing(Spacing);
    auto *layout = m_layout;
    m_selected = new QLabel(this);
    m_selected->setObjectName(QStringLiteral("selectedDuration"));
    m_selected->setToolTip(tr("The selected task's duration; a running task's up to now"));
    layout->addWidget(m_selected);
    m_today = new QLabel(this);
    m_today->setObjectName(QStringLiteral("todayTotal"));
    layout->addWidget(m_today);
    m_week = new QLabel(this);
    m_week->setObjectName(QStringLiteral("weekTotal"));
    layout->addWidget(m_week);
}

QString StatusBarPanel::todayText() const
{
    return m_today->text();
}

QString StatusBarPanel::weekText() const
{
    return m_week->text();
}

QString StatusBarPanel::selectedText() const
{
    return m_selected->text();
}

QString StatusBarPanel::todayToolTip() const
{
    return m_today->toolTip();
}

QString StatusBarPanel::weekToolTip() const
{
    return m_week->toolTip();
}

void StatusBarPanel::documentChanged()
{
    m_totals.invalidate();
    refresh();
}

void StatusBarPanel::selectionChanged()
{
    refreshSelected(Clock::currentTime(true));
}

void StatusBarPanel::tick()
{
    if (Clock::currentTime(false) != m_shownMinute)
        refresh();
}

QSize StatusBarPanel::sizeHint() const
{
    int width = 0;
    int height = 0;
    int parts = 0;
    for (const QWidget *part : findChildren<QWidget *>(QString(), Qt::FindDirectChildrenOnly)) {
        if (part->isHidden() && !part->property("fitHidden").toBool())
            continue;
        const QSize hint = part->sizeHint();
        width += hint.width();
        height = qMax(height, hint.height());
        ++parts;
    }
    return QSize(width + Spacing * qMax(0, parts - 1), height);
}

QSize StatusBarPanel::minimumSizeHint() const
{
    // Parts that find no room are left out (fitParts), so that none is cut short.
    return QSize(0, sizeHint().height());
}

void StatusBarPanel::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    fitParts();
}

void StatusBarPanel::fitParts()
{
    // The totals first, then the running tasks, then the selected task.
    QList<QList<QWidget *>> parts = {{m_today}, {m_week}};
    for (int i = 0; i < m_stops.size(); ++i)
        parts.append({m_stops.at(i), m_times.at(i)});
    parts.append({m_selected});
    int room = width();
    bool first = true;
    for (const QList<QWidget *> &part : std::as_const(parts)) {
        int need = 0;
        for (const QWidget *widget : part)
            need += widget->sizeHint().width() + (first ? 0 : Spacing);
        const bool fits = need <= room;
        if (fits) {
            room -= need;
            first = false;
        }
        for (QWidget *widget : part) {
            widget->setProperty("fitHidden", !fits);
            widget->setVisible(fits);
        }
    }
}

void StatusBarPanel::refresh()
{
    const QDateTime now = Clock::currentTime(true);
    m_shownMinute = Clock::currentTime(false);
    refreshRunning(now);
    refreshSelected(now);

    const Qt::DayOfWeek firstDay = QLocale().firstDayOfWeek();
    const RecentTotals::Totals totals = m_totals.totals(*m_window->document(), now, firstDay);
    m_today->setText(tr("Today: %1").arg(hoursAndMinutes(totals.today)));
    m_week->setText(tr("This week: %1").arg(hoursAndMinutes(totals.week)));
    const QString from = TimeString::shortDate(RecentTotals::weekStart(now.date(), firstDay));
    m_today->setToolTip(
        tr("Time recorded today, counted as in the period summary; running tasks count up to "
           "now"));
    m_week->setToolTip(tr("Time recorded since %1, counted as in the period summary; running "
                          "tasks count up to now")
                           .arg(from));
    updateGeometry();
    fitParts();
}

void StatusBarPanel::refreshRunning(const QDateTime &now)
{
    QList<const QVTask *> running;
    QList<int> ids;
    for (const QVTask *task : m_window->document()->tasks) {
        if (task->isRunning()) {
            running << task;
            ids << task->id;
        }
    }
    if (ids != m_runningIds) {
        // Made anew only when other tasks run; the one clicked goes once its click is over.
        QList<QWidget *> parts(m_stops.begin(), m_stops.end());
        parts.append(QList<QWidget *>(m_times.begin(), m_times.end()));
        for (QWidget *gone : std::as_const(parts)) {
            gone->setProperty("fitHidden", false);
            gone->hide();
            gone->deleteLater();
        }
        m_stops.clear();
        m_times.clear();
        m_runningIds = ids;
        for (int i = 0; i < ids.size(); ++i) {
            auto *stop = new ElidedToolButton(this);
            stop->setObjectName(QStringLiteral("stopRunning%1").arg(i + 1));
            const int id = ids.at(i);
            // The same stop as the panel icon's: the buttons' rules, once the window is free.
            connect(stop, &QToolButton::clicked, m_window,
                    [window = m_window, id] { window->stopRunningTask(id); });
            auto *time = new QLabel(this);
            time->setObjectName(QStringLiteral("runningTime%1").arg(i + 1));
            // Before the selected task's duration and the totals.
            m_layout->insertWidget(2 * i, stop);
            m_layout->insertWidget(2 * i + 1, time);
            m_stops << stop;
            m_times << time;
        }
    }
    for (int i = 0; i < running.size(); ++i) {
        const QVTask *task = running.at(i);
        QString name = task->activityName();
        m_stops.at(i)->setText(tr("Stop %1").arg(name.replace(QLatin1Char('&'), "&&")));
        m_stops.at(i)->setToolTip(
            tr("Stop %1, running since %2").arg(task->activityName(), task->startText));
        m_times.at(i)->setText(hoursAndMinutes(minutesBetween(task->start(), now)));
    }
}

void StatusBarPanel::refreshSelected(const QDateTime &now)
{
    const MainWidget *widget = m_window->mainWidget();
    const QVTask *task = widget ? widget->selectedTask : nullptr;
    if (!task || m_window->document()->tasks.findRef(task) < 0) {
        m_selected->clear();
        return;
    }
    const int minutes
        = task->isRunning() ? minutesBetween(task->start(), now) : qMax(0, task->duration());
    m_selected->setText(tr("Selected: %1").arg(hoursAndMinutes(minutes)));
}
