// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "PrivateFiles.h"

#include <QDir>
#include <QFile>

#include <cerrno>

#include <sys/stat.h>

namespace {

// Changing the mode only when it differs: a needless change still touches the file's status,
// which the watch on the data folder would report.
bool hasMode(const struct stat &info, unsigned mode)
{
    return (info.st_mode & 07777) == mode;
}

} // namespace

bool PrivateFiles::makeFolder(const QString &folder)
{
    const QString clean = QDir::cleanPath(folder);
    if (clean.isEmpty())
        return false;
    // Each missing level, from the top down.
    int from = 1;
    for (;;) {
        const int slash = clean.indexOf(QLatin1Char('/'), from);
        const QString level = slash < 0 ? clean : clean.left(slash);
        const QByteArray name = QFile::encodeName(level);
        if (::mkdir(name.constData(), FolderMode) == 0)
            ::chmod(name.constData(), FolderMode);
        else if (errno != EEXIST)
            return false;
        if (slash < 0)
            break;
        from = slash + 1;
    }
    const QByteArray name = QFile::encodeName(clean);
    struct stat info;
    if (::stat(name.constData(), &info) != 0 || !S_ISDIR(info.st_mode))
        return false;
    // A file system without modes still holds the files.
    if (!hasMode(info, FolderMode))
        ::chmod(name.constData(), FolderMode);
    return true;
}

bool PrivateFiles::restrict(int fd)
{
    struct stat info;
    if (::fstat(fd, &info) != 0)
        return false;
    return hasMode(info, FileMode) || ::fchmod(fd, FileMode) == 0;
}

bool PrivateFiles::restrict(const QString &path)
{
    const QByteArray name = QFile::encodeName(path);
    struct stat info;
    if (::stat(name.constData(), &info) != 0)
        return false;
    return hasMode(info, FileMode) || ::chmod(name.constData(), FileMode) == 0;
}
