// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// Printing and exporting reports from the report window: PDF and paper through the same
// renderer, page by page with the title on every sheet, and CSV for spreadsheets.

#include "DocumentBuilder.h"
#include "ModalAnswers.h"
#include "TestEnvironment.h"

#include "model/QuorvelDocument.h"
#include "platform/Clock.h"
#include "reportwindows/PeriodSummaryReport.h"
#include "reportwindows/PeriodTimeSheetReport.h"
#include "reportwindows/ReportBrowser.h"
#include "reportwindows/ReportPrinter.h"
#include "reportwindows/ReportViewer.h"
#include "widgets/FileDialog.h"

#include <QDir>
#include <QFile>
#include <QLineEdit>
#include <QPdfWriter>
#include <QPrintDialog>
#include <QPrinter>
#include <QPrinterInfo>
#include <QProcess>
#include <QProgressDialog>
#include <QPushButton>
#include <QTemporaryDir>
#include <QtTest>

namespace {

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The sample data with three tasks in November 2026: 1:35 of Consulting on the 2nd, 0:59 of
// Home Project Beta on the 20th, 2:00 of Project Alpha Development on the 21st.
void fillSample(QuorvelDocument &doc)
{
    doc.createSampleData();
    DocumentBuilder build(doc);
    build.task(doc.activities.at(0), at(2, 9, 0), at(2, 10, 35));
    build.task(doc.activities.at(1), at(20, 8, 0), at(20, 8, 59));
    build.task(doc.activities.at(3), at(21, 7, 0), at(21, 9, 0));
    build.sortAll();
}

// A time sheet of 300 days with three activities a day: several pages in the viewer.
void fillLong(QuorvelDocument &doc)
{
    doc.createSampleData();
    DocumentBuilder build(doc);
    build.longTimeSheet(300);
    build.sortAll();
}

// Runs a poppler tool on a PDF and gives its standard output; fails the test when the tool
// cannot run (CI installs poppler-utils: a missing tool is a broken setup, not a skip).
QByteArray poppler(const QString &tool, const QStringList &arguments)
{
    QProcess process;
    process.start(tool, arguments);
    if (!process.waitForStarted(10000)) {
        const QString reason = tool + QStringLiteral(" could not be started (")
                               + process.errorString()
                               + QStringLiteral("); Debian has it in poppler-utils");
        QTest::qFail(qPrintable(reason), __FILE__, __LINE__);
        return QByteArray();
    }
    if (!process.waitForFinished(120000) || process.exitStatus() != QProcess::NormalExit
        || process.exitCode() != 0) {
        const QString reason = tool + QStringLiteral(" failed: ")
                               + QString::fromLocal8Bit(process.readAllStandardError());
        QTest::qFail(qPrintable(reason), __FILE__, __LINE__);
        return QByteArray();
    }
    return process.readAllStandardOutput();
}

// The text of each sheet of a PDF in the order it was painted (pdftotext -raw): the header
// line, the page number, then the body. Lines with their blanks simplified, empty ones left out.
QList<QStringList> sheetTexts(const QString &pdf)
{
    const QByteArray text
        = poppler(QStringLiteral("pdftotext"), {QStringLiteral("-raw"), pdf, QStringLiteral("-")});
    QList<QStringList> sheets;
    const QStringList pages = QString::fromUtf8(text).split(QLatin1Char('\f'));
    // pdftotext ends every sheet with a form feed, the last one too.
    for (qsizetype i = 0; i + 1 < pages.size(); ++i) {
        QStringList lines;
        for (const QString &line : pages.at(i).split(QLatin1Char('\n'))) {
            if (!line.simplified().isEmpty())
                lines.append(line.simplified());
        }
        sheets.append(lines);
    }
    return sheets;
}

int pdfPages(const QString &pdf)
{
    const QByteArray info = poppler(QStringLiteral("pdfinfo"), {pdf});
    for (const QByteArray &line : info.split('\n')) {
        if (line.startsWith("Pages:"))
            return line.mid(6).trimmed().toInt();
    }
    return -1;
}

// Every sheet begins with the title and the page number, "Page 1 of n" to "Page n of n".
void checkHeadersAndFooters(const QList<QStringList> &sheets, const QString &title)
{
    for (qsizetype i = 0; i < sheets.size(); ++i) {
        QVERIFY2(sheets.at(i).size() >= 2, qPrintable(QStringLiteral("sheet %1").arg(i + 1)));
        QCOMPARE(sheets.at(i).at(0), title);
        QCOMPARE(sheets.at(i).at(1), QStringLiteral("Page %1 of %2").arg(i + 1).arg(sheets.size()));
    }
}

// One file name was asked for, with these words, proposing fileName in the documents folder.
void checkAsked(const QString &caption, const QString &fileName, const QString &filter)
{
    QCOMPARE(FileDialog::asked().size(), 1);
    QCOMPARE(FileDialog::asked().first().caption, caption);
    QCOMPARE(FileDialog::asked().first().path,
             TestEnvironment::instance()->documentsDir() + QLatin1Char('/') + fileName);
    QCOMPARE(FileDialog::asked().first().filter, filter);
}

const QString summaryTitle = QStringLiteral("Period Summary Report, 11/1/26 to 11/30/26");

// The summary of the sample data as it is printed: one sheet.
const QStringList summarySheet{
    summaryTitle,
    QStringLiteral("Page 1 of 1"),
    QStringLiteral("Period Summary Report"),
    QStringLiteral("11/1/26 to 11/30/26"),
    QStringLiteral("Bill rate 1 Bill rate 2 Private"),
    QStringLiteral("hrs : mins hrs : mins hrs : mins"),
    QStringLiteral("Consulting for client R. Vance 1:35"),
    QStringLiteral("Home Project Beta 0:59"),
    QStringLiteral("Home Project Delta 0:00"),
    QStringLiteral("Project Alpha Development 2:00"),
    QStringLiteral("Project Alpha Documentation 0:00"),
    QStringLiteral("Totals 1:35 2:00 0:59"),
};

// Two activities whose names need quoting in CSV, one in a category with a non-ASCII name.
void fillQuoted(QuorvelDocument &doc)
{
    DocumentBuilder build(doc);
    ActivityCategory *clients = build.category(QStringLiteral("Kunden Ä"));
    Activity *mueller = build.activity(QString::fromUtf8("M\u00fcller, \"Caf\u00e9\""), clients);
    Activity *design = build.activity(QStringLiteral("Design, UX"), nullptr);
    build.task(mueller, at(2, 9, 0), at(2, 10, 30));
    build.task(design, at(2, 11, 0), at(2, 11, 20));
    build.task(mueller, at(3, 8, 0), at(3, 8, 45));
    build.sortAll();
}

} // namespace

class TestReportExport : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void buttonsOfTheReportWindow();
    void pdfOfTheSummary();
    void pdfOfALongTimeSheetHasTheTitleOnEverySheet();
    void printingUsesTheSameSheets();
    void longExportShowsProgressAndCanBeCancelled();
    void printerTakesPagesGiven();
    void printerTakesTextNamingATable();
    void printerStopsWhenTold();
    void sheetsRepeatTheHeaderAndKeepDaysWhole();
    void tableSpansTheSheetAndEachPageIsLaidOutOnce();
    void printToFileProposesTheExportName();
    void savedReportIsExportedAsPdfButNotCsv();
    void titleOfDamagedText();

    void csvOfTheSummary();
    void csvOfTheTimeSheet();
    void csvGetsItsExtension();
    void csvNamesNeverRunAsFormulas();
    void exportReplacesAnExistingFile();
    void cancelledExportWritesNothing();
    void writeFailuresAreTold();

private:
    // The time sheet from 2026-11-02 to the last day, as "Export as CSV…" writes it.
    QByteArray timeSheetCsv(QuorvelDocument &doc, int lastDay);

    QTemporaryDir m_dir;
};

void TestReportExport::init()
{
    TestEnvironment::wipe();
    MessageBox::clearShown();
    FileDialog::clearAsked();
    Clock::setFixed(QDateTime(QDate(2026, 11, 21), QTime(9, 30, 0)));
    QDir(m_dir.path()).removeRecursively();
    QVERIFY(QDir().mkpath(m_dir.path()));
}

void TestReportExport::buttonsOfTheReportWindow()
{
    QuorvelDocument doc;
    fillSample(doc);
    PeriodSummaryReport summary(nullptr, &doc);
    const ReportViewer viewer(&summary);
    QCOMPARE(viewer.printButton()->text(), QStringLiteral("Print…"));
    QCOMPARE(viewer.pdfButton()->text(), QStringLiteral("Export as PDF…"));
    QVERIFY(viewer.csvButton());
    QCOMPARE(viewer.csvButton()->text(), QStringLiteral("Export as CSV…"));
    QCOMPARE(viewer.saveButton()->text(), QStringLiteral("Save Report for Viewing Later"));
}

void TestReportExport::pdfOfTheSummary()
{
    QuorvelDocument doc;
    fillSample(doc);
    PeriodSummaryReport summary(nullptr, &doc);
    summary.setPeriod(QDate(2026, 11, 1), QDate(2026, 11, 30));
    ReportViewer viewer(&summary);
    QCOMPARE(viewer.reportTitle(), summaryTitle);

    const QString pdf = m_dir.filePath(QStringLiteral("summary.pdf"));
    FileDialog::setNextAnswer(pdf);
    viewer.pdfButton()->click();
    checkAsked(QStringLiteral("Export Report as PDF"),
               QStringLiteral("Period Summary Report 2026-11-01 to 2026-11-30.pdf"),
               QStringLiteral("PDF documents (*.pdf)"));
    QCOMPARE(MessageBox::shown().size(), 0);

    QVERIFY(readFile(pdf).startsWith("%PDF-"));
    QCOMPARE(pdfPages(pdf), 1);
    const QList<QStringList> sheets = sheetTexts(pdf);
    QCOMPARE(sheets.size(), 1);
    QCOMPARE(sheets.first(), summarySheet);
    // Nothing is left beside the file.
    QCOMPARE(QDir(m_dir.path()).entryList(QDir::Files | QDir::Hidden),
             QStringList{QStringLiteral("summary.pdf")});
}

void TestReportExport::pdfOfALongTimeSheetHasTheTitleOnEverySheet()
{
    QuorvelDocument doc;
    fillLong(doc);
    PeriodTimeSheetReport sheet(nullptr, &doc);
    sheet.setPeriod(QDate(2026, 1, 26), QDate(2026, 11, 21));
    ReportViewer viewer(&sheet);
    QCOMPARE(viewer.browser()->pageCount(), 5);

    const QString pdf = m_dir.filePath(QStringLiteral("sheet.pdf"));
    FileDialog::setNextAnswer(pdf);
    viewer.pdfButton()->click();
    QCOMPARE(MessageBox::shown().size(), 0);
    QCOMPARE(FileDialog::asked().first().path,
             TestEnvironment::instance()->documentsDir()
                 + QStringLiteral("/Period Time Sheet 2026-01-26 to 2026-11-21.pdf"));

    const QList<QStringList> sheets = sheetTexts(pdf);
    QCOMPARE(pdfPages(pdf), int(sheets.size()));
    // 300 days of ten rows do not fit on five sheets.
    QVERIFY2(sheets.size() > 10, qPrintable(QString::number(sheets.size())));
    checkHeadersAndFooters(sheets, QStringLiteral("Period Time Sheet, 1/26/26 to 11/21/26"));
    // Each of the viewer's pages starts a sheet with the sheet's own title and column heads.
    int headed = 0;
    for (const QStringList &lines : sheets) {
        if (lines.size() > 3 && lines.at(2) == QStringLiteral("Period Time Sheet")
            && lines.at(3) == QStringLiteral("1/26/26 to 11/21/26"))
            ++headed;
    }
    QCOMPARE(headed, 5);
    QCOMPARE(sheets.first().at(4), QStringLiteral("Bill rate 1 Bill rate 2 Private"));
    // The period totals close the last sheet: 300 days of 2:15.
    QCOMPARE(sheets.last().last(), QStringLiteral("Period Totals 675:00 0:00 0:00 675:00"));
    QCOMPARE(sheets.last().at(sheets.last().size() - 2),
             QStringLiteral("Daily Totals 2:15 0:00 0:00 2:15"));
}

void TestReportExport::longExportShowsProgressAndCanBeCancelled()
{
    QuorvelDocument doc;
    fillLong(doc);
    PeriodTimeSheetReport sheet(nullptr, &doc);
    sheet.setPeriod(QDate(2026, 1, 26), QDate(2026, 11, 21));
    ReportViewer viewer(&sheet);
    viewer.setProgressDelay(0);
    const QString pdf = m_dir.filePath(QStringLiteral("sheet.pdf"));
    QFile old(pdf);
    QVERIFY(old.open(QIODevice::WriteOnly));
    old.write("an earlier export");
    old.close();

    QString label;
    int maximum = 0;
    QTimer::singleShot(0, &viewer, [&] {
        auto *progress = viewer.findChild<QProgressDialog *>(QStringLiteral("printProgress"));
        QVERIFY(progress);
        label = progress->labelText();
        maximum = progress->maximum();
        progress->cancel();
    });
    FileDialog::setNextAnswer(pdf);
    viewer.pdfButton()->click();
    QCOMPARE(label, QStringLiteral("Exporting the report…"));
    // Each of the five pages is counted, then printed.
    QCOMPARE(maximum, 10);
    // Cancelling is no failure, and the earlier file stays as it was, with nothing beside it.
    QCOMPARE(MessageBox::shown().size(), 0);
    QCOMPARE(readFile(pdf), QByteArray("an earlier export"));
    QCOMPARE(QDir(m_dir.path()).entryList(QDir::Files | QDir::Hidden),
             QStringList{QStringLiteral("sheet.pdf")});
    QVERIFY(!viewer.findChild<QProgressDialog *>(QStringLiteral("printProgress")));
}

void TestReportExport::printingUsesTheSameSheets()
{
    QuorvelDocument doc;
    fillLong(doc);
    PeriodTimeSheetReport sheet(nullptr, &doc);
    sheet.setPeriod(QDate(2026, 1, 26), QDate(2026, 11, 21));
    ReportViewer viewer(&sheet);
    const QString exported = m_dir.filePath(QStringLiteral("exported.pdf"));
    FileDialog::setNextAnswer(exported);
    viewer.exportPdf();

    // What the print dialog would hand over: a printer, here one that writes a PDF.
    QPrinter printer(QPrinter::HighResolution);
    printer.setOutputFormat(QPrinter::PdfFormat);
    const QString printed = m_dir.filePath(QStringLiteral("printed.pdf"));
    printer.setOutputFileName(printed);
    printer.setPageLayout(QPageLayout(QPageSize(QPageSize::Letter), QPageLayout::Portrait,
                                      QMarginsF(15, 15, 15, 15), QPageLayout::Millimeter));
    QCOMPARE(viewer.printTo(&printer, QStringLiteral("Printing")), ReportViewer::Printed::Done);

    const QList<QStringList> exportedSheets = sheetTexts(exported);
    const QList<QStringList> printedSheets = sheetTexts(printed);
    QCOMPARE(pdfPages(printed), int(printedSheets.size()));
    QVERIFY(printedSheets.size() > 10);
    checkHeadersAndFooters(printedSheets, QStringLiteral("Period Time Sheet, 1/26/26 to 11/21/26"));
    // The test locale is en_US: the export is on Letter too, so the sheets are the same.
    QCOMPARE(printedSheets, exportedSheets);
}

void TestReportExport::printerTakesPagesGiven()
{
    const ReportPrinter printer(
        QStringLiteral("Two pages"),
        {QStringLiteral("<qt><p>First page</p></qt>"), QStringLiteral("<qt><p>Second</p></qt>")});
    QPrinter device(QPrinter::HighResolution);
    device.setOutputFormat(QPrinter::PdfFormat);
    const QString pdf = m_dir.filePath(QStringLiteral("given.pdf"));
    device.setOutputFileName(pdf);
    QVERIFY(printer.print(&device));
    const QList<QStringList> expected{
        {QStringLiteral("Two pages"), QStringLiteral("Page 1 of 2"), QStringLiteral("First page")},
        {QStringLiteral("Two pages"), QStringLiteral("Page 2 of 2"), QStringLiteral("Second")},
    };
    QCOMPARE(sheetTexts(pdf), expected);
}

void TestReportExport::printerTakesTextNamingATable()
{
    // "<table" in a comment only: no table to cut at, yet every line is printed.
    QString page = QStringLiteral("<qt><!-- <table> -->");
    for (int line = 1; line <= 150; ++line)
        page += QStringLiteral("<p>Line %1</p>").arg(line);
    page += QStringLiteral("</qt>");
    const ReportPrinter printer(QStringLiteral("Lines"), {page});
    QPrinter device(QPrinter::HighResolution);
    device.setOutputFormat(QPrinter::PdfFormat);
    const QString pdf = m_dir.filePath(QStringLiteral("lines.pdf"));
    device.setOutputFileName(pdf);
    QVERIFY(printer.print(&device));
    const QList<QStringList> sheets = sheetTexts(pdf);
    QVERIFY2(sheets.size() > 1, qPrintable(QString::number(sheets.size())));
    checkHeadersAndFooters(sheets, QStringLiteral("Lines"));
    QStringList lines;
    for (const QStringList &sheet : sheets)
        lines += sheet.mid(2);
    // A line at the foot of a sheet may be painted, cut, on the next one too.
    lines.removeDuplicates();
    QCOMPARE(lines.size(), 150);
    QCOMPARE(lines.first(), QStringLiteral("Line 1"));
    QCOMPARE(lines.last(), QStringLiteral("Line 150"));
}

void TestReportExport::printerStopsWhenTold()
{
    QStringList asked;
    ReportPrinter printer(QStringLiteral("Three pages"), 3, [&asked](int page) {
        asked << QString::number(page);
        return QStringLiteral("<qt><p>Page</p></qt>");
    });
    QList<QPair<int, int>> told;
    // Stopped after the second page was printed. Each page is laid out once, before any is
    // printed.
    printer.setProgress([&told](int done, int total) {
        told << qMakePair(done, total);
        return done < 5;
    });
    QPrinter device(QPrinter::HighResolution);
    device.setOutputFormat(QPrinter::PdfFormat);
    device.setOutputFileName(m_dir.filePath(QStringLiteral("stopped.pdf")));
    QVERIFY(!printer.print(&device));
    QCOMPARE(asked, (QStringList{QStringLiteral("0"), QStringLiteral("1"), QStringLiteral("2")}));
    QCOMPARE(printer.layoutCount(), 3);
    QCOMPARE(told, (QList<QPair<int, int>>{{1, 6}, {2, 6}, {3, 6}, {4, 6}, {5, 6}}));
}

// Every sheet of the long time sheet: the column heads at the top of its table, and whole days.
void TestReportExport::sheetsRepeatTheHeaderAndKeepDaysWhole()
{
    QuorvelDocument doc;
    fillLong(doc);
    PeriodTimeSheetReport sheet(nullptr, &doc);
    sheet.setPeriod(QDate(2026, 1, 26), QDate(2026, 11, 21));
    ReportViewer viewer(&sheet);
    const QString pdf = m_dir.filePath(QStringLiteral("sheet.pdf"));
    FileDialog::setNextAnswer(pdf);
    viewer.exportPdf();
    const QList<QStringList> sheets = sheetTexts(pdf);
    QVERIFY2(sheets.size() > 10, qPrintable(QString::number(sheets.size())));
    checkHeadersAndFooters(sheets, QStringLiteral("Period Time Sheet, 1/26/26 to 11/21/26"));

    const QRegularExpression weekday(QStringLiteral("^(Mon|Tue|Wed|Thu|Fri|Sat|Sun)$"));
    const QString dailyTotals = QStringLiteral("Daily Totals 2:15 0:00 0:00 2:15");
    int days = 0;
    for (qsizetype i = 0; i < sheets.size(); ++i) {
        const QString which = QStringLiteral("sheet %1").arg(i + 1);
        QStringList body = sheets.at(i).mid(2);
        // A page of the viewer begins with the report's own title and period.
        if (body.value(0) == QStringLiteral("Period Time Sheet"))
            body = body.mid(2);
        QCOMPARE(body.value(0), QStringLiteral("Bill rate 1 Bill rate 2 Private"));
        QCOMPARE(body.value(1), QStringLiteral("hrs : mins hrs : mins hrs : mins"));
        // A day begins the sheet's rows, and its daily totals end them (the period totals end
        // the last sheet): no day is cut.
        QVERIFY2(weekday.match(body.value(2)).hasMatch(), qPrintable(which + body.value(2)));
        const bool last = i + 1 == sheets.size();
        QCOMPARE(body.at(body.size() - (last ? 2 : 1)), dailyTotals);
        const qsizetype starts = body.filter(weekday).size();
        QCOMPARE(starts, body.count(dailyTotals));
        QVERIFY2(starts > 0, qPrintable(which));
        days += int(starts);
    }
    QCOMPARE(days, 300);
}

void TestReportExport::tableSpansTheSheetAndEachPageIsLaidOutOnce()
{
    QuorvelDocument doc;
    fillLong(doc);
    PeriodTimeSheetReport sheet(nullptr, &doc);
    sheet.setPeriod(QDate(2026, 1, 26), QDate(2026, 11, 21));
    ReportViewer viewer(&sheet);
    const ReportBrowser *browser = viewer.browser();
    QCOMPARE(browser->pageCount(), 5);
    QList<int> asked;
    ReportPrinter printer(viewer.reportTitle(), browser->pageCount(), [&asked, browser](int page) {
        asked << page;
        return browser->pageText(page);
    });
    const QString pdf = m_dir.filePath(QStringLiteral("once.pdf"));
    {
        QPdfWriter writer(pdf);
        writer.setPageLayout(QPageLayout(QPageSize(QPageSize::A4), QPageLayout::Portrait,
                                         QMarginsF(15, 15, 15, 15), QPageLayout::Millimeter));
        QVERIFY(printer.print(&writer));
    }
    QCOMPARE(asked, (QList<int>{0, 1, 2, 3, 4}));
    QCOMPARE(printer.layoutCount(), 5);
    // Before, the table took about a third of the sheet's width.
    QVERIFY2(printer.narrowestTable() >= 0.8,
             qPrintable(QString::number(printer.narrowestTable())));
    QVERIFY(printer.narrowestTable() <= 1.0);
    // The sheets are still numbered "of" their right total.
    const QList<QStringList> sheets = sheetTexts(pdf);
    QCOMPARE(pdfPages(pdf), int(sheets.size()));
    checkHeadersAndFooters(sheets, QStringLiteral("Period Time Sheet, 1/26/26 to 11/21/26"));

    // The summary, three categories, spans the sheet too.
    PeriodSummaryReport summary(nullptr, &doc);
    ReportPrinter summaryPrinter(QStringLiteral("Summary"), {summary.getReportText()});
    QPdfWriter writer(m_dir.filePath(QStringLiteral("summary.pdf")));
    QVERIFY(summaryPrinter.print(&writer));
    QCOMPARE(summaryPrinter.layoutCount(), 1);
    QVERIFY2(summaryPrinter.narrowestTable() >= 0.8,
             qPrintable(QString::number(summaryPrinter.narrowestTable())));
}

// Without a printer, Qt's print dialog offers a PDF file only, which it named after the title
// ("Period Time Sheet, 1/25/26 to 11/25/26": folders in English, a wrong extension in German).
void TestReportExport::printToFileProposesTheExportName()
{
    if (!QPrinterInfo::availablePrinterNames().isEmpty())
        QSKIP("a printer is installed: the dialog proposes it rather than a file");
    QuorvelDocument doc;
    fillLong(doc);
    PeriodTimeSheetReport sheet(nullptr, &doc);
    sheet.setPeriod(QDate(2026, 1, 25), QDate(2026, 11, 25));
    ReportViewer viewer(&sheet);
    QString proposed;
    ModalAnswers answers;
    answers.add([&proposed](QWidget *widget) {
        auto *dialog = qobject_cast<QPrintDialog *>(widget);
        QVERIFY(dialog);
        const auto *file = dialog->findChild<QLineEdit *>(QStringLiteral("filename"));
        QVERIFY(file);
        proposed = file->text();
        dialog->reject();
    });
    viewer.printButton()->click();
    QCOMPARE(answers.remaining(), 0);
    QCOMPARE(proposed, TestEnvironment::instance()->documentsDir()
                           + QStringLiteral("/Period Time Sheet 2026-01-25 to 2026-11-25.pdf"));
    // The dialog checks that it can write there, as here.
    QFile file(proposed);
    QVERIFY(file.open(QIODevice::Append));
    file.close();
    QVERIFY(file.remove());
    QCOMPARE(MessageBox::shown().size(), 0);
}

void TestReportExport::savedReportIsExportedAsPdfButNotCsv()
{
    QuorvelDocument doc;
    fillSample(doc);
    PeriodSummaryReport summary(nullptr, &doc);
    summary.setPeriod(QDate(2026, 11, 1), QDate(2026, 11, 30));
    ReportViewer viewer(summary.getReportText(), nullptr, QStringLiteral("Summary 11-21-26"));
    QVERIFY(!viewer.saveButton());
    QVERIFY(!viewer.csvButton());
    QVERIFY(viewer.printButton());
    QCOMPARE(viewer.reportTitle(), summaryTitle);

    const QString pdf = m_dir.filePath(QStringLiteral("saved.pdf"));
    FileDialog::setNextAnswer(pdf);
    viewer.pdfButton()->click();
    QCOMPARE(FileDialog::asked().first().path,
             TestEnvironment::instance()->documentsDir() + QStringLiteral("/Summary 11-21-26.pdf"));
    QCOMPARE(sheetTexts(pdf), QList<QStringList>{summarySheet});

    // Without a name, the report's title names the file; a '/' never goes into a name.
    ReportViewer unnamed(summary.getReportText(), nullptr);
    unnamed.exportPdf();
    QCOMPARE(FileDialog::asked().last().path,
             TestEnvironment::instance()->documentsDir()
                 + QStringLiteral("/Period Summary Report, 11-1-26 to 11-30-26.pdf"));
}

void TestReportExport::titleOfDamagedText()
{
    QCOMPARE(ReportPrinter::titleOf(QStringLiteral("<qt>A saved report</qt>")),
             QStringLiteral("A saved report"));
    QCOMPARE(ReportPrinter::titleOf(QString()), QString());
    const ReportViewer empty(QString(), nullptr);
    QCOMPARE(empty.reportTitle(), QStringLiteral("Quorvel Report"));
    // Only the head is read; a title without white space is cut short.
    const QString long_ = QStringLiteral("<p>") + QString(100000, QLatin1Char('x'));
    QCOMPARE(ReportPrinter::titleOf(long_), QString(200, QLatin1Char('x')));
}

void TestReportExport::csvOfTheSummary()
{
    QuorvelDocument doc;
    fillQuoted(doc);
    PeriodSummaryReport summary(nullptr, &doc);
    summary.setPeriod(QDate(2026, 11, 2), QDate(2026, 11, 3));
    summary.setIncludeZeroActivities(false);
    ReportViewer viewer(&summary);
    const QString csv = m_dir.filePath(QStringLiteral("summary.csv"));
    FileDialog::setNextAnswer(csv);
    viewer.csvButton()->click();
    checkAsked(QStringLiteral("Export Report as CSV"),
               QStringLiteral("Period Summary Report 2026-11-02 to 2026-11-03.csv"),
               QStringLiteral("CSV files (*.csv)"));
    QCOMPARE(MessageBox::shown().size(), 0);
    QCOMPARE(readFile(csv), QByteArray("Activity,Category,Minutes,Hours\r\n"
                                       "\"Design, UX\",,20,0.3333\r\n"
                                       "\"M\xc3\xbcller, \"\"Caf\xc3\xa9\"\"\",Kunden \xc3\x84,135,"
                                       "2.2500\r\n"));
}

QByteArray TestReportExport::timeSheetCsv(QuorvelDocument &doc, int lastDay)
{
    PeriodTimeSheetReport sheet(nullptr, &doc);
    sheet.setPeriod(QDate(2026, 11, 2), QDate(2026, 11, lastDay));
    sheet.setIncludeZeroActivities(false);
    ReportViewer viewer(&sheet);
    const QString csv = m_dir.filePath(QStringLiteral("sheet.csv"));
    QFile::remove(csv);
    FileDialog::setNextAnswer(csv);
    viewer.exportCsv();
    return readFile(csv);
}

void TestReportExport::csvOfTheTimeSheet()
{
    QuorvelDocument doc;
    fillQuoted(doc);
    const QByteArray csv = timeSheetCsv(doc, 3);
    QCOMPARE(MessageBox::shown().size(), 0);
    QCOMPARE(csv, QByteArray("Date,Activity,Category,Minutes\r\n"
                             "2026-11-02,\"Design, UX\",,20\r\n"
                             "2026-11-02,\"M\xc3\xbcller, \"\"Caf\xc3\xa9\"\"\","
                             "Kunden \xc3\x84,90\r\n"
                             "2026-11-03,\"M\xc3\xbcller, \"\"Caf\xc3\xa9\"\"\","
                             "Kunden \xc3\x84,45\r\n"));
}

void TestReportExport::csvNamesNeverRunAsFormulas()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    Activity *link = build.activity(QStringLiteral("=HYPERLINK(\"http://x\")"),
                                    build.category(QStringLiteral("@Clients")));
    build.task(link, at(2, 9, 0), at(2, 10, 0));
    build.sortAll();
    QCOMPARE(timeSheetCsv(doc, 2),
             QByteArray("Date,Activity,Category,Minutes\r\n"
                        "2026-11-02,\"'=HYPERLINK(\"\"http://x\"\")\",'@Clients,"
                        "60\r\n"));
}

void TestReportExport::csvGetsItsExtension()
{
    QuorvelDocument doc;
    fillQuoted(doc);
    PeriodSummaryReport summary(nullptr, &doc);
    ReportViewer viewer(&summary);
    FileDialog::setNextAnswer(m_dir.filePath(QStringLiteral("typed")));
    viewer.exportCsv();
    QVERIFY(!QFile::exists(m_dir.filePath(QStringLiteral("typed"))));
    QVERIFY(readFile(m_dir.filePath(QStringLiteral("typed.csv")))
                .startsWith("Activity,Category,Minutes,Hours\r\n"));
    // A name with an extension of its own keeps it.
    FileDialog::setNextAnswer(m_dir.filePath(QStringLiteral("sheet.txt")));
    viewer.exportCsv();
    QVERIFY(readFile(m_dir.filePath(QStringLiteral("sheet.txt")))
                .startsWith("Activity,Category,Minutes,Hours\r\n"));
}

void TestReportExport::exportReplacesAnExistingFile()
{
    const QString csv = m_dir.filePath(QStringLiteral("old.csv"));
    {
        QFile file(csv);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(100000, 'x'));
    }
    QuorvelDocument doc;
    fillQuoted(doc);
    PeriodSummaryReport summary(nullptr, &doc);
    summary.setPeriod(QDate(2026, 11, 3), QDate(2026, 11, 3));
    summary.setIncludeZeroActivities(false);
    ReportViewer viewer(&summary);
    FileDialog::setNextAnswer(csv);
    viewer.exportCsv();
    QCOMPARE(readFile(csv), QByteArray("Activity,Category,Minutes,Hours\r\n"
                                       "\"M\xc3\xbcller, \"\"Caf\xc3\xa9\"\"\",Kunden \xc3\x84,45,"
                                       "0.7500\r\n"));
    QCOMPARE(QDir(m_dir.path()).entryList(QDir::Files | QDir::Hidden),
             QStringList{QStringLiteral("old.csv")});
}

void TestReportExport::cancelledExportWritesNothing()
{
    QuorvelDocument doc;
    fillSample(doc);
    PeriodSummaryReport summary(nullptr, &doc);
    ReportViewer viewer(&summary);
    // No answer: the dialog was cancelled.
    viewer.exportPdf();
    viewer.exportCsv();
    QCOMPARE(FileDialog::asked().size(), 2);
    QCOMPARE(MessageBox::shown().size(), 0);
    QCOMPARE(QDir(TestEnvironment::instance()->documentsDir()).entryList(QDir::Files),
             QStringList());
}

void TestReportExport::writeFailuresAreTold()
{
    QuorvelDocument doc;
    fillSample(doc);
    PeriodSummaryReport summary(nullptr, &doc);
    ReportViewer viewer(&summary);

    // /proc takes no new files, not even from root.
    FileDialog::setNextAnswer(QStringLiteral("/proc/Summary.pdf"));
    viewer.exportPdf();
    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().at(0).title, QStringLiteral("Report Not Exported"));
    QCOMPARE(MessageBox::shown().at(0).text,
             QStringLiteral("The report could not be written to\n/proc/Summary.pdf"));
    QCOMPARE(MessageBox::shown().at(0).icon, QMessageBox::Warning);
    QVERIFY(!QFile::exists(QStringLiteral("/proc/Summary.pdf")));

    FileDialog::setNextAnswer(QStringLiteral("/proc/Summary.csv"));
    viewer.exportCsv();
    QCOMPARE(MessageBox::shown().size(), 2);
    QCOMPARE(MessageBox::shown().at(1).title, QStringLiteral("Report Not Exported"));
    QCOMPARE(MessageBox::shown().at(1).text,
             QStringLiteral("The report could not be written to\n/proc/Summary.csv"));
    QVERIFY(!QFile::exists(QStringLiteral("/proc/Summary.csv")));

    // A folder that is a file.
    const QString notAFolder = m_dir.filePath(QStringLiteral("file"));
    {
        QFile file(notAFolder);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("not a folder");
    }
    FileDialog::setNextAnswer(notAFolder + QStringLiteral("/Summary.pdf"));
    viewer.exportPdf();
    QCOMPARE(MessageBox::shown().size(), 3);
    QCOMPARE(MessageBox::shown().at(2).text, QStringLiteral("The report could not be written to\n")
                                                 + notAFolder + QStringLiteral("/Summary.pdf"));
    QCOMPARE(readFile(notAFolder), QByteArray("not a folder"));
    QCOMPARE(QDir(m_dir.path()).entryList(QDir::Files | QDir::Hidden),
             QStringList{QStringLiteral("file")});
}

int main(int argc, char *argv[])
{
    TestEnvironment environment;
    QApplication app(argc, argv);
    MessageBox::setTesting(true);
    FileDialog::setTesting(true);
    TestReportExport tc;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&tc, argc, argv);
}

#include "tst_reportexport.moc"
