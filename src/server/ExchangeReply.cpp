// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ExchangeSession.h"

namespace ExchangeParts {

bool Session::buildReply()
{
    // What the device holds of the catalogue, by id, at the positions it counts.
    QHash<qint64, int> heldCategories;
    for (int i = int(m_request.categories.size()) - 1; i >= 0; --i)
        heldCategories.insert(m_request.categories.at(size_t(i)).id, i);
    QHash<qint64, int> heldActivities;
    for (int i = int(m_request.activities.size()) - 1; i >= 0; --i)
        heldActivities.insert(m_request.activities.at(size_t(i)).id, i);

    // The member's tasks the device does not list, oldest first.
    std::vector<std::pair<int, StoredTask>> tasks;
    for (auto it = m_stored.constBegin(); it != m_stored.constEnd(); ++it) {
        // A task without an activity or a start (from a damaged file) would only confuse
        // another device; it stays on the server.
        if (!it->retired && it->activityId != 0 && it->start != 0 && !m_listed.contains(it.key())
            && m_catalogue.activity(it->activityId))
            tasks.emplace_back(it.key(), it.value());
    }
    std::sort(tasks.begin(), tasks.end(), [](const auto &a, const auto &b) {
        return a.second.start != b.second.start ? a.second.start < b.second.start
                                                : a.first < b.first;
    });

    // The activities the device lacks: the team's active ones, and withdrawn ones that a
    // task sent needs. Then the categories those and the team's active ones need.
    QList<const Catalogue::Activity *> activities;
    QSet<qint64> activitySent;
    for (const Catalogue::Activity &activity : std::as_const(m_catalogue.activities)) {
        if (!activity.retired && !heldActivities.contains(activity.id)) {
            activities.append(&activity);
            activitySent.insert(activity.id);
        }
    }
    for (const auto &[id, task] : tasks) {
        if (!heldActivities.contains(task.activityId) && !activitySent.contains(task.activityId)) {
            activities.append(m_catalogue.activity(task.activityId));
            activitySent.insert(task.activityId);
        }
    }
    QList<const Catalogue::Category *> categories;
    QSet<qint64> categorySent;
    for (const Catalogue::Category &category : std::as_const(m_catalogue.categories)) {
        if (!category.retired && !heldCategories.contains(category.id)) {
            categories.append(&category);
            categorySent.insert(category.id);
        }
    }
    for (const Catalogue::Activity *activity : std::as_const(activities)) {
        const Catalogue::Category *category = m_catalogue.category(activity->categoryId);
        if (category && !heldCategories.contains(category->id)
            && !categorySent.contains(category->id)) {
            categories.append(category);
            categorySent.insert(category->id);
        }
    }

    const int deviceCategories = int(m_request.categories.size());
    const int deviceActivities = int(m_request.activities.size());
    QHash<qint64, int> categoryPosition = heldCategories;
    QHash<qint64, int> activityPosition = heldActivities;

    DocumentFormat::Writer out(256 + tasks.size() * 80 + activities.size() * 64);
    out.begin(m_replyNextId);
    out.count(categories.size());
    for (int i = 0; i < categories.size(); ++i) {
        const Catalogue::Category *category = categories.at(i);
        categoryPosition.insert(category->id, deviceCategories + i);
        out.category(int(category->id), category->name, category->retired);
        if (!category->retired)
            m_newCategories.append(category->name);
    }
    out.count(activities.size());
    for (int i = 0; i < activities.size(); ++i) {
        const Catalogue::Activity *activity = activities.at(i);
        activityPosition.insert(activity->id, deviceActivities + i);
        out.activity(int(activity->id), activity->name, activity->retired,
                     activity->categoryId ? categoryPosition.value(activity->categoryId, -1) : -1);
        if (!activity->retired)
            m_newActivities.append(activity->name);
    }
    out.count(qsizetype(tasks.size()));
    for (const auto &[id, task] : tasks) {
        DocumentFormat::TaskRecord record;
        record.id = id;
        record.activityPosition = activityPosition.value(task.activityId, -1);
        // No slot: the device's own tasks hold its buttons.
        record.shortcut = 0;
        record.start = StoredTime::unpack(task.start, false);
        record.stop = StoredTime::unpack(task.stop, false);
        record.stamp = StoredTime::unpack(task.stamp, true);
        record.synchronised = true;
        out.task(record);
        see(id, false, task.fingerprint);
    }
    // The server has taken the deleted ids.
    out.end({});
    m_reply = out.bytes();
    m_sent = int(tasks.size());
    m_recordsOut = int(categories.size() + activities.size()) + m_sent;
    return true;
}

void Session::noticeCatalogueChanges()
{
    const auto categoryNameAt = [&](int position) -> const DocumentFormat::CategoryRecord * {
        return position >= 0 && position < int(m_request.categories.size())
                   ? &m_request.categories.at(size_t(position))
                   : nullptr;
    };
    for (const DocumentFormat::CategoryRecord &held : m_request.categories) {
        const Catalogue::Category *category = m_catalogue.category(held.id);
        if (!category)
            continue;
        if (category->name != held.name)
            m_notices.append(tr("The category %1 is now called %2.")
                                 .arg(quoted(held.name), quoted(category->name)));
        if (category->retired && !held.obsolete)
            m_notices.append(tr("The category %1 has been withdrawn.").arg(quoted(category->name)));
    }
    for (const DocumentFormat::ActivityRecord &held : m_request.activities) {
        const Catalogue::Activity *activity = m_catalogue.activity(held.id);
        if (!activity)
            continue;
        if (activity->name != held.name)
            m_notices.append(tr("The activity %1 is now called %2.")
                                 .arg(quoted(held.name), quoted(activity->name)));
        if (activity->retired && !held.obsolete)
            m_notices.append(tr("The activity %1 has been withdrawn: please start no new tasks "
                                "of it.")
                                 .arg(quoted(activity->name)));
        const DocumentFormat::CategoryRecord *heldCategory = categoryNameAt(held.categoryPosition);
        const Catalogue::Category *category = m_catalogue.category(activity->categoryId);
        if (category && (!heldCategory || heldCategory->id != category->id))
            m_notices.append(tr("The activity %1 now belongs to the category %2.")
                                 .arg(quoted(activity->name), quoted(category->name)));
    }
}

bool Session::takeQueuedMessages()
{
    QSqlQuery *query = m_sql.run(QStringLiteral("SELECT id, body FROM messages WHERE user_id = ? "
                                                "AND delivered_at IS NULL ORDER BY id"),
                                 {m_userId});
    if (!query)
        return false;
    qint64 last = 0;
    while (query->next()) {
        last = query->value(0).toLongLong();
        QString body = query->value(1).toString();
        if (!body.endsWith(QLatin1Char('\n')))
            body += QLatin1Char('\n');
        m_queued += body;
    }
    Sql::done(query);
    if (last == 0)
        return true;
    return m_sql.exec(QStringLiteral("UPDATE messages SET delivered_at = ? WHERE user_id = ? AND "
                                     "delivered_at IS NULL AND id <= ?"),
                      {m_now, m_userId, last});
}

QString Session::taskLine(const StoredTask &task) const
{
    const Catalogue::Activity *activity = m_catalogue.activity(task.activityId);
    const QString name = activity ? activity->name : QString();
    const QDateTime start = StoredTime::unpack(task.start, false).toDateTime();
    const QDateTime stop = StoredTime::unpack(task.stop, false).toDateTime();
    QString when = start.isValid() ? start.toString(QStringLiteral("yyyy-MM-dd hh:mm")) : QString();
    if (stop.isValid())
        when += QStringLiteral("\u2013") + stop.toString(QStringLiteral("hh:mm"));
    return QStringLiteral("%1 %2").arg(when, name.toHtmlEscaped());
}

QString Session::flawLine(const RequestTask &task)
{
    switch (task.flaw) {
    case RequestTask::Flaw::Start:
        return tr("task %1: its start is not a valid date and time").arg(task.id);
    case RequestTask::Flaw::Stop:
        return tr("task %1: its stop is not a valid date and time").arg(task.id);
    case RequestTask::Flaw::Activity:
        return tr("task %1: it has no activity").arg(task.id);
    case RequestTask::Flaw::None:
        break;
    }
    return QString();
}

QString Session::summary() const
{
    QStringList parts;
    const auto count = [&](int n, const QString &one, const QString &many) {
        if (n == 1)
            parts.append(one);
        else if (n > 1)
            parts.append(many.arg(n));
    };
    count(m_received, tr("1 task received"), tr("%1 tasks received"));
    count(m_deletedHere, tr("1 task deleted"), tr("%1 tasks deleted"));
    count(m_sent, tr("1 task sent"), tr("%1 tasks sent"));
    const auto names = [](const QStringList &list) {
        QStringList escaped;
        for (const QString &name : list)
            escaped.append(name.toHtmlEscaped());
        return escaped.join(QStringLiteral(", "));
    };
    if (m_newCategories.size() == 1)
        parts.append(tr("1 new category: %1").arg(names(m_newCategories)));
    else if (m_newCategories.size() > 1)
        parts.append(
            tr("%1 new categories: %2").arg(m_newCategories.size()).arg(names(m_newCategories)));
    if (m_newActivities.size() == 1)
        parts.append(tr("1 new activity: %1").arg(names(m_newActivities)));
    else if (m_newActivities.size() > 1)
        parts.append(
            tr("%1 new activities: %2").arg(m_newActivities.size()).arg(names(m_newActivities)));
    if (parts.isEmpty())
        return tr("Up to date: nothing has changed since the last synchronization.");
    return parts.join(QStringLiteral(", "));
}

} // namespace ExchangeParts
