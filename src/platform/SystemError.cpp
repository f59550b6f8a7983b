// SPDX-License-Identifier: GPL-3.0-or-later
#include "SystemError.h"

#include <cerrno>
#include <cstring>

QString SystemError::describe(int error)
{
    switch (error) {
    case EACCES:
    case EPERM:
        return tr("permission denied");
    case ENOSPC:
        return tr("no space left on the disk");
    case EDQUOT:
        return tr("the disk quota is used up");
    case EROFS:
        return tr("the file system is read-only");
    case EIO:
        return tr("the disk reported an input/output error");
    case ENOENT:
        return tr("it does not exist");
    case ENOTDIR:
        return tr("a part of its path is not a folder");
    case EISDIR:
        return tr("it is a folder");
    case ELOOP:
        return tr("it is a symbolic link");
    case ENAMETOOLONG:
        return tr("its name is too long");
    case EMFILE:
    case ENFILE:
        return tr("too many files are open");
    case ENOMEM:
        return tr("not enough memory");
    case EBUSY:
    case ETXTBSY:
        return tr("it is in use");
    case EXDEV:
        return tr("it lies on another file system");
    case EFBIG:
        return tr("the file would grow beyond its size limit");
    case ENOLCK:
    case EOPNOTSUPP:
        return tr("the file system cannot lock files");
    default:
        break;
    }
    // Rare reasons keep the system's own words rather than a number.
    return QString::fromLocal8Bit(std::strerror(error));
}
