// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "MainWidget.h"

#include "FilterBar.h"
#include "QVTable.h"
#include "TaskFilterProxy.h"
#include "TaskTableModel.h"
#include "model/QuorvelDocument.h"
#include "model/TaskTimeText.h"
#include "platform/Clock.h"
#include "platform/Logging.h"
#include "platform/TimeString.h"

#include <QDebug>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QLabel>
#include <QSignalBlocker>
#include <QToolButton>

#include <array>
#include <utility>

MainWidget::MainWidget(QuorvelDocument *document, QWidget *parent)
    : MainWidgetBase(parent)
    , m_document(document)
{
    selectedTask = nullptr;
    shortcutTask1 = nullptr;
    shortcutTask2 = nullptr;
    shortcutTask3 = nullptr;
    initTable();
    connect(table, qOverload<int, int>(&QVTable::currentChanged), this,
            &MainWidget::tableCellChanged);
}

void MainWidget::initTable()
{
    m_model = new TaskTableModel(m_document, this);
    table = new QVTable(this);
    table->setObjectName(QStringLiteral("tblTaskList"));
    // Tab leaves the table for the shortcut buttons; the arrow keys move within it. The window
    // opens on the table, so that a Space typed at once starts no task.
    table->setTabKeyNavigation(false);
    table->setFocus();
    m_filterBar = new FilterBar(this);
    m_filterBar->hide();
    tableLayout->addWidget(m_filterBar);
    tableLayout->addWidget(table);
    m_filter = new TaskFilterProxy(m_model, this);
    m_filter->setActive(false);
    connect(m_filterBar, &FilterBar::changed, this, &MainWidget::applyFilter);
    connect(m_filterBar, &FilterBar::closeRequested, this, &MainWidget::closeFilterBar);

    const QSignalBlocker blocker(table);
    table->setModel(m_model);
    QHeaderView *header = table->horizontalHeader();
    header->setHighlightSections(false);
    // The activity column takes whatever room is left.
    header->setStretchLastSection(true);
    setColumnWidths();
}

void MainWidget::setColumnWidths()
{
    // 100 pixels suit a handheld's small font; on a desktop the time columns grow to hold a
    // whole date and time in the table's font.
    const QString widest = TimeString::shortDate(QDate(2088, 12, 28)) + QStringLiteral(" 88:88 PM");
    const int timeWidth = qMax(100, table->fontMetrics().horizontalAdvance(widest) + 16);
    QHeaderView *header = table->horizontalHeader();
    header->resizeSection(TaskTableModel::StartColumn, timeWidth);
    header->resizeSection(TaskTableModel::StopColumn, timeWidth);
    if (m_model->durationShown()) {
        // The activity takes the room left; the duration needs only its few digits.
        header->setStretchLastSection(false);
        header->setSectionResizeMode(TaskTableModel::ActivityColumn, QHeaderView::Stretch);
        const QString longest = tr("Duration") + QStringLiteral("  ");
        header->resizeSection(
            TaskTableModel::DurationColumn,
            qMax(table->fontMetrics().horizontalAdvance(QStringLiteral("8888:88")),
                 header->fontMetrics().horizontalAdvance(longest))
                + 16);
    } else {
        header->setSectionResizeMode(TaskTableModel::ActivityColumn, QHeaderView::Interactive);
        header->setStretchLastSection(true);
        header->resizeSection(TaskTableModel::ActivityColumn, 200);
    }
}

void MainWidget::setDurationShown(bool shown)
{
    m_model->setDurationShown(shown);
    if (shown)
        m_model->setNow(Clock::currentTime(true));
    setColumnWidths();
}

bool MainWidget::durationShown() const
{
    return m_model->durationShown();
}

QVTask *MainWidget::taskAtViewRow(int row) const
{
    return m_filtering ? m_filter->taskAt(row) : m_model->taskAt(row);
}

QModelIndex MainWidget::viewIndex(int taskRow, int column) const
{
    const QModelIndex index = m_model->index(taskRow, column);
    return m_filtering ? m_filter->mapFromSource(index) : index;
}

QVTask *MainWidget::neighbourShown(const QVTask *task) const
{
    const qsizetype taskRow = m_document->tasks.findRef(task);
    if (taskRow < 0)
        return nullptr;
    const int row = viewIndex(int(taskRow), 0).row();
    if (row < 0)
        return nullptr;
    if (row + 1 < table->model()->rowCount())
        return taskAtViewRow(row + 1);
    return taskAtViewRow(row - 1);
}

void MainWidget::showModel(bool filtered)
{
    // The view leaves the old selection model to its owner, which is us.
    QItemSelectionModel *old = table->selectionModel();
    table->setModel(filtered ? static_cast<QAbstractItemModel *>(m_filter) : m_model);
    delete old;
    setColumnWidths();
}

void MainWidget::showFilterBar()
{
    if (!m_filtering) {
        {
            const QSignalBlocker blocker(table);
            m_filtering = true;
            m_filter->setActive(true);
            const QDate today = Clock::now().date();
            m_filter->setText(m_filterBar->text());
            m_filter->setPeriod(m_filterBar->from(today), m_filterBar->to(today));
            m_filterDay = today;
            showModel(true);
            m_filterBar->show();
            setSelectedTask(-1);
        }
        Q_EMIT filteringChanged(true);
        Q_EMIT taskChanged();
    }
    m_filterBar->focusText();
}

void MainWidget::closeFilterBar()
{
    if (!m_filtering)
        return;
    {
        const QSignalBlocker blocker(table);
        m_filtering = false;
        m_filterBar->hide();
        m_filterBar->clear();
        showModel(false);
        m_filter->setActive(false);
        setSelectedTask(-1);
    }
    table->setFocus();
    Q_EMIT filteringChanged(false);
    Q_EMIT taskChanged();
}

void MainWidget::applyFilter()
{
    if (!m_filtering)
        return;
    {
        const QSignalBlocker blocker(table);
        const QDate today = Clock::now().date();
        m_filter->setText(m_filterBar->text());
        m_filter->setPeriod(m_filterBar->from(today), m_filterBar->to(today));
        m_filterDay = today;
        setSelectedTask(-1);
    }
    Q_EMIT taskChanged();
}

void MainWidget::update()
{
    const int column = table->currentIndex().column();
    {
        const QSignalBlocker tableBlocker(table);
        table->setPaintingEnabled(false);
        {
            // Setting the buttons' state below must not start or stop tasks.
            const QSignalBlocker blocker1(btnTask1);
            const QSignalBlocker blocker2(btnTask2);
            const QSignalBlocker blocker3(btnTask3);

            shortcutTask1 = nullptr;
            shortcutTask2 = nullptr;
            shortcutTask3 = nullptr;
            // The model reads the list itself, so the table costs the same for any number of
            // tasks; only the buttons are set from the rows.
            m_model->reset();
            const SortedList<QVTask> &tasks = m_document->tasks;
            for (int i = 0; i < tasks.size(); ++i)
                populateTableRow(tasks.at(i), i);
            setColumnWidths();

            setSelectedTask(column);
            blankUnusedButtons();
        }
        table->setPaintingEnabled(true);
    }
    Q_EMIT taskChanged();
}

void MainWidget::updateRow(QVTask *task)
{
    const qsizetype index = m_document->tasks.findRef(task);
    if (index < 0) {
        update();
        return;
    }
    m_model->rowChanged(int(index));
    populateTableRow(task, int(index));
}

void MainWidget::populateTableRow(QVTask *task, int row)
{
    // The row's texts come from the model; what is left is the task's shortcut button.
    Q_UNUSED(row);
    switch (task->shortcut) {
    case 1:
        setButton(btnTask1, &shortcutTask1, task);
        break;
    case 2:
        setButton(btnTask2, &shortcutTask2, task);
        break;
    case 3:
        setButton(btnTask3, &shortcutTask3, task);
        break;
    default:
        break;
    }
}

void MainWidget::setButton(QToolButton *button, QVTask **slot, QVTask *task)
{
    const QString name = task->activityName();
    if (button->text() != name)
        button->setText(name);
    if (!button->isEnabled())
        button->setEnabled(true);
    const bool running = task->isRunning();
    if (button->isChecked() != running)
        button->setChecked(running);
    *slot = task;
}

void MainWidget::blankUnusedButtons()
{
    const std::array<std::pair<QToolButton *, const QVTask *>, 3> buttons
        = {{{btnTask1, shortcutTask1}, {btnTask2, shortcutTask2}, {btnTask3, shortcutTask3}}};
    for (const auto &[button, task] : buttons) {
        if (task)
            continue;
        button->setText(QString());
        button->setEnabled(false);
        button->setChecked(false);
    }
}

void MainWidget::setSelectedTask(int column)
{
    if (column == -1)
        column = table->currentIndex().column();
    if (column < 0)
        column = 0;

    const QAbstractItemModel *shown = table->model();
    column = qMin(column, shown->columnCount() - 1);

    const SortedList<QVTask> &tasks = m_document->tasks;
    const qsizetype row = tasks.findRef(selectedTask);
    if (selectedTask && row >= 0) {
        const QModelIndex index = viewIndex(int(row), column);
        if (index.isValid()) {
            table->scrollTo(index);
            table->setCurrentIndex(index);
            return;
        }
    }
    // The selected task is gone or not shown (or there never was one): fall back on the
    // newest task shown.
    if (shown->rowCount() == 0) {
        selectedTask = nullptr;
        return;
    }
    const int last = shown->rowCount() - 1;
    const QModelIndex index = shown->index(last, column);
    table->scrollTo(index);
    table->setCurrentIndex(index);
    selectedTask = taskAtViewRow(last);
}

QToolButton *MainWidget::button(int slot) const
{
    switch (slot) {
    case 1:
        return btnTask1;
    case 2:
        return btnTask2;
    case 3:
        return btnTask3;
    default:
        return nullptr;
    }
}

QLabel *MainWidget::statusLabel(int slot) const
{
    switch (slot) {
    case 1:
        return lblTaskStatus1;
    case 2:
        return lblTaskStatus2;
    case 3:
        return lblTaskStatus3;
    default:
        return nullptr;
    }
}

QString MainWidget::runningTimeText(const QDateTime &start, const QDateTime &now)
{
    if (!start.isValid() || !now.isValid())
        return QString();
    // The separator blinks: a colon on odd seconds, a blank on even ones.
    return TaskTimeText::runningTime(start, now, start.secsTo(now) % 2 ? ":" : " ");
}

void MainWidget::tableCellChanged(int row, int column)
{
    if (row < 0 || column < 0) {
        qCDebug(windowLog, "row=%d col=%d", row, column);
        selectedTask = nullptr;
        return;
    }
    selectedTask = taskAtViewRow(row);
    Q_EMIT taskChanged();
}

void MainWidget::updateShortcutTimers()
{
    const QDateTime now = Clock::currentTime(true);
    m_model->setNow(now);
    // A bar left open over midnight moves its Today, This Week and This Month along.
    if (m_filtering && now.date() != m_filterDay)
        applyFilter();
    updateShortcutTimer(shortcutTask1, now, lblTaskStatus1);
    updateShortcutTimer(shortcutTask2, now, lblTaskStatus2);
    updateShortcutTimer(shortcutTask3, now, lblTaskStatus3);
}

void MainWidget::updateShortcutTimer(const QVTask *task, const QDateTime &now, QLabel *label)
{
    if (!task || !task->isRunning()) {
        label->setText(QString());
        return;
    }
    label->setText(runningTimeText(task->start(), now));
}
