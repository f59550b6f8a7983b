// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "Logging.h"

Q_LOGGING_CATEGORY(windowLog, "quorvel.window", QtWarningMsg)
Q_LOGGING_CATEGORY(reportLog, "quorvel.report", QtWarningMsg)
