// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QLoggingCategory>

// The program's own diagnostics, one category per area. Below warnings they are off unless
// switched on, for instance QT_LOGGING_RULES="quorvel.*.debug=true": in normal use nothing
// reaches standard error but warnings.
Q_DECLARE_LOGGING_CATEGORY(windowLog) // quorvel.window: the window, its views and dialogs
Q_DECLARE_LOGGING_CATEGORY(reportLog) // quorvel.report: running, showing and saving reports
