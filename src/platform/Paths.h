// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QString>

namespace Global {

// Path of the file fileName in the per-user data folder of the application appName:
// <XDG data home>/<appName>/<fileName>. The folder is created if it does not exist, and is
// its owner's only.
QString applicationFileName(const QString &appName, const QString &fileName);

} // namespace Global
