// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

// An exclusive lock on a file that only its holder can give up: the kernel's flock() on an
// open file, which ends when the holder closes it or dies, and at no other time. Nobody ever
// breaks it, so no guess about a holder's age or liveliness can hand it to two processes.
//
// The holder writes its process id into the file for the person to read, and removes the
// file when it lets go (while still holding it). A process that waited on the removed file
// notices that the name now stands for another file, or none, and tries again, so the lock
// always belongs to the file that the name shows. Descriptors are closed on exec, so a
// started program never inherits the lock.
class FileLock
{
public:
    enum class Outcome {
        Locked, // the lock is ours
        Busy,   // a live process holds it
        Failed  // it cannot be taken at all (see errorString())
    };

    explicit FileLock(const QString &path);
    FileLock(const FileLock &) = delete;
    FileLock &operator=(const FileLock &) = delete;
    ~FileLock();

    // Tries for up to timeoutMs (0: once); true when the lock is ours, also when it already was.
    Outcome tryLock(int timeoutMs = 0);
    void unlock();
    bool isLocked() const { return m_fd >= 0; }

    QString path() const { return m_path; }
    // Why the last tryLock() failed, in the person's words.
    QString errorString() const { return m_error; }
    // The process id the file names, 0 when it names none; only for telling the person.
    qint64 holderPid() const;

private:
    Outcome attempt();

    QString m_path;
    int m_fd = -1;
    QString m_error;
};
