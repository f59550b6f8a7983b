// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "DocumentBuilder.h"
#include "TestEnvironment.h"

#include "model/QuorvelDocument.h"
#include "reports/ReportText.h"
#include "reportwindows/ReportBrowser.h"
#include "views/SafeTextBrowser.h"

#include <QLabel>
#include <QPainter>
#include <QRandomGenerator>
#include <QScrollBar>
#include <QTemporaryDir>
#include <QTextDocument>
#include <QToolButton>
#include <QtTest>

namespace {

QString str(const char *text)
{
    return QString::fromUtf8(text);
}

const QString dayMarker = str("<tr><td align=top bgcolor=#c0c0c0 rowspan=");
const QString totalsMarker = str("<tr><td colspan=2 bgcolor=#c0c0c0>");
const QString cutClosing = str("</table></qt>");

const QString obsoleteNote
    = str("<p><font color=#ff0000>Activities and categories shown in<br><i>red italics</i> are "
          "obsolete.</font></p>");
const QString activeNote
    = str("<p><font color=#ff0000>There are <i>active</i> tasks in this time period<br>that are "
          "excluded from this report.</font></p>");

// A whole time sheet, or one page of it, taken apart at its day rows.
struct SheetParts
{
    QString head;
    QStringList days;
    QString totals;
    QString closing;
};

SheetParts partsOf(const QString &text)
{
    SheetParts parts;
    QStringList pieces = text.split(dayMarker);
    parts.head = pieces.takeFirst();
    for (const QString &piece : std::as_const(pieces))
        parts.days.append(dayMarker + piece);
    if (parts.days.isEmpty())
        return parts;
    QString &last = parts.days.last();
    const qsizetype totals = last.indexOf(totalsMarker);
    const qsizetype closing = last.indexOf(str("</table>"), qMax<qsizetype>(totals, 0));
    parts.closing = last.mid(closing);
    if (totals >= 0)
        parts.totals = last.mid(totals, closing - totals);
    last.truncate(totals >= 0 ? totals : closing);
    return parts;
}

// Five activities in two categories, one of them obsolete with a task, and a task every third
// day of a period of 300 days ending on the 21st of November 2026.
struct LongSheet
{
    QuorvelDocument doc;
    QDate from = QDate(2026, 11, 21).addDays(-299);
    QDate to = QDate(2026, 11, 21);

    explicit LongSheet(bool running)
    {
        DocumentBuilder build(doc);
        ActivityCategory *dev = build.category(str("Dev & Ops"));
        ActivityCategory *support = build.category(str("Support"));
        Activity *coding = build.activity(str("Coding <C++> & tests"), dev);
        build.activity(str("Reviews"), dev);
        Activity *legacy = build.activity(str("Legacy"), support, true);
        Activity *calls = build.activity(str("Calls"), support);
        build.activity(str("Mail"), support);
        for (QDate d = from; d <= to; d = d.addDays(3))
            build.task(coding, QDateTime(d, QTime(9, 0)), QDateTime(d, QTime(10, 15)));
        build.task(legacy, QDateTime(from.addDays(10), QTime(14, 0)),
                   QDateTime(from.addDays(10), QTime(14, 30)));
        if (running)
            build.task(calls, at(20, 15, 0), QDateTime());
        build.sortAll();
    }

    QString text() const { return ReportText::periodTimeSheet(doc, from, to, true, false); }
};

QToolButton *previousButton(const ReportBrowser &w)
{
    return w.findChild<QToolButton *>(str("btnPreviousPage"));
}

QToolButton *nextButton(const ReportBrowser &w)
{
    return w.findChild<QToolButton *>(str("btnNextPage"));
}

QLabel *pageLabel(const ReportBrowser &w)
{
    return w.findChild<QLabel *>(str("lblPage"));
}

bool pageBarShown(const ReportBrowser &w)
{
    return nextButton(w)->isVisibleTo(&w) && previousButton(w)->isVisibleTo(&w)
           && pageLabel(w)->isVisibleTo(&w);
}

QString plainTextOf(const QString &html)
{
    QTextDocument document;
    document.setHtml(html);
    return document.toPlainText();
}

// The pages hold the text's head, then its middle in order with nothing left out or repeated,
// then the closing: the text's own end, or the browser's when the text was cut short.
void verifyCoverage(const ReportBrowser &w, const QString &text, const QString &closing,
                    bool closingFromText)
{
    const QString head = text.left(text.indexOf(dayMarker));
    QString middles;
    for (int p = 0; p < w.pageCount(); ++p) {
        const QString page = w.pageText(p);
        QVERIFY(page.startsWith(head));
        QVERIFY(page.endsWith(closing));
        middles += page.mid(head.size(), page.size() - head.size() - closing.size());
    }
    if (closingFromText)
        QVERIFY(text.endsWith(closing));
    const QString middle
        = text.mid(head.size(), text.size() - head.size() - (closingFromText ? closing.size() : 0));
    QCOMPARE(middles.size(), middle.size());
    QVERIFY(middles == middle);
}

} // namespace

class TestReportBrowser : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void smallTextIsShownWhole();
    void summaryIsShownWhole();
    void longTimeSheetSplitsBetweenDays();
    void notesOnEveryPage();
    void dayLongerThanBudgetIsAPage();
    void pageBarNavigates();
    void keyboardNavigates();
    void showingAPageScrollsToItsTop();
    void newTextStartsAtFirstPage();
    void emptyAndMarkerOnlyTexts();
    void markerWithoutHeadIsShownWhole();
    void randomCharactersAreShownWhole();
    void randomTextWithMarkersSplitsWithoutLoss();
    void truncatedTimeSheetSplitsAndCloses();
    void timeSheetCutInItsTotals();
    void totalsRowBetweenDaysStaysInItsDay();
    void localFilesAreNeverRead();
    void endlessLocalFilesAreNeverRead();
    void deeplyNestedTablesAreShownAsText();
    void hugeSizesAreShownAsText();
    void reportsHaveNoLongStretch();
    void longStretchIsShownAsTextWithBreaks();
    void savedFilesOfEverySize_data();
    void savedFilesOfEverySize();
    void savedTimeSheetPagesByDays();
    void largeFileIsCountedWhileTheWindowRuns();
    void unreadableFilesAreNotShown();
};

void TestReportBrowser::smallTextIsShownWhole()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    Activity *coding = build.activity(str("Coding"), build.category(str("Dev")));
    build.task(coding, at(19, 10, 0), at(19, 11, 35));
    const QString text
        = ReportText::periodTimeSheet(doc, QDate(2026, 11, 19), QDate(2026, 11, 20), true, false);
    QVERIFY(text.size() < ReportBrowser::PageBudget);

    ReportBrowser w;
    w.setReportText(text);
    QCOMPARE(w.pageCount(), 1);
    QCOMPARE(w.currentPage(), 0);
    QCOMPARE(w.pageText(0), text);
    QCOMPARE(w.reportText(), text);
    QVERIFY(w.pageText(1).isNull());
    QVERIFY(w.pageText(-1).isNull());
    QVERIFY(!pageBarShown(w));
    QVERIFY(w.browser()->toPlainText().startsWith(str("Period Time Sheet\n11/19/26 to 11/20/26")));
    QVERIFY(w.browser()->toPlainText().contains(str("1:35")));
}

void TestReportBrowser::summaryIsShownWhole()
{
    // A summary of many activities is longer than a page, but it has no days to cut at.
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(str("Work"));
    for (int i = 0; i < 1200; ++i)
        build.activity(str("Activity %1").arg(i, 4, 10, QLatin1Char('0')), work);
    build.sortAll();
    const QString text
        = ReportText::periodSummary(doc, QDate(2026, 11, 1), QDate(2026, 11, 21), true, false);
    QVERIFY(text.size() > ReportBrowser::PageBudget);

    ReportBrowser w;
    w.setReportText(text);
    QCOMPARE(w.pageCount(), 1);
    QCOMPARE(w.pageText(0), text);
    QVERIFY(!pageBarShown(w));
    QVERIFY(w.browser()->toPlainText().contains(str("Activity 1199")));
}

void TestReportBrowser::longTimeSheetSplitsBetweenDays()
{
    const LongSheet sheet(false);
    const QString text = sheet.text();
    QVERIFY(text.size() > 2 * ReportBrowser::PageBudget);
    const SheetParts whole = partsOf(text);
    QCOMPARE(whole.days.size(), 300);
    QVERIFY(whole.head.startsWith(
        str("<qt bgcolor=#ffffff><p><font face=Arial size=5 color=#0000ff>Period Time "
            "Sheet</font></p><p><font face=Arial size=4 color=#0000ff>1/26/26 to 11/21/26")));
    QVERIFY(whole.head.contains(str("Dev &amp; Ops")));
    QVERIFY(whole.days.first().startsWith(dayMarker + str("6>Mon<br>Jan&nbsp;26<br>2026</td>")));
    QVERIFY(whole.totals.startsWith(totalsMarker + str("Period Totals</td>")));
    QCOMPARE(whole.closing, str("</table>") + obsoleteNote + str("</qt>"));

    ReportBrowser w;
    w.setReportText(text);
    QVERIFY(w.pageCount() >= 3);
    QCOMPARE(w.currentPage(), 0);
    QVERIFY(pageBarShown(w));
    QVERIFY(w.pageText(w.pageCount()).isNull());

    QStringList days;
    for (int p = 0; p < w.pageCount(); ++p) {
        const QString page = w.pageText(p);
        const SheetParts parts = partsOf(page);
        QCOMPARE(parts.head, whole.head);
        QVERIFY(page.startsWith(whole.head));
        QVERIFY(page.endsWith(str("</qt>")));
        QCOMPARE(parts.closing, whole.closing);
        QVERIFY(!parts.days.isEmpty());
        if (p == w.pageCount() - 1)
            QCOMPARE(parts.totals, whole.totals);
        else
            QVERIFY(parts.totals.isEmpty());
        QCOMPARE(page, parts.head + parts.days.join(QString()) + parts.totals + parts.closing);
        if (parts.days.size() > 1)
            QVERIFY(page.size() <= ReportBrowser::PageBudget);
        days += parts.days;
    }
    // Every day once, in order.
    QCOMPARE(days, whole.days);
    verifyCoverage(w, text, whole.closing, true);

    // Pages are filled: the next page's first day would not have fitted.
    for (int p = 0; p + 1 < w.pageCount(); ++p) {
        const SheetParts next = partsOf(w.pageText(p + 1));
        qsizetype grown = w.pageText(p).size() + next.days.first().size();
        if (p + 1 == w.pageCount() - 1 && next.days.size() == 1)
            grown += next.totals.size();
        QVERIFY(grown > ReportBrowser::PageBudget);
    }

    // The first page is what the browser shows.
    QCOMPARE(w.browser()->toPlainText(), plainTextOf(w.pageText(0)));
    QVERIFY(w.browser()->toPlainText().contains(str("Mon\nJan 26\n2026")));
}

void TestReportBrowser::notesOnEveryPage()
{
    const LongSheet sheet(true);
    const QString text = sheet.text();
    QVERIFY(text.endsWith(str("</table>") + obsoleteNote + activeNote + str("</qt>")));

    ReportBrowser w;
    w.setReportText(text);
    QVERIFY(w.pageCount() >= 3);
    for (int p = 0; p < w.pageCount(); ++p) {
        QVERIFY(w.pageText(p).endsWith(str("</table>") + obsoleteNote + activeNote + str("</qt>")));
        QCOMPARE(w.pageText(p).count(obsoleteNote), 1);
    }
    QVERIFY(w.browser()->toPlainText().endsWith(
        str("Activities and categories shown in\nred italics are obsolete.\n"
            "There are active tasks in this time period\nthat are excluded from this report.")));
    verifyCoverage(w, text, str("</table>") + obsoleteNote + activeNote + str("</qt>"), true);
}

void TestReportBrowser::dayLongerThanBudgetIsAPage()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(str("Work"));
    ActivityCategory *home = build.category(str("Home"));
    for (int i = 0; i < 900; ++i)
        build.activity(str("Activity %1").arg(i, 3, 10, QLatin1Char('0')), i % 2 ? work : home);
    build.sortAll();
    const QString text
        = ReportText::periodTimeSheet(doc, QDate(2026, 11, 19), QDate(2026, 11, 21), true, false);
    const SheetParts whole = partsOf(text);
    QCOMPARE(whole.days.size(), 3);
    for (const QString &day : whole.days)
        QVERIFY(day.size() > ReportBrowser::PageBudget);

    ReportBrowser w;
    w.setReportText(text);
    QCOMPARE(w.pageCount(), 3);
    for (int p = 0; p < 3; ++p) {
        const SheetParts parts = partsOf(w.pageText(p));
        QCOMPARE(parts.days, QStringList(whole.days.at(p)));
        QCOMPARE(parts.totals.isEmpty(), p < 2);
    }
    QCOMPARE(pageLabel(w)->text(), str("Page 1 of 3"));
    verifyCoverage(w, text, whole.closing, true);
}

void TestReportBrowser::pageBarNavigates()
{
    const LongSheet sheet(false);
    ReportBrowser w;
    w.setReportText(sheet.text());
    const int count = w.pageCount();
    QVERIFY(count >= 3);
    QToolButton *previous = previousButton(w);
    QToolButton *next = nextButton(w);
    QLabel *label = pageLabel(w);
    QVERIFY(previous && next && label);
    QCOMPARE(previous->text(), str("Previous Page"));
    QCOMPARE(next->text(), str("Next Page"));
    QCOMPARE(label->text(), str("Page 1 of %1").arg(count));
    QVERIFY(!previous->isEnabled());
    QVERIFY(next->isEnabled());

    QTest::mouseClick(next, Qt::LeftButton);
    QCOMPARE(w.currentPage(), 1);
    QCOMPARE(label->text(), str("Page 2 of %1").arg(count));
    QVERIFY(previous->isEnabled());
    QVERIFY(next->isEnabled());
    QCOMPARE(w.browser()->toPlainText(), plainTextOf(w.pageText(1)));

    w.showPage(count - 1);
    QCOMPARE(w.currentPage(), count - 1);
    QCOMPARE(label->text(), str("Page %1 of %1").arg(count));
    QVERIFY(previous->isEnabled());
    QVERIFY(!next->isEnabled());
    QVERIFY(w.browser()->toPlainText().contains(str("Period Totals")));

    // A page that does not exist changes nothing.
    w.showPage(count);
    w.showPage(-1);
    QCOMPARE(w.currentPage(), count - 1);
    QCOMPARE(label->text(), str("Page %1 of %1").arg(count));

    QTest::mouseClick(previous, Qt::LeftButton);
    QCOMPARE(w.currentPage(), count - 2);
    QCOMPARE(w.browser()->toPlainText(), plainTextOf(w.pageText(count - 2)));
    QVERIFY(!w.browser()->toPlainText().contains(str("Period Totals")));

    w.showPage(0);
    QCOMPARE(label->text(), str("Page 1 of %1").arg(count));
    QVERIFY(!previous->isEnabled());
    QVERIFY(next->isEnabled());
}

void TestReportBrowser::keyboardNavigates()
{
    const LongSheet sheet(false);
    ReportBrowser w;
    w.setReportText(sheet.text());
    const int count = w.pageCount();
    w.resize(480, 640);
    w.show();
    w.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&w));

    w.browser()->setFocus();
    QVERIFY(w.browser()->hasFocus());
    QTest::keyClick(w.browser(), Qt::Key_PageDown, Qt::ControlModifier);
    QCOMPARE(w.currentPage(), 1);
    QCOMPARE(pageLabel(w)->text(), str("Page 2 of %1").arg(count));
    QTest::keyClick(w.browser(), Qt::Key_PageDown, Qt::ControlModifier);
    QCOMPARE(w.currentPage(), 2);
    QTest::keyClick(w.browser(), Qt::Key_PageUp, Qt::ControlModifier);
    QCOMPARE(w.currentPage(), 1);

    // From the text, Tab reaches both buttons in turn; Space on one turns the page.
    w.browser()->setFocus();
    QTest::keyClick(w.browser(), Qt::Key_Tab);
    QVERIFY(previousButton(w)->hasFocus());
    QTest::keyClick(previousButton(w), Qt::Key_Tab);
    QVERIFY(nextButton(w)->hasFocus());
    QTest::keyClick(nextButton(w), Qt::Key_Space);
    QCOMPARE(w.currentPage(), 2);

    // The shortcuts work with the focus on a button too, and stop at the ends.
    w.showPage(count - 1);
    previousButton(w)->setFocus();
    QTest::keyClick(previousButton(w), Qt::Key_PageDown, Qt::ControlModifier);
    QCOMPARE(w.currentPage(), count - 1);
    w.showPage(0);
    w.browser()->setFocus();
    QTest::keyClick(w.browser(), Qt::Key_PageUp, Qt::ControlModifier);
    QCOMPARE(w.currentPage(), 0);
    // On the first page the disabled Previous Page is passed over.
    QTest::keyClick(w.browser(), Qt::Key_Tab);
    QVERIFY(nextButton(w)->hasFocus());
}

void TestReportBrowser::showingAPageScrollsToItsTop()
{
    const LongSheet sheet(false);
    ReportBrowser w;
    w.resize(480, 640);
    w.show();
    w.setReportText(sheet.text());
    QScrollBar *bar = w.browser()->verticalScrollBar();
    QVERIFY(bar->maximum() > 0);
    bar->setValue(bar->maximum());
    QVERIFY(bar->value() > 0);

    w.showPage(1);
    QCOMPARE(bar->value(), 0);
    bar->setValue(bar->maximum());
    w.showPage(1);
    QCOMPARE(w.currentPage(), 1);
    QCOMPARE(bar->value(), 0);
}

void TestReportBrowser::newTextStartsAtFirstPage()
{
    const LongSheet sheet(false);
    ReportBrowser w;
    w.setReportText(sheet.text());
    w.showPage(2);
    QVERIFY(pageBarShown(w));

    w.setReportText(sheet.text());
    QCOMPARE(w.currentPage(), 0);
    QCOMPARE(pageLabel(w)->text(), str("Page 1 of %1").arg(w.pageCount()));
    QCOMPARE(w.browser()->toPlainText(), plainTextOf(w.pageText(0)));

    const QString small = str("<qt><p>Hello</p></qt>");
    w.setReportText(small);
    QCOMPARE(w.pageCount(), 1);
    QCOMPARE(w.currentPage(), 0);
    QCOMPARE(w.pageText(0), small);
    QVERIFY(!pageBarShown(w));
    QCOMPARE(w.browser()->toPlainText(), str("Hello"));
}

void TestReportBrowser::emptyAndMarkerOnlyTexts()
{
    ReportBrowser w;
    w.setReportText(QString());
    QCOMPARE(w.pageCount(), 1);
    QCOMPARE(w.pageText(0), QString());
    QCOMPARE(w.browser()->toPlainText(), QString());
    QVERIFY(!pageBarShown(w));

    w.setReportText(dayMarker);
    QCOMPARE(w.pageCount(), 1);
    QCOMPARE(w.pageText(0), dayMarker);

    w.setReportText(str("<qt><table>") + dayMarker + totalsMarker + str("</table></qt>"));
    QCOMPARE(w.pageCount(), 1);
    w.showPage(1);
    QCOMPARE(w.currentPage(), 0);
}

void TestReportBrowser::markerWithoutHeadIsShownWhole()
{
    // Long runs of days, but nothing before them, or a head that opens no table.
    const LongSheet sheet(false);
    const QString text = sheet.text();
    const QString days = text.mid(text.indexOf(dayMarker));
    QVERIFY(days.size() > ReportBrowser::PageBudget);

    ReportBrowser w;
    w.setReportText(days);
    QCOMPARE(w.pageCount(), 1);
    QCOMPARE(w.pageText(0), days);

    const QString noTable = str("<qt><p>Not a report</p>") + days;
    w.setReportText(noTable);
    QCOMPARE(w.pageCount(), 1);
    QCOMPARE(w.pageText(0), noTable);
    QVERIFY(!pageBarShown(w));
}

void TestReportBrowser::randomCharactersAreShownWhole()
{
    QRandomGenerator random(20261121);
    QString text(10 * 1000 * 1000, Qt::Uninitialized);
    for (qsizetype i = 0; i < text.size(); ++i)
        text[i] = QChar(char16_t(0x20 + random.bounded(95)));

    // Shown, so that the browser really lays the text out.
    ReportBrowser w;
    w.resize(480, 640);
    w.show();
    w.setReportText(text);
    QCoreApplication::processEvents();
    QCOMPARE(w.pageCount(), 1);
    QVERIFY(w.pageText(0) == text);
    QCOMPARE(w.browser()->toPlainText().left(10), text.left(10));
    QVERIFY(w.reportText().isSharedWith(text));
    QVERIFY(!pageBarShown(w));
}

void TestReportBrowser::randomTextWithMarkersSplitsWithoutLoss()
{
    // Markers of all kinds at random places between random characters.
    QRandomGenerator random(7);
    const QStringList markers
        = {dayMarker, dayMarker, dayMarker, totalsMarker, str("</table>"), str("<table>")};
    QString text = str("<qt><table>");
    while (text.size() < 1000 * 1000) {
        const int length = int(random.bounded(3000));
        for (int i = 0; i < length; ++i)
            text += QChar(char16_t(0x20 + random.bounded(95)));
        text += markers.at(random.bounded(int(markers.size())));
    }

    // The end of the table is the first one after the period totals that follow the last day,
    // or after the last day when there are no such totals; without one the browser closes.
    const qsizetype lastDay = text.lastIndexOf(dayMarker);
    const qsizetype totals = text.indexOf(totalsMarker, lastDay + 1);
    const qsizetype end = text.indexOf(str("</table>"), totals >= 0 ? totals : lastDay);
    const bool closingFromText = end >= 0;
    const QString closing = closingFromText ? text.mid(end) : cutClosing;

    ReportBrowser w;
    w.resize(480, 640);
    w.show();
    w.setReportText(text);
    QCoreApplication::processEvents();
    QVERIFY(w.pageCount() > 10);
    const qsizetype head = text.indexOf(dayMarker);
    for (int p = 0; p < w.pageCount(); ++p) {
        const QString page = w.pageText(p);
        const int days = int(page.mid(head, page.size() - head - closing.size()).count(dayMarker));
        QVERIFY(days >= 1);
        if (days > 1)
            QVERIFY(page.size() <= ReportBrowser::PageBudget);
    }
    verifyCoverage(w, text, closing, closingFromText);
    QTest::mouseClick(nextButton(w), Qt::LeftButton);
    QCOMPARE(w.currentPage(), 1);
}

void TestReportBrowser::truncatedTimeSheetSplitsAndCloses()
{
    const LongSheet sheet(false);
    const QString whole = sheet.text();
    // Cut in the middle of a day, as a file written or copied only in part.
    const QString text = whole.left(whole.size() * 2 / 3 + 17);
    ReportBrowser w;
    w.setReportText(text);
    QVERIFY(w.pageCount() >= 2);
    const SheetParts parts = partsOf(whole);
    for (int p = 0; p < w.pageCount(); ++p) {
        QVERIFY(w.pageText(p).startsWith(parts.head));
        QVERIFY(w.pageText(p).endsWith(cutClosing));
        QVERIFY(!w.pageText(p).contains(totalsMarker));
        QVERIFY(!w.pageText(p).contains(obsoleteNote));
    }
    verifyCoverage(w, text, cutClosing, false);
    w.showPage(w.pageCount() - 1);
    QCOMPARE(w.browser()->toPlainText(), plainTextOf(w.pageText(w.pageCount() - 1)));
}

void TestReportBrowser::timeSheetCutInItsTotals()
{
    const LongSheet sheet(false);
    const QString whole = sheet.text();
    const SheetParts parts = partsOf(whole);
    const QString text = whole.left(whole.indexOf(totalsMarker) + totalsMarker.size() + 5);
    ReportBrowser w;
    w.setReportText(text);
    QVERIFY(w.pageCount() >= 3);
    const QString last = w.pageText(w.pageCount() - 1);
    QVERIFY(last.endsWith(totalsMarker + str("Perio") + cutClosing));
    QVERIFY(!w.pageText(0).contains(totalsMarker));
    QVERIFY(
        w.pageText(0).endsWith(parts.days.at(partsOf(w.pageText(0)).days.size() - 1) + cutClosing));
    verifyCoverage(w, text, cutClosing, false);
}

void TestReportBrowser::totalsRowBetweenDaysStaysInItsDay()
{
    // Only the totals after the last day are the period's; one in between belongs to its day.
    const LongSheet sheet(false);
    const QString whole = sheet.text();
    const SheetParts parts = partsOf(whole);
    QString text = parts.head;
    for (int d = 0; d < parts.days.size(); ++d) {
        text += parts.days.at(d);
        if (d == 3)
            text += parts.totals;
    }
    text += parts.totals + parts.closing;

    ReportBrowser w;
    w.setReportText(text);
    QStringList days;
    for (int p = 0; p < w.pageCount(); ++p) {
        const QString page = w.pageText(p);
        QVERIFY(page.endsWith(parts.closing));
        QCOMPARE(page.count(totalsMarker), p == 0 ? 1 : (p == w.pageCount() - 1 ? 1 : 0));
    }
    QCOMPARE(partsOf(w.pageText(0)).days.at(3), parts.days.at(3) + parts.totals);
    verifyCoverage(w, text, parts.closing, true);
}

namespace {

// Whether the document, drawn on white, has any pure red in it.
bool drawsRed(QTextDocument *document)
{
    document->setTextWidth(800);
    QImage image(800, int(document->size().height()) + 1, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    document->drawContents(&painter);
    painter.end();
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (image.pixel(x, y) == qRgb(255, 0, 0))
                return true;
        }
    }
    return false;
}

} // namespace

void TestReportBrowser::localFilesAreNeverRead()
{
    // A saved report is anyone's file: what it names on this computer stays unread.
    QTemporaryDir folder;
    QVERIFY(folder.isValid());
    QImage red(120, 80, QImage::Format_RGB32);
    red.fill(Qt::red);
    const QString image = folder.filePath(str("red.png"));
    QVERIFY(red.save(image));
    const QString style = folder.filePath(str("red.css"));
    QFile css(style);
    QVERIFY(css.open(QIODevice::WriteOnly));
    css.write("p { background-color: #ff0000; }");
    css.close();
    const QString imageUrl = QUrl::fromLocalFile(image).toString();
    const QString styleUrl = QUrl::fromLocalFile(style).toString();

    // The same markup with the files' contents in it draws red, so the check can see a load.
    SafeTextBrowser reference;
    reference.setHtml(str("<p style=\"background-color: #ff0000\">styled</p>"));
    QVERIFY(drawsRed(reference.document()));

    const QStringList texts = {
        str("<qt><img src=\"%1\"></qt>").arg(imageUrl),
        str("<qt><img src=\"%1\"></qt>").arg(image),
        str("<qt><img src=\"red.png\"></qt>"),
        str("<html><head><link rel=\"stylesheet\" type=\"text/css\" href=\"%1\"></head>"
            "<body><p>styled</p></body></html>")
            .arg(styleUrl),
        str("<qt><table background=\"%1\"><tr><td>cell</td></tr></table></qt>").arg(imageUrl),
        str("<qt><p style=\"background-image: url(%1)\">styled</p></qt>").arg(imageUrl),
    };
    for (const QString &text : texts) {
        ReportBrowser w;
        w.browser()->setSearchPaths({folder.path()});
        w.browser()->document()->setBaseUrl(QUrl::fromLocalFile(folder.path() + str("/")));
        w.setReportText(text);
        QVERIFY2(!drawsRed(w.browser()->document()), qPrintable(text));
    }
}

void TestReportBrowser::endlessLocalFilesAreNeverRead()
{
    // Each would read /dev/zero until memory runs out.
    const QStringList texts = {
        str("<qt><img src=\"file:///dev/zero\">after</qt>"),
        str("<qt><img src=\"/dev/zero\">after</qt>"),
        str("<html><head><link rel=\"stylesheet\" type=\"text/css\" href=\"file:///dev/zero\">"
            "</head><body>after</body></html>"),
        str("<qt><p style=\"background-image: url(file:///dev/zero)\">after</p></qt>"),
    };
    for (const QString &text : texts) {
        ReportBrowser w;
        w.setReportText(text);
        w.resize(400, 300);
        w.show();
        QVERIFY(w.browser()->toPlainText().contains(str("after")));
        drawsRed(w.browser()->document());
    }
}

void TestReportBrowser::deeplyNestedTablesAreShownAsText()
{
    // Thirty nested tables would take hours to lay out; a report has one.
    const QString open = str("<table><tr><td>").repeated(30);
    const QString close = str("</td></tr></table>").repeated(30);
    const QString deep = str("<qt>") + open + str("deep") + close + str("</qt>");
    ReportBrowser w;
    w.setReportText(deep);
    QCOMPARE(w.browser()->toPlainText(), deep);
    QCOMPARE(w.reportText(), deep);

    // Eight are still laid out as tables.
    const QString shallow = str("<qt>") + str("<table><tr><td>").repeated(8) + str("shallow")
                            + str("</td></tr></table>").repeated(8) + str("</qt>");
    w.setReportText(shallow);
    QCOMPARE(w.browser()->toPlainText().trimmed(), str("shallow"));
}

void TestReportBrowser::hugeSizesAreShownAsText()
{
    // A cell spacing of a billion billion pixels kept the layout busy for minutes.
    ReportBrowser w;
    for (const char *tag :
         {"<table cellspacing=1999999999999999999>", "<table border = '12345'>",
          "<table width=\"+99999\">", "<p style=\"margin-top: 5000px\">", "<td rowspan=1000000>"}) {
        const QString text = str("<qt>") + str(tag) + str("<tr><td>cell</td></tr></table></qt>");
        w.setReportText(text);
        QCOMPARE(w.browser()->toPlainText(), text);
    }
    // Sizes as Quorvel's reports have them, and numbers outside tags, are laid out.
    const QString report = str("<qt><table border=0 cellpadding=2 cellspacing=1><tr><td "
                               "rowspan=1200 bgcolor=#c0c0c0>12345678</td></tr></table></qt>");
    w.setReportText(report);
    QCOMPARE(w.browser()->toPlainText().trimmed(), str("12345678"));
}

void TestReportBrowser::reportsHaveNoLongStretch()
{
    // Quorvel's own reports, with names of a thousand letters, are laid out as reports.
    const LongSheet sheet(true);
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    Activity *longName
        = build.activity(str("A").repeated(1000), build.category(str("Ü").repeated(1000)));
    for (int day = 1; day <= 30; ++day)
        build.task(longName, QDateTime(QDate(2026, 10, day), QTime(9, 0)),
                   QDateTime(QDate(2026, 10, day), QTime(9, 45)));
    build.sortAll();
    const QStringList texts = {
        sheet.text(),
        ReportText::periodSummary(sheet.doc, sheet.from, sheet.to, true, true),
        ReportText::periodTimeSheet(doc, QDate(2026, 10, 1), QDate(2026, 10, 31), true, true),
        ReportText::periodSummary(doc, QDate(2026, 10, 1), QDate(2026, 10, 31), true, true),
    };
    for (const QString &text : texts) {
        ReportBrowser w;
        w.setReportText(text);
        for (int page = 0; page < w.pageCount(); ++page) {
            w.showPage(page);
            QVERIFY(!w.browser()->toPlainText().contains(str("<table")));
            QVERIFY(w.browser()->toPlainText().contains(str("Period ")));
        }
    }
}

void TestReportBrowser::longStretchIsShownAsTextWithBreaks()
{
    // Letters of two writing directions without a space: seconds to lay out in one stretch.
    const QString unit = QString::fromUtf8("lr\xdf\x9f\xef\xbf\xbd<b>A</b>");
    QString stretch = unit.repeated(20000 / unit.size() + 1);
    const QString text = str("<qt><p>") + stretch + str("</p></qt>");
    ReportBrowser w;
    w.setReportText(text);
    QCOMPARE(w.reportText(), text);
    QString shown;
    for (qsizetype at = 0; at < text.size(); at += 1024)
        shown += (at > 0 ? str("\n") : QString()) + text.mid(at, 1024);
    QCOMPARE(w.browser()->toPlainText(), shown);

    // 16 384 characters are still laid out.
    stretch = str("x").repeated(16384 - 7);
    w.setReportText(str("<p>") + stretch + str("</p> "));
    QCOMPARE(w.browser()->toPlainText().trimmed(), stretch);
}

namespace {

QString writeSaved(const QTemporaryDir &dir, const QString &name, const QByteArray &bytes)
{
    const QString path = dir.filePath(name);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        return QString();
    return path;
}

// A table of short rows, as a saved report that no Quorvel wrote might be.
QByteArray shortRows(qint64 bytes)
{
    QByteArray text = "<qt><h1>Many Rows</h1><table border=1>\n";
    for (int row = 0; text.size() < bytes; ++row)
        text += "<tr><td>" + QByteArray::number(row) + "</td><td>x</td></tr>\n";
    return text + "</table></qt>";
}

} // namespace

void TestReportBrowser::savedFilesOfEverySize_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("pieces");
    QTest::addColumn<bool>("table");
    QTest::newRow("small") << shortRows(50000) << false << true;
    QTest::newRow("ten megabytes of rows") << shortRows(10 << 20) << true << true;
    QTest::newRow("twenty megabytes of rows, read from the file")
        << shortRows(20 << 20) << true << true;
    QByteArray nested = "<qt>";
    while (nested.size() < (2 << 20))
        nested += "<div><table><tr><td>";
    QTest::newRow("deep nesting") << nested << true << true;
    QRandomGenerator random(20261125);
    QByteArray noise(3 << 20, Qt::Uninitialized);
    for (char &c : noise)
        c = char(random.bounded(256));
    QTest::newRow("random bytes") << noise << true << false;
    QTest::newRow("one long line") << QByteArray(1 << 20, 'w') << true << false;
}

void TestReportBrowser::savedFilesOfEverySize()
{
    QFETCH(QByteArray, bytes);
    QFETCH(bool, pieces);
    QFETCH(bool, table);
    QTemporaryDir dir;
    const QString path = writeSaved(dir, str("Report.qvreport"), bytes);
    QVERIFY(!path.isEmpty());

    ReportBrowser w;
    w.resize(480, 640);
    w.show();
    QVERIFY(w.setReportFile(path));
    QCOMPARE(w.showsPieces(), pieces);
    QCOMPARE(w.findChild<QLabel *>(str("lblNote"))->isVisible(), pieces);
    if (!pieces) {
        QCOMPARE(w.pageText(0), QString::fromUtf8(bytes));
        return;
    }
    QCOMPARE(w.findChild<QLabel *>(str("lblNote"))->text(),
             str("This saved report is too large to show at once, so it is shown in pieces of "
                 "about 100,000 characters; a piece may cut a table apart."));
    QTRY_VERIFY_WITH_TIMEOUT(w.piecesCounted(), 60000);
    QVERIFY(w.pageCount() > 1);
    QCOMPARE(pageLabel(w)->text(), str("Page 1 of %1").arg(w.pageCount()));

    // Every byte is on exactly one page, in order; each page after the first repeats the head
    // of the table, and each but the last closes it.
    const qsizetype headEnd = bytes.indexOf("<tr");
    const QString head = QString::fromUtf8(bytes.left(headEnd));
    QByteArray joined;
    for (int p = 0; p < w.pageCount(); ++p) {
        QString page = w.pageText(p);
        QVERIFY(!page.isEmpty());
        if (table && p > 0) {
            QVERIFY(page.startsWith(head));
            page.remove(0, head.size());
        }
        if (table && p + 1 < w.pageCount()) {
            QVERIFY(page.endsWith(cutClosing));
            page.chop(cutClosing.size());
        }
        QVERIFY2(page.size() <= ReportBrowser::PageBudget + 16 * 1024,
                 qPrintable(QString::number(page.size())));
        // Cut before a row wherever there is one near.
        if (bytes.startsWith("<qt><h1>") && p > 0)
            QVERIFY(page.startsWith(str("<tr>")));
        joined += page.toUtf8();
    }
    if (table || bytes.count('\xff') == 0)
        QCOMPARE(joined.size(), bytes.size());
    if (bytes.startsWith("<qt>") || bytes.startsWith("w"))
        QVERIFY(joined == bytes);
    QVERIFY(w.pageText(w.pageCount()).isNull());

    // The pages can be turned, and the last one shows the end of the file.
    w.showPage(w.pageCount() - 1);
    QCOMPARE(w.currentPage(), w.pageCount() - 1);
}

void TestReportBrowser::savedTimeSheetPagesByDays()
{
    const LongSheet sheet(false);
    QTemporaryDir dir;
    const QString path = writeSaved(dir, str("Sheet.qvreport"), sheet.text().toUtf8());
    ReportBrowser fromFile;
    QVERIFY(fromFile.setReportFile(path));
    ReportBrowser computed;
    computed.setReportText(sheet.text());
    QVERIFY(!fromFile.showsPieces());
    QVERIFY(computed.pageCount() > 1);
    QCOMPARE(fromFile.pageCount(), computed.pageCount());
    for (int p = 0; p < computed.pageCount(); ++p)
        QCOMPARE(fromFile.pageText(p), computed.pageText(p));
}

void TestReportBrowser::largeFileIsCountedWhileTheWindowRuns()
{
    QTemporaryDir dir;
    const QString path = writeSaved(dir, str("Large.qvreport"), shortRows(64 << 20));
    ReportBrowser w;
    QElapsedTimer shown;
    shown.start();
    QVERIFY(w.setReportFile(path));
    // The first page is there at once; the count goes on in slices of the event loop.
    QVERIFY(shown.elapsed() < 2000);
    QVERIFY(!w.piecesCounted());
    QVERIFY(w.pageText(0).startsWith(str("<qt><h1>Many Rows</h1>")));
    QVERIFY(pageLabel(w)->text().endsWith(str(" so far")));
    int slices = 0;
    QElapsedTimer longest;
    qint64 worst = 0;
    while (!w.piecesCounted()) {
        longest.start();
        QCoreApplication::processEvents();
        worst = qMax(worst, longest.elapsed());
        ++slices;
        QVERIFY(slices < 100000);
    }
    QVERIFY2(worst < 500, qPrintable(QString::number(worst)));
    QCOMPARE(pageLabel(w)->text(), str("Page 1 of %1").arg(w.pageCount()));
    QVERIFY(w.pageCount() > 600);
}

void TestReportBrowser::unreadableFilesAreNotShown()
{
    QTemporaryDir dir;
    ReportBrowser w;
    QVERIFY(!w.setReportFile(dir.filePath(str("missing.qvreport"))));
    QVERIFY(!w.setReportFile(dir.path()));
    // Beyond the load limit, without writing a gigabyte: a sparse file.
    const QString huge = dir.filePath(str("huge.qvreport"));
    QFile file(huge);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(file.resize((qint64(1) << 30) + 1));
    file.close();
    QVERIFY(!w.setReportFile(huge));
}

QUORVEL_TEST_MAIN(TestReportBrowser)
#include "tst_reportbrowser.moc"
