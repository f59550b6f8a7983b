// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "ReportData.h"

#include <QString>

// The two period reports as plain text for a terminal, written from their computed data.
namespace ReportPlainText {

QString summary(const ReportData &report, bool decimalHours);
QString timeSheet(const ReportData &report, bool decimalHours);

} // namespace ReportPlainText
