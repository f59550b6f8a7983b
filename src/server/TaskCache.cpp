// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "TaskCache.h"

#include <QMutexLocker>

qsizetype TaskCache::sizeOf(const Entry &entry)
{
    qsizetype size = entry.stored.size();
    for (const QHash<int, Seen> &device : entry.seen)
        size += device.size();
    return size;
}

bool TaskCache::take(qint64 userId, qint64 serial, Entry *entry)
{
    QMutexLocker lock(&m_mutex);
    const auto found = m_slots.find(userId);
    if (found == m_slots.end())
        return false;
    const bool current = found->entry.serial == serial;
    if (current)
        *entry = std::move(found->entry);
    m_tasks -= sizeOf(current ? *entry : found->entry);
    m_slots.erase(found);
    return current;
}

void TaskCache::put(qint64 userId, Entry entry)
{
    const qsizetype size = sizeOf(entry);
    if (size > MaxTasks)
        return;
    QMutexLocker lock(&m_mutex);
    while (m_tasks + size > MaxTasks && !m_slots.isEmpty()) {
        auto oldest = m_slots.begin();
        for (auto it = m_slots.begin(); it != m_slots.end(); ++it) {
            if (it->lastUse < oldest->lastUse)
                oldest = it;
        }
        m_tasks -= sizeOf(oldest->entry);
        m_slots.erase(oldest);
    }
    Slot &slot = m_slots[userId];
    m_tasks -= sizeOf(slot.entry);
    slot.entry = std::move(entry);
    slot.lastUse = ++m_clock;
    m_tasks += size;
}
