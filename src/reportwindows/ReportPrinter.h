// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QCoreApplication>
#include <QString>
#include <QStringList>

#include <functional>
#include <vector>

class QPagedPaintDevice;

// Paints a report on paper or into a PDF. Each page of the report as the viewer shows it (see
// ReportBrowser) is laid out on its own, once, at the width of the device's page and printed on as
// many sheets as it takes: a year's time sheet is never one document, which would take minutes
// and gigabytes to lay out. A report's table spans the sheet, its header rows head every sheet,
// and a sheet ends before a row whose first cell begins a group of rows (a day of the time sheet)
// unless that group alone is longer than a sheet. Every sheet has the report's title at its head
// and "Page n of m" at its foot.
class ReportPrinter
{
    Q_DECLARE_TR_FUNCTIONS(ReportPrinter)

public:
    // The html of page index, 0 <= index < pageCount. Asked for once, in order; only one page's
    // layout is in memory at a time.
    using PageText = std::function<QString(int index)>;

    // Told after each step, of total steps (each page is laid out, then its sheets are printed);
    // returning false stops the printing, and print() then returns false.
    using Progress = std::function<bool(int done, int total)>;

    ReportPrinter(const QString &title, int pageCount, PageText pageText);
    ReportPrinter(const QString &title, const QStringList &pages);

    // Paints every sheet on device, the first on its current page. False when the device
    // cannot be painted on or refuses a new page.
    bool print(QPagedPaintDevice *device) const;
    void setProgress(Progress progress) { m_progress = std::move(progress); }

    // What the last print() did: how many pages it laid out, and the narrowest table it printed
    // as a share of the sheet's width (0 when no page had a table).
    int layoutCount() const { return m_layouts; }
    qreal narrowestTable() const { return m_narrowest; }

    // The title of a report's html: the lines before its table, on one line ("Period Summary
    // Report, 11/01/26 to 11/30/26"); empty when there are none.
    static QString titleOf(const QString &html);

private:
    QString m_title;
    int m_pageCount = 0;
    PageText m_pageText;
    Progress m_progress;
    mutable int m_layouts = 0;
    mutable qreal m_narrowest = 0;
};
