// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QHash>
#include <QList>
#include <QString>

class IdBlocks;
class Sql;

// The team's categories and activities as the server keeps them. Their ids come from the
// catalogue's own blocks of ids (IdBlocks).
struct Catalogue
{
    struct Category
    {
        qint64 id = 0;
        QString name;
        bool retired = false;
    };
    struct Activity
    {
        qint64 id = 0;
        QString name;
        qint64 categoryId = 0; // 0: none
        bool retired = false;
    };

    QList<Category> categories;
    QList<Activity> activities;
    QHash<qint64, int> categoryIndex; // id -> position in categories
    QHash<qint64, int> activityIndex; // id -> position in activities

    // A name from a device or an old database as the catalogue can hold it: cleaned as the
    // program cleans names; one that cannot be a name at all becomes "(no name)" when blank,
    // its first characters and "…" when too long, or the marker followed by " (renamed)".
    static QString safeName(const QString &name);

    // Gives every record a name the catalogue can hold (safeName), and every second record in
    // use whose name differs from an older one's in case only a number: "Coding (2)". For a
    // database from before every name was checked; false when the database fails.
    static bool repairNames(Sql &sql);

    // Reads the whole catalogue, categories and activities ordered by name.
    bool load(Sql &sql);
    const Category *category(qint64 id) const;
    const Activity *activity(qint64 id) const;
    // The category or activity of that name, regardless of case (QuorvelDocument::sameName);
    // withdrawn ones only when asked for, and then the one in use first, else one of the same
    // spelling.
    const Category *categoryNamed(const QString &name, bool alsoRetired) const;
    const Activity *activityNamed(const QString &name, bool alsoRetired) const;
    // The same for an activity in a category of that name (empty: in none), withdrawn or not.
    const Activity *activityIn(const QString &name, const QString &categoryName) const;

    // Holds the catalogue's counter until the transaction ends, so that two exchanges adding
    // the same record one after the other see each other's.
    static bool lock(Sql &sql);

    // Adds a record with a new id; returns its id or 0.
    static qint64 addCategory(Sql &sql, IdBlocks &ids, const QString &name, bool retired,
                              const QString &now);
    static qint64 addActivity(Sql &sql, IdBlocks &ids, const QString &name, qint64 categoryId,
                              bool retired, const QString &now);
};
