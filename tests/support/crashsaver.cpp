// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// Not a test: the program that tst_crash kills with SIGKILL at random moments. For each line
// "go" on its input it forks a saver, prints "child <pid>", and once that saver has ended,
// "ended signal <n>" or "ended exit <n>". A saver saves two versions, A and B, in turn and
// without end, and prints a line after each save that returned. Forking spares building the
// large document again for every kill.
//
//   crashsaver expected FOLDER  writes both versions of the data file ("A", "B") and both
//                               report texts ("reportA", "reportB") into FOLDER, and ends
//   crashsaver data             savers save a document of 100 000 tasks through
//                               QuorvelDocument::save(): "saved A" / "saved B"
//   crashsaver report           savers save a report of a few MB through
//                               FileManager::saveFile, then remove the one saved before:
//                               "saved A <path>" / "saved B <path>"

#include "model/QuorvelDocument.h"
#include "model/TaskTimeText.h"
#include "platform/Clock.h"
#include "platform/DocLnk.h"

#include <QDir>
#include <QFile>
#include <QRandomGenerator>

#include <cstdio>
#include <functional>

#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int TaskCount = 100000;
constexpr int ActivityCount = 200;
constexpr int CategoryCount = 20;

// The same document at every start: 100 000 stopped tasks over three years, from a fixed
// seed, with names beyond ASCII. A and B differ in the stop of the last task only.
void fill(QuorvelDocument &doc)
{
    QRandomGenerator random(20261121);
    const TaskTimeText::Batch textBatch;
    for (int i = 0; i < CategoryCount; ++i)
        doc.categories.append(
            new ActivityCategory(doc.allocateId(), QStringLiteral("Category %1").arg(i), false));
    for (int i = 0; i < ActivityCount; ++i)
        doc.activities.append(new Activity(doc.allocateId(),
                                           QStringLiteral("Activity %1 – Ünïcode").arg(i),
                                           doc.categories.at(i % CategoryCount), false));
    const QDateTime first(QDate(2023, 11, 22), QTime(0, 0));
    const qint64 spanMinutes = first.secsTo(QDateTime(QDate(2026, 11, 20), QTime(0, 0))) / 60;
    for (int i = 0; i < TaskCount; ++i) {
        const QDateTime start = first.addSecs(60 * (spanMinutes * i / TaskCount));
        const QDateTime stop = start.addSecs(60 * (1 + random.bounded(15)));
        doc.tasks.append(new QVTask(doc.allocateId(), start, stop, 0,
                                    doc.activities.at(random.bounded(ActivityCount)), QDateTime(),
                                    false));
    }
    doc.categories.sort();
    doc.activities.sort();
    doc.tasks.sort();
}

void setVersion(QuorvelDocument &doc, bool b)
{
    QVTask *last = doc.tasks.last();
    last->setStop(last->start().addSecs(b ? 31 * 60 : 30 * 60));
}

// About 4 MB of report text; A and B differ in every line.
QString reportText(bool b)
{
    QString text;
    const QString line = b ? QStringLiteral("B %1 – Zoë's time sheet ✓ 2026-11-21 8:00 0:45\n")
                           : QStringLiteral("A %1 – Zoë's summary ✓ 2026-11-21 9:30 1:15\n");
    for (int i = 0; i < 80000; ++i)
        text += line.arg(i, 6);
    return text;
}

void say(const QByteArray &line)
{
    std::fwrite(line.constData(), 1, size_t(line.size()), stdout);
    std::fflush(stdout);
}

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate)
           && file.write(bytes) == bytes.size();
}

int expected(const QString &folder)
{
    QuorvelDocument doc;
    fill(doc);
    setVersion(doc, false);
    const QByteArray a = doc.getDocumentBytes();
    setVersion(doc, true);
    const QByteArray b = doc.getDocumentBytes();
    const bool written
        = writeFile(folder + QStringLiteral("/A"), a) && writeFile(folder + QStringLiteral("/B"), b)
          && writeFile(folder + QStringLiteral("/reportA"), reportText(false).toUtf8())
          && writeFile(folder + QStringLiteral("/reportB"), reportText(true).toUtf8());
    return written ? 0 : 1;
}

// Runs save in a new process for each "go" on the input, until the input ends.
int forkSavers(const std::function<int()> &save)
{
    char line[64];
    while (std::fgets(line, sizeof line, stdin)) {
        const pid_t child = ::fork();
        if (child < 0)
            return 1;
        if (child == 0)
            ::_exit(save());
        say("child " + QByteArray::number(child) + '\n');
        int status = 0;
        if (::waitpid(child, &status, 0) != child)
            return 1;
        say(WIFSIGNALED(status) ? "ended signal " + QByteArray::number(WTERMSIG(status)) + '\n'
                                : "ended exit " + QByteArray::number(WEXITSTATUS(status)) + '\n');
    }
    return 0;
}

int saveData(QuorvelDocument &doc)
{
    for (bool b = false;; b = !b) {
        setVersion(doc, b);
        if (!doc.save()) {
            say("failed\n");
            return 1;
        }
        say(b ? "saved B\n" : "saved A\n");
    }
}

int saveReports(const QString (&texts)[2])
{
    const FileManager files;
    QString previous;
    for (int i = 0;; i = 1 - i) {
        DocLnk link;
        link.setName(QStringLiteral("Crash Report"));
        link.setType(FileManager::reportType());
        if (!files.saveFile(link, texts[i])) {
            say("failed\n");
            return 1;
        }
        say((i ? "saved B " : "saved A ") + QFile::encodeName(link.file()) + '\n');
        // Only the two latest ever stand: the next save takes the name of the one before.
        if (!previous.isEmpty() && !QFile::remove(previous)) {
            say("failed\n");
            return 1;
        }
        previous = link.file();
    }
}

} // namespace

// No application object: nothing here needs one, and a process without threads forks safely.
int main(int argc, char *argv[])
{
    Clock::pinLocalTimeZone();
    const QByteArray mode = argc > 1 ? QByteArray(argv[1]) : QByteArray();
    if (mode == "expected" && argc == 3)
        return expected(QFile::decodeName(argv[2]));
    if (mode == "data") {
        QuorvelDocument doc;
        fill(doc);
        return forkSavers([&doc] { return saveData(doc); });
    }
    if (mode == "report") {
        const QString texts[] = {reportText(false), reportText(true)};
        return forkSavers([&texts] { return saveReports(texts); });
    }
    std::fputs("usage: crashsaver expected FOLDER | data | report\n", stderr);
    return 2;
}
