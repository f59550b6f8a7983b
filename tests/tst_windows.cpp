// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// Where the windows of the main window open on a laptop's 1366×768 screen (the offscreen
// platform's, as windows-screen.json describes it), how the synchronisation window
// is closed, the main window coming back for a second start, and the titles as the desktop
// shows them.

#include "CommandRunner.h"
#include "DesktopTitles.h"
#include "ModalAnswers.h"
#include "TestEnvironment.h"
#include "WindowExchange.h"
#include "idle/VirtualDisplay.h"

#include "app/QuorvelMainWindow.h"
#include "app/SingleInstance.h"
#include "dialogs/ActivityList.h"
#include "dialogs/CategoryList.h"
#include "dialogs/ModalWidget.h"
#include "dialogs/ReportParams1.h"
#include "dialogs/Synchronize.h"
#include "model/Configuration.h"
#include "model/QuorvelDocument.h"
#include "platform/DocLnk.h"
#include "reportwindows/FileSelectDialog.h"
#include "reportwindows/ReportViewer.h"
#include "widgets/FileSelector.h"

#include <QAction>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTreeWidget>
#include <QWindow>
#include <QtTest>

namespace {

const QColor Yellow(255, 255, 0);

// How a window of the main window opened.
struct Placement
{
    QString className;
    QString title;
    QSize size;
    bool transient = false;
    bool dialog = false;
    bool maximisable = false;
    bool maximised = false;
    bool onScreen = false;
    // The least room its layout needs, for a dialog sized by its layout.
    QSize least;
    // Distance of its centre from the main window's centre, in pixels.
    int offCentre = -1;
};

Placement placementOf(QWidget *widget, const QWidget &main)
{
    Placement placement;
    placement.className = QString::fromLatin1(widget->metaObject()->className());
    placement.title = widget->windowTitle();
    placement.size = widget->size();
    placement.least = widget->minimumSizeHint();
    placement.transient = widget->windowHandle()
                          && widget->windowHandle()->transientParent() == main.windowHandle();
    placement.dialog = widget->windowType() == Qt::Dialog;
    placement.maximisable = widget->windowFlags().testFlag(Qt::WindowMaximizeButtonHint);
    placement.maximised = widget->windowState().testFlag(Qt::WindowMaximized);
    placement.onScreen = widget->screen()->availableGeometry().contains(widget->frameGeometry());
    placement.offCentre
        = (widget->geometry().center() - main.geometry().center()).manhattanLength();
    return placement;
}

QString savedReportPath()
{
    return FileManager::folderFor(FileManager::reportType())
           + QStringLiteral("/Timesheet.qvreport");
}

// Personal mode with the sample data, and one saved report.
void prepareSampleData()
{
    TestEnvironment::wipe();
    quietWindowSettings();
    Configuration().setMode(Configuration::Personal);
    QuorvelDocument doc;
    doc.createSampleData();
    QVERIFY(doc.save());
    QVERIFY(QDir().mkpath(FileManager::folderFor(FileManager::reportType())));
    QFile report(savedReportPath());
    QVERIFY(report.open(QIODevice::WriteOnly));
    report.write("<qt><p>Period Time Sheet</p><p>Saved before</p></qt>");
}

// The main window in the middle of the screen, shown.
void showMainWindow(QuorvelMainWindow &window)
{
    window.setGeometry(333, 134, 700, 500);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
}

QAction *action(const QWidget &window, const QString &text)
{
    QAction *found = actionNamed(window, text);
    if (!found)
        qWarning("No action %s", qPrintable(text));
    return found;
}

// A group server that answers the first request with reply and closes.
class OneReplyServer : public QObject
{
public:
    explicit OneReplyServer(const QByteArray &reply)
        : m_reply(reply)
    {
        m_server.listen(QHostAddress::LocalHost, 0);
        connect(&m_server, &QTcpServer::newConnection, this, [this] {
            QTcpSocket *peer = m_server.nextPendingConnection();
            connect(peer, &QTcpSocket::readyRead, this, [this, peer] {
                m_request += peer->readAll();
                const qsizetype end = m_request.indexOf("\r\n\r\n");
                const QByteArray key("Content-Length: ");
                const qsizetype at = m_request.indexOf(key);
                if (end < 0 || at < 0 || m_answered)
                    return;
                const qsizetype lineEnd = m_request.indexOf("\r\n", at);
                const int length
                    = m_request.mid(at + key.size(), lineEnd - at - key.size()).toInt();
                if (m_request.size() < end + 4 + length)
                    return;
                m_answered = true;
                peer->write(m_reply);
                peer->flush();
                peer->disconnectFromHost();
            });
        });
    }

    QString address() const { return QStringLiteral("127.0.0.1:%1").arg(m_server.serverPort()); }

private:
    QTcpServer m_server;
    QByteArray m_reply;
    QByteArray m_request;
    bool m_answered = false;
};

} // namespace

class TestWindows : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void windowsOpenOverTheMainWindow();
    void aTallWindowFitsTheScreen();
    void reportWindowsNameTheReport();
    void synchronizeClosesWithItsButton_data();
    void synchronizeClosesWithItsButton();
    void mainWindowComesBackWhereItWas();
    void secondStartBringsTheWindowBack_data();
    void secondStartBringsTheWindowBack();
    void titlesOnTheDesktop();
};

void TestWindows::initTestCase()
{
    QCOMPARE(QGuiApplication::primaryScreen()->availableGeometry(), QRect(0, 0, 1366, 768));
}

void TestWindows::init()
{
    MessageBox::clearShown();
    prepareSampleData();
}

void TestWindows::windowsOpenOverTheMainWindow()
{
    QuorvelMainWindow window;
    showMainWindow(window);

    QList<Placement> seen;
    const auto record = [&seen, &window](QWidget *widget) {
        seen << placementOf(widget, window);
        widget->close();
    };
    ModalAnswers answers;
    for (int i = 0; i < 3; ++i)
        answers.add(record);
    // The period of the report: accepted, so that the report itself opens.
    answers.add([&seen, &window](QWidget *widget) {
        seen << placementOf(widget, window);
        auto *dialog = qobject_cast<ReportParams1 *>(widget);
        QVERIFY(dialog);
        dialog->accept();
    });
    answers.add(record);
    // View Saved Report: the file is chosen, and its window opens.
    answers.add([&seen, &window](QWidget *widget) {
        seen << placementOf(widget, window);
        auto *dialog = qobject_cast<FileSelectDialog *>(widget);
        QVERIFY(dialog);
        QTreeWidget *list = dialog->selector()->list();
        QCOMPARE(list->topLevelItemCount(), 1);
        Q_EMIT list->itemActivated(list->topLevelItem(0), 0);
    });
    answers.add(record);

    window.maintainCategories();
    window.maintainActivities();
    // The synchronisation window, whatever its outcome, over a server that is not there.
    QVERIFY(prepareGroupDevice(QStringLiteral("127.0.0.1:1"), QStringLiteral("u"),
                               QStringLiteral("p")));
    window.syncServer();
    Configuration().setMode(Configuration::Personal);
    action(window, QStringLiteral("Period Summary Report"))->trigger();
    window.viewSavedReport();
    QCOMPARE(answers.remaining(), 0);

    const QStringList classes = {QStringLiteral("CategoryList"), QStringLiteral("ActivityList"),
                                 QStringLiteral("Synchronize"),  QStringLiteral("ReportParams1"),
                                 QStringLiteral("ReportViewer"), QStringLiteral("FileSelectDialog"),
                                 QStringLiteral("ReportViewer")};
    const QList<QSize> sizes = {QSize(360, 400), QSize(420, 400), QSize(516, 480), QSize(),
                                QSize(900, 650), QSize(480, 360), QSize(900, 650)};
    QCOMPARE(seen.size(), classes.size());
    for (int i = 0; i < seen.size(); ++i) {
        const Placement &p = seen.at(i);
        const QByteArray what = p.className.toUtf8();
        QCOMPARE(p.className, classes.at(i));
        QVERIFY2(p.transient, what);
        QVERIFY2(p.dialog, what);
        QVERIFY2(!p.maximised, what);
        QVERIFY2(p.onScreen, what);
        QVERIFY2(p.offCentre <= 2, what + ' ' + QByteArray::number(p.offCentre));
        if (sizes.at(i).isValid())
            QCOMPARE(p.size, sizes.at(i));
        else
            QCOMPARE(p.size.expandedTo(p.least), p.size);
        // The report's period dialog is a dialog of its own; every other can be maximised.
        if (p.className != QLatin1String("ReportParams1"))
            QVERIFY2(p.maximisable, what);
    }
}

void TestWindows::aTallWindowFitsTheScreen()
{
    QuorvelMainWindow window;
    showMainWindow(window);
    ModalWidget tall(&window);
    tall.resize(1500, 1200);
    QRect frame;
    QRect available;
    QTimer::singleShot(0, &tall, [&] {
        frame = tall.frameGeometry();
        available = tall.screen()->availableGeometry();
        tall.close();
    });
    tall.exec();
    QVERIFY2(available.contains(frame), qPrintable(QStringLiteral("%1,%2 %3x%4")
                                                       .arg(frame.x())
                                                       .arg(frame.y())
                                                       .arg(frame.width())
                                                       .arg(frame.height())));
    // As large as the screen leaves room for, less a margin.
    QVERIFY(frame.width() >= 1366 - 60);
    QVERIFY(frame.height() >= 768 - 60);
    QVERIFY(!tall.isMaximized());
}

void TestWindows::reportWindowsNameTheReport()
{
    QuorvelMainWindow window;
    showMainWindow(window);
    QStringList titles;
    ModalAnswers answers;
    answers.add([&titles](QWidget *widget) {
        titles << widget->windowTitle();
        qobject_cast<QDialog *>(widget)->accept();
    });
    answers.add([&titles](QWidget *widget) {
        titles << widget->windowTitle();
        widget->close();
    });
    answers.add([&titles](QWidget *widget) {
        titles << widget->windowTitle();
        qobject_cast<QDialog *>(widget)->reject();
    });
    answers.add([&titles](QWidget *widget) {
        titles << widget->windowTitle();
        widget->close();
    });
    action(window, QStringLiteral("Period Summary Report"))->trigger();
    action(window, QStringLiteral("Period Time Sheet"))->trigger();
    window.setDocument(savedReportPath());
    QCOMPARE(answers.remaining(), 0);
    QCOMPARE(titles, QStringList({QStringLiteral("Quorvel - Report — Period Summary Report"),
                                  QStringLiteral("Quorvel - Report — Period Summary Report"),
                                  QStringLiteral("Quorvel - Report — Period Time Sheet"),
                                  QStringLiteral("Quorvel - Report — Timesheet")}));
}

void TestWindows::synchronizeClosesWithItsButton_data()
{
    QTest::addColumn<QString>("outcome");
    QTest::addColumn<QString>("status");
    QTest::addColumn<bool>("succeeded");
    QTest::newRow("success") << "success"
                             << "Synchronization Complete" << true;
    QTest::newRow("refusal") << "refusal"
                             << "Synchronization Failed" << false;
    QTest::newRow("network error") << "network error"
                                   << "Host Connection Refused" << false;
}

void TestWindows::synchronizeClosesWithItsButton()
{
    QFETCH(QString, outcome);
    QFETCH(QString, status);
    QFETCH(bool, succeeded);

    const QByteArray head = "HTTP/1.0 200 OK\r\nContent-Type: text/plain\r\n\r\n";
    std::unique_ptr<OneReplyServer> server;
    QString address;
    if (outcome == QLatin1String("success")) {
        server = std::make_unique<OneReplyServer>(
            head + "--start--\n105\n1001\n0\n0\n0\n0\n--end--\nWelcome\n--sync-end--\n");
        address = server->address();
    } else if (outcome == QLatin1String("refusal")) {
        server = std::make_unique<OneReplyServer>(
            "HTTP/1.0 403 Forbidden\r\nContent-Type: text/plain\r\n\r\n--start--\n0\n--end--\n"
            "<p><b>The server refused this synchronization.</b></p>\n--sync-end--\n");
        address = server->address();
    } else {
        QTcpServer closed;
        QVERIFY(closed.listen(QHostAddress::LocalHost, 0));
        address = QStringLiteral("127.0.0.1:%1").arg(closed.serverPort());
    }
    QVERIFY(prepareGroupDevice(address, QStringLiteral("u"), QStringLiteral("p")));

    QuorvelMainWindow window;
    showMainWindow(window);
    QString shownStatus;
    bool closedByButton = false;
    ModalAnswers answers;
    answers.add([&](QWidget *widget) {
        auto *sync = qobject_cast<Synchronize *>(widget);
        QVERIFY(sync);
        QTRY_VERIFY_WITH_TIMEOUT(
            sync->lblStatus->palette().color(QPalette::Active, QPalette::Window) != Yellow, 10000);
        shownStatus = sync->lblStatus->text();
        QCOMPARE(sync->succeeded, succeeded);
        QCOMPARE(sync->btnClose->text(), QStringLiteral("Close"));
        QVERIFY(sync->btnClose->isVisible());
        QVERIFY(sync->btnClose->isEnabled());
        QTest::mouseClick(sync->btnClose, Qt::LeftButton);
        closedByButton = !sync->isVisible();
        if (!closedByButton)
            sync->close();
    });
    window.syncServer();
    QCOMPARE(answers.remaining(), 0);
    QCOMPARE(shownStatus, status);
    QVERIFY(closedByButton);
    const QList<MessageBox::Shown> boxes = MessageBox::shown();
    if (succeeded) {
        QVERIFY(boxes.isEmpty());
    } else {
        QCOMPARE(boxes.size(), 1);
        QCOMPARE(boxes.at(0).title, QStringLiteral("Synchronization Incomplete"));
    }
}

void TestWindows::mainWindowComesBackWhereItWas()
{
    {
        QuorvelMainWindow first;
        first.show();
        QVERIFY(QTest::qWaitForWindowExposed(&first));
        first.setGeometry(120, 90, 812, 533);
        QTRY_COMPARE(first.geometry(), QRect(120, 90, 812, 533));
    }
    {
        QuorvelMainWindow again;
        QCOMPARE(again.geometry(), QRect(120, 90, 812, 533));
        again.show();
        QVERIFY(QTest::qWaitForWindowExposed(&again));
        QCOMPARE(again.geometry(), QRect(120, 90, 812, 533));
        again.showMaximized();
        QTRY_VERIFY(again.isMaximized());
    }
    // Maximised it comes back maximised.
    QuorvelMainWindow last;
    last.show();
    QVERIFY(QTest::qWaitForWindowExposed(&last));
    QTRY_VERIFY(last.isMaximized());
}

void TestWindows::secondStartBringsTheWindowBack_data()
{
    QTest::addColumn<QString>("before");
    QTest::newRow("minimised") << "minimised";
    QTest::newRow("minimised from maximised") << "minimised from maximised";
    QTest::newRow("in the panel") << "in the panel";
}

void TestWindows::secondStartBringsTheWindowBack()
{
    QFETCH(QString, before);
    const QString folder = QFileInfo(QuorvelDocument::dataFilePath()).absolutePath();
    SingleInstance first(folder);
    QVERIFY(first.start({}));
    QuorvelMainWindow window;
    connect(&first, &SingleInstance::messageReceived, &window,
            &QuorvelMainWindow::receiveDocuments);
    showMainWindow(window);
    const bool maximised = before == QLatin1String("minimised from maximised");
    if (maximised) {
        window.showMaximized();
        QTRY_VERIFY(window.isMaximized());
    }
    if (before == QLatin1String("in the panel")) {
        window.hide();
    } else {
        window.showMinimized();
        QTRY_VERIFY(window.isMinimized());
    }

    SingleInstance second(folder);
    QVERIFY(!second.start({}));
    QTRY_VERIFY(window.isVisible() && !window.isMinimized());
    QCOMPARE(window.isMaximized(), maximised);
    // The offscreen platform leaves the focus on a window hidden and shown again without telling
    // QApplication: the platform's focus is what the desktop would show.
    QTRY_COMPARE(QGuiApplication::focusWindow(), window.windowHandle());
}

void TestWindows::titlesOnTheDesktop()
{
    VirtualDisplay display;
    if (!display.start())
        QFAIL(qPrintable(display.error()));
    QProcessEnvironment environment = processEnvironment(QStringLiteral("2026-11-21T09:30:00"));
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    environment.insert(QStringLiteral("DISPLAY"), display.name());
    // No session bus here: without an address, libdbus tries to start one through the X
    // display and leaks in doing so, which the sanitizer build reports as the window's failure.
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QStringLiteral("disabled:"));
    // libxkbcommon-x11 strndup()s names of exact length, which strict string checks take for a
    // read past the end: the X keyboard is no code of ours, so those checks are off for the window.
    const QString sanitizer = environment.value(QStringLiteral("ASAN_OPTIONS"));
    if (!sanitizer.isEmpty())
        environment.insert(QStringLiteral("ASAN_OPTIONS"),
                           QString(sanitizer).replace(QStringLiteral("strict_string_checks=1"),
                                                      QStringLiteral("strict_string_checks=0")));
    WindowProcess gui(QStringLiteral(QUORVEL_GUI), environment);
    const QString socket = QFileInfo(QuorvelDocument::dataFilePath()).absolutePath()
                           + QStringLiteral("/quorvel.socket");
    if (!gui.start(socket, {savedReportPath()}))
        QFAIL(gui.errorOutput().constData());
    const QStringList expected
        = {QStringLiteral("Quorvel"), QStringLiteral("Quorvel - Report — Timesheet")};
    QStringList titles;
    waitUntil(
        [&] {
            titles = shownWindowTitles(display.name());
            return titles == expected;
        },
        20000);
    QCOMPARE(titles, expected);
    const int status = gui.terminate();
    QVERIFY2(status == 0, gui.errorOutput().constData());
}

// As QUORVEL_TEST_MAIN, on a laptop's screen.
int main(int argc, char *argv[])
{
    TestEnvironment environment;
    qputenv("QT_QPA_PLATFORM", "offscreen:configfile=" QUORVEL_SCREEN_CONFIG);
    QApplication app(argc, argv);
    MessageBox::setTesting(true);
    TestWindows tc;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&tc, argc, argv);
}
#include "tst_windows.moc"
