// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "CategoryEdit.h"

#include "model/QuorvelDocument.h"
#include "widgets/MessageBox.h"

CategoryEdit::CategoryEdit(ActivityCategory *category, QuorvelDocument *doc, QWidget *parent)
    : CategoryEditBase(parent)
    , editedCategory(category)
    , document(doc)
{
    setWindowTitle(category ? tr("Quorvel - Edit Category") : tr("Quorvel - New Category"));
    setupCategory();
}

QString CategoryEdit::name() const
{
    return QuorvelDocument::cleanName(txtName->text());
}

void CategoryEdit::accept()
{
    const QString cleaned = name();
    const QString title = tr("Category Error");

    if (QuorvelDocument::isReservedName(cleaned)) {
        MessageBox::warning(this, title, tr("This name is not valid.\nPlease select another."));
        return;
    }
    if (cleaned.isEmpty()) {
        MessageBox::warning(this, title, tr("Category must have a name"));
        return;
    }
    // Withdrawn categories only live on for their old tasks, so their names are free again.
    for (const ActivityCategory *category : std::as_const(document->categories)) {
        if (category != editedCategory && !category->obsolete && category->name == cleaned) {
            MessageBox::warning(this, title, tr("Category name must be unique"));
            return;
        }
    }

    txtName->setText(cleaned);
    QDialog::accept();
}

void CategoryEdit::setupCategory()
{
    if (editedCategory)
        txtName->setText(editedCategory->name);
}
