// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The window's service on a private session bus started by the test: each method's result and
// refusal, and the signal after a start from the window.

#include "DocumentBuilder.h"
#include "PrivateBus.h"
#include "TestEnvironment.h"

#include "app/DBusService.h"
#include "app/QuorvelMainWindow.h"
#include "model/Configuration.h"
#include "platform/Clock.h"
#include "views/MainWidget.h"
#include "widgets/MessageBox.h"

#include <QAction>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QToolButton>
#include <QXmlStreamReader>
#include <QtTest>

#include <csignal>

namespace {

const QString Interface = QStringLiteral("org.quorvel.Quorvel");

struct Answer
{
    bool error = false;
    QString errorName;
    QString text;
    QStringList list;
};

// Calls the method and waits for its answer, letting the window run meanwhile (the service is
// in this thread, so nothing here may block on the bus).
Answer call(const QString &method, const QVariantList &arguments = {})
{
    QDBusMessage message = QDBusMessage::createMethodCall(
        QString::fromLatin1(DBusService::ServiceName), QString::fromLatin1(DBusService::ObjectPath),
        Interface, method);
    message.setArguments(arguments);
    QDBusPendingCallWatcher watcher(QDBusConnection(QStringLiteral("client")).asyncCall(message));
    Answer answer;
    if (!QTest::qWaitFor([&watcher] { return watcher.isFinished(); }, 10000)) {
        answer.error = true;
        answer.text = QStringLiteral("no answer within 10 s");
        return answer;
    }
    const QDBusMessage reply = watcher.reply();
    answer.error = reply.type() == QDBusMessage::ErrorMessage;
    answer.errorName = reply.errorName();
    answer.text = answer.error ? reply.errorMessage() : reply.arguments().value(0).toString();
    answer.list = reply.arguments().value(0).toStringList();
    return answer;
}

// The members of one interface in D-Bus introspection XML, a line each in their order
// ("method Start(in s activity)", "signal TasksChanged()"), leaving out comments and
// annotations; empty when the text is not well-formed or lacks the interface.
QStringList interfaceMembers(const QByteArray &xml, const QString &interface)
{
    QStringList members;
    QXmlStreamReader reader(xml);
    bool inside = false;
    QString member;
    QStringList arguments;
    while (!reader.atEnd()) {
        reader.readNext();
        const QXmlStreamAttributes attributes = reader.attributes();
        const auto value = [&attributes](const char *attribute) {
            return attributes.value(QLatin1String(attribute)).toString();
        };
        const QString name = reader.name().toString();
        const bool isMember = name == QLatin1String("method") || name == QLatin1String("signal")
                              || name == QLatin1String("property");
        if (reader.isStartElement()) {
            if (name == QLatin1String("interface")) {
                inside = value("name") == interface;
            } else if (inside && isMember) {
                member = name + QLatin1Char(' ') + value("name");
                if (name == QLatin1String("property"))
                    member += QLatin1Char(' ') + value("type") + QLatin1Char(' ') + value("access");
                arguments.clear();
            } else if (inside && name == QLatin1String("arg")) {
                const QString direction = attributes.hasAttribute(QLatin1String("direction"))
                                              ? value("direction")
                                              : QStringLiteral("out");
                arguments << (direction + QLatin1Char(' ') + value("type") + QLatin1Char(' ')
                              + value("name"))
                                 .trimmed();
            }
        } else if (reader.isEndElement()) {
            if (name == QLatin1String("interface")) {
                inside = false;
            } else if (inside && isMember && !member.isEmpty()) {
                members << member + QLatin1Char('(') + arguments.join(QStringLiteral(", "))
                               + QLatin1Char(')');
                member.clear();
            }
        }
    }
    if (reader.hasError())
        return {};
    return members;
}

// Counts a signal from the bus.
class SignalCounter : public QObject
{
    Q_OBJECT

public:
    int count = 0;

public Q_SLOTS:
    void received() { ++count; }
};

} // namespace

class TestDBus : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void startStopAndStatus();
    void refusalsAreErrors();
    void theNameIsTakenOnce();
    void tasksChangedAfterAStartFromTheWindow();
    void changesAreUndoneInTheWindow();
    void refusalNamesTheMinuteThatWorks();
    void aTaskUnderAMinuteIsNotedAndUndone();
    void aCallStartsQuorvel();
    void theInterfaceFileDescribesTheService();

private:
    QString statusFile() const { return m_statusFolder.filePath(QStringLiteral("status")); }

    PrivateBus m_bus;
    // Where the window's program that the bus starts writes its exit status.
    QTemporaryDir m_statusFolder;
    QString m_address;
    std::unique_ptr<QuorvelMainWindow> m_window;
    DBusService *m_service = nullptr;
};

void TestDBus::initTestCase()
{
    // The bus starts Quorvel from its service file as a desktop's bus would: the file
    // installed, with the window's program of this build.
    QVERIFY2(m_bus.start(), qPrintable(m_bus.error()));
    QFile installed(QStringLiteral(QUORVEL_SERVICE_FILE));
    QVERIFY(installed.open(QIODevice::ReadOnly));
    QByteArray service = installed.readAll();
    const qsizetype exec = service.indexOf("Exec=");
    QVERIFY(exec >= 0);
    // Through a shell that writes the program's exit status, which the bus does not tell: a
    // leak or a crash at its end must fail the test.
    QVERIFY(m_statusFolder.isValid());
    service = service.left(exec) + "Exec=/bin/sh -c '\"$0\"; echo $? >\"$1\"' "
              + QByteArray(QUORVEL_GUI) + ' ' + QFile::encodeName(statusFile()) + '\n';
    QFile serviceFile(m_bus.serviceFolder() + QStringLiteral("/org.quorvel.Quorvel.service"));
    QVERIFY(serviceFile.open(QIODevice::WriteOnly));
    serviceFile.write(service);
    serviceFile.close();
    m_address = m_bus.address();
}

void TestDBus::init()
{
    TestEnvironment::wipe();
    MessageBox::clearShown();
    Clock::setFixed(at(21, 9, 30));
    Configuration().setMode(Configuration::Personal);
    Configuration().setAllowConcurrentTasks(false);
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    build.activity(QStringLiteral("Writing"), work);
    build.activity(QStringLiteral("Reading"), work);
    build.task(doc.activities.at(0), at(21, 8, 0), at(21, 8, 30), 1);
    build.sortAll();
    QVERIFY(doc.save());

    m_window = std::make_unique<QuorvelMainWindow>();
    m_service = new DBusService(m_window.get());
    QString why;
    QVERIFY2(m_service->publish(QDBusConnection::sessionBus(), &why), qPrintable(why));
    const QDBusConnection client
        = QDBusConnection::connectToBus(m_address, QStringLiteral("client"));
    QVERIFY(client.isConnected());
}

void TestDBus::cleanup()
{
    QDBusConnection::disconnectFromBus(QStringLiteral("client"));
    QDBusConnection::disconnectFromBus(QStringLiteral("second"));
    QDBusConnection::sessionBus().unregisterService(QString::fromLatin1(DBusService::ServiceName));
    QDBusConnection::sessionBus().unregisterObject(QString::fromLatin1(DBusService::ObjectPath));
    m_window.reset();
}

void TestDBus::startStopAndStatus()
{
    Answer answer = call(QStringLiteral("Status"));
    QVERIFY(!answer.error);
    QCOMPARE(answer.text, QStringLiteral("No task is running."));
    QCOMPARE(call(QStringLiteral("RunningTasks")).list, QStringList());

    answer = call(QStringLiteral("Start"), {QStringLiteral("Reading")});
    QVERIFY2(!answer.error, qPrintable(answer.text));
    // The window shows it at once, on the button of the activity.
    QCOMPARE(m_window->document()->tasks.size(), 2);
    QVERIFY(m_window->document()->tasks.last()->isRunning());
    QCOMPARE(m_window->document()->tasks.last()->start(), at(21, 9, 30));
    QCOMPARE(call(QStringLiteral("RunningTasks")).list, QStringList{QStringLiteral("Reading")});

    Clock::setFixed(at(21, 10, 47));
    answer = call(QStringLiteral("Status"));
    QVERIFY(!answer.error);
    QCOMPARE(answer.text, QStringLiteral("Reading\t1:17\n"));

    // Starting another stops the first, as concurrent tasks are not allowed.
    answer = call(QStringLiteral("Start"), {QStringLiteral("Writing")});
    QVERIFY2(!answer.error, qPrintable(answer.text));
    QCOMPARE(call(QStringLiteral("RunningTasks")).list, QStringList{QStringLiteral("Writing")});

    Clock::setFixed(at(21, 11, 0));
    answer = call(QStringLiteral("Stop"), {QString()});
    QVERIFY2(!answer.error, qPrintable(answer.text));
    QCOMPARE(call(QStringLiteral("RunningTasks")).list, QStringList());
    QCOMPARE(m_window->document()->tasks.size(), 3);
    QCOMPARE(m_window->document()->tasks.last()->stop(), at(21, 11, 0));
    // And it is on disk.
    QuorvelDocument saved;
    QVERIFY(saved.load());
    QCOMPARE(saved.tasks.size(), 3);
}

void TestDBus::refusalsAreErrors()
{
    Answer answer = call(QStringLiteral("Start"), {QStringLiteral("Gardening")});
    QVERIFY(answer.error);
    QCOMPARE(answer.errorName, QStringLiteral("org.quorvel.Quorvel.Error.Refused"));
    QCOMPARE(answer.text, QStringLiteral("no activity is called “Gardening”. The activities "
                                         "are:\n  Reading (Work)\n  Writing (Work)"));

    answer = call(QStringLiteral("Stop"), {QString()});
    QVERIFY(answer.error);
    QCOMPARE(answer.errorName, QStringLiteral("org.quorvel.Quorvel.Error.Refused"));
    QCOMPARE(answer.text, QStringLiteral("no task is running."));
    QCOMPARE(m_window->document()->tasks.size(), 1);
}

void TestDBus::changesAreUndoneInTheWindow()
{
    QAction *undo = m_window->findChild<QAction *>(QStringLiteral("undo"));
    QAction *redo = m_window->findChild<QAction *>(QStringLiteral("redo"));
    const auto bytes = [this] {
        return m_window->document()->getDocumentBytes();
    };
    const QByteArray before = bytes();
    Answer answer = call(QStringLiteral("Start"), {QStringLiteral("Reading")});
    QVERIFY2(!answer.error, qPrintable(answer.text));
    const QByteArray started = bytes();
    QCOMPARE(undo->text(), QStringLiteral("Undo Start of Reading"));
    Clock::setFixed(at(21, 10, 5));
    answer = call(QStringLiteral("Stop"), {QString()});
    QVERIFY2(!answer.error, qPrintable(answer.text));
    const QByteArray stopped = bytes();
    QCOMPARE(undo->text(), QStringLiteral("Undo Stop of Reading"));

    undo->trigger();
    QCOMPARE(bytes(), started);
    QCOMPARE(call(QStringLiteral("RunningTasks")).list, QStringList{QStringLiteral("Reading")});
    undo->trigger();
    QCOMPARE(bytes(), before);
    QCOMPARE(call(QStringLiteral("RunningTasks")).list, QStringList());
    redo->trigger();
    redo->trigger();
    QCOMPARE(bytes(), stopped);
}

void TestDBus::refusalNamesTheMinuteThatWorks()
{
    // Reading, its start moved back to 07:00, before Writing's 08:00 task, cannot stop now.
    Answer answer = call(QStringLiteral("Start"), {QStringLiteral("Reading")});
    QVERIFY2(!answer.error, qPrintable(answer.text));
    QVTask *running = m_window->document()->tasks.last();
    running->setStart(at(21, 7, 0));
    m_window->document()->tasks.sort();
    answer = call(QStringLiteral("Stop"), {QStringLiteral("Reading")});
    QVERIFY(answer.error);
    QCOMPARE(answer.errorName, QStringLiteral("org.quorvel.Quorvel.Error.Refused"));
    QVERIFY2(answer.text.startsWith(QStringLiteral("“Reading” cannot stop at ")),
             qPrintable(answer.text));
    QVERIFY2(
        answer.text.endsWith(QStringLiteral(
            ": it would overlap the task after it.\nIt can stop at 11/21/26 8:00 AM, where the "
            "next task starts: quorvel stop Reading --at "
            "2026-11-21T08:00")),
        qPrintable(answer.text));
    QVERIFY(running->isRunning());
}

void TestDBus::aTaskUnderAMinuteIsNotedAndUndone()
{
    QAction *undo = m_window->findChild<QAction *>(QStringLiteral("undo"));
    QAction *redo = m_window->findChild<QAction *>(QStringLiteral("redo"));
    const auto bytes = [this] {
        return m_window->document()->getDocumentBytes();
    };
    Answer answer = call(QStringLiteral("Start"), {QStringLiteral("Reading")});
    QVERIFY2(!answer.error, qPrintable(answer.text));
    const QByteArray reading = bytes();

    // Writing started in the same minute takes Reading out: the window's status bar says so.
    answer = call(QStringLiteral("Start"), {QStringLiteral("Writing")});
    QVERIFY2(!answer.error, qPrintable(answer.text));
    const QByteArray writing = bytes();
    QCOMPARE(call(QStringLiteral("RunningTasks")).list, QStringList{QStringLiteral("Writing")});
    QCOMPARE(undo->text(), QStringLiteral("Undo Start of Writing"));
    QCOMPARE(m_window->statusBar()->currentMessage(),
             QStringLiteral("Removed Reading: it ran under a minute. Ctrl+Z brings it back."));
    undo->trigger();
    QCOMPARE(bytes(), reading);
    QCOMPARE(call(QStringLiteral("RunningTasks")).list, QStringList{QStringLiteral("Reading")});
    redo->trigger();
    QCOMPARE(bytes(), writing);

    // Stopped in its first minute, Writing goes too.
    answer = call(QStringLiteral("Stop"), {QStringLiteral("Writing")});
    QVERIFY2(!answer.error, qPrintable(answer.text));
    QCOMPARE(call(QStringLiteral("RunningTasks")).list, QStringList());
    QCOMPARE(m_window->document()->tasks.size(), 1);
    const QByteArray removed = bytes();
    QCOMPARE(undo->text(), QStringLiteral("Undo Removal of a Task Under a Minute"));
    QCOMPARE(m_window->statusBar()->currentMessage(),
             QStringLiteral("Removed Writing: it ran under a minute. Ctrl+Z brings it back."));
    undo->trigger();
    QCOMPARE(bytes(), writing);
    QCOMPARE(call(QStringLiteral("RunningTasks")).list, QStringList{QStringLiteral("Writing")});
    redo->trigger();
    QCOMPARE(bytes(), removed);
}

void TestDBus::theNameIsTakenOnce()
{
    // A second Quorvel on the bus cannot take the name, nor publish twice on one connection.
    QuorvelMainWindow other;
    DBusService second(&other);
    QString why;
    QVERIFY(
        !second.publish(QDBusConnection::connectToBus(m_address, QStringLiteral("second")), &why));
    QCOMPARE(why, QStringLiteral("another program has the name org.quorvel.Quorvel"));
    QVERIFY(!second.publish(QDBusConnection::sessionBus(), &why));
    QCOMPARE(why, QStringLiteral("another object is published at /Quorvel"));
    // The first one still answers.
    QCOMPARE(call(QStringLiteral("Status")).text, QStringLiteral("No task is running."));
}

void TestDBus::tasksChangedAfterAStartFromTheWindow()
{
    SignalCounter changed;
    QVERIFY(QDBusConnection(QStringLiteral("client"))
                .connect(QString::fromLatin1(DBusService::ServiceName),
                         QString::fromLatin1(DBusService::ObjectPath), Interface,
                         QStringLiteral("TasksChanged"), &changed, SLOT(received())));
    // A round trip, so that the match rule is in place before the start.
    QCOMPARE(call(QStringLiteral("Status")).text, QStringLiteral("No task is running."));
    QToolButton *button = m_window->mainWidget()->button(1);
    QVERIFY(button->isEnabled());
    button->click();
    QVERIFY(m_window->document()->tasks.last()->isRunning());
    QTRY_VERIFY(changed.count >= 1);
}

void TestDBus::aCallStartsQuorvel()
{
    // No Quorvel on the bus: the call starts the window's program, which answers it.
    m_window.reset();
    QDBusConnection::sessionBus().unregisterService(QString::fromLatin1(DBusService::ServiceName));
    QDBusConnection::sessionBus().unregisterObject(QString::fromLatin1(DBusService::ObjectPath));
    QDBusConnectionInterface *bus = QDBusConnection(QStringLiteral("client")).interface();
    QVERIFY(!bus->isServiceRegistered(QString::fromLatin1(DBusService::ServiceName)).value());

    const Answer answer = call(QStringLiteral("Start"), {QStringLiteral("Writing")});
    QVERIFY2(!answer.error, qPrintable(answer.text));
    const uint pid = bus->servicePid(QString::fromLatin1(DBusService::ServiceName)).value();
    QVERIFY(pid > 0);
    QCOMPARE(call(QStringLiteral("RunningTasks")).list, QStringList{QStringLiteral("Writing")});

    // It ends on SIGTERM, having written the task.
    QVERIFY(::kill(pid_t(pid), SIGTERM) == 0);
    QTRY_VERIFY_WITH_TIMEOUT(
        !bus->isServiceRegistered(QString::fromLatin1(DBusService::ServiceName)).value(), 10000);
    QuorvelDocument saved;
    QVERIFY(saved.load());
    QCOMPARE(saved.tasks.size(), 2);
    QVERIFY(saved.tasks.last()->isRunning());
    // And it ended well: exit status 0 (under the sanitizers, no leak and no error either).
    QFile status(statusFile());
    QTRY_VERIFY_WITH_TIMEOUT(status.exists() && status.size() > 0, 10000);
    QVERIFY(status.open(QIODevice::ReadOnly));
    QCOMPARE(status.readAll(), QByteArray("0\n"));
}

void TestDBus::theInterfaceFileDescribesTheService()
{
    // The installed description and what the service answers to Introspect name the same
    // methods, arguments and signals.
    QFile file(QStringLiteral(QUORVEL_INTERFACE_FILE));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QStringList described = interfaceMembers(file.readAll(), Interface);
    QCOMPARE(described, QStringList({QStringLiteral("method Start(in s activity)"),
                                     QStringLiteral("method Stop(in s activity)"),
                                     QStringLiteral("method Status(out s)"),
                                     QStringLiteral("method RunningTasks(out as)"),
                                     QStringLiteral("signal TasksChanged()")}));

    QDBusMessage introspect = QDBusMessage::createMethodCall(
        QString::fromLatin1(DBusService::ServiceName), QString::fromLatin1(DBusService::ObjectPath),
        QStringLiteral("org.freedesktop.DBus.Introspectable"), QStringLiteral("Introspect"));
    QDBusPendingCallWatcher watcher(
        QDBusConnection(QStringLiteral("client")).asyncCall(introspect));
    QVERIFY(QTest::qWaitFor([&watcher] { return watcher.isFinished(); }, 10000));
    const QDBusMessage reply = watcher.reply();
    QVERIFY2(reply.type() == QDBusMessage::ReplyMessage, qPrintable(reply.errorMessage()));
    QStringList offered
        = interfaceMembers(reply.arguments().value(0).toString().toUtf8(), Interface);
    // The order of members means nothing on the bus.
    offered.sort();
    QStringList sortedDescribed = described;
    sortedDescribed.sort();
    QCOMPARE(offered, sortedDescribed);
}

QUORVEL_TEST_MAIN(TestDBus)
#include "tst_dbus.moc"
