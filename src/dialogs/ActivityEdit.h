// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "ActivityEditBase.h"

#include <QList>

class Activity;
class ActivityCategory;
class ChangeChannel;
class QuorvelDocument;

// Edits one activity's name and category (a new activity when activity is null). It never
// writes the activity: after exec() the caller reads name() and selectedCategory. "Add New
// Category" does add the category to the document at once.
class ActivityEdit : public ActivityEditBase
{
    Q_OBJECT

public:
    ActivityEdit(Activity *activity, QuorvelDocument *document, QWidget *parent = nullptr);

    // The name as accepted: cleaned for the data file (QuorvelDocument::cleanName).
    QString name() const;

    // Refills comboCategory from the document, keeping selectedCategory when it is listed.
    void setupCategories();

    Activity *editedActivity = nullptr;
    ActivityCategory *selectedCategory = nullptr;
    QuorvelDocument *document = nullptr;
    // Where "Add New Category" makes its change, for Edit → Undo; may be null.
    ChangeChannel *changes = nullptr;
    // The categories of comboCategory, in combo order; the categories are not owned.
    QList<ActivityCategory *> comboCategories;

public Q_SLOTS:
    void accept() override;
    void categoryActivated(int index);
    void maintainCategories();

private:
    void setupActivity();
};
