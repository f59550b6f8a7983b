// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "ReportData.h"

#include <QString>

// The two period reports as CSV, written from their computed data (see ReportText for the
// format).
namespace ReportCsv {

QString summary(const ReportData &report);
QString timeSheet(const ReportData &report);

} // namespace ReportCsv
