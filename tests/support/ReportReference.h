// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "reports/ReportData.h"

#include <QString>

class QuorvelDocument;

// The period reports' data computed the plain way, asking the document for every activity
// (and every day) on its own: slow, but simple enough to check ReportData::collect() against.
namespace ReportReference {

ReportData summary(const QuorvelDocument &doc, const QDate &from, const QDate &to,
                   bool includeZero);
ReportData timeSheet(const QuorvelDocument &doc, const QDate &from, const QDate &to,
                     bool includeZero);

// The rich texts written from the reference data.
QString summaryHtml(const QuorvelDocument &doc, const QDate &from, const QDate &to,
                    bool includeZero, bool decimalHours);
QString timeSheetHtml(const QuorvelDocument &doc, const QDate &from, const QDate &to,
                      bool includeZero, bool decimalHours);

} // namespace ReportReference
