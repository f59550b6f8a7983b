// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "QuorvelApplication.h"

#include <QCryptographicHash>
#include <QEvent>
#include <QFile>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QSessionManager>
#include <QSocketNotifier>
#include <QTimer>
#include <QWidget>

#include <cerrno>
#include <csignal>
#include <iterator>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int HandledSignals[] = {SIGTERM, SIGINT, SIGHUP};
constexpr int SignalCount = int(std::size(HandledSignals));

// Quiet time after the last change notification before the data file is read.
constexpr int SettleMilliseconds = 200;

// [0] is written by the signal handler, [1] is read in the event loop.
int s_signalSockets[2] = {-1, -1};
struct sigaction s_previousActions[SignalCount];
bool s_handlersInstalled = false;

extern "C" void onTerminationSignal(int signalNumber)
{
    // Only async-signal-safe calls here: one non-blocking write, errno left as it was.
    const int savedErrno = errno;
    const char byte = char(signalNumber);
    [[maybe_unused]] const ssize_t written = ::write(s_signalSockets[0], &byte, 1);
    errno = savedErrno;
}

} // namespace

QuorvelApplication::QuorvelApplication(int &argc, char **argv)
    : QApplication(argc, argv)
    , m_autosave(new QTimer(this))
    , m_watcher(new QFileSystemWatcher(this))
    , m_settle(new QTimer(this))
{
    m_autosave->setObjectName(QStringLiteral("autosave timer"));
    m_autosave->setInterval(DefaultAutosaveInterval);
    connect(m_autosave, &QTimer::timeout, this, &QuorvelApplication::flush);
    m_autosave->start();

    m_settle->setSingleShot(true);
    m_settle->setInterval(SettleMilliseconds);
    connect(m_settle, &QTimer::timeout, this, &QuorvelApplication::checkDataFile);
    connect(m_watcher, &QFileSystemWatcher::fileChanged, this, &QuorvelApplication::onFileChanged);
    connect(m_watcher, &QFileSystemWatcher::directoryChanged, this,
            &QuorvelApplication::onFileChanged);

    connect(this, &QGuiApplication::applicationStateChanged, this,
            &QuorvelApplication::onApplicationStateChanged);
    connect(this, &QGuiApplication::commitDataRequest, this,
            &QuorvelApplication::onCommitDataRequest);

    installEventFilter(this);
}

QuorvelApplication::~QuorvelApplication()
{
    if (s_handlersInstalled) {
        // Restore the old handlers before the sockets go, so no handler writes to a closed
        // (or reused) descriptor.
        for (int i = 0; i < SignalCount; ++i)
            ::sigaction(HandledSignals[i], &s_previousActions[i], nullptr);
        s_handlersInstalled = false;
        delete m_signalNotifier;
        m_signalNotifier = nullptr;
        ::close(s_signalSockets[0]);
        ::close(s_signalSockets[1]);
        s_signalSockets[0] = s_signalSockets[1] = -1;
    }
}

QuorvelApplication *QuorvelApplication::instance()
{
    return qobject_cast<QuorvelApplication *>(QCoreApplication::instance());
}

int QuorvelApplication::exec()
{
    QuorvelApplication *app = instance();
    if (app && app->m_terminationRequested) {
        // The signal came before the loop ran; end it as soon as it runs, so that the
        // shutdown is the usual one (aboutToQuit and all).
        QMetaObject::invokeMethod(
            app, [] { QCoreApplication::exit(0); }, Qt::QueuedConnection);
    }
    const int code = QApplication::exec();
    if ((app = instance()))
        app->m_terminationRequested = false;
    return code;
}

void QuorvelApplication::watchDataFile(const QString &path)
{
    if (!m_watchedPath.isEmpty()) {
        m_watcher->removePath(m_watchedPath);
        m_watcher->removePath(QFileInfo(m_watchedPath).absolutePath());
    }
    m_watchedPath = path;
    m_knownDigest.clear();
    if (path.isEmpty())
        return;

    // A replace by rename drops the watch on the file; the folder's watch sees the new one.
    const QString folder = QFileInfo(path).absolutePath();
    if (QFileInfo::exists(folder))
        m_watcher->addPath(folder);
    rewatchDataFile();
    m_knownDigest = currentDigest();
}

void QuorvelApplication::expectOwnWrite()
{
    m_ownWritePending = true;
    // The write happens synchronously after this call; by the time the event loop runs this,
    // the file holds what we wrote.
    QMetaObject::invokeMethod(
        this,
        [this] {
            if (m_ownWritePending)
                ownWriteFinished();
        },
        Qt::QueuedConnection);
}

bool QuorvelApplication::ownWrite(const std::function<bool()> &write)
{
    QuorvelApplication *app = instance();
    if (app)
        app->expectOwnWrite();
    const bool written = write();
    if (app)
        app->ownWriteFinished();
    return written;
}

void QuorvelApplication::ownWriteFinished()
{
    m_ownWritePending = false;
    if (m_watchedPath.isEmpty())
        return;
    rewatchDataFile();
    const QByteArray digest = currentDigest();
    if (!digest.isEmpty())
        m_knownDigest = digest;
}

void QuorvelApplication::installSignalHandlers()
{
    if (s_handlersInstalled)
        return;
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, s_signalSockets)
        != 0) {
        qWarning("Cannot create the socket pair for signal handling (errno %d)", errno);
        return;
    }
    m_signalNotifier = new QSocketNotifier(s_signalSockets[1], QSocketNotifier::Read, this);
    connect(m_signalNotifier, &QSocketNotifier::activated, this, &QuorvelApplication::onSignal);

    struct sigaction action = {};
    action.sa_handler = onTerminationSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int i = 0; i < SignalCount; ++i)
        ::sigaction(HandledSignals[i], &action, &s_previousActions[i]);
    s_handlersInstalled = true;
}

void QuorvelApplication::setAutosaveInterval(int milliseconds)
{
    if (milliseconds <= 0) {
        m_autosave->stop();
        return;
    }
    m_autosave->start(milliseconds);
}

int QuorvelApplication::autosaveInterval() const
{
    return m_autosave->isActive() ? m_autosave->interval() : 0;
}

void QuorvelApplication::onApplicationStateChanged(Qt::ApplicationState state)
{
    if (state != Qt::ApplicationActive)
        scheduleFlush();
}

void QuorvelApplication::onCommitDataRequest(QSessionManager &)
{
    // Synchronous: the session manager expects the data written when this returns.
    Q_EMIT flush();
}

bool QuorvelApplication::eventFilter(QObject *watched, QEvent *event)
{
    const QEvent::Type type = event->type();
    if ((type == QEvent::Show || type == QEvent::Hide || type == QEvent::WindowStateChange)
        && watched->isWidgetType() && static_cast<QWidget *>(watched)->isWindow()) {
        const bool shown = anyWindowShown();
        if (m_windowsShown && !shown)
            scheduleFlush();
        m_windowsShown = shown;
    }
    return QApplication::eventFilter(watched, event);
}

void QuorvelApplication::scheduleFlush()
{
    // Hide events and state changes also come from inside a window's destructor, when the
    // main window's flush() would run on a half-destroyed object. From the event loop the
    // connection to a destroyed window is gone. Several triggers at once give one flush.
    if (m_flushScheduled)
        return;
    m_flushScheduled = true;
    QMetaObject::invokeMethod(
        this,
        [this] {
            m_flushScheduled = false;
            Q_EMIT flush();
        },
        Qt::QueuedConnection);
}

bool QuorvelApplication::anyWindowShown() const
{
    const QWidgetList windows = topLevelWidgets();
    for (const QWidget *window : windows) {
        if (window->isVisible() && !window->isMinimized())
            return true;
    }
    return false;
}

void QuorvelApplication::onSignal()
{
    char buffer[64];
    while (::read(s_signalSockets[1], buffer, sizeof buffer) > 0) {
    }
    Q_EMIT flush();
    // exit() rather than quit(): a termination signal must not be refused by a window that
    // declines to close. Before the main loop runs it ends the nested loop of a dialog, and
    // exec() ends the main loop as soon as it starts.
    m_terminationRequested = true;
    QCoreApplication::exit(0);
}

void QuorvelApplication::onFileChanged(const QString &)
{
    if (!m_watchedPath.isEmpty())
        m_settle->start();
}

void QuorvelApplication::checkDataFile()
{
    if (m_watchedPath.isEmpty())
        return;
    if (m_ownWritePending) {
        // Whatever a notification was about, the file now holds our own write.
        ownWriteFinished();
        return;
    }
    // Watch the file as it is now before reading it, so a change after the read is seen.
    rewatchDataFile();
    const QByteArray digest = currentDigest();
    if (digest.isEmpty() || digest == m_knownDigest)
        return;
    m_knownDigest = digest;
    Q_EMIT reload();
}

void QuorvelApplication::rewatchDataFile()
{
    // The watch may still sit on the inode that a rename replaced; start it afresh.
    m_watcher->removePath(m_watchedPath);
    if (QFileInfo::exists(m_watchedPath))
        m_watcher->addPath(m_watchedPath);
}

QByteArray QuorvelApplication::currentDigest() const
{
    QFile file(m_watchedPath);
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    QCryptographicHash hash(QCryptographicHash::Sha1);
    if (!hash.addData(&file))
        return QByteArray();
    return hash.result();
}
