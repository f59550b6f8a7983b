// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QHash>
#include <QMutex>

// What the server knows of a member's tasks, kept in memory between exchanges so that an
// exchange need not read a thousand rows again: reading them cost more than all the rest.
//
// An entry is good only while it stands for the database: every exchange counts up the
// member's serial in its own transaction, and an entry is used only when its serial is the
// one the database holds. So a change made by another server process on the same database
// is always seen. The whole cache holds at most MaxTasks tasks; the members used longest ago
// leave first.
class TaskCache
{
public:
    struct Stored
    {
        qint64 activityId = 0;
        qint64 start = 0;
        qint64 stop = 0;
        qint64 stamp = 0;
        qint64 fingerprint = 0;
        bool retired = false;
        int version = 0;
    };
    struct Seen
    {
        bool own = false;
        qint64 fingerprint = 0;
    };
    struct Entry
    {
        qint64 serial = -1;
        QHash<int, Stored> stored;
        // Per device: what it last sent or received of each task.
        QHash<qint64, QHash<int, Seen>> seen;
    };

    static constexpr qsizetype MaxTasks = 1000000;

    // Takes out the member's entry if it is the one for serial; an entry of another serial is
    // dropped. False when there is none to use.
    bool take(qint64 userId, qint64 serial, Entry *entry);
    // Puts an entry back after its exchange was committed.
    void put(qint64 userId, Entry entry);

private:
    struct Slot
    {
        Entry entry;
        quint64 lastUse = 0;
    };
    static qsizetype sizeOf(const Entry &entry);

    QMutex m_mutex;
    QHash<qint64, Slot> m_slots;
    qsizetype m_tasks = 0;
    quint64 m_clock = 0;
};
