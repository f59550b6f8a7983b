// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// Running reports from the Report menu: remembered parameters, the period dialog, the viewer,
// saving a report as a document and opening saved reports again.

#include "DocumentBuilder.h"
#include "ModalAnswers.h"
#include "TestEnvironment.h"

#include "app/QuorvelMainWindow.h"
#include "dialogs/ReportParams1.h"
#include "model/QuorvelDocument.h"
#include "platform/Clock.h"
#include "platform/Config.h"
#include "platform/DocLnk.h"
#include "reports/ReportText.h"
#include "reportwindows/FileSelectDialog.h"
#include "reportwindows/PeriodSummaryReport.h"
#include "reportwindows/PeriodTimeSheetReport.h"
#include "reportwindows/ReportBrowser.h"
#include "reportwindows/ReportViewer.h"
#include "views/SafeTextBrowser.h"
#include "widgets/DateBookMonth.h"
#include "widgets/FileSelector.h"
#include "widgets/QuorvelApplication.h"

#include <QAction>
#include <QCheckBox>
#include <QDialogButtonBox>
#include <QDir>
#include <QFile>
#include <QGroupBox>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QMimeDatabase>
#include <QPushButton>
#include <QRandomGenerator>
#include <QToolButton>
#include <QTreeWidget>
#include <QtTest>

#include <memory>

namespace {

const QString reportType = QStringLiteral("application/x-quorvelqpereport");

QString reportsFolder()
{
    return TestEnvironment::instance()->documentsDir() + QStringLiteral("/Quorvel Reports");
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate)
           && file.write(bytes) == bytes.size();
}

void setFileTime(const QString &path, const QDateTime &when)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.setFileTime(when, QFileDevice::FileModificationTime));
}

QString storedParameters(const QString &menuName)
{
    Config config(QStringLiteral("quorvelqpe"));
    config.setGroup(QStringLiteral("Report: ") + menuName);
    return config.readEntry(QStringLiteral("DefaultParameters"));
}

void storeParameters(const QString &menuName, const QString &value)
{
    Config config(QStringLiteral("quorvelqpe"));
    config.setGroup(QStringLiteral("Report: ") + menuName);
    config.writeEntry(QStringLiteral("DefaultParameters"), value);
}

// Sample data in personal mode with a few tasks in November 2026, as the program would find it.
void prepareDataFile()
{
    Configuration().setMode(Configuration::Personal);
    QuorvelDocument doc;
    doc.createSampleData();
    DocumentBuilder build(doc);
    build.task(doc.activities.at(0), at(2, 9, 0), at(2, 10, 35));
    build.task(doc.activities.at(1), at(20, 8, 0), at(20, 8, 59));
    build.task(doc.activities.at(3), at(21, 7, 0), at(21, 9, 0));
    doc.tasks.sort();
    QVERIFY(doc.save());
}

QAction *menuAction(const QuorvelMainWindow &window, const QString &text)
{
    for (QAction *action : window.findChildren<QAction *>()) {
        if (action->text() == text)
            return action;
    }
    return nullptr;
}

// Answers the period dialog: checks nothing, sets the given values and presses OK.
ModalAnswers::Handler acceptPeriod(const QDate &from, const QDate &to, bool includeZero,
                                   bool decimal)
{
    return [=](QWidget *widget) {
        auto *dialog = qobject_cast<ReportParams1 *>(widget);
        QVERIFY(dialog);
        dialog->setFromDate(from);
        dialog->setToDate(to);
        dialog->chkIncludeZeroActivities->setChecked(includeZero);
        dialog->chkDecimalHours->setChecked(decimal);
        dialog->accept();
    };
}

} // namespace

class TestReports : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void savedReportsHaveTheirMimeType();
    void desktopEntryOpensSavedReports();

    void parameterStringSetsEveryField();
    void initialParametersAreTodayWithZeroActivities();
    void malformedParameterStringsKeepWhatIsMissing_data();
    void malformedParameterStringsKeepWhatIsMissing();
    void fileNamesUseTodayNotThePeriod();
    void countsActivitiesWithTimeOnADay();

    void menuListsReportsThenSavedReports();
    void firstRunShowsTodayAndDefaults();
    void cancelledRunLeavesTheSettingsAlone();
    void acceptedRunRemembersTheParametersChosen();
    void settingsTakePrecedenceOverMemory();
    void eachReportRemembersItsOwnParameters();

    void dialogForm();
    void singleDayPeriodIsAccepted();
    void fromAfterToIsRefused();
    void timeSheetCoversTenYears();
    void timeSheetOfGigabytesIsRefused();
    void invalidDatesBecomeToday();
    void onePickerServesBothButtons();

    void viewerShowsTheReport();
    void savingWritesANewDocumentEachTime();
    void savingComputesTheTextAgain();
    void savingReportsAFolderThatCannotBeWritten();

    void safeFileNames_data();
    void safeFileNames();
    void loadingRefusesWhatIsNotAReadableFile();
    void savedReportsAreListedNewestFirst();
    void fileSelectDialogReturnsTheChosenPath();
    void fileSelectDialogWithoutReports();

    void savedReportOpensAfterARestart();
    void setDocumentShowsTheFile();
    void setDocumentIgnoresAMissingFile();
    void damagedSavedReportsAreShownWithoutHarm();
};

void TestReports::initTestCase()
{
    // Some cases check the window's and the reports' debug lines, which are off by default.
    QLoggingCategory::setFilterRules(QStringLiteral("quorvel.*.debug=true"));
    // main() installed the MIME package before the application looked at any MIME type.
    QVERIFY(
        QFile::exists(QDir::cleanPath(TestEnvironment::instance()->dataHome()
                                      + QStringLiteral("/../system/mime/packages/quorvel.xml"))));
}

void TestReports::init()
{
    TestEnvironment::wipe();
    QDir(reportsFolder()).removeRecursively();
    MessageBox::clearShown();
    Clock::setFixed(QDateTime(QDate(2026, 11, 21), QTime(9, 30, 0)));
}

void TestReports::savedReportsHaveTheirMimeType()
{
    const QMimeDatabase mimes;
    QCOMPARE(mimes
                 .mimeTypeForFile(QStringLiteral("Summary 11-21-26.qvreport"),
                                  QMimeDatabase::MatchExtension)
                 .name(),
             reportType);
    const QMimeType type = mimes.mimeTypeForName(reportType);
    QVERIFY(type.isValid());
    QCOMPARE(type.suffixes(), QStringList{QStringLiteral("qvreport")});
    QCOMPARE(type.comment(), QStringLiteral("Quorvel saved report"));
}

void TestReports::desktopEntryOpensSavedReports()
{
    const QString entry = QString::fromUtf8(
        readFile(QStringLiteral(QUORVEL_SOURCE_DIR "/data/org.quorvel.Quorvel.desktop")));
    const QStringList lines = entry.split(QLatin1Char('\n'));
    QCOMPARE(lines.first(), QStringLiteral("[Desktop Entry]"));
    QVERIFY(lines.contains(QStringLiteral("Type=Application")));
    QVERIFY(lines.contains(QStringLiteral("Exec=quorvel %f")));
    QVERIFY(lines.contains(QStringLiteral("MimeType=application/x-quorvelqpereport;")));
}

void TestReports::parameterStringSetsEveryField()
{
    QuorvelDocument doc;
    PeriodSummaryReport report(nullptr, &doc);
    report.setParametersFromString(QStringLiteral("0,1,2002,12,31,2003,1,1"));
    QCOMPARE(report.includeZeroActivities(), false);
    QCOMPARE(report.decimalHours(), true);
    QCOMPARE(report.fromDate(), QDate(2002, 12, 31));
    QCOMPARE(report.toDate(), QDate(2003, 1, 1));
    QCOMPARE(report.getParameters(), QStringLiteral("0,1,2002,12,31,2003,1,1"));

    report.setParametersFromString(QStringLiteral("1,0,2002,1,3,2002,1,9"));
    QCOMPARE(report.includeZeroActivities(), true);
    QCOMPARE(report.decimalHours(), false);
    QCOMPARE(report.fromDate(), QDate(2002, 1, 3));
    QCOMPARE(report.toDate(), QDate(2002, 1, 9));
    QCOMPARE(report.getParameters(), QStringLiteral("1,0,2002,1,3,2002,1,9"));
}

void TestReports::initialParametersAreTodayWithZeroActivities()
{
    Clock::setFixed(QDateTime(QDate(2027, 2, 3), QTime(23, 59, 0)));
    QuorvelDocument doc;
    PeriodTimeSheetReport report(nullptr, &doc);
    QCOMPARE(report.fromDate(), QDate(2027, 2, 3));
    QCOMPARE(report.toDate(), QDate(2027, 2, 3));
    QCOMPARE(report.includeZeroActivities(), true);
    QCOMPARE(report.decimalHours(), false);
    QCOMPARE(report.getParameters(), QStringLiteral("1,0,2027,2,3,2027,2,3"));
    report.setParametersFromString(QString());
    QCOMPARE(report.getParameters(), QStringLiteral("1,0,2027,2,3,2027,2,3"));
}

void TestReports::malformedParameterStringsKeepWhatIsMissing_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");
    // Before each: "1,0,2026,11,21,2026,11,21".
    QTest::newRow("empty") << ""
                           << "1,0,2026,11,21,2026,11,21";
    QTest::newRow("one field") << "0"
                               << "0,0,2026,11,21,2026,11,21";
    QTest::newRow("half a date") << "0,1,2002,5"
                                 << "0,1,2026,11,21,2026,11,21";
    QTest::newRow("from only") << "0,1,2002,5,6"
                               << "0,1,2002,5,6,2026,11,21";
    QTest::newRow("month 13") << "1,1,2002,13,1,2003,1,1"
                              << "1,1,2026,11,21,2003,1,1";
    QTest::newRow("30 February") << "1,0,2001,1,1,2001,2,30"
                                 << "1,0,2001,1,1,2026,11,21";
    QTest::newRow("year 0") << "1,0,0,1,1,2001,1,1"
                            << "1,0,2026,11,21,2001,1,1";
    QTest::newRow("blanks before numbers") << " 0, 1, 2002,1,3,2002,1,9"
                                           << "0,1,2002,1,3,2002,1,9";
    QTest::newRow("letters") << "x,1,2002,1,3,2002,1,9"
                             << "1,0,2026,11,21,2026,11,21";
    QTest::newRow("stops at a bad field") << "0,1,abc,1,3,2002,1,9"
                                          << "0,1,2026,11,21,2026,11,21";
    QTest::newRow("semicolons") << "0;1;2002;1;3;2002;1;9"
                                << "0,0,2026,11,21,2026,11,21";
    QTest::newRow("huge numbers") << "99999999999999999999,-99999999999999999999,2002,1,3"
                                  << "1,1,2002,1,3,2026,11,21";
    QTest::newRow("extra fields") << "0,0,2002,1,3,2002,1,9,7,7"
                                  << "0,0,2002,1,3,2002,1,9";
    QTest::newRow("signs") << "+0,-1,2002,+1,3,2002,1,9"
                           << "0,1,2002,1,3,2002,1,9";
}

void TestReports::malformedParameterStringsKeepWhatIsMissing()
{
    QFETCH(QString, text);
    QFETCH(QString, expected);
    QuorvelDocument doc;
    PeriodSummaryReport report(nullptr, &doc);
    report.setParametersFromString(text);
    QCOMPARE(report.getParameters(), expected);
}

void TestReports::fileNamesUseTodayNotThePeriod()
{
    QuorvelDocument doc;
    PeriodSummaryReport summary(nullptr, &doc);
    PeriodTimeSheetReport timeSheet(nullptr, &doc);
    summary.setPeriod(QDate(2002, 1, 3), QDate(2002, 1, 9));
    timeSheet.setPeriod(QDate(2002, 1, 3), QDate(2002, 1, 9));
    QCOMPARE(summary.getMenuName(), QStringLiteral("Period Summary Report"));
    QCOMPARE(timeSheet.getMenuName(), QStringLiteral("Period Time Sheet"));
    QCOMPARE(summary.getReportFileName(), QStringLiteral("Summary 11/21/26"));
    summary.setPeriod(QDate(), QDate(2026, 2, 30));
    QCOMPARE(summary.getParameters(), QStringLiteral("1,0,2002,1,3,2002,1,9"));
    QCOMPARE(timeSheet.getReportFileName(), QStringLiteral("Timesheet 11/21/26"));
}

void TestReports::countsActivitiesWithTimeOnADay()
{
    QuorvelDocument doc;
    doc.createSampleData();
    DocumentBuilder build(doc);
    build.task(doc.activities.at(0), at(20, 9, 0), at(20, 9, 30));
    build.task(doc.activities.at(0), at(20, 11, 0), at(20, 11, 5));
    build.task(doc.activities.at(1), at(20, 23, 30), at(21, 0, 30));
    build.task(doc.activities.at(2), at(21, 8, 0), QDateTime());
    build.task(doc.activities.at(3), at(21, 8, 0), at(21, 8, 0, 59));
    PeriodTimeSheetReport report(nullptr, &doc);
    QCOMPARE(report.countNonzeroActivities(QDate(2026, 11, 19)), 0);
    QCOMPARE(report.countNonzeroActivities(QDate(2026, 11, 20)), 2);
    // The running task and the task of less than a minute do not count.
    QCOMPARE(report.countNonzeroActivities(QDate(2026, 11, 21)), 1);
}

void TestReports::menuListsReportsThenSavedReports()
{
    prepareDataFile();
    QuorvelMainWindow window;
    QCOMPARE(int(window.reports().size()), 2);
    QCOMPARE(window.reports().at(0)->getMenuName(), QStringLiteral("Period Summary Report"));
    QCOMPARE(window.reports().at(1)->getMenuName(), QStringLiteral("Period Time Sheet"));
    QVERIFY(qobject_cast<PeriodSummaryReport *>(window.reports().at(0).get()));
    QVERIFY(qobject_cast<PeriodTimeSheetReport *>(window.reports().at(1).get()));
    QCOMPARE(window.reports().at(0)->parentWidget(), &window);
    QCOMPARE(window.reports().at(0)->document(), window.document());
    QVERIFY(!window.reports().at(0)->parent());

    auto *menu = window.findChild<QMenu *>(QStringLiteral("reportMenu"));
    QVERIFY(menu);
    QCOMPARE(menu->title(), QStringLiteral("Report"));
    const QList<QAction *> actions = menu->actions();
    QCOMPARE(actions.size(), 4);
    QCOMPARE(actions.at(0)->text(), QStringLiteral("Period Summary Report"));
    QCOMPARE(actions.at(1)->text(), QStringLiteral("Period Time Sheet"));
    QVERIFY(actions.at(2)->isSeparator());
    QCOMPARE(actions.at(3)->text(), QStringLiteral("View Saved Report"));
    for (QAction *action : actions)
        QVERIFY(!action->isCheckable());

    // Each entry runs its own report: the time sheet's entry opens the period dialog and,
    // when cancelled, leaves a trace in the time sheet's settings group only.
    storeParameters(QStringLiteral("Period Time Sheet"), QStringLiteral("0,1,2026,11,2,2026,11,3"));
    ModalAnswers answers;
    QDate shownFrom;
    answers.add([&shownFrom](QWidget *widget) {
        auto *dialog = qobject_cast<ReportParams1 *>(widget);
        QVERIFY(dialog);
        shownFrom = dialog->getFromDate();
        dialog->reject();
    });
    actions.at(1)->trigger();
    QCOMPARE(answers.seen(), QStringList{QStringLiteral("ReportParams1")});
    QCOMPARE(shownFrom, QDate(2026, 11, 2));
}

void TestReports::firstRunShowsTodayAndDefaults()
{
    prepareDataFile();
    QuorvelMainWindow window;
    ModalAnswers answers;
    answers.add([](QWidget *widget) {
        auto *dialog = qobject_cast<ReportParams1 *>(widget);
        QVERIFY(dialog);
        QCOMPARE(dialog->getFromDate(), QDate(2026, 11, 21));
        QCOMPARE(dialog->getToDate(), QDate(2026, 11, 21));
        QCOMPARE(dialog->btnFromDate->text(), QStringLiteral("Saturday, November 21, 2026"));
        QCOMPARE(dialog->btnToDate->text(), QStringLiteral("Saturday, November 21, 2026"));
        QVERIFY(dialog->chkIncludeZeroActivities->isChecked());
        QVERIFY(!dialog->chkDecimalHours->isChecked());
        dialog->reject();
    });
    QTest::ignoreMessage(QtDebugMsg, "Report: Period Summary Report");
    QTest::ignoreMessage(QtDebugMsg, "User cancelled report");
    menuAction(window, QStringLiteral("Period Summary Report"))->trigger();
    QCOMPARE(answers.remaining(), 0);
    Config config(QStringLiteral("quorvelqpe"));
    config.setGroup(QStringLiteral("Report: Period Summary Report"));
    QVERIFY(!config.hasKey(QStringLiteral("DefaultParameters")));
}

void TestReports::cancelledRunLeavesTheSettingsAlone()
{
    prepareDataFile();
    storeParameters(QStringLiteral("Period Summary Report"),
                    QStringLiteral("0,1,2002,12,31,2003,1,1"));
    QuorvelMainWindow window;
    ModalAnswers answers;
    answers.add([](QWidget *widget) {
        auto *dialog = qobject_cast<ReportParams1 *>(widget);
        QVERIFY(dialog);
        // The remembered values are what the dialog opens with.
        QCOMPARE(dialog->getFromDate(), QDate(2002, 12, 31));
        QCOMPARE(dialog->getToDate(), QDate(2003, 1, 1));
        QVERIFY(!dialog->chkIncludeZeroActivities->isChecked());
        QVERIFY(dialog->chkDecimalHours->isChecked());
        dialog->setFromDate(QDate(2026, 1, 1));
        dialog->chkDecimalHours->setChecked(false);
        dialog->reject();
    });
    window.reports().at(0)->invoke();
    QCOMPARE(answers.remaining(), 0);
    QCOMPARE(storedParameters(QStringLiteral("Period Summary Report")),
             QStringLiteral("0,1,2002,12,31,2003,1,1"));
    // Nothing chosen in the cancelled dialog reached the report either.
    QCOMPARE(window.reports().at(0)->getParameters(), QStringLiteral("0,1,2002,12,31,2003,1,1"));
}

void TestReports::acceptedRunRemembersTheParametersChosen()
{
    prepareDataFile();
    QuorvelMainWindow window;
    Report *report = window.reports().at(0).get();
    ModalAnswers answers;
    answers.add(acceptPeriod(QDate(2026, 11, 1), QDate(2026, 11, 21), false, true));
    QString shownText;
    answers.add([&shownText](QWidget *widget) {
        auto *viewer = qobject_cast<ReportViewer *>(widget);
        QVERIFY(viewer);
        shownText = viewer->browser()->reportText();
        viewer->close();
    });
    menuAction(window, QStringLiteral("Period Summary Report"))->trigger();
    QCOMPARE(answers.remaining(), 0);
    QCOMPARE(report->getParameters(), QStringLiteral("0,1,2026,11,1,2026,11,21"));
    QCOMPARE(storedParameters(QStringLiteral("Period Summary Report")), report->getParameters());
    QCOMPARE(shownText, ReportText::periodSummary(*window.document(), QDate(2026, 11, 1),
                                                  QDate(2026, 11, 21), false, true));
    // The decimal hours the user chose are in the text: 1:35 on the 2nd is 1.5833 hours.
    QVERIFY(shownText.contains(QStringLiteral(">1.5833<")));
}

void TestReports::settingsTakePrecedenceOverMemory()
{
    prepareDataFile();
    QuorvelMainWindow window;
    auto *report = qobject_cast<PeriodReport *>(window.reports().at(1).get());
    report->setParametersFromString(QStringLiteral("1,1,2026,1,1,2026,1,31"));
    storeParameters(QStringLiteral("Period Time Sheet"), QStringLiteral("0,0,2026,3,1,2026,3,2"));
    ModalAnswers answers;
    answers.add([](QWidget *widget) {
        auto *dialog = qobject_cast<ReportParams1 *>(widget);
        QVERIFY(dialog);
        QCOMPARE(dialog->getFromDate(), QDate(2026, 3, 1));
        QCOMPARE(dialog->getToDate(), QDate(2026, 3, 2));
        QVERIFY(!dialog->chkIncludeZeroActivities->isChecked());
        QVERIFY(!dialog->chkDecimalHours->isChecked());
        dialog->reject();
    });
    report->invoke();
    QCOMPARE(answers.remaining(), 0);
}

void TestReports::eachReportRemembersItsOwnParameters()
{
    prepareDataFile();
    QuorvelMainWindow window;
    ModalAnswers answers;
    const auto closeViewer = [](QWidget *widget) {
        QVERIFY(qobject_cast<ReportViewer *>(widget));
        widget->close();
    };
    answers.add(acceptPeriod(QDate(2026, 11, 2), QDate(2026, 11, 2), true, false));
    answers.add(closeViewer);
    answers.add(acceptPeriod(QDate(2026, 10, 1), QDate(2026, 10, 31), false, true));
    answers.add(closeViewer);
    window.reports().at(0)->invoke();
    window.reports().at(1)->invoke();
    QCOMPARE(answers.remaining(), 0);
    QCOMPARE(storedParameters(QStringLiteral("Period Summary Report")),
             QStringLiteral("1,0,2026,11,2,2026,11,2"));
    QCOMPARE(storedParameters(QStringLiteral("Period Time Sheet")),
             QStringLiteral("0,1,2026,10,1,2026,10,31"));

    // A new run of the summary (as after a restart) starts from its own values.
    answers.add([](QWidget *widget) {
        auto *dialog = qobject_cast<ReportParams1 *>(widget);
        QVERIFY(dialog);
        QCOMPARE(dialog->getFromDate(), QDate(2026, 11, 2));
        QVERIFY(dialog->chkIncludeZeroActivities->isChecked());
        dialog->reject();
    });
    QuorvelDocument doc;
    PeriodSummaryReport fresh(nullptr, &doc);
    fresh.invoke();
    QCOMPARE(answers.remaining(), 0);
}

void TestReports::dialogForm()
{
    ReportParams1 dialog;
    QCOMPARE(dialog.objectName(), QStringLiteral("ReportParams1Base"));
    QCOMPARE(dialog.windowTitle(), QStringLiteral("Quorvel - Report"));
    QCOMPARE(dialog.groupReportPeriod->title(), QStringLiteral("Report Period"));
    QCOMPARE(dialog.lblFrom->text(), QStringLiteral("From"));
    QCOMPARE(dialog.lblTo->text(), QStringLiteral("To"));
    QCOMPARE(dialog.groupOptions->title(), QStringLiteral("Options"));
    QCOMPARE(dialog.chkDecimalHours->text(), QStringLiteral("Show time in decimal hours"));
    QCOMPARE(dialog.chkIncludeZeroActivities->text(),
             QStringLiteral("Include activities with zero time"));
    QCOMPARE(dialog.btnFromDate->parentWidget(), dialog.groupReportPeriod);
    QCOMPARE(dialog.btnToDate->parentWidget(), dialog.groupReportPeriod);
    QCOMPARE(dialog.chkDecimalHours->parentWidget(), dialog.groupOptions);
    QCOMPARE(dialog.chkIncludeZeroActivities->parentWidget(), dialog.groupOptions);
    // Set up with today on both buttons.
    QCOMPARE(dialog.btnFromDate->text(), QStringLiteral("Saturday, November 21, 2026"));
    QCOMPARE(dialog.btnToDate->text(), QStringLiteral("Saturday, November 21, 2026"));

    // Tab goes from the decimal hours option to the zero activities option.
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    dialog.chkDecimalHours->setFocus();
    QTRY_VERIFY(dialog.chkDecimalHours->hasFocus());
    QTest::keyClick(dialog.chkDecimalHours, Qt::Key_Tab);
    QTRY_VERIFY(dialog.chkIncludeZeroActivities->hasFocus());
}

void TestReports::singleDayPeriodIsAccepted()
{
    ReportParams1 dialog;
    dialog.setFromDate(QDate(2026, 11, 5));
    dialog.setToDate(QDate(2026, 11, 5));
    dialog.show();
    dialog.accept();
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QVERIFY(!dialog.isVisible());
    QVERIFY(MessageBox::shown().isEmpty());
}

void TestReports::fromAfterToIsRefused()
{
    ReportParams1 dialog;
    dialog.setFromDate(QDate(2026, 11, 6));
    dialog.setToDate(QDate(2026, 11, 5));
    dialog.show();
    dialog.accept();
    QVERIFY(dialog.isVisible());
    QCOMPARE(dialog.result(), int(QDialog::Rejected));
    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().first().title, QStringLiteral("Date Validation Error"));
    QCOMPARE(MessageBox::shown().first().text,
             QStringLiteral("From date cannot be\nafter To date."));
    QCOMPARE(MessageBox::shown().first().icon, QMessageBox::Warning);

    // Put right, the same dialog closes.
    dialog.setToDate(QDate(2026, 11, 6));
    dialog.accept();
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QCOMPARE(MessageBox::shown().size(), 1);
}

void TestReports::timeSheetCoversTenYears()
{
    prepareDataFile();
    QuorvelMainWindow window;
    // 3 653 days, which the time sheet once refused (it took no more than 1 464).
    const QDate from(2016, 11, 21);
    const QDate to(2026, 11, 21);
    ModalAnswers answers;
    answers.add([&](QWidget *widget) {
        acceptPeriod(from, to, false, false)(widget);
        QVERIFY(!widget->isVisible());
    });
    QString first;
    QString last;
    QString text;
    answers.add([&](QWidget *widget) {
        const ReportBrowser *browser = qobject_cast<ReportViewer *>(widget)->browser();
        text = browser->reportText();
        first = browser->pageText(0);
        last = browser->pageText(browser->pageCount() - 1);
        widget->close();
    });
    window.reports().at(1)->invoke();
    QCOMPARE(answers.remaining(), 0);
    QVERIFY(MessageBox::shown().isEmpty());
    QVERIFY(text.contains(QStringLiteral("11/21/16 to 11/21/26")));
    QCOMPARE(text.count(QStringLiteral("<td align=top bgcolor=#c0c0c0 rowspan=")), 3653);
    // The first day opens the first page's table, the last day ends the last page's days.
    const QString firstDay = QStringLiteral("<tr><td align=top bgcolor=#c0c0c0 rowspan=1>"
                                            "Mon<br>Nov&nbsp;21<br>2016</td>");
    QCOMPARE(first.indexOf(QStringLiteral("<td align=top")), first.indexOf(firstDay) + 4);
    const QString lastDay = QStringLiteral(">Sat<br>Nov&nbsp;21<br>2026</td>");
    const qsizetype lastCell = last.lastIndexOf(QStringLiteral("<td align=top"));
    QCOMPARE(last.indexOf(lastDay, lastCell), last.indexOf(QLatin1Char('>'), lastCell));
    QVERIFY(!last.contains(QStringLiteral("Nov&nbsp;22<br>2026")));
    MessageBox::clearShown();

    // The summary covers any period too.
    MessageBox::clearShown();
    answers.add(acceptPeriod(QDate(1990, 1, 1), QDate(2026, 11, 21), true, false));
    text.clear();
    answers.add([&text](QWidget *widget) {
        text = qobject_cast<ReportViewer *>(widget)->browser()->reportText();
        widget->close();
    });
    window.reports().at(0)->invoke();
    QCOMPARE(answers.remaining(), 0);
    QVERIFY(MessageBox::shown().isEmpty());
    QVERIFY(text.contains(QStringLiteral("1/1/90 to 11/21/26")));
}

// Over centuries, or with a row for each of many activities on each of many days, a time
// sheet would be gigabytes of text: the window says so instead of running out of memory.
void TestReports::timeSheetOfGigabytesIsRefused()
{
    Configuration().setMode(Configuration::Personal);
    {
        QuorvelDocument doc;
        doc.createSampleData();
        DocumentBuilder build(doc);
        for (int i = doc.activities.size(); i < 30; ++i)
            build.activity(QStringLiteral("Activity %1").arg(i), doc.categories.first());
        build.task(doc.activities.at(0), at(2, 9, 0), at(2, 10, 35));
        doc.activities.sort();
        doc.tasks.sort();
        QVERIFY(doc.save());
    }
    QuorvelMainWindow window;
    ModalAnswers answers;
    MessageBox::clearShown();
    answers.add(acceptPeriod(QDate(1926, 11, 20), QDate(2026, 11, 20), false, false));
    window.reports().at(1)->invoke();
    QCOMPARE(answers.remaining(), 0);
    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().first().title, QStringLiteral("Period Time Sheet"));
    QCOMPARE(MessageBox::shown().first().text,
             QStringLiteral("A time sheet covers at most 36525 days. Choose a shorter period."));

    // One day less is 36 525 days: with a row for each of the 30 activities on each of them.
    MessageBox::clearShown();
    answers.add(acceptPeriod(QDate(1926, 11, 21), QDate(2026, 11, 20), true, false));
    window.reports().at(1)->invoke();
    QCOMPARE(answers.remaining(), 0);
    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().first().text,
             QStringLiteral("The time sheet of that period would have 1095750 rows, more than "
                            "the 1000000 a report shows. Choose a shorter period, or leave out "
                            "the activities without time."));

    // Without the activities that have no time, the same period is shown.
    MessageBox::clearShown();
    answers.add(acceptPeriod(QDate(1926, 11, 21), QDate(2026, 11, 20), false, false));
    QString text;
    answers.add([&text](QWidget *widget) {
        text = qobject_cast<ReportViewer *>(widget)->browser()->reportText();
        widget->close();
    });
    window.reports().at(1)->invoke();
    QCOMPARE(answers.remaining(), 0);
    QVERIFY(MessageBox::shown().isEmpty());
    QCOMPARE(text.count(QStringLiteral("<td align=top bgcolor=#c0c0c0 rowspan=")), 36525);
}

void TestReports::invalidDatesBecomeToday()
{
    ReportParams1 dialog;
    dialog.setFromDate(QDate(2026, 1, 2));
    dialog.setToDate(QDate(2026, 1, 3));
    dialog.setFromDate(QDate());
    dialog.setToDate(QDate(2026, 2, 30));
    QCOMPARE(dialog.getFromDate(), QDate(2026, 11, 21));
    QCOMPARE(dialog.getToDate(), QDate(2026, 11, 21));

    // The calendar's form stores the day as given.
    dialog.setFromDate(2025, 12, 24);
    QCOMPARE(dialog.getFromDate(), QDate(2025, 12, 24));
    QCOMPARE(dialog.btnFromDate->text(), QStringLiteral("Wednesday, December 24, 2025"));
}

void TestReports::onePickerServesBothButtons()
{
    ReportParams1 dialog;
    dialog.setFromDate(QDate(2026, 11, 3));
    dialog.setToDate(QDate(2026, 11, 9));
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    QCOMPARE(dialog.findChildren<DateBookMonth *>().size(), 1);

    QTest::ignoreMessage(QtDebugMsg, "ReportParams1::pickFromDate()");
    QTest::mousePress(dialog.btnFromDate, Qt::LeftButton);
    QTRY_VERIFY(dialog.datePopup->isVisible());
    QCOMPARE(dialog.monthPicker->date(), QDate(2026, 11, 3));
    const QPoint below = dialog.btnFromDate->mapToGlobal(QPoint(0, dialog.btnFromDate->height()));
    QCOMPARE(dialog.datePopupPosition(dialog.btnFromDate), below);
    Q_EMIT dialog.monthPicker->dateClicked(2026, 10, 5);
    QCOMPARE(dialog.getFromDate(), QDate(2026, 10, 5));
    QCOMPARE(dialog.btnFromDate->text(), QStringLiteral("Monday, October 5, 2026"));
    // Choosing the day closes the calendar, and the button comes up again.
    QVERIFY(!dialog.datePopup->isVisible());
    QVERIFY(!dialog.btnFromDate->isDown());

    QTest::ignoreMessage(QtDebugMsg, "ReportParams1::pickToDate()");
    dialog.pickToDate();
    QTRY_VERIFY(dialog.datePopup->isVisible());
    QCOMPARE(dialog.monthPicker->date(), QDate(2026, 11, 9));
    dialog.btnToDate->setDown(true);
    Q_EMIT dialog.monthPicker->dateClicked(2026, 11, 12);
    // Only the to date follows the calendar now.
    QCOMPARE(dialog.getToDate(), QDate(2026, 11, 12));
    QCOMPARE(dialog.getFromDate(), QDate(2026, 10, 5));
    QVERIFY(!dialog.datePopup->isVisible());
    QVERIFY(!dialog.btnToDate->isDown());

    // Closed without a choice, the calendar changes nothing but the button.
    QTest::ignoreMessage(QtDebugMsg, "ReportParams1::pickFromDate()");
    dialog.pickFromDate();
    QTRY_VERIFY(dialog.datePopup->isVisible());
    dialog.btnFromDate->setDown(true);
    dialog.datePopup->hide();
    QVERIFY(!dialog.btnFromDate->isDown());
    QCOMPARE(dialog.getFromDate(), QDate(2026, 10, 5));
}

void TestReports::viewerShowsTheReport()
{
    QuorvelDocument doc;
    doc.createSampleData();
    PeriodTimeSheetReport report(nullptr, &doc);
    report.setParametersFromString(QStringLiteral("1,0,2026,11,20,2026,11,21"));
    ReportViewer viewer(&report);
    QCOMPARE(viewer.windowTitle(), QStringLiteral("Quorvel - Report — Period Time Sheet"));
    QCOMPARE(viewer.browser()->reportText(), report.getReportText());
    QVERIFY(viewer.browser()->reportText().startsWith(
        QStringLiteral("<qt bgcolor=#ffffff><p><font face=Arial size=5 color=#0000ff>Period Time "
                       "Sheet</font></p>")));
    QCOMPARE(viewer.saveButton()->text(), QStringLiteral("Save Report for Viewing Later"));
    // The displayed text is the report's, as rich text: no tags show.
    const QString shown = viewer.browser()->browser()->toPlainText();
    QVERIFY(shown.contains(QStringLiteral("Period Time Sheet")));
    QVERIFY(shown.contains(QStringLiteral("Daily Totals")));
    QVERIFY(!shown.contains(QStringLiteral("<td")));
}

void TestReports::savingWritesANewDocumentEachTime()
{
    QuorvelDocument doc;
    doc.createSampleData();
    DocumentBuilder(doc).task(doc.activities.at(2), at(21, 8, 0), at(21, 8, 45));
    PeriodSummaryReport report(nullptr, &doc);
    ReportViewer viewer(&report);

    QTest::ignoreMessage(QtDebugMsg, "filename=Summary 11/21/26");
    QTest::ignoreMessage(QtDebugMsg, "DocLnk created");
    QTest::ignoreMessage(QtDebugMsg, "file name set");
    QTest::ignoreMessage(QtDebugMsg, "type set");
    QTest::ignoreMessage(QtDebugMsg, "FileManager created");
    QTest::ignoreMessage(QtDebugMsg, "file saved");
    viewer.saveButton()->click();
    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().first().title, QStringLiteral("Report Saved"));
    QCOMPARE(MessageBox::shown().first().text,
             QStringLiteral("Report document name:\nSummary 11/21/26"));
    QCOMPARE(MessageBox::shown().first().icon, QMessageBox::Information);

    const QString first = reportsFolder() + QStringLiteral("/Summary 11-21-26.qvreport");
    const QByteArray firstBytes = readFile(first);
    QCOMPARE(firstBytes, report.getReportText().toUtf8());
    QVERIFY(firstBytes.contains("<td align=center bgcolor=#e0e0e0>0:45</td>"));

    // The same name again: the older report stays as it was.
    DocumentBuilder(doc).task(doc.activities.at(2), at(21, 9, 0), at(21, 9, 10));
    viewer.saveReport();
    viewer.saveReport();
    QCOMPARE(readFile(first), firstBytes);
    const QString second = reportsFolder() + QStringLiteral("/Summary 11-21-26 (2).qvreport");
    const QString third = reportsFolder() + QStringLiteral("/Summary 11-21-26 (3).qvreport");
    QVERIFY(readFile(second).contains("<td align=center bgcolor=#e0e0e0>0:55</td>"));
    QCOMPARE(readFile(third), readFile(second));
    QCOMPARE(QDir(reportsFolder()).entryList(QDir::Files).size(), 3);
}

void TestReports::savingComputesTheTextAgain()
{
    QuorvelDocument doc;
    doc.createSampleData();
    PeriodTimeSheetReport report(nullptr, &doc);
    ReportViewer viewer(&report);
    const QString shown = viewer.browser()->reportText();
    DocumentBuilder(doc).task(doc.activities.at(0), at(21, 8, 0), at(21, 9, 0));
    report.setDecimalHours(true);
    viewer.saveReport();
    const QByteArray saved
        = readFile(reportsFolder() + QStringLiteral("/Timesheet 11-21-26.qvreport"));
    QCOMPARE(saved, report.getReportText().toUtf8());
    QVERIFY(saved != shown.toUtf8());
    QVERIFY(saved.contains(">1.0000<"));
    // What the viewer shows is what was computed when it opened.
    QCOMPARE(viewer.browser()->reportText(), shown);
}

void TestReports::savingReportsAFolderThatCannotBeWritten()
{
    // A file where the reports folder should be: no report can be written there (even as root).
    QVERIFY(writeFile(reportsFolder(), "not a folder"));
    QuorvelDocument doc;
    doc.createSampleData();
    PeriodSummaryReport report(nullptr, &doc);
    ReportViewer viewer(&report);
    viewer.saveReport();
    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().first().title, QStringLiteral("Report Not Saved"));
    QCOMPARE(MessageBox::shown().first().text,
             QStringLiteral("The report could not be written to\n") + reportsFolder());
    QCOMPARE(readFile(reportsFolder()), QByteArray("not a folder"));
    QFile::remove(reportsFolder());
}

void TestReports::safeFileNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("expected");
    QTest::newRow("short date") << "Summary 11/21/26"
                                << "Summary 11-21-26";
    QTest::newRow("dotted date") << "Timesheet 21.11.26"
                                 << "Timesheet 21.11.26";
    QTest::newRow("backslash") << "a\\b"
                               << "a-b";
    QTest::newRow("empty") << ""
                           << "Report";
    QTest::newRow("only blanks") << "   "
                                 << "Report";
    QTest::newRow("hidden") << "..profile"
                            << "profile";
    QTest::newRow("only dots") << ".."
                               << "Report";
    QTest::newRow("control characters") << "a\nb\tc\x01"
                                        << "a b c";
    QTest::newRow("non-ASCII") << QString::fromUtf8("Übersicht 21/11/26")
                               << QString::fromUtf8("Übersicht 21-11-26");
}

void TestReports::safeFileNames()
{
    QFETCH(QString, name);
    QFETCH(QString, expected);
    QCOMPARE(FileManager::safeFileName(name), expected);
}

void TestReports::loadingRefusesWhatIsNotAReadableFile()
{
    const FileManager manager;
    QString text = QStringLiteral("untouched");
    QVERIFY(!manager.loadFile(DocLnk(), text));
    QVERIFY(!manager.loadFile(DocLnk(reportsFolder() + QStringLiteral("/missing.qvreport")), text));
    QDir().mkpath(reportsFolder() + QStringLiteral("/folder.qvreport"));
    QVERIFY(!manager.loadFile(DocLnk(reportsFolder() + QStringLiteral("/folder.qvreport")), text));
    QCOMPARE(text, QStringLiteral("untouched"));

    // A very long name is cut to fit the file system, and saves.
    DocLnk link;
    link.setName(QString(300, QChar(0x00e9)) + QStringLiteral("/x"));
    link.setType(reportType);
    QVERIFY(manager.saveFile(link, QStringLiteral("<qt>x</qt>")));
    QVERIFY(QFileInfo(link.file()).fileName().toUtf8().size() < 255);
    QVERIFY(manager.loadFile(link, text));
    QCOMPARE(text, QStringLiteral("<qt>x</qt>"));

    // A type without a folder of its own is not saved anywhere.
    DocLnk other;
    other.setName(QStringLiteral("x"));
    other.setType(QStringLiteral("text/plain"));
    QVERIFY(!manager.saveFile(other, QStringLiteral("x")));
    QVERIFY(other.file().isEmpty());
}

void TestReports::savedReportsAreListedNewestFirst()
{
    const QDateTime base(QDate(2026, 11, 1), QTime(12, 0));
    const QStringList names
        = {QStringLiteral("Summary 11-01-26"), QStringLiteral("Timesheet 11-03-26"),
           QStringLiteral("Summary 11-02-26")};
    for (int i = 0; i < names.size(); ++i) {
        const QString path
            = reportsFolder() + QLatin1Char('/') + names.at(i) + QStringLiteral(".qvreport");
        QVERIFY(writeFile(path, "<qt>" + names.at(i).toUtf8() + "</qt>"));
        setFileTime(path, base.addDays(i == 1 ? 2 : i == 2 ? 1 : 0));
    }
    // Neither other files nor folders are listed.
    QVERIFY(writeFile(reportsFolder() + QStringLiteral("/notes.txt"), "x"));

    const QList<DocLnk> links = FileManager::documents(reportType);
    QCOMPARE(links.size(), 3);
    QCOMPARE(links.at(0).name(), QStringLiteral("Timesheet 11-03-26"));
    QCOMPARE(links.at(1).name(), QStringLiteral("Summary 11-02-26"));
    QCOMPARE(links.at(2).name(), QStringLiteral("Summary 11-01-26"));
    QCOMPARE(links.at(0).type(), reportType);
    QCOMPARE(links.at(0).file(), reportsFolder() + QStringLiteral("/Timesheet 11-03-26.qvreport"));

    FileSelector selector(reportType);
    QCOMPARE(selector.fileCount(), 3);
    QCOMPARE(selector.list()->topLevelItem(0)->text(0), QStringLiteral("Timesheet 11-03-26"));
    QCOMPARE(selector.list()->topLevelItem(2)->text(0), QStringLiteral("Summary 11-01-26"));
    QCOMPARE(selector.currentFile().name(), QStringLiteral("Timesheet 11-03-26"));
}

void TestReports::fileSelectDialogReturnsTheChosenPath()
{
    const QString path = reportsFolder() + QStringLiteral("/Summary 11-21-26.qvreport");
    QVERIFY(writeFile(path, "<qt>one</qt>"));
    QVERIFY(writeFile(reportsFolder() + QStringLiteral("/Older.qvreport"), "<qt>two</qt>"));
    setFileTime(reportsFolder() + QStringLiteral("/Older.qvreport"),
                QDateTime(QDate(2020, 1, 1), QTime(0, 0)));

    {
        FileSelectDialog dialog;
        QCOMPARE(dialog.windowTitle(), QStringLiteral("Quorvel - View Saved Report"));
        QCOMPARE(dialog.selector()->objectName(), QStringLiteral("FileSelector"));
        ModalAnswers answers;
        answers.add([](QWidget *widget) {
            auto *shown = qobject_cast<FileSelectDialog *>(widget);
            QVERIFY(shown);
            QTreeWidget *list = shown->selector()->list();
            QCOMPARE(list->topLevelItemCount(), 2);
            Q_EMIT list->itemActivated(list->topLevelItem(0), 0);
        });
        dialog.exec();
        QCOMPARE(answers.remaining(), 0);
        QVERIFY(!dialog.isVisible());
        QCOMPARE(dialog.selectedFile(), path);
    }
    {
        // Open takes the current entry; Enter in the list does the same.
        FileSelectDialog dialog;
        ModalAnswers answers;
        answers.add([](QWidget *widget) {
            auto *shown = qobject_cast<FileSelectDialog *>(widget);
            QTreeWidget *list = shown->selector()->list();
            list->setCurrentItem(list->topLevelItem(1));
            shown->findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Open)->click();
        });
        dialog.exec();
        QCOMPARE(dialog.selectedFile(), reportsFolder() + QStringLiteral("/Older.qvreport"));
    }
    {
        FileSelectDialog dialog;
        ModalAnswers answers;
        answers.add([](QWidget *widget) {
            QTest::keyClick(widget->focusWidget() ? widget->focusWidget() : widget, Qt::Key_Escape);
        });
        dialog.exec();
        QCOMPARE(answers.remaining(), 0);
        QVERIFY(dialog.selectedFile().isEmpty());
    }
}

void TestReports::fileSelectDialogWithoutReports()
{
    FileSelectDialog dialog;
    QCOMPARE(dialog.selector()->fileCount(), 0);
    auto *empty = dialog.findChild<QLabel *>(QStringLiteral("lblNoFiles"));
    QVERIFY(empty);
    QCOMPARE(empty->text(), QStringLiteral("No reports have been saved yet."));
    dialog.show();
    QVERIFY(empty->isVisible());
    QVERIFY(!dialog.findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Open)->isEnabled());
    dialog.close();

    prepareDataFile();
    QuorvelMainWindow window;
    ModalAnswers answers;
    answers.add([](QWidget *widget) {
        QVERIFY(qobject_cast<FileSelectDialog *>(widget));
        widget->close();
    });
    window.viewSavedReport();
    // Nothing chosen, nothing shown.
    QCOMPARE(answers.seen(), QStringList{QStringLiteral("FileSelectDialog")});
}

void TestReports::savedReportOpensAfterARestart()
{
    prepareDataFile();
    QString computed;
    {
        QuorvelMainWindow window;
        ModalAnswers answers;
        answers.add(acceptPeriod(QDate(2026, 11, 1), QDate(2026, 11, 21), true, false));
        answers.add([&computed](QWidget *widget) {
            auto *viewer = qobject_cast<ReportViewer *>(widget);
            QVERIFY(viewer);
            computed = viewer->browser()->reportText();
            viewer->saveButton()->click();
            viewer->close();
        });
        menuAction(window, QStringLiteral("Period Time Sheet"))->trigger();
        QCOMPARE(answers.remaining(), 0);
    }
    QVERIFY(computed.contains(QStringLiteral("Consulting for client R. Vance")));
    const QString path = reportsFolder() + QStringLiteral("/Timesheet 11-21-26.qvreport");
    QCOMPARE(readFile(path), computed.toUtf8());

    // A later start, on another day, after the data has changed: the report is shown as saved.
    Clock::setFixed(QDateTime(QDate(2026, 12, 1), QTime(8, 0)));
    {
        QuorvelDocument doc;
        QVERIFY(doc.load());
        DocumentBuilder(doc).task(doc.activities.at(0), at(21, 12, 0), at(21, 13, 0));
        QVERIFY(doc.save());
    }
    QuorvelMainWindow window;
    ModalAnswers answers;
    answers.add([](QWidget *widget) {
        auto *dialog = qobject_cast<FileSelectDialog *>(widget);
        QVERIFY(dialog);
        QTreeWidget *list = dialog->selector()->list();
        QCOMPARE(list->topLevelItemCount(), 1);
        QCOMPARE(list->topLevelItem(0)->text(0), QStringLiteral("Timesheet 11-21-26"));
        Q_EMIT list->itemActivated(list->topLevelItem(0), 0);
    });
    QString shown;
    answers.add([&shown](QWidget *widget) {
        auto *viewer = qobject_cast<ReportViewer *>(widget);
        QVERIFY(viewer);
        QCOMPARE(viewer->objectName(), QStringLiteral("Report"));
        QCOMPARE(viewer->windowTitle(), QStringLiteral("Quorvel - Report — Timesheet 11-21-26"));
        // A saved report is only looked at: there is nothing to save.
        QVERIFY(!viewer->saveButton());
        // It can still be printed and exported as PDF; CSV needs the report's data.
        QStringList buttons;
        for (const QPushButton *button : viewer->findChildren<QPushButton *>())
            buttons.append(button->objectName());
        QCOMPARE(buttons,
                 (QStringList{QStringLiteral("btnPrintReport"), QStringLiteral("btnExportPdf")}));
        shown = viewer->browser()->reportText();
        viewer->close();
    });
    menuAction(window, QStringLiteral("View Saved Report"))->trigger();
    QCOMPARE(answers.remaining(), 0);
    QCOMPARE(shown, computed);
}

void TestReports::setDocumentShowsTheFile()
{
    prepareDataFile();
    const QString path = reportsFolder() + QStringLiteral("/Summary 11-21-26.qvreport");
    const QString text = QString::fromUtf8("<qt><p>Caf\xc3\xa9 &amp; tea</p></qt>");
    QVERIFY(writeFile(path, text.toUtf8()));
    QuorvelMainWindow window;
    ModalAnswers answers;
    QString shown;
    QString plain;
    answers.add([&](QWidget *widget) {
        auto *viewer = qobject_cast<ReportViewer *>(widget);
        QVERIFY(viewer);
        shown = viewer->browser()->reportText();
        plain = viewer->browser()->browser()->toPlainText();
        viewer->close();
    });
    window.setDocument(path);
    QCOMPARE(answers.remaining(), 0);
    QCOMPARE(shown, text);
    QCOMPARE(plain, QString::fromUtf8("Caf\xc3\xa9 & tea"));
}

void TestReports::setDocumentIgnoresAMissingFile()
{
    prepareDataFile();
    QuorvelMainWindow window;
    ModalAnswers answers;
    window.setDocument(reportsFolder() + QStringLiteral("/missing.qvreport"));
    window.setDocument(QString());
    window.setDocument(QDir::rootPath());
    QTest::qWait(50);
    QVERIFY(answers.seen().isEmpty());
}

void TestReports::damagedSavedReportsAreShownWithoutHarm()
{
    prepareDataFile();
    QuorvelMainWindow window;
    QRandomGenerator random(20261121);
    QList<QByteArray> contents
        = {QByteArray(), QByteArray("\xff\xfe\x00\x01 not UTF-8", 14),
           QByteArray("<table><tr><td rowspan=999999999>"),
           QByteArray(
               "<img src=\"http://example.invalid/x.png\"><a href=\"file:///etc/passwd\">x</a>")};
    QByteArray noise(200000, '\0');
    for (char &c : noise)
        c = char(random.bounded(256));
    contents << noise;
    for (int i = 0; i < contents.size(); ++i) {
        const QString path = reportsFolder() + QStringLiteral("/damaged %1.qvreport").arg(i);
        QVERIFY(writeFile(path, contents.at(i)));
        ModalAnswers answers;
        answers.add([](QWidget *widget) { widget->close(); });
        window.setDocument(path);
        QCOMPARE(answers.seen(), QStringList{QStringLiteral("ReportViewer")});
    }
}

int main(int argc, char *argv[])
{
    TestEnvironment environment;
    // The shared-mime-info package as it is installed system-wide, in a data folder of its own
    // (the user's is wiped between tests); in place before anything reads the MIME database.
    const QString systemData
        = QDir::cleanPath(environment.dataHome() + QStringLiteral("/../system"));
    qputenv("XDG_DATA_DIRS", QFile::encodeName(systemData + QStringLiteral(":/usr/share")));
    const QString packages = systemData + QStringLiteral("/mime/packages");
    QDir().mkpath(packages);
    QFile::copy(QStringLiteral(QUORVEL_SOURCE_DIR "/data/quorvel-mime.xml"),
                packages + QStringLiteral("/quorvel.xml"));
    QuorvelApplication app(argc, argv);
    MessageBox::setTesting(true);
    TestReports tc;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&tc, argc, argv);
}

#include "tst_reports.moc"
