// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "MappedFile.h"

#include "platform/WriteAll.h"

#include <QFile>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// What the SIGBUS handler needs, set before the pages are read: it may only use what is
// already in memory and calls that are safe in a signal handler.
constexpr size_t TextRoom = 8192;
char lostBefore[TextRoom];
size_t lostBeforeLength = 0;
char lostAfter[TextRoom];
size_t lostAfterLength = 0;
const qint64 *lostWritten = nullptr;
const char *mappedFirst = nullptr;
const char *mappedEnd = nullptr;
struct sigaction previousAction;

void onBusError(int signal, siginfo_t *info, void *)
{
    // Only a page of the mapping that the system could not fill (si_code > 0: raised by the
    // kernel, not sent by another process) is ours to answer.
    const char *at = static_cast<const char *>(info->si_addr);
    if (info->si_code > 0 && mappedFirst && at >= mappedFirst && at < mappedEnd) {
        if (lostWritten && *lostWritten > 0)
            writeAll(STDERR_FILENO, lostAfter, lostAfterLength);
        else
            writeAll(STDERR_FILENO, lostBefore, lostBeforeLength);
        ::_exit(1);
    }
    // Not ours: the signal takes the effect it had before, once this handler returns.
    ::sigaction(signal, &previousAction, nullptr);
    ::raise(signal);
}

void keep(const QByteArray &text, char *room, size_t *length)
{
    *length = qMin(size_t(text.size()), TextRoom);
    std::memcpy(room, text.constData(), *length);
}

} // namespace

MappedFile::MappedFile(const QString &path)
{
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        if (errno == ENOENT || errno == ENOTDIR)
            m_state = State::Missing;
        return;
    }
    struct stat status;
    if (::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size >= INT_MAX) {
        ::close(fd);
        return;
    }
    if (status.st_size == 0) {
        ::close(fd);
        m_data = "";
        m_state = State::Mapped;
        return;
    }
    // Read-only, so that the mapping takes the cached pages rather than copies. Not populated
    // at once: the pages come as they are read and go once passed (letGo()), so that a long
    // history is never resident all at once.
    void *mapping = ::mmap(nullptr, size_t(status.st_size), PROT_READ, MAP_PRIVATE, fd, 0);
    ::close(fd);
    if (mapping == MAP_FAILED)
        return;
    m_data = static_cast<const char *>(mapping);
    m_size = int(status.st_size);
    m_state = State::Mapped;
}

MappedFile::~MappedFile()
{
    // An empty file has no mapping.
    if (m_size == 0)
        return;
    if (mappedFirst == m_data) {
        mappedFirst = mappedEnd = nullptr;
        lostWritten = nullptr;
    }
    ::munmap(const_cast<char *>(m_data), size_t(m_size));
}

void MappedFile::onLostPages(const QByteArray &before, const QByteArray &after,
                             const qint64 *written)
{
    if (m_size == 0)
        return;
    keep(before, lostBefore, &lostBeforeLength);
    keep(after, lostAfter, &lostAfterLength);
    lostWritten = written;
    mappedFirst = m_data;
    mappedEnd = m_data + m_size;
    // Installed once, or again should something have put its own in its place since.
    struct sigaction current;
    if (::sigaction(SIGBUS, nullptr, &current) == 0 && (current.sa_flags & SA_SIGINFO)
        && current.sa_sigaction == onBusError)
        return;
    struct sigaction action;
    std::memset(&action, 0, sizeof action);
    action.sa_sigaction = onBusError;
    action.sa_flags = SA_SIGINFO;
    sigemptyset(&action.sa_mask);
    ::sigaction(SIGBUS, &action, &previousAction);
}

void MappedFile::letGo(const char *upTo)
{
    if (m_size == 0 || upTo <= m_data)
        return;
    static const long pageSize = ::sysconf(_SC_PAGESIZE);
    const qint64 offset = qMin<qint64>(upTo - m_data, m_size);
    const int end = int(offset - offset % pageSize);
    // A point before the last one starts a new reading of the file from its beginning.
    if (end < m_letGoTo)
        m_letGoTo = 0;
    if (end <= m_letGoTo)
        return;
    // A fault ahead may map again the cached pages around it, as far back as the start of its
    // page table (2 MiB of addresses): from there on they go again. The mapping is private and
    // never written, so its pages only ever hold the file's bytes.
    constexpr quintptr TableSpan = 2 * 1024 * 1024;
    const quintptr table = (quintptr(m_data) + quintptr(m_letGoTo)) & ~(TableSpan - 1);
    const char *from = qMax(m_data, reinterpret_cast<const char *>(table));
    ::madvise(const_cast<char *>(from), size_t(m_data + end - from), MADV_DONTNEED);
    m_letGoTo = end;
}

DocumentFormat::Passing MappedFile::passing()
{
    return {[](const char *upTo, void *file) { static_cast<MappedFile *>(file)->letGo(upTo); },
            this};
}
