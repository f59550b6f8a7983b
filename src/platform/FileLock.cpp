// SPDX-License-Identifier: GPL-3.0-or-later
#include "FileLock.h"

#include "PrivateFiles.h"
#include "SystemError.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFile>
#include <QSysInfo>
#include <QThread>

#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

bool sameFile(const struct stat &a, const struct stat &b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

} // namespace

FileLock::FileLock(const QString &path)
    : m_path(path)
{}

FileLock::~FileLock()
{
    unlock();
}

FileLock::Outcome FileLock::tryLock(int timeoutMs)
{
    if (isLocked())
        return Outcome::Locked;
    QDeadlineTimer deadline(qMax(timeoutMs, 0));
    int pause = 5;
    for (;;) {
        const Outcome outcome = attempt();
        if (outcome != Outcome::Busy || deadline.hasExpired())
            return outcome;
        QThread::msleep(ulong(qMin<qint64>(pause, qMax<qint64>(deadline.remainingTime(), 1))));
        pause = qMin(pause * 2, 50);
    }
}

FileLock::Outcome FileLock::attempt()
{
    const QByteArray name = QFile::encodeName(m_path);
    // Bounded: each round means the holder let go of the file we opened in the meantime.
    for (int round = 0; round < 100; ++round) {
        const int fd = ::open(name.constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW,
                              PrivateFiles::FileMode);
        if (fd < 0) {
            m_error = SystemError::describe(errno);
            return Outcome::Failed;
        }
        if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
            const int error = errno;
            ::close(fd);
            if (error == EWOULDBLOCK || error == EINTR)
                return Outcome::Busy;
            m_error = SystemError::describe(error);
            return Outcome::Failed;
        }
        struct stat held;
        struct stat named;
        if (::fstat(fd, &held) != 0) {
            m_error = SystemError::describe(errno);
            ::close(fd);
            return Outcome::Failed;
        }
        if (::lstat(name.constData(), &named) != 0 || !sameFile(held, named)) {
            // The holder removed the file while we waited for it: the name is free again.
            ::close(fd);
            continue;
        }
        if (held.st_uid != ::geteuid()) {
            // Whoever owns the file could take it away from under us.
            ::close(fd);
            m_error = SystemError::describe(EPERM);
            return Outcome::Failed;
        }
        PrivateFiles::restrict(fd);
        // Only for the person who wonders who holds it.
        const QByteArray who = QByteArray::number(qint64(::getpid())) + '\n'
                               + QCoreApplication::applicationName().toUtf8() + '\n'
                               + QSysInfo::machineHostName().toUtf8() + '\n';
        if (::ftruncate(fd, 0) == 0) {
            [[maybe_unused]] const ssize_t written
                = ::pwrite(fd, who.constData(), size_t(who.size()), 0);
        }
        m_fd = fd;
        m_error.clear();
        return Outcome::Locked;
    }
    m_error = SystemError::describe(EBUSY);
    return Outcome::Busy;
}

void FileLock::unlock()
{
    if (m_fd < 0)
        return;
    // Removed while still held, and only while the name still stands for our file, so that a
    // waiter never holds a file that the name no longer shows.
    const QByteArray name = QFile::encodeName(m_path);
    struct stat held;
    struct stat named;
    if (::fstat(m_fd, &held) == 0 && ::lstat(name.constData(), &named) == 0
        && sameFile(held, named))
        ::unlink(name.constData());
    ::close(m_fd);
    m_fd = -1;
}

qint64 FileLock::holderPid() const
{
    QFile file(m_path);
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    bool ok = false;
    const qint64 pid = file.readLine(32).trimmed().toLongLong(&ok);
    return ok && pid > 0 ? pid : 0;
}
