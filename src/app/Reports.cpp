// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The main window's Report menu: the reports it runs and the saved reports it reopens.

#include "QuorvelMainWindow.h"

#include "model/QuorvelDocument.h"
#include "platform/DocLnk.h"
#include "platform/Logging.h"
#include "reportwindows/FileSelectDialog.h"
#include "reportwindows/PeriodSummaryReport.h"
#include "reportwindows/PeriodTimeSheetReport.h"
#include "reportwindows/ReportViewer.h"

#include <QAction>
#include <QDebug>
#include <QMenu>

void QuorvelMainWindow::setupReports()
{
    m_reports.clear();
    m_reports.push_back(std::make_unique<PeriodSummaryReport>(this, m_document.get()));
    m_reports.push_back(std::make_unique<PeriodTimeSheetReport>(this, m_document.get()));
}

void QuorvelMainWindow::addReportMenuItems(QMenu *reportMenu)
{
    for (const std::unique_ptr<Report> &report : m_reports) {
        auto *action = new QAction(report->getMenuName(), this);
        action->setObjectName(QStringLiteral("report %1").arg(&report - m_reports.data()));
        reportMenu->addAction(action);
        connect(action, &QAction::triggered, report.get(), &Report::invoke);
    }
    reportMenu->addSeparator();
    auto *viewSaved = new QAction(tr("View Saved Report"), this);
    connect(viewSaved, &QAction::triggered, this, &QuorvelMainWindow::viewSavedReport);
    reportMenu->addAction(viewSaved);
}

QAction *QuorvelMainWindow::actionForReport(int index) const
{
    return findChild<QAction *>(QStringLiteral("report %1").arg(index), Qt::FindDirectChildrenOnly);
}

void QuorvelMainWindow::viewSavedReport()
{
    QString chosen;
    {
        FileSelectDialog dialog(this);
        dialog.exec();
        chosen = dialog.selectedFile();
    }
    if (!chosen.isEmpty())
        showDocument(DocLnk(chosen));
}

void QuorvelMainWindow::setDocument(const QString &path)
{
    showDocument(DocLnk(path));
}

void QuorvelMainWindow::showDocument(const DocLnk &link)
{
    // Read a piece at a time when large: the window must go on answering meanwhile.
    const std::unique_ptr<ReportViewer> viewer
        = ReportViewer::forFile(link.file(), this, link.name());
    if (!viewer)
        return;
    qCDebug(reportLog).noquote() << "Showing saved report" << link.file();
    viewer->setObjectName(QStringLiteral("Report"));
    viewer->exec();
}
