// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "dialogs/ModalWidget.h"

#include <memory>

class QPagedPaintDevice;
class QPushButton;
class Report;
class ReportBrowser;

// Shows a report's text, computed once when the viewer is built, with buttons that save the
// report as a document of its own, print it, and export it as PDF or CSV. Also shows a saved
// report, which can be printed and exported as PDF; its CSV would need the report's data,
// which a saved text no longer has.
class ReportViewer : public ModalWidget
{
    Q_OBJECT

public:
    // report may be null to show text (a saved report) that cannot be saved again.
    explicit ReportViewer(Report *report, QWidget *parent = nullptr);
    // Shows text that was saved before under name; there is nothing to save.
    ReportViewer(const QString &savedText, QWidget *parent, const QString &name = QString());
    // Shows the report saved in the file at path, read as ReportBrowser::setReportFile()
    // reads it; null when the file cannot be read.
    static std::unique_ptr<ReportViewer> forFile(const QString &path, QWidget *parent,
                                                 const QString &name = QString());

    ReportBrowser *browser() const { return m_browser; }
    QPushButton *saveButton() const { return m_save; }
    QPushButton *printButton() const { return m_print; }
    QPushButton *pdfButton() const { return m_exportPdf; }
    // Null for a saved report.
    QPushButton *csvButton() const { return m_exportCsv; }

    // The report's title as printed at the head of every sheet.
    QString reportTitle() const { return m_title; }
    enum class Printed { Done, Failed, Cancelled };
    // Paints the report as shown, page by page, with a window that tells the progress of a
    // long report and lets the person cancel (what, e.g., "Exporting the report…").
    Printed printTo(QPagedPaintDevice *device, const QString &what);
    // How long printing runs before its progress is shown (half a second unless set).
    void setProgressDelay(int ms) { m_progressDelayMs = ms; }

public Q_SLOTS:
    void saveReport();
    void printReport();
    void exportPdf();
    void exportCsv();

private:
    QPushButton *addButton(const QString &text, const QString &objectName);
    void addExportButtons(bool csv);
    void setupView(const QString &text);
    // The window around the browser, once it shows its first page.
    void setupWindow();
    // The file the person chooses, proposed in the documents folder under the report's name;
    // empty when cancelled.
    QString askExportFile(const QString &caption, const QString &extension, const QString &filter);
    // The report's safe file name in the documents folder, with extension.
    QString proposedFile(const QString &extension) const;
    void tellNotWritten(const QString &path);

    Report *m_report = nullptr;
    QString m_title;
    QString m_exportName;
    ReportBrowser *m_browser = nullptr;
    QPushButton *m_save = nullptr;
    QPushButton *m_print = nullptr;
    QPushButton *m_exportPdf = nullptr;
    QPushButton *m_exportCsv = nullptr;
    int m_progressDelayMs = 500;
};
