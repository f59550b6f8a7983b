// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "BenchSupport.h"

#include "model/QuorvelDocument.h"
#include "model/TaskTimeText.h"
#include "platform/Clock.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QRandomGenerator>

#include <algorithm>

void LargeDocument::fill(QuorvelDocument &doc) const
{
    QRandomGenerator random(20261121);
    const TaskTimeText::Batch textBatch;
    for (int i = 0; i < CategoryCount; ++i)
        doc.categories.append(new ActivityCategory(
            doc.allocateId(), QStringLiteral("Category %1").arg(i), fileFeatures && i == 0));
    for (int i = 0; i < ActivityCount; ++i)
        doc.activities.append(
            new Activity(doc.allocateId(), QStringLiteral("Activity %1 – Ünïcode").arg(i),
                         doc.categories.at(i % CategoryCount), fileFeatures && i % 50 == 0));
    const QDateTime first(QDate(2023, 11, 22), QTime(0, 0));
    const qint64 span = first.secsTo(QDateTime(QDate(2026, 11, 22), QTime(0, 0))) / 60;
    for (int i = 0; i < TaskCount; ++i) {
        const QDateTime start = first.addSecs(60 * (span * i / TaskCount));
        const QDateTime stop = start.addSecs(60 * (1 + random.bounded(15)));
        const bool synchronised = fileFeatures && i % 10 == 0;
        const int shortcut = shortcuts && i >= TaskCount - 3 ? TaskCount - i : 0;
        doc.tasks.append(new QVTask(doc.allocateId(), start, stop, shortcut,
                                    doc.activities.at(random.bounded(ActivityCount)),
                                    synchronised ? stop.addSecs(7) : QDateTime(), synchronised));
    }
    if (fileFeatures) {
        for (int i = 0; i < 100; ++i)
            doc.deletedTaskIds.append(500 + i);
    }
    doc.categories.sort();
    doc.activities.sort();
    doc.tasks.sort();
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const size_t n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

void runRounds(std::vector<Case> &cases, int rounds)
{
    for (int round = 0; round < rounds; ++round) {
        for (Case &c : cases) {
            c.prepare();
            QElapsedTimer timer;
            timer.start();
            c.work();
            c.ms.push_back(timer.nsecsElapsed() / 1e6);
        }
    }
}

int runsArgument(const QStringList &arguments, int deflt)
{
    const qsizetype at = arguments.indexOf(QStringLiteral("--runs"));
    if (at < 0 || at + 1 >= arguments.size())
        return deflt;
    return std::max(1, arguments.at(at + 1).toInt());
}

double peakMemoryMiB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    const QList<QByteArray> lines = status.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').value(0).toDouble() / 1024.0;
    }
    return -1;
}

TemporaryHome::TemporaryHome()
{
    if (!m_dir.isValid())
        qFatal("no temporary folder");
    qputenv("XDG_DATA_HOME", QFile::encodeName(m_dir.path() + QStringLiteral("/data")));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_dir.path() + QStringLiteral("/config")));
    qputenv("XDG_DOCUMENTS_DIR", QFile::encodeName(m_dir.path() + QStringLiteral("/documents")));
    const QString runtime = m_dir.path() + QStringLiteral("/runtime");
    QDir().mkpath(runtime);
    QFile::setPermissions(runtime,
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    qputenv("XDG_RUNTIME_DIR", QFile::encodeName(runtime));
}

void useOffscreenWidgets()
{
    Clock::pinLocalTimeZone();
    qputenv("QT_QPA_PLATFORM", "offscreen");
}

void settle()
{
    for (int i = 0; i < 3; ++i)
        QCoreApplication::processEvents();
}
