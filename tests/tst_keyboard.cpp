// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// Every command of the window within reach of the keyboard: the shortcuts run the same
// commands as the menu entries and the shortcut buttons, and each menu opens from the keyboard.

#include "DocumentBuilder.h"
#include "ModalAnswers.h"
#include "TestEnvironment.h"

#include "app/QuorvelMainWindow.h"
#include "dialogs/ReportParams1.h"
#include "dialogs/TaskEdit.h"
#include "model/Configuration.h"
#include "platform/Clock.h"
#include "reports/ReportText.h"
#include "views/MainWidget.h"
#include "views/QVTable.h"
#include "views/TaskTableModel.h"
#include "widgets/MessageBox.h"

#include <QAction>
#include <QMenu>
#include <QMenuBar>
#include <QToolButton>
#include <QtTest>

namespace {

// Sample data in personal mode, and two finished tasks of the first shortcut activity's
// neighbours.
void prepareDataFile()
{
    Configuration().setMode(Configuration::Personal);
    QuorvelDocument doc;
    doc.createSampleData();
    DocumentBuilder build(doc);
    build.task(doc.activities.at(0), at(20, 8, 0), at(20, 8, 30), 1);
    build.task(doc.activities.at(1), at(20, 9, 0), at(20, 9, 45), 2);
    doc.tasks.sort();
    QVERIFY(doc.save());
}

void showActive(QuorvelMainWindow &window)
{
    window.show();
    QVERIFY(QTest::qWaitForWindowActive(&window));
}

void selectRow(QuorvelMainWindow &window, int row)
{
    QVTable *table = window.mainWidget()->table;
    table->setFocus();
    table->setCurrentIndex(window.mainWidget()->model()->index(row, 2));
    QVERIFY(window.mainWidget()->selectedTask);
}

// Closes a dialog the command opened, and says which it was.
ModalAnswers::Handler rejectIt()
{
    return [](QWidget *widget) {
        if (auto *dialog = qobject_cast<QDialog *>(widget))
            dialog->reject();
        else
            widget->close();
    };
}

int runningTasks(const QuorvelDocument &doc)
{
    int running = 0;
    for (const QVTask *task : doc.tasks)
        running += task->isRunning() ? 1 : 0;
    return running;
}

} // namespace

class TestKeyboard : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void shortcutsShowInTheMenus();
    void ctrlNOpensANewTask();
    void ctrlEAndEnterEditTheSelectedTask();
    void deleteAsksThenDeletes();
    void ctrlROpensThePeriodSummary();
    void ctrlNumberTogglesTheShortcutButtons();
    void ctrlNumberOfAnEmptyButtonDoesNothing();
    void menusOpenFromTheKeyboard_data();
    void menusOpenFromTheKeyboard();
    void ctrlQCloses();
};

void TestKeyboard::init()
{
    TestEnvironment::wipe();
    MessageBox::clearShown();
    Clock::setFixed(at(21, 9, 30));
    prepareDataFile();
}

void TestKeyboard::shortcutsShowInTheMenus()
{
    QuorvelMainWindow window;
    const auto shortcut = [&window](const char *text) {
        QAction *entry = actionNamed(window, QString::fromLatin1(text));
        return entry ? entry->shortcut().toString() : QStringLiteral("(no entry)");
    };
    QCOMPARE(shortcut("New Task"), QStringLiteral("Ctrl+N"));
    QCOMPARE(shortcut("Edit Task"), QStringLiteral("Ctrl+E"));
    QCOMPARE(shortcut("Delete Task"), QStringLiteral("Del"));
    QCOMPARE(shortcut(qPrintable(ReportText::summaryMenuName())), QStringLiteral("Ctrl+R"));
    QCOMPARE(shortcut("Undo"), QStringLiteral("Ctrl+Z"));
    QCOMPARE(shortcut("Redo"), QStringLiteral("Ctrl+Shift+Z"));
    // The entries' own texts are as they were.
    QVERIFY(actionNamed(window, QStringLiteral("New Task")));
}

void TestKeyboard::ctrlNOpensANewTask()
{
    QuorvelMainWindow window;
    showActive(window);
    ModalAnswers answers;
    answers.add(rejectIt());
    QTest::keyClick(&window, Qt::Key_N, Qt::ControlModifier);
    QCOMPARE(answers.seen(), QStringList{QStringLiteral("TaskEdit")});
    QCOMPARE(window.document()->tasks.size(), 2);
}

void TestKeyboard::ctrlEAndEnterEditTheSelectedTask()
{
    QuorvelMainWindow window;
    showActive(window);
    selectRow(window, 1);
    ModalAnswers answers;
    QString edited;
    answers.add([&edited](QWidget *widget) {
        auto *editor = qobject_cast<TaskEdit *>(widget);
        QVERIFY(editor);
        edited = editor->comboActivity->currentText();
        editor->reject();
    });
    answers.add(rejectIt());
    QTest::keyClick(&window, Qt::Key_E, Qt::ControlModifier);
    QCOMPARE(answers.seen(), QStringList{QStringLiteral("TaskEdit")});
    QCOMPARE(edited, window.document()->tasks.at(1)->activity->name);
    QTest::keyClick(window.mainWidget()->table, Qt::Key_Return);
    QCOMPARE(answers.seen(), (QStringList{QStringLiteral("TaskEdit"), QStringLiteral("TaskEdit")}));
}

void TestKeyboard::deleteAsksThenDeletes()
{
    QuorvelMainWindow window;
    showActive(window);
    selectRow(window, 0);
    const QString name = window.document()->tasks.at(0)->activity->name;
    MessageBox::setNextAnswer(QMessageBox::Yes);
    QTest::keyClick(window.mainWidget()->table, Qt::Key_Delete);
    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().at(0).title, QStringLiteral("Delete Task"));
    QCOMPARE(MessageBox::shown().at(0).text,
             QStringLiteral("Are you sure you want to delete\n") + name + QLatin1Char('?'));
    QCOMPARE(window.document()->tasks.size(), 1);
}

void TestKeyboard::ctrlROpensThePeriodSummary()
{
    QuorvelMainWindow window;
    showActive(window);
    QAction *summary = actionNamed(window, ReportText::summaryMenuName());
    QVERIFY(summary);
    QSignalSpy ran(summary, &QAction::triggered);
    ModalAnswers answers;
    answers.add(rejectIt());
    QTest::keyClick(&window, Qt::Key_R, Qt::ControlModifier);
    QCOMPARE(answers.seen(), QStringList{QStringLiteral("ReportParams1")});
    QCOMPARE(ran.count(), 1);
}

void TestKeyboard::ctrlNumberTogglesTheShortcutButtons()
{
    QuorvelMainWindow window;
    showActive(window);
    QToolButton *first = window.mainWidget()->button(1);
    QVERIFY(first->isEnabled());
    QVERIFY(!first->isChecked());
    QTest::keyClick(&window, Qt::Key_1, Qt::ControlModifier);
    QVERIFY(first->isChecked());
    QCOMPARE(window.document()->tasks.size(), 3);
    QCOMPARE(runningTasks(*window.document()), 1);
    const QVTask *started = window.document()->tasks.last();
    QCOMPARE(started->start(), at(21, 9, 30));

    // The second button while the first runs: concurrent tasks are not allowed, so the
    // first stops as the button would stop it.
    Clock::setFixed(at(21, 9, 40));
    QTest::keyClick(&window, Qt::Key_2, Qt::ControlModifier);
    QVERIFY(window.mainWidget()->button(2)->isChecked());
    QVERIFY(!first->isChecked());
    QCOMPARE(runningTasks(*window.document()), 1);

    Clock::setFixed(at(21, 9, 50));
    QTest::keyClick(&window, Qt::Key_2, Qt::ControlModifier);
    QVERIFY(!window.mainWidget()->button(2)->isChecked());
    QCOMPARE(runningTasks(*window.document()), 0);
    QCOMPARE(window.document()->tasks.size(), 4);
}

void TestKeyboard::ctrlNumberOfAnEmptyButtonDoesNothing()
{
    Configuration().setMode(Configuration::Personal);
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    build.activity(QStringLiteral("Only"), build.category(QStringLiteral("One")));
    QVERIFY(doc.save());
    QuorvelMainWindow window;
    showActive(window);
    QToolButton *third = window.mainWidget()->button(3);
    QVERIFY(!third->isEnabled() || !third->isVisible());
    QTest::keyClick(&window, Qt::Key_3, Qt::ControlModifier);
    QVERIFY(window.document()->tasks.isEmpty());
    QVERIFY(MessageBox::shown().isEmpty());
}

void TestKeyboard::menusOpenFromTheKeyboard_data()
{
    QTest::addColumn<int>("key");
    QTest::addColumn<int>("modifiers");
    QTest::addColumn<QString>("menu");
    // Edit's entries are usable only once there is a change to undo.
    QTest::addColumn<bool>("changeFirst");
    QTest::newRow("Alt+T") << int(Qt::Key_T) << int(Qt::AltModifier) << QStringLiteral("Task")
                           << false;
    QTest::newRow("Alt+E") << int(Qt::Key_E) << int(Qt::AltModifier) << QStringLiteral("Edit")
                           << true;
    QTest::newRow("Alt+R") << int(Qt::Key_R) << int(Qt::AltModifier) << QStringLiteral("Report")
                           << false;
    QTest::newRow("Alt+S") << int(Qt::Key_S) << int(Qt::AltModifier) << QStringLiteral("Settings")
                           << false;
    QTest::newRow("F10") << int(Qt::Key_F10) << int(Qt::NoModifier) << QStringLiteral("Task")
                         << false;
}

void TestKeyboard::menusOpenFromTheKeyboard()
{
    QFETCH(int, key);
    QFETCH(int, modifiers);
    QFETCH(QString, menu);
    QFETCH(bool, changeFirst);
    QuorvelMainWindow window;
    showActive(window);
    if (changeFirst)
        window.mainWidget()->button(1)->click();
    QTest::keyClick(&window, Qt::Key(key), Qt::KeyboardModifiers(modifiers));
    QTRY_VERIFY(window.menuBar()->activeAction());
    QCOMPARE(window.menuBar()->activeAction()->text(), menu);
    QMenu *opened = window.menuBar()->activeAction()->menu();
    QVERIFY(opened);
    QTRY_VERIFY(opened->isVisible());
    // The first entry is reachable from there.
    QTest::keyClick(opened, Qt::Key_Down);
    QVERIFY(opened->activeAction());
    QTest::keyClick(opened, Qt::Key_Escape);
}

void TestKeyboard::ctrlQCloses()
{
    QuorvelMainWindow window;
    showActive(window);
    QTest::keyClick(&window, Qt::Key_Q, Qt::ControlModifier);
    QTRY_VERIFY(!window.isVisible());
}

QUORVEL_TEST_MAIN(TestKeyboard)
#include "tst_keyboard.moc"
