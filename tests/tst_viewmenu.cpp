// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers
// The window's View menu: the Duration column (its texts for finished, running and day-long
// tasks, the running time counting on, the setting kept between starts) and Find…, the bar
// that shows only some tasks: by text, letter case and accents ignored, and by period; the
// commands on a row act on the task shown in it, and Escape shows every task again.

#include "DocumentBuilder.h"
#include "ModalAnswers.h"
#include "TestEnvironment.h"

#include "app/QuorvelMainWindow.h"
#include "dialogs/TaskEdit.h"
#include "platform/Clock.h"
#include "platform/Config.h"
#include "views/FilterBar.h"
#include "views/MainWidget.h"
#include "views/QVTable.h"
#include "views/TaskFilterProxy.h"
#include "views/TaskTableModel.h"

#include <QAbstractItemModelTester>
#include <QAction>
#include <QComboBox>
#include <QDateEdit>
#include <QHeaderView>
#include <QLineEdit>
#include <QMenuBar>
#include <QToolButton>
#include <QtTest>

namespace {

QDateTime inOctober(int day, int hour, int minute)
{
    return QDateTime(QDate(2026, 10, day), QTime(hour, minute));
}

// The document of every case (the clock stands at 2026-11-21 09:30, a Saturday):
//   Coding          10-20 10:00-10:45
//   Coding          11-01 08:00-09:00
//   Gardening       11-14 18:00-19:30
//   Reading         11-18 20:00 to 11-19 21:15
//   Résumé writing  11-20 09:00-10:00
//   Coding          11-21 08:15, running
// Coding and Résumé writing are in "Work", Gardening in "Home", Reading in "Éducation".
void writeFixture()
{
    Configuration().setMode(Configuration::Personal);
    Configuration().setAllowConcurrentTasks(false);
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    ActivityCategory *home = build.category(QStringLiteral("Home"));
    ActivityCategory *education = build.category(QStringLiteral("Éducation"));
    Activity *coding = build.activity(QStringLiteral("Coding"), work);
    Activity *resume = build.activity(QStringLiteral("Résumé writing"), work);
    Activity *gardening = build.activity(QStringLiteral("Gardening"), home);
    Activity *reading = build.activity(QStringLiteral("Reading"), education);
    build.task(coding, inOctober(20, 10, 0), inOctober(20, 10, 45));
    build.task(coding, at(1, 8, 0), at(1, 9, 0));
    build.task(gardening, at(14, 18, 0), at(14, 19, 30), 2);
    build.task(reading, at(18, 20, 0), at(19, 21, 15));
    build.task(resume, at(20, 9, 0), at(20, 10, 0), 3);
    build.task(coding, at(21, 8, 15), QDateTime(), 1);
    build.sortAll();
    QVERIFY(doc.save());
}

QAction *viewAction(const QuorvelMainWindow &window, const char *name)
{
    return window.findChild<QAction *>(QString::fromLatin1(name));
}

// The texts of one column of the table as shown, top to bottom.
QStringList column(const QuorvelMainWindow &window, int column)
{
    const QAbstractItemModel *model = window.mainWidget()->table->model();
    QStringList texts;
    for (int row = 0; row < model->rowCount(); ++row)
        texts << model->index(row, column).data().toString();
    return texts;
}

QStringList activities(const QuorvelMainWindow &window)
{
    return column(window, TaskTableModel::ActivityColumn);
}

QVTask *findTask(const QuorvelDocument &doc, const QString &activity, const QDateTime &start)
{
    for (QVTask *t : std::as_const(doc.tasks)) {
        if (t->activityName() == activity && t->start() == start)
            return t;
    }
    return nullptr;
}

void openFind(QuorvelMainWindow &window)
{
    viewAction(window, "find")->trigger();
    QVERIFY(window.mainWidget()->filtering());
    QVERIFY(!window.mainWidget()->filterBar()->isHidden());
}

void typeFilter(QuorvelMainWindow &window, const QString &text)
{
    QLineEdit *field = window.mainWidget()->filterBar()->textField();
    field->clear();
    QTest::keyClicks(field, text);
    QCOMPARE(field->text(), text);
}

void choosePeriod(QuorvelMainWindow &window, FilterBar::Period period)
{
    window.mainWidget()->filterBar()->periodBox()->setCurrentIndex(period);
}

} // namespace

class TestViewMenu : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void viewMenuEntries();
    void durationColumnOffAtFirst();
    void durationColumnTexts();
    void runningDurationCountsOn();
    void durationColumnKeptBetweenStarts();
    void durationOfDamagedTasks();

    void findByText_data();
    void findByText();
    void findByPeriod_data();
    void findByPeriod();
    void periodMovesOnAtMidnight();
    void periodBoxChoices();
    void editActsOnTheFilteredRow();
    void clickEditsTheFilteredRow();
    void deleteActsOnTheFilteredRow();
    void nothingFoundDisablesTheRowCommands();
    void escapeShowsEveryTask();
    void closeButtonShowsEveryTask();
    void escapeMeansNothingWithoutTheBar();
    void changesShowWhileFiltering();
    void foldingIgnoresCaseAndAccents();
    void proxyModelIsConsistent();
};

void TestViewMenu::init()
{
    TestEnvironment::wipe();
    MessageBox::clearShown();
    Clock::setFixed(at(21, 9, 30));
    writeFixture();
}

void TestViewMenu::viewMenuEntries()
{
    QuorvelMainWindow window;
    const QList<QAction *> menus = window.menuBar()->actions();
    QCOMPARE(menus.at(2)->text(), QStringLiteral("View"));
    QStringList entries;
    for (const QAction *a : menus.at(2)->menu()->actions())
        entries << (a->isSeparator() ? QStringLiteral("-") : a->text());
    QCOMPARE(entries, (QStringList{QStringLiteral("Duration Column"), QStringLiteral("-"),
                                   QStringLiteral("Find…")}));
    QCOMPARE(viewAction(window, "find")->shortcut().toString(), QStringLiteral("Ctrl+F"));
    QVERIFY(viewAction(window, "durationColumn")->isCheckable());
    // Alt+V opens it.
    const auto *open = window.findChild<QAction *>(QStringLiteral("open menu viewMenu"));
    QVERIFY(open);
    QCOMPARE(open->shortcut(), QKeySequence(Qt::ALT | Qt::Key_V));
}

void TestViewMenu::durationColumnOffAtFirst()
{
    QuorvelMainWindow window;
    QVERIFY(!viewAction(window, "durationColumn")->isChecked());
    QCOMPARE(window.mainWidget()->table->model()->columnCount(), 3);
    QCOMPARE(window.mainWidget()->model()->headerData(3, Qt::Horizontal).toString(), QString());
}

void TestViewMenu::durationColumnTexts()
{
    QuorvelMainWindow window;
    viewAction(window, "durationColumn")->trigger();
    const QAbstractItemModel *model = window.mainWidget()->table->model();
    QCOMPARE(model->columnCount(), 4);
    QCOMPARE(model->headerData(3, Qt::Horizontal).toString(), QStringLiteral("Duration"));
    // Finished tasks, the task over a day long (25 hours and a quarter) and the running task
    // (since 8:15, at 9:30).
    QCOMPARE(
        column(window, TaskTableModel::DurationColumn),
        (QStringList{QStringLiteral("0:45"), QStringLiteral("1:00"), QStringLiteral("1:30"),
                     QStringLiteral("25:15"), QStringLiteral("1:00"), QStringLiteral("1:15")}));
    QCOMPARE(model->index(0, 3).data(Qt::TextAlignmentRole).toInt(),
             int(Qt::AlignRight | Qt::AlignVCenter));
    // The three columns of before keep their texts.
    QCOMPARE(activities(window),
             (QStringList{QStringLiteral("Coding"), QStringLiteral("Coding"),
                          QStringLiteral("Gardening"), QStringLiteral("Reading"),
                          QStringLiteral("Résumé writing"), QStringLiteral("Coding")}));
    // The activity column takes the room the duration leaves.
    QCOMPARE(window.mainWidget()->table->horizontalHeader()->sectionResizeMode(
                 TaskTableModel::ActivityColumn),
             QHeaderView::Stretch);

    viewAction(window, "durationColumn")->trigger();
    QCOMPARE(model->columnCount(), 3);
    QVERIFY(window.mainWidget()->table->horizontalHeader()->stretchLastSection());
}

void TestViewMenu::runningDurationCountsOn()
{
    QuorvelMainWindow window;
    viewAction(window, "durationColumn")->trigger();
    const QAbstractItemModel *model = window.mainWidget()->table->model();
    QSignalSpy changed(model, &QAbstractItemModel::dataChanged);
    // Within the minute nothing changes.
    Clock::setFixed(at(21, 9, 30, 59));
    window.mainWidget()->updateShortcutTimers();
    QCOMPARE(changed.count(), 0);
    QCOMPARE(model->index(5, 3).data().toString(), QStringLiteral("1:15"));
    // The next minute changes the running task's cell alone; the window's one-second timer
    // brings it.
    Clock::setFixed(at(21, 9, 31, 0));
    QTRY_COMPARE(model->index(5, 3).data().toString(), QStringLiteral("1:16"));
    QCOMPARE(changed.count(), 1);
    QCOMPARE(changed.at(0).at(0).value<QModelIndex>(), model->index(5, 3));
    QCOMPARE(changed.at(0).at(1).value<QModelIndex>(), model->index(5, 3));
    QCOMPARE(model->index(4, 3).data().toString(), QStringLiteral("1:00"));
    // A day and more later.
    Clock::setFixed(at(22, 10, 20, 0));
    window.mainWidget()->updateShortcutTimers();
    QCOMPARE(model->index(5, 3).data().toString(), QStringLiteral("26:05"));
}

void TestViewMenu::durationColumnKeptBetweenStarts()
{
    {
        QuorvelMainWindow window;
        viewAction(window, "durationColumn")->trigger();
    }
    {
        QuorvelMainWindow window;
        QVERIFY(viewAction(window, "durationColumn")->isChecked());
        QCOMPARE(window.mainWidget()->table->model()->columnCount(), 4);
        QCOMPARE(window.mainWidget()->table->model()->index(1, 3).data().toString(),
                 QStringLiteral("1:00"));
        viewAction(window, "durationColumn")->trigger();
    }
    QuorvelMainWindow window;
    QVERIFY(!viewAction(window, "durationColumn")->isChecked());
    QCOMPARE(window.mainWidget()->table->model()->columnCount(), 3);
    // Kept in the desktop group of the settings.
    Config store(QStringLiteral("quorvelqpe"));
    store.setGroup(QStringLiteral("Desktop"));
    QCOMPARE(store.readEntry(QStringLiteral("DurationColumn")), QStringLiteral("0"));
}

void TestViewMenu::durationOfDamagedTasks()
{
    QVTask backwards;
    backwards.setStart(at(20, 10, 0));
    backwards.setStop(at(20, 9, 0));
    QCOMPARE(TaskTableModel::durationText(backwards, at(21, 9, 30)), QString());
    QVTask future;
    future.setStart(at(22, 10, 0));
    QCOMPARE(TaskTableModel::durationText(future, at(21, 9, 30)), QString());
    QVTask noStart;
    noStart.setStop(at(20, 9, 0));
    QCOMPARE(TaskTableModel::durationText(noStart, at(21, 9, 30)), QString());
    QVTask seconds;
    seconds.setStart(at(20, 9, 0, 0));
    seconds.setStop(at(20, 9, 1, 59));
    QCOMPARE(TaskTableModel::durationText(seconds, at(21, 9, 30)), QStringLiteral("0:01"));
}

void TestViewMenu::findByText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("shown");
    QTest::newRow("nothing") << QString()
                             << QStringList{
                                    QStringLiteral("Coding"),         QStringLiteral("Coding"),
                                    QStringLiteral("Gardening"),      QStringLiteral("Reading"),
                                    QStringLiteral("Résumé writing"), QStringLiteral("Coding")};
    QTest::newRow("without accents")
        << QStringLiteral("resume") << QStringList{QStringLiteral("Résumé writing")};
    QTest::newRow("upper case") << QStringLiteral("GARDEN")
                                << QStringList{QStringLiteral("Gardening")};
    QTest::newRow("category") << QStringLiteral("work")
                              << QStringList{QStringLiteral("Coding"), QStringLiteral("Coding"),
                                             QStringLiteral("Résumé writing"),
                                             QStringLiteral("Coding")};
    QTest::newRow("category with accents")
        << QStringLiteral("educ") << QStringList{QStringLiteral("Reading")};
    QTest::newRow("accents typed")
        << QStringLiteral("ÉDUCATION") << QStringList{QStringLiteral("Reading")};
    QTest::newRow("inside a name")
        << QStringLiteral("din")
        << QStringList{QStringLiteral("Coding"), QStringLiteral("Coding"),
                       QStringLiteral("Reading"), QStringLiteral("Coding")};
    QTest::newRow("none") << QStringLiteral("sailing") << QStringList{};
}

void TestViewMenu::findByText()
{
    QFETCH(QString, text);
    QFETCH(QStringList, shown);
    QuorvelMainWindow window;
    const int before = int(window.document()->tasks.size());
    const QByteArray bytes = window.document()->getDocumentBytes();
    openFind(window);
    typeFilter(window, text);
    QCOMPARE(activities(window), shown);
    // Only the view changed.
    QCOMPARE(int(window.document()->tasks.size()), before);
    QCOMPARE(window.document()->getDocumentBytes(), bytes);
}

void TestViewMenu::findByPeriod_data()
{
    QTest::addColumn<int>("period");
    QTest::addColumn<QDate>("from");
    QTest::addColumn<QDate>("to");
    QTest::addColumn<QStringList>("starts");
    const auto start = [](const QDateTime &when) {
        return when.toString(Qt::ISODate);
    };
    QTest::newRow("all") << int(FilterBar::All) << QDate() << QDate()
                         << QStringList{start(inOctober(20, 10, 0)), start(at(1, 8, 0)),
                                        start(at(14, 18, 0)),        start(at(18, 20, 0)),
                                        start(at(20, 9, 0)),         start(at(21, 8, 15))};
    QTest::newRow("today") << int(FilterBar::Today) << QDate() << QDate()
                           << QStringList{start(at(21, 8, 15))};
    // The week of en_US begins on Sunday, 11-15.
    QTest::newRow("this week") << int(FilterBar::ThisWeek) << QDate() << QDate()
                               << QStringList{start(at(18, 20, 0)), start(at(20, 9, 0)),
                                              start(at(21, 8, 15))};
    QTest::newRow("this month") << int(FilterBar::ThisMonth) << QDate() << QDate()
                                << QStringList{start(at(1, 8, 0)), start(at(14, 18, 0)),
                                               start(at(18, 20, 0)), start(at(20, 9, 0)),
                                               start(at(21, 8, 15))};
    QTest::newRow("october") << int(FilterBar::Range) << QDate(2026, 10, 1) << QDate(2026, 10, 31)
                             << QStringList{start(inOctober(20, 10, 0))};
    // A task reaching into the range counts, and a range typed backwards is the same range.
    QTest::newRow("the day a task ends")
        << int(FilterBar::Range) << QDate(2026, 11, 19) << QDate(2026, 11, 19)
        << QStringList{start(at(18, 20, 0))};
    QTest::newRow("backwards") << int(FilterBar::Range) << QDate(2026, 11, 14) << QDate(2026, 11, 1)
                               << QStringList{start(at(1, 8, 0)), start(at(14, 18, 0))};
    QTest::newRow("running task in a later range")
        << int(FilterBar::Range) << QDate(2026, 12, 1) << QDate(2026, 12, 2) << QStringList{};
}

void TestViewMenu::findByPeriod()
{
    QFETCH(int, period);
    QFETCH(QDate, from);
    QFETCH(QDate, to);
    QFETCH(QStringList, starts);
    QuorvelMainWindow window;
    openFind(window);
    FilterBar *bar = window.mainWidget()->filterBar();
    if (from.isValid()) {
        bar->fromEdit()->setDate(from);
        bar->toEdit()->setDate(to);
    }
    choosePeriod(window, FilterBar::Period(period));
    QCOMPARE(bar->fromEdit()->isHidden(), period != FilterBar::Range);
    QCOMPARE(bar->toEdit()->isHidden(), period != FilterBar::Range);
    QStringList shown;
    const QAbstractItemModel *model = window.mainWidget()->table->model();
    for (int row = 0; row < model->rowCount(); ++row)
        shown << window.mainWidget()->taskAtViewRow(row)->start().toString(Qt::ISODate);
    QCOMPARE(shown, starts);

    // Text and period together.
    typeFilter(window, QStringLiteral("coding"));
    shown.clear();
    for (int row = 0; row < model->rowCount(); ++row) {
        QCOMPARE(window.mainWidget()->taskAtViewRow(row)->activityName(), QStringLiteral("Coding"));
        shown << window.mainWidget()->taskAtViewRow(row)->start().toString(Qt::ISODate);
    }
    QStringList codingStarts;
    for (const QString &s : std::as_const(starts)) {
        for (const QVTask *task : std::as_const(window.document()->tasks)) {
            if (task->start().toString(Qt::ISODate) == s
                && task->activityName() == QLatin1String("Coding"))
                codingStarts << s;
        }
    }
    QCOMPARE(shown, codingStarts);
}

void TestViewMenu::periodMovesOnAtMidnight()
{
    QuorvelMainWindow window;
    openFind(window);
    choosePeriod(window, FilterBar::ThisWeek);
    const auto shownStarts = [&window] {
        QStringList shown;
        const QAbstractItemModel *model = window.mainWidget()->table->model();
        for (int row = 0; row < model->rowCount(); ++row)
            shown << window.mainWidget()->taskAtViewRow(row)->start().toString(Qt::ISODate);
        return shown;
    };
    QCOMPARE(shownStarts(),
             (QStringList{at(18, 20, 0).toString(Qt::ISODate), at(20, 9, 0).toString(Qt::ISODate),
                          at(21, 8, 15).toString(Qt::ISODate)}));
    // Sunday the 22nd begins a new en_US week, in which only the running task has time; the
    // window's one-second timer brings the change without the bar being touched.
    Clock::setFixed(at(22, 0, 0, 1));
    QTRY_COMPARE(shownStarts(), QStringList{at(21, 8, 15).toString(Qt::ISODate)});
    QCOMPARE(window.mainWidget()->filterBar()->periodBox()->currentIndex(),
             int(FilterBar::ThisWeek));
}

void TestViewMenu::periodBoxChoices()
{
    QuorvelMainWindow window;
    const QComboBox *box = window.mainWidget()->filterBar()->periodBox();
    QStringList items;
    for (int i = 0; i < box->count(); ++i)
        items << box->itemText(i);
    QCOMPARE(items, (QStringList{QStringLiteral("All"), QStringLiteral("Today"),
                                 QStringLiteral("This Week"), QStringLiteral("This Month"),
                                 QStringLiteral("Chosen Days")}));
    QCOMPARE(window.mainWidget()->filterBar()->textField()->placeholderText(),
             QStringLiteral("Activity or category"));
}

void TestViewMenu::editActsOnTheFilteredRow()
{
    QuorvelMainWindow window;
    QuorvelDocument &doc = *window.document();
    QVTask *gardening = findTask(doc, QStringLiteral("Gardening"), at(14, 18, 0));
    QVTask *reading = findTask(doc, QStringLiteral("Reading"), at(18, 20, 0));
    openFind(window);
    typeFilter(window, QStringLiteral("garden"));
    QCOMPARE(window.mainWidget()->table->model()->rowCount(), 1);
    // The one row shown is selected, and the commands act on its task.
    QCOMPARE(window.mainWidget()->selectedTask, gardening);
    QAction *edit = actionNamed(window, QStringLiteral("Edit Task"));
    QVERIFY(edit->isEnabled());

    ModalAnswers answers;
    answers.add([&](QWidget *widget) {
        auto *editor = qobject_cast<TaskEdit *>(widget);
        QVERIFY(editor);
        QCOMPARE(editor->getStartDateTime(), at(14, 18, 0));
        editor->radStopSpecified->setChecked(true);
        editor->setStopDateTime(at(14, 20, 0));
        editor->accept();
    });
    edit->trigger();
    QCOMPARE(answers.remaining(), 0);
    QCOMPARE(gardening->stop(), at(14, 20, 0));
    QCOMPARE(reading->stop(), at(19, 21, 15));
    // Still filtered, the edited task still shown and selected.
    QVERIFY(window.mainWidget()->filtering());
    QCOMPARE(activities(window), QStringList{QStringLiteral("Gardening")});
    QCOMPARE(window.mainWidget()->selectedTask, gardening);
}

void TestViewMenu::clickEditsTheFilteredRow()
{
    QuorvelMainWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    openFind(window);
    typeFilter(window, QStringLiteral("coding"));
    QCOMPARE(activities(window), (QStringList{QStringLiteral("Coding"), QStringLiteral("Coding"),
                                              QStringLiteral("Coding")}));
    QVTable *table = window.mainWidget()->table;
    ModalAnswers answers;
    QDateTime edited;
    answers.add([&](QWidget *widget) {
        auto *editor = qobject_cast<TaskEdit *>(widget);
        QVERIFY(editor);
        edited = editor->getStartDateTime();
        editor->reject();
    });
    // The second row shown is the document's second task, not its second row's (11-01 not
    // the Gardening of the whole list).
    const QRect cell = table->visualRect(table->model()->index(1, TaskTableModel::ActivityColumn));
    QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, cell.center());
    QCOMPARE(answers.remaining(), 0);
    QCOMPARE(edited, at(1, 8, 0));
    QCOMPARE(window.mainWidget()->selectedTask,
             findTask(*window.document(), QStringLiteral("Coding"), at(1, 8, 0)));
}

void TestViewMenu::deleteActsOnTheFilteredRow()
{
    QuorvelMainWindow window;
    QuorvelDocument &doc = *window.document();
    QVTask *first = findTask(doc, QStringLiteral("Coding"), at(1, 8, 0));
    QVTask *running = findTask(doc, QStringLiteral("Coding"), at(21, 8, 15));
    openFind(window);
    typeFilter(window, QStringLiteral("coding"));
    QVTable *table = window.mainWidget()->table;
    table->setCurrentIndex(table->model()->index(1, TaskTableModel::ActivityColumn));
    QCOMPARE(window.mainWidget()->selectedTask, first);

    MessageBox::setNextAnswer(QMessageBox::Yes);
    actionNamed(window, QStringLiteral("Delete Task"))->trigger();
    QCOMPARE(shownTitles(), QStringList{QStringLiteral("Delete Task")});
    QCOMPARE(MessageBox::shown().at(0).text,
             QStringLiteral("Are you sure you want to delete\nCoding?"));
    QCOMPARE(doc.tasks.size(), 5);
    QVERIFY(!findTask(doc, QStringLiteral("Coding"), at(1, 8, 0)));
    QVERIFY(findTask(doc, QStringLiteral("Gardening"), at(14, 18, 0)));
    // The next task shown is selected: the running Coding, not the Gardening after it in the
    // whole list.
    QCOMPARE(activities(window), (QStringList{QStringLiteral("Coding"), QStringLiteral("Coding")}));
    QCOMPARE(window.mainWidget()->selectedTask, running);
    QCOMPARE(table->currentIndex().row(), 1);
}

void TestViewMenu::nothingFoundDisablesTheRowCommands()
{
    QuorvelMainWindow window;
    openFind(window);
    typeFilter(window, QStringLiteral("sailing"));
    QCOMPARE(window.mainWidget()->table->model()->rowCount(), 0);
    QCOMPARE(window.mainWidget()->selectedTask, nullptr);
    QVERIFY(!actionNamed(window, QStringLiteral("Edit Task"))->isEnabled());
    QVERIFY(!actionNamed(window, QStringLiteral("Delete Task"))->isEnabled());
    typeFilter(window, QStringLiteral("read"));
    QCOMPARE(window.mainWidget()->selectedTask->activityName(), QStringLiteral("Reading"));
    QVERIFY(actionNamed(window, QStringLiteral("Edit Task"))->isEnabled());
}

void TestViewMenu::escapeShowsEveryTask()
{
    QuorvelMainWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    window.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    QVTask *reading = findTask(*window.document(), QStringLiteral("Reading"), at(18, 20, 0));
    QTest::keyClick(&window, Qt::Key_F, Qt::ControlModifier);
    QVERIFY(window.mainWidget()->filtering());
    QLineEdit *field = window.mainWidget()->filterBar()->textField();
    QVERIFY(field->hasFocus());
    QTest::keyClicks(field, QStringLiteral("educ"));
    QCOMPARE(activities(window), QStringList{QStringLiteral("Reading")});
    QCOMPARE(window.mainWidget()->selectedTask, reading);

    QTest::keyClick(field, Qt::Key_Escape);
    QVERIFY(!window.mainWidget()->filtering());
    QVERIFY(window.mainWidget()->filterBar()->isHidden());
    QCOMPARE(window.mainWidget()->table->model(), window.mainWidget()->model());
    QCOMPARE(window.mainWidget()->table->model()->rowCount(), 6);
    // The task found stays selected in the whole list, and the table has the keyboard.
    QCOMPARE(window.mainWidget()->selectedTask, reading);
    QCOMPARE(window.mainWidget()->table->currentIndex().row(), 3);
    QVERIFY(window.mainWidget()->table->hasFocus());
    // Opened again, the bar starts afresh.
    QTest::keyClick(&window, Qt::Key_F, Qt::ControlModifier);
    QCOMPARE(field->text(), QString());
    QCOMPARE(window.mainWidget()->filterBar()->period(), FilterBar::All);
    QCOMPARE(window.mainWidget()->table->model()->rowCount(), 6);
    // Escape from the table closes it too.
    window.mainWidget()->table->setFocus();
    QTest::keyClick(window.mainWidget()->table, Qt::Key_Escape);
    QVERIFY(!window.mainWidget()->filtering());
}

void TestViewMenu::closeButtonShowsEveryTask()
{
    QuorvelMainWindow window;
    openFind(window);
    choosePeriod(window, FilterBar::Today);
    QCOMPARE(window.mainWidget()->table->model()->rowCount(), 1);
    auto *close
        = window.mainWidget()->filterBar()->findChild<QToolButton *>(QStringLiteral("filterClose"));
    QVERIFY(close);
    close->click();
    QVERIFY(!window.mainWidget()->filtering());
    QCOMPARE(window.mainWidget()->table->model()->rowCount(), 6);
    QVERIFY(!viewAction(window, "closeFind")->isEnabled());
}

void TestViewMenu::escapeMeansNothingWithoutTheBar()
{
    QuorvelMainWindow window;
    QAction *closeFind = viewAction(window, "closeFind");
    QVERIFY(closeFind);
    QCOMPARE(closeFind->shortcut(), QKeySequence(Qt::Key_Escape));
    QVERIFY(!closeFind->isEnabled());
    openFind(window);
    QVERIFY(closeFind->isEnabled());
    closeFind->trigger();
    QVERIFY(!closeFind->isEnabled());
    QVERIFY(!window.mainWidget()->filtering());
}

void TestViewMenu::changesShowWhileFiltering()
{
    QuorvelMainWindow window;
    openFind(window);
    typeFilter(window, QStringLiteral("coding"));
    QCOMPARE(window.mainWidget()->table->model()->rowCount(), 3);
    // Stopping the running task through its button rewrites its row in the filtered table.
    window.mainWidget()->button(1)->click();
    QCOMPARE(
        window.mainWidget()->table->model()->index(2, TaskTableModel::StopColumn).data().toString(),
        findTask(*window.document(), QStringLiteral("Coding"), at(21, 8, 15))->stopText);
    QVERIFY(!findTask(*window.document(), QStringLiteral("Coding"), at(21, 8, 15))->isRunning());
    // Undo brings it back running.
    window.undo();
    QVERIFY(findTask(*window.document(), QStringLiteral("Coding"), at(21, 8, 15))->isRunning());
    QCOMPARE(activities(window), (QStringList{QStringLiteral("Coding"), QStringLiteral("Coding"),
                                              QStringLiteral("Coding")}));
}

void TestViewMenu::foldingIgnoresCaseAndAccents()
{
    QCOMPARE(TaskFilterProxy::folded(QStringLiteral("Résumé ÉCOLE Ångström naïve")),
             QStringLiteral("resume ecole angstrom naive"));
    // Already decomposed text folds the same.
    QCOMPARE(TaskFilterProxy::folded(QStringLiteral("Re\u0301sume\u0301")),
             QStringLiteral("resume"));
    QCOMPARE(TaskFilterProxy::folded(QString()), QString());
}

void TestViewMenu::proxyModelIsConsistent()
{
    QuorvelDocument doc;
    QVERIFY(doc.load());
    TaskTableModel model(&doc);
    TaskFilterProxy proxy(&model);
    QAbstractItemModelTester tester(&proxy, QAbstractItemModelTester::FailureReportingMode::QtTest);
    QCOMPARE(proxy.rowCount(), 6);
    proxy.setText(QStringLiteral("work"));
    QCOMPARE(proxy.rowCount(), 4);
    QCOMPARE(proxy.taskAt(3)->start(), at(21, 8, 15));
    QCOMPARE(proxy.rowOf(2), -1);
    QCOMPARE(proxy.rowOf(4), 2);
    proxy.setPeriod(QDate(2026, 11, 1), QDate(2026, 11, 30));
    QCOMPARE(proxy.rowCount(), 3);
    model.setDurationShown(true);
    QCOMPARE(proxy.columnCount(), 4);
    QCOMPARE(proxy.index(2, 3).data().toString(), QStringLiteral("1:15"));
    model.setNow(at(21, 10, 0));
    QCOMPARE(proxy.index(2, 3).data().toString(), QStringLiteral("1:45"));
    model.reset();
    QCOMPARE(proxy.rowCount(), 3);
    model.setDurationShown(false);
    QCOMPARE(proxy.columnCount(), 3);
    proxy.setActive(false);
    QCOMPARE(proxy.rowCount(), 0);
    QCOMPARE(proxy.taskAt(0), nullptr);
    proxy.setActive(true);
    QCOMPARE(proxy.rowCount(), 3);
    proxy.setText(QString());
    proxy.setPeriod(QDate(), QDate());
    QCOMPARE(proxy.rowCount(), 6);
    QCOMPARE(proxy.taskAt(6), nullptr);
    QCOMPARE(proxy.taskAt(-1), nullptr);
}

QUORVEL_TEST_MAIN(TestViewMenu)
#include "tst_viewmenu.moc"
