// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "CategoryList.h"

#include "CategoryEdit.h"
#include "app/ChangeChannel.h"
#include "model/QuorvelDocument.h"
#include "model/TaskCommands.h"
#include "views/QVTable.h"
#include "widgets/MessageBox.h"

#include <QHeaderView>
#include <QSignalBlocker>
#include <QStandardItemModel>

namespace {

constexpr int nameColumnWidth = 226;

} // namespace

CategoryList::CategoryList(QuorvelDocument *doc, QWidget *parent)
    : CategoryListBase(parent)
    , document(doc)
{
    setupList();
    updateView();

    connect(table, qOverload<int, int>(&QVTable::currentChanged), this, &CategoryList::cellChanged);
    connect(btnNew, &QToolButton::clicked, this, &CategoryList::newCategory);
    connect(btnEdit, &QToolButton::clicked, this, &CategoryList::editCategory);
    connect(btnDelete, &QToolButton::clicked, this, &CategoryList::deleteCategory);
    connect(table, &QVTable::ok, this, &CategoryList::editCategory);

    // The list is what the window is for: the arrow keys choose, Space edits.
    table->setFocus();

    resize(sizeHint().expandedTo(QSize(360, 400)));
}

void CategoryList::newCategory()
{
    CategoryEdit dialog(nullptr, document, this);
    if (dialog.exec() != QDialog::Accepted)
        return;

    {
        ChangeScope change(changes);
        change.setText(TaskMessages::recordChange(TaskMessages::Record::Category,
                                                  TaskMessages::Change::New, dialog.name()));
        selectedCategory = document->addCategory(dialog.name());
    }
    updateView();
}

void CategoryList::editCategory()
{
    if (!selectedCategory)
        return;

    CategoryEdit dialog(selectedCategory, document, this);
    if (dialog.exec() != QDialog::Accepted)
        return;

    {
        ChangeScope change(changes);
        change.setText(TaskMessages::recordChange(TaskMessages::Record::Category,
                                                  TaskMessages::Change::Edit, dialog.name()));
        selectedCategory->name = dialog.name();
        document->categories.sort();
    }
    updateView();
}

void CategoryList::deleteCategory()
{
    if (!selectedCategory)
        return;

    // Obsolete activities count too: their tasks still name this category in the reports.
    QList<Activity *> affectedActivities;
    QList<QVTask *> affectedTasks;
    for (Activity *activity : std::as_const(document->activities)) {
        if (activity->category != selectedCategory)
            continue;
        affectedActivities.append(activity);
        for (QVTask *task : std::as_const(document->tasks)) {
            if (task->activity == activity)
                affectedTasks.append(task);
        }
    }

    QString question;
    if (!affectedTasks.isEmpty()) {
        question = tr("There are %1 task(s) and %2\nactivities using this category.\nDeleting "
                      "the category will\nautomatically delete all the\nassociated "
                      "activities.\n\nProceed?")
                       .arg(affectedTasks.size())
                       .arg(affectedActivities.size());
    } else if (!affectedActivities.isEmpty()) {
        question = tr("There are %1 activities(s) using\nthis category. Deleting the\ncategory "
                      "will automatically delete\nall the associated activities(s).\n\nProceed?")
                       .arg(affectedActivities.size());
    } else {
        question = tr("Are you sure you want to delete\n%1?").arg(selectedCategory->name);
    }
    // A running task goes on; the person learns that it leaves the buttons.
    if (!MessageBox::ask(this, tr("Delete Category"), question,
                         TaskMessages::keepRunningWithoutButton(
                             QuorvelDocument::runningActivities(affectedTasks, false))))
        return;

    {
        ChangeScope change(changes);
        change.setText(TaskMessages::recordChange(
            TaskMessages::Record::Category, TaskMessages::Change::Delete, selectedCategory->name));
        change.addNote(TaskMessages::runningWithoutButtonNote(
            QuorvelDocument::runningActivities(affectedTasks, true), ChangeChannel::undoKey()));
        // The tasks stay, booked as before, but a withdrawn activity has no shortcut button.
        for (QVTask *task : std::as_const(affectedTasks))
            task->shortcut = 0;
        for (Activity *activity : std::as_const(affectedActivities))
            activity->obsolete = true;
        selectedCategory->obsolete = true;
        selectedCategory = nullptr;
    }
    updateView();
}

void CategoryList::cellChanged(int row, int column)
{
    if (row >= 0 && column >= 0)
        selectedCategory = shownCategories.value(row, nullptr);
    else
        selectedCategory = nullptr;
    updateEnabled();
}

void CategoryList::setupList()
{
    m_model = new QStandardItemModel(0, 0, this);
    table = new QVTable(this);
    table->setObjectName(QStringLiteral("tblCategoryList"));

    const QSignalBlocker blocker(table);
    table->setModel(m_model);
    table->verticalHeader()->hide();
    // Tab leaves the list for the buttons; the arrow keys move between its cells.
    table->setTabKeyNavigation(false);
    m_model->setColumnCount(1);
    m_model->setHorizontalHeaderLabels({tr("Category")});
    table->horizontalHeader()->setStretchLastSection(true);
    tableLayout->addWidget(table);
}

void CategoryList::updateView()
{
    shownCategories.clear();

    // Rebuilding moves the current cell about; the selection is settled below, so none of
    // those moves may reach cellChanged.
    const QSignalBlocker blocker(table);
    table->setPaintingEnabled(false);
    m_model->setRowCount(0);
    m_model->setRowCount(document->getNumActiveCategories());

    int row = 0;
    for (ActivityCategory *category : std::as_const(document->categories)) {
        if (category->obsolete)
            continue;
        shownCategories.append(category);
        auto *item = new QStandardItem(category->name);
        item->setFlags(Qt::ItemIsSelectable | Qt::ItemIsEnabled);
        m_model->setItem(row++, 0, item);
    }
    table->setColumnWidth(0, nameColumnWidth);

    const qsizetype selectedRow = selectedCategory ? shownCategories.indexOf(selectedCategory) : -1;
    if (selectedRow >= 0) {
        const QModelIndex current = m_model->index(int(selectedRow), 0);
        table->setCurrentIndex(current);
        table->scrollTo(current);
    } else if (!shownCategories.isEmpty()) {
        const QModelIndex current = m_model->index(int(shownCategories.size() - 1), 0);
        table->setCurrentIndex(current);
        table->scrollTo(current);
        selectedCategory = shownCategories.last();
    } else {
        selectedCategory = nullptr;
    }

    updateEnabled();
    table->setPaintingEnabled(true);
}

void CategoryList::updateEnabled()
{
    const bool selected = selectedCategory != nullptr;
    btnNew->setEnabled(true);
    btnEdit->setEnabled(selected);
    btnDelete->setEnabled(selected);
}
