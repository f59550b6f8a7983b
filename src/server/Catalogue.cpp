// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "Catalogue.h"

#include "IdBlocks.h"
#include "ServerDatabase.h"

#include "model/QuorvelDocument.h"

#include <QSet>

#include <algorithm>

QString Catalogue::safeName(const QString &name)
{
    const QString usable = QuorvelDocument::catalogueName(name);
    if (!usable.isEmpty())
        return usable;
    const QString cleaned = QuorvelDocument::cleanName(name);
    if (cleaned.isEmpty())
        return QStringLiteral("(no name)");
    if (cleaned.size() > QuorvelDocument::MaxNameLength) {
        qsizetype keep = QuorvelDocument::MaxNameLength - 1;
        if (cleaned.at(keep - 1).isHighSurrogate())
            --keep;
        return cleaned.left(keep) + QChar(0x2026);
    }
    return cleaned + QStringLiteral(" (renamed)");
}

namespace {

// New names for a list of records, oldest first: each made safe, and the second and later
// of the records in use that share a name regardless of case numbered, with a number no
// other name in use has.
template<typename Record>
QHash<qint64, QString> repairedNames(QList<Record> records)
{
    std::sort(records.begin(), records.end(),
              [](const Record &a, const Record &b) { return a.id < b.id; });
    QSet<QString> taken;
    for (const Record &record : std::as_const(records)) {
        if (!record.retired)
            taken.insert(Catalogue::safeName(record.name).toCaseFolded());
    }
    QSet<QString> kept;
    QHash<qint64, QString> renamed;
    for (const Record &record : std::as_const(records)) {
        QString name = Catalogue::safeName(record.name);
        if (!record.retired && kept.contains(name.toCaseFolded())) {
            QString numbered;
            for (int n = 2;; ++n) {
                numbered = QStringLiteral("%1 (%2)").arg(name).arg(n);
                if (!taken.contains(numbered.toCaseFolded()))
                    break;
            }
            taken.insert(numbered.toCaseFolded());
            name = numbered;
        }
        if (!record.retired)
            kept.insert(name.toCaseFolded());
        if (name != record.name)
            renamed.insert(record.id, name);
    }
    return renamed;
}

} // namespace

bool Catalogue::repairNames(Sql &sql)
{
    Catalogue catalogue;
    if (!catalogue.load(sql))
        return false;
    const QHash<qint64, QString> categories = repairedNames(catalogue.categories);
    for (auto it = categories.constBegin(); it != categories.constEnd(); ++it) {
        if (!sql.exec(QStringLiteral("UPDATE categories SET name = ? WHERE id = ?"),
                      {it.value(), it.key()}))
            return false;
    }
    const QHash<qint64, QString> activities = repairedNames(catalogue.activities);
    for (auto it = activities.constBegin(); it != activities.constEnd(); ++it) {
        if (!sql.exec(QStringLiteral("UPDATE activities SET name = ? WHERE id = ?"),
                      {it.value(), it.key()}))
            return false;
    }
    return true;
}

bool Catalogue::load(Sql &sql)
{
    categories.clear();
    activities.clear();
    categoryIndex.clear();
    activityIndex.clear();
    QSqlQuery *query
        = sql.run(QStringLiteral("SELECT id, name, retired FROM categories ORDER BY name, id"));
    if (!query)
        return false;
    while (query->next()) {
        categoryIndex.insert(query->value(0).toLongLong(), int(categories.size()));
        categories.append({query->value(0).toLongLong(), query->value(1).toString(),
                           query->value(2).toInt() != 0});
    }
    Sql::done(query);
    query = sql.run(
        QStringLiteral("SELECT id, name, category_id, retired FROM activities ORDER BY name, id"));
    if (!query)
        return false;
    while (query->next()) {
        activityIndex.insert(query->value(0).toLongLong(), int(activities.size()));
        activities.append({query->value(0).toLongLong(), query->value(1).toString(),
                           query->value(2).isNull() ? 0 : query->value(2).toLongLong(),
                           query->value(3).toInt() != 0});
    }
    Sql::done(query);
    return true;
}

const Catalogue::Category *Catalogue::category(qint64 id) const
{
    const auto found = categoryIndex.constFind(id);
    return found == categoryIndex.constEnd() ? nullptr : &categories.at(found.value());
}

const Catalogue::Activity *Catalogue::activity(qint64 id) const
{
    const auto found = activityIndex.constFind(id);
    return found == activityIndex.constEnd() ? nullptr : &activities.at(found.value());
}

namespace {

// The record of that name, regardless of case: the one in use first (names in use differ in
// more than case), else a withdrawn one of the same spelling, else any withdrawn one.
template<typename Record, typename Match>
const Record *findNamed(const QList<Record> &records, const QString &name, bool alsoRetired,
                        Match &&matches)
{
    const Record *found = nullptr;
    for (const Record &record : records) {
        if (!QuorvelDocument::sameName(record.name, name) || (record.retired && !alsoRetired)
            || !matches(record))
            continue;
        if (!record.retired)
            return &record;
        if (!found || (record.name == name && found->name != name))
            found = &record;
    }
    return found;
}

} // namespace

const Catalogue::Category *Catalogue::categoryNamed(const QString &name, bool alsoRetired) const
{
    return findNamed(categories, name, alsoRetired, [](const Category &) { return true; });
}

const Catalogue::Activity *Catalogue::activityNamed(const QString &name, bool alsoRetired) const
{
    return findNamed(activities, name, alsoRetired, [](const Activity &) { return true; });
}

bool Catalogue::lock(Sql &sql)
{
    return sql.exec(
        QStringLiteral("UPDATE counters SET value = value WHERE name = 'catalogue_next'"));
}

qint64 Catalogue::addCategory(Sql &sql, IdBlocks &ids, const QString &name, bool retired,
                              const QString &now)
{
    qint64 id = 0;
    if (!ids.allocateId(&id)
        || !sql.exec(QStringLiteral("INSERT INTO categories (id, name, retired, created_at) "
                                    "VALUES (?, ?, ?, ?)"),
                     {id, name, retired ? 1 : 0, now}))
        return 0;
    return id;
}

qint64 Catalogue::addActivity(Sql &sql, IdBlocks &ids, const QString &name, qint64 categoryId,
                              bool retired, const QString &now)
{
    qint64 id = 0;
    if (!ids.allocateId(&id)
        || !sql.exec(QStringLiteral("INSERT INTO activities (id, name, category_id, retired, "
                                    "created_at) VALUES (?, ?, ?, ?, ?)"),
                     {id, name, Sql::idOrNull(categoryId), retired ? 1 : 0, now}))
        return 0;
    return id;
}

const Catalogue::Activity *Catalogue::activityIn(const QString &name,
                                                 const QString &categoryName) const
{
    return findNamed(activities, name, true, [&](const Activity &activity) {
        const Category *in = category(activity.categoryId);
        return in ? QuorvelDocument::sameName(in->name, categoryName) : categoryName.isEmpty();
    });
}
