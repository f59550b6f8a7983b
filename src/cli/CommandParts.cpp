// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// Steps the commands share: refusals, naming activities, the ISO times of the output.

#include "CommandParts.h"

#include "model/QuorvelDocument.h"

#include <cstdio>

namespace CommandParts {

void append(QByteArray &to, const QString &text)
{
    to += text.toUtf8();
}

void handOnPiece(Commands::Result *result)
{
    if (!result->stream || result->out.size() < StreamPiece)
        return;
    std::fwrite(result->out.constData(), 1, size_t(result->out.size()), result->stream);
    result->streamed += result->out.size();
    result->out.truncate(0);
}

void badUsage(const QString &command, const QString &message, Commands::Result *result)
{
    result->exitCode = Commands::BadUsage;
    const QString who
        = command.isEmpty() ? QStringLiteral("quorvel") : QStringLiteral("quorvel ") + command;
    append(result->err, who + QLatin1String(": ") + message + QLatin1Char('\n'));
    append(result->err,
           command.isEmpty()
               ? Commands::tr("Try “quorvel --help”.") + QLatin1Char('\n')
               : Commands::tr("Try “quorvel help %1”.").arg(command) + QLatin1Char('\n'));
}

QString shortened(const QString &text)
{
    constexpr qsizetype Shown = 40;
    if (text.size() <= Shown)
        return text;
    qsizetype keep = Shown - 1;
    if (text.at(keep - 1).isHighSurrogate())
        --keep;
    return text.first(keep) + QChar(0x2026);
}

void refuse(Commands::Result *result, const QString &message)
{
    result->exitCode = Commands::Refused;
    append(result->err, QStringLiteral("quorvel: ") + message + QLatin1Char('\n'));
}

QString describe(const Activity *activity)
{
    if (!activity->category)
        return activity->name;
    return Commands::tr("%1 (%2)").arg(activity->name, activity->category->name);
}

QString candidateLines(const QList<Activity *> &candidates)
{
    QString text;
    for (const Activity *activity : candidates)
        text += QStringLiteral("\n  ") + describe(activity);
    return text;
}

Resolution resolve(const QString &name, const QList<Activity *> &candidates)
{
    using Test = bool (*)(const QString &, const QString &);
    const Test tests[] = {
        [](const QString &n, const QString &a) { return a == n; },
        [](const QString &n, const QString &a) { return a.compare(n, Qt::CaseInsensitive) == 0; },
        [](const QString &n, const QString &a) { return a.startsWith(n, Qt::CaseInsensitive); },
    };
    Resolution resolution;
    for (const Test test : tests) {
        for (Activity *activity : candidates) {
            if (test(name, activity->name))
                resolution.ambiguous << activity;
        }
        if (resolution.ambiguous.size() == 1)
            resolution.activity = resolution.ambiguous.takeFirst();
        if (!resolution.ambiguous.isEmpty() || resolution.activity)
            return resolution;
    }
    return resolution;
}

bool refuseUnlessSetUp(const QuorvelDocument &doc, Commands::Result *result)
{
    if (doc.configuration.mode() != Configuration::Unset)
        return false;
    refuse(result, Commands::tr("Quorvel is not set up yet: run “quorvel setup personal” (or "
                                "“quorvel setup group --server ADDRESS --user ID”), or start it "
                                "once without a command and choose how you use it."));
    return true;
}

QString isoMinute(const QDate &date, const QTime &time)
{
    if (!date.isValid() || !time.isValid())
        return QString();
    return QString::asprintf("%04d-%02d-%02dT%02d:%02d", date.year(), date.month(), date.day(),
                             time.hour(), time.minute());
}

QString isoMinute(const QDateTime &when)
{
    return isoMinute(when.date(), when.time());
}

QString categoryOf(const Activity *activity)
{
    return activity && activity->category ? activity->category->name : QString();
}

Activity *createActivity(QuorvelDocument &doc, const QString &typedName,
                         const QString &typedCategory, QString *refusal,
                         std::vector<QObject *> *created)
{
    const QString name = QuorvelDocument::catalogueName(typedName);
    const QString categoryName = QuorvelDocument::catalogueName(typedCategory);
    if (doc.configuration.mode() == Configuration::Group) {
        *refusal = Commands::tr("in group mode the group server keeps the activities, so “%1” "
                                "is not created here: ask the team lead to add it.")
                       .arg(QuorvelDocument::cleanName(typedName));
        return nullptr;
    }
    if (name.isEmpty()) {
        *refusal = Commands::tr("“%1” cannot be the name of an activity.").arg(typedName);
        return nullptr;
    }
    if (categoryName.isEmpty()) {
        *refusal = Commands::tr("“%1” cannot be the name of a category.").arg(typedCategory);
        return nullptr;
    }
    ActivityCategory *category = nullptr;
    for (ActivityCategory *c : std::as_const(doc.categories)) {
        if (!c->obsolete && QuorvelDocument::sameName(c->name, categoryName)) {
            category = c;
            break;
        }
    }
    if (!category) {
        category = doc.addCategory(categoryName);
        created->push_back(category);
    }
    Activity *activity = doc.addActivity(name, category);
    created->push_back(activity);
    return activity;
}

void removeCreated(QuorvelDocument &doc, std::vector<QObject *> &created)
{
    for (QObject *object : created) {
        if (auto *activity = qobject_cast<Activity *>(object))
            doc.activities.removeRef(activity);
        else if (auto *category = qobject_cast<ActivityCategory *>(object))
            doc.categories.removeRef(category);
        delete object;
    }
    created.clear();
}

QList<Activity *> startable(const QuorvelDocument &doc)
{
    QList<Activity *> list;
    for (Activity *activity : doc.activities) {
        if (!activity->obsolete)
            list << activity;
    }
    return list;
}

QString jsonString(const QString &text)
{
    QString quoted;
    quoted.reserve(text.size() + 2);
    quoted += QLatin1Char('"');
    for (const QChar c : text) {
        switch (c.unicode()) {
        case '"':
            quoted += QLatin1String("\\\"");
            break;
        case '\\':
            quoted += QLatin1String("\\\\");
            break;
        case '\n':
            quoted += QLatin1String("\\n");
            break;
        case '\r':
            quoted += QLatin1String("\\r");
            break;
        case '\t':
            quoted += QLatin1String("\\t");
            break;
        default:
            if (c.unicode() < 0x20)
                quoted += QString::asprintf("\\u%04x", unsigned(c.unicode()));
            else
                quoted += c;
        }
    }
    quoted += QLatin1Char('"');
    return quoted;
}

} // namespace CommandParts
