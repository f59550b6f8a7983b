// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "CategoryListBase.h"

#include <QList>

class ActivityCategory;
class ChangeChannel;
class QuorvelDocument;
class QStandardItemModel;
class QVTable;

// The screen that lists, creates, renames and withdraws categories. Withdrawing a category
// withdraws its activities; nothing is removed from the document. Run with exec(); Escape
// or closing ends it.
class CategoryList : public CategoryListBase
{
    Q_OBJECT

public:
    // document is not owned and must not be null.
    explicit CategoryList(QuorvelDocument *document, QWidget *parent = nullptr);

    QuorvelDocument *document = nullptr;
    // Where each change is made, for Edit → Undo; without one, changes are made directly.
    ChangeChannel *changes = nullptr;
    // The category of the current row; null when no row is current.
    ActivityCategory *selectedCategory = nullptr;
    // Object name "tblCategoryList"; a child of this widget.
    QVTable *table = nullptr;
    // The categories shown, in row order (not owned).
    QList<ActivityCategory *> shownCategories;

public Q_SLOTS:
    void newCategory();
    void editCategory();
    void deleteCategory();
    void cellChanged(int row, int column);

private:
    void setupList();
    void updateView();
    void updateEnabled();

    QStandardItemModel *m_model = nullptr;
};
