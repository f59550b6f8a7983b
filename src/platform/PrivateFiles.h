// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QString>

// The person's data, settings and saved reports are theirs alone: files readable and writable
// by the owner only (0600), and the folders Quorvel makes for them 0700. Set explicitly, never
// left to the umask; files and folders from older versions get tightened when written again.
namespace PrivateFiles {

constexpr unsigned FileMode = 0600;
constexpr unsigned FolderMode = 0700;

// Makes folder, and any missing folder above it, with FolderMode, and gives folder itself
// FolderMode if it has another; folders above it that exist are left as they are. False when
// folder is not a folder afterwards.
bool makeFolder(const QString &folder);

// Gives the open file fd, or the file at path, FileMode when it has another. False on failure.
bool restrict(int fd);
bool restrict(const QString &path);

} // namespace PrivateFiles
