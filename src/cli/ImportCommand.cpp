// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// "quorvel import": tasks from a CSV file or a Timewarrior export, in linear time.

#include "CommandParts.h"

#include "ImportReader.h"
#include "model/QuorvelDocument.h"
#include "model/TaskTimeText.h"
#include "platform/SystemError.h"

#include <QDir>
#include <QFile>

#include <algorithm>
#include <cerrno>
#include <map>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace CommandParts {

namespace {

// A task's identity for telling a row already recorded.
QString taskKey(const Activity *activity, const QDateTime &start, const QDateTime &stop)
{
    return QString::number(quintptr(activity)) + QLatin1Char('/')
           + QString::number(start.toSecsSinceEpoch()) + QLatin1Char('/')
           + (stop.isValid() ? QString::number(stop.toSecsSinceEpoch()) : QString());
}

// The activities that are not withdrawn, by name, in the document's order: an import looks
// up every row's activity, and a history has many rows.
class ActivityNames
{
public:
    explicit ActivityNames(const QuorvelDocument &doc) { refresh(doc); }

    // Read again after the document's activities changed.
    void refresh(const QuorvelDocument &doc)
    {
        m_byName.clear();
        for (Activity *activity : doc.activities) {
            if (!activity->obsolete)
                m_byName[activity->name].append(activity);
        }
    }

    // The activity a row names, when there is one: the same name, in the same category
    // unless the row names none.
    Activity *find(const ImportRow &row) const
    {
        const QString category = QuorvelDocument::cleanName(row.category);
        for (Activity *activity : m_byName.value(QuorvelDocument::cleanName(row.activity))) {
            if (category.isEmpty() || categoryOf(activity) == category)
                return activity;
        }
        return nullptr;
    }

private:
    QHash<QString, QList<Activity *>> m_byName;
};

// The recorded tasks' times in seconds, ordered by start, for the overlap check of imported
// rows: only tasks that start less than the longest task's length before a row can overlap
// it, so each row looks at a few neighbours and an import stays linear in its rows.
class RecordedTimes
{
public:
    explicit RecordedTimes(const QuorvelDocument &doc)
    {
        for (const QVTask *task : doc.tasks)
            add(task->start(), task->isRunning() ? task->start().addSecs(60) : task->stop());
    }

    void add(const QDateTime &start, const QDateTime &stop)
    {
        const qint64 s = start.toSecsSinceEpoch();
        const qint64 e = stop.toSecsSinceEpoch();
        // A task that stops before it starts (a damaged file) is looked at every time.
        if (e < s) {
            m_backwards.emplace_back(s, e);
            return;
        }
        m_spans.emplace(s, e);
        m_longest = std::max(m_longest, e - s);
    }

    bool overlaps(const QDateTime &start, const QDateTime &stop) const
    {
        const qint64 s = start.toSecsSinceEpoch();
        const qint64 e = stop.toSecsSinceEpoch();
        for (auto it = m_spans.lower_bound(s - m_longest); it != m_spans.end() && it->first < e;
             ++it) {
            if (QuorvelDocument::timesOverlap(s, e, it->first, it->second))
                return true;
        }
        for (const auto &[taskStart, taskStop] : m_backwards) {
            if (QuorvelDocument::timesOverlap(s, e, taskStart, taskStop))
                return true;
        }
        return false;
    }

private:
    std::multimap<qint64, qint64> m_spans;
    std::vector<std::pair<qint64, qint64>> m_backwards;
    qint64 m_longest = 0;
};

Activity *newActivityFor(QuorvelDocument &doc, const ImportRow &row, QString *refusal,
                         std::vector<QObject *> *created)
{
    const QString name = QuorvelDocument::cleanName(row.activity);
    if (QuorvelDocument::cleanName(row.category).isEmpty()) {
        *refusal = Commands::tr("“%1” is not an activity, and without a category it is not "
                                "created")
                       .arg(name);
        return nullptr;
    }
    if (doc.configuration.mode() == Configuration::Group) {
        *refusal = Commands::tr("“%1” is not an activity of the group, and none is created in "
                                "group mode")
                       .arg(name);
        return nullptr;
    }
    return createActivity(doc, row.activity, row.category, refusal, created);
}

} // namespace

void importTasks(QuorvelDocument &doc, const Invocation &call, const QString &workingFolder,
                 Commands::Result *result, Commands::Progress *progress)
{
    if (refuseUnlessSetUp(doc, result))
        return;
    const QString given = call.positional.first();
    const QString path = QDir(workingFolder).absoluteFilePath(given);
    // Opened by hand, so that a refusal can name the reason in the person's words.
    QFile file;
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    struct stat info;
    const int error = fd < 0                    ? errno
                      : ::fstat(fd, &info) != 0 ? errno
                      : S_ISDIR(info.st_mode)   ? EISDIR
                                                : 0;
    if (error != 0 || !file.open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        if (fd >= 0)
            ::close(fd);
        refuse(result, Commands::tr("cannot read “%1”: %2")
                           .arg(given, SystemError::describe(error != 0 ? error : EIO)));
        return;
    }
    // Far more than any history; a bound so that a wrong file cannot exhaust the memory.
    constexpr qint64 MaxImportBytes = qint64(512) << 20;
    if (file.size() > MaxImportBytes) {
        refuse(result, Commands::tr("“%1” is too large to import.").arg(given));
        return;
    }
    const QByteArray bytes = file.readAll();
    file.close();

    ImportReader::Format format = ImportReader::detect(bytes);
    if (call.has("format"))
        format = call.value("format") == QLatin1String("json") ? ImportReader::Format::Json
                                                               : ImportReader::Format::Csv;
    const ImportFile read
        = format == ImportReader::Format::Json ? ImportReader::readJson(
              bytes, call.has("category") ? call.value("category") : QStringLiteral("Timewarrior"),
              call.has("category-from-first-sorted-tag"))
                                               : ImportReader::readCsv(bytes);
    if (!read.error.isEmpty()) {
        refuse(result, Commands::tr("%1: %2").arg(given, read.error));
        return;
    }

    QSet<QString> recorded;
    recorded.reserve(doc.tasks.size());
    for (const QVTask *task : doc.tasks)
        recorded.insert(taskKey(task->activity, task->start(), task->stop()));

    const bool concurrent = doc.configuration.allowConcurrentTasks();
    bool running = doc.activeTasks();
    ActivityNames activities(doc);
    RecordedTimes times(doc);
    std::vector<QObject *> created;
    // Each task's display texts would otherwise read the settings anew: a second for a large
    // history.
    const TaskTimeText::Batch texts;
    int imported = 0;
    int already = 0;
    QStringList skipped;
    const qsizetype total = read.rows.size();
    qsizetype done = 0;
    for (const ImportRow &row : read.rows) {
        if (progress)
            progress->importing(done++, total);
        // All arguments at once: a file name may hold "%2" itself.
        const auto skip = [&](const QString &why) {
            const QString line = QString::number(row.line);
            skipped << (row.task > 0 ? Commands::tr("%1, line %2, task %3 of the file: %4")
                                           .arg(given, line, QString::number(row.task), why)
                                     : Commands::tr("%1, line %2: %3").arg(given, line, why));
        };
        if (!row.problem.isEmpty()) {
            skip(row.problem);
            continue;
        }
        if (QuorvelDocument::cleanName(row.activity).size() > QuorvelDocument::MaxNameLength
            || QuorvelDocument::cleanName(row.category).size() > QuorvelDocument::MaxNameLength) {
            skip(Commands::tr("a name in it has more than %1 characters")
                     .arg(QuorvelDocument::MaxNameLength));
            continue;
        }
        const bool rowRuns = !row.stop.isValid();
        if (!rowRuns && row.stop < row.start) {
            skip(Commands::tr("it stops before it starts"));
            continue;
        }
        if (!rowRuns && row.stop == row.start) {
            skip(Commands::tr("it is shorter than a minute"));
            continue;
        }
        Activity *activity = activities.find(row);
        if (activity && recorded.contains(taskKey(activity, row.start, row.stop))) {
            ++already;
            continue;
        }
        if (rowRuns && running && !concurrent) {
            skip(Commands::tr("it runs, and another task is running"));
            continue;
        }
        const QDateTime stop = rowRuns ? row.start.addSecs(60) : row.stop;
        // Overlaps count only when concurrent tasks are off, as for the task editor.
        if (!concurrent && times.overlaps(row.start, stop)) {
            skip(Commands::tr("it overlaps a recorded task"));
            continue;
        }
        // Only a task that is taken makes its activity.
        if (!activity) {
            QString refusal;
            activity = newActivityFor(doc, row, &refusal, &created);
            if (!activity) {
                skip(refusal);
                continue;
            }
            activities.refresh(doc);
        }
        const QString key = taskKey(activity, row.start, row.stop);
        auto *task = new QVTask();
        task->id = doc.allocateId();
        task->activity = activity;
        task->setStart(row.start);
        if (!rowRuns)
            task->setStop(row.stop);
        doc.tasks.append(task);
        if (rowRuns) {
            doc.includeShortcut(task);
            running = true;
        }
        recorded.insert(key);
        times.add(row.start, stop);
        ++imported;
    }
    if (progress)
        progress->importing(total, total);
    doc.tasks.sort();
    for (const QObject *object : created) {
        if (const auto *activity = qobject_cast<const Activity *>(object)) {
            append(result->out, Commands::tr("Created the activity “%1” in “%2”.")
                                        .arg(activity->name, categoryOf(activity))
                                    + QLatin1Char('\n'));
        }
    }
    append(result->out,
           (imported == 1 ? Commands::tr("Imported 1 task from “%1”.").arg(given)
                          : Commands::tr("Imported %1 tasks from “%2”.").arg(imported).arg(given))
               + QLatin1Char('\n'));
    if (already > 0) {
        append(result->out,
               (already == 1 ? Commands::tr("1 task was already recorded.")
                             : Commands::tr("%1 tasks were already recorded.").arg(already))
                   + QLatin1Char('\n'));
    }
    if (!skipped.isEmpty()) {
        append(result->err,
               (skipped.size() == 1 ? Commands::tr("Skipped 1 task:")
                                    : Commands::tr("Skipped %1 tasks:").arg(skipped.size()))
                   + QLatin1Char('\n'));
        for (const QString &line : std::as_const(skipped))
            append(result->err, QStringLiteral("  ") + line + QLatin1Char('\n'));
        result->exitCode = Commands::Refused;
    }
    result->changed = imported > 0 || !created.empty();
    result->change = imported == 1 ? Commands::tr("Import of 1 Task")
                                   : Commands::tr("Import of %1 Tasks").arg(imported);
}

} // namespace CommandParts
