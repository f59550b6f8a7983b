// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "DocumentBuilder.h"
#include "TestEnvironment.h"

#include "model/QuorvelDocument.h"
#include "platform/Clock.h"
#include "views/MainWidget.h"
#include "views/QVTable.h"
#include "views/TaskTableModel.h"

#include <QAbstractItemModelTester>
#include <QFontDatabase>
#include <QHeaderView>
#include <QLabel>
#include <QToolButton>
#include <QtTest>

#include <memory>

class TestMainWidget : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void formWidgets();
    void tableSetup();
    void applicationFontChangeKeepsTimeLabelFont();
    void fontChangeInsideWindowKeepsTimeLabelFont();

    void runningTimeText_data();
    void runningTimeText();
    void shortcutLabelShowsRunningTime_data();
    void shortcutLabelShowsRunningTime();
    void updateShortcutTimersBlanksStoppedAndEmptySlots();

    void emptyDocument();
    void buttonsShowShortcutTasks();
    void updateDoesNotToggleButtonSignals();
    void laterTaskInListWinsSameShortcut();
    void buttonOfTaskWithoutActivity();
    void updateRowOfStoppedTaskUpdatesButton();
    void updateRowOfRenamedActivity();
    void updateRowOfTaskNotInListRebuilds();

    void updateEmitsTaskChanged();
    void currentRowChangeSelectsTaskAndEmitsTaskChanged();
    void noCurrentCellClearsSelectionSilently();
    void selectedTaskFollowsItsRowOnUpdate();
    void deletingSelectedTaskSelectsLastRow();
    void lastRowIsScrolledIntoView();
    void updateSetsColumnWidths();

    void clickOnHeaderOrEmptyAreaDoesNotEmitOk();
    void clickOnCellEmitsOk();
    void spaceKeyEmitsOkOtherKeysGoToTable();
    void paintingSwitch();

    void modelTexts();
    void modelFlagsAndHeaders();
    void modelPassesTester();

private:
    // Shows the widget at a size where a few rows leave empty room below them.
    void showWidget();

    std::unique_ptr<QuorvelDocument> m_doc;
    std::unique_ptr<MainWidget> m_widget;
};

void TestMainWidget::initTestCase()
{
    // Some cases check the window's debug lines, which are off by default.
    QLoggingCategory::setFilterRules(QStringLiteral("quorvel.*.debug=true"));
}

void TestMainWidget::init()
{
    TestEnvironment::wipe();
    Clock::setFixed(at(21, 9, 30));
    m_doc = std::make_unique<QuorvelDocument>();
    m_widget = std::make_unique<MainWidget>(m_doc.get());
}

void TestMainWidget::cleanup()
{
    m_widget.reset();
    m_doc.reset();
    Clock::setFixed(at(21, 9, 30));
}

void TestMainWidget::showWidget()
{
    m_widget->resize(500, 600);
    m_widget->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_widget.get()));
}

void TestMainWidget::formWidgets()
{
    QCOMPARE(m_widget->objectName(), QStringLiteral("MainWidgetBase"));
    QCOMPARE(m_widget->windowTitle(), QStringLiteral("Quorvel"));

    const QStringList buttonTexts
        = {QStringLiteral("Task 1"), QStringLiteral("Task 2"), QStringLiteral("Task 3")};
    const QStringList labelTexts
        = {QStringLiteral("12:12:12"), QStringLiteral("12:12:12"), QStringLiteral("365d 13:13")};
    QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    for (int n = 1; n <= 3; ++n) {
        QToolButton *button = m_widget->button(n);
        QVERIFY(button);
        QCOMPARE(button->objectName(), QStringLiteral("btnTask%1").arg(n));
        QCOMPARE(button->text(), buttonTexts.at(n - 1));
        QVERIFY(button->isCheckable());
        QCOMPARE(button->sizePolicy().horizontalPolicy(), QSizePolicy::Expanding);

        QLabel *label = m_widget->statusLabel(n);
        QVERIFY(label);
        QCOMPARE(label->objectName(), QStringLiteral("lblTaskStatus%1").arg(n));
        QCOMPARE(label->text(), labelTexts.at(n - 1));
        QCOMPARE(label->alignment(), Qt::AlignRight | Qt::AlignVCenter);
        QVERIFY(label->font().bold());
        QCOMPARE(label->font().family(), fixed.family());
    }
    QCOMPARE(m_widget->button(0), nullptr);
    QCOMPARE(m_widget->statusLabel(4), nullptr);

    for (const char *name : {"Line1", "Line1_2", "Line1_3", "Line1_4"}) {
        auto *line = m_widget->findChild<QFrame *>(QString::fromLatin1(name));
        QVERIFY2(line, name);
        QCOMPARE(line->frameShape(), QFrame::HLine);
        QCOMPARE(line->frameShadow(), QFrame::Sunken);
    }
}

void TestMainWidget::tableSetup()
{
    QVTable *table = m_widget->table;
    QVERIFY(table);
    QCOMPARE(table->objectName(), QStringLiteral("tblTaskList"));
    QCOMPARE(table->parentWidget(), m_widget.get());
    QCOMPARE(table->model(), m_widget->model());
    QVERIFY(table->verticalHeader()->isHidden());
    QCOMPARE(table->selectionBehavior(), QAbstractItemView::SelectRows);
    QCOMPARE(table->selectionMode(), QAbstractItemView::SingleSelection);
    QCOMPARE(table->editTriggers(), QAbstractItemView::NoEditTriggers);
    QVERIFY(table->columnWidth(0) >= 100);
    QCOMPARE(table->columnWidth(1), table->columnWidth(0));
    QVERIFY(table->horizontalHeader()->stretchLastSection());
    QVERIFY(table->paintingEnabled());
    QCOMPARE(m_widget->selectedTask, nullptr);
    QCOMPARE(m_widget->shortcutTask1, nullptr);
    QCOMPARE(m_widget->shortcutTask2, nullptr);
    QCOMPARE(m_widget->shortcutTask3, nullptr);
}

void TestMainWidget::applicationFontChangeKeepsTimeLabelFont()
{
    QLabel *label = m_widget->statusLabel(2);
    label->setFont(QFont(QStringLiteral("Serif"), 23));
    QCOMPARE(label->font().pointSize(), 23);

    const QFont before = QApplication::font();
    QFont bigger = before;
    bigger.setPointSize(before.pointSize() + 5);
    QApplication::setFont(bigger);
    // The change reaches the windows as a posted event.
    QCoreApplication::processEvents();
    QFont expected = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    expected.setBold(true);
    const QFont after = label->font();
    QApplication::setFont(before);
    QCoreApplication::processEvents();

    QCOMPARE(after.family(), expected.family());
    QVERIFY(after.bold());
    QCOMPARE(after.pointSize(), expected.pointSize());
}

void TestMainWidget::fontChangeInsideWindowKeepsTimeLabelFont()
{
    QWidget window;
    m_widget->setParent(&window);
    QLabel *label = m_widget->statusLabel(3);
    label->setFont(QFont(QStringLiteral("Serif"), 23));

    QFont bigger = window.font();
    bigger.setPointSize(bigger.pointSize() + 5);
    window.setFont(bigger);
    QFont expected = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    expected.setBold(true);
    const QFont after = label->font();
    m_widget->setParent(nullptr);

    QCOMPARE(after.family(), expected.family());
    QVERIFY(after.bold());
    QCOMPARE(after.pointSize(), expected.pointSize());
}

void TestMainWidget::runningTimeText_data()
{
    QTest::addColumn<qint64>("seconds");
    QTest::addColumn<QString>("expected");

    QTest::newRow("just started") << qint64(0) << QStringLiteral("0 00");
    QTest::newRow("59 s, odd") << qint64(59) << QStringLiteral("0:00");
    QTest::newRow("60 s, even") << qint64(60) << QStringLiteral("0 01");
    QTest::newRow("1 h 1 min 1 s") << qint64(3661) << QStringLiteral("1:01");
    QTest::newRow("last second of a day") << qint64(86399) << QStringLiteral("23:59");
    QTest::newRow("exactly a day") << qint64(86400) << QStringLiteral("1d  0 00");
    QTest::newRow("a day and 1:01:01") << qint64(90061) << QStringLiteral("1d  1:01");
    QTest::newRow("400 days 5:07:01")
        << qint64(400LL * 86400 + 5 * 3600 + 7 * 60 + 1) << QStringLiteral("400d  5:07");
    QTest::newRow("one second ahead") << qint64(-1) << QString();
    QTest::newRow("an hour ahead") << qint64(-3600) << QString();
}

void TestMainWidget::runningTimeText()
{
    QFETCH(qint64, seconds);
    QFETCH(QString, expected);
    const QDateTime now = at(21, 9, 30, 0);
    QCOMPARE(MainWidget::runningTimeText(now.addSecs(-seconds), now), expected);
}

void TestMainWidget::shortcutLabelShowsRunningTime_data()
{
    runningTimeText_data();
}

void TestMainWidget::shortcutLabelShowsRunningTime()
{
    QFETCH(qint64, seconds);
    QFETCH(QString, expected);
    DocumentBuilder build(*m_doc);
    const auto [writing] = build.activities({"Writing"});
    const QDateTime now = at(21, 9, 30, 0);
    Clock::setFixed(now);
    build.task(writing, now.addSecs(-seconds), QDateTime(), 1);
    m_widget->update();
    m_widget->updateShortcutTimers();
    QCOMPARE(m_widget->statusLabel(1)->text(), expected);
}

void TestMainWidget::updateShortcutTimersBlanksStoppedAndEmptySlots()
{
    DocumentBuilder build(*m_doc);
    const auto [writing, reading] = build.activities({"Writing", "Reading"});
    build.task(reading, at(20, 8, 0), at(20, 9, 0), 2);
    QVTask *running = build.task(writing, at(21, 9, 0), QDateTime(), 1);
    build.sortAll();
    Clock::setFixed(at(21, 9, 30, 1));
    m_widget->update();
    m_widget->updateShortcutTimers();
    QCOMPARE(m_widget->statusLabel(1)->text(), QStringLiteral("0:30"));
    QCOMPARE(m_widget->statusLabel(2)->text(), QString());
    QCOMPARE(m_widget->statusLabel(3)->text(), QString());

    // The time ticks on: even second, blank separator.
    Clock::setFixed(at(21, 11, 5, 42));
    m_widget->updateShortcutTimers();
    QCOMPARE(m_widget->statusLabel(1)->text(), QStringLiteral("2 05"));

    // Stopped, but the view not yet rebuilt: the slot still points at it and shows nothing.
    running->setStop(at(21, 11, 5));
    m_widget->updateShortcutTimers();
    QCOMPARE(m_widget->statusLabel(1)->text(), QString());
}

void TestMainWidget::emptyDocument()
{
    QSignalSpy changed(m_widget.get(), &MainWidget::taskChanged);
    m_widget->update();
    m_widget->updateShortcutTimers();

    QCOMPARE(m_widget->table->model()->rowCount(), 0);
    for (int n = 1; n <= 3; ++n) {
        QCOMPARE(m_widget->button(n)->text(), QString());
        QVERIFY(!m_widget->button(n)->isEnabled());
        QVERIFY(!m_widget->button(n)->isChecked());
        QCOMPARE(m_widget->statusLabel(n)->text(), QString());
    }
    QCOMPARE(m_widget->selectedTask, nullptr);
    QCOMPARE(m_widget->shortcutTask1, nullptr);
    QCOMPARE(m_widget->shortcutTask2, nullptr);
    QCOMPARE(m_widget->shortcutTask3, nullptr);
    QVERIFY(!m_widget->table->currentIndex().isValid());
    QCOMPARE(changed.count(), 1);
}

void TestMainWidget::buttonsShowShortcutTasks()
{
    DocumentBuilder build(*m_doc);
    const auto [writing, reading, gardening]
        = build.activities({"Writing", "Reading", "Gardening"});
    QVTask *first = build.task(writing, at(20, 9, 0), at(20, 10, 0), 1);
    QVTask *second = build.task(reading, at(20, 11, 0), QDateTime(), 2);
    QVTask *third = build.task(gardening, at(21, 8, 0), at(21, 9, 0), 3);
    build.task(writing, at(21, 9, 0), at(21, 9, 20), 0);
    build.sortAll();
    m_widget->update();

    QCOMPARE(m_widget->table->model()->rowCount(), 4);
    QCOMPARE(m_widget->button(1)->text(), QStringLiteral("Writing"));
    QCOMPARE(m_widget->button(2)->text(), QStringLiteral("Reading"));
    QCOMPARE(m_widget->button(3)->text(), QStringLiteral("Gardening"));
    for (int n = 1; n <= 3; ++n)
        QVERIFY(m_widget->button(n)->isEnabled());
    QVERIFY(!m_widget->button(1)->isChecked());
    QVERIFY(m_widget->button(2)->isChecked());
    QVERIFY(!m_widget->button(3)->isChecked());
    QCOMPARE(m_widget->shortcutTask1, first);
    QCOMPARE(m_widget->shortcutTask2, second);
    QCOMPARE(m_widget->shortcutTask3, third);

    // The slot's task goes away: its button is blanked at the next rebuild.
    m_doc->removeTask(third);
    delete third;
    m_widget->update();
    QCOMPARE(m_widget->shortcutTask3, nullptr);
    QCOMPARE(m_widget->button(3)->text(), QString());
    QVERIFY(!m_widget->button(3)->isEnabled());
    QVERIFY(!m_widget->button(3)->isChecked());
    QCOMPARE(m_widget->button(2)->text(), QStringLiteral("Reading"));
}

void TestMainWidget::updateDoesNotToggleButtonSignals()
{
    DocumentBuilder build(*m_doc);
    const auto [writing] = build.activities({"Writing"});
    QVTask *task = build.task(writing, at(21, 9, 0), QDateTime(), 1);
    QSignalSpy toggled(m_widget->button(1), &QToolButton::toggled);
    m_widget->update();
    QVERIFY(m_widget->button(1)->isChecked());
    QCOMPARE(toggled.count(), 0);

    // Without a slot the button is set off, also without a signal.
    task->shortcut = 0;
    m_widget->update();
    QVERIFY(!m_widget->button(1)->isChecked());
    QVERIFY(!m_widget->button(1)->isEnabled());
    QCOMPARE(m_widget->button(1)->text(), QString());
    QCOMPARE(toggled.count(), 0);
    QCOMPARE(m_widget->shortcutTask1, nullptr);
}

void TestMainWidget::laterTaskInListWinsSameShortcut()
{
    DocumentBuilder build(*m_doc);
    const auto [writing, reading] = build.activities({"Writing", "Reading"});
    // Appended newest first, so the list order after sorting differs from this order.
    QVTask *later = build.task(reading, at(21, 8, 0), at(21, 9, 0), 1);
    build.task(writing, at(20, 8, 0), QDateTime(), 1);
    build.sortAll();
    m_widget->update();

    QCOMPARE(m_widget->shortcutTask1, later);
    QCOMPARE(m_widget->button(1)->text(), QStringLiteral("Reading"));
    QVERIFY(!m_widget->button(1)->isChecked());
    QCOMPARE(m_widget->shortcutTask2, nullptr);
    QCOMPARE(m_widget->button(2)->text(), QString());
}

void TestMainWidget::buttonOfTaskWithoutActivity()
{
    DocumentBuilder build(*m_doc);
    QVTask *orphan = build.task(nullptr, at(21, 9, 0), QDateTime(), 3);
    m_widget->update();
    QCOMPARE(m_widget->shortcutTask3, orphan);
    QCOMPARE(m_widget->button(3)->text(), QString());
    QVERIFY(m_widget->button(3)->isEnabled());
    QVERIFY(m_widget->button(3)->isChecked());
    QCOMPARE(m_widget->model()->data(m_widget->model()->index(0, 2)).toString(), QString());
}

void TestMainWidget::updateRowOfStoppedTaskUpdatesButton()
{
    DocumentBuilder build(*m_doc);
    const auto [writing, reading] = build.activities({"Writing", "Reading"});
    build.task(reading, at(20, 8, 0), at(20, 9, 0));
    QVTask *task = build.task(writing, at(21, 9, 0), QDateTime(), 1);
    build.task(reading, at(21, 9, 10), at(21, 9, 20));
    build.sortAll();
    m_widget->update();
    QVERIFY(m_widget->button(1)->isChecked());

    QSignalSpy dataChanged(m_widget->model(), &QAbstractItemModel::dataChanged);
    QSignalSpy reset(m_widget->model(), &QAbstractItemModel::modelReset);
    // On this path the buttons are not blocked: the main window hears the toggle.
    QSignalSpy toggled(m_widget->button(1), &QToolButton::toggled);
    task->setStop(at(21, 9, 30));
    m_widget->updateRow(task);

    QVERIFY(!m_widget->button(1)->isChecked());
    QVERIFY(m_widget->button(1)->isEnabled());
    QCOMPARE(m_widget->button(1)->text(), QStringLiteral("Writing"));
    QCOMPARE(toggled.count(), 1);
    QCOMPARE(reset.count(), 0);
    QCOMPARE(dataChanged.count(), 1);
    const QModelIndex topLeft = dataChanged.at(0).at(0).value<QModelIndex>();
    const QModelIndex bottomRight = dataChanged.at(0).at(1).value<QModelIndex>();
    QCOMPARE(topLeft.row(), 1);
    QCOMPARE(topLeft.column(), 0);
    QCOMPARE(bottomRight.row(), 1);
    QCOMPARE(bottomRight.column(), 2);
    QCOMPARE(m_widget->model()->data(m_widget->model()->index(1, 1)).toString(),
             QStringLiteral("11/21/26 9:30 AM"));
}

void TestMainWidget::updateRowOfRenamedActivity()
{
    DocumentBuilder build(*m_doc);
    const auto [writing, reading] = build.activities({"Writing", "Reading"});
    QVTask *task = build.task(writing, at(21, 9, 0), at(21, 9, 20), 2);
    m_widget->update();
    QCOMPARE(m_widget->button(2)->text(), QStringLiteral("Writing"));

    task->activity = reading;
    m_widget->updateRow(task);
    QCOMPARE(m_widget->button(2)->text(), QStringLiteral("Reading"));
    QCOMPARE(m_widget->model()->data(m_widget->model()->index(0, 2)).toString(),
             QStringLiteral("Reading"));
}

void TestMainWidget::updateRowOfTaskNotInListRebuilds()
{
    DocumentBuilder build(*m_doc);
    const auto [writing] = build.activities({"Writing"});
    build.task(writing, at(20, 9, 0), at(20, 10, 0));
    QVTask *gone = build.task(writing, at(21, 9, 0), QDateTime(), 1);
    m_widget->update();
    QCOMPARE(m_widget->table->model()->rowCount(), 2);
    QCOMPARE(m_widget->shortcutTask1, gone);

    QSignalSpy reset(m_widget->model(), &QAbstractItemModel::modelReset);
    QSignalSpy changed(m_widget.get(), &MainWidget::taskChanged);
    m_doc->tasks.removeRef(gone);
    m_widget->updateRow(gone);
    delete gone;

    QCOMPARE(reset.count(), 1);
    QCOMPARE(changed.count(), 1);
    QCOMPARE(m_widget->table->model()->rowCount(), 1);
    QCOMPARE(m_widget->shortcutTask1, nullptr);
    QCOMPARE(m_widget->button(1)->text(), QString());
    QVERIFY(!m_widget->button(1)->isEnabled());
}

void TestMainWidget::updateEmitsTaskChanged()
{
    DocumentBuilder build(*m_doc);
    const auto [writing] = build.activities({"Writing"});
    build.task(writing, at(21, 9, 0), at(21, 9, 20));
    QSignalSpy changed(m_widget.get(), &MainWidget::taskChanged);
    m_widget->update();
    QCOMPARE(changed.count(), 1);
    m_widget->update();
    QCOMPARE(changed.count(), 2);
}

void TestMainWidget::currentRowChangeSelectsTaskAndEmitsTaskChanged()
{
    DocumentBuilder build(*m_doc);
    const auto [writing] = build.activities({"Writing"});
    QVTask *first = build.task(writing, at(20, 9, 0), at(20, 10, 0));
    QVTask *second = build.task(writing, at(21, 9, 0), at(21, 9, 20));
    m_widget->update();
    QCOMPARE(m_widget->selectedTask, second);

    QSignalSpy changed(m_widget.get(), &MainWidget::taskChanged);
    m_widget->table->setCurrentIndex(m_widget->model()->index(0, 1));
    QCOMPARE(m_widget->selectedTask, first);
    QCOMPARE(changed.count(), 1);

    // Another cell of the same row is still a change of the current cell.
    m_widget->table->setCurrentIndex(m_widget->model()->index(0, 2));
    QCOMPARE(m_widget->selectedTask, first);
    QCOMPARE(changed.count(), 2);

    // The selection shows the whole current row.
    const QModelIndexList selected = m_widget->table->selectionModel()->selectedRows();
    QCOMPARE(selected.size(), 1);
    QCOMPARE(selected.at(0).row(), 0);
}

void TestMainWidget::noCurrentCellClearsSelectionSilently()
{
    DocumentBuilder build(*m_doc);
    const auto [writing] = build.activities({"Writing"});
    build.task(writing, at(21, 9, 0), at(21, 9, 20));
    m_widget->update();
    QVERIFY(m_widget->selectedTask);

    QSignalSpy changed(m_widget.get(), &MainWidget::taskChanged);
    QTest::ignoreMessage(QtDebugMsg, "row=-1 col=-1");
    m_widget->table->setCurrentIndex(QModelIndex());
    QCOMPARE(m_widget->selectedTask, nullptr);
    QCOMPARE(changed.count(), 0);

    QTest::ignoreMessage(QtDebugMsg, "row=0 col=-1");
    m_widget->tableCellChanged(0, -1);
    QCOMPARE(m_widget->selectedTask, nullptr);
    QCOMPARE(changed.count(), 0);
}

void TestMainWidget::selectedTaskFollowsItsRowOnUpdate()
{
    DocumentBuilder build(*m_doc);
    const auto [writing] = build.activities({"Writing"});
    QVTask *chosen = build.task(writing, at(20, 9, 0), at(20, 10, 0));
    build.task(writing, at(21, 9, 0), at(21, 9, 20));
    m_widget->update();
    m_widget->table->setCurrentIndex(m_widget->model()->index(0, 2));
    QCOMPARE(m_widget->selectedTask, chosen);

    // An earlier task pushes the chosen one down a row.
    build.task(writing, at(19, 9, 0), at(19, 10, 0));
    build.sortAll();
    m_widget->update();
    QCOMPARE(m_widget->selectedTask, chosen);
    QCOMPARE(m_widget->table->currentIndex().row(), 1);
    QCOMPARE(m_widget->table->currentIndex().column(), 2);

    // The main window's path after a one-row change: the column is taken from the table.
    m_widget->setSelectedTask(-1);
    QCOMPARE(m_widget->table->currentIndex().row(), 1);
    QCOMPARE(m_widget->table->currentIndex().column(), 2);
}

void TestMainWidget::deletingSelectedTaskSelectsLastRow()
{
    DocumentBuilder build(*m_doc);
    const auto [writing, reading] = build.activities({"Writing", "Reading"});
    QVTask *first = build.task(writing, at(20, 9, 0), at(20, 10, 0));
    build.task(reading, at(21, 8, 0), at(21, 9, 0));
    QVTask *last = build.task(writing, at(21, 9, 0), at(21, 9, 20));
    m_widget->update();
    m_widget->table->setCurrentIndex(m_widget->model()->index(0, 1));
    QCOMPARE(m_widget->selectedTask, first);

    m_doc->removeTask(first);
    delete first;
    QSignalSpy changed(m_widget.get(), &MainWidget::taskChanged);
    m_widget->update();

    QCOMPARE(m_widget->selectedTask, last);
    QCOMPARE(m_widget->table->currentIndex().row(), 1);
    QCOMPARE(m_widget->table->currentIndex().column(), 1);
    QCOMPARE(changed.count(), 1);

    // The last task goes too: the remaining one is selected; then none is left.
    m_doc->removeTask(last);
    delete last;
    m_widget->update();
    QCOMPARE(m_widget->selectedTask, m_doc->tasks.at(0));
    QCOMPARE(m_widget->table->currentIndex().row(), 0);

    QVTask *remaining = m_doc->tasks.at(0);
    m_doc->removeTask(remaining);
    delete remaining;
    m_widget->update();
    QCOMPARE(m_widget->selectedTask, nullptr);
    QVERIFY(!m_widget->table->currentIndex().isValid());
}

void TestMainWidget::lastRowIsScrolledIntoView()
{
    DocumentBuilder build(*m_doc);
    const auto [writing] = build.activities({"Writing"});
    for (int i = 0; i < 300; ++i)
        build.task(writing, at(1, 8, 0).addSecs(3600LL * i), at(1, 8, 30).addSecs(3600LL * i));
    showWidget();
    m_widget->update();

    QVTable *table = m_widget->table;
    const QRect lastRow = table->visualRect(m_widget->model()->index(299, 0));
    QVERIFY(table->viewport()->rect().contains(lastRow.center()));
    QVERIFY(!table->viewport()->rect().contains(
        table->visualRect(m_widget->model()->index(0, 0)).center()));
}

void TestMainWidget::updateSetsColumnWidths()
{
    DocumentBuilder build(*m_doc);
    const auto [writing] = build.activities({"Writing"});
    build.task(writing, at(21, 9, 0), at(21, 9, 20));
    m_widget->update();
    const int timeWidth = m_widget->table->columnWidth(0);
    // At least 100 pixels, and room for a whole date and time.
    QVERIFY(timeWidth >= 100);
    QVERIFY(timeWidth > m_widget->table->fontMetrics().horizontalAdvance(
                QStringLiteral("12/28/88 12:00 PM")));
    QCOMPARE(m_widget->table->columnWidth(1), timeWidth);
    m_widget->table->setColumnWidth(0, timeWidth + 50);
    m_widget->table->setColumnWidth(1, 40);
    m_widget->update();
    QCOMPARE(m_widget->table->columnWidth(0), timeWidth);
    QCOMPARE(m_widget->table->columnWidth(1), timeWidth);
}

void TestMainWidget::clickOnHeaderOrEmptyAreaDoesNotEmitOk()
{
    DocumentBuilder build(*m_doc);
    const auto [writing] = build.activities({"Writing"});
    build.task(writing, at(20, 9, 0), at(20, 10, 0));
    build.task(writing, at(21, 9, 0), at(21, 9, 20));
    showWidget();
    m_widget->update();
    QVTable *table = m_widget->table;
    QSignalSpy ok(table, &QVTable::ok);

    QHeaderView *header = table->horizontalHeader();
    for (int column = 0; column < 3; ++column) {
        const QPoint onSection(header->sectionViewportPosition(column) + 10, header->height() / 2);
        QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, onSection);
    }
    QCOMPARE(ok.count(), 0);

    const QPoint belowRows(10, table->viewport()->height() - 5);
    QVERIFY(!table->indexAt(belowRows).isValid());
    QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, belowRows);
    QCOMPARE(ok.count(), 0);
}

void TestMainWidget::clickOnCellEmitsOk()
{
    DocumentBuilder build(*m_doc);
    const auto [writing] = build.activities({"Writing"});
    QVTask *first = build.task(writing, at(20, 9, 0), at(20, 10, 0));
    build.task(writing, at(21, 9, 0), at(21, 9, 20));
    showWidget();
    m_widget->update();
    QVTable *table = m_widget->table;
    QSignalSpy ok(table, &QVTable::ok);

    const QPoint onCell = table->visualRect(m_widget->model()->index(0, 2)).center();
    QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, onCell);
    QCOMPARE(ok.count(), 1);
    // The tap made the row current first, so ok() acts on the tapped task.
    QCOMPARE(m_widget->selectedTask, first);
    QCOMPARE(table->currentIndex().row(), 0);
}

void TestMainWidget::spaceKeyEmitsOkOtherKeysGoToTable()
{
    DocumentBuilder build(*m_doc);
    const auto [writing] = build.activities({"Writing"});
    QVTask *first = build.task(writing, at(20, 9, 0), at(20, 10, 0));
    build.task(writing, at(21, 9, 0), at(21, 9, 20));
    showWidget();
    m_widget->update();
    QVTable *table = m_widget->table;
    table->setFocus();
    QSignalSpy ok(table, &QVTable::ok);

    QTest::keyClick(table, Qt::Key_Space);
    QCOMPARE(ok.count(), 1);

    QTest::keyClick(table, Qt::Key_A);
    QTest::keyClick(table, Qt::Key_Return);
    QCOMPARE(ok.count(), 1);

    // The arrow keys still move through the rows.
    QCOMPARE(table->currentIndex().row(), 1);
    QTest::keyClick(table, Qt::Key_Up);
    QCOMPARE(table->currentIndex().row(), 0);
    QCOMPARE(m_widget->selectedTask, first);
    QCOMPARE(ok.count(), 1);
}

void TestMainWidget::paintingSwitch()
{
    QVTable *table = m_widget->table;
    table->setPaintingEnabled(false);
    QVERIFY(!table->paintingEnabled());
    QVERIFY(!table->updatesEnabled());
    QVERIFY(!table->viewport()->updatesEnabled());

    table->setPaintingEnabled(true);
    QVERIFY(table->paintingEnabled());
    QVERIFY(table->updatesEnabled());
    QVERIFY(table->viewport()->updatesEnabled());

    // A rebuild leaves painting on.
    m_widget->update();
    QVERIFY(table->paintingEnabled());
    QVERIFY(table->updatesEnabled());
    QVERIFY(table->viewport()->updatesEnabled());
}

void TestMainWidget::modelTexts()
{
    DocumentBuilder build(*m_doc);
    const auto [writing, reading] = build.activities({"Writing", "Reading"});
    build.task(writing, at(20, 9, 0), at(20, 10, 15));
    build.task(reading, at(21, 14, 5), QDateTime());
    build.task(nullptr, at(21, 16, 0), at(21, 16, 45));
    m_widget->update();

    const TaskTableModel *model = m_widget->model();
    QCOMPARE(model->rowCount(), 3);
    QCOMPARE(model->columnCount(), 3);
    const auto text = [model](int row, int column) {
        return model->data(model->index(row, column)).toString();
    };
    QCOMPARE(text(0, 0), QStringLiteral("11/20/26 9:00 AM"));
    QCOMPARE(text(0, 1), QStringLiteral("11/20/26 10:15 AM"));
    QCOMPARE(text(0, 2), QStringLiteral("Writing"));
    QCOMPARE(text(1, 0), QStringLiteral("11/21/26 2:05 PM"));
    QCOMPARE(text(1, 1), QString());
    QCOMPARE(text(1, 2), QStringLiteral("Reading"));
    QCOMPARE(text(2, 0), QStringLiteral("11/21/26 4:00 PM"));
    QCOMPARE(text(2, 1), QStringLiteral("11/21/26 4:45 PM"));
    QCOMPARE(text(2, 2), QString());
    for (int row = 0; row < 3; ++row) {
        const QVTask *task = m_doc->tasks.at(row);
        QCOMPARE(model->taskAt(row), task);
        QCOMPARE(text(row, 0), task->startText);
        QCOMPARE(text(row, 1), task->stopText);
    }
    QCOMPARE(model->taskAt(3), nullptr);
    QCOMPARE(model->taskAt(-1), nullptr);
    QVERIFY(!model->data(model->index(0, 0), Qt::DecorationRole).isValid());
    QVERIFY(!model->data(QModelIndex()).isValid());
}

void TestMainWidget::modelFlagsAndHeaders()
{
    DocumentBuilder build(*m_doc);
    const auto [writing] = build.activities({"Writing"});
    build.task(writing, at(20, 9, 0), at(20, 10, 15));
    m_widget->update();

    const TaskTableModel *model = m_widget->model();
    QCOMPARE(model->headerData(0, Qt::Horizontal).toString(), QStringLiteral("Start"));
    QCOMPARE(model->headerData(1, Qt::Horizontal).toString(), QStringLiteral("Stop"));
    QCOMPARE(model->headerData(2, Qt::Horizontal).toString(), QStringLiteral("Activity"));
    QVERIFY(!model->headerData(3, Qt::Horizontal).isValid());
    for (int column = 0; column < 3; ++column) {
        const Qt::ItemFlags flags = model->flags(model->index(0, column));
        QVERIFY(flags & Qt::ItemIsEnabled);
        QVERIFY(flags & Qt::ItemIsSelectable);
        QVERIFY(!(flags & Qt::ItemIsEditable));
    }
}

void TestMainWidget::modelPassesTester()
{
    DocumentBuilder build(*m_doc);
    const auto [writing, reading] = build.activities({"Writing", "Reading"});
    QVTask *task = build.task(writing, at(20, 9, 0), at(20, 10, 15), 1);
    build.task(reading, at(21, 8, 0), QDateTime(), 2);
    QAbstractItemModelTester tester(m_widget->model(),
                                    QAbstractItemModelTester::FailureReportingMode::QtTest);
    m_widget->update();
    QVERIFY(!QTest::currentTestFailed());

    task->setStop(at(20, 11, 0));
    m_widget->updateRow(task);
    QVERIFY(!QTest::currentTestFailed());

    build.task(reading, at(19, 8, 0), at(19, 9, 0));
    build.sortAll();
    m_widget->update();
    QCOMPARE(m_widget->model()->rowCount(), 3);

    m_doc->clear();
    m_widget->update();
    QCOMPARE(m_widget->model()->rowCount(), 0);
}

QUORVEL_TEST_MAIN(TestMainWidget)
#include "tst_mainwidget.moc"
