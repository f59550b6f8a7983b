// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "ActivityListBase.h"

#include <QList>

class Activity;
class ChangeChannel;
class QuorvelDocument;
class QStandardItemModel;
class QVTable;

// The screen that lists, creates, renames and withdraws activities. Withdrawing never removes
// tasks: the activity is only marked obsolete. Run with exec(); Escape or closing ends it.
class ActivityList : public ActivityListBase
{
    Q_OBJECT

public:
    explicit ActivityList(QuorvelDocument *document, QWidget *parent = nullptr);

    // Refills the table from the document's active activities, keeping selectedActivity
    // selected when it is still listed and selecting the last row otherwise.
    void updateView();
    void updateEnabled();

    QuorvelDocument *document = nullptr;
    // Where each change is made, for Edit → Undo; without one, changes are made directly.
    ChangeChannel *changes = nullptr;
    // The activity of the current row, or null.
    Activity *selectedActivity = nullptr;
    QVTable *table = nullptr;
    // The activities of the table, in row order; the activities are not owned.
    QList<Activity *> shownActivities;

public Q_SLOTS:
    void newActivity();
    void editActivity();
    void deleteActivity();
    void cellChanged(int row, int column);

private:
    void setupList();

    QStandardItemModel *m_model = nullptr;
};
