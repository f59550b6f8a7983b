// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "ReportData.h"

#include <QString>

// The rich texts of the two period reports, written from their computed data.
namespace ReportHtml {

QString summary(const ReportData &report, bool decimalHours);
QString timeSheet(const ReportData &report, bool decimalHours);

} // namespace ReportHtml
