// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "ReportData.h"

#include <QString>
#include <QStringView>

#include <functional>

// The rich texts of the two period reports, written from their computed data.
namespace ReportHtml {

QString summary(const ReportData &report, bool decimalHours);
QString timeSheet(const ReportData &report, bool decimalHours);
// The same texts handed on in pieces as they are written, each valid only during its call: a
// long period's time sheet, tens of megabytes, then never lies in memory whole.
void handOnSummary(const ReportData &report, bool decimalHours,
                   const std::function<void(QStringView)> &take);
void handOnTimeSheet(const ReportData &report, bool decimalHours,
                     const std::function<void(QStringView)> &take);

} // namespace ReportHtml
