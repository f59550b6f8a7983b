// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "model/TaskCommands.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QMainWindow>
#include <QPointer>

#include <memory>
#include <vector>

class ChangeChannel;
class ChangeScope;
class DocLnk;
class HandedCommand;
class IdleWatcher;
class MainWidget;
class OperatingMode;
class QAction;
class QMenu;
class QTimer;
class QToolBar;
class QToolButton;
class Activity;
class QuorvelDocument;
class SingleInstance;
class StatusBarPanel;
class TrayIcon;
class QVTask;
class Report;
class TaskEdit;
class ViewMenu;

// The one main window. It owns the document, runs the first-run choice of operating mode,
// builds the menus, the tool bar and the central task view, drives the running-time labels
// every second, and recomputes after every change which commands are available.
//
// Every change it makes to the tasks, activities and categories (its own commands, the
// panel's, the idle question's and those handed over by the command line and the session
// bus) goes through its ChangeChannel, which records it for Edit → Undo and shows it.
//
// The document reaches the data file only through flush(), the destructor and a server
// synchronisation.
class QuorvelMainWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit QuorvelMainWindow(QWidget *parent = nullptr);
    ~QuorvelMainWindow() override;

    // True when the user cancelled the first-run dialog: the program is to end with status 0
    // without showing the window or writing the data file.
    bool quitRequested() const { return m_quitRequested; }

    QuorvelDocument *document() const { return m_document.get(); }
    MainWidget *mainWidget() const { return m_mainWidget; }
    // Task → Start…, which the panel menu follows.
    QAction *quickStartAction() const { return m_quickStart; }
    // The running tasks, the selected task's duration and the totals in the status bar.
    StatusBarPanel *statusPanel() const { return m_statusPanel; }
    // The one way the document is changed, with the history of Edit → Undo.
    ChangeChannel *changes() const { return m_changes; }

    // The current date and time as every recorded start and stop uses it: seconds 0 unless
    // withSeconds, milliseconds always 0.
    static QDateTime getQVTime(bool withSeconds);

    // Where an unreadable or replaced data file was kept before the first-run choice, or ""
    // when nothing had to be kept.
    QString keptDataFilePath() const { return m_keptDataFile; }

    // The reports of the Report menu, in menu order (Reports.cpp).
    const std::vector<std::unique_ptr<Report>> &reports() const { return m_reports; }
    // Shows a saved report as it was stored; nothing when its file cannot be read.
    void showDocument(const DocLnk &link);

public Q_SLOTS:
    // Writes the document when it differs from what was last written or read. False when the
    // data file could not be written; the person is told once until a write succeeds again.
    bool flush();
    // Reads the data file again after another program replaced it. Unsaved changes are
    // first written beside it; a file that cannot be read leaves the document as it is.
    void reload();
    // Opens the saved report in the file at path (from the command line, or handed over by a
    // second start).
    void setDocument(const QString &path);
    // Lets the user pick a saved report and shows it.
    void viewSavedReport();
    void syncServer();
    void maintainCategories();
    void maintainActivities();
    void operatingMode();
    void purge();
    void taskChanged();
    void newTask();
    void deleteTask();
    void editTask();
    void shortcut1Toggled(bool on);
    void shortcut2Toggled(bool on);
    void shortcut3Toggled(bool on);
    void concurrentToggled(bool on);
    void twelveHourClockToggled(bool on);
    // The settings of idle time, reminders and the panel.
    void desktopSettings();
    // Carries out a command of the command line on the document shown, and answers it. A
    // command that changes tasks waits while a question or an editor is open here.
    void carryOut(HandedCommand *command);
    // Edit → Undo and Redo.
    void undo();
    void redo();
    // Stops a running task (by its id) as its shortcut button would, once the window is free:
    // for a running task that has no button.
    void stopRunningTask(int taskId);
    // Task → Start…: picks an active activity by typing, once the window is free, and starts
    // it as its shortcut button would (QuickStarting.cpp).
    void quickStart();
    // Starts a task of the activity by the shortcut buttons' rules, with their refusals and
    // questions; an activity already running on a button is left as it is.
    void startActivity(Activity *activity);

    // Brings the window before the person: out of the panel or the minimised state (a
    // maximised window stays maximised), raised and active. A second start asks for this.
    void showToPerson();
    // A second start's saved reports (maybe none): the window comes forward and opens them.
    void receiveDocuments(const QStringList &paths);

public:
    // Declines the handed commands still waiting, at the end of the run.
    void declineWaitingCommands();
    // The one-instance channel, whose data lock the window holds while it listens, and takes
    // for each write while it does not.
    void setChannel(SingleInstance *channel) { m_channel = channel; }

    // The panel icon, when Quorvel has one: closing the window while a task runs then keeps
    // Quorvel there, and closing it otherwise ends Quorvel as without a panel.
    void setTrayIcon(TrayIcon *tray) { m_tray = tray; }
    // Whether closing the window while a task runs says that Quorvel stays in the panel: until
    // the person ticks "Don't show again" in that message.
    static bool tellsAboutPanel();
    // The idle question, whose availability the desktop settings show.
    void setIdleWatcher(IdleWatcher *watcher) { m_idleWatcher = watcher; }
    static void setTellsAboutPanel(bool tell);

Q_SIGNALS:
    // The table and the buttons were brought up to date after the tasks may have changed.
    void tasksChanged();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void closeEvent(QCloseEvent *event) override;

private:
    void setupDocument();
    void setupReports();
    void setupMenuBar();
    void addTaskMenuItems(QMenu *taskMenu, QMenu *tablePopup, QToolBar *toolBar);
    void addEditMenuItems(QMenu *editMenu);
    // The texts and states of Undo and Redo.
    void updateUndoActions();
    // Shows the document after the change channel changed it; note goes to the status bar.
    void documentChanged(const QString &note);
    // Takes the records of fresh in place of those shown after an undo or redo, keeping the
    // selected task (by its id) or its row.
    void restoreRecords(QuorvelDocument &fresh);
    void addReportMenuItems(QMenu *reportMenu);
    void addSettingsMenuItems(QMenu *settingsMenu);
    void setupCentralWidget();
    // Shortcuts for the commands, the shortcut buttons and the menus.
    void setupKeyboard();
    // The Report menu's entry of the report at that place in m_reports, or null.
    QAction *actionForReport(int index) const;
    void setupTimer();
    void promptUserMode();
    bool getServerSettings();
    // Puts the stored server password into the dialog's field once the keyring gives it.
    void fillPasswordLater(OperatingMode &dialog);
    // The exchange itself, once the password is known.
    void runSynchronize(const QString &password);
    void updateView(QVTask *task);
    void updateControls();
    void resetBalloonTips();
    static void takeEditorTimes(const TaskEdit &editor, QVTask *task);
    // Takes back the id of a task that was refused before it was ever made.
    void giveIdBack(const QVTask *task);
    // Shows the first-use tip that fits the user's progress (BalloonTips.cpp).
    void showBalloonTips();
    void keepDataFileAside(bool unreadable);
    void rememberWritten();
    void tellSaveFailure(bool forSpace);
    static QByteArray fileDigest();
    // Takes over the records of fresh, which gets the old ones (and clears them).
    void adoptRecords(QuorvelDocument &fresh);

    // Starts (on) or stops (off) a task of the activity shown by the given button.
    void shortcutToggled(int shortcut, bool on, QToolButton *button);
    void startShortcutTask(QVTask *shown, QToolButton *button, ChangeScope &change);
    // The start of a task of the activity now, by the buttons' rules; false when refused.
    bool startTaskOf(Activity *activity, ChangeScope &change);
    // Task → Start… and the status bar (QuickStarting.cpp).
    void addQuickStartItem(QMenu *taskMenu);
    void setupStatusBar();
    // Stops a running task now by the buttons' rules, with their question and refusals; a
    // stop refused because a later task is in the way offers to stop it where that task
    // starts. False when the task still runs.
    bool stopNow(QVTask *task, ChangeScope &change);
    // Stops the other running tasks when a running task may not share its time with them.
    // False when one of them cannot be stopped and the command must not go on.
    bool stopOtherTasks(QVTask *task, const QDateTime &when, bool updateEachView,
                        ChangeScope &change);
    // Bracket a shortcut command: the buttons are silent and disabled in between.
    void disableButtons();
    void enableButtons();
    // A refusal or warning of the task commands in a box with one OK button.
    void showMessage(const TaskMessages::Message &message, bool warning);
    // Carries out a handed command whose turn it is.
    void carryOutNow(HandedCommand *command, bool writes);
    // Shows the concurrency setting in its toggle without running concurrentToggled again.
    void restoreConcurrentToggle();

    std::unique_ptr<QuorvelDocument> m_document;
    std::vector<std::unique_ptr<Report>> m_reports;
    MainWidget *m_mainWidget = nullptr;
    QTimer *m_timer = nullptr;
    QAction *m_newTask = nullptr;
    QAction *m_editTask = nullptr;
    QAction *m_deleteTask = nullptr;
    QMenu *m_tablePopup = nullptr;
    QAction *m_concurrent = nullptr;
    QAction *m_activities = nullptr;
    QAction *m_categories = nullptr;
    QAction *m_operatingMode = nullptr;
    QAction *m_purge = nullptr;
    QAction *m_synchronise = nullptr;
    QAction *m_twelveHourClock = nullptr;
    QAction *m_desktopSettings = nullptr;
    QAction *m_undo = nullptr;
    QAction *m_quickStart = nullptr;
    StatusBarPanel *m_statusPanel = nullptr;
    QAction *m_redo = nullptr;
    IdleWatcher *m_idleWatcher = nullptr;
    ChangeChannel *m_changes = nullptr;
    ViewMenu *m_viewMenu = nullptr;

    bool m_quitRequested = false;
    QString m_keptDataFile;
    // Commands of the command line handed over and not yet answered, to decline at the end.
    QList<QPointer<HandedCommand>> m_handed;
    // Digest of the document string last written or read, to skip writes that change nothing
    // and to tell unsaved changes.
    QByteArray m_writtenDigest;
    // True once the user has been told that the data file cannot be written, until a write
    // succeeds again.
    bool m_saveFailureTold = false;
    // True while an exchange waits for the keyring to give the server password.
    bool m_syncAsking = false;
    // Why the last write failed, in the person's words.
    QString m_saveProblem;
    SingleInstance *m_channel = nullptr;
    TrayIcon *m_tray = nullptr;
    // The task table, whose Enter edits (eventFilter).
    QPointer<QObject> m_enterTable;
};
