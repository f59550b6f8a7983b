// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "CategoryEditBase.h"

class ActivityCategory;
class QuorvelDocument;

// Edits one category's name (a new one when category is null). It never writes the category:
// after exec() the caller reads name() and stores it.
class CategoryEdit : public CategoryEditBase
{
    Q_OBJECT

public:
    // document is not owned and must not be null; it is read for the names already taken.
    CategoryEdit(ActivityCategory *category, QuorvelDocument *document, QWidget *parent = nullptr);

    // The name as accepted: cleaned for the data file (QuorvelDocument::cleanName).
    QString name() const;

    ActivityCategory *editedCategory = nullptr;
    QuorvelDocument *document = nullptr;

public Q_SLOTS:
    void accept() override;

private:
    void setupCategory();
};
