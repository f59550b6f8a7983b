// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The main window: first start, the enabled state of the commands, writing on flush, reading
// again on reload, and the data file kept safe when it cannot be read.

#include "DocumentBuilder.h"
#include "ModalAnswers.h"
#include "TestEnvironment.h"
#include "keyring/ServerPassword.h"

#include "app/QuorvelMainWindow.h"
#include "dialogs/ActivityList.h"
#include "dialogs/CategoryList.h"
#include "dialogs/ChooseInitialMode.h"
#include "dialogs/OperatingMode.h"
#include "platform/Clock.h"
#include "platform/Config.h"
#include "views/MainWidget.h"
#include "views/QVTable.h"
#include "widgets/QuorvelApplication.h"

#include <QAction>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QRadioButton>
#include <QTimer>
#include <QToolBar>
#include <QToolButton>
#include <QtTest>

#include <csignal>
#include <memory>

namespace {

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(file.write(bytes), bytes.size());
}

QAction *action(const QuorvelMainWindow &window, const QString &text)
{
    return actionNamed(window, text);
}

// A data file as another program would leave it: sample data in personal mode, plus tasks.
void prepareSampleFile(int taskCount, bool running = false)
{
    Configuration().setMode(Configuration::Personal);
    QuorvelDocument doc;
    doc.createSampleData();
    DocumentBuilder build(doc);
    for (int i = 0; i < taskCount; ++i) {
        const bool last = i == taskCount - 1;
        build.task(doc.activities.at(i % doc.activities.size()), at(20, 8 + i, 0),
                   running && last ? QDateTime() : at(20, 8 + i, 30), last ? 1 : 0);
    }
    doc.tasks.sort();
    QVERIFY(doc.save());
}

} // namespace

class TestMainWindow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void firstStartWithSampleData();
    void firstStartWithNoData();
    void firstStartInGroupMode();
    void cancelledServerDialogShowsFirstRunAgain();
    void cancelledFirstStartEndsWithModeZero();
    void existingFileStartsWithoutQuestions();
    void resetOnFirstStart();

    void windowStructure();
    void controlsInPersonalMode();
    void controlsWithoutActivities();
    void controlsInGroupMode();
    void selectionEnablesEditAndDelete();

    void oneSecondTimerDrivesTheLabels();

    void flushWritesOnlyChanges();
    void destructorWrites();
    void reloadShowsTheNewFile();
    void reloadKeepsUnsavedChanges();
    void reloadOfUnreadableFileKeepsTheDocument();
    void unreadableFileKeptBeforeFirstRun();
    void readableFileWithoutModeKeptBeforeFirstRun();

    void sigtermWritesLatestChanges();

    void escapeLeavesTheCategoryList();
    void escapeLeavesTheActivityList();
};

void TestMainWindow::init()
{
    TestEnvironment::wipe();
    MessageBox::clearShown();
    Clock::setFixed(at(21, 9, 30));
}

void TestMainWindow::firstStartWithSampleData()
{
    ModalAnswers answers;
    answers.add(ModalAnswers::chooseInitialMode("radPersonalInit"));
    QuorvelMainWindow window;
    QCOMPARE(answers.seen(), QStringList{QStringLiteral("ChooseInitialMode")});
    QVERIFY(!window.quitRequested());
    QCOMPARE(Configuration().mode(), Configuration::Personal);

    QStringList names;
    for (const Activity *a : std::as_const(window.document()->activities))
        names << a->name;
    QCOMPARE(names,
             (QStringList{QStringLiteral("Consulting for client R. Vance"),
                          QStringLiteral("Home Project Beta"), QStringLiteral("Home Project Delta"),
                          QStringLiteral("Project Alpha Development"),
                          QStringLiteral("Project Alpha Documentation")}));
    QCOMPARE(window.document()->categories.size(), 3);
    QVERIFY(window.document()->tasks.isEmpty());
    QCOMPARE(window.mainWidget()->table->model()->rowCount(), 0);
}

void TestMainWindow::firstStartWithNoData()
{
    ModalAnswers answers;
    answers.add(ModalAnswers::chooseInitialMode("radPersonalNoInit"));
    QuorvelMainWindow window;
    QCOMPARE(answers.remaining(), 0);
    QCOMPARE(Configuration().mode(), Configuration::Personal);
    QVERIFY(window.document()->categories.isEmpty());
    QVERIFY(window.document()->activities.isEmpty());
    QVERIFY(window.document()->tasks.isEmpty());
}

void TestMainWindow::firstStartInGroupMode()
{
    ModalAnswers answers;
    answers.add(ModalAnswers::chooseInitialMode("radGroup"));
    answers.add([](QWidget *widget) {
        auto *dialog = qobject_cast<OperatingMode *>(widget);
        QVERIFY(dialog);
        // Preset from the settings, only group mode can be confirmed.
        QCOMPARE(dialog->txtServer->text(), Configuration::defaultServerAddress());
        QCOMPARE(dialog->txtUserID->text(), QString());
        QVERIFY(dialog->radGroup->isChecked());
        QVERIFY(!dialog->radPersonal->isEnabled());
        dialog->txtServer->setText(QStringLiteral(" sync.example.org:8080/ "));
        dialog->txtUserID->setText(QStringLiteral(" alice "));
        dialog->txtPassword->setText(QStringLiteral(" pässword "));
        dialog->accept();
    });
    QuorvelMainWindow window;
    QCOMPARE(answers.remaining(), 0);
    const Configuration configuration;
    QCOMPARE(configuration.mode(), Configuration::Group);
    QCOMPARE(configuration.serverAddress(), QStringLiteral("sync.example.org:8080"));
    QCOMPARE(configuration.serverUserID(), QStringLiteral("alice"));
    QCOMPARE(ServerPassword(configuration).read(), QStringLiteral("pässword"));
    QVERIFY(window.document()->activities.isEmpty());
}

void TestMainWindow::cancelledServerDialogShowsFirstRunAgain()
{
    // A document is on file without a chosen mode: group mode clears it before the server
    // dialog, which is then cancelled.
    prepareSampleFile(2);
    Configuration().setMode(Configuration::Unset);

    ModalAnswers answers;
    answers.add(ModalAnswers::chooseInitialMode("radGroup"));
    answers.add([](QWidget *widget) {
        QVERIFY(qobject_cast<OperatingMode *>(widget));
        static_cast<QDialog *>(widget)->reject();
    });
    QuorvelDocument *documentAtSecondShow = nullptr;
    int tasksAtSecondShow = -1;
    answers.add([&](QWidget *widget) {
        auto *window = qobject_cast<QuorvelMainWindow *>(widget->parentWidget());
        QVERIFY(window);
        documentAtSecondShow = window->document();
        tasksAtSecondShow = int(documentAtSecondShow->tasks.size());
        ModalAnswers::chooseInitialMode("radPersonalNoInit")(widget);
    });
    QuorvelMainWindow window;
    QCOMPARE(answers.seen(),
             (QStringList{QStringLiteral("ChooseInitialMode"), QStringLiteral("OperatingMode"),
                          QStringLiteral("ChooseInitialMode")}));
    QCOMPARE(documentAtSecondShow, window.document());
    QCOMPARE(tasksAtSecondShow, 0);
    QCOMPARE(Configuration().mode(), Configuration::Personal);
}

void TestMainWindow::cancelledFirstStartEndsWithModeZero()
{
    ModalAnswers answers;
    answers.add([](QWidget *widget) { static_cast<QDialog *>(widget)->reject(); });
    {
        QuorvelMainWindow window;
        QVERIFY(window.quitRequested());
        QCOMPARE(Configuration().mode(), Configuration::Unset);
    }
    // Nothing was written: the next start asks again.
    QVERIFY(!QFile::exists(QuorvelDocument::dataFilePath()));
}

void TestMainWindow::existingFileStartsWithoutQuestions()
{
    prepareSampleFile(3);
    ModalAnswers answers;
    QuorvelMainWindow window;
    QVERIFY(answers.seen().isEmpty());
    QCOMPARE(window.document()->tasks.size(), 3);
    QCOMPARE(window.mainWidget()->table->model()->rowCount(), 3);
    QVERIFY(MessageBox::shown().isEmpty());
}

void TestMainWindow::resetOnFirstStart()
{
    {
        Config config(Configuration::storeName());
        config.setGroup(QStringLiteral("BalloonTips"));
        config.writeEntry(QStringLiteral("taskList"), 3);
        config.setGroup(QStringLiteral("LocalSettings"));
        config.writeEntry(QStringLiteral("WarnDeleteZeroTasks"), 0);
        config.writeEntry(QStringLiteral("AllowConcurrentTasks"), 1);
    }
    ModalAnswers answers;
    answers.add(ModalAnswers::chooseInitialMode("radPersonalNoInit"));
    QuorvelMainWindow window;
    Config config(Configuration::storeName());
    config.setGroup(QStringLiteral("BalloonTips"));
    // All back at 0, but for the tip an empty document shows at the end of the first start.
    for (const char *key : {"groupMode", "categories", "activities", "startHere", "newTask",
                            "shortcutButtons", "taskList", "additionalHelp"}) {
        QVERIFY2(config.hasKey(QString::fromLatin1(key)), key);
        const int expected = qstrcmp(key, "categories") == 0 ? 1 : 0;
        QCOMPARE(config.readNumEntry(QString::fromLatin1(key), -1), expected);
    }
    config.setGroup(QStringLiteral("LocalSettings"));
    QCOMPARE(config.readNumEntry(QStringLiteral("WarnDeleteZeroTasks"), -1), 1);
    QCOMPARE(config.readNumEntry(QStringLiteral("AllowConcurrentTasks"), -1), 0);
    QVERIFY(!action(window, QStringLiteral("Allow Concurrent Tasks"))->isChecked());
}

void TestMainWindow::windowStructure()
{
    prepareSampleFile(1);
    QuorvelMainWindow window;
    QCOMPARE(window.objectName(), QStringLiteral("Quorvel time tracking application"));

    QStringList menus;
    const QList<QAction *> menuActions = window.menuBar()->actions();
    for (const QAction *a : menuActions)
        menus << a->text();
    QCOMPARE(menus, (QStringList{QStringLiteral("Task"), QStringLiteral("Edit"),
                                 QStringLiteral("View"), QStringLiteral("Report"),
                                 QStringLiteral("Settings"), QStringLiteral("Help")}));

    const auto texts = [](const QMenu *menu) {
        QStringList list;
        const QList<QAction *> actions = menu->actions();
        for (const QAction *a : actions)
            list << (a->isSeparator() ? QStringLiteral("-") : a->text());
        return list;
    };
    QCOMPARE(texts(menuActions.at(0)->menu()),
             (QStringList{QStringLiteral("New Task"), QStringLiteral("Edit Task"),
                          QStringLiteral("Delete Task"), QStringLiteral("-"),
                          QStringLiteral("Purge Tasks"), QStringLiteral("Synchronize with Server"),
                          QStringLiteral("-"), QStringLiteral("Start…")}));
    QCOMPARE(texts(menuActions.at(1)->menu()),
             (QStringList{QStringLiteral("Undo"), QStringLiteral("Redo")}));
    QCOMPARE(texts(menuActions.at(2)->menu()),
             (QStringList{QStringLiteral("Duration Column"), QStringLiteral("-"),
                          QStringLiteral("Find…")}));
    QCOMPARE(
        texts(menuActions.at(3)->menu()),
        (QStringList{QStringLiteral("Period Summary Report"), QStringLiteral("Period Time Sheet"),
                     QStringLiteral("-"), QStringLiteral("View Saved Report")}));
    QCOMPARE(texts(menuActions.at(4)->menu()),
             (QStringList{QStringLiteral("Activities"), QStringLiteral("Categories"),
                          QStringLiteral("-"), QStringLiteral("Allow Concurrent Tasks"),
                          QStringLiteral("Twelve-Hour Clock"), QStringLiteral("Operating Mode"),
                          QStringLiteral("-"), QStringLiteral("Idle Time and Reminders")}));
    QCOMPARE(texts(menuActions.at(5)->menu()),
             (QStringList{QStringLiteral("Keyboard Shortcuts"), QStringLiteral("Quorvel Help"),
                          QStringLiteral("-"), QStringLiteral("About Quorvel")}));

    for (const QString &text :
         {QStringLiteral("New Task"), QStringLiteral("Edit Task"), QStringLiteral("Delete Task"),
          QStringLiteral("Purge Tasks"), QStringLiteral("Synchronize with Server")})
        QVERIFY2(!action(window, text)->icon().isNull(), qPrintable(text));

    // The icon tool bar carries New, Edit and Delete, then, pushed to its right end by a spacer,
    // the (?) of Quorvel Help; the table pop-up Edit and Delete.
    auto *toolBar = window.findChild<QToolBar *>(QStringLiteral("taskToolBar"));
    QVERIFY(toolBar);
    QStringList tools;
    const QList<QAction *> toolActions = toolBar->actions();
    for (const QAction *a : toolActions)
        tools << a->text();
    QCOMPARE(tools, (QStringList{QStringLiteral("New Task"), QStringLiteral("Edit Task"),
                                 QStringLiteral("Delete Task"), QString(),
                                 QStringLiteral("Quorvel Help")}));
    auto *popup = window.findChild<QMenu *>(QStringLiteral("tablePopup"));
    QVERIFY(popup);
    QCOMPARE(texts(popup),
             (QStringList{QStringLiteral("Edit Task"), QStringLiteral("Delete Task")}));
    QVERIFY(!popup->isVisible());

    QVERIFY(window.mainWidget());
    QCOMPARE(window.centralWidget(), window.mainWidget());
    QCOMPARE(window.mainWidget()->table->objectName(), QStringLiteral("tblTaskList"));
}

void TestMainWindow::controlsInPersonalMode()
{
    prepareSampleFile(0);
    QuorvelMainWindow window;
    QVERIFY(action(window, QStringLiteral("New Task"))->isEnabled());
    QVERIFY(!action(window, QStringLiteral("Edit Task"))->isEnabled());
    QVERIFY(!action(window, QStringLiteral("Delete Task"))->isEnabled());
    QVERIFY(!action(window, QStringLiteral("Purge Tasks"))->isEnabled());
    QVERIFY(action(window, QStringLiteral("Activities"))->isEnabled());
    QVERIFY(action(window, QStringLiteral("Categories"))->isEnabled());
    QVERIFY(!action(window, QStringLiteral("Synchronize with Server"))->isEnabled());
}

void TestMainWindow::controlsWithoutActivities()
{
    // A running task of a withdrawn activity: its button is usable, New Task is not.
    Configuration().setMode(Configuration::Personal);
    {
        QuorvelDocument doc;
        DocumentBuilder build(doc);
        ActivityCategory *old = build.category(QStringLiteral("Old"), true);
        Activity *gone = build.activity(QStringLiteral("Gone"), old, true);
        build.task(gone, at(21, 8, 0), QDateTime(), 1);
        QVERIFY(doc.save());
    }
    QuorvelMainWindow window;
    QCOMPARE(window.document()->tasks.size(), 1);
    QVERIFY(!action(window, QStringLiteral("New Task"))->isEnabled());
    QVERIFY(action(window, QStringLiteral("Purge Tasks"))->isEnabled());
    QVERIFY(window.mainWidget()->button(1)->isEnabled());
    QCOMPARE(window.mainWidget()->button(1)->text(), QStringLiteral("Gone"));
    // Neither an active category nor an active activity: Activities is off, Categories on.
    QVERIFY(!action(window, QStringLiteral("Activities"))->isEnabled());
    QVERIFY(action(window, QStringLiteral("Categories"))->isEnabled());
}

void TestMainWindow::controlsInGroupMode()
{
    prepareSampleFile(1);
    Configuration().setMode(Configuration::Group);
    QuorvelMainWindow window;
    QVERIFY(!action(window, QStringLiteral("Activities"))->isEnabled());
    QVERIFY(!action(window, QStringLiteral("Categories"))->isEnabled());
    QVERIFY(action(window, QStringLiteral("Synchronize with Server"))->isEnabled());
    QVERIFY(action(window, QStringLiteral("New Task"))->isEnabled());
}

void TestMainWindow::selectionEnablesEditAndDelete()
{
    prepareSampleFile(2);
    QuorvelMainWindow window;
    // After a full rebuild the last row is current and its task selected.
    QCOMPARE(window.mainWidget()->selectedTask, window.document()->tasks.last());
    QVERIFY(action(window, QStringLiteral("Edit Task"))->isEnabled());
    QVERIFY(action(window, QStringLiteral("Delete Task"))->isEnabled());
}

void TestMainWindow::oneSecondTimerDrivesTheLabels()
{
    prepareSampleFile(1, true); // one task running since 2026-11-20 08:00, in slot 1
    QuorvelMainWindow window;
    auto *timer = window.findChild<QTimer *>(QStringLiteral("one second timer"));
    QVERIFY(timer);
    QVERIFY(timer->isActive());
    QCOMPARE(timer->interval(), 1000);
    QVERIFY(window.mainWidget()->button(1)->isChecked());

    Clock::setFixed(at(20, 8, 0).addSecs(59));
    QMetaObject::invokeMethod(timer, "timeout", Qt::DirectConnection);
    QCOMPARE(window.mainWidget()->statusLabel(1)->text(), QStringLiteral("0:00"));
    Clock::setFixed(at(20, 8, 0).addSecs(60));
    QMetaObject::invokeMethod(timer, "timeout", Qt::DirectConnection);
    QCOMPARE(window.mainWidget()->statusLabel(1)->text(), QStringLiteral("0 01"));
    Clock::setFixed(at(20, 8, 0).addSecs(86400));
    QMetaObject::invokeMethod(timer, "timeout", Qt::DirectConnection);
    QCOMPARE(window.mainWidget()->statusLabel(1)->text(), QStringLiteral("1d  0 00"));
}

void TestMainWindow::flushWritesOnlyChanges()
{
    prepareSampleFile(1);
    const QString path = QuorvelDocument::dataFilePath();
    QuorvelMainWindow window;
    // Nothing changed since the file was read: nothing is written.
    writeFile(path, QByteArrayLiteral("sentinel"));
    window.flush();
    QCOMPARE(readFile(path), QByteArrayLiteral("sentinel"));

    DocumentBuilder(*window.document())
        .task(window.document()->activities.first(), at(21, 7, 0), at(21, 7, 45));
    window.document()->tasks.sort();
    window.flush();
    QCOMPARE(readFile(path), window.document()->getDocumentBytes());

    QuorvelDocument check;
    QVERIFY(check.load());
    QCOMPARE(check.tasks.size(), 2);
}

void TestMainWindow::destructorWrites()
{
    prepareSampleFile(0);
    {
        QuorvelMainWindow window;
        DocumentBuilder(*window.document())
            .task(window.document()->activities.first(), at(21, 7, 0), at(21, 7, 45));
    }
    QuorvelDocument check;
    QVERIFY(check.load());
    QCOMPARE(check.tasks.size(), 1);
}

void TestMainWindow::reloadShowsTheNewFile()
{
    prepareSampleFile(3);
    QuorvelMainWindow window;
    QCOMPARE(window.mainWidget()->table->model()->rowCount(), 3);

    // Another program removes one task and adds two.
    {
        QuorvelDocument other;
        QVERIFY(other.load());
        QVTask *gone = other.tasks.first();
        other.removeTask(gone);
        delete gone;
        DocumentBuilder build(other);
        build.task(other.activities.at(1), at(21, 6, 0), at(21, 6, 30));
        build.task(other.activities.at(2), at(21, 7, 0), at(21, 7, 30));
        other.tasks.sort();
        QVERIFY(other.save());
    }
    window.reload();
    QCOMPARE(window.document()->tasks.size(), 4);
    QCOMPARE(window.mainWidget()->table->model()->rowCount(), 4);
    const QAbstractItemModel *model = window.mainWidget()->table->model();
    QCOMPARE(model->data(model->index(0, 0)).toString(), window.document()->tasks.at(0)->startText);
    QCOMPARE(model->data(model->index(3, 2)).toString(),
             window.document()->tasks.at(3)->activity->name);
    // Nothing of ours was unsaved, so nothing was kept beside.
    QDir folder = QFileInfo(QuorvelDocument::dataFilePath()).dir();
    QVERIFY(folder.entryList({QStringLiteral("*.unsaved-*")}).isEmpty());
}

void TestMainWindow::reloadKeepsUnsavedChanges()
{
    prepareSampleFile(1);
    QuorvelMainWindow window;
    DocumentBuilder(*window.document())
        .task(window.document()->activities.first(), at(21, 7, 0), at(21, 7, 45));
    window.document()->tasks.sort();
    const QByteArray unsaved = window.document()->getDocumentBytes();

    prepareSampleFile(5);
    window.reload();
    QCOMPARE(window.document()->tasks.size(), 5);

    QDir folder = QFileInfo(QuorvelDocument::dataFilePath()).dir();
    const QStringList kept = folder.entryList({QStringLiteral("quorvelqpe.dat.unsaved-*")});
    QCOMPARE(kept.size(), 1);
    QCOMPARE(kept.first(), QStringLiteral("quorvelqpe.dat.unsaved-20261121093000"));
    QCOMPARE(readFile(folder.filePath(kept.first())), unsaved);
}

void TestMainWindow::reloadOfUnreadableFileKeepsTheDocument()
{
    prepareSampleFile(2);
    const QString path = QuorvelDocument::dataFilePath();
    QuorvelMainWindow window;
    const QByteArray before = window.document()->getDocumentBytes();

    writeFile(path, QByteArrayLiteral("not a data file\n"));
    window.reload();
    QCOMPARE(window.document()->getDocumentBytes(), before);
    QCOMPARE(window.mainWidget()->table->model()->rowCount(), 2);
    QCOMPARE(readFile(path + QStringLiteral(".unreadable-20261121093000")),
             QByteArrayLiteral("not a data file\n"));
    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().first().title, QStringLiteral("Data File Unreadable"));

    // The next flush puts the document back on file.
    window.flush();
    QCOMPARE(readFile(path), before);
}

void TestMainWindow::unreadableFileKeptBeforeFirstRun()
{
    Configuration().setMode(Configuration::Personal);
    const QString path = QuorvelDocument::dataFilePath();
    const QByteArray garbage = QByteArrayLiteral("--start--\n104\nolder format\n");
    writeFile(path, garbage);

    ModalAnswers answers;
    answers.add(ModalAnswers::chooseInitialMode("radPersonalInit"));
    const QString kept = path + QStringLiteral(".unreadable-20261121093000");
    {
        QuorvelMainWindow window;
        QCOMPARE(answers.remaining(), 0);
        QCOMPARE(window.keptDataFilePath(), kept);
    }
    QCOMPARE(readFile(kept), garbage);
    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().first().title, QStringLiteral("Data File Unreadable"));
    QCOMPARE(MessageBox::shown().first().text,
             QStringLiteral("The data file could not be read.\nIt has been kept as\n") + kept);
    // The sample data now stands in the data file.
    QuorvelDocument check;
    QVERIFY(check.load());
    QCOMPARE(check.activities.size(), 5);
}

void TestMainWindow::readableFileWithoutModeKeptBeforeFirstRun()
{
    prepareSampleFile(4);
    Configuration().setMode(Configuration::Unset);
    const QByteArray original = readFile(QuorvelDocument::dataFilePath());

    ModalAnswers answers;
    answers.add(ModalAnswers::chooseInitialMode("radPersonalNoInit"));
    QuorvelMainWindow window;
    QVERIFY(window.document()->tasks.isEmpty());
    QCOMPARE(readFile(window.keptDataFilePath()), original);
    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().first().title, QStringLiteral("Data File Kept"));
}

void TestMainWindow::sigtermWritesLatestChanges()
{
    auto *app = QuorvelApplication::instance();
    QVERIFY(app);
    prepareSampleFile(1);
    QuorvelMainWindow window;
    connect(app, &QuorvelApplication::flush, &window, &QuorvelMainWindow::flush);
    app->installSignalHandlers();

    DocumentBuilder(*window.document())
        .task(window.document()->activities.first(), at(21, 7, 0), at(21, 7, 45));
    window.document()->tasks.sort();
    const QByteArray latest = window.document()->getDocumentBytes();

    QTimer::singleShot(0, [] { std::raise(SIGTERM); });
    bool timedOut = false;
    QTimer::singleShot(5000, [&] {
        timedOut = true;
        QCoreApplication::exit(1);
    });
    QCOMPARE(app->exec(), 0);
    QVERIFY(!timedOut);
    QCOMPARE(readFile(QuorvelDocument::dataFilePath()), latest);
}

void TestMainWindow::escapeLeavesTheCategoryList()
{
    prepareSampleFile(1);
    QuorvelMainWindow window;
    window.show();
    ModalAnswers answers;
    answers.add([](QWidget *widget) {
        QVERIFY(qobject_cast<CategoryList *>(widget));
        QTest::keyClick(widget, Qt::Key_Escape);
    });
    window.maintainCategories();
    QCOMPARE(answers.seen(), QStringList{QStringLiteral("CategoryList")});
    QVERIFY(!QApplication::activeModalWidget());
    QVERIFY(window.findChildren<CategoryList *>().isEmpty());
}

void TestMainWindow::escapeLeavesTheActivityList()
{
    prepareSampleFile(1);
    QuorvelMainWindow window;
    window.show();
    ModalAnswers answers;
    answers.add([](QWidget *widget) {
        QVERIFY(qobject_cast<ActivityList *>(widget));
        QTest::keyClick(widget, Qt::Key_Escape);
    });
    window.maintainActivities();
    QCOMPARE(answers.seen(), QStringList{QStringLiteral("ActivityList")});
    QVERIFY(!QApplication::activeModalWidget());
    QVERIFY(window.findChildren<ActivityList *>().isEmpty());
}

int main(int argc, char *argv[])
{
    TestEnvironment environment;
    QuorvelApplication app(argc, argv);
    MessageBox::setTesting(true);
    TestMainWindow tc;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&tc, argc, argv);
}

#include "tst_mainwindow.moc"
