// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// Every dialog and window by keyboard alone: which widget has the focus when it opens, the whole
// round that Tab makes from there and that Shift+Tab makes back, the button that Return presses,
// the radio buttons that the arrow keys choose, and the calendars of the date buttons.

#include "DocumentBuilder.h"
#include "TestEnvironment.h"

#include "app/QuorvelMainWindow.h"
#include "dialogs/ActivityEdit.h"
#include "dialogs/ActivityList.h"
#include "dialogs/CategoryEdit.h"
#include "dialogs/CategoryList.h"
#include "dialogs/ChooseInitialMode.h"
#include "dialogs/DesktopSettings.h"
#include "dialogs/OperatingMode.h"
#include "dialogs/PurgeTasks.h"
#include "dialogs/ReportParams1.h"
#include "dialogs/Synchronize.h"
#include "dialogs/TaskEdit.h"
#include "model/Configuration.h"
#include "model/QuorvelDocument.h"
#include "platform/Clock.h"
#include "platform/Config.h"
#include "platform/DocLnk.h"
#include "reportwindows/FileSelectDialog.h"
#include "reportwindows/PeriodSummaryReport.h"
#include "reportwindows/PeriodTimeSheetReport.h"
#include "reportwindows/ReportBrowser.h"
#include "reportwindows/ReportViewer.h"

#include <QAbstractItemView>
#include <QAbstractSpinBox>
#include <QButtonGroup>
#include <QCalendarWidget>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QRadioButton>
#include <QTextEdit>
#include <QToolBar>
#include <QToolButton>
#include <QtTest>

#include <functional>
#include <memory>

namespace {

using Factory = std::function<QWidget *(QuorvelDocument *)>;

// The object name; for a button without one (those of a button box) its text, and for any
// other widget without one, its class within its named parent.
QString nameOf(const QWidget *widget)
{
    if (!widget)
        return QStringLiteral("(none)");
    if (!widget->objectName().isEmpty())
        return widget->objectName();
    if (const auto *button = qobject_cast<const QAbstractButton *>(widget))
        return button->text().remove(QLatin1Char('&'));
    return nameOf(widget->parentWidget()) + QLatin1Char('/')
           + QString::fromLatin1(widget->metaObject()->className());
}

// The name, and for a radio button whether it is the chosen one of its group.
QString nameAndChoice(const QWidget *widget)
{
    const auto *radio = qobject_cast<const QRadioButton *>(widget);
    return radio && radio->isChecked() ? nameOf(widget) + QStringLiteral(" (chosen)")
                                       : nameOf(widget);
}

bool open(QWidget *window)
{
    window->show();
    QApplication::setActiveWindow(window);
    return QTest::qWaitForWindowActive(window);
}

void press(QWidget *window, int key)
{
    QWidget *focused = QApplication::focusWidget();
    QTest::keyClick(focused ? focused : window, Qt::Key(key));
}

// What a focused widget must be: in the window, shown, enabled, and a stop of the Tab key.
QString focusProblem(const QWidget *window)
{
    const QWidget *focused = QApplication::focusWidget();
    if (!focused)
        return QStringLiteral("no widget has the focus");
    const QString name = nameOf(focused);
    if (focused->window() != window)
        return name + QStringLiteral(" is not in the window");
    if (!focused->hasFocus() || !focused->isVisible() || !focused->isEnabled())
        return name + QStringLiteral(" is hidden or disabled");
    if (!(focused->focusPolicy() & Qt::TabFocus))
        return name + QStringLiteral(" is no stop of the Tab key");
    return QString();
}

// The controls a user works with; not the parts of a list or table (headers, corner button),
// nor the line edit of a spin box, which hands its focus to the spin box.
bool isControl(const QWidget *widget, const QWidget *window)
{
    if (widget->window() != window || !widget->isVisibleTo(window) || !widget->isEnabled()
        || widget->focusProxy())
        return false;
    for (const QWidget *up = widget->parentWidget(); up && up != window; up = up->parentWidget()) {
        if (qobject_cast<const QAbstractItemView *>(up))
            return false;
    }
    return qobject_cast<const QAbstractButton *>(widget) || qobject_cast<const QLineEdit *>(widget)
           || qobject_cast<const QAbstractSpinBox *>(widget)
           || qobject_cast<const QComboBox *>(widget)
           || qobject_cast<const QAbstractItemView *>(widget)
           || qobject_cast<const QTextEdit *>(widget);
}

// The controls that neither Tab reaches nor the arrow keys from a radio button that Tab reaches.
QStringList unreachable(QWidget *window, const QStringList &round)
{
    QStringList missed;
    const QList<QWidget *> widgets = window->findChildren<QWidget *>();
    for (QWidget *widget : widgets) {
        if (!isControl(widget, window) || round.contains(nameOf(widget)))
            continue;
        // A tool bar's buttons repeat menu entries, which the keyboard reaches through the menus
        // (tst_keyboard); Tab passes over them, as in other programs.
        const auto *button = qobject_cast<const QToolButton *>(widget);
        if (button && qobject_cast<const QToolBar *>(widget->parentWidget())
            && button->defaultAction() && !button->defaultAction()->menu()) {
            bool inMenu = false;
            const QList<QObject *> associated = button->defaultAction()->associatedObjects();
            for (const QObject *object : associated)
                inMenu = inMenu || qobject_cast<const QMenu *>(object);
            if (inMenu)
                continue;
        }
        bool byArrows = false;
        const auto *radio = qobject_cast<const QRadioButton *>(widget);
        if (radio && radio->group()) {
            const QList<QAbstractButton *> others = radio->group()->buttons();
            for (const QAbstractButton *other : others)
                byArrows = byArrows || round.contains(nameOf(other));
        }
        if (!byArrows)
            missed << nameOf(widget);
    }
    return missed;
}

QStringList defaultButtons(const QWidget *window)
{
    QStringList names;
    const QList<QPushButton *> buttons = window->findChildren<QPushButton *>();
    for (const QPushButton *button : buttons) {
        if (button->isDefault())
            names << nameOf(button);
    }
    return names;
}

// Nothing may draw a focused widget without its focus frame: no style sheet, the application's
// or a widget's, that mentions the focus or an outline.
QStringList focusHidingStyleSheets(const QWidget *window)
{
    const auto hides = [](const QString &sheet) {
        return sheet.contains(QStringLiteral(":focus"), Qt::CaseInsensitive)
               || sheet.contains(QStringLiteral("outline"), Qt::CaseInsensitive);
    };
    QStringList found;
    if (hides(qApp->styleSheet()))
        found << QStringLiteral("application");
    if (hides(window->styleSheet()))
        found << nameOf(window);
    const QList<QWidget *> widgets = window->findChildren<QWidget *>();
    for (const QWidget *widget : widgets) {
        if (hides(widget->styleSheet()))
            found << nameOf(widget);
    }
    return found;
}

QStringList reversedRound(const QStringList &round)
{
    // From the first stop, Shift+Tab goes to the last one and on backwards to the first.
    QStringList back;
    for (qsizetype i = round.size() - 1; i >= 0; --i)
        back << round.at(i);
    return back;
}

void useTwentyFourHourClock()
{
    Config config(QStringLiteral("qpe"));
    config.setGroup(QStringLiteral("Time"));
    config.writeEntry(QStringLiteral("AMPM"), false);
}

bool writeSavedReport(const QString &name)
{
    const QString folder = FileManager::folderFor(FileManager::reportType());
    QDir().mkpath(folder);
    QFile file(folder + QLatin1Char('/') + name
               + FileManager::extensionFor(FileManager::reportType()));
    return file.open(QIODevice::WriteOnly) && file.write("<qt>A report</qt>") > 0;
}

template<typename Window>
QWidget *created(QuorvelDocument *)
{
    return new Window;
}

template<typename Window>
QWidget *createdFor(QuorvelDocument *doc)
{
    return new Window(doc);
}

// An editor of a new record.
template<typename Dialog>
QWidget *createdNew(QuorvelDocument *doc)
{
    return new Dialog(nullptr, doc);
}

Factory inGroupMode(const Factory &make)
{
    return [make](QuorvelDocument *doc) {
        Configuration().setMode(Configuration::Group);
        return make(doc);
    };
}

Factory withTwentyFourHourClock(const Factory &make)
{
    return [make](QuorvelDocument *doc) {
        useTwentyFourHourClock();
        return make(doc);
    };
}

Factory withoutRecords(const Factory &make)
{
    return [make](QuorvelDocument *doc) {
        doc->clear();
        return make(doc);
    };
}

// The operating mode as the main window opens it: on the mode in use, or on group mode alone
// at the first start in group mode.
Factory operatingMode(Configuration::OperatingMode mode, bool personalChoosable = true)
{
    return [mode, personalChoosable](QuorvelDocument *) -> QWidget * {
        auto *dialog = new OperatingMode;
        (mode == Configuration::Group ? dialog->radGroup : dialog->radPersonal)->setChecked(true);
        dialog->radPersonal->setEnabled(personalChoosable);
        return dialog;
    };
}

Factory taskEditor(bool running)
{
    return [running](QuorvelDocument *doc) -> QWidget * {
        QVTask *task = DocumentBuilder(*doc).task(doc->activities.first(), at(20, 9, 0),
                                                  running ? QDateTime() : at(20, 10, 15));
        return new TaskEdit(task, doc);
    };
}

QWidget *categoryEditor(QuorvelDocument *doc)
{
    return new CategoryEdit(doc->categories.first(), doc);
}

QWidget *activityEditor(QuorvelDocument *doc)
{
    return new ActivityEdit(doc->activities.first(), doc);
}

QWidget *purgeBeforeAGivenTime(QuorvelDocument *)
{
    auto *dialog = new PurgeTasks;
    dialog->radSpecified->setChecked(true);
    return dialog;
}

QWidget *summaryViewer(QuorvelDocument *doc)
{
    auto *report = new PeriodSummaryReport(nullptr, doc);
    auto *viewer = new ReportViewer(report);
    report->setParent(viewer);
    return viewer;
}

QWidget *savedReportViewer(QuorvelDocument *)
{
    return new ReportViewer(QStringLiteral("<qt>A saved report</qt>"), nullptr);
}

QWidget *chooserOfTwoReports(QuorvelDocument *)
{
    if (!writeSavedReport(QStringLiteral("Summary 11-21-26"))
        || !writeSavedReport(QStringLiteral("Timesheet 11-21-26")))
        return nullptr;
    return new FileSelectDialog;
}

// The viewer of a time sheet long enough to be shown in pages; null when it is not.
QWidget *desktopSettingsWithoutIdleTime(QuorvelDocument *)
{
    auto *dialog = new DesktopSettings;
    dialog->setIdleUnavailable(QStringLiteral("No idle time here."));
    return dialog;
}

// A task of Coding holds the first shortcut button; the other two stand for nothing and are
// disabled. The window reads the data file itself.
QWidget *mainWindow(QuorvelDocument *doc)
{
    DocumentBuilder build(*doc);
    build.task(doc->activities.first(), at(21, 8, 0), at(21, 9, 0), 1);
    build.sortAll();
    if (!doc->save())
        return nullptr;
    return new QuorvelMainWindow;
}

QWidget *longTimeSheetViewer(QuorvelDocument *doc)
{
    DocumentBuilder(*doc).longTimeSheet(300);
    const QDate last(2026, 11, 21);
    auto *report = new PeriodTimeSheetReport(nullptr, doc);
    report->setPeriod(last.addDays(-299), last);
    auto *viewer = new ReportViewer(report);
    report->setParent(viewer);
    if (viewer->browser()->pageCount() < 2) {
        delete viewer;
        return nullptr;
    }
    return viewer;
}

} // namespace

Q_DECLARE_METATYPE(Factory)

class TestFocus : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void tabRound_data();
    void tabRound();
    void returnPressesTheDefaultButton_data();
    void returnPressesTheDefaultButton();
    void returnOpensTheCurrentSavedReport();
    void arrowKeysChooseWithinRadioGroups_data();
    void arrowKeysChooseWithinRadioGroups();
    void dateButtonsOpenACalendarForTheKeyboard_data();
    void dateButtonsOpenACalendarForTheKeyboard();
};

void TestFocus::initTestCase()
{
    // Some cases check the window's debug lines, which are off by default.
    QLoggingCategory::setFilterRules(QStringLiteral("quorvel.*.debug=true"));
}

void TestFocus::init()
{
    TestEnvironment::wipe();
    Clock::setFixed(at(21, 9, 30));
    Configuration().setMode(Configuration::Personal);
    Configuration().setAllowConcurrentTasks(false);
    Configuration().setServerAddress(QStringLiteral("no-such-host.invalid"));
    QDir(FileManager::folderFor(FileManager::reportType())).removeRecursively();
}

void TestFocus::tabRound_data()
{
    QTest::addColumn<Factory>("make");
    // The widget that has the focus when the window opens, then every stop that Tab reaches
    // from there, in order, before it comes back to the first.
    QTest::addColumn<QStringList>("round");
    QTest::addColumn<QStringList>("defaults");

    const QStringList ok{QStringLiteral("OK")};
    const QStringList none;
    const auto add = [](const char *name, const Factory &make, const QStringList &round,
                        const QStringList &defaults) {
        QTest::newRow(name) << make << round << defaults;
    };

    add("ChooseInitialMode", created<ChooseInitialMode>, {"radPersonalInit", "OK", "Cancel"}, ok);
    add("OperatingMode, personal mode", operatingMode(Configuration::Personal),
        {"radPersonal", "OK", "Cancel"}, ok);
    add("OperatingMode, group mode", operatingMode(Configuration::Group),
        {"radGroup", "txtServer", "txtUserID", "txtPassword", "OK", "Cancel"}, ok);
    // The first start in group mode asks only for the server settings.
    add("OperatingMode, group mode only", operatingMode(Configuration::Group, false),
        {"txtServer", "txtUserID", "txtPassword", "OK", "Cancel", "radGroup"}, ok);
    add("CategoryEdit", createdNew<CategoryEdit>, {"txtName", "OK", "Cancel"}, ok);
    add("ActivityEdit", createdNew<ActivityEdit>,
        {"txtName", "comboCategory", "btnCategory", "OK", "Cancel"}, ok);
    add("ActivityEdit, group mode", inGroupMode(createdNew<ActivityEdit>),
        {"txtName", "comboCategory", "OK", "Cancel"}, ok);
    add("TaskEdit, new task", createdNew<TaskEdit>,
        {"comboActivity", "btnActivity", "radStartNow", "radStopLater", "OK", "Cancel"}, ok);
    add("TaskEdit, new task in group mode", inGroupMode(createdNew<TaskEdit>),
        {"comboActivity", "radStartNow", "radStopLater", "OK", "Cancel"}, ok);
    // Tab enters each group of radio buttons at its chosen button.
    add("TaskEdit, stopped task", taskEditor(false),
        {"comboActivity", "btnActivity", "radStartSpecified", "btnStartDate", "spinStartHour",
         "spinStartMinute", "chkPMStart", "radStopSpecified", "btnStopDate", "spinStopHour",
         "spinStopMinute", "chkPMStop", "OK", "Cancel"},
        ok);
    add("TaskEdit, stopped task, 24-hour clock", withTwentyFourHourClock(taskEditor(false)),
        {"comboActivity", "btnActivity", "radStartSpecified", "btnStartDate", "spinStartHour",
         "spinStartMinute", "radStopSpecified", "btnStopDate", "spinStopHour", "spinStopMinute",
         "OK", "Cancel"},
        ok);
    add("TaskEdit, running task", taskEditor(true),
        {"comboActivity", "btnActivity", "radStartSpecified", "btnStartDate", "spinStartHour",
         "spinStartMinute", "chkPMStart", "radStopLater", "OK", "Cancel"},
        ok);
    add("PurgeTasks", created<PurgeTasks>, {"radNow", "OK", "Cancel"}, ok);
    add("ReportParams1", created<ReportParams1>,
        {"btnFromDate", "btnToDate", "chkDecimalHours", "chkIncludeZeroActivities", "OK", "Cancel"},
        ok);
    // The lists open on the list: the arrow keys choose a row and Space edits it.
    add("CategoryList", createdFor<CategoryList>,
        {"tblCategoryList", "btnNew", "btnEdit", "btnDelete"}, none);
    add("CategoryList, empty", withoutRecords(createdFor<CategoryList>),
        {"tblCategoryList", "btnNew"}, none);
    add("ActivityList", createdFor<ActivityList>,
        {"tblActivityList", "btnNew", "btnEdit", "btnDelete"}, none);
    add("ActivityList, no categories", withoutRecords(createdFor<ActivityList>),
        {"tblActivityList"}, none);
    add("Synchronize", createdFor<Synchronize>, {"txtMessages", "btnClose"}, none);
    add("ReportViewer", summaryViewer,
        {"txtReport/QTextBrowser", "btnSaveReport", "btnPrintReport", "btnExportPdf",
         "btnExportCsv"},
        none);
    // On the first page, Previous Page is disabled and passed over.
    add("ReportViewer, in pages", longTimeSheetViewer,
        {"txtReport/QTextBrowser", "btnNextPage", "btnSaveReport", "btnPrintReport", "btnExportPdf",
         "btnExportCsv"},
        none);
    add("ReportViewer, saved report", savedReportViewer,
        {"txtReport/QTextBrowser", "btnPrintReport", "btnExportPdf"}, none);
    add("FileSelectDialog", chooserOfTwoReports, {"fileList", "Open", "Cancel"}, {"Open"});
    add("FileSelectDialog, no saved reports", created<FileSelectDialog>, {"Cancel"}, {"Open"});
    add("DesktopSettings", created<DesktopSettings>,
        {"spnIdleMinutes", "spnRemindHours", "chkTellAboutPanel", "OK", "Cancel"}, ok);
    add("DesktopSettings without idle time", desktopSettingsWithoutIdleTime,
        {"spnRemindHours", "chkTellAboutPanel", "OK", "Cancel"}, ok);
    // The tool bar's buttons are the menus' entries, which the keyboard reaches from the menus.
    add("QuorvelMainWindow", mainWindow, {"tblTaskList", "btnTask1"}, none);
}

void TestFocus::tabRound()
{
    QFETCH(Factory, make);
    QFETCH(QStringList, round);
    QFETCH(QStringList, defaults);

    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *development = build.category(QStringLiteral("Development"));
    build.activity(QStringLiteral("Coding"), development);
    build.sortAll();
    const std::unique_ptr<QWidget> window(make(&doc));
    QVERIFY(window);
    QVERIFY(open(window.get()));

    QCOMPARE(nameOf(QApplication::focusWidget()), round.first());
    QCOMPARE(focusProblem(window.get()), QString());
    QCOMPARE(defaultButtons(window.get()), defaults);
    QCOMPARE(unreachable(window.get(), round).join(QLatin1Char(' ')), QString());
    QCOMPARE(focusHidingStyleSheets(window.get()), QStringList());

    QStringList forward;
    QStringList problems;
    for (qsizetype i = 0; i < round.size(); ++i) {
        press(window.get(), Qt::Key_Tab);
        forward << nameOf(QApplication::focusWidget());
        const QString problem = focusProblem(window.get());
        if (!problem.isEmpty())
            problems << problem;
    }
    QCOMPARE(forward, round.mid(1) << round.first());
    QCOMPARE(problems, QStringList());

    QStringList backward;
    for (qsizetype i = 0; i < round.size(); ++i) {
        press(window.get(), Qt::Key_Backtab);
        backward << nameOf(QApplication::focusWidget());
        const QString problem = focusProblem(window.get());
        if (!problem.isEmpty())
            problems << problem;
    }
    QCOMPARE(backward, reversedRound(round));
    QCOMPARE(problems, QStringList());
}

void TestFocus::returnPressesTheDefaultButton_data()
{
    QTest::addColumn<Factory>("make");

    QTest::newRow("ChooseInitialMode") << Factory(created<ChooseInitialMode>);
    QTest::newRow("OperatingMode") << operatingMode(Configuration::Personal);
    QTest::newRow("CategoryEdit") << Factory(categoryEditor);
    QTest::newRow("ActivityEdit") << Factory(activityEditor);
    QTest::newRow("TaskEdit") << Factory(createdNew<TaskEdit>);
    QTest::newRow("PurgeTasks") << Factory(created<PurgeTasks>);
    QTest::newRow("ReportParams1") << Factory(created<ReportParams1>);
    QTest::newRow("DesktopSettings") << Factory(created<DesktopSettings>);
}

// Return, wherever the focus is when the dialog opens, is OK.
void TestFocus::returnPressesTheDefaultButton()
{
    QFETCH(Factory, make);

    QuorvelDocument doc;
    DocumentBuilder build(doc);
    build.activity(QStringLiteral("Coding"), build.category(QStringLiteral("Development")));
    const std::unique_ptr<QWidget> window(make(&doc));
    auto *dialog = qobject_cast<QDialog *>(window.get());
    QVERIFY(dialog);
    QVERIFY(open(dialog));
    QVERIFY(QApplication::focusWidget());

    if (dialog->inherits("PurgeTasks"))
        QTest::ignoreMessage(QtDebugMsg, "PurgeTasks::accept()");
    press(dialog, Qt::Key_Return);
    QVERIFY(!dialog->isVisible());
    QCOMPARE(dialog->result(), int(QDialog::Accepted));
}

void TestFocus::returnOpensTheCurrentSavedReport()
{
    QVERIFY(writeSavedReport(QStringLiteral("Summary 11-21-26")));
    FileSelectDialog dialog;
    QVERIFY(open(&dialog));
    QCOMPARE(nameOf(QApplication::focusWidget()), QStringLiteral("fileList"));
    press(&dialog, Qt::Key_Return);
    QVERIFY(!dialog.isVisible());
    QCOMPARE(QFileInfo(dialog.selectedFile()).fileName(),
             QStringLiteral("Summary 11-21-26")
                 + FileManager::extensionFor(FileManager::reportType()));
}

void TestFocus::arrowKeysChooseWithinRadioGroups_data()
{
    QTest::addColumn<Factory>("make");
    QTest::addColumn<QList<int>>("keys");
    // Where the focus is after each key, from the widget that has it when the dialog opens.
    QTest::addColumn<QStringList>("after");

    // Keys and the focus after each, as pairs.
    const auto add = [](const char *name, const Factory &make,
                        const QList<std::pair<int, const char *>> &steps) {
        QList<int> keys;
        QStringList after;
        for (const auto &[key, focus] : steps) {
            keys << key;
            after << QString::fromUtf8(focus);
        }
        QTest::newRow(name) << make << keys << after;
    };
    const int tab = Qt::Key_Tab;
    const int backtab = Qt::Key_Backtab;
    const int up = Qt::Key_Up;
    const int down = Qt::Key_Down;

    add("ChooseInitialMode", created<ChooseInitialMode>,
        {{down, "radPersonalNoInit (chosen)"},
         {down, "radGroup (chosen)"},
         {tab, "OK"},
         {backtab, "radGroup (chosen)"},
         {up, "radPersonalNoInit (chosen)"},
         {tab, "OK"}});
    add("OperatingMode", operatingMode(Configuration::Personal),
        {{down, "radGroup (chosen)"},
         {tab, "txtServer"},
         {tab, "txtUserID"},
         {tab, "txtPassword"},
         {tab, "OK"},
         {backtab, "txtPassword"},
         {backtab, "txtUserID"},
         {backtab, "txtServer"},
         {backtab, "radGroup (chosen)"},
         {up, "radPersonal (chosen)"},
         {tab, "OK"}});
    add("TaskEdit, start time", createdNew<TaskEdit>,
        {{tab, "btnActivity"},
         {tab, "radStartNow (chosen)"},
         {down, "radStartSpecified (chosen)"},
         {tab, "btnStartDate"},
         {tab, "spinStartHour"},
         {tab, "spinStartMinute"},
         {tab, "chkPMStart"},
         {tab, "radStopLater (chosen)"},
         {backtab, "chkPMStart"},
         {backtab, "spinStartMinute"},
         {backtab, "spinStartHour"},
         {backtab, "btnStartDate"},
         {backtab, "radStartSpecified (chosen)"},
         {up, "radStartNow (chosen)"},
         {tab, "radStopLater (chosen)"}});
    // "Now" of the stop time is no stop of the Tab key until it is chosen, but the arrow keys
    // reach it.
    add("TaskEdit, stop time", createdNew<TaskEdit>,
        {{tab, "btnActivity"},
         {tab, "radStartNow (chosen)"},
         {tab, "radStopLater (chosen)"},
         {up, "radStopNow (chosen)"},
         {tab, "OK"},
         {backtab, "radStopNow (chosen)"},
         {backtab, "radStartNow (chosen)"},
         {tab, "radStopNow (chosen)"},
         {down, "radStopLater (chosen)"},
         {down, "radStopSpecified (chosen)"},
         {tab, "btnStopDate"},
         {tab, "spinStopHour"},
         {tab, "spinStopMinute"},
         {tab, "chkPMStop"},
         {tab, "OK"}});
    add("PurgeTasks", created<PurgeTasks>,
        {{down, "radSpecified (chosen)"},
         {tab, "btnDate"},
         {tab, "spinHour"},
         {tab, "spinMinute"},
         {tab, "chkPM"},
         {tab, "OK"},
         {tab, "Cancel"},
         {tab, "radSpecified (chosen)"},
         {up, "radNow (chosen)"},
         {tab, "OK"}});
}

void TestFocus::arrowKeysChooseWithinRadioGroups()
{
    QFETCH(Factory, make);
    QFETCH(QList<int>, keys);
    QFETCH(QStringList, after);

    QuorvelDocument doc;
    DocumentBuilder build(doc);
    build.activity(QStringLiteral("Coding"), build.category(QStringLiteral("Development")));
    const std::unique_ptr<QWidget> window(make(&doc));
    QVERIFY(open(window.get()));

    QStringList seen;
    for (const int key : std::as_const(keys)) {
        press(window.get(), key);
        seen << nameAndChoice(QApplication::focusWidget());
    }
    QCOMPARE(seen, after);
}

void TestFocus::dateButtonsOpenACalendarForTheKeyboard_data()
{
    QTest::addColumn<Factory>("make");
    QTest::addColumn<QString>("button");
    // The button's text after Right and Return in the calendar: the day after.
    QTest::addColumn<QString>("chosen");

    const QString sunday = QStringLiteral("Sunday, November 22, 2026");
    QTest::newRow("TaskEdit, start date")
        << taskEditor(false) << QStringLiteral("btnStartDate") << QStringLiteral("11/21/26");
    QTest::newRow("TaskEdit, stop date")
        << taskEditor(false) << QStringLiteral("btnStopDate") << QStringLiteral("11/21/26");
    QTest::newRow("PurgeTasks") << Factory(purgeBeforeAGivenTime) << QStringLiteral("btnDate")
                                << QStringLiteral("11/22/26");
    QTest::newRow("ReportParams1, from")
        << Factory(created<ReportParams1>) << QStringLiteral("btnFromDate") << sunday;
    QTest::newRow("ReportParams1, to")
        << Factory(created<ReportParams1>) << QStringLiteral("btnToDate") << sunday;
}

void TestFocus::dateButtonsOpenACalendarForTheKeyboard()
{
    QFETCH(Factory, make);
    QFETCH(QString, button);
    QFETCH(QString, chosen);

    QuorvelDocument doc;
    DocumentBuilder build(doc);
    build.activity(QStringLiteral("Coding"), build.category(QStringLiteral("Development")));
    const std::unique_ptr<QWidget> window(make(&doc));
    QVERIFY(open(window.get()));
    auto *dateButton = window->findChild<QToolButton *>(button);
    QVERIFY(dateButton);
    dateButton->setFocus();
    QTRY_VERIFY(dateButton->hasFocus());

    if (window->inherits("ReportParams1")) {
        QTest::ignoreMessage(QtDebugMsg, button == QLatin1String("btnFromDate")
                                             ? "ReportParams1::pickFromDate()"
                                             : "ReportParams1::pickToDate()");
    }
    press(window.get(), Qt::Key_Space);
    QTRY_VERIFY(QApplication::activePopupWidget());
    QWidget *popup = QApplication::activePopupWidget();
    auto *calendar = popup->findChild<QCalendarWidget *>();
    QVERIFY(calendar);
    QVERIFY(calendar->isAncestorOf(QApplication::focusWidget()));

    // Keys reach the calendar the way the window system delivers them: through the pop-up.
    QTest::keyClick(popup->windowHandle(), Qt::Key_Right);
    QTest::keyClick(popup->windowHandle(), Qt::Key_Return);
    QTRY_VERIFY(!QApplication::activePopupWidget());
    QCOMPARE(dateButton->text(), chosen);
    QVERIFY(!dateButton->isDown());
    QTRY_COMPARE(nameOf(QApplication::focusWidget()), button);
}

QUORVEL_TEST_MAIN(TestFocus)
#include "tst_focus.moc"
