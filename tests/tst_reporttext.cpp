// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "DocumentBuilder.h"
#include "ReportReference.h"
#include "TestEnvironment.h"

#include "model/DocumentFormat.h"
#include "model/QuorvelDocument.h"
#include "reports/ReportCsv.h"
#include "reports/ReportData.h"
#include "reports/ReportHtml.h"
#include "reports/ReportPlainText.h"
#include "reports/ReportText.h"

#include <QRandomGenerator>
#include <QRegularExpression>
#include <QtTest>

#include <algorithm>
#include <type_traits>

// The renderers see only a report's computed data (and how to write times), never a document:
// which rows show is decided once, in ReportData::collect().
static_assert(
    std::is_same_v<decltype(&ReportHtml::summary), QString (*)(const ReportData &, bool)>);
static_assert(
    std::is_same_v<decltype(&ReportHtml::timeSheet), QString (*)(const ReportData &, bool)>);
static_assert(
    std::is_same_v<decltype(&ReportHtml::handOnSummary),
                   void (*)(const ReportData &, bool, const std::function<void(QStringView)> &)>);
static_assert(
    std::is_same_v<decltype(&ReportHtml::handOnTimeSheet),
                   void (*)(const ReportData &, bool, const std::function<void(QStringView)> &)>);
static_assert(std::is_same_v<decltype(&ReportCsv::summary), QString (*)(const ReportData &)>);
static_assert(std::is_same_v<decltype(&ReportCsv::timeSheet), QString (*)(const ReportData &)>);
static_assert(
    std::is_same_v<decltype(&ReportPlainText::summary), QString (*)(const ReportData &, bool)>);
static_assert(
    std::is_same_v<decltype(&ReportPlainText::timeSheet), QString (*)(const ReportData &, bool)>);

namespace {

QString str(const char *text)
{
    return QString::fromUtf8(text);
}

// The report computed in one pass over the tasks equals the one asked of the document.
bool sameData(const QuorvelDocument &doc, const QDate &from, const QDate &to, bool includeZero,
              ReportKind kind)
{
    const ReportData reference = kind == ReportKind::Summary
                                     ? ReportReference::summary(doc, from, to, includeZero)
                                     : ReportReference::timeSheet(doc, from, to, includeZero);
    if (ReportData::collect(doc, from, to, includeZero, kind) != reference)
        return false;
    // Straight from the document string, the report equals the one of the document read
    // from that string (which drops withdrawn names nothing uses).
    QByteArray bytes = doc.getDocumentBytes();
    QByteArray copy(bytes.constData(), bytes.size());
    QuorvelDocument loaded;
    if (!loaded.populateFromByteArray(copy.data(), int(copy.size())))
        return false;
    ReportData fromRecords;
    return ReportData::collect(bytes.data(), int(bytes.size()), from, to, includeZero, kind,
                               &fromRecords)
           && fromRecords == ReportData::collect(loaded, from, to, includeZero, kind);
}

// The pieces a report is handed on in, as they came.
QStringList piecesOf(const ReportData &report, bool decimal)
{
    QStringList pieces;
    const auto take = [&pieces](QStringView piece) {
        pieces << piece.toString();
    };
    if (report.kind == ReportKind::Summary)
        ReportHtml::handOnSummary(report, decimal, take);
    else
        ReportHtml::handOnTimeSheet(report, decimal, take);
    return pieces;
}

// A long report handed on: in pieces of at most 32 768 characters, a few rather than one per
// cell, that together are its whole text, longer than longerThan.
void verifyHandedOn(const ReportData &report, bool decimal, const QString &whole,
                    qsizetype longerThan)
{
    const QStringList pieces = piecesOf(report, decimal);
    QCOMPARE(pieces.join(QString()), whole);
    QVERIFY2(whole.size() > longerThan, qPrintable(QString::number(whole.size())));
    QVERIFY(pieces.size() <= whole.size() / 16384);
    for (const QString &piece : pieces)
        QVERIFY2(!piece.isEmpty() && piece.size() <= 32768,
                 qPrintable(QString::number(piece.size())));
}

// A single text longer than a piece is handed on as it is, after what was gathered before it.
void verifyLongTextWhole(const ReportData &report, const QString &whole)
{
    const QStringList pieces = piecesOf(report, false);
    QCOMPARE(pieces.join(QString()), whole);
    QVERIFY(std::any_of(pieces.cbegin(), pieces.cend(),
                        [](const QString &piece) { return piece.size() > 40000; }));
}

// Both builds of each report must give the same data and the expected text, whole and handed
// on.
void verifyBoth(const QuorvelDocument &doc, const QDate &from, const QDate &to, bool includeZero,
                bool decimal, const QString &summary, const QString &timeSheet)
{
    QVERIFY(sameData(doc, from, to, includeZero, ReportKind::Summary));
    QVERIFY(sameData(doc, from, to, includeZero, ReportKind::TimeSheet));
    QCOMPARE(ReportReference::summaryHtml(doc, from, to, includeZero, decimal), summary);
    QCOMPARE(ReportText::periodSummary(doc, from, to, includeZero, decimal), summary);
    QCOMPARE(ReportReference::timeSheetHtml(doc, from, to, includeZero, decimal), timeSheet);
    QCOMPARE(ReportText::periodTimeSheet(doc, from, to, includeZero, decimal), timeSheet);
    const auto handedOn = [&](ReportKind kind) {
        return piecesOf(ReportData::collect(doc, from, to, includeZero, kind), decimal)
            .join(QString());
    };
    QCOMPARE(handedOn(ReportKind::Summary), summary);
    QCOMPARE(handedOn(ReportKind::TimeSheet), timeSheet);
}

// The small document of the hand-written texts. Period 19-20 November 2026:
//  - "Coding <C++> & tests" (Dev & Ops): 23:00 on the 18th to 01:30 on the 19th (90 minutes
//    inside), 10:00:00-11:35:59 on the 19th (95), 23:00 on the 20th to 02:00 on the 21st (60
//    inside);
//  - "Legacy" (obsolete, Support): 23:20:30 on the 19th to 00:40:45 on the 20th: 80 minutes
//    over the period, but 39 on the 19th and 40 on the 20th;
//  - "Meetings" (Support): only a task still running since 15:00 on the 20th.
// The plain texts rename the first activity, to have a name with letters beyond ASCII.
void buildSmall(QuorvelDocument &doc, const QString &codingName = str("Coding <C++> & tests"))
{
    DocumentBuilder build(doc);
    ActivityCategory *dev = build.category(str("Dev & Ops"));
    ActivityCategory *support = build.category(str("Support"));
    Activity *coding = build.activity(codingName, dev);
    Activity *legacy = build.activity(str("Legacy"), support, true);
    Activity *meetings = build.activity(str("Meetings"), support);
    build.task(coding, at(18, 23, 0), at(19, 1, 30));
    build.task(coding, at(19, 10, 0, 0), at(19, 11, 35, 59));
    build.task(legacy, at(19, 23, 20, 30), at(20, 0, 40, 45));
    build.task(coding, at(20, 23, 0), at(21, 2, 0));
    build.task(meetings, at(20, 15, 0), QDateTime());
}

const char *const obsoleteNote
    = "<p><font color=#ff0000>Activities and categories shown in<br><i>red italics</i> are "
      "obsolete.</font></p>";
const char *const activeNote
    = "<p><font color=#ff0000>There are <i>active</i> tasks in this time period<br>that are "
      "excluded from this report.</font></p>";

} // namespace

class TestReportText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void formatsMinutes_data();
    void formatsMinutes();
    void goldenTexts_data();
    void goldenTexts();
    void goldenNumbersAgree_data();
    void goldenNumbersAgree();
    void zeroActivityHiddenWithoutIncludeZero();
    void obsoleteActivityRows();
    void runningTaskNoteWithoutRow();
    void obsoleteCategoryHeader();
    void edgeMinuteCounts();
    void oneDayTimeSheet();
    void emptyDayTimeSheet();
    void timeSheetRowsInEveryColumn();
    void includeZeroRowsPerDay();
    void emptyLists();
    void fromAfterTo();
    void invalidDatesGiveNoDays();
    void summaryOverCenturies();
    void recordsLookAtDatesFirst();
    void passedBytesAreNotReadAgain();
    void fastMatchesReference();
    void timeSheetHandedOnInPieces();
    void summaryHandedOnInPieces();
    void plainTexts_data();
    void plainTexts();
    void plainTextDayWithoutTime();
    void plainTextFromAfterTo();
    void plainTextWithoutCategoryColumn();
    void plainTextWithoutCategories();
    void plainTextMatchesCsv();
    void csvNamesNeverRunAsFormulas();
    void csvNamesReadBack_data();
    void csvNamesReadBack();
};

void TestReportText::formatsMinutes_data()
{
    QTest::addColumn<int>("minutes");
    QTest::addColumn<QString>("hoursMinutes");
    QTest::addColumn<QString>("decimal");
    QTest::newRow("95") << 95 << str("1:35") << str("1.5833");
    QTest::newRow("0") << 0 << str("0:00") << str("0.0000");
    QTest::newRow("59") << 59 << str("0:59") << str("0.9833");
    QTest::newRow("600") << 600 << str("10:00") << str("10.0000");
    QTest::newRow("-75") << -75 << str("-1:-15") << str("-1.2500");
}

void TestReportText::formatsMinutes()
{
    QFETCH(int, minutes);
    QFETCH(QString, hoursMinutes);
    QFETCH(QString, decimal);
    QCOMPARE(ReportText::formatMinutes(minutes, false), hoursMinutes);
    QCOMPARE(ReportText::formatMinutes(minutes, true), decimal);
}

void TestReportText::goldenTexts_data()
{
    QTest::addColumn<bool>("includeZero");
    QTest::addColumn<bool>("decimal");
    QTest::addColumn<QString>("summary");
    QTest::addColumn<QString>("timeSheet");

    const QString summaryHead
        = str("<qt bgcolor=#ffffff><p><font face=Arial size=5 color=#0000ff>Period Summary "
              "Report</font></p><p><font face=Arial size=4 color=#0000ff>11/19/26 to "
              "11/20/26</font></p><table border=0 cellpadding=2 cellspacing=1><tr><td rowspan=2 "
              "bgcolor=#c0c0c0>&nbsp;</td><td align=center bgcolor=#c0c0c0>Dev &amp; Ops</td><td "
              "align=center bgcolor=#c0c0c0>Support</td></tr><tr>");
    const QString sheetHead
        = str("<qt bgcolor=#ffffff><p><font face=Arial size=5 color=#0000ff>Period Time "
              "Sheet</font></p><p><font face=Arial size=4 color=#0000ff>11/19/26 to "
              "11/20/26</font></p><table border=0 cellpadding=2 cellspacing=1><tr><td colspan=2 "
              "rowspan=2 bgcolor=#c0c0c0>&nbsp;</td><td align=center bgcolor=#c0c0c0>Dev &amp; "
              "Ops</td><td align=center bgcolor=#c0c0c0>Support</td><td rowspan=2 "
              "bgcolor=#c0c0c0>&nbsp;</td></tr><tr>");
    const QString unitsHm
        = str("<td align=center bgcolor=#c0c0c0><font size=-1>hrs&nbsp;:&nbsp;mins</font></td><td "
              "align=center bgcolor=#c0c0c0><font size=-1>hrs&nbsp;:&nbsp;mins</font></td></tr>");
    const QString unitsDec = str("<td align=center bgcolor=#c0c0c0><font "
                                 "size=-1>hours</font></td><td align=center "
                                 "bgcolor=#c0c0c0><font size=-1>hours</font></td></tr>");
    const QString tail = str("</table>") + str(obsoleteNote) + str(activeNote) + str("</qt>");

    // Summary, hours and minutes, with the zero row of "Meetings".
    QTest::newRow("hm, zero")
        << true << false
        << summaryHead + unitsHm
               + str("<tr><td bgcolor=#c0c0c0>Coding &lt;C++&gt; &amp; tests</td><td "
                     "align=center bgcolor=#e0e0e0>4:05</td><td align=center "
                     "bgcolor=#e0e0e0>&nbsp;</td></tr>"
                     "<tr><td bgcolor=#c0c0c0><font color=#ff0000><i>Legacy</i></font></td><td "
                     "align=center bgcolor=#e0e0e0>&nbsp;</td><td align=center "
                     "bgcolor=#e0e0e0>1:20</td></tr>"
                     "<tr><td bgcolor=#c0c0c0>Meetings</td><td align=center "
                     "bgcolor=#e0e0e0>&nbsp;</td><td align=center bgcolor=#e0e0e0>0:00</td></tr>"
                     "<tr><td bgcolor=#c0c0c0>Totals</td><td align=center "
                     "bgcolor=#c0ffc0>4:05</td><td align=center bgcolor=#c0ffc0>1:20</td></tr>")
               + tail
        << sheetHead + unitsHm
               + str("<tr><td align=top bgcolor=#c0c0c0 rowspan=4>Thu<br>Nov&nbsp;19<br>2026</td>"
                     "<td bgcolor=#c0c0c0>Coding &lt;C++&gt; &amp; tests</td><td align=center "
                     "bgcolor=#e0e0e0>3:05</td><td align=center bgcolor=#e0e0e0>&nbsp;</td><td "
                     "align=center bgcolor=#e0e0e0 rowspan=3>&nbsp;</td></tr>"
                     "<tr><td bgcolor=#c0c0c0><font color=#ff0000><i>Legacy</i></font></td><td "
                     "align=center bgcolor=#e0e0e0>&nbsp;</td><td align=center "
                     "bgcolor=#e0e0e0>0:39</td></tr>"
                     "<tr><td bgcolor=#c0c0c0>Meetings</td><td align=center "
                     "bgcolor=#e0e0e0>&nbsp;</td><td align=center bgcolor=#e0e0e0>0:00</td></tr>"
                     "<tr><td bgcolor=#c0c0c0>Daily Totals</td><td align=center "
                     "bgcolor=#c0ffc0>3:05</td><td align=center bgcolor=#c0ffc0>0:39</td><td "
                     "align=center bgcolor=#c0ffc0>3:44</td></tr>"
                     "<tr><td align=top bgcolor=#c0c0c0 rowspan=4>Fri<br>Nov&nbsp;20<br>2026</td>"
                     "<td bgcolor=#c0c0c0>Coding &lt;C++&gt; &amp; tests</td><td align=center "
                     "bgcolor=#e0e0e0>1:00</td><td align=center bgcolor=#e0e0e0>&nbsp;</td><td "
                     "align=center bgcolor=#e0e0e0 rowspan=3>&nbsp;</td></tr>"
                     "<tr><td bgcolor=#c0c0c0><font color=#ff0000><i>Legacy</i></font></td><td "
                     "align=center bgcolor=#e0e0e0>&nbsp;</td><td align=center "
                     "bgcolor=#e0e0e0>0:40</td></tr>"
                     "<tr><td bgcolor=#c0c0c0>Meetings</td><td align=center "
                     "bgcolor=#e0e0e0>&nbsp;</td><td align=center bgcolor=#e0e0e0>0:00</td></tr>"
                     "<tr><td bgcolor=#c0c0c0>Daily Totals</td><td align=center "
                     "bgcolor=#c0ffc0>1:00</td><td align=center bgcolor=#c0ffc0>0:40</td><td "
                     "align=center bgcolor=#c0ffc0>1:40</td></tr>"
                     "<tr><td colspan=2 bgcolor=#c0c0c0>Period Totals</td><td align=center "
                     "bgcolor=#c0ffc0>4:05</td><td align=center bgcolor=#c0ffc0>1:19</td><td "
                     "align=center bgcolor=#c0ffc0>5:24</td></tr>")
               + tail;

    // Decimal hours, without zero rows: "Meetings" goes, and the day blocks shrink by one.
    QTest::newRow("decimal, no zero")
        << false << true
        << summaryHead + unitsDec
               + str("<tr><td bgcolor=#c0c0c0>Coding &lt;C++&gt; &amp; tests</td><td "
                     "align=center bgcolor=#e0e0e0>4.0833</td><td align=center "
                     "bgcolor=#e0e0e0>&nbsp;</td></tr>"
                     "<tr><td bgcolor=#c0c0c0><font color=#ff0000><i>Legacy</i></font></td><td "
                     "align=center bgcolor=#e0e0e0>&nbsp;</td><td align=center "
                     "bgcolor=#e0e0e0>1.3333</td></tr>"
                     "<tr><td bgcolor=#c0c0c0>Totals</td><td align=center "
                     "bgcolor=#c0ffc0>4.0833</td><td align=center "
                     "bgcolor=#c0ffc0>1.3333</td></tr>")
               + tail
        << sheetHead + unitsDec
               + str("<tr><td align=top bgcolor=#c0c0c0 rowspan=3>Thu<br>Nov&nbsp;19<br>2026</td>"
                     "<td bgcolor=#c0c0c0>Coding &lt;C++&gt; &amp; tests</td><td align=center "
                     "bgcolor=#e0e0e0>3.0833</td><td align=center bgcolor=#e0e0e0>&nbsp;</td><td "
                     "align=center bgcolor=#e0e0e0 rowspan=2>&nbsp;</td></tr>"
                     "<tr><td bgcolor=#c0c0c0><font color=#ff0000><i>Legacy</i></font></td><td "
                     "align=center bgcolor=#e0e0e0>&nbsp;</td><td align=center "
                     "bgcolor=#e0e0e0>0.6500</td></tr>"
                     "<tr><td bgcolor=#c0c0c0>Daily Totals</td><td align=center "
                     "bgcolor=#c0ffc0>3.0833</td><td align=center bgcolor=#c0ffc0>0.6500</td><td "
                     "align=center bgcolor=#c0ffc0>3.7333</td></tr>"
                     "<tr><td align=top bgcolor=#c0c0c0 rowspan=3>Fri<br>Nov&nbsp;20<br>2026</td>"
                     "<td bgcolor=#c0c0c0>Coding &lt;C++&gt; &amp; tests</td><td align=center "
                     "bgcolor=#e0e0e0>1.0000</td><td align=center bgcolor=#e0e0e0>&nbsp;</td><td "
                     "align=center bgcolor=#e0e0e0 rowspan=2>&nbsp;</td></tr>"
                     "<tr><td bgcolor=#c0c0c0><font color=#ff0000><i>Legacy</i></font></td><td "
                     "align=center bgcolor=#e0e0e0>&nbsp;</td><td align=center "
                     "bgcolor=#e0e0e0>0.6667</td></tr>"
                     "<tr><td bgcolor=#c0c0c0>Daily Totals</td><td align=center "
                     "bgcolor=#c0ffc0>1.0000</td><td align=center bgcolor=#c0ffc0>0.6667</td><td "
                     "align=center bgcolor=#c0ffc0>1.6667</td></tr>"
                     "<tr><td colspan=2 bgcolor=#c0c0c0>Period Totals</td><td align=center "
                     "bgcolor=#c0ffc0>4.0833</td><td align=center bgcolor=#c0ffc0>1.3167</td><td "
                     "align=center bgcolor=#c0ffc0>5.4000</td></tr>")
               + tail;

    // Hours and minutes, without zero rows: the same numbers as the first row, less "Meetings".
    QTest::newRow("hm, no zero")
        << false << false
        << summaryHead + unitsHm
               + str("<tr><td bgcolor=#c0c0c0>Coding &lt;C++&gt; &amp; tests</td><td "
                     "align=center bgcolor=#e0e0e0>4:05</td><td align=center "
                     "bgcolor=#e0e0e0>&nbsp;</td></tr>"
                     "<tr><td bgcolor=#c0c0c0><font color=#ff0000><i>Legacy</i></font></td><td "
                     "align=center bgcolor=#e0e0e0>&nbsp;</td><td align=center "
                     "bgcolor=#e0e0e0>1:20</td></tr>"
                     "<tr><td bgcolor=#c0c0c0>Totals</td><td align=center "
                     "bgcolor=#c0ffc0>4:05</td><td align=center bgcolor=#c0ffc0>1:20</td></tr>")
               + tail
        << sheetHead + unitsHm
               + str("<tr><td align=top bgcolor=#c0c0c0 rowspan=3>Thu<br>Nov&nbsp;19<br>2026</td>"
                     "<td bgcolor=#c0c0c0>Coding &lt;C++&gt; &amp; tests</td><td align=center "
                     "bgcolor=#e0e0e0>3:05</td><td align=center bgcolor=#e0e0e0>&nbsp;</td><td "
                     "align=center bgcolor=#e0e0e0 rowspan=2>&nbsp;</td></tr>"
                     "<tr><td bgcolor=#c0c0c0><font color=#ff0000><i>Legacy</i></font></td><td "
                     "align=center bgcolor=#e0e0e0>&nbsp;</td><td align=center "
                     "bgcolor=#e0e0e0>0:39</td></tr>"
                     "<tr><td bgcolor=#c0c0c0>Daily Totals</td><td align=center "
                     "bgcolor=#c0ffc0>3:05</td><td align=center bgcolor=#c0ffc0>0:39</td><td "
                     "align=center bgcolor=#c0ffc0>3:44</td></tr>"
                     "<tr><td align=top bgcolor=#c0c0c0 rowspan=3>Fri<br>Nov&nbsp;20<br>2026</td>"
                     "<td bgcolor=#c0c0c0>Coding &lt;C++&gt; &amp; tests</td><td align=center "
                     "bgcolor=#e0e0e0>1:00</td><td align=center bgcolor=#e0e0e0>&nbsp;</td><td "
                     "align=center bgcolor=#e0e0e0 rowspan=2>&nbsp;</td></tr>"
                     "<tr><td bgcolor=#c0c0c0><font color=#ff0000><i>Legacy</i></font></td><td "
                     "align=center bgcolor=#e0e0e0>&nbsp;</td><td align=center "
                     "bgcolor=#e0e0e0>0:40</td></tr>"
                     "<tr><td bgcolor=#c0c0c0>Daily Totals</td><td align=center "
                     "bgcolor=#c0ffc0>1:00</td><td align=center bgcolor=#c0ffc0>0:40</td><td "
                     "align=center bgcolor=#c0ffc0>1:40</td></tr>"
                     "<tr><td colspan=2 bgcolor=#c0c0c0>Period Totals</td><td align=center "
                     "bgcolor=#c0ffc0>4:05</td><td align=center bgcolor=#c0ffc0>1:19</td><td "
                     "align=center bgcolor=#c0ffc0>5:24</td></tr>")
               + tail;

    // Decimal hours, with the zero row of "Meetings" (0.0000) in the summary and in every day.
    QTest::newRow("decimal, zero")
        << true << true
        << summaryHead + unitsDec
               + str("<tr><td bgcolor=#c0c0c0>Coding &lt;C++&gt; &amp; tests</td><td "
                     "align=center bgcolor=#e0e0e0>4.0833</td><td align=center "
                     "bgcolor=#e0e0e0>&nbsp;</td></tr>"
                     "<tr><td bgcolor=#c0c0c0><font color=#ff0000><i>Legacy</i></font></td><td "
                     "align=center bgcolor=#e0e0e0>&nbsp;</td><td align=center "
                     "bgcolor=#e0e0e0>1.3333</td></tr>"
                     "<tr><td bgcolor=#c0c0c0>Meetings</td><td align=center "
                     "bgcolor=#e0e0e0>&nbsp;</td><td align=center bgcolor=#e0e0e0>0.0000</td></tr>"
                     "<tr><td bgcolor=#c0c0c0>Totals</td><td align=center "
                     "bgcolor=#c0ffc0>4.0833</td><td align=center "
                     "bgcolor=#c0ffc0>1.3333</td></tr>")
               + tail
        << sheetHead + unitsDec
               + str("<tr><td align=top bgcolor=#c0c0c0 rowspan=4>Thu<br>Nov&nbsp;19<br>2026</td>"
                     "<td bgcolor=#c0c0c0>Coding &lt;C++&gt; &amp; tests</td><td align=center "
                     "bgcolor=#e0e0e0>3.0833</td><td align=center bgcolor=#e0e0e0>&nbsp;</td><td "
                     "align=center bgcolor=#e0e0e0 rowspan=3>&nbsp;</td></tr>"
                     "<tr><td bgcolor=#c0c0c0><font color=#ff0000><i>Legacy</i></font></td><td "
                     "align=center bgcolor=#e0e0e0>&nbsp;</td><td align=center "
                     "bgcolor=#e0e0e0>0.6500</td></tr>"
                     "<tr><td bgcolor=#c0c0c0>Meetings</td><td align=center "
                     "bgcolor=#e0e0e0>&nbsp;</td><td align=center bgcolor=#e0e0e0>0.0000</td></tr>"
                     "<tr><td bgcolor=#c0c0c0>Daily Totals</td><td align=center "
                     "bgcolor=#c0ffc0>3.0833</td><td align=center bgcolor=#c0ffc0>0.6500</td><td "
                     "align=center bgcolor=#c0ffc0>3.7333</td></tr>"
                     "<tr><td align=top bgcolor=#c0c0c0 rowspan=4>Fri<br>Nov&nbsp;20<br>2026</td>"
                     "<td bgcolor=#c0c0c0>Coding &lt;C++&gt; &amp; tests</td><td align=center "
                     "bgcolor=#e0e0e0>1.0000</td><td align=center bgcolor=#e0e0e0>&nbsp;</td><td "
                     "align=center bgcolor=#e0e0e0 rowspan=3>&nbsp;</td></tr>"
                     "<tr><td bgcolor=#c0c0c0><font color=#ff0000><i>Legacy</i></font></td><td "
                     "align=center bgcolor=#e0e0e0>&nbsp;</td><td align=center "
                     "bgcolor=#e0e0e0>0.6667</td></tr>"
                     "<tr><td bgcolor=#c0c0c0>Meetings</td><td align=center "
                     "bgcolor=#e0e0e0>&nbsp;</td><td align=center bgcolor=#e0e0e0>0.0000</td></tr>"
                     "<tr><td bgcolor=#c0c0c0>Daily Totals</td><td align=center "
                     "bgcolor=#c0ffc0>1.0000</td><td align=center bgcolor=#c0ffc0>0.6667</td><td "
                     "align=center bgcolor=#c0ffc0>1.6667</td></tr>"
                     "<tr><td colspan=2 bgcolor=#c0c0c0>Period Totals</td><td align=center "
                     "bgcolor=#c0ffc0>4.0833</td><td align=center bgcolor=#c0ffc0>1.3167</td><td "
                     "align=center bgcolor=#c0ffc0>5.4000</td></tr>")
               + tail;
}

void TestReportText::goldenTexts()
{
    QFETCH(bool, includeZero);
    QFETCH(bool, decimal);
    QFETCH(QString, summary);
    QFETCH(QString, timeSheet);
    QuorvelDocument doc;
    buildSmall(doc);
    verifyBoth(doc, QDate(2026, 11, 19), QDate(2026, 11, 20), includeZero, decimal, summary,
               timeSheet);
}

// A long period's time sheet goes out as it is written: in pieces of at most 32 768
// characters, a few per day's rows rather than one per cell, that together are its text.
void TestReportText::timeSheetHandedOnInPieces()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    Activity *coding = build.activity(QStringLiteral("Coding"), work);
    Activity *meetings = build.activity(QStringLiteral("Meetings"), work, true);
    Activity *reading = build.activity(QStringLiteral("Reading <&>"), nullptr);
    const QDate first(2025, 1, 1);
    for (int day = 0; day < 365; ++day) {
        const QDateTime start(first.addDays(day), QTime(9, 0));
        build.task(coding, start, start.addSecs(3600 + 60 * (day % 90)));
        build.task(day % 2 ? meetings : reading, start.addSecs(4 * 3600),
                   start.addSecs(4 * 3600 + 600));
    }
    build.task(coding, QDateTime(QDate(2025, 12, 31), QTime(20, 0)), QDateTime());
    build.sortAll();
    for (const bool decimal : {false, true}) {
        const ReportData sheet
            = ReportData::collect(doc, first, QDate(2025, 12, 31), true, ReportKind::TimeSheet);
        const QString whole = ReportHtml::timeSheet(sheet, decimal);
        QCOMPARE(whole,
                 ReportText::periodTimeSheet(doc, first, QDate(2025, 12, 31), true, decimal));
        verifyHandedOn(sheet, decimal, whole, 5 * 32768);
    }

    // A category's name longer than a piece, in every column head.
    QuorvelDocument wide;
    DocumentBuilder buildWide(wide);
    Activity *one = buildWide.activity(QStringLiteral("One"),
                                       buildWide.category(QString(40000, QLatin1Char('c'))));
    buildWide.task(one, QDateTime(first, QTime(9, 0)), QDateTime(first, QTime(10, 0)));
    buildWide.sortAll();
    const ReportData sheet = ReportData::collect(wide, first, first, false, ReportKind::TimeSheet);
    verifyLongTextWhole(sheet, ReportHtml::timeSheet(sheet, false));
}

// So does a summary, which is long with many activities.
void TestReportText::summaryHandedOnInPieces()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    QList<ActivityCategory *> categories;
    for (int c = 0; c < 4; ++c)
        categories << build.category(QStringLiteral("C%1").arg(c), c == 3);
    const QDate day(2025, 3, 3);
    Activity *first = nullptr;
    for (int a = 0; a < 800; ++a) {
        Activity *activity = build.activity(QStringLiteral("A%1 <&>").arg(a),
                                            a % 5 == 4 ? nullptr : categories.at(a % 5));
        const QDateTime start(day, QTime(0, 0).addSecs(60 * a));
        build.task(activity, start, start.addSecs(60 + 60 * (a % 7)));
        if (!first)
            first = activity;
    }
    // A running task, for the note after the table.
    build.task(first, QDateTime(day, QTime(23, 0)), QDateTime());
    build.sortAll();
    for (const bool decimal : {false, true}) {
        const ReportData summary = ReportData::collect(doc, day, day, true, ReportKind::Summary);
        const QString whole = ReportHtml::summary(summary, decimal);
        QCOMPARE(whole, ReportText::periodSummary(doc, day, day, true, decimal));
        verifyHandedOn(summary, decimal, whole, 4 * 32768);
    }

    // A name longer than a piece goes on whole.
    QuorvelDocument wide;
    DocumentBuilder buildWide(wide);
    Activity *one = buildWide.activity(QString(40000, QLatin1Char('a')),
                                       buildWide.category(QStringLiteral("C")));
    buildWide.task(one, QDateTime(day, QTime(9, 0)), QDateTime(day, QTime(10, 0)));
    buildWide.sortAll();
    const ReportData summary = ReportData::collect(wide, day, day, false, ReportKind::Summary);
    verifyLongTextWhole(summary, ReportHtml::summary(summary, false));
}

namespace {

// A time as a report writes it ("h:mm" or decimal hours), in minutes.
int minutesOf(const QString &time)
{
    const qsizetype colon = time.indexOf(QLatin1Char(':'));
    if (colon >= 0)
        return time.left(colon).toInt() * 60 + time.mid(colon + 1).toInt();
    return qRound(time.toDouble() * 60);
}

// The times in the cells of the given colour, in minutes: the rows' (#e0e0e0) or the totals'
// (#c0ffc0).
QList<int> htmlTimes(const QString &html, const char *colour)
{
    const QRegularExpression cell(str("bgcolor=#") + str(colour)
                                  + str(R"(>(-?[0-9]+[:.][0-9]+)</td>)"));
    QList<int> times;
    for (const QRegularExpressionMatch &m : cell.globalMatch(html))
        times << minutesOf(m.captured(1));
    return times;
}

// The time at the end of a plain-text line, or -1 without one.
int plainTime(const QString &line)
{
    static const QRegularExpression time(str(R"((?:^| )(-?[0-9]+[:.][0-9]+)$)"));
    const QRegularExpressionMatch m = time.match(line);
    return m.hasMatch() ? minutesOf(m.captured(1)) : -1;
}

// The minutes of a CSV's rows, from the field counted from the end.
QList<int> csvMinutes(const QString &csv, int fromEnd)
{
    QList<int> minutes;
    QStringList rows = csv.split(str("\r\n"), Qt::SkipEmptyParts);
    rows.removeFirst();
    for (const QString &row : rows) {
        const QStringList fields = row.split(QLatin1Char(','));
        minutes << fields.at(fields.size() - 1 - fromEnd).toInt();
    }
    return minutes;
}

} // namespace

void TestReportText::goldenNumbersAgree_data()
{
    QTest::addColumn<bool>("includeZero");
    QTest::addColumn<bool>("decimal");
    QTest::newRow("hours and minutes") << false << false;
    QTest::newRow("decimal") << false << true;
    QTest::newRow("zero rows, hours and minutes") << true << false;
    QTest::newRow("zero rows, decimal") << true << true;
}

// The CSV and the plain texts carry the rich texts' numbers, row by row and total by total.
void TestReportText::goldenNumbersAgree()
{
    QFETCH(bool, includeZero);
    QFETCH(bool, decimal);
    QuorvelDocument doc;
    buildSmall(doc);
    const QDate from(2026, 11, 19);
    const QDate to(2026, 11, 20);
    const int categories = doc.categories.size();

    const ReportData summary = ReportData::collect(doc, from, to, includeZero, ReportKind::Summary);
    const QString html = ReportHtml::summary(summary, decimal);
    QCOMPARE(html, ReportText::periodSummary(doc, from, to, includeZero, decimal));
    const QList<int> htmlRows = htmlTimes(html, "e0e0e0");
    const QList<int> htmlTotals = htmlTimes(html, "c0ffc0");
    QCOMPARE(int(htmlRows.size()), int(summary.rows.size()));
    QCOMPARE(int(htmlTotals.size()), categories);
    const QString csv = ReportCsv::summary(summary);
    QCOMPARE(csvMinutes(csv, 1), htmlRows);
    // The hours column, with four decimals, gives the same minutes back.
    QList<int> csvHours;
    for (const QString &row : csv.split(str("\r\n"), Qt::SkipEmptyParts).mid(1))
        csvHours << minutesOf(row.section(QLatin1Char(','), -1));
    QCOMPARE(csvHours, htmlRows);
    const QStringList plain = ReportPlainText::summary(summary, decimal).split(QLatin1Char('\n'));
    // Title, period, an empty line and the column heads; then the rows up to an empty line,
    // then the totals per category and their sum.
    const qsizetype blank = plain.indexOf(QString(), 4);
    QVERIFY(blank > 0);
    QList<int> plainRows;
    for (qsizetype i = 4; i < blank; ++i)
        plainRows << plainTime(plain.at(i));
    QCOMPARE(plainRows, htmlRows);
    QList<int> plainTotals;
    for (qsizetype i = blank + 1; i < blank + 1 + categories + 1; ++i)
        plainTotals << plainTime(plain.at(i));
    int sum = 0;
    for (const int m : htmlTotals)
        sum += m;
    QCOMPARE(plainTotals, htmlTotals + QList<int>{sum});

    const ReportData sheet = ReportData::collect(doc, from, to, includeZero, ReportKind::TimeSheet);
    const QString sheetHtml = ReportHtml::timeSheet(sheet, decimal);
    QCOMPARE(sheetHtml, ReportText::periodTimeSheet(doc, from, to, includeZero, decimal));
    const QList<int> sheetRows = htmlTimes(sheetHtml, "e0e0e0");
    QCOMPARE(int(sheetRows.size()), int(sheet.rows.size()));
    QCOMPARE(csvMinutes(ReportCsv::timeSheet(sheet), 0), sheetRows);
    // Per day, and then for the period: the totals per category and their sum.
    const QList<int> sheetTotals = htmlTimes(sheetHtml, "c0ffc0");
    QCOMPARE(int(sheetTotals.size()), (int(sheet.days.size()) + 1) * (categories + 1));
    for (qsizetype at = 0; at < sheetTotals.size(); at += categories + 1) {
        int chunkSum = 0;
        for (int c = 0; c < categories; ++c)
            chunkSum += sheetTotals.at(at + c);
        QCOMPARE(sheetTotals.at(at + categories), chunkSum);
    }
    const QStringList sheetPlain
        = ReportPlainText::timeSheet(sheet, decimal).split(QLatin1Char('\n'));
    const QString dailyLabel = str("  Daily Totals");
    qsizetype lastDaily = -1;
    QList<int> plainSheetRows;
    QList<int> plainDaily;
    for (qsizetype i = 0; i < sheetPlain.size(); ++i) {
        const QString &line = sheetPlain.at(i);
        if (line.startsWith(dailyLabel)) {
            plainDaily << plainTime(line);
            lastDaily = i;
        } else if (line.startsWith(str("  ")) && plainTime(line) != -1 && lastDaily < i
                   && plainDaily.size() < int(sheet.days.size())) {
            plainSheetRows << plainTime(line);
        }
    }
    QCOMPARE(plainSheetRows, sheetRows);
    QList<int> htmlDaily;
    for (int d = 0; d < int(sheet.days.size()); ++d)
        htmlDaily << sheetTotals.at(d * (categories + 1) + categories);
    QCOMPARE(plainDaily, htmlDaily);
    QList<int> plainPeriod;
    for (qsizetype i = lastDaily + 1; i < sheetPlain.size(); ++i) {
        if (plainTime(sheetPlain.at(i)) != -1)
            plainPeriod << plainTime(sheetPlain.at(i));
    }
    QCOMPARE(plainPeriod, sheetTotals.mid(sheetTotals.size() - (categories + 1)));
}

namespace {

const QDate day20(2026, 11, 20);

QString summaryOf(const QuorvelDocument &doc, const QDate &from, const QDate &to, bool zero,
                  bool decimal = false)
{
    const QString text = ReportText::periodSummary(doc, from, to, zero, decimal);
    // Every edge case is checked on both builds.
    if (text != ReportReference::summaryHtml(doc, from, to, zero, decimal)
        || !sameData(doc, from, to, zero, ReportKind::Summary))
        return str("builds differ");
    return text;
}

QString sheetOf(const QuorvelDocument &doc, const QDate &from, const QDate &to, bool zero,
                bool decimal = false)
{
    const QString text = ReportText::periodTimeSheet(doc, from, to, zero, decimal);
    if (text != ReportReference::timeSheetHtml(doc, from, to, zero, decimal)
        || !sameData(doc, from, to, zero, ReportKind::TimeSheet))
        return str("builds differ");
    return text;
}

} // namespace

void TestReportText::zeroActivityHiddenWithoutIncludeZero()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *c = build.category(str("C"));
    build.activity(str("Idle"), c);
    Activity *busy = build.activity(str("Busy"), c);
    build.task(busy, at(20, 9, 0), at(20, 10, 0));
    const QString off = summaryOf(doc, day20, day20, false);
    QVERIFY(!off.contains(str("Idle")));
    QVERIFY(off.contains(str("<td bgcolor=#c0c0c0>Busy</td><td align=center "
                             "bgcolor=#e0e0e0>1:00</td></tr>")));
    QVERIFY(!sheetOf(doc, day20, day20, false).contains(str("Idle")));
    QVERIFY(summaryOf(doc, day20, day20, true)
                .contains(str("<td bgcolor=#c0c0c0>Idle</td><td align=center "
                              "bgcolor=#e0e0e0>0:00</td></tr>")));
}

void TestReportText::obsoleteActivityRows()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *c = build.category(str("C"));
    build.activity(str("Gone"), c, true);
    Activity *kept = build.activity(str("Kept"), c, true);
    // Its only task lies outside the period: a zero row still shows, in red italics.
    build.task(kept, at(2, 9, 0), at(2, 10, 0));
    const QString summary = summaryOf(doc, day20, day20, true);
    QVERIFY(!summary.contains(str("Gone")));
    QVERIFY(summary.contains(
        str("<tr><td bgcolor=#c0c0c0><font color=#ff0000><i>Kept</i></font></td><td "
            "align=center bgcolor=#e0e0e0>0:00</td></tr>")));
    QVERIFY(summary.contains(str(obsoleteNote)));
    const QString sheet = sheetOf(doc, day20, day20, true);
    QVERIFY(!sheet.contains(str("Gone")));
    QVERIFY(sheet.contains(str("<font color=#ff0000><i>Kept</i></font>")));
    QVERIFY(sheet.contains(str(obsoleteNote)));
    // Without zero rows nothing obsolete is shown, so there is no note.
    QVERIFY(!summaryOf(doc, day20, day20, false).contains(str(obsoleteNote)));
    QVERIFY(!sheetOf(doc, day20, day20, false).contains(str(obsoleteNote)));
}

void TestReportText::runningTaskNoteWithoutRow()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *c = build.category(str("C"));
    Activity *a = build.activity(str("Call"), c);
    build.task(a, at(20, 9, 0), QDateTime());
    const QString summary = summaryOf(doc, day20, day20, false);
    QVERIFY(!summary.contains(str("Call")));
    QVERIFY(summary.endsWith(str(activeNote) + str("</qt>")));
    const QString sheet = sheetOf(doc, day20, day20, false);
    QVERIFY(!sheet.contains(str("Call")));
    QVERIFY(sheet.endsWith(str(activeNote) + str("</qt>")));
    // A task started after the period is no concern of it.
    const QDate day19(2026, 11, 19);
    QVERIFY(!summaryOf(doc, day19, day19, true).contains(str(activeNote)));
    QVERIFY(!sheetOf(doc, day19, day19, true).contains(str(activeNote)));
}

void TestReportText::obsoleteCategoryHeader()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    build.category(str("Old"), true);
    const QString header = str("<td align=center bgcolor=#c0c0c0><font "
                               "color=#ff0000><i>Old</i></font></td>");
    const QString summary = summaryOf(doc, day20, day20, true);
    QVERIFY(summary.contains(header));
    QVERIFY(summary.contains(str(obsoleteNote)));
    const QString sheet = sheetOf(doc, day20, day20, true);
    QVERIFY(sheet.contains(header));
    QVERIFY(sheet.contains(str(obsoleteNote)));
}

void TestReportText::edgeMinuteCounts()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *c = build.category(str("C"));
    Activity *shortOne = build.activity(str("Short"), c);
    Activity *longOne = build.activity(str("Long"), nullptr);
    build.task(shortOne, at(20, 9, 0), at(20, 9, 59, 59));
    build.task(longOne, at(20, 8, 0), at(20, 18, 0));
    const QString hm = summaryOf(doc, day20, day20, false);
    QVERIFY(hm.contains(str("<td bgcolor=#c0c0c0>Short</td><td align=center "
                            "bgcolor=#e0e0e0>0:59</td></tr>")));
    // Without a category the activity shows only empty cells and adds to no total.
    QVERIFY(hm.contains(str("<td bgcolor=#c0c0c0>Long</td><td align=center "
                            "bgcolor=#e0e0e0>&nbsp;</td></tr>")));
    QVERIFY(hm.contains(str("<td bgcolor=#c0c0c0>Totals</td><td align=center "
                            "bgcolor=#c0ffc0>0:59</td></tr>")));
    const QString dec = summaryOf(doc, day20, day20, false, true);
    QVERIFY(dec.contains(str(">0.9833<")));
    QVERIFY(!dec.contains(str("10.0000")));

    build.task(shortOne, at(21, 8, 0), at(21, 18, 0));
    const QDate day21(2026, 11, 21);
    QVERIFY(summaryOf(doc, day21, day21, false).contains(str(">10:00<")));
    QVERIFY(summaryOf(doc, day21, day21, false, true).contains(str(">10.0000<")));
}

void TestReportText::oneDayTimeSheet()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *c = build.category(str("C"));
    Activity *a = build.activity(str("A"), c);
    build.task(a, at(20, 9, 0), at(20, 10, 15));
    const QString sheet = sheetOf(doc, day20, day20, false);
    QCOMPARE(
        sheet.count(str("<td align=top bgcolor=#c0c0c0 rowspan=2>Fri<br>Nov&nbsp;20<br>2026</td>")),
        1);
    QVERIFY(sheet.contains(str("<tr><td bgcolor=#c0c0c0>Daily Totals</td><td align=center "
                               "bgcolor=#c0ffc0>1:15</td><td align=center "
                               "bgcolor=#c0ffc0>1:15</td></tr><tr><td colspan=2 "
                               "bgcolor=#c0c0c0>Period Totals</td><td align=center "
                               "bgcolor=#c0ffc0>1:15</td><td align=center "
                               "bgcolor=#c0ffc0>1:15</td></tr></table></qt>")));
}

void TestReportText::emptyDayTimeSheet()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *c = build.category(str("C"));
    build.activity(str("A"), c);
    QCOMPARE(sheetOf(doc, day20, day20, false),
             str("<qt bgcolor=#ffffff><p><font face=Arial size=5 color=#0000ff>Period Time "
                 "Sheet</font></p><p><font face=Arial size=4 color=#0000ff>11/20/26 to "
                 "11/20/26</font></p><table border=0 cellpadding=2 cellspacing=1><tr><td "
                 "colspan=2 rowspan=2 bgcolor=#c0c0c0>&nbsp;</td><td align=center "
                 "bgcolor=#c0c0c0>C</td><td rowspan=2 bgcolor=#c0c0c0>&nbsp;</td></tr><tr><td "
                 "align=center bgcolor=#c0c0c0><font "
                 "size=-1>hrs&nbsp;:&nbsp;mins</font></td></tr><tr><td align=top "
                 "bgcolor=#c0c0c0 rowspan=1>Fri<br>Nov&nbsp;20<br>2026</td><td "
                 "bgcolor=#c0c0c0>Daily Totals</td><td align=center "
                 "bgcolor=#c0ffc0>0:00</td><td align=center bgcolor=#c0ffc0>0:00</td></tr><tr><td "
                 "colspan=2 bgcolor=#c0c0c0>Period Totals</td><td align=center "
                 "bgcolor=#c0ffc0>0:00</td><td align=center "
                 "bgcolor=#c0ffc0>0:00</td></tr></table></qt>"));
    QVERIFY(sheetOf(doc, day20, day20, false, true)
                .contains(str("<td bgcolor=#c0c0c0>Daily Totals</td><td align=center "
                              "bgcolor=#c0ffc0>0.0000</td><td align=center "
                              "bgcolor=#c0ffc0>0.0000</td></tr>")));
}

void TestReportText::timeSheetRowsInEveryColumn()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *first = build.category(str("First"));
    ActivityCategory *middle = build.category(str("Middle"));
    ActivityCategory *last = build.category(str("Last"));
    Activity *loose = build.activity(str("Loose"), nullptr);
    Activity *a = build.activity(str("A"), first);
    Activity *b = build.activity(str("B"), middle);
    Activity *c = build.activity(str("C"), last);
    build.task(loose, at(20, 8, 0), at(20, 9, 0));
    build.task(a, at(20, 9, 0), at(20, 9, 30));
    build.task(b, at(20, 10, 0), at(20, 10, 15));
    build.task(c, at(20, 11, 0), at(20, 11, 45));
    // Each row has its time in its category's column and empty cells in the others; an
    // activity without a category has only empty cells and adds to no total.
    const QString empty = str("<td align=center bgcolor=#e0e0e0>&nbsp;</td>");
    const QString day
        = str("<tr><td align=top bgcolor=#c0c0c0 rowspan=5>Fri<br>Nov&nbsp;20<br>2026</td>"
              "<td bgcolor=#c0c0c0>Loose</td>")
          + empty + empty + empty
          + str("<td align=center bgcolor=#e0e0e0 rowspan=4>&nbsp;</td></tr>"
                "<tr><td bgcolor=#c0c0c0>A</td><td align=center bgcolor=#e0e0e0>0:30</td>")
          + empty + empty + str("</tr><tr><td bgcolor=#c0c0c0>B</td>") + empty
          + str("<td align=center bgcolor=#e0e0e0>0:15</td>") + empty
          + str("</tr><tr><td bgcolor=#c0c0c0>C</td>") + empty + empty
          + str("<td align=center bgcolor=#e0e0e0>0:45</td></tr>"
                "<tr><td bgcolor=#c0c0c0>Daily Totals</td><td align=center "
                "bgcolor=#c0ffc0>0:30</td><td align=center bgcolor=#c0ffc0>0:15</td><td "
                "align=center bgcolor=#c0ffc0>0:45</td><td align=center "
                "bgcolor=#c0ffc0>1:30</td></tr><tr><td colspan=2");
    const QString sheet = sheetOf(doc, day20, day20, false);
    QCOMPARE(sheet.count(day), 1);
    QString handedOn;
    ReportHtml::handOnTimeSheet(
        ReportData::collect(doc, day20, day20, false, ReportKind::TimeSheet), false,
        [&handedOn](QStringView piece) { handedOn += piece; });
    QCOMPARE(handedOn, sheet);
}

void TestReportText::includeZeroRowsPerDay()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *c = build.category(str("C"));
    Activity *a = build.activity(str("A"), c);
    build.activity(str("B"), c);
    build.activity(str("D"), nullptr);
    build.task(a, at(19, 9, 0), at(19, 10, 0));
    const QString sheet = sheetOf(doc, QDate(2026, 11, 18), day20, true);
    // Three days of four rows each (three activities, daily totals), two header rows and the
    // period totals row.
    QCOMPARE(sheet.count(str("<tr>")), 3 * 4 + 2 + 1);
    QCOMPARE(sheet.count(str("rowspan=4>")), 3);
    QCOMPARE(sheet.count(str("rowspan=3>&nbsp;</td>")), 3);
    QCOMPARE(sheet.count(str("Daily Totals")), 3);
}

void TestReportText::emptyLists()
{
    QuorvelDocument doc;
    QCOMPARE(summaryOf(doc, day20, day20, true),
             str("<qt bgcolor=#ffffff><p><font face=Arial size=5 color=#0000ff>Period Summary "
                 "Report</font></p><p><font face=Arial size=4 color=#0000ff>11/20/26 to "
                 "11/20/26</font></p><table border=0 cellpadding=2 cellspacing=1><tr><td "
                 "rowspan=2 bgcolor=#c0c0c0>&nbsp;</td></tr><tr></tr><tr><td "
                 "bgcolor=#c0c0c0>Totals</td></tr></table></qt>"));
    DocumentBuilder build(doc);
    build.activity(str("Loose"), nullptr);
    QVERIFY(summaryOf(doc, day20, day20, true)
                .contains(str("<tr></tr><tr><td bgcolor=#c0c0c0>Loose</td></tr><tr><td "
                              "bgcolor=#c0c0c0>Totals</td></tr>")));
}

void TestReportText::fromAfterTo()
{
    QuorvelDocument doc;
    buildSmall(doc);
    const QString sheet = sheetOf(doc, day20, QDate(2026, 11, 19), true);
    QVERIFY(!sheet.contains(str("Daily Totals")));
    QVERIFY(sheet.contains(str("<tr><td colspan=2 bgcolor=#c0c0c0>Period Totals</td><td "
                               "align=center bgcolor=#c0ffc0>0:00</td><td align=center "
                               "bgcolor=#c0ffc0>0:00</td><td align=center "
                               "bgcolor=#c0ffc0>0:00</td></tr>")));
    QVERIFY(summaryOf(doc, day20, QDate(2026, 11, 19), true) != str("builds differ"));
}

void TestReportText::invalidDatesGiveNoDays()
{
    QuorvelDocument doc;
    buildSmall(doc);
    // Neither build may run on for ever from a date that does not exist.
    for (const auto &[from, to] :
         {std::pair{QDate(), day20}, std::pair{day20, QDate()}, std::pair{QDate(), QDate()}}) {
        const QString sheet = sheetOf(doc, from, to, true);
        QVERIFY(sheet != str("builds differ"));
        QVERIFY(!sheet.contains(str("Daily Totals")));
        QVERIFY(sheet.contains(str("Period Totals")));
    }
}

void TestReportText::summaryOverCenturies()
{
    QuorvelDocument doc;
    buildSmall(doc);
    // Every finished minute of the document, from long before it to long after.
    const QString text = summaryOf(doc, QDate(-5000, 1, 1), QDate(9999, 12, 31), false);
    // Dev & Ops: 150 + 95 + 180 minutes; Support: the obsolete activity's 80.
    QVERIFY2(text.contains(str("<tr><td bgcolor=#c0c0c0>Totals</td><td align=center "
                               "bgcolor=#c0ffc0>7:05</td><td align=center "
                               "bgcolor=#c0ffc0>1:20</td></tr>")),
             qPrintable(text));
}

// A document string with tasks years away from the period, dates that are no dates and
// withdrawn names with and without tasks: the report straight from its records is the one of
// the document read from it, whichever tasks the dates alone could pass over.
void TestReportText::recordsLookAtDatesFirst()
{
    using DocumentFormat::TaskRecord;
    using DocumentFormat::WallClock;
    const auto at = [](int y, int mo, int d, int h, int mi) {
        WallClock w;
        w.year = y;
        w.month = mo;
        w.day = d;
        w.hour = h;
        w.minute = mi;
        return w;
    };
    DocumentFormat::Writer out;
    out.begin(100);
    out.count(4);
    out.category(1, QStringLiteral("Work"), false);
    out.category(2, QStringLiteral("Old, with a kept activity"), true);
    out.category(3, QStringLiteral("Old, only a dropped activity"), true);
    out.category(4, QStringLiteral("Old, unused"), true);
    out.count(5);
    out.activity(10, QStringLiteral("Coding"), false, 0);
    out.activity(11, QStringLiteral("Withdrawn, a task long ago"), true, 1);
    out.activity(12, QStringLiteral("Withdrawn, no task"), true, 2);
    out.activity(13, QStringLiteral("Meetings"), false, 0);
    out.activity(14, QStringLiteral("No category"), false, -1);
    const QList<TaskRecord> tasks = [&] {
        QList<TaskRecord> list;
        const auto task = [&](int activity, const WallClock &start, const WallClock &stop) {
            TaskRecord t;
            t.id = 20 + int(list.size());
            t.activityPosition = activity;
            t.start = start;
            t.stop = stop;
            list << t;
        };
        task(1, at(2019, 3, 4, 9, 0), at(2019, 3, 4, 10, 0));    // years before
        task(0, at(2024, 12, 31, 22, 0), at(2025, 1, 1, 2, 30)); // into the period
        task(0, at(2025, 6, 2, 8, 0), at(2025, 6, 2, 9, 45));    // inside
        task(3, at(2024, 2, 29, 8, 0), at(2024, 2, 29, 9, 0));   // a leap day, outside
        task(3, at(2025, 2, 29, 8, 0), at(2025, 3, 1, 9, 0));    // no such day
        task(3, at(2025, 13, 1, 8, 0), at(2025, 13, 1, 9, 0));   // no such month
        task(0, at(2025, 4, 1, 25, 0), at(2025, 4, 1, 26, 0));   // no such hours
        task(4, at(2025, 12, 31, 23, 0), at(2026, 1, 1, 1, 0));  // out of the period
        task(4, at(2030, 1, 1, 8, 0), at(2030, 1, 1, 9, 0));     // years after
        task(3, at(2025, 11, 30, 8, 0), WallClock());            // running
        task(7, at(2025, 5, 5, 8, 0), at(2025, 5, 5, 9, 0));     // no such activity
        task(0, WallClock(), at(2025, 5, 6, 9, 0));              // no start
        return list;
    }();
    out.count(tasks.size());
    for (const TaskRecord &t : tasks)
        out.task(t);
    out.end({});
    const QByteArray bytes = out.bytes();

    QByteArray copy(bytes.constData(), bytes.size());
    QuorvelDocument doc;
    QVERIFY(doc.populateFromByteArray(copy.data(), int(copy.size())));
    QCOMPARE(doc.activities.size(), 4); // the withdrawn activity without a task is dropped
    QCOMPARE(doc.categories.size(), 2); // so are the withdrawn categories nothing uses

    const QList<QPair<QDate, QDate>> periods = {
        {QDate(2025, 1, 1), QDate(2025, 12, 31)}, {QDate(2025, 6, 2), QDate(2025, 6, 2)},
        {QDate(2019, 1, 1), QDate(2019, 12, 31)}, {QDate(1, 1, 1), QDate(9999, 12, 31)},
        {QDate(2025, 3, 1), QDate(2025, 2, 1)},   {QDate(-400, 1, 1), QDate(2025, 1, 1)},
        {QDate(2025, 12, 31), QDate(2026, 1, 1)},
    };
    for (const auto &period : periods) {
        for (const bool zero : {false, true}) {
            for (const ReportKind kind : {ReportKind::Summary, ReportKind::TimeSheet}) {
                QByteArray scratch(bytes.constData(), bytes.size());
                ReportData fromRecords;
                QVERIFY(ReportData::collect(scratch.data(), int(scratch.size()), period.first,
                                            period.second, zero, kind, &fromRecords));
                const ReportData fromDocument
                    = ReportData::collect(doc, period.first, period.second, zero, kind);
                QVERIFY2(fromRecords == fromDocument,
                         qPrintable(period.first.toString(Qt::ISODate) + QLatin1Char(' ')
                                    + period.second.toString(Qt::ISODate)));
            }
        }
    }

    // The withdrawn activity's only task lies years away, and still it has tasks: with zero
    // rows it shows, under its withdrawn category.
    QByteArray scratch(bytes.constData(), bytes.size());
    ReportData year;
    QVERIFY(ReportData::collect(scratch.data(), int(scratch.size()), QDate(2025, 1, 1),
                                QDate(2025, 12, 31), true, ReportKind::Summary, &year));
    // (The minutes of Coding and Meetings are left out here: their tasks without a start, with
    // hours past 23 or on days that do not exist count as the document counts them.)
    QStringList rows;
    for (const ReportRow &row : year.rows) {
        const ReportActivity &activity = year.activities[size_t(row.activity)];
        rows << activity.name + QLatin1Char('/') + activity.category
                    + (activity.name == QLatin1String("Coding")
                               || activity.name == QLatin1String("Meetings")
                           ? QString()
                           : QLatin1Char('/') + QString::number(row.minutes));
    }
    QCOMPARE(rows, QStringList({str("Coding/Work"),
                                str("Withdrawn, a task long ago/Old, with a kept activity/0"),
                                str("Meetings/Work"), str("No category//60")}));
    QVERIFY(year.runningLeftOut);
    QVERIFY(year.obsoleteShown);

    // A document string that is not one is refused and leaves the report as it was.
    QByteArray broken = bytes.left(bytes.size() - 4);
    ReportData untouched;
    untouched.from = QDate(2000, 1, 1);
    QVERIFY(!ReportData::collect(broken.data(), int(broken.size()), QDate(2025, 1, 1),
                                 QDate(2025, 12, 31), false, ReportKind::Summary, &untouched));
    QCOMPARE(untouched.from, QDate(2000, 1, 1));
}

// A reader told that the bytes behind it may go (a mapped file lets go of them) never looks
// at them again: with every byte it has passed spoilt as soon as it says so, the report is the
// one of the whole string. It says so at least every 64 KiB of tasks, moving forwards only.
void TestReportText::passedBytesAreNotReadAgain()
{
    using DocumentFormat::TaskRecord;
    using DocumentFormat::WallClock;
    DocumentFormat::Writer out;
    out.begin(9000);
    out.count(1);
    out.category(1, QStringLiteral("Work"), false);
    out.count(3);
    out.activity(10, QStringLiteral("Coding"), false, 0);
    out.activity(11, QStringLiteral("Meetings"), false, 0);
    out.activity(12, QStringLiteral("Withdrawn"), true, 0);
    constexpr int TaskCount = 12000;
    out.count(TaskCount);
    for (int i = 0; i < TaskCount; ++i) {
        TaskRecord t;
        t.id = 100 + i;
        t.activityPosition = i % 3;
        const QDate day = QDate(2024, 1, 1).addDays(i / 4);
        t.start.year = day.year();
        t.start.month = day.month();
        t.start.day = day.day();
        t.start.hour = 8 + i % 4;
        t.stop = t.start;
        t.stop.minute = 10 + i % 40;
        // Now and then a record the plain reading refuses: an hour past 23, a month of 13.
        if (i % 97 == 0)
            t.stop.hour = 25;
        if (i % 89 == 0)
            t.start.month = 13;
        out.task(t);
    }
    out.end({101, 102});
    const QByteArray bytes = out.bytes();
    QVERIFY(bytes.size() > 8 * DocumentFormat::PassingStep);

    struct Spoiler
    {
        char *data = nullptr;
        char *end = nullptr;
        char *spoiltTo = nullptr;
        int told = 0;
        bool backwards = false;
        qsizetype widestGap = 0;
    };
    const auto spoil = [](const char *upTo, void *context) {
        auto *s = static_cast<Spoiler *>(context);
        char *to = s->data + (upTo - s->data);
        if (to < s->spoiltTo || to > s->end)
            s->backwards = true;
        s->widestGap = std::max<qsizetype>(s->widestGap, to - s->spoiltTo);
        std::fill(s->spoiltTo, to, '\xff');
        s->spoiltTo = to;
        ++s->told;
    };

    for (const auto &[from, to] : {std::pair{QDate(2024, 1, 1), QDate(2024, 12, 31)},
                                   std::pair{QDate(2025, 3, 1), QDate(2026, 12, 31)},
                                   std::pair{QDate(2000, 1, 1), QDate(2099, 12, 31)}}) {
        for (const ReportKind kind : {ReportKind::Summary, ReportKind::TimeSheet}) {
            QByteArray whole(bytes.constData(), bytes.size());
            ReportData expected;
            QVERIFY(ReportData::collect(whole.data(), int(whole.size()), from, to, false, kind,
                                        &expected));
            QVERIFY(!expected.rows.empty());

            QByteArray spoilt(bytes.constData(), bytes.size());
            Spoiler spoiler;
            spoiler.data = spoiler.spoiltTo = spoilt.data();
            spoiler.end = spoilt.data() + spoilt.size();
            const DocumentFormat::Passing passing{spoil, &spoiler};
            ReportData report;
            QVERIFY(ReportData::collect(spoilt.data(), int(spoilt.size()), from, to, false, kind,
                                        &report, &passing));
            QVERIFY(report == expected);
            QVERIFY(!spoiler.backwards);
            QVERIFY2(spoiler.told >= int(bytes.size() / DocumentFormat::PassingStep) - 2,
                     qPrintable(QString::number(spoiler.told)));
            // Told again once a step's worth of bytes has been read, a task's bytes at most later.
            QVERIFY2(spoiler.widestGap < DocumentFormat::PassingStep + 512,
                     qPrintable(QString::number(spoiler.widestGap)));
            QVERIFY(spoilt.count('\xff') > bytes.size() / 2);
        }
    }
}

// Random documents around two daylight-saving changes (late October and early November),
// with tasks across midnight, across the period's edges, running, on obsolete activities and
// on activities without a category; the fast builds must match the reference ones.
void TestReportText::fastMatchesReference()
{
    QRandomGenerator random(20261121);
    const QDate base(2026, 10, 20);
    for (int round = 0; round < 300; ++round) {
        QuorvelDocument doc;
        DocumentBuilder build(doc);
        QList<ActivityCategory *> categories;
        const int categoryCount = random.bounded(4);
        for (int i = 0; i < categoryCount; ++i) {
            categories << build.category(QStringLiteral("C%1 <&>").arg(i), random.bounded(4) == 0);
        }
        QList<Activity *> activities;
        const int activityCount = 1 + random.bounded(6);
        for (int i = 0; i < activityCount; ++i) {
            const int pick = random.bounded(categoryCount + 1);
            activities << build.activity(QStringLiteral("A%1").arg(i),
                                         pick < categoryCount ? categories.at(pick) : nullptr,
                                         random.bounded(3) == 0);
        }
        const int taskCount = random.bounded(25);
        for (int i = 0; i < taskCount; ++i) {
            const QDateTime start(
                base.addDays(random.bounded(20)),
                QTime(random.bounded(24), random.bounded(60), random.bounded(60)));
            Activity *a = activities.at(random.bounded(activityCount));
            if (random.bounded(10) == 0) {
                build.task(a, start, QDateTime());
                continue;
            }
            // Mostly short tasks, some over midnight or over several days.
            const int kind = random.bounded(4);
            const qint64 seconds = kind == 0   ? random.bounded(3 * 86400)
                                   : kind == 1 ? random.bounded(6 * 3600)
                                               : random.bounded(7200);
            build.task(a, start, start.addSecs(seconds));
        }
        build.sortAll();
        for (int period = 0; period < 4; ++period) {
            const QDate from = base.addDays(random.bounded(22) - 1);
            const QDate to = from.addDays(random.bounded(9) - 1);
            const bool zero = random.bounded(2);
            const bool decimal = random.bounded(2);
            const QString where = QStringLiteral("round %1 period %2: %3 to %4")
                                      .arg(round)
                                      .arg(period)
                                      .arg(from.toString(Qt::ISODate), to.toString(Qt::ISODate));
            if (!sameData(doc, from, to, zero, ReportKind::Summary)
                || !sameData(doc, from, to, zero, ReportKind::TimeSheet))
                QFAIL(qPrintable(str("data differs, ") + where));
            const QString summary = ReportText::periodSummary(doc, from, to, zero, decimal);
            if (summary != ReportReference::summaryHtml(doc, from, to, zero, decimal))
                QFAIL(qPrintable(str("summary differs, ") + where));
            const QString sheet = ReportText::periodTimeSheet(doc, from, to, zero, decimal);
            if (sheet != ReportReference::timeSheetHtml(doc, from, to, zero, decimal))
                QFAIL(qPrintable(str("time sheet differs, ") + where));
            const auto handedOn = [&](ReportKind kind) {
                return piecesOf(ReportData::collect(doc, from, to, zero, kind), decimal)
                    .join(QString());
            };
            if (handedOn(ReportKind::Summary) != summary)
                QFAIL(qPrintable(str("summary handed on differs, ") + where));
            if (handedOn(ReportKind::TimeSheet) != sheet)
                QFAIL(qPrintable(str("time sheet handed on differs, ") + where));
        }
    }
}

namespace {

// The given lines, each ended by a line feed.
QString lines(std::initializer_list<const char *> texts)
{
    QString text;
    for (const char *line : texts)
        text += str(line) + QLatin1Char('\n');
    return text;
}

const char *const plainObsoleteNote = "Activities and categories marked * are obsolete.";
const char *const plainActiveNote
    = "There are active tasks in this time period that are excluded from this report.";

} // namespace

void TestReportText::plainTexts_data()
{
    QTest::addColumn<bool>("includeZero");
    QTest::addColumn<bool>("decimal");
    QTest::addColumn<QString>("summary");
    QTest::addColumn<QString>("timeSheet");

    // The numbers of the rich texts above; the running "Meetings" only ever has zero rows.
    QTest::newRow("hm, zero") << true << false
                              << lines({
                                     "Period Summary Report",
                                     "11/19/26 to 11/20/26",
                                     "",
                                     "Activity          Category   hrs:mins",
                                     "Café Übersetzung  Dev & Ops      4:05",
                                     "Legacy *          Support        1:20",
                                     "Meetings          Support        0:00",
                                     "",
                                     "Totals            Dev & Ops      4:05",
                                     "                  Support        1:20",
                                     "Total                            5:25",
                                     "",
                                     plainObsoleteNote,
                                     plainActiveNote,
                                 })
                              << lines({
                                     "Period Time Sheet",
                                     "11/19/26 to 11/20/26",
                                     "",
                                     "Thu 11/19/26",
                                     "  Activity          Category   hrs:mins",
                                     "  Café Übersetzung  Dev & Ops      3:05",
                                     "  Legacy *          Support        0:39",
                                     "  Meetings          Support        0:00",
                                     "  Daily Totals                     3:44",
                                     "",
                                     "Fri 11/20/26",
                                     "  Activity          Category   hrs:mins",
                                     "  Café Übersetzung  Dev & Ops      1:00",
                                     "  Legacy *          Support        0:40",
                                     "  Meetings          Support        0:00",
                                     "  Daily Totals                     1:40",
                                     "",
                                     "Period Totals       Dev & Ops      4:05",
                                     "                    Support        1:19",
                                     "                    Total          5:24",
                                     "",
                                     plainObsoleteNote,
                                     plainActiveNote,
                                 });

    QTest::newRow("hm, no zero") << false << false
                                 << lines({
                                        "Period Summary Report",
                                        "11/19/26 to 11/20/26",
                                        "",
                                        "Activity          Category   hrs:mins",
                                        "Café Übersetzung  Dev & Ops      4:05",
                                        "Legacy *          Support        1:20",
                                        "",
                                        "Totals            Dev & Ops      4:05",
                                        "                  Support        1:20",
                                        "Total                            5:25",
                                        "",
                                        plainObsoleteNote,
                                        plainActiveNote,
                                    })
                                 << lines({
                                        "Period Time Sheet",
                                        "11/19/26 to 11/20/26",
                                        "",
                                        "Thu 11/19/26",
                                        "  Activity          Category   hrs:mins",
                                        "  Café Übersetzung  Dev & Ops      3:05",
                                        "  Legacy *          Support        0:39",
                                        "  Daily Totals                     3:44",
                                        "",
                                        "Fri 11/20/26",
                                        "  Activity          Category   hrs:mins",
                                        "  Café Übersetzung  Dev & Ops      1:00",
                                        "  Legacy *          Support        0:40",
                                        "  Daily Totals                     1:40",
                                        "",
                                        "Period Totals       Dev & Ops      4:05",
                                        "                    Support        1:19",
                                        "                    Total          5:24",
                                        "",
                                        plainObsoleteNote,
                                        plainActiveNote,
                                    });

    // Decimal hours make the time column narrower: "hours" and six-character values.
    QTest::newRow("decimal, zero") << true << true
                                   << lines({
                                          "Period Summary Report",
                                          "11/19/26 to 11/20/26",
                                          "",
                                          "Activity          Category    hours",
                                          "Café Übersetzung  Dev & Ops  4.0833",
                                          "Legacy *          Support    1.3333",
                                          "Meetings          Support    0.0000",
                                          "",
                                          "Totals            Dev & Ops  4.0833",
                                          "                  Support    1.3333",
                                          "Total                        5.4167",
                                          "",
                                          plainObsoleteNote,
                                          plainActiveNote,
                                      })
                                   << lines({
                                          "Period Time Sheet",
                                          "11/19/26 to 11/20/26",
                                          "",
                                          "Thu 11/19/26",
                                          "  Activity          Category    hours",
                                          "  Café Übersetzung  Dev & Ops  3.0833",
                                          "  Legacy *          Support    0.6500",
                                          "  Meetings          Support    0.0000",
                                          "  Daily Totals                 3.7333",
                                          "",
                                          "Fri 11/20/26",
                                          "  Activity          Category    hours",
                                          "  Café Übersetzung  Dev & Ops  1.0000",
                                          "  Legacy *          Support    0.6667",
                                          "  Meetings          Support    0.0000",
                                          "  Daily Totals                 1.6667",
                                          "",
                                          "Period Totals       Dev & Ops  4.0833",
                                          "                    Support    1.3167",
                                          "                    Total      5.4000",
                                          "",
                                          plainObsoleteNote,
                                          plainActiveNote,
                                      });

    QTest::newRow("decimal, no zero") << false << true
                                      << lines({
                                             "Period Summary Report",
                                             "11/19/26 to 11/20/26",
                                             "",
                                             "Activity          Category    hours",
                                             "Café Übersetzung  Dev & Ops  4.0833",
                                             "Legacy *          Support    1.3333",
                                             "",
                                             "Totals            Dev & Ops  4.0833",
                                             "                  Support    1.3333",
                                             "Total                        5.4167",
                                             "",
                                             plainObsoleteNote,
                                             plainActiveNote,
                                         })
                                      << lines({
                                             "Period Time Sheet",
                                             "11/19/26 to 11/20/26",
                                             "",
                                             "Thu 11/19/26",
                                             "  Activity          Category    hours",
                                             "  Café Übersetzung  Dev & Ops  3.0833",
                                             "  Legacy *          Support    0.6500",
                                             "  Daily Totals                 3.7333",
                                             "",
                                             "Fri 11/20/26",
                                             "  Activity          Category    hours",
                                             "  Café Übersetzung  Dev & Ops  1.0000",
                                             "  Legacy *          Support    0.6667",
                                             "  Daily Totals                 1.6667",
                                             "",
                                             "Period Totals       Dev & Ops  4.0833",
                                             "                    Support    1.3167",
                                             "                    Total      5.4000",
                                             "",
                                             plainObsoleteNote,
                                             plainActiveNote,
                                         });
}

void TestReportText::plainTexts()
{
    QFETCH(bool, includeZero);
    QFETCH(bool, decimal);
    QFETCH(QString, summary);
    QFETCH(QString, timeSheet);
    QuorvelDocument doc;
    buildSmall(doc, str("Café Übersetzung"));
    const QDate from(2026, 11, 19);
    QCOMPARE(ReportText::periodSummaryText(doc, from, day20, includeZero, decimal), summary);
    QCOMPARE(ReportText::periodTimeSheetText(doc, from, day20, includeZero, decimal), timeSheet);
}

void TestReportText::plainTextDayWithoutTime()
{
    QuorvelDocument doc;
    buildSmall(doc, str("Café Übersetzung"));
    // The 21st has the last two hours of a task begun on the 20th, the 22nd nothing; the task
    // running since the 20th is still excluded.
    const QDate from(2026, 11, 21);
    const QDate to(2026, 11, 22);
    QCOMPARE(ReportText::periodTimeSheetText(doc, from, to, false, false),
             lines({
                 "Period Time Sheet",
                 "11/21/26 to 11/22/26",
                 "",
                 "Sat 11/21/26",
                 "  Activity          Category   hrs:mins",
                 "  Café Übersetzung  Dev & Ops      2:00",
                 "  Daily Totals                     2:00",
                 "",
                 "Sun 11/22/26",
                 "  Activity          Category   hrs:mins",
                 "  Daily Totals                     0:00",
                 "",
                 "Period Totals       Dev & Ops      2:00",
                 "                    Support        0:00",
                 "                    Total          2:00",
                 "",
                 plainActiveNote,
             }));
    QCOMPARE(ReportText::periodSummaryText(doc, from, to, false, false),
             lines({
                 "Period Summary Report",
                 "11/21/26 to 11/22/26",
                 "",
                 "Activity          Category   hrs:mins",
                 "Café Übersetzung  Dev & Ops      2:00",
                 "",
                 "Totals            Dev & Ops      2:00",
                 "                  Support        0:00",
                 "Total                            2:00",
                 "",
                 plainActiveNote,
             }));
}

void TestReportText::plainTextFromAfterTo()
{
    QuorvelDocument doc;
    buildSmall(doc, str("Café Übersetzung"));
    const QDate to(2026, 11, 19);
    // No days, so no rows: only the period totals set the widths of the columns.
    QCOMPARE(ReportText::periodTimeSheetText(doc, day20, to, true, false),
             lines({
                 "Period Time Sheet",
                 "11/20/26 to 11/19/26",
                 "",
                 "Period Totals  Dev & Ops  0:00",
                 "               Support    0:00",
                 "               Total      0:00",
             }));
    QCOMPARE(ReportText::periodSummaryText(doc, day20, to, false, false),
             lines({
                 "Period Summary Report",
                 "11/20/26 to 11/19/26",
                 "",
                 "Activity  Category   hrs:mins",
                 "",
                 "Totals    Dev & Ops      0:00",
                 "          Support        0:00",
                 "Total                    0:00",
             }));
}

void TestReportText::plainTextWithoutCategoryColumn()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *old = build.category(str("Old"), true);
    Activity *loose = build.activity(str("Loose"), nullptr);
    Activity *filed = build.activity(str("Filed"), old);
    build.task(loose, at(20, 9, 0), at(20, 10, 0));
    build.task(filed, at(20, 10, 0), at(20, 10, 30));
    // As in the rich texts, an activity without a category shows no time and adds to no total;
    // its row ends after the name. The obsolete category is marked wherever it is named.
    QCOMPARE(ReportText::periodSummaryText(doc, day20, day20, false, false),
             lines({
                 "Period Summary Report",
                 "11/20/26 to 11/20/26",
                 "",
                 "Activity  Category  hrs:mins",
                 "Loose",
                 "Filed     Old *         0:30",
                 "",
                 "Totals    Old *         0:30",
                 "Total                   0:30",
                 "",
                 plainObsoleteNote,
             }));
    QCOMPARE(ReportText::periodTimeSheetText(doc, day20, day20, false, false),
             lines({
                 "Period Time Sheet",
                 "11/20/26 to 11/20/26",
                 "",
                 "Fri 11/20/26",
                 "  Activity      Category  hrs:mins",
                 "  Loose",
                 "  Filed         Old *         0:30",
                 "  Daily Totals                0:30",
                 "",
                 "Period Totals   Old *         0:30",
                 "                Total         0:30",
                 "",
                 plainObsoleteNote,
             }));
}

void TestReportText::plainTextWithoutCategories()
{
    QuorvelDocument doc;
    // With no category the total row is the first of the period totals and takes their label.
    QCOMPARE(ReportText::periodSummaryText(doc, day20, day20, true, false),
             lines({
                 "Period Summary Report",
                 "11/20/26 to 11/20/26",
                 "",
                 "Activity  Category  hrs:mins",
                 "",
                 "Total                   0:00",
             }));
    QCOMPARE(ReportText::periodTimeSheetText(doc, day20, day20, true, true),
             lines({
                 "Period Time Sheet",
                 "11/20/26 to 11/20/26",
                 "",
                 "Fri 11/20/26",
                 "  Activity      Category   hours",
                 "  Daily Totals            0.0000",
                 "",
                 "Period Totals   Total     0.0000",
             }));
}

namespace {

// The minutes of a time cell, in either form.
int parsedMinutes(const QString &time)
{
    if (time.contains(QLatin1Char(':'))) {
        return time.section(QLatin1Char(':'), 0, 0).toInt() * 60
               + time.section(QLatin1Char(':'), 1, 1).toInt();
    }
    return qRound(time.toDouble() * 60);
}

QString unmarked(QString name)
{
    if (name.endsWith(str(" *")))
        name.chop(2);
    return name;
}

// A row of a plain text as "name|category|minutes", read by the columns of its header: the
// category starts under the header's "Category", and only a row with a time reaches the
// header's full length. Without a time the minutes are left empty.
QString plainRowKey(const QString &line, const QString &header)
{
    const qsizetype categoryStart = header.indexOf(str("Category"));
    QString category = line.mid(categoryStart).trimmed();
    QString minutes;
    if (line.size() == header.size()) {
        const qsizetype timeStart = line.lastIndexOf(QLatin1Char(' ')) + 1;
        category = line.mid(categoryStart, timeStart - categoryStart).trimmed();
        minutes = QString::number(parsedMinutes(line.mid(timeStart)));
    }
    return unmarked(line.left(categoryStart).trimmed()) + QLatin1Char('|') + unmarked(category)
           + QLatin1Char('|') + minutes;
}

// The CSV rows as the plain text shows them: an activity without a category has no time.
QStringList csvRowKeys(const QString &csv, bool dated)
{
    QStringList keys;
    const QStringList rows = csv.split(str("\r\n"), Qt::SkipEmptyParts);
    for (qsizetype i = 1; i < rows.size(); ++i) {
        const QStringList fields = rows.at(i).split(QLatin1Char(','));
        const int first = dated ? 1 : 0;
        const QString &category = fields.at(first + 1);
        keys << (dated ? fields.at(0) + QLatin1Char('|') : QString()) + fields.at(first)
                    + QLatin1Char('|') + category + QLatin1Char('|')
                    + (category.isEmpty() ? QString() : fields.at(first + 2));
    }
    return keys;
}

} // namespace

// A month of random tasks on forty activities (some obsolete, some without a category, names
// with blanks): the plain texts must show the rows and minutes of the CSV, which shares the
// rich texts' rules, and the summary's category totals must be the sums of its rows.
void TestReportText::plainTextMatchesCsv()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    QRandomGenerator random(20261122);
    const QDate base(2026, 10, 1);
    QList<ActivityCategory *> categories;
    for (int i = 0; i < 6; ++i)
        categories << build.category(QStringLiteral("Cat%1").arg(i), i == 3);
    QList<Activity *> activities;
    for (int i = 0; i < 40; ++i) {
        const QString name
            = i % 3 == 0 ? QStringLiteral("Work item %1").arg(i) : QStringLiteral("A%1").arg(i);
        activities << build.activity(name, i % 7 == 6 ? nullptr : categories.at(i % 6), i % 5 == 4);
    }
    // The last activity has no task at all.
    for (int i = 0; i < 3000; ++i) {
        const QDateTime start(base.addDays(random.bounded(45)),
                              QTime(random.bounded(24), random.bounded(60), random.bounded(60)));
        Activity *a = activities.at(random.bounded(39));
        if (random.bounded(500) == 0)
            build.task(a, start, QDateTime());
        else
            build.task(a, start, start.addSecs(random.bounded(8 * 3600)));
    }
    build.sortAll();
    const QDate from(2026, 10, 5);
    const QDate to(2026, 11, 3);

    for (const bool zero : {
             false,
             true,
         }) {
        for (const bool decimal : {
                 false,
                 true,
             }) {
            const QString where = QStringLiteral("zero %1, decimal %2").arg(zero).arg(decimal);

            const QStringList summary = ReportText::periodSummaryText(doc, from, to, zero, decimal)
                                            .split(QLatin1Char('\n'));
            const QString &header = summary.at(3);
            QStringList textKeys;
            qsizetype i = 4;
            for (; !summary.at(i).isEmpty(); ++i)
                textKeys << plainRowKey(summary.at(i), header);
            const QStringList csvKeys
                = csvRowKeys(ReportText::periodSummaryCsv(doc, from, to, zero), false);
            QVERIFY2(textKeys.size() >= 30, qPrintable(where));
            QVERIFY2(textKeys == csvKeys, qPrintable(where));

            // The totals rows, "Cat0" to "Cat5" and the overall total, against the CSV's sums.
            QList<int> sums(categories.size() + 1, 0);
            for (const QString &key : csvKeys) {
                const QString category = key.section(QLatin1Char('|'), 1, 1);
                if (category.isEmpty())
                    continue;
                const int minutes = key.section(QLatin1Char('|'), 2, 2).toInt();
                sums[category.mid(3).toInt()] += minutes;
                sums.back() += minutes;
            }
            for (int c = 0; c <= categories.size(); ++c) {
                const QString key = plainRowKey(summary.at(i + 1 + c), header);
                const QString name
                    = c < categories.size() ? QStringLiteral("Cat%1").arg(c) : QString();
                const QString label = c == 0                   ? str("Totals")
                                      : c == categories.size() ? str("Total")
                                                               : QString();
                QCOMPARE(key, label + QLatin1Char('|') + name + QLatin1Char('|')
                                  + QString::number(sums.at(c)));
            }

            // The time sheet's day rows, dated by their blocks.
            const QStringList sheet = ReportText::periodTimeSheetText(doc, from, to, zero, decimal)
                                          .split(QLatin1Char('\n'));
            QStringList sheetKeys;
            QDate day = from.addDays(-1);
            QString sheetHeader;
            for (qsizetype j = 3; !sheet.at(j).startsWith(str("Period Totals")); ++j) {
                const QString &line = sheet.at(j);
                if (line.isEmpty() || line.startsWith(str("  Daily Totals")))
                    continue;
                if (!line.startsWith(QLatin1Char(' '))) {
                    // A day's heading, and under it the column heads.
                    day = day.addDays(1);
                    sheetHeader = sheet.at(++j);
                    continue;
                }
                sheetKeys << day.toString(Qt::ISODate) + QLatin1Char('|')
                                 + plainRowKey(line, sheetHeader);
            }
            QCOMPARE(day, to);
            const QStringList sheetCsvKeys
                = csvRowKeys(ReportText::periodTimeSheetCsv(doc, from, to, zero), true);
            QVERIFY2(sheetKeys.size() >= 300, qPrintable(where));
            QVERIFY2(sheetKeys == sheetCsvKeys, qPrintable(where));
        }
    }
}

void TestReportText::csvNamesNeverRunAsFormulas()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *minus = build.category(str("-Minus"));
    ActivityCategory *plain = build.category(str("Plain"));
    Activity *link = build.activity(str("=HYPERLINK(\"http://x\")"), minus);
    Activity *plus = build.activity(str("+1"), plain);
    Activity *sum = build.activity(str("@SUM(A1)"), plain);
    Activity *quoted = build.activity(str("'=quoted"), plain);
    Activity *apostrophe = build.activity(str("'s Work"), plain);
    Activity *inner = build.activity(str("a=b"), plain);
    int hour = 8;
    for (Activity *activity : {link, plus, sum, quoted, apostrophe, inner}) {
        build.task(activity, QDateTime(QDate(2026, 11, 20), QTime(hour, 0)),
                   QDateTime(QDate(2026, 11, 20), QTime(hour, 30)));
        ++hour;
    }
    build.sortAll();
    const QDate day(2026, 11, 20);
    QCOMPARE(ReportText::periodSummaryCsv(doc, day, day, false),
             str("Activity,Category,Minutes,Hours\r\n"
                 "''=quoted,Plain,30,0.5000\r\n"
                 "'s Work,Plain,30,0.5000\r\n"
                 "'+1,Plain,30,0.5000\r\n"
                 "\"'=HYPERLINK(\"\"http://x\"\")\",'-Minus,30,0.5000\r\n"
                 "'@SUM(A1),Plain,30,0.5000\r\n"
                 "a=b,Plain,30,0.5000\r\n"));
    QCOMPARE(ReportText::periodTimeSheetCsv(doc, day, day, false),
             str("Date,Activity,Category,Minutes\r\n"
                 "2026-11-20,''=quoted,Plain,30\r\n"
                 "2026-11-20,'s Work,Plain,30\r\n"
                 "2026-11-20,'+1,Plain,30\r\n"
                 "2026-11-20,\"'=HYPERLINK(\"\"http://x\"\")\",'-Minus,30\r\n"
                 "2026-11-20,'@SUM(A1),Plain,30\r\n"
                 "2026-11-20,a=b,Plain,30\r\n"));
}

void TestReportText::csvNamesReadBack_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("cell");
    QTest::newRow("plain") << str("Coding") << str("Coding");
    QTest::newRow("=") << str("=1+1") << str("'=1+1");
    QTest::newRow("+") << str("+49 30") << str("'+49 30");
    QTest::newRow("-") << str("-x") << str("'-x");
    QTest::newRow("@") << str("@x") << str("'@x");
    QTest::newRow("tab") << str("\tx") << str("'\tx");
    QTest::newRow("carriage return") << str("\rx") << str("'\rx");
    QTest::newRow("quote before =") << str("'=x") << str("''=x");
    QTest::newRow("quotes before =") << str("''=x") << str("'''=x");
    QTest::newRow("quote alone") << str("'") << str("'");
    QTest::newRow("quote before text") << str("'x") << str("'x");
    QTest::newRow("empty") << QString() << QString();
}

void TestReportText::csvNamesReadBack()
{
    QFETCH(QString, name);
    QFETCH(QString, cell);
    QCOMPARE(ReportText::csvName(name), cell);
    QCOMPARE(ReportText::nameFromCsv(cell), name);
}

QUORVEL_TEST_GUILESS_MAIN(TestReportText)

#include "tst_reporttext.moc"
