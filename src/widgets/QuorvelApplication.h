// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QApplication>
#include <QByteArray>
#include <QString>

#include <functional>

class QFileSystemWatcher;
class QSessionManager;
class QSocketNotifier;
class QTimer;

// The application object. Besides running the event loop it tells the main window when to
// write its data and when the data file was replaced by another program:
//  - flush(): when the application goes inactive or its windows are hidden, on the session
//    manager's commit-data request, on SIGTERM, SIGINT and SIGHUP (after which the
//    application quits cleanly), and every 60 seconds;
//  - reload(): when another program replaces or rewrites the watched data file. Our own
//    writes are announced first with expectOwnWrite() and do not count.
//
// "Hidden" means that no top-level widget is left visible and not minimised: the application
// watches the Show, Hide and WindowStateChange events of all top-level widgets (an event
// filter on itself). This works on every platform plugin, offscreen included, where
// lastWindowClosed() and the application state would miss a window that is only hidden.
// The flushes for going inactive and for hidden windows are emitted from the event loop just
// after the event, never while it is delivered: a window's destructor hides it, and its
// flush() must not run then.
class QuorvelApplication : public QApplication
{
    Q_OBJECT

public:
    // Interval of the autosave timer unless setAutosaveInterval changes it.
    static constexpr int DefaultAutosaveInterval = 60 * 1000;

    QuorvelApplication(int &argc, char **argv);
    ~QuorvelApplication() override;

    static QuorvelApplication *instance();

    // Runs the event loop like QApplication::exec(). A termination signal that arrived before
    // the loop started (while the first-run dialog was up, say) ends it as soon as it runs,
    // with 0. Call this one, not QApplication::exec(), or such a signal is forgotten.
    static int exec();

    // Watch this data file for changes by other programs. Its contents at this moment are
    // taken as known: only a later change of the contents emits reload(). A file that
    // disappears does not emit reload() (reloading would empty the document); a new file
    // at the path does.
    void watchDataFile(const QString &path);

    // Our own writes of the watched file, in this order:
    //     app->expectOwnWrite();
    //     document.save();
    //     app->ownWriteFinished();   // optional, but recommended
    // expectOwnWrite() says a write of ours is about to happen; ownWriteFinished() takes the
    // file's contents as they are now as our own, so the change notifications that follow
    // do not emit reload(). Without ownWriteFinished() the same happens as soon as control
    // returns to the event loop. A later change by another program gives different
    // contents and emits reload(), however soon after our write it comes.
    void expectOwnWrite();
    void ownWriteFinished();
    // Runs write (a save of the data file) between the two calls above, when there is an
    // application object; returns what write returned. Every write of the program's own goes
    // through here.
    static bool ownWrite(const std::function<bool()> &write);

    // Catches SIGTERM, SIGINT and SIGHUP: each makes the application emit flush() and quit.
    // The handler only writes a byte to a socket pair; the work happens in the event loop.
    // Safe to call more than once. The previous handlers come back when the application
    // object is destroyed.
    void installSignalHandlers();

    // Milliseconds between autosave flushes; 0 or less switches autosave off.
    void setAutosaveInterval(int milliseconds);
    int autosaveInterval() const;

Q_SIGNALS:
    void flush();
    void reload();

protected:
    // Connected to applicationStateChanged(): any state but active emits flush() (once control
    // is back in the event loop).
    void onApplicationStateChanged(Qt::ApplicationState state);
    // Called for the session manager's commit-data request.
    void onCommitDataRequest(QSessionManager &manager);

    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void onSignal();
    void onFileChanged(const QString &path);
    void checkDataFile();
    void rewatchDataFile();
    QByteArray currentDigest() const;
    bool anyWindowShown() const;
    void scheduleFlush();

    QTimer *m_autosave = nullptr;
    QFileSystemWatcher *m_watcher = nullptr;
    // Coalesces the bursts of notifications one write causes and lets a writer finish
    // before the file is read.
    QTimer *m_settle = nullptr;
    QSocketNotifier *m_signalNotifier = nullptr;
    QString m_watchedPath;
    // SHA-1 of the contents last seen or written by us; empty while none are known.
    QByteArray m_knownDigest;
    bool m_ownWritePending = false;
    bool m_windowsShown = false;
    bool m_flushScheduled = false;
    bool m_terminationRequested = false;
};
