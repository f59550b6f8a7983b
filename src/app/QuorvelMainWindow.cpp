// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "QuorvelMainWindow.h"

#include "ChangeChannel.h"
#include "DesktopConfig.h"
#include "ForgottenTimer.h"
#include "HelpMenu.h"
#include "IdleWatcher.h"
#include "StatusBarPanel.h"
#include "TrayIcon.h"
#include "ViewMenu.h"
#include "app/SingleInstance.h"
#include "dialogs/ActivityList.h"
#include "dialogs/CategoryList.h"
#include "dialogs/DesktopSettings.h"
#include "model/QuorvelDocument.h"
#include "model/TaskCommands.h"
#include "platform/Clock.h"
#include "platform/Config.h"
#include "platform/PrivateFiles.h"
#include "reportwindows/Report.h"
#include "reportwindows/ReportViewer.h"
#include "views/MainWidget.h"
#include "views/QVTable.h"
#include "widgets/MessageBox.h"
#include "widgets/QuorvelApplication.h"
#include "widgets/Resource.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>
#include <QKeyEvent>
#include <QLocale>
#include <QMenu>
#include <QMenuBar>
#include <QSaveFile>
#include <QStatusBar>
#include <QTimer>
#include <QToolBar>
#include <QToolButton>
#include <QUndoStack>

#include <cstdlib>
#include <memory>
#include <vector>

namespace {

QByteArray digestOf(const QByteArray &bytes)
{
    return QCryptographicHash::hash(bytes, QCryptographicHash::Sha256);
}

// How long a write waits for a command of the command line that writes the data file.
constexpr int DataLockPatienceMs = 5 * 1000;
// How long a note stays in the status bar.
constexpr int NoteMs = 10 * 1000;

} // namespace

void QuorvelMainWindow::showMessage(const TaskMessages::Message &message, bool warning)
{
    if (warning)
        MessageBox::warning(this, message.title, message.text);
    else
        MessageBox::information(this, message.title, message.text);
}

QuorvelMainWindow::QuorvelMainWindow(QWidget *parent)
    : QMainWindow(parent)
{
    setObjectName(QStringLiteral("Quorvel time tracking application"));

    const QDateTime now = Clock::now();
    std::srand(unsigned((now.toSecsSinceEpoch() + now.time().msec()) % 2147483647));

    setupDocument();
    if (m_quitRequested)
        return;
    m_changes = new ChangeChannel(
        m_document.get(), [this](QuorvelDocument &fresh) { restoreRecords(fresh); }, this);
    setupReports();
    setupMenuBar();
    setupCentralWidget();
    setupKeyboard();
    setupTimer();
    setupStatusBar();
    updateView(nullptr);
    showBalloonTips();

    connect(m_mainWidget, &MainWidget::taskChanged, this, &QuorvelMainWindow::taskChanged);
    connect(m_mainWidget->button(1), &QToolButton::toggled, this,
            &QuorvelMainWindow::shortcut1Toggled);
    connect(m_mainWidget->button(2), &QToolButton::toggled, this,
            &QuorvelMainWindow::shortcut2Toggled);
    connect(m_mainWidget->button(3), &QToolButton::toggled, this,
            &QuorvelMainWindow::shortcut3Toggled);
    connect(m_timer, &QTimer::timeout, m_mainWidget, &MainWidget::updateShortcutTimers);
    connect(m_mainWidget->table, &QVTable::ok, this, &QuorvelMainWindow::editTask);
    connect(m_changes, &ChangeChannel::changed, this, &QuorvelMainWindow::documentChanged);
    connect(m_changes, &ChangeChannel::historyChanged, this, &QuorvelMainWindow::updateUndoActions);
    updateUndoActions();

    // Where the person left it; the first time, room for the three columns and a few rows.
    if (!restoreGeometry(DesktopConfig::bytes(QStringLiteral("WindowGeometry"))))
        resize(QSize(640, 480).expandedTo(minimumSizeHint()));
}

QuorvelMainWindow::~QuorvelMainWindow()
{
    // Tearing down the view changes its current row and so on: nothing of that may reach
    // this window once its own members are going.
    if (m_mainWidget) {
        const QList<QObject *> senders
            = {m_mainWidget, m_mainWidget->table, m_mainWidget->button(1), m_mainWidget->button(2),
               m_mainWidget->button(3)};
        for (QObject *sender : senders)
            disconnect(sender, nullptr, this, nullptr);
    }
    // Nor may the history, which empties itself as it goes.
    if (m_changes)
        disconnect(m_changes, nullptr, this, nullptr);
    // A cancelled first start writes nothing: the file (if any) stays as the user had it.
    if (!m_quitRequested) {
        flush();
        DesktopConfig::setBytes(QStringLiteral("WindowGeometry"), saveGeometry());
    }
    // The view reads the document until it is gone: take it down before the document.
    delete m_mainWidget;
    m_mainWidget = nullptr;
}

QDateTime QuorvelMainWindow::getQVTime(bool withSeconds)
{
    return Clock::currentTime(withSeconds);
}

void QuorvelMainWindow::resetBalloonTips()
{
    Configuration::resetForFirstStart();
}

void QuorvelMainWindow::setupMenuBar()
{
    QMenu *taskMenu = menuBar()->addMenu(tr("Task"));
    taskMenu->setObjectName(QStringLiteral("taskMenu"));
    QMenu *editMenu = menuBar()->addMenu(tr("Edit"));
    editMenu->setObjectName(QStringLiteral("editMenu"));
    QMenu *viewMenu = menuBar()->addMenu(tr("View"));
    viewMenu->setObjectName(QStringLiteral("viewMenu"));
    QMenu *reportMenu = menuBar()->addMenu(tr("Report"));
    reportMenu->setObjectName(QStringLiteral("reportMenu"));
    QMenu *settingsMenu = menuBar()->addMenu(tr("Settings"));
    settingsMenu->setObjectName(QStringLiteral("settingsMenu"));
    QMenu *helpMenu = menuBar()->addMenu(tr("Help"));
    helpMenu->setObjectName(QStringLiteral("helpMenu"));
    // Filled like the task menu but never opened in this version.
    m_tablePopup = new QMenu(this);
    m_tablePopup->setObjectName(QStringLiteral("tablePopup"));

    QToolBar *toolBar = addToolBar(tr("Tasks"));
    toolBar->setObjectName(QStringLiteral("taskToolBar"));
    toolBar->setMovable(false);
    toolBar->setFloatable(false);

    addTaskMenuItems(taskMenu, m_tablePopup, toolBar);
    addEditMenuItems(editMenu);
    addReportMenuItems(reportMenu);
    addSettingsMenuItems(settingsMenu);
    m_viewMenu = new ViewMenu(this, viewMenu);
    new HelpMenu(this, helpMenu, toolBar);
}

void QuorvelMainWindow::addTaskMenuItems(QMenu *taskMenu, QMenu *tablePopup, QToolBar *toolBar)
{
    m_newTask = new QAction(Resource::loadIcon(QStringLiteral("new")), tr("New Task"), this);
    connect(m_newTask, &QAction::triggered, this, &QuorvelMainWindow::newTask);
    taskMenu->addAction(m_newTask);
    toolBar->addAction(m_newTask);

    m_editTask = new QAction(Resource::loadIcon(QStringLiteral("edit")), tr("Edit Task"), this);
    m_editTask->setEnabled(false);
    connect(m_editTask, &QAction::triggered, this, &QuorvelMainWindow::editTask);
    taskMenu->addAction(m_editTask);
    toolBar->addAction(m_editTask);
    tablePopup->addAction(m_editTask);

    m_deleteTask
        = new QAction(Resource::loadIcon(QStringLiteral("trash")), tr("Delete Task"), this);
    m_deleteTask->setEnabled(false);
    connect(m_deleteTask, &QAction::triggered, this, &QuorvelMainWindow::deleteTask);
    taskMenu->addAction(m_deleteTask);
    toolBar->addAction(m_deleteTask);
    tablePopup->addAction(m_deleteTask);

    taskMenu->addSeparator();

    m_purge
        = new QAction(Resource::loadIcon(QStringLiteral("editdelete")), tr("Purge Tasks"), this);
    connect(m_purge, &QAction::triggered, this, &QuorvelMainWindow::purge);
    taskMenu->addAction(m_purge);

    m_synchronise = new QAction(Resource::loadIcon(QStringLiteral("repeat")),
                                tr("Synchronize with Server"), this);
    connect(m_synchronise, &QAction::triggered, this, &QuorvelMainWindow::syncServer);
    taskMenu->addAction(m_synchronise);

    addQuickStartItem(taskMenu);
}

void QuorvelMainWindow::addEditMenuItems(QMenu *editMenu)
{
    m_undo = new QAction(tr("Undo"), this);
    m_undo->setObjectName(QStringLiteral("undo"));
    m_undo->setShortcut(QKeySequence::Undo);
    connect(m_undo, &QAction::triggered, this, &QuorvelMainWindow::undo);
    editMenu->addAction(m_undo);

    m_redo = new QAction(tr("Redo"), this);
    m_redo->setObjectName(QStringLiteral("redo"));
    m_redo->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Z));
    connect(m_redo, &QAction::triggered, this, &QuorvelMainWindow::redo);
    editMenu->addAction(m_redo);
}

void QuorvelMainWindow::addSettingsMenuItems(QMenu *settingsMenu)
{
    m_activities = new QAction(tr("Activities"), this);
    connect(m_activities, &QAction::triggered, this, &QuorvelMainWindow::maintainActivities);
    settingsMenu->addAction(m_activities);

    m_categories = new QAction(tr("Categories"), this);
    connect(m_categories, &QAction::triggered, this, &QuorvelMainWindow::maintainCategories);
    settingsMenu->addAction(m_categories);

    settingsMenu->addSeparator();

    m_concurrent = new QAction(tr("Allow Concurrent Tasks"), this);
    m_concurrent->setCheckable(true);
    // Set before connecting, so building the menu never runs the command.
    m_concurrent->setChecked(m_document->configuration.allowConcurrentTasks());
    connect(m_concurrent, &QAction::toggled, this, &QuorvelMainWindow::concurrentToggled);
    settingsMenu->addAction(m_concurrent);

    m_twelveHourClock = new QAction(tr("Twelve-Hour Clock"), this);
    m_twelveHourClock->setCheckable(true);
    m_twelveHourClock->setChecked(m_document->configuration.twelveHourClock());
    connect(m_twelveHourClock, &QAction::toggled, this, &QuorvelMainWindow::twelveHourClockToggled);
    settingsMenu->addAction(m_twelveHourClock);

    m_operatingMode = new QAction(tr("Operating Mode"), this);
    connect(m_operatingMode, &QAction::triggered, this, &QuorvelMainWindow::operatingMode);
    settingsMenu->addAction(m_operatingMode);

    settingsMenu->addSeparator();
    m_desktopSettings = new QAction(tr("Idle Time and Reminders"), this);
    connect(m_desktopSettings, &QAction::triggered, this, &QuorvelMainWindow::desktopSettings);
    settingsMenu->addAction(m_desktopSettings);
}

void QuorvelMainWindow::desktopSettings()
{
    DesktopSettings dialog(this);
    dialog.setIdleMinutes(IdleWatcher::minutes());
    if (m_idleWatcher && !m_idleWatcher->available())
        dialog.setIdleUnavailable(m_idleWatcher->unavailableReason());
    dialog.setRemindHours(ForgottenTimer::hours());
    dialog.setTellAboutPanel(tellsAboutPanel());
    if (dialog.exec() != QDialog::Accepted)
        return;
    if (dialog.spnIdleMinutes->isEnabled())
        IdleWatcher::setMinutes(dialog.idleMinutes());
    ForgottenTimer::setHours(dialog.remindHours());
    setTellsAboutPanel(dialog.tellAboutPanel());
    if (m_idleWatcher)
        m_idleWatcher->settingsChanged();
}

void QuorvelMainWindow::setupKeyboard()
{
    // Every command within reach of the keyboard. The shortcuts show in the menus beside the
    // entries; the entries' texts stay as they are.
    m_newTask->setShortcut(QKeySequence::New);
    m_editTask->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_E));
    // Enter on a row edits it too, as in the lists of other programs; the table still gets the
    // key (eventFilter).
    m_enterTable = m_mainWidget->table;
    m_enterTable->installEventFilter(this);
    m_deleteTask->setShortcut(QKeySequence::Delete);
    if (QAction *summary = actionForReport(0))
        summary->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_R));

    // The three shortcut buttons, through the buttons themselves: the same command, with every
    // refusal and question.
    for (int slot = 1; slot <= 3; ++slot) {
        auto *toggle = new QAction(this);
        toggle->setObjectName(QStringLiteral("toggleShortcut%1").arg(slot));
        // Named for the list of Help → Keyboard Shortcuts; no menu shows it.
        toggle->setText(tr("Shortcut Button %1").arg(slot));
        toggle->setShortcut(QKeySequence(Qt::CTRL | Qt::Key(Qt::Key_0 + slot)));
        connect(toggle, &QAction::triggered, this, [this, slot] {
            QToolButton *button = m_mainWidget->button(slot);
            if (button->isVisible() && button->isEnabled())
                button->click();
        });
        addAction(toggle);
    }

    auto *quit = new QAction(this);
    quit->setObjectName(QStringLiteral("quit"));
    quit->setText(tr("Quit Quorvel"));
    quit->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
    connect(quit, &QAction::triggered, this, &QWidget::close);
    addAction(quit);

    // The menus' titles carry no mnemonic marks; Alt with their first letters opens them all
    // the same, and F10 the first, as on other desktops. The Edit menu comes last here: it
    // takes the first letter of its title that no other menu has ("Bearbeiten" beside
    // "Bericht").
    const QList<QAction *> menus = menuBar()->actions();
    QList<QAction *> byPriority;
    for (QAction *menu : menus) {
        if (menu->menu() && menu->menu()->objectName() != QLatin1String("editMenu"))
            byPriority << menu;
    }
    for (QAction *menu : menus) {
        if (!byPriority.contains(menu))
            byPriority << menu;
    }
    QString taken;
    for (QAction *menu : std::as_const(byPriority)) {
        const QString title = menu->text().toUpper();
        QChar letter;
        for (const QChar c : title) {
            if (c.isLetter() && !taken.contains(c)) {
                letter = c;
                break;
            }
        }
        if (letter.isNull())
            continue;
        taken += letter;
        auto *open = new QAction(this);
        // Named after the menu's object, not its title, which follows the language.
        open->setObjectName(QStringLiteral("open menu ") + menu->menu()->objectName());
        open->setText(tr("Open the Menu %1").arg(menu->text()));
        open->setShortcut(QKeySequence(Qt::ALT | Qt::Key(letter.unicode())));
        connect(open, &QAction::triggered, this,
                [this, menu] { menuBar()->setActiveAction(menu); });
        addAction(open);
    }
    if (!menus.isEmpty()) {
        auto *first = new QAction(this);
        first->setObjectName(QStringLiteral("open first menu"));
        first->setText(tr("Open the First Menu"));
        first->setShortcut(QKeySequence(Qt::Key_F10));
        connect(first, &QAction::triggered, this,
                [this, menu = menus.first()] { menuBar()->setActiveAction(menu); });
        addAction(first);
    }
}

// "ToldAboutPanel" is set once the person asked not to be told again.
bool QuorvelMainWindow::tellsAboutPanel()
{
    return !DesktopConfig::flag(QStringLiteral("ToldAboutPanel"), false);
}

void QuorvelMainWindow::setTellsAboutPanel(bool tell)
{
    DesktopConfig::setFlag(QStringLiteral("ToldAboutPanel"), !tell);
}

void QuorvelMainWindow::showToPerson()
{
    setWindowState((windowState() & ~Qt::WindowMinimized) | Qt::WindowActive);
    show();
    raise();
    activateWindow();
}

void QuorvelMainWindow::receiveDocuments(const QStringList &paths)
{
    showToPerson();
    // Not from inside the socket's handler: a report's window runs a loop of its own.
    QTimer::singleShot(0, this, [this, paths] {
        for (const QString &path : paths)
            setDocument(path);
    });
}

void QuorvelMainWindow::closeEvent(QCloseEvent *event)
{
    if (m_tray && m_tray->isShown()) {
        if (m_tray->showsRunning()) {
            // The running task goes on being timed, and the panel shows it.
            event->ignore();
            hide();
            if (tellsAboutPanel()
                && MessageBox::informationWithCheckBox(
                    nullptr, tr("Quorvel Keeps Running"),
                    tr("A task is running, so Quorvel stays in the panel and goes on timing "
                       "it.\nOpen or quit Quorvel from its icon there."),
                    tr("Don't show again")))
                setTellsAboutPanel(false);
            return;
        }
        // Nothing runs: closing the window ends Quorvel, as it does without a panel.
        QTimer::singleShot(0, qApp, &QCoreApplication::quit);
    }
    QMainWindow::closeEvent(event);
}

bool QuorvelMainWindow::eventFilter(QObject *watched, QEvent *event)
{
    // The table is compared as an object only: its parent may be half destroyed by now.
    if (event->type() == QEvent::KeyPress && watched == m_enterTable) {
        const auto *key = static_cast<QKeyEvent *>(event);
        const bool enter = key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter;
        if (enter && (key->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier
            && m_editTask->isEnabled())
            m_editTask->trigger();
    }
    return QMainWindow::eventFilter(watched, event);
}

void QuorvelMainWindow::setupCentralWidget()
{
    m_mainWidget = new MainWidget(m_document.get(), this);
    setCentralWidget(m_mainWidget);
    m_viewMenu->attach(m_mainWidget);
    // Notes about what a change did without a word, such as a task removed for lasting under
    // a minute.
    statusBar()->setObjectName(QStringLiteral("statusBar"));
}

void QuorvelMainWindow::setupTimer()
{
    m_timer = new QTimer(this);
    m_timer->setObjectName(QStringLiteral("one second timer"));
    m_timer->start(1000);
}

void QuorvelMainWindow::updateView(QVTask *task)
{
    if (task) {
        m_mainWidget->updateRow(task);
        m_mainWidget->setSelectedTask(-1);
        m_mainWidget->blankUnusedButtons();
    } else {
        m_mainWidget->update();
    }
    m_mainWidget->updateShortcutTimers();
    updateControls();
    Q_EMIT tasksChanged();
}

void QuorvelMainWindow::updateControls()
{
    const QuorvelDocument &doc = *m_document;
    const bool group = doc.configuration.mode() == Configuration::Group;
    m_newTask->setEnabled(doc.getNumActiveActivities(false) != 0);
    m_quickStart->setEnabled(m_newTask->isEnabled());
    const bool selected = m_mainWidget->selectedTask != nullptr;
    m_editTask->setEnabled(selected);
    m_deleteTask->setEnabled(selected);
    m_purge->setEnabled(!doc.tasks.isEmpty());
    if (doc.getNumActiveCategories() == 0 && doc.getNumActiveActivities(false) == 0)
        m_activities->setEnabled(false);
    else
        m_activities->setEnabled(!group);
    m_synchronise->setEnabled(group);
    m_categories->setEnabled(!group);
}

void QuorvelMainWindow::taskChanged()
{
    updateControls();
    if (m_statusPanel)
        m_statusPanel->selectionChanged();
}

void QuorvelMainWindow::rememberWritten()
{
    m_writtenDigest = digestOf(m_document->getDocumentBytes());
}

bool QuorvelMainWindow::flush()
{
    if (!m_document)
        return true;
    const QByteArray bytes = m_document->getDocumentBytes();
    const QByteArray digest = digestOf(bytes);
    if (digest == m_writtenDigest && QFileInfo::exists(QuorvelDocument::dataFilePath()))
        return true;

    // Without the socket the command line writes the data file itself, between our writes:
    // each write takes the data lock, and a file changed meanwhile is read instead of
    // overwritten (reload() keeps our unsaved changes beside it).
    const bool lockEachWrite = m_channel && !m_channel->holdsDataLock();
    if (lockEachWrite) {
        if (m_channel->takeDataLock(DataLockPatienceMs) != FileLock::Outcome::Locked) {
            m_saveProblem = tr("another Quorvel command holds the data file");
            tellSaveFailure(false);
            return false;
        }
        if (fileDigest() != m_writtenDigest && QFileInfo::exists(QuorvelDocument::dataFilePath())) {
            reload();
            m_channel->releaseDataLock();
            return true;
        }
    }

    // Our own write must not come back as a reload.
    const bool written = QuorvelApplication::ownWrite([this] { return m_document->save(); });
    if (lockEachWrite)
        m_channel->releaseDataLock();
    if (written && m_document->savedToDataFile()) {
        m_writtenDigest = digest;
        m_saveFailureTold = false;
        m_saveProblem.clear();
        return true;
    }
    m_saveProblem = m_document->saveProblem();
    tellSaveFailure(m_document->saveFailedForSpace());
    return false;
}

void QuorvelMainWindow::tellSaveFailure(bool forSpace)
{
    // Once until a save succeeds again, not at every autosave while the disk stays full; and
    // from the event loop, so that a handed command's answer or the end on a signal does not
    // wait for the user.
    if (m_saveFailureTold)
        return;
    m_saveFailureTold = true;
    const QString path = QuorvelDocument::dataFilePath();
    const QString text
        = forSpace ? tr("Quorvel could not write its data file:\n%1\n\nYour changes are kept in "
                        "the window; free some space and they are written at the next save.")
                         .arg(path)
                   : tr("Quorvel could not write its data file:\n%1\n\nThe reason: %2.\n\nYour "
                        "changes are kept in the window and written at the next save that "
                        "succeeds.")
                         .arg(path, m_saveProblem);
    QTimer::singleShot(0, this,
                       [this, text] { MessageBox::warning(this, tr("Cannot Save"), text); });
}

QByteArray QuorvelMainWindow::fileDigest()
{
    QFile file(QuorvelDocument::dataFilePath());
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    return digestOf(file.readAll());
}

void QuorvelMainWindow::reload()
{
    if (!m_document)
        return;
    const QByteArray bytes = m_document->getDocumentBytes();
    if (digestOf(bytes) != m_writtenDigest) {
        // Changes made here since the last write would be lost by reading the file: keep them.
        QSaveFile unsaved(QuorvelDocument::besideDataFile(QStringLiteral("unsaved")));
        if (unsaved.open(QIODevice::WriteOnly)) {
            PrivateFiles::restrict(unsaved.handle());
            unsaved.write(bytes);
            unsaved.commit();
        }
    }

    QuorvelDocument fresh;
    if (!fresh.load()) {
        if (QFileInfo::exists(QuorvelDocument::dataFilePath()))
            keepDataFileAside(true);
        // The file no longer holds what is shown: the next flush writes it again.
        m_writtenDigest.clear();
        return;
    }
    adoptRecords(fresh);
    rememberWritten();
    m_changes->clearHistory(tr("reading the data file again"));
    updateView(nullptr);
}

void QuorvelMainWindow::adoptRecords(QuorvelDocument &fresh)
{
    // Take the records over; the old ones go with the other document.
    std::swap(m_document->categories, fresh.categories);
    std::swap(m_document->activities, fresh.activities);
    std::swap(m_document->tasks, fresh.tasks);
    m_document->deletedTaskIds = fresh.deletedTaskIds;
    m_document->nextId = fresh.nextId;
    // The task selected here may be gone.
    if (!m_document->tasks.contains(m_mainWidget->selectedTask))
        m_mainWidget->selectedTask = nullptr;
    fresh.clear();
}

void QuorvelMainWindow::twelveHourClockToggled(bool on)
{
    Config qpe(QStringLiteral("qpe"), Config::User);
    qpe.setGroup(QStringLiteral("Time"));
    qpe.writeEntry(QStringLiteral("AMPM"), on);
    // The display texts are made when a time is set: make them again in the new form.
    for (QVTask *task : std::as_const(m_document->tasks)) {
        task->setStart(task->start());
        task->setStop(task->stop());
    }
    updateView(nullptr);
}

void QuorvelMainWindow::maintainCategories()
{
    CategoryList list(m_document.get(), this);
    list.changes = m_changes;
    list.exec();
    showBalloonTips();
}

void QuorvelMainWindow::maintainActivities()
{
    ActivityList list(m_document.get(), this);
    list.changes = m_changes;
    list.exec();
    showBalloonTips();
}

void QuorvelMainWindow::undo()
{
    if (m_changes->undo())
        showBalloonTips();
}

void QuorvelMainWindow::redo()
{
    if (m_changes->redo())
        showBalloonTips();
}

void QuorvelMainWindow::updateUndoActions()
{
    const QUndoStack *stack = m_changes->stack();
    // A name with an ampersand must not become a mnemonic.
    const auto entry = [](QString name) {
        return name.replace(QLatin1Char('&'), "&&");
    };
    if (stack->canUndo())
        m_undo->setText(tr("Undo %1").arg(entry(stack->undoText())));
    else if (!m_changes->clearedBecause().isEmpty())
        m_undo->setText(tr("Undo (history cleared by %1)").arg(m_changes->clearedBecause()));
    else
        m_undo->setText(tr("Undo"));
    m_undo->setEnabled(stack->canUndo());
    m_redo->setText(stack->canRedo() ? tr("Redo %1").arg(entry(stack->redoText())) : tr("Redo"));
    m_redo->setEnabled(stack->canRedo());
}

void QuorvelMainWindow::documentChanged(const QString &note)
{
    // A task the change removed may have been the one selected here.
    if (!m_document->tasks.contains(m_mainWidget->selectedTask))
        m_mainWidget->selectedTask = nullptr;
    updateView(nullptr);
    restoreConcurrentToggle();
    if (!note.isEmpty())
        statusBar()->showMessage(note, NoteMs);
}

void QuorvelMainWindow::restoreRecords(QuorvelDocument &fresh)
{
    const QVTask *selected = m_mainWidget->selectedTask;
    const int selectedId = selected ? selected->id : 0;
    const qsizetype row = m_document->tasks.findRef(selected);
    adoptRecords(fresh);
    const SortedList<QVTask> &tasks = m_document->tasks;
    QVTask *again = nullptr;
    for (QVTask *task : tasks) {
        if (selected && task->id == selectedId) {
            again = task;
            break;
        }
    }
    if (!again && row >= 0 && !tasks.isEmpty())
        again = tasks.at(qMin(row, tasks.size() - 1));
    m_mainWidget->selectedTask = again;
}
