// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "Exchange.h"
#include "StoredTime.h"

#include "model/DocumentFormat.h"

#include <QList>

#include <vector>

// The request's document of one exchange, as plain records: what a device sent, read before
// anything of it is taken.

struct RequestTask
{
    // What keeps a task from being taken: the program would read it with a start or stop that
    // is no moment, or without its activity.
    enum class Flaw { None, Start, Stop, Activity };

    int id = 0;
    int activityPosition = -1;
    qint64 start = 0;
    qint64 stop = 0;
    qint64 stamp = 0;
    bool synchronised = false;
    Flaw flaw = Flaw::None;
};

// Reads the device's document without building the program's objects and without dropping
// anything, so that positions stay those the device counts; refuses lists beyond the limits
// before they are built.
class RequestDocument : public DocumentFormat::CatalogueSink
{
public:
    // bytes: the length of the document string, which bounds how many tasks it can hold.
    RequestDocument(const ExchangeLimits &limits, int bytes)
        : m_limits(limits)
        , m_bytes(bytes)
    {}

    int nextIdValue = 0;
    std::vector<RequestTask> tasks;
    QList<int> deleted;
    bool overLimit = false;

    void nextId(int value) override { nextIdValue = value; }

    bool count(List list, int count) override
    {
        int limit = 0;
        switch (list) {
        case List::Categories:
            limit = m_limits.maxCategories;
            break;
        case List::Activities:
            limit = m_limits.maxActivities;
            break;
        case List::Tasks:
            limit = m_limits.maxTasks;
            break;
        case List::DeletedTaskIds:
            limit = m_limits.maxDeletedIds;
            break;
        }
        if (count > limit) {
            overLimit = true;
            return false;
        }
        // A task takes at least 40 bytes: room for what the document can hold, not for what a
        // damaged count says.
        if (list == List::Tasks && count > 0)
            tasks.reserve(size_t(qMin(count, m_bytes / 40 + 1)));
        return true;
    }

    bool task(const DocumentFormat::TaskRecord &record) override
    {
        RequestTask task;
        task.id = record.id;
        task.activityPosition = record.activityPosition;
        task.start = StoredTime::pack(record.start, false);
        task.stop = StoredTime::pack(record.stop, false);
        task.stamp = StoredTime::pack(record.stamp, true);
        task.synchronised = record.synchronised;
        // The activities come before the tasks, so their number is known here.
        if (task.start == 0)
            task.flaw = RequestTask::Flaw::Start;
        else if (task.stop == 0 && !record.stop.isNull())
            task.flaw = RequestTask::Flaw::Stop;
        else if (task.activityPosition < 0 || task.activityPosition >= int(activities.size()))
            task.flaw = RequestTask::Flaw::Activity;
        tasks.push_back(task);
        return true;
    }

    void deletedTaskIds(const QList<int> &ids) override { deleted = ids; }

    bool isEmpty() const { return categories.empty() && activities.empty() && tasks.empty(); }
    int records() const { return int(categories.size() + activities.size() + tasks.size()); }

private:
    const ExchangeLimits &m_limits;
    int m_bytes;
};
