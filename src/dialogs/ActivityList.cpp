// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ActivityList.h"

#include "ActivityEdit.h"
#include "app/ChangeChannel.h"
#include "model/QuorvelDocument.h"
#include "model/TaskCommands.h"
#include "views/QVTable.h"
#include "widgets/MessageBox.h"

#include <QHeaderView>
#include <QSignalBlocker>
#include <QStandardItemModel>

namespace {

constexpr int activityColumn = 0;
constexpr int categoryColumn = 1;

QStandardItem *readOnlyItem(const QString &text)
{
    auto *item = new QStandardItem(text);
    item->setEditable(false);
    return item;
}

} // namespace

ActivityList::ActivityList(QuorvelDocument *doc, QWidget *parent)
    : ActivityListBase(parent)
    , document(doc)
{
    setupList();
    updateView();

    connect(table, qOverload<int, int>(&QVTable::currentChanged), this, &ActivityList::cellChanged);
    connect(btnNew, &QToolButton::clicked, this, &ActivityList::newActivity);
    connect(btnEdit, &QToolButton::clicked, this, &ActivityList::editActivity);
    connect(btnDelete, &QToolButton::clicked, this, &ActivityList::deleteActivity);
    connect(table, &QVTable::ok, this, &ActivityList::editActivity);

    // The list is what the window is for: the arrow keys choose, Space edits.
    table->setFocus();
}

void ActivityList::setupList()
{
    table = new QVTable(this);
    table->setObjectName(QStringLiteral("tblActivityList"));
    m_model = new QStandardItemModel(0, 2, table);
    m_model->setHorizontalHeaderLabels({tr("Activity"), tr("Category")});

    const QSignalBlocker blocker(table);
    table->setModel(m_model);
    table->verticalHeader()->hide();
    // Tab leaves the list for the buttons; the arrow keys move between its cells.
    table->setTabKeyNavigation(false);
    // The activity's name is what the list is for: it takes the room the category leaves.
    QHeaderView *header = table->horizontalHeader();
    header->setStretchLastSection(false);
    header->setSectionResizeMode(activityColumn, QHeaderView::Stretch);
    header->setSectionResizeMode(categoryColumn, QHeaderView::Interactive);
    // Room for a category name of some length; the person may change it.
    table->setColumnWidth(categoryColumn, qMax(76, table->fontMetrics().averageCharWidth() * 24));
    tableLayout->addWidget(table);
}

void ActivityList::updateView()
{
    shownActivities.clear();
    const QModelIndex current = table->currentIndex();
    const int column = current.isValid() ? current.column() : activityColumn;

    const QSignalBlocker blocker(table);
    table->setPaintingEnabled(false);
    m_model->setRowCount(0);

    for (Activity *activity : std::as_const(document->activities)) {
        if (activity->obsolete)
            continue;
        shownActivities.append(activity);
        // A damaged data file can leave an activity without a category.
        const QString categoryName = activity->category ? activity->category->name : QString();
        m_model->appendRow({readOnlyItem(activity->name), readOnlyItem(categoryName)});
    }

    qsizetype row = shownActivities.indexOf(selectedActivity);
    if (row < 0 && !shownActivities.isEmpty()) {
        row = shownActivities.size() - 1;
        selectedActivity = shownActivities.last();
    } else if (row < 0) {
        selectedActivity = nullptr;
    }
    if (row >= 0) {
        const QModelIndex index = m_model->index(int(row), column);
        table->setCurrentIndex(index);
        table->scrollTo(index);
    }

    updateEnabled();
    table->setPaintingEnabled(true);
}

void ActivityList::cellChanged(int row, int column)
{
    if (row >= 0 && column >= 0 && row < shownActivities.size())
        selectedActivity = shownActivities.at(row);
    else
        selectedActivity = nullptr;
    updateEnabled();
}

void ActivityList::updateEnabled()
{
    // A new activity needs a category to belong to.
    btnNew->setEnabled(document->getNumActiveCategories() != 0);
    btnEdit->setEnabled(selectedActivity != nullptr);
    btnDelete->setEnabled(selectedActivity != nullptr);
}

void ActivityList::newActivity()
{
    ActivityEdit dialog(nullptr, document, this);
    dialog.changes = changes;
    dialog.setWindowTitle(tr("Quorvel - New Activity"));
    if (dialog.exec() != QDialog::Accepted)
        return;

    {
        ChangeScope change(changes);
        change.setText(TaskMessages::recordChange(TaskMessages::Record::Activity,
                                                  TaskMessages::Change::New, dialog.name()));
        selectedActivity = document->addActivity(dialog.name(), dialog.selectedCategory);
    }
    updateView();
}

void ActivityList::editActivity()
{
    if (!selectedActivity)
        return;

    ActivityEdit dialog(selectedActivity, document, this);
    dialog.changes = changes;
    dialog.setWindowTitle(tr("Quorvel - Edit Activity"));
    if (dialog.exec() != QDialog::Accepted)
        return;

    {
        ChangeScope change(changes);
        change.setText(TaskMessages::recordChange(TaskMessages::Record::Activity,
                                                  TaskMessages::Change::Edit, dialog.name()));
        selectedActivity->name = dialog.name();
        selectedActivity->category = dialog.selectedCategory;
        document->activities.sort();
    }
    updateView();
}

void ActivityList::deleteActivity()
{
    if (!selectedActivity)
        return;

    QList<QVTask *> booked;
    for (QVTask *task : std::as_const(document->tasks)) {
        if (task->activity == selectedActivity)
            booked.append(task);
    }

    const QString text
        = booked.isEmpty()
              ? tr("Are you sure you want to delete\n%1?").arg(selectedActivity->name)
              : tr("There are %1 task(s) using\nthis activity. Are you sure\nyou want to "
                   "delete\n%2?")
                    .arg(QString::number(booked.size()), selectedActivity->name);
    // A running task goes on; the person learns that it leaves the buttons.
    if (!MessageBox::ask(this, tr("Delete Activity"), text,
                         TaskMessages::keepRunningWithoutButton(
                             QuorvelDocument::runningActivities(booked, false))))
        return;

    {
        ChangeScope change(changes);
        change.setText(TaskMessages::recordChange(
            TaskMessages::Record::Activity, TaskMessages::Change::Delete, selectedActivity->name));
        change.addNote(TaskMessages::runningWithoutButtonNote(
            QuorvelDocument::runningActivities(booked, true), ChangeChannel::undoKey()));
        // Only withdrawn: the tasks keep their activity and times, but leave the shortcut
        // buttons.
        selectedActivity->obsolete = true;
        for (QVTask *task : std::as_const(booked))
            task->shortcut = 0;
        selectedActivity = nullptr;
    }
    updateView();
}
