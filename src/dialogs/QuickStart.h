// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "QuickStartBase.h"

#include <QList>

class Activity;
class QuorvelDocument;

// Task → Start…: the activities still in use, narrowed down as the person types, for starting
// one without the task editor. A name matches when it begins with the typed text or has a word
// that does, regardless of case; names that begin with it come first. Enter starts the
// highlighted one (the caller starts it), Up and Down move through the list while typing.
class QuickStart : public QuickStartBase
{
    Q_OBJECT

public:
    QuickStart(const QuorvelDocument &doc, QWidget *parent);

    // The activity highlighted, or null when none matches.
    Activity *chosenActivity() const;
    // The names listed now, in order.
    QStringList shownNames() const;

    // 2 when name begins with typed, 1 when one of its later words does, 0 otherwise; both
    // regardless of case, typed without blanks at its ends ("" matches every name as a start).
    static int match(const QString &name, const QString &typed);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void filter();

    QList<Activity *> m_activities;
};
