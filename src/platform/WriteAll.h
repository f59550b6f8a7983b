// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <cstddef>

// Writes all length bytes at data to the descriptor fd, going on after interruptions and
// partial writes. 0 when all are written, else the reason as an errno value (ENOSPC when the
// system took nothing without saying why). Makes only calls that are safe in a signal handler.
int writeAll(int fd, const char *data, size_t length);
