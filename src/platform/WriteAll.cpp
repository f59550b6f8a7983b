// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "WriteAll.h"

#include <cerrno>
#include <unistd.h>

int writeAll(int fd, const char *data, size_t length)
{
    while (length > 0) {
        const ssize_t written = ::write(fd, data, length);
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return errno;
        if (written == 0)
            return ENOSPC;
        data += written;
        length -= size_t(written);
    }
    return 0;
}
