// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The group server's side of the exchange, driven by devices that build their requests and
// read the replies with the program's own code: several devices of one member, going back
// after a failed exchange, another member's device, activities the server does not know,
// failed sign-ins, and the blocks of ids the devices number their tasks from. Every case runs
// with the server's data in SQLite and in PostgreSQL.

#include "ServerProcess.h"
#include "ServerStores.h"
#include "SyncDevice.h"
#include "TestEnvironment.h"

#include "model/DocumentFormat.h"
#include "platform/Clock.h"

#include <QStandardPaths>
#include <QtTest>

#include <map>
#include <memory>
#include <set>

namespace {

const QString CatalogueSummary = QStringLiteral(
    "2 new categories: Private, Work, 3 new activities: Coding, Design review, Garden");

QString paragraph(const QString &text)
{
    return QStringLiteral("<p>%1</p>\n").arg(text);
}

QString upToDate()
{
    return paragraph(QStringLiteral("Up to date: nothing has changed since the last "
                                    "synchronization."));
}

QString refusal(const QString &text)
{
    return QStringLiteral("<p><b>The server refused this synchronization.</b></p>\n<p>%1</p>\n")
        .arg(text);
}

QDateTime at(int day, int hour, int minute)
{
    return QDateTime(QDate(2026, 11, day), QTime(hour, minute));
}

} // namespace

class TestServerExchange : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase_data();
    void initTestCase();
    void init();
    void cleanup();

    void twoDevicesOfOneMember();
    void changedOnAnotherDevice();
    void revertedExchangeIsRepeated();
    void anotherMembersDeviceIsRefused();
    void unknownActivityKeptUnderWithdrawnOne();
    void unusableNamesAreTakenInSafeForms();
    void flawedTasksAreKeptOutWhole();
    void failedSignInsAreLimited();
    void userIdsCannotBeToldApartByFailures();
    void waitsGrowWithEachFailure();
    void deviceKeepsItsBlocks();
    void emptyExchangesCannotUseUpTheBlocks();
    void restoredBackupLosesNothing();
    void devicesTellWhatALostMarkKnew();
    void namesAreEscapedInMessages();
    void unknownDeletedIdsAreTaken();

private:
    static QString waitText(int minutes);
    static QString wrongPassword()
    {
        return refusal(QStringLiteral("The user ID or the password is wrong. Please check them "
                                      "in Settings \u2192 Operating Mode."));
    }
    SyncDevice device(const QString &user = QStringLiteral("alice"))
    {
        return SyncDevice(m_server->address(), user, user + QStringLiteral("-secret"));
    }
    void admin(const QStringList &args)
    {
        const ServerProcess::Result result = m_server->admin(args);
        QVERIFY2(result.status == 0, qPrintable(result.err));
    }

    ServerStores m_stores;
    QStringList m_storage;
    std::unique_ptr<ServerProcess> m_server;
};

void TestServerExchange::initTestCase_data()
{
    ServerStores::addRows();
}

void TestServerExchange::initTestCase()
{
    QString problem;
    QVERIFY2(m_stores.start(&problem), qPrintable(problem));
}

void TestServerExchange::init()
{
    QFETCH_GLOBAL(QString, backend);
    QString skip;
    const QStringList storage = m_stores.create(backend, &skip);
    if (storage.isEmpty())
        QSKIP(qPrintable(skip));
    m_storage = storage;
    m_server = std::make_unique<ServerProcess>(storage);
    QVERIFY(m_server->addUser(QStringLiteral("alice"), QStringLiteral("alice-secret")));
    QVERIFY(m_server->addUser(QStringLiteral("bob"), QStringLiteral("bob-secret")));
    admin({QStringLiteral("category"), QStringLiteral("add"), QStringLiteral("Work")});
    admin({QStringLiteral("category"), QStringLiteral("add"), QStringLiteral("Private")});
    admin({QStringLiteral("activity"), QStringLiteral("add"), QStringLiteral("Coding"),
           QStringLiteral("--category"), QStringLiteral("Work")});
    admin({QStringLiteral("activity"), QStringLiteral("add"), QStringLiteral("Design review"),
           QStringLiteral("--category"), QStringLiteral("Work")});
    admin({QStringLiteral("activity"), QStringLiteral("add"), QStringLiteral("Garden"),
           QStringLiteral("--category"), QStringLiteral("Private")});
    QVERIFY(m_server->start());
}

void TestServerExchange::cleanup()
{
    if (m_server) {
        QVERIFY2(m_server->stop(), qPrintable(m_server->log()));
        m_server.reset();
    }
}

void TestServerExchange::twoDevicesOfOneMember()
{
    SyncDevice a = device();
    SyncDevice::Reply reply = a.exchange();
    QCOMPARE(reply.status, 200);
    QVERIFY(reply.readable);
    QCOMPARE(reply.messages, paragraph(CatalogueSummary));
    QCOMPARE(a.doc.nextId, 1020000);
    const int x = a.addTask(QStringLiteral("Coding"), at(20, 9, 0), at(20, 9, 30))->id;
    QCOMPARE(x, 1020000);
    QCOMPARE(a.exchange().messages, paragraph(QStringLiteral("1 task received")));

    // The second device gets the first one's task, as a synchronised task without a button,
    // and a block of ids of its own.
    SyncDevice b = device();
    reply = b.exchange();
    QCOMPARE(reply.messages, paragraph(QStringLiteral("1 task sent, ") + CatalogueSummary));
    QCOMPARE(b.doc.nextId, 1040000);
    const QVTask *copy = b.task(x);
    QVERIFY(copy);
    QVERIFY(copy->synchronised);
    QCOMPARE(copy->shortcut, 0);
    QCOMPARE(copy->activityName(), QStringLiteral("Coding"));
    QCOMPARE(copy->start(), at(20, 9, 0));
    QCOMPARE(copy->stop(), at(20, 9, 30));
    const int y = b.addTask(QStringLiteral("Garden"), at(20, 10, 0), at(20, 11, 0))->id;
    QCOMPARE(y, 1040000);
    QCOMPARE(b.exchange().messages, paragraph(QStringLiteral("1 task received")));
    QCOMPARE(a.exchange().messages, paragraph(QStringLiteral("1 task sent")));
    QVERIFY(a.task(y));

    // The first device deletes its own task: it records no id for it, and the server sees it
    // gone from the device that made it.
    QVTask *own = a.task(x);
    a.doc.removeTask(own);
    delete own;
    QVERIFY(a.doc.deletedTaskIds.isEmpty());
    QCOMPARE(a.exchange().messages, paragraph(QStringLiteral("1 task deleted")));

    // The other device cannot be told to drop its copy; it is told what to do.
    QCOMPARE(b.exchange().messages,
             upToDate()
                 + QStringLiteral("<p>A task was deleted on another computer and is still "
                                  "here:<br>\n2026-11-20 09:00\u201309:30 Coding<br>\nDelete it "
                                  "here too.</p>\n"));
    QVTask *stale = b.task(x);
    b.doc.removeTask(stale);
    delete stale;
    QCOMPARE(b.doc.deletedTaskIds, QList<int>{x});
    QCOMPARE(b.exchange().messages, upToDate());
    QVERIFY(b.doc.deletedTaskIds.isEmpty());

    QCOMPARE(m_server->history(QStringLiteral("alice")),
             QStringList({QStringLiteral("1020000\t1\tcreated\t2026-11-20 09:00\t2026-11-20 "
                                         "09:30\tCoding"),
                          QStringLiteral("1020000\t2\tdeleted\t2026-11-20 09:00\t2026-11-20 "
                                         "09:30\tCoding"),
                          QStringLiteral("1040000\t1\tcreated\t2026-11-20 10:00\t2026-11-20 "
                                         "11:00\tGarden")}));
    const QStringList lines = m_server->exchangeLines();
    QCOMPARE(lines.size(), 8);
    QVERIFY(lines.at(0).contains(QStringLiteral("device=1 ")));
    QVERIFY(lines.at(2).contains(QStringLiteral("device=2 ")));
    QVERIFY(lines.at(7).contains(QStringLiteral("device=2 ")));
}

void TestServerExchange::changedOnAnotherDevice()
{
    SyncDevice a = device();
    a.exchange();
    const int x = a.addTask(QStringLiteral("Coding"), at(20, 9, 0), at(20, 9, 30))->id;
    a.exchange();
    SyncDevice b = device();
    b.exchange();

    QVTask *copy = b.task(x);
    Clock::setFixed(QDateTime(QDate(2026, 11, 21), QTime(12, 0, 5)));
    copy->modified();
    copy->setStop(at(20, 9, 45));
    QCOMPARE(copy->modifiedTime, QDateTime(QDate(2026, 11, 21), QTime(12, 0, 5)));
    QCOMPARE(b.exchange().messages, paragraph(QStringLiteral("1 task received")));

    QCOMPARE(a.exchange().messages,
             upToDate()
                 + QStringLiteral("<p>A task was changed on another computer and still shows "
                                  "here as it was. The server keeps the newer version:<br>\n"
                                  "2026-11-20 09:00\u201309:45 Coding<br>\nEdit it here to "
                                  "match.</p>\n"));
    // Edited to match: nothing more to say, and no new version.
    a.task(x)->setStop(at(20, 9, 45));
    QCOMPARE(a.exchange().messages, upToDate());
    QCOMPARE(m_server->history(QStringLiteral("alice")),
             QStringList({QStringLiteral("1020000\t1\tcreated\t2026-11-20 09:00\t2026-11-20 "
                                         "09:30\tCoding"),
                          QStringLiteral("1020000\t2\tchanged\t2026-11-20 09:00\t2026-11-20 "
                                         "09:45\tCoding")}));
    // A later change on the first device is again the truth.
    a.task(x)->setStop(at(20, 10, 0));
    QCOMPARE(a.exchange().messages, paragraph(QStringLiteral("1 task received")));
    QCOMPARE(m_server->history(QStringLiteral("alice")).constLast(),
             QStringLiteral("1020000\t3\tchanged\t2026-11-20 09:00\t2026-11-20 10:00\tCoding"));
}

void TestServerExchange::revertedExchangeIsRepeated()
{
    // A device that goes back after its first exchange is still empty: it gets everything
    // again.
    SyncDevice a = device();
    SyncDevice::Reply reply = a.exchange(false);
    QCOMPARE(reply.messages, paragraph(CatalogueSummary));
    QCOMPARE(a.doc.activities.size(), 0);
    QCOMPARE(a.exchange().messages, paragraph(CatalogueSummary));
    QCOMPARE(a.doc.activities.size(), 3);

    SyncDevice b = device();
    b.exchange();
    const int y = b.addTask(QStringLiteral("Garden"), at(20, 10, 0), at(20, 11, 0))->id;
    b.exchange();
    // The task sent in an exchange the device went back from is sent again.
    QCOMPARE(a.exchange(false).messages, paragraph(QStringLiteral("1 task sent")));
    QVERIFY(!a.task(y));
    QCOMPARE(a.exchange().messages, paragraph(QStringLiteral("1 task sent")));
    QVERIFY(a.task(y));
    QCOMPARE(a.exchange().messages, upToDate());

    // A device's own task sent in an exchange it went back from stays its own.
    const int z = a.addTask(QStringLiteral("Coding"), at(21, 8, 0), at(21, 8, 30))->id;
    QCOMPARE(a.exchange(false).messages, paragraph(QStringLiteral("1 task received")));
    QCOMPARE(a.exchange().messages, upToDate());
    QVERIFY(a.task(z));
    QCOMPARE(m_server->history(QStringLiteral("alice")).size(), 2);
}

void TestServerExchange::anotherMembersDeviceIsRefused()
{
    SyncDevice a = device();
    a.exchange();
    a.addTask(QStringLiteral("Coding"), at(20, 9, 0), at(20, 9, 30));
    a.exchange();

    // The user id changed while the device still holds the first member's tasks.
    a.user = QStringLiteral("bob");
    a.password = QStringLiteral("bob-secret");
    const int nextId = a.doc.nextId;
    const SyncDevice::Reply reply = a.exchange();
    QCOMPARE(reply.status, 409);
    QVERIFY(reply.finished);
    QVERIFY(!reply.readable);
    QCOMPARE(reply.messages,
             refusal(QStringLiteral("This computer holds the data of another user ID. To "
                                    "synchronise as this user, choose Personal Mode and then "
                                    "Group Mode again in Settings \u2192 Operating Mode, which "
                                    "empties it, and synchronise again.")));
    QCOMPARE(a.doc.nextId, nextId);
    QVERIFY(m_server->history(QStringLiteral("bob")).isEmpty());

    // Emptied, as the change to group mode leaves it, it starts afresh for the other member.
    SyncDevice emptied = device(QStringLiteral("bob"));
    emptied.doc.nextId = nextId;
    QCOMPARE(emptied.exchange().messages, paragraph(CatalogueSummary));
    QCOMPARE(emptied.doc.nextId, 1040000);
    QVERIFY(emptied.doc.tasks.isEmpty());
}

void TestServerExchange::unknownActivityKeptUnderWithdrawnOne()
{
    SyncDevice a = device();
    a.exchange();
    // An activity in a category of the device's own, as a data file edited elsewhere could
    // bring.
    auto *side = new ActivityCategory(a.doc.allocateId(), QStringLiteral("Side"), false);
    a.doc.categories.append(side);
    a.doc.activities.append(
        new Activity(a.doc.allocateId(), QStringLiteral("Skunkworks"), side, false));
    a.doc.categories.sort();
    a.doc.activities.sort();
    a.addTask(QStringLiteral("Skunkworks"), at(20, 14, 0), at(20, 16, 0));
    QCOMPARE(a.exchange().messages,
             paragraph(QStringLiteral("1 task received"))
                 + paragraph(QStringLiteral(
                     "The activity \u201cSkunkworks\u201d is not on the server's list. Its tasks "
                     "are kept under a withdrawn activity of that name; ask your team lead to "
                     "add it.")));
    QCOMPARE(a.exchange().messages, upToDate());
    const ServerProcess::Result activities
        = m_server->admin({QStringLiteral("activity"), QStringLiteral("list")});
    QCOMPARE(activities.out, QStringLiteral("Coding\tWork\nDesign review\tWork\nGarden\tPrivate\n"
                                            "Skunkworks\tSide\twithdrawn\n"));

    // Another device of the member gets the task with its withdrawn activity.
    SyncDevice b = device();
    QCOMPARE(b.exchange().messages, paragraph(QStringLiteral("1 task sent, ") + CatalogueSummary));
    const Activity *skunkworks = b.activity(QStringLiteral("Skunkworks"));
    QVERIFY(skunkworks);
    QVERIFY(skunkworks->obsolete);
    QVERIFY(skunkworks->category);
    QCOMPARE(skunkworks->category->name, QStringLiteral("Side"));
    QVERIFY(skunkworks->category->obsolete);
    QCOMPARE(b.doc.tasks.size(), 1);

    const ServerProcess::Result csv = m_server->admin(
        {QStringLiteral("report"), QStringLiteral("summary"), QStringLiteral("--from"),
         QStringLiteral("2026-11-20"), QStringLiteral("--to"), QStringLiteral("2026-11-20"),
         QStringLiteral("--format"), QStringLiteral("csv")});
    QCOMPARE(csv.out, QStringLiteral("Activity,Category,Minutes,Hours\r\n"
                                     "Skunkworks,Side,120,2.0000\r\n"));
}

void TestServerExchange::unusableNamesAreTakenInSafeForms()
{
    SyncDevice a = device();
    a.exchange();
    // Names no catalogue may hold, as a data file edited elsewhere or a hostile device could
    // bring: markers of the document and the reply, blanks, control characters, and names
    // that differ from one in use only in case.
    auto *odd = new ActivityCategory(a.doc.allocateId(), QStringLiteral("--start--"), false);
    auto *work = new ActivityCategory(a.doc.allocateId(), QStringLiteral("WORK"), false);
    a.doc.categories.append(odd);
    a.doc.categories.append(work);
    const char *const names[]
        = {"--end--", "--start--", "--sync-end--", "   ", "Tab\there\r", "Extra", "EXTRA"};
    int day = 1;
    for (const char *name : names) {
        a.doc.activities.append(
            new Activity(a.doc.allocateId(), QString::fromUtf8(name), odd, false));
        a.doc.activities.sort();
        a.addTask(QString::fromUtf8(name), at(day, 9, 0), at(day, 10, 0));
        ++day;
    }
    a.doc.activities.append(
        new Activity(a.doc.allocateId(), QStringLiteral("coding"), work, false));
    a.doc.activities.sort();
    a.addTask(QStringLiteral("coding"), at(day, 9, 0), at(day, 10, 0));
    const QString tooLong(5000, QLatin1Char('x'));
    a.doc.activities.append(new Activity(a.doc.allocateId(), tooLong, work, false));
    a.doc.activities.sort();
    a.addTask(tooLong, at(day + 1, 9, 0), at(day + 1, 10, 0));
    const QString shortened
        = QString(QuorvelDocument::MaxNameLength - 1, QLatin1Char('x')) + QChar(0x2026);
    a.doc.categories.sort();

    const SyncDevice::Reply reply = a.exchange();
    QCOMPARE(reply.status, 200);
    QVERIFY(reply.readable);
    const auto renamed = [](const char *name, const char *as) {
        return paragraph(QStringLiteral("The activity \u201c%1\u201d is not on the server's list, "
                                        "and its name cannot be one there. Its tasks are kept "
                                        "under a withdrawn activity named \u201c%2\u201d; ask "
                                        "your team lead about it.")
                             .arg(QString::fromUtf8(name), QString::fromUtf8(as)));
    };
    const auto withdrawn = [](const char *name) {
        return paragraph(QStringLiteral("The activity \u201c%1\u201d is not on the server's list. "
                                        "Its tasks are kept under a withdrawn activity of that "
                                        "name; ask your team lead to add it.")
                             .arg(QString::fromUtf8(name)));
    };
    const auto underServers = [](const char *name, const char *servers) {
        return paragraph(QStringLiteral("The activity \u201c%1\u201d is not on the server's list. "
                                        "Its tasks are kept under the server's activity "
                                        "\u201c%2\u201d.")
                             .arg(QString::fromUtf8(name), QString::fromUtf8(servers)));
    };
    // Told in the order of the tasks, each name once.
    QCOMPARE(reply.messages,
             paragraph(QStringLiteral("9 tasks received"))
                 + paragraph(QStringLiteral("The category \u201c--start--\u201d cannot be a "
                                            "name on the server. Its activities are kept in a "
                                            "category named \u201c--start-- (renamed)\u201d."))
                 + renamed("--end--", "--end-- (renamed)")
                 + renamed("--start--", "--start-- (renamed)")
                 + renamed("--sync-end--", "--sync-end-- (renamed)") + renamed("", "(no name)")
                 + withdrawn("Tab here") + withdrawn("Extra") + underServers("EXTRA", "Extra")
                 + underServers("coding", "Coding")
                 + renamed(tooLong.toUtf8().constData(), shortened.toUtf8().constData()));
    QCOMPARE(m_server->admin({QStringLiteral("activity"), QStringLiteral("list")}).out,
             QStringLiteral("(no name)\t--start-- (renamed)\twithdrawn\n"
                            "--end-- (renamed)\t--start-- (renamed)\twithdrawn\n"
                            "--start-- (renamed)\t--start-- (renamed)\twithdrawn\n"
                            "--sync-end-- (renamed)\t--start-- (renamed)\twithdrawn\n"
                            "Coding\tWork\nDesign review\tWork\n"
                            "Extra\t--start-- (renamed)\twithdrawn\n"
                            "Garden\tPrivate\n"
                            "Tab here\t--start-- (renamed)\twithdrawn\n")
                 + shortened + QStringLiteral("\tWork\twithdrawn\n"));
    QCOMPARE(m_server->admin({QStringLiteral("category"), QStringLiteral("list")}).out,
             QStringLiteral("--start-- (renamed)\twithdrawn\nPrivate\nWork\n"));

    // An emptied device of the member reads what it is sent, every task with its activity.
    SyncDevice emptied = device();
    emptied.doc.nextId = a.doc.nextId;
    const SyncDevice::Reply again = emptied.exchange();
    QCOMPARE(again.status, 200);
    QVERIFY2(again.readable, again.document.constData());
    QVERIFY(again.messages.startsWith(QStringLiteral("<p>9 tasks sent, ")));
    QCOMPARE(emptied.doc.tasks.size(), 9);
    QStringList booked;
    for (const QVTask *task : std::as_const(emptied.doc.tasks))
        booked << task->activityName();
    QCOMPARE(
        booked,
        QStringList({QStringLiteral("--end-- (renamed)"), QStringLiteral("--start-- (renamed)"),
                     QStringLiteral("--sync-end-- (renamed)"), QStringLiteral("(no name)"),
                     QStringLiteral("Tab here"), QStringLiteral("Extra"), QStringLiteral("Extra"),
                     QStringLiteral("Coding"), shortened}));
}

void TestServerExchange::flawedTasksAreKeptOutWhole()
{
    SyncDevice a = device();
    a.exchange();
    a.addTask(QStringLiteral("Coding"), at(20, 9, 0), at(20, 9, 30));
    QCOMPARE(a.exchange().messages, paragraph(QStringLiteral("1 task received")));

    // The device's document with tasks the program itself would read with a start or stop
    // that is no moment, or without an activity.
    const auto document = [&](const QList<DocumentFormat::TaskRecord> &tasks) {
        DocumentFormat::Writer out;
        out.begin(a.doc.nextId);
        out.count(a.doc.categories.size());
        for (const ActivityCategory *category : std::as_const(a.doc.categories))
            out.category(category->id, category->name, category->obsolete);
        out.count(a.doc.activities.size());
        for (const Activity *activity : std::as_const(a.doc.activities))
            out.activity(activity->id, activity->name, activity->obsolete,
                         int(a.doc.categories.indexOf(activity->category)));
        out.count(tasks.size());
        for (const DocumentFormat::TaskRecord &task : tasks)
            out.task(task);
        out.end({});
        return out.bytes();
    };
    const auto record = [](int id, int activity, DocumentFormat::WallClock start,
                           DocumentFormat::WallClock stop) {
        DocumentFormat::TaskRecord task;
        task.id = id;
        task.activityPosition = activity;
        task.start = start;
        task.stop = stop;
        return task;
    };
    const auto when = [](int year, int month, int day, int hour, int minute) {
        DocumentFormat::WallClock clock;
        clock.year = year;
        clock.month = month;
        clock.day = day;
        clock.hour = hour;
        clock.minute = minute;
        return clock;
    };
    const int coding = int(a.doc.activities.indexOf(a.activity(QStringLiteral("Coding"))));
    const DocumentFormat::WallClock nine = when(2026, 11, 21, 9, 0);
    const DocumentFormat::WallClock ten = when(2026, 11, 21, 10, 0);
    a.sentDocument = document({
        // What the server has of it stays as it is.
        record(1020000, coding, when(2026, 13, 20, 9, 0), when(2026, 11, 20, 9, 30)),
        record(1020001, coding, nine, when(2026, 11, 40, 10, 0)),
        record(1020002, coding, when(2026, 11, 21, 25, 0), ten),
        record(1020003, coding, when(99999, 11, 21, 9, 0), ten),
        record(1020004, 3, nine, ten),
        record(1020005, -1, nine, ten),
        record(1020006, coding, DocumentFormat::WallClock(), ten),
        record(1020007, coding, when(2026, 11, 22, 9, 0), when(2026, 11, 22, 10, 0)),
        // A running task is whole.
        record(1020008, coding, when(2026, 11, 23, 9, 0), DocumentFormat::WallClock()),
    });
    const SyncDevice::Reply reply = a.exchange(false);
    QCOMPARE(reply.status, 200);
    QCOMPARE(reply.messages,
             paragraph(QStringLiteral("2 tasks received"))
                 + QStringLiteral(
                     "<p>7 tasks of this computer cannot be taken by the server and are kept "
                     "here only:<br>\n"
                     "task 1020000: its start is not a valid date and time<br>\n"
                     "task 1020001: its stop is not a valid date and time<br>\n"
                     "task 1020002: its start is not a valid date and time<br>\n"
                     "task 1020003: its start is not a valid date and time<br>\n"
                     "task 1020004: it has no activity<br>\n"
                     "task 1020005: it has no activity<br>\n"
                     "task 1020006: its start is not a valid date and time<br>\n"
                     "Edit or delete them here.</p>\n"));
    QCOMPARE(m_server->history(QStringLiteral("alice")),
             QStringList({QStringLiteral("1020000\t1\tcreated\t2026-11-20 09:00\t2026-11-20 "
                                         "09:30\tCoding"),
                          QStringLiteral("1020007\t1\tcreated\t2026-11-22 09:00\t2026-11-22 "
                                         "10:00\tCoding"),
                          QStringLiteral("1020008\t1\tcreated\t2026-11-23 09:00\t\tCoding")}));

    // Another device of the member gets what the server took, and nothing of the rest.
    SyncDevice b = device();
    b.exchange();
    QStringList ids;
    for (const QVTask *task : std::as_const(b.doc.tasks))
        ids << QString::number(task->id);
    QCOMPARE(ids, QStringList({QStringLiteral("1020000"), QStringLiteral("1020007"),
                               QStringLiteral("1020008")}));
    QCOMPARE(b.task(1020000)->start(), at(20, 9, 0));

    // Set right, a task is taken as any other.
    a.sentDocument = document({
        record(1020000, coding, when(2026, 13, 20, 9, 0), when(2026, 11, 20, 9, 30)),
        record(1020001, coding, nine, ten),
        record(1020007, coding, when(2026, 11, 22, 9, 0), when(2026, 11, 22, 10, 0)),
        record(1020008, coding, when(2026, 11, 23, 9, 0), DocumentFormat::WallClock()),
    });
    QCOMPARE(a.exchange(false).messages,
             paragraph(QStringLiteral("1 task received"))
                 + QStringLiteral("<p>A task of this computer cannot be taken by the server and "
                                  "is kept here only:<br>\ntask 1020000: its start is not a "
                                  "valid date and time<br>\nEdit or delete it here.</p>\n"));
}

QString TestServerExchange::waitText(int minutes)
{
    return refusal(
        minutes == 1 ? QStringLiteral("Too many failed sign-ins. Please wait a minute and check "
                                      "the user ID and password in Settings \u2192 Operating "
                                      "Mode.")
                     : QStringLiteral("Too many failed sign-ins. Please wait %1 minutes and check "
                                      "the user ID and password in Settings \u2192 Operating "
                                      "Mode.")
                           .arg(minutes));
}

void TestServerExchange::failedSignInsAreLimited()
{
    const QHostAddress guessing(QStringLiteral("127.0.0.2"));
    SyncDevice wrong = device();
    wrong.password = QStringLiteral("guess");
    wrong.source = guessing;
    for (int i = 0; i < 5; ++i) {
        const SyncDevice::Reply reply = wrong.exchange();
        QCOMPARE(reply.status, 403);
        QCOMPARE(reply.messages, wrongPassword());
    }
    // That user id waits at that address, also with the right password.
    QCOMPARE(wrong.exchange().messages, waitText(1));
    SyncDevice there = device();
    there.source = guessing;
    SyncDevice::Reply reply = there.exchange();
    QCOMPARE(reply.status, 429);
    QVERIFY(!reply.readable);
    QCOMPARE(reply.messages, waitText(1));
    QVERIFY(there.doc.activities.isEmpty());

    // The member at another address is served, and so is another member at that address.
    SyncDevice a = device();
    QCOMPARE(a.exchange().status, 200);
    SyncDevice b = device(QStringLiteral("bob"));
    b.source = guessing;
    QCOMPARE(b.exchange().status, 200);

    // An address that fails for many user ids waits for all of them.
    for (int i = 0; i < 15; ++i) {
        SyncDevice stranger = device(QStringLiteral("mallory%1").arg(i));
        stranger.source = guessing;
        reply = stranger.exchange();
        QCOMPARE(reply.status, 403);
        QCOMPARE(reply.messages, wrongPassword());
    }
    reply = b.exchange();
    QCOMPARE(reply.status, 429);
    QCOMPARE(reply.messages, waitText(1));
    QVERIFY(m_server->exchangeLines().constLast().contains(
        QStringLiteral("user=\"bob\" device=0 records-in=0 records-out=0")));
    QVERIFY(m_server->exchangeLines().constLast().contains(
        QStringLiteral("result=refused:rate-limited")));
    QCOMPARE(a.exchange().status, 200);
}

void TestServerExchange::userIdsCannotBeToldApartByFailures()
{
    SyncDevice known = device();
    known.password = QStringLiteral("guess");
    known.source = QHostAddress(QStringLiteral("127.0.0.3"));
    SyncDevice unknown = device(QStringLiteral("nobody"));
    unknown.password = QStringLiteral("guess");
    unknown.source = QHostAddress(QStringLiteral("127.0.0.4"));
    for (int i = 0; i < 30; ++i) {
        const SyncDevice::Reply first = known.exchange();
        const SyncDevice::Reply second = unknown.exchange();
        QCOMPARE(first.status, i < 5 ? 403 : 429);
        QCOMPARE(second.status, first.status);
        QCOMPARE(second.messages, first.messages);
    }
}

void TestServerExchange::waitsGrowWithEachFailure()
{
    QVERIFY(m_server->stop());
    const auto startAt = [&](const char *moment) {
        qputenv("QUORVEL_FAKE_NOW", moment);
        const bool started = m_server->start();
        qunsetenv("QUORVEL_FAKE_NOW");
        return started;
    };
    QVERIFY(startAt("2026-11-21T09:00:00"));
    SyncDevice wrong = device();
    wrong.password = QStringLiteral("guess");
    for (int i = 0; i < 5; ++i)
        QCOMPARE(wrong.exchange().status, 403);
    QCOMPARE(wrong.exchange().messages, waitText(1));

    // Each failure after the wait doubles the next one.
    for (const auto &[moment, minutes] :
         {std::pair("2026-11-21T09:01:30", 2), std::pair("2026-11-21T09:04:00", 4),
          std::pair("2026-11-21T09:09:00", 8), std::pair("2026-11-21T09:18:00", 15),
          std::pair("2026-11-21T09:34:00", 15)}) {
        QVERIFY(m_server->stop());
        QVERIFY(startAt(moment));
        wrong.setAddress(m_server->address());
        QCOMPARE(wrong.exchange().messages, wrongPassword());
        QCOMPARE(wrong.exchange().messages, waitText(minutes));
    }

    // Once the wait is over, the right password is taken, and the count starts afresh.
    QVERIFY(m_server->stop());
    QVERIFY(startAt("2026-11-21T09:50:00"));
    SyncDevice a = device();
    QCOMPARE(a.exchange().status, 200);
    wrong.setAddress(m_server->address());
    for (int i = 0; i < 5; ++i)
        QCOMPARE(wrong.exchange().status, 403);
    QCOMPARE(wrong.exchange().messages, waitText(1));
}

void TestServerExchange::deviceKeepsItsBlocks()
{
    SyncDevice a = device();
    a.exchange();
    QCOMPARE(a.doc.nextId, 1020000);
    // Near the end of its block, the device is given the next free one.
    a.doc.nextId = 1038500;
    a.addTask(QStringLiteral("Coding"), at(20, 9, 0), at(20, 9, 30));
    QCOMPARE(a.exchange().messages, paragraph(QStringLiteral("1 task received")));
    QCOMPARE(a.doc.nextId, 1040000);
    // Within it, its next id stays as it is.
    a.addTask(QStringLiteral("Coding"), at(20, 10, 0), at(20, 10, 30));
    a.exchange();
    QCOMPARE(a.doc.nextId, 1040001);
    // A block used up to its last id still tells which device it is.
    a.doc.nextId = 1060000;
    a.exchange();
    QCOMPARE(a.doc.nextId, 1060000);
    for (const QString &line : m_server->exchangeLines())
        QVERIFY2(line.contains(QStringLiteral(" device=1 ")), qPrintable(line));
    // Another device comes after them.
    SyncDevice b = device();
    b.exchange();
    QCOMPARE(b.doc.nextId, 1080000);
}

void TestServerExchange::emptyExchangesCannotUseUpTheBlocks()
{
    // A thousand exchanges of new, empty devices of one member: ten get a block, as many as
    // a member's computers get in a day; the others are told, and change nothing.
    const QString tooMany = refusal(QStringLiteral(
        "The server has set up as many new computers for this user ID in the last 24 hours as "
        "it allows (10). Nothing was changed; please synchronise again tomorrow, or ask your "
        "team lead."));
    std::set<int> given;
    for (int i = 0; i < 1000; ++i) {
        SyncDevice fresh = device();
        const SyncDevice::Reply reply = fresh.exchange();
        if (i < 10) {
            QCOMPARE(reply.status, 200);
            given.insert(fresh.doc.nextId);
        } else {
            QCOMPARE(reply.status, 429);
            QCOMPARE(reply.messages, tooMany);
            QCOMPARE(fresh.doc.nextId, 1000);
        }
        // The server's log is read now and then, before it fills the pipe.
        if (i % 100 == 0)
            m_server->log();
    }
    QCOMPARE(int(given.size()), 10);
    QCOMPARE(*given.rbegin(), 1200000);
    QVERIFY(
        m_server->exchangeLines().constLast().contains(QStringLiteral("result=refused:blocks")));

    // Other members' new computers are served from the next block on.
    SyncDevice b = device(QStringLiteral("bob"));
    QCOMPARE(b.exchange().messages, paragraph(CatalogueSummary));
    QCOMPARE(b.doc.nextId, 1220000);
    // The team lead sees and can forget the devices, in either store.
    const ServerProcess::Result listed
        = m_server->admin({QStringLiteral("device"), QStringLiteral("list"),
                           QStringLiteral("--user"), QStringLiteral("bob")});
    QCOMPARE(listed.status, 0);
    QVERIFY2(listed.out.startsWith(QStringLiteral("11\tbob\t1220000-1239999\tadded ")),
             qPrintable(listed.out));
    QCOMPARE(listed.out.count(QLatin1Char('\n')), 1);

    // A device of the member that has a block goes on as before, and one near its block's end
    // goes on within it until the member may be given another.
    SyncDevice a = device();
    a.doc.nextId = 1020000;
    QCOMPARE(a.exchange().messages, paragraph(CatalogueSummary));
    a.doc.nextId = 1039000;
    a.addTask(QStringLiteral("Coding"), at(20, 9, 0), at(20, 9, 30));
    QCOMPARE(a.exchange().messages, paragraph(QStringLiteral("1 task received")));
    QCOMPARE(a.doc.nextId, 1039001);
    // A forgotten device's block counts no more.
    QCOMPARE(
        m_server->admin({QStringLiteral("device"), QStringLiteral("forget"), QStringLiteral("10")})
            .out.section(QLatin1Char('\n'), 0, 0),
        QStringLiteral("Forgot the device 10 of alice."));
    QCOMPARE(a.exchange().messages, upToDate());
    QCOMPARE(a.doc.nextId, 1240000);
}

void TestServerExchange::restoredBackupLosesNothing()
{
    QTemporaryDir folder;
    const QString backup = folder.filePath(QStringLiteral("backup"));
    SyncDevice a1 = device();
    SyncDevice b1 = device(QStringLiteral("bob"));
    int minute = 0;
    const auto work = [&](SyncDevice &d) {
        ++minute;
        d.addTask(QStringLiteral("Coding"), at(1 + minute / 20, 8, minute % 20 * 2),
                  at(1 + minute / 20, 8, minute % 20 * 2 + 1));
        const SyncDevice::Reply reply = d.exchange();
        QCOMPARE(reply.status, 200);
    };
    for (SyncDevice *d : {&a1, &b1}) {
        QCOMPARE(d->exchange().status, 200);
        work(*d);
    }
    QString problem;
    QVERIFY2(m_stores.backUp(*m_server, m_storage, backup, &problem), qPrintable(problem));

    // After the backup: new devices of both members, more tasks, and a new activity.
    SyncDevice a2 = device();
    SyncDevice b2 = device(QStringLiteral("bob"));
    for (SyncDevice *d : {&a2, &b2}) {
        QCOMPARE(d->exchange().status, 200);
        work(*d);
    }
    admin({QStringLiteral("activity"), QStringLiteral("add"), QStringLiteral("Review"),
           QStringLiteral("--category"), QStringLiteral("Work")});
    work(a1);
    work(b1);
    QVERIFY(a1.activity(QStringLiteral("Review")));
    const int review = a1.activity(QStringLiteral("Review"))->id;
    a1.addTask(QStringLiteral("Review"), at(10, 9, 0), at(10, 10, 0));
    QCOMPARE(a1.exchange().status, 200);

    // The backup put back as an administrator would, with the server stopped.
    QVERIFY(m_server->stop());
    QVERIFY2(m_stores.putBack(*m_server, m_storage, backup, ServerStores::How::Command, &problem),
             qPrintable(problem));
    QVERIFY(m_server->start());
    // The restore command itself starts the counters after the ids handed out; for a database
    // put back by other means, the server does at its start.
    QCOMPARE(m_server->log().contains(QStringLiteral(
                 "quorvel-server: the database had handed out fewer ids than the server's "
                 "record of them says (it came back from a backup): its counters now start "
                 "after them, so no id is handed out twice\n")),
             m_storage.first() == QLatin1String("--database"));
    admin({QStringLiteral("activity"), QStringLiteral("add"), QStringLiteral("Other"),
           QStringLiteral("--category"), QStringLiteral("Work")});

    // New devices first: they must not be given a block that a device still holds.
    SyncDevice a3 = device();
    SyncDevice b3 = device(QStringLiteral("bob"));
    std::vector<SyncDevice *> devices = {&a1, &b1, &a2, &b2, &a3, &b3};
    for (SyncDevice *d : {&a3, &b3}) {
        QCOMPARE(d->exchange().status, 200);
        work(*d);
    }
    // The catalogue's ids go on after those handed out before, too.
    QVERIFY(a3.activity(QStringLiteral("Other")));
    QVERIFY(a3.activity(QStringLiteral("Other"))->id > review);
    // Then every device, twice, so that each takes in what the others sent: none is refused.
    for (int round = 0; round < 2; ++round) {
        for (SyncDevice *d : devices) {
            d->setAddress(m_server->address());
            const SyncDevice::Reply reply = d->exchange();
            QVERIFY2(reply.status == 200, qPrintable(reply.messages));
        }
    }
    std::set<int> blocks;
    for (const SyncDevice *d : devices)
        QVERIFY2(blocks.insert(d->doc.nextId / 20000).second, "two devices share a block");

    // Every task each member made, on every device of the member, once and as made.
    for (const QString &member : {QStringLiteral("alice"), QStringLiteral("bob")}) {
        std::map<int, QString> made;
        for (const SyncDevice *d : devices) {
            if (d->user != member)
                continue;
            for (const QVTask *task : std::as_const(d->doc.tasks)) {
                const QString what = task->start().toString(Qt::ISODate) + task->activityName();
                if (!task->synchronised)
                    QVERIFY2(made.emplace(task->id, what).second, "an id made twice");
            }
        }
        QCOMPARE(int(made.size()), member == QLatin1String("alice") ? 5 : 4);
        for (const SyncDevice *d : devices) {
            if (d->user != member)
                continue;
            QCOMPARE(int(d->doc.tasks.size()), int(made.size()));
            for (const QVTask *task : std::as_const(d->doc.tasks)) {
                QCOMPARE(task->start().toString(Qt::ISODate) + task->activityName(),
                         made.at(task->id));
            }
        }
        for (const QString &line : m_server->history(member))
            QVERIFY2(line.contains(QStringLiteral("\tcreated\t")), qPrintable(line));
    }
}

void TestServerExchange::devicesTellWhatALostMarkKnew()
{
    QTemporaryDir folder;
    const QString backup = folder.filePath(QStringLiteral("backup"));
    SyncDevice a1 = device();
    QCOMPARE(a1.exchange().status, 200);
    QString problem;
    QVERIFY2(m_stores.backUp(*m_server, m_storage, backup, &problem), qPrintable(problem));
    SyncDevice a2 = device();
    QCOMPARE(a2.exchange().status, 200);
    QCOMPARE(a2.doc.nextId, 1040000);
    a2.addTask(QStringLiteral("Coding"), at(20, 9, 0), at(20, 9, 30));
    QCOMPARE(a2.exchange().status, 200);
    QCOMPARE(a2.doc.nextId, 1040001);

    // The backup put back, and the server's record of the ids handed out lost with it, as
    // when the whole folder comes back from a backup.
    QVERIFY(m_server->stop());
    QVERIFY2(m_stores.putBack(*m_server, m_storage, backup, ServerStores::How::ByHand, &problem),
             qPrintable(problem));
    const QString stateFolder
        = m_storage.first() == QLatin1String("--data")
              ? m_storage.at(1)
              : QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
                    + QStringLiteral("/quorvel-server");
    const QStringList marks
        = QDir(stateFolder).entryList({QStringLiteral("handed-out-ids.*")}, QDir::Files);
    QVERIFY(!marks.isEmpty());
    for (const QString &mark : marks)
        QVERIFY(QFile::remove(QDir(stateFolder).filePath(mark)));
    QVERIFY(m_server->start());

    // The device whose block the database lost keeps it, with nothing of it deleted, and it
    // is never handed out again.
    a2.setAddress(m_server->address());
    QCOMPARE(a2.exchange().messages, paragraph(QStringLiteral("1 task received")));
    QCOMPARE(a2.doc.nextId, 1040001);
    SyncDevice a3 = device();
    QCOMPARE(a3.exchange().messages, paragraph(QStringLiteral("1 task sent, ") + CatalogueSummary));
    QCOMPARE(a3.doc.nextId, 1060000);
    QCOMPARE(a3.doc.tasks.size(), 1);
    QCOMPARE(a3.doc.tasks.first()->id, 1040000);
    a1.setAddress(m_server->address());
    QCOMPARE(a1.exchange().messages, paragraph(QStringLiteral("1 task sent")));
    // The device is told apart by its block from then on.
    const QStringList lines = m_server->exchangeLines();
    QVERIFY(lines.at(lines.size() - 3).contains(QStringLiteral(" device=2 ")));
    QCOMPARE(a2.exchange().messages, upToDate());
    QVERIFY(m_server->exchangeLines().constLast().contains(QStringLiteral(" device=2 ")));
}

void TestServerExchange::namesAreEscapedInMessages()
{
    admin({QStringLiteral("activity"), QStringLiteral("add"), QStringLiteral("<b>R&D</b>"),
           QStringLiteral("--category"), QStringLiteral("Work")});
    SyncDevice a = device();
    QCOMPARE(a.exchange().messages,
             paragraph(QStringLiteral("2 new categories: Private, Work, 4 new activities: "
                                      "&lt;b&gt;R&amp;D&lt;/b&gt;, Coding, Design review, "
                                      "Garden")));
    QVERIFY(a.activity(QStringLiteral("<b>R&D</b>")));
}

void TestServerExchange::unknownDeletedIdsAreTaken()
{
    SyncDevice a = device();
    a.exchange();
    // Ids of tasks the server never had: taken, and the device's list emptied.
    a.doc.deletedTaskIds = {77, 78};
    QCOMPARE(a.exchange().messages, upToDate());
    QVERIFY(a.doc.deletedTaskIds.isEmpty());
    QVERIFY(m_server->history(QStringLiteral("alice")).isEmpty());
}

QUORVEL_TEST_GUILESS_MAIN(TestServerExchange)

#include "tst_serverexchange.moc"
