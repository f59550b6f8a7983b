// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ReportViewer.h"

#include "platform/DocLnk.h"
#include "platform/Logging.h"
#include "reportwindows/Report.h"
#include "reportwindows/ReportBrowser.h"
#include "reportwindows/ReportPrinter.h"
#include "views/SafeTextBrowser.h"
#include "widgets/FileDialog.h"
#include "widgets/MessageBox.h"

#include <QDebug>
#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLocale>
#include <QPageLayout>
#include <QPdfWriter>
#include <QPrintDialog>
#include <QPrinter>
#include <QProgressDialog>
#include <QPushButton>
#include <QSaveFile>
#include <QScreen>
#include <QVBoxLayout>

namespace {

// Paper as the locale uses it, with margins a printer can reach.
QPageLayout defaultPageLayout()
{
    const QPageSize size(QLocale().measurementSystem() == QLocale::ImperialUSSystem
                             ? QPageSize::Letter
                             : QPageSize::A4);
    return QPageLayout(size, QPageLayout::Portrait, QMarginsF(15, 15, 15, 15),
                       QPageLayout::Millimeter);
}

// A year's time sheet takes a while to lay out: the pointer says so meanwhile.
class BusyCursor
{
public:
    BusyCursor() { QGuiApplication::setOverrideCursor(Qt::WaitCursor); }
    ~BusyCursor() { QGuiApplication::restoreOverrideCursor(); }
    BusyCursor(const BusyCursor &) = delete;
    BusyCursor &operator=(const BusyCursor &) = delete;
};

} // namespace

ReportViewer::ReportViewer(Report *report, QWidget *parent)
    : ModalWidget(parent)
    , m_report(report)
{
    // The buttons come first, then the text above them: Tab goes from the text to the buttons.
    m_save = addButton(tr("Save Report for Viewing Later"), QStringLiteral("btnSaveReport"));
    connect(m_save, &QPushButton::clicked, this, &ReportViewer::saveReport);
    addExportButtons(report != nullptr);
    setupView(report ? report->getReportText() : QString());
    if (report) {
        m_exportName = report->getExportName();
        setWindowTitle(Report::captionWithName(windowTitle(), report->getMenuName()));
    }
}

ReportViewer::ReportViewer(const QString &savedText, QWidget *parent, const QString &name)
    : ModalWidget(parent)
{
    addExportButtons(false);
    setupView(savedText);
    m_exportName = name.isEmpty() ? m_title : name;
    setWindowTitle(Report::captionWithName(windowTitle(), name));
}

QPushButton *ReportViewer::addButton(const QString &text, const QString &objectName)
{
    auto *button = new QPushButton(text, this);
    button->setObjectName(objectName);
    return button;
}

void ReportViewer::addExportButtons(bool csv)
{
    m_print = addButton(tr("Print…"), QStringLiteral("btnPrintReport"));
    connect(m_print, &QPushButton::clicked, this, &ReportViewer::printReport);
    m_exportPdf = addButton(tr("Export as PDF…"), QStringLiteral("btnExportPdf"));
    connect(m_exportPdf, &QPushButton::clicked, this, &ReportViewer::exportPdf);
    if (csv) {
        m_exportCsv = addButton(tr("Export as CSV…"), QStringLiteral("btnExportCsv"));
        connect(m_exportCsv, &QPushButton::clicked, this, &ReportViewer::exportCsv);
    }
}

std::unique_ptr<ReportViewer> ReportViewer::forFile(const QString &path, QWidget *parent,
                                                    const QString &name)
{
    auto viewer = std::unique_ptr<ReportViewer>(new ReportViewer(QString(), parent, name));
    if (!viewer->m_browser->setReportFile(path))
        return nullptr;
    viewer->m_title = ReportPrinter::titleOf(viewer->m_browser->pageText(0));
    if (viewer->m_title.isEmpty())
        viewer->m_title = tr("Quorvel Report");
    if (name.isEmpty())
        viewer->m_exportName = viewer->m_title;
    return viewer;
}

void ReportViewer::setupView(const QString &text)
{
    setWindowTitle(tr("Quorvel - Report"));
    m_browser = new ReportBrowser(this);
    m_browser->setObjectName(QStringLiteral("txtReport"));
    m_browser->setReportText(text);
    m_title = ReportPrinter::titleOf(text);
    if (m_title.isEmpty())
        m_title = tr("Quorvel Report");
    setupWindow();
}

void ReportViewer::setupWindow()
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(1, 1, 1, 1);
    layout->addWidget(m_browser, 1);
    auto *buttons = new QHBoxLayout;
    for (QPushButton *button : {m_save, m_print, m_exportPdf, m_exportCsv}) {
        if (button)
            buttons->addWidget(button);
    }
    layout->addLayout(buttons);
    setFocusProxy(m_browser);
    // The report is read first: the text has the focus, and Tab goes on to the page buttons
    // and the buttons under them.
    m_browser->browser()->setFocus();

    // A report table is wide: open large, within the screen.
    const QScreen *shownOn
        = parentWidget() ? parentWidget()->screen() : QGuiApplication::primaryScreen();
    QSize size(900, 650);
    if (shownOn)
        size = size.boundedTo(shownOn->availableGeometry().size() * 9 / 10);
    resize(size);
}

ReportViewer::Printed ReportViewer::printTo(QPagedPaintDevice *device, const QString &what)
{
    if (!m_browser->piecesCounted()) {
        const BusyCursor busy;
        m_browser->countAllPieces();
    }
    const ReportBrowser *browser = m_browser;
    ReportPrinter printer(m_title, browser->pageCount(),
                          [browser](int page) { return browser->pageText(page); });
    // A year's time sheet takes minutes: the person sees how far it is and may stop it.
    QProgressDialog progress(what, tr("Cancel"), 0, 1, this);
    progress.setObjectName(QStringLiteral("printProgress"));
    progress.setWindowTitle(m_title);
    progress.setWindowModality(Qt::WindowModal);
    progress.setMinimumDuration(m_progressDelayMs);
    progress.setAutoReset(false);
    progress.setAutoClose(false);
    printer.setProgress([&progress](int done, int total) {
        progress.setMaximum(total);
        progress.setValue(done);
        return !progress.wasCanceled();
    });
    const BusyCursor busy;
    const bool printed = printer.print(device);
    if (progress.wasCanceled())
        return Printed::Cancelled;
    return printed ? Printed::Done : Printed::Failed;
}

void ReportViewer::saveReport()
{
    if (!m_report)
        return;
    const QString name = m_report->getReportFileName();
    qCDebug(reportLog).noquote() << QStringLiteral("filename=%1").arg(name);
    DocLnk link;
    qCDebug(reportLog, "DocLnk created");
    link.setName(name);
    qCDebug(reportLog, "file name set");
    link.setType(FileManager::reportType());
    qCDebug(reportLog, "type set");
    const FileManager manager;
    qCDebug(reportLog, "FileManager created");
    if (!manager.saveFile(link, m_report->getReportText())) {
        // Saying "saved" for a report that is not there would lose it the day it is needed.
        MessageBox::warning(this, tr("Report Not Saved"),
                            tr("The report could not be written to\n%1")
                                .arg(FileManager::folderFor(FileManager::reportType())));
        return;
    }
    qCDebug(reportLog, "file saved");
    MessageBox::information(this, tr("Report Saved"), tr("Report document name:\n%1").arg(name));
}

void ReportViewer::printReport()
{
    QPrinter printer(QPrinter::HighResolution);
    printer.setDocName(m_title);
    printer.setPageLayout(defaultPageLayout());
    // Without a printer the dialog offers a file only, which it would name after the title,
    // whose dates make no file name (slashes, or dots taken for an extension): it proposes the
    // name that Export as PDF… proposes.
    if (printer.printerName().isEmpty())
        printer.setOutputFileName(proposedFile(QStringLiteral(".pdf")));
    QPrintDialog dialog(&printer, this);
    dialog.setWindowTitle(tr("Print Report"));
    if (dialog.exec() != QDialog::Accepted)
        return;
    if (printTo(&printer, tr("Printing the report…")) == Printed::Failed) {
        MessageBox::warning(this, tr("Report Not Printed"),
                            tr("The report could not be printed on\n%1")
                                .arg(printer.outputFileName().isEmpty()
                                         ? printer.printerName()
                                         : printer.outputFileName()));
    }
}

void ReportViewer::exportPdf()
{
    const QString path = askExportFile(tr("Export Report as PDF"), QStringLiteral(".pdf"),
                                       tr("PDF documents (*.pdf)"));
    if (path.isEmpty())
        return;
    // Written beside the file and renamed over it when complete: a failed export leaves
    // whatever was there before.
    QSaveFile file(path);
    Printed written = file.open(QIODevice::WriteOnly) ? Printed::Done : Printed::Failed;
    if (written == Printed::Done) {
        QPdfWriter writer(&file);
        writer.setTitle(m_title);
        writer.setCreator(QStringLiteral("Quorvel"));
        writer.setPageLayout(defaultPageLayout());
        written = printTo(&writer, tr("Exporting the report…"));
    }
    // A cancelled export leaves whatever was there before, and is not a failure.
    if (written == Printed::Cancelled)
        file.cancelWriting();
    else if (written == Printed::Failed || !file.commit())
        tellNotWritten(path);
}

void ReportViewer::exportCsv()
{
    if (!m_report)
        return;
    const QString path = askExportFile(tr("Export Report as CSV"), QStringLiteral(".csv"),
                                       tr("CSV files (*.csv)"));
    if (path.isEmpty())
        return;
    const QByteArray bytes = m_report->getReportCsv().toUtf8();
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit())
        tellNotWritten(path);
}

QString ReportViewer::askExportFile(const QString &caption, const QString &extension,
                                    const QString &filter)
{
    QString chosen = FileDialog::getSaveFileName(this, caption, proposedFile(extension), filter);
    // A name typed without an extension gets the file's kind, as the filter promised.
    if (!chosen.isEmpty() && QFileInfo(chosen).suffix().isEmpty())
        chosen += extension;
    return chosen;
}

QString ReportViewer::proposedFile(const QString &extension) const
{
    return QDir(FileManager::userDocumentsFolder())
        .filePath(FileManager::safeFileName(m_exportName) + extension);
}

void ReportViewer::tellNotWritten(const QString &path)
{
    MessageBox::warning(
        this, tr("Report Not Exported"),
        tr("The report could not be written to\n%1").arg(QDir::toNativeSeparators(path)));
}
