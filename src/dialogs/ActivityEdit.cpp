// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ActivityEdit.h"

#include "CategoryEdit.h"
#include "app/ChangeChannel.h"
#include "model/QuorvelDocument.h"
#include "model/TaskCommands.h"
#include "widgets/MessageBox.h"
#include "widgets/Resource.h"

#include <QSignalBlocker>

ActivityEdit::ActivityEdit(Activity *activity, QuorvelDocument *doc, QWidget *parent)
    : ActivityEditBase(parent)
    , editedActivity(activity)
    , document(doc)
{
    setWindowTitle(activity ? tr("Quorvel - Edit Activity") : tr("Quorvel - New Activity"));
    setupActivity();
    setupCategories();
    connect(comboCategory, &QComboBox::activated, this, &ActivityEdit::categoryActivated);
    connect(btnCategory, &QToolButton::clicked, this, &ActivityEdit::maintainCategories);
}

QString ActivityEdit::name() const
{
    return QuorvelDocument::cleanName(txtName->text());
}

void ActivityEdit::setupActivity()
{
    if (!editedActivity)
        return;
    txtName->setText(editedActivity->name);
    selectedCategory = editedActivity->category;
}

void ActivityEdit::setupCategories()
{
    // Categories come from the server in group mode.
    btnCategory->setHidden(document->configuration.mode() == Configuration::Group);

    const QSignalBlocker blocker(comboCategory);
    comboCategories.clear();
    comboCategory->clear();

    bool selectedListed = false;
    for (ActivityCategory *category : std::as_const(document->categories)) {
        // An activity already booked to a withdrawn category keeps showing it.
        if (category->obsolete && category != selectedCategory)
            continue;
        comboCategories.append(category);
        if (category->obsolete)
            comboCategory->addName(category->name, Resource::loadIcon(QStringLiteral("trash")));
        else
            comboCategory->addName(category->name);
        if (category == selectedCategory) {
            comboCategory->setCurrentIndex(int(comboCategories.size()) - 1);
            selectedListed = true;
        }
    }

    if (!selectedListed) {
        selectedCategory = comboCategories.isEmpty() ? nullptr : comboCategories.first();
        comboCategory->setCurrentIndex(0);
    }
    comboCategory->updateToolTip();
}

void ActivityEdit::categoryActivated(int index)
{
    selectedCategory
        = index >= 0 && index < comboCategories.size() ? comboCategories.at(index) : nullptr;
}

void ActivityEdit::maintainCategories()
{
    CategoryEdit categoryEdit(nullptr, document, this);
    categoryEdit.setWindowTitle(tr("Quorvel - New Category"));
    if (categoryEdit.exec() != QDialog::Accepted)
        return;

    // The document owns the category from here on, whatever becomes of this dialog: a change
    // of its own.
    {
        ChangeScope change(changes);
        change.setText(TaskMessages::recordChange(TaskMessages::Record::Category,
                                                  TaskMessages::Change::New, categoryEdit.name()));
        selectedCategory = document->addCategory(categoryEdit.name());
    }
    setupCategories();
}

void ActivityEdit::accept()
{
    const QString cleaned = name();
    const QString title = tr("Activity Error");

    if (QuorvelDocument::isReservedName(cleaned)) {
        MessageBox::warning(this, title, tr("This name is not valid.\nPlease select another."));
        return;
    }
    if (!selectedCategory) {
        MessageBox::warning(this, title, tr("Activity must have a category"));
        return;
    }
    if (cleaned.isEmpty()) {
        MessageBox::warning(this, title, tr("Activity must have a name"));
        return;
    }
    for (const Activity *activity : std::as_const(document->activities)) {
        if (activity != editedActivity && !activity->obsolete && activity->name == cleaned) {
            MessageBox::warning(this, title, tr("Activity name must be unique"));
            return;
        }
    }

    txtName->setText(cleaned);
    QDialog::accept();
}
