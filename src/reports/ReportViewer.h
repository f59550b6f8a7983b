#pragma once

#include "dialogs/ModalWidget.h"

class QPushButton;
class Report;
class ReportBrowser;

// Shows a report's text, computed once when the viewer is built, with a button that saves the
// report as a document of its own. Also, without the button, shows a saved report.
class ReportViewer : public ModalWidget
{
    Q_OBJECT

public:
    // report may be null to show text (a saved report) that cannot be saved again.
    explicit ReportViewer(Report *report, QWidget *parent = nullptr);
    // Shows text that was saved before; there is nothing to save.
    ReportViewer(const QString &savedText, QWidget *parent);

    ReportBrowser *browser() const { return m_browser; }
    QPushButton *saveButton() const { return m_save; }

public Q_SLOTS:
    void saveReport();

private:
    void setupView(const QString &text);

    Report *m_report = nullptr;
    ReportBrowser *m_browser = nullptr;
    QPushButton *m_save = nullptr;
};
