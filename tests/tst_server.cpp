// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The program in group mode against a real quorvel-server on 127.0.0.1: the catalogue reaches
// an emptied device, tasks reach the server and deletions are kept in its history, a refused
// sign-in leaves the device as it was, members share the catalogue and the team's report
// adds them up. Every case runs with the server's data in SQLite and in PostgreSQL.

#include "CommandRunner.h"
#include "DocumentBuilder.h"
#include "ModalAnswers.h"
#include "ServerProcess.h"
#include "ServerStores.h"
#include "TestEnvironment.h"
#include "WindowExchange.h"
#include "keyring/ServerPassword.h"

#include "app/ChangeChannel.h"
#include "app/QuorvelMainWindow.h"
#include "dialogs/Synchronize.h"
#include "dialogs/TaskEdit.h"
#include "model/QuorvelDocument.h"
#include "platform/Clock.h"
#include "reports/ReportText.h"
#include "views/MainWidget.h"
#include "widgets/QuorvelApplication.h"

#include <QAction>
#include <QLabel>
#include <QProcess>
#include <QRadioButton>
#include <QTextBrowser>
#include <QToolButton>
#include <QUndoStack>
#include <QtTest>

#include <memory>

namespace {

const QColor Green(128, 255, 128);
const QColor Red(255, 128, 128);

QAction *action(const QuorvelMainWindow &window, const QString &text)
{
    return actionNamed(window, text);
}

// A device in group mode for user, with an empty data file, pointed at the server.
void prepareDevice(const QString &server, const QString &user, const QString &password)
{
    QVERIFY(prepareGroupDevice(server, user, password));
}

// Task → New Task: a task of the activity starting now, running.
void startTask(QuorvelMainWindow &window, const QString &activity)
{
    ModalAnswers answers;
    answers.add([&](QWidget *widget) {
        auto *editor = qobject_cast<TaskEdit *>(widget);
        QVERIFY(editor);
        editor->radStartNow->setChecked(true);
        editor->radStopLater->setChecked(true);
        int index = -1;
        for (int i = 0; i < editor->comboActivities.size(); ++i) {
            if (editor->comboActivities.at(i)->name == activity)
                index = i;
        }
        QVERIFY(index >= 0);
        editor->comboActivity->setCurrentIndex(index);
        editor->activityActivated(index);
        editor->accept();
    });
    action(window, QStringLiteral("New Task"))->trigger();
    QCOMPARE(answers.remaining(), 0);
}

QStringList names(const QList<ActivityCategory *> &list)
{
    QStringList result;
    for (const ActivityCategory *c : list)
        result << QStringLiteral("%1 %2").arg(c->id).arg(c->name);
    return result;
}

QStringList names(const QList<Activity *> &list)
{
    QStringList result;
    for (const Activity *a : list)
        result << QStringLiteral("%1 %2 in %3")
                      .arg(a->id)
                      .arg(a->name, a->category ? a->category->name : QString());
    return result;
}

} // namespace

class TestServer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase_data();
    void initTestCase();
    void init();
    void cleanup();

    void emptiedDeviceReceivesCatalogue();
    void setUpFromTheCommandLine();
    void startedTaskReachesServer();
    void undoHistoryEndsWithTheExchange();
    void deletedTaskRetiredAndKeptInHistory();
    void wrongPasswordLeavesFileUntouched();
    void membersShareCatalogue();
    void teamReportAddsUpMembers();
    void secondExchangeChangesNothing();
    void serverChangesAreExplained();
    void queuedMessageArrivesOnce();

private:
    void addCatalogue();

    ServerStores m_stores;
    std::unique_ptr<ServerProcess> m_server;
};

void TestServer::initTestCase_data()
{
    ServerStores::addRows();
}

void TestServer::initTestCase()
{
    QString problem;
    QVERIFY2(m_stores.start(&problem), qPrintable(problem));
}

void TestServer::init()
{
    QFETCH_GLOBAL(QString, backend);
    MessageBox::clearShown();
    Clock::setFixed(QDateTime(QDate(2026, 11, 21), QTime(9, 30, 0)));
    Synchronize::setTimeoutMilliseconds(30000);
    QString skip;
    const QStringList storage = m_stores.create(backend, &skip);
    if (storage.isEmpty())
        QSKIP(qPrintable(skip));
    m_server = std::make_unique<ServerProcess>(storage);
    QVERIFY(m_server->addUser(QStringLiteral("alice"), QStringLiteral("alice-secret")));
    QVERIFY(m_server->addUser(QStringLiteral("bob"), QStringLiteral("bob-secret")));
    QVERIFY(m_server->start());
    prepareDevice(m_server->address(), QStringLiteral("alice"), QStringLiteral("alice-secret"));
}

void TestServer::cleanup()
{
    if (m_server) {
        // SIGTERM ends the server cleanly once nothing is under way.
        QVERIFY2(m_server->stop(), qPrintable(m_server->log()));
        m_server.reset();
    }
}

void TestServer::addCatalogue()
{
    const auto ok = [&](const QStringList &args) {
        const ServerProcess::Result result = m_server->admin(args);
        QVERIFY2(result.status == 0, qPrintable(result.err));
    };
    ok({QStringLiteral("category"), QStringLiteral("add"), QStringLiteral("Work")});
    ok({QStringLiteral("category"), QStringLiteral("add"), QStringLiteral("Private")});
    ok({QStringLiteral("activity"), QStringLiteral("add"), QStringLiteral("Coding"),
        QStringLiteral("--category"), QStringLiteral("Work")});
    ok({QStringLiteral("activity"), QStringLiteral("add"), QStringLiteral("Design review"),
        QStringLiteral("--category"), QStringLiteral("Work")});
    ok({QStringLiteral("activity"), QStringLiteral("add"), QStringLiteral("Garden"),
        QStringLiteral("--category"), QStringLiteral("Private")});
}

void TestServer::emptiedDeviceReceivesCatalogue()
{
    addCatalogue();
    QuorvelMainWindow window;
    QCOMPARE(window.document()->activities.size(), 0);
    const SyncOutcome outcome = synchronize(window);
    QCOMPARE(outcome.status, QStringLiteral("Synchronization Complete"));
    QCOMPARE(outcome.colour, Green);
    QVERIFY(outcome.succeeded);
    QVERIFY(MessageBox::shown().isEmpty());
    QCOMPARE(outcome.messages, QStringLiteral("2 new categories: Private, Work, 3 new activities: "
                                              "Coding, Design review, Garden "));

    // Catalogue ids come from the catalogue's first block, in the order they were added.
    const QuorvelDocument &doc = *window.document();
    QCOMPARE(names(doc.categories),
             QStringList({QStringLiteral("1000001 Private"), QStringLiteral("1000000 Work")}));
    QCOMPARE(names(doc.activities), QStringList({QStringLiteral("1000002 Coding in Work"),
                                                 QStringLiteral("1000003 Design review in Work"),
                                                 QStringLiteral("1000004 Garden in Private")}));
    // The device numbers its tasks from a block of its own.
    QCOMPARE(doc.nextId, 1020000);
    QVERIFY(doc.deletedTaskIds.isEmpty());
    QCOMPARE(action(window, QStringLiteral("New Task"))->isEnabled(), true);

    // What was received is in the data file.
    QuorvelDocument saved;
    QVERIFY(saved.load());
    QCOMPARE(saved.getDocumentBytes(), doc.getDocumentBytes());

    const QStringList lines = m_server->exchangeLines();
    QCOMPARE(lines.size(), 1);
    QVERIFY2(lines.at(0).contains(QStringLiteral("user=\"alice\" device=1 records-in=0 "
                                                 "records-out=5 bytes-in=")),
             qPrintable(lines.at(0)));
    QVERIFY(lines.at(0).contains(QStringLiteral("result=complete peer=127.0.0.1")));
}

void TestServer::setUpFromTheCommandLine()
{
    // A fresh account set up in a terminal, then the window's first exchange.
    addCatalogue();
    TestEnvironment::wipe();
    QProcess setup;
    setup.setProcessEnvironment(processEnvironment(QStringLiteral("2026-11-21T09:30:00")));
    setup.start(QStringLiteral(QUORVEL_CLI),
                {QStringLiteral("setup"), QStringLiteral("group"), QStringLiteral("--server"),
                 m_server->address(), QStringLiteral("--user"), QStringLiteral("alice")});
    setup.write("alice-secret\n");
    setup.closeWriteChannel();
    QVERIFY(setup.waitForFinished(60000));
    QCOMPARE(setup.readAllStandardError(), QByteArray());
    QCOMPARE(setup.exitCode(), 0);

    QuorvelMainWindow window;
    QCOMPARE(window.document()->activities.size(), 0);
    const SyncOutcome outcome = synchronize(window);
    QCOMPARE(outcome.status, QStringLiteral("Synchronization Complete"));
    QVERIFY(outcome.succeeded);
    QCOMPARE(window.document()->activities.size(), 3);
    QCOMPARE(window.document()->categories.size(), 2);
}

void TestServer::startedTaskReachesServer()
{
    addCatalogue();
    QuorvelMainWindow window;
    QCOMPARE(synchronize(window).status, QStringLiteral("Synchronization Complete"));

    startTask(window, QStringLiteral("Coding"));
    QCOMPARE(window.document()->tasks.size(), 1);
    QVERIFY(window.document()->tasks.first()->isRunning());
    SyncOutcome outcome = synchronize(window);
    QCOMPARE(outcome.status, QStringLiteral("Synchronization Complete"));
    QCOMPARE(outcome.messages, QStringLiteral("1 task received "));
    QCOMPARE(m_server->history(QStringLiteral("alice")),
             QStringList{QStringLiteral("1020000\t1\tcreated\t2026-11-21 09:30\t\tCoding")});

    // Stopped with its shortcut button 45 minutes later.
    Clock::setFixed(QDateTime(QDate(2026, 11, 21), QTime(10, 15, 0)));
    QToolButton *button = window.mainWidget()->button(window.document()->tasks.first()->shortcut);
    QVERIFY(button->isChecked());
    button->click();
    QVERIFY(!window.document()->tasks.first()->isRunning());
    outcome = synchronize(window);
    QCOMPARE(outcome.messages, QStringLiteral("1 task received "));
    QCOMPARE(m_server->history(QStringLiteral("alice")),
             QStringList({QStringLiteral("1020000\t1\tcreated\t2026-11-21 09:30\t\tCoding"),
                          QStringLiteral("1020000\t2\tchanged\t2026-11-21 09:30\t2026-11-21 "
                                         "10:15\tCoding")}));
    const ServerProcess::Result csv = m_server->admin(
        {QStringLiteral("report"), QStringLiteral("summary"), QStringLiteral("--from"),
         QStringLiteral("2026-11-21"), QStringLiteral("--to"), QStringLiteral("2026-11-21"),
         QStringLiteral("--user"), QStringLiteral("alice"), QStringLiteral("--format"),
         QStringLiteral("csv")});
    QCOMPARE(csv.status, 0);
    QCOMPARE(csv.out, QStringLiteral("Activity,Category,Minutes,Hours\r\n"
                                     "Coding,Work,45,0.7500\r\n"));
}

void TestServer::undoHistoryEndsWithTheExchange()
{
    addCatalogue();
    QuorvelMainWindow window;
    QCOMPARE(synchronize(window).status, QStringLiteral("Synchronization Complete"));
    QAction *undo = window.findChild<QAction *>(QStringLiteral("undo"));
    QVERIFY(undo);
    startTask(window, QStringLiteral("Coding"));
    QCOMPARE(undo->text(), QStringLiteral("Undo New Task Coding"));
    QVERIFY(undo->isEnabled());

    // The server's document replaces the device's as a whole: nothing before it is undone.
    QCOMPARE(synchronize(window).status, QStringLiteral("Synchronization Complete"));
    QCOMPARE(window.changes()->stack()->count(), 0);
    QVERIFY(!undo->isEnabled());
    QCOMPARE(undo->text(), QStringLiteral("Undo (history cleared by the synchronization)"));
    QVERIFY(window.document()->tasks.first()->isRunning());
}

void TestServer::deletedTaskRetiredAndKeptInHistory()
{
    addCatalogue();
    {
        QuorvelMainWindow window;
        QCOMPARE(synchronize(window).status, QStringLiteral("Synchronization Complete"));
        startTask(window, QStringLiteral("Garden"));
        Clock::setFixed(QDateTime(QDate(2026, 11, 21), QTime(10, 0, 0)));
        window.mainWidget()->button(1)->click();
        QCOMPARE(synchronize(window).messages, QStringLiteral("1 task received "));
    }
    // Emptied (as the change to group mode does): the task comes back as a synchronised one.
    prepareDevice(m_server->address(), QStringLiteral("alice"), QStringLiteral("alice-secret"));
    QuorvelMainWindow window;
    QCOMPARE(synchronize(window).messages,
             QStringLiteral("1 task sent, 2 new categories: Private, Work, 3 new activities: "
                            "Coding, Design review, Garden "));
    QuorvelDocument *doc = window.document();
    QCOMPARE(doc->tasks.size(), 1);
    QVERIFY(doc->tasks.first()->synchronised);
    QCOMPARE(doc->tasks.first()->activityName(), QStringLiteral("Garden"));
    QCOMPARE(doc->tasks.first()->start(), QDateTime(QDate(2026, 11, 21), QTime(9, 30)));
    QCOMPARE(doc->tasks.first()->stop(), QDateTime(QDate(2026, 11, 21), QTime(10, 0)));
    QCOMPARE(doc->tasks.first()->shortcut, 0);

    // Deleted on the device: its id goes to the server, which retires the task.
    QVTask *task = doc->tasks.first();
    doc->removeTask(task);
    delete task;
    QCOMPARE(doc->deletedTaskIds, QList<int>{1020000});
    const SyncOutcome outcome = synchronize(window);
    QCOMPARE(outcome.messages, QStringLiteral("1 task deleted "));
    QVERIFY(doc->deletedTaskIds.isEmpty());
    QCOMPARE(m_server->history(QStringLiteral("alice")),
             QStringList({QStringLiteral("1020000\t1\tcreated\t2026-11-21 09:30\t2026-11-21 "
                                         "10:00\tGarden"),
                          QStringLiteral("1020000\t2\tdeleted\t2026-11-21 09:30\t2026-11-21 "
                                         "10:00\tGarden")}));
    const ServerProcess::Result csv = m_server->admin(
        {QStringLiteral("report"), QStringLiteral("summary"), QStringLiteral("--from"),
         QStringLiteral("2026-11-21"), QStringLiteral("--to"), QStringLiteral("2026-11-21"),
         QStringLiteral("--format"), QStringLiteral("csv")});
    QCOMPARE(csv.out, QStringLiteral("Activity,Category,Minutes,Hours\r\n"));
}

void TestServer::wrongPasswordLeavesFileUntouched()
{
    addCatalogue();
    ServerPassword(Configuration()).write(QStringLiteral("not-the-password"));
    QuorvelMainWindow window;
    // Something on the device that only the data file holds.
    DocumentBuilder(*window.document()).category(QStringLiteral("Local"));
    window.document()->nextId = 4242;
    window.flush();
    const QByteArray before = dataFileBytes();
    QVERIFY(!before.isEmpty());

    const SyncOutcome outcome = synchronize(window);
    QCOMPARE(outcome.status, QStringLiteral("Synchronization Failed"));
    QCOMPARE(outcome.colour, Red);
    QVERIFY(!outcome.succeeded);
    QCOMPARE(outcome.messages,
             QStringLiteral("The server refused this synchronization.\n"
                            "The user ID or the password is wrong. Please check them in Settings "
                            "\u2192 Operating Mode. "));
    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().at(0).title, QStringLiteral("Synchronization Incomplete"));
    QCOMPARE(dataFileBytes(), before);
    QCOMPARE(window.document()->getDocumentBytes(), before);
    QCOMPARE(window.document()->nextId, 4242);
    QVERIFY(m_server->exchangeLines().constLast().contains(
        QStringLiteral("result=refused:wrong-credentials")));

    // A disabled member is told so, once the password is right.
    QCOMPARE(
        m_server
            ->admin({QStringLiteral("user"), QStringLiteral("disable"), QStringLiteral("alice")})
            .status,
        0);
    ServerPassword(Configuration()).write(QStringLiteral("alice-secret"));
    MessageBox::clearShown();
    const SyncOutcome disabled = synchronize(window);
    QCOMPARE(disabled.status, QStringLiteral("Synchronization Failed"));
    QCOMPARE(disabled.messages,
             QStringLiteral("The server refused this synchronization.\n"
                            "Your user ID has been disabled on this server. Please ask your team "
                            "lead. "));
    QCOMPARE(dataFileBytes(), before);
}

void TestServer::membersShareCatalogue()
{
    addCatalogue();
    QStringList aliceCategories, aliceActivities;
    {
        QuorvelMainWindow window;
        QCOMPARE(synchronize(window).status, QStringLiteral("Synchronization Complete"));
        aliceCategories = names(window.document()->categories);
        aliceActivities = names(window.document()->activities);
    }
    prepareDevice(m_server->address(), QStringLiteral("bob"), QStringLiteral("bob-secret"));
    QuorvelMainWindow window;
    QCOMPARE(synchronize(window).status, QStringLiteral("Synchronization Complete"));
    QCOMPARE(names(window.document()->categories), aliceCategories);
    QCOMPARE(names(window.document()->activities), aliceActivities);
    QCOMPARE(aliceActivities.size(), 3);
    // Another device, another block of ids.
    QCOMPARE(window.document()->nextId, 1040000);
}

void TestServer::teamReportAddsUpMembers()
{
    addCatalogue();
    const auto work
        = [&](const QString &user, const QString &password, const QTime &start, const QTime &stop) {
              prepareDevice(m_server->address(), user, password);
              Clock::setFixed(QDateTime(QDate(2026, 11, 20), start));
              QuorvelMainWindow window;
              QCOMPARE(synchronize(window).status, QStringLiteral("Synchronization Complete"));
              startTask(window, QStringLiteral("Coding"));
              Clock::setFixed(QDateTime(QDate(2026, 11, 20), stop));
              window.mainWidget()->button(1)->click();
              QCOMPARE(synchronize(window).messages, QStringLiteral("1 task received "));
          };
    work(QStringLiteral("alice"), QStringLiteral("alice-secret"), QTime(9, 0), QTime(9, 30));
    work(QStringLiteral("bob"), QStringLiteral("bob-secret"), QTime(9, 0), QTime(9, 45));

    const QStringList period
        = {QStringLiteral("--from"),     QStringLiteral("2026-11-20"), QStringLiteral("--to"),
           QStringLiteral("2026-11-20"), QStringLiteral("--format"),   QStringLiteral("csv")};
    ServerProcess::Result team = m_server->admin(
        QStringList{QStringLiteral("report"), QStringLiteral("summary")} + period);
    QCOMPARE(team.status, 0);
    QCOMPARE(team.out, QStringLiteral("Activity,Category,Minutes,Hours\r\n"
                                      "Coding,Work,75,1.2500\r\n"));
    team = m_server->admin(QStringList{QStringLiteral("report"), QStringLiteral("timesheet")}
                           + period);
    QCOMPARE(team.out, QStringLiteral("Date,Activity,Category,Minutes\r\n"
                                      "2026-11-20,Coding,Work,75\r\n"));
    const ServerProcess::Result bob
        = m_server->admin(QStringList{QStringLiteral("report"), QStringLiteral("summary"),
                                      QStringLiteral("--user"), QStringLiteral("bob")}
                          + period);
    QCOMPARE(bob.out, QStringLiteral("Activity,Category,Minutes,Hours\r\n"
                                     "Coding,Work,45,0.7500\r\n"));

    // The HTML is the program's own report text: its totals row holds both members' time.
    const ServerProcess::Result html = m_server->admin(
        {QStringLiteral("report"), QStringLiteral("summary"), QStringLiteral("--from"),
         QStringLiteral("2026-11-20"), QStringLiteral("--to"), QStringLiteral("2026-11-20")});
    QCOMPARE(html.status, 0);
    QVERIFY(html.out.startsWith(QStringLiteral("<qt bgcolor=#ffffff><p><font face=Arial size=5 "
                                               "color=#0000ff>Period Summary Report</font>")));
    QVERIFY2(html.out.contains(QStringLiteral("<tr><td bgcolor=#c0c0c0>Coding</td>"
                                              "<td align=center bgcolor=#e0e0e0>&nbsp;</td>"
                                              "<td align=center bgcolor=#e0e0e0>1:15</td></tr>")),
             qPrintable(html.out));
}

void TestServer::secondExchangeChangesNothing()
{
    addCatalogue();
    QuorvelMainWindow window;
    QCOMPARE(synchronize(window).status, QStringLiteral("Synchronization Complete"));
    startTask(window, QStringLiteral("Design review"));
    Clock::setFixed(QDateTime(QDate(2026, 11, 21), QTime(11, 0, 0)));
    window.mainWidget()->button(1)->click();
    QCOMPARE(synchronize(window).messages, QStringLiteral("1 task received "));

    const QByteArray file = dataFileBytes();
    const QStringList kept = m_server->history(QStringLiteral("alice"));
    const SyncOutcome outcome = synchronize(window);
    QCOMPARE(outcome.status, QStringLiteral("Synchronization Complete"));
    QCOMPARE(outcome.messages,
             QStringLiteral("Up to date: nothing has changed since the last synchronization. "));
    QCOMPARE(dataFileBytes(), file);
    QCOMPARE(m_server->history(QStringLiteral("alice")), kept);
    QVERIFY(m_server->exchangeLines().constLast().contains(
        QStringLiteral("records-in=6 records-out=0")));
}

void TestServer::serverChangesAreExplained()
{
    addCatalogue();
    QuorvelMainWindow window;
    QCOMPARE(synchronize(window).status, QStringLiteral("Synchronization Complete"));
    const auto ok = [&](const QStringList &args) {
        const ServerProcess::Result result = m_server->admin(args);
        QVERIFY2(result.status == 0, qPrintable(result.err));
    };
    ok({QStringLiteral("activity"), QStringLiteral("rename"), QStringLiteral("Coding"),
        QStringLiteral("Programming")});
    ok({QStringLiteral("activity"), QStringLiteral("retire"), QStringLiteral("Garden")});
    const SyncOutcome outcome = synchronize(window);
    QCOMPARE(outcome.status, QStringLiteral("Synchronization Complete"));
    QCOMPARE(outcome.messages,
             QStringLiteral("Up to date: nothing has changed since the last synchronization.\n"
                            "The activity \u201cCoding\u201d is now called "
                            "\u201cProgramming\u201d.\n"
                            "The activity \u201cGarden\u201d has been withdrawn: please start no "
                            "new tasks of it.\n"
                            "This computer keeps the names it has. To take over the server's "
                            "list: synchronise, then choose Personal Mode and then Group Mode "
                            "again in Settings \u2192 Operating Mode, and synchronise once more; "
                            "your tasks come back from the server. "));
    // The device holds what it held.
    QCOMPARE(names(window.document()->activities),
             QStringList({QStringLiteral("1000002 Coding in Work"),
                          QStringLiteral("1000003 Design review in Work"),
                          QStringLiteral("1000004 Garden in Private")}));
}

void TestServer::queuedMessageArrivesOnce()
{
    const ServerProcess::Result sent = m_server->admin(
        {QStringLiteral("message"), QStringLiteral("send"), QStringLiteral("alice"),
         QStringLiteral("Timesheets are <b>due</b> on Friday.")});
    QCOMPARE(sent.status, 0);
    QCOMPARE(sent.out, QStringLiteral("Queued the message for 1 user.\n"));
    QuorvelMainWindow window;
    SyncOutcome outcome = synchronize(window);
    QCOMPARE(outcome.messages,
             QStringLiteral("Timesheets are due on Friday. \n"
                            "Up to date: nothing has changed since the last synchronization. "));
    outcome = synchronize(window);
    QCOMPARE(outcome.messages,
             QStringLiteral("Up to date: nothing has changed since the last synchronization. "));
}

int main(int argc, char *argv[])
{
    TestEnvironment environment;
    QuorvelApplication app(argc, argv);
    MessageBox::setTesting(true);
    TestServer tc;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&tc, argc, argv);
}

#include "tst_server.moc"
