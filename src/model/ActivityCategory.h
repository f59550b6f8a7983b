// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QObject>
#include <QString>

// A grouping of activities, for example a billing rate. Owned by the document.
class ActivityCategory : public QObject
{
    Q_OBJECT

public:
    ActivityCategory();
    ActivityCategory(int id, const QString &name, bool obsolete);
    ~ActivityCategory() override;

    // Ordered and compared by name with letter case ignored.
    bool operator<(const ActivityCategory &other) const;
    bool operator==(const ActivityCategory &other) const;

    int id = 0;
    QString name;
    // Withdrawn: kept only while some activity still refers to it.
    bool obsolete = false;
};
