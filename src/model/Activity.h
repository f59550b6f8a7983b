// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QObject>
#include <QString>

class ActivityCategory;

// A thing that time is spent on, in one category. Owned by the document.
class Activity : public QObject
{
    Q_OBJECT

public:
    Activity();
    Activity(int id, const QString &name, ActivityCategory *category, bool obsolete);
    ~Activity() override;

    // Ordered and compared by name with letter case ignored.
    bool operator<(const Activity &other) const;
    bool operator==(const Activity &other) const;

    int id = 0;
    QString name;
    // Not owned; null when a data file named a category that does not exist.
    ActivityCategory *category = nullptr;
    // Withdrawn: kept only while tasks still refer to it.
    bool obsolete = false;
};
