// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "QuorvelMainWindow.h"

#include "ChangeChannel.h"
#include "DesktopConfig.h"
#include "ForgottenTimer.h"
#include "IdleWatcher.h"
#include "TrayIcon.h"
#include "cli/Commands.h"
#include "dialogs/ActivityList.h"
#include "dialogs/CategoryList.h"
#include "dialogs/ChooseInitialMode.h"
#include "dialogs/DesktopSettings.h"
#include "dialogs/OperatingMode.h"
#include "dialogs/PurgeTasks.h"
#include "dialogs/TaskEdit.h"
#include "model/QuorvelDocument.h"
#include "model/TaskCommands.h"
#include "platform/Clock.h"
#include "platform/Config.h"
#include "platform/MessageBox.h"
#include "platform/PrivateFiles.h"
#include "platform/QuorvelApplication.h"
#include "platform/Resource.h"
#include "platform/SingleInstance.h"
#include "reports/Report.h"
#include "reports/ReportViewer.h"
#include "sync/TlsTrust.h"
#include "views/MainWidget.h"
#include "views/QVTable.h"

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
#include <QSignalBlocker>
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

// How long a command of the command line waits for a question here to be answered.
constexpr int HandedPatienceMs = 20 * 1000;
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

    // Room for the three columns and a few rows on a desktop screen.
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
    if (!m_quitRequested)
        flush();
    // The view reads the document until it is gone: take it down before the document.
    delete m_mainWidget;
    m_mainWidget = nullptr;
}

QDateTime QuorvelMainWindow::getQVTime(bool withSeconds)
{
    return Clock::currentTime(withSeconds);
}

void QuorvelMainWindow::setupDocument()
{
    m_document = std::make_unique<QuorvelDocument>();
    const QString recovered = QuorvelDocument::recoverInterruptedSave();
    if (!recovered.isEmpty()) {
        MessageBox::information(this, tr("Recovered Data"),
                                tr("A save was cut short and left data that may hold changes "
                                   "which are not in the data file.\nIt has been kept as\n%1")
                                    .arg(recovered));
    }
    const bool loaded = m_document->load();
    if (loaded && m_document->configuration.mode() != Configuration::Unset) {
        rememberWritten();
        return;
    }
    // The first-run choice replaces whatever the file holds: keep it beside first.
    if (QFileInfo::exists(QuorvelDocument::dataFilePath()))
        keepDataFileAside(!loaded);
    resetBalloonTips();
    promptUserMode();
}

void QuorvelMainWindow::keepDataFileAside(bool unreadable)
{
    const QString kind = unreadable ? QStringLiteral("unreadable") : QStringLiteral("replaced");
    const QString copy = QuorvelDocument::keepCopyOfDataFile(kind);
    if (copy.isEmpty()) {
        MessageBox::warning(this, tr("Data File Not Kept"),
                            tr("The data file could not be read\nand could not be copied to\n%1")
                                .arg(QuorvelDocument::besideDataFile(kind)));
        return;
    }
    m_keptDataFile = copy;
    if (unreadable) {
        MessageBox::information(
            this, tr("Data File Unreadable"),
            tr("The data file could not be read.\nIt has been kept as\n%1").arg(copy));
    } else {
        MessageBox::information(this, tr("Data File Kept"),
                                tr("No operating mode has been chosen yet.\nYour data file has "
                                   "been kept as\n%1")
                                    .arg(copy));
    }
}

void QuorvelMainWindow::resetBalloonTips()
{
    Configuration::resetForFirstStart();
}

void QuorvelMainWindow::promptUserMode()
{
    Configuration &configuration = m_document->configuration;
    for (;;) {
        ChooseInitialMode dialog(this);
        if (dialog.exec() != QDialog::Accepted) {
            configuration.setMode(Configuration::Unset);
            m_quitRequested = true;
            return;
        }
        if (dialog.radPersonalInit->isChecked()) {
            configuration.setMode(Configuration::Personal);
            m_document->createSampleData();
            return;
        }
        if (dialog.radPersonalNoInit->isChecked()) {
            configuration.setMode(Configuration::Personal);
            m_document->clear();
            return;
        }
        if (dialog.radGroup->isChecked()) {
            configuration.setMode(Configuration::Group);
            m_document->clear();
            if (getServerSettings())
                return;
        }
    }
}

void QuorvelMainWindow::fillPasswordLater(OperatingMode &dialog)
{
    // The keyring may ask the person first: the dialog opens meanwhile, and the password goes
    // into its field when it comes, unless they have typed one already.
    QLineEdit *field = dialog.txtPassword;
    m_document->configuration.askServerPassword(field, [field](const QString &password) {
        if (!field->isModified())
            field->setText(password);
    });
}

bool QuorvelMainWindow::getServerSettings()
{
    Configuration &configuration = m_document->configuration;
    OperatingMode dialog(this);
    dialog.txtServer->setText(configuration.serverAddress());
    fillPasswordLater(dialog);
    dialog.txtUserID->setText(configuration.serverUserID());
    dialog.radGroup->setChecked(true);
    dialog.radPersonal->setEnabled(false);
    if (dialog.exec() != QDialog::Accepted)
        return false;
    configuration.setMode(Configuration::Group);
    configuration.setServerAddress(dialog.txtServer->text().trimmed());
    configuration.setServerUserID(dialog.txtUserID->text().trimmed());
    configuration.storeServerPassword(dialog.txtPassword->text().trimmed());
    return true;
}

void QuorvelMainWindow::setupMenuBar()
{
    QMenu *taskMenu = menuBar()->addMenu(tr("Task"));
    taskMenu->setObjectName(QStringLiteral("taskMenu"));
    QMenu *editMenu = menuBar()->addMenu(tr("Edit"));
    editMenu->setObjectName(QStringLiteral("editMenu"));
    QMenu *reportMenu = menuBar()->addMenu(tr("Report"));
    reportMenu->setObjectName(QStringLiteral("reportMenu"));
    QMenu *settingsMenu = menuBar()->addMenu(tr("Settings"));
    settingsMenu->setObjectName(QStringLiteral("settingsMenu"));
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
        open->setShortcut(QKeySequence(Qt::ALT | Qt::Key(letter.unicode())));
        connect(open, &QAction::triggered, this,
                [this, menu] { menuBar()->setActiveAction(menu); });
        addAction(open);
    }
    if (!menus.isEmpty()) {
        auto *first = new QAction(this);
        first->setObjectName(QStringLiteral("open first menu"));
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

void QuorvelMainWindow::operatingMode()
{
    Configuration &configuration = m_document->configuration;
    const Configuration::OperatingMode previous = configuration.mode();

    OperatingMode dialog(this);
    dialog.txtServer->setText(configuration.serverAddress());
    fillPasswordLater(dialog);
    dialog.txtUserID->setText(configuration.serverUserID());
    if (previous == Configuration::Personal)
        dialog.radPersonal->setChecked(true);
    else
        dialog.radGroup->setChecked(true);

    if (dialog.exec() == QDialog::Accepted) {
        // The steps of the history belong to the mode they were made in.
        const auto modeChanged = [this](Configuration::OperatingMode before) {
            if (m_document->configuration.mode() != before)
                m_changes->clearHistory(tr("the change of operating mode"));
        };
        if (dialog.radPersonal->isChecked()) {
            // Leaving group mode keeps the data and the server settings.
            configuration.setMode(Configuration::Personal);
            modeChanged(previous);
        } else {
            const QuorvelDocument &doc = *m_document;
            const bool fromOtherMode = previous != Configuration::Group;
            const bool hasData = !doc.tasks.isEmpty() || doc.getNumActiveActivities(false) > 0
                                 || doc.getNumActiveCategories() > 0;
            if (fromOtherMode && hasData
                && !MessageBox::ask(this, tr("Change to Group Mode"),
                                    tr("Changing to Group Mode will\nresult in the deletion of\n"
                                       "all local Tasks, Activities\nand Categories.\n\n"
                                       "Proceed?")))
                return;
            // The server's activities and categories replace the local ones.
            if (fromOtherMode) {
                m_mainWidget->selectedTask = nullptr;
                m_document->clear();
            }
            configuration.setMode(Configuration::Group);
            configuration.setServerAddress(dialog.txtServer->text());
            if (dialog.serverEdited())
                configuration.setTrustedCertificate(TlsTrust::serverKey(dialog.txtServer->text()),
                                                    QString());
            configuration.setServerUserID(dialog.txtUserID->text());
            configuration.storeServerPassword(dialog.txtPassword->text());
            modeChanged(previous);
        }
        updateView(nullptr);
    }
    showBalloonTips();
}

void QuorvelMainWindow::purge()
{
    PurgeTasks dialog(this);
    dialog.setDateTime(getQVTime(false));
    dialog.setCounter(
        [this](const QDateTime &cutOff) { return m_document->countPurgedBy(cutOff); });
    if (dialog.exec() != QDialog::Accepted)
        return;
    const QDateTime cutOff = dialog.getDateTime();

    ChangeScope change(m_changes);
    const int purged = m_document->purge(cutOff);
    if (purged > 0)
        m_mainWidget->selectedTask = nullptr;
    change.setText(purged == 1 ? tr("Purge of 1 Task")
                               : tr("Purge of %1 Tasks").arg(QLocale().toString(purged)));
}

// Start and stop as the editor's radio buttons say; with none on, the value stays.
void QuorvelMainWindow::takeEditorTimes(const TaskEdit &editor, QVTask *task)
{
    if (editor.radStartNow->isChecked())
        task->setStart(editor.currentTime);
    else if (editor.radStartSpecified->isChecked())
        task->setStart(editor.getStartDateTime());
    if (editor.radStopNow->isChecked())
        task->setStop(editor.currentTime);
    else if (editor.radStopSpecified->isChecked())
        task->setStop(editor.getStopDateTime());
    else if (editor.radStopLater->isChecked())
        task->setStop(QDateTime());
}

void QuorvelMainWindow::newTask()
{
    TaskEdit editor(nullptr, m_document.get(), this);
    editor.changes = m_changes;
    editor.setWindowTitle(tr("Quorvel - New Task"));
    if (editor.exec() != QDialog::Accepted)
        return;

    {
        ChangeScope change(m_changes);
        auto *task = new QVTask();
        task->id = m_document->allocateId();
        takeEditorTimes(editor, task);
        task->activity = editor.selectedActivity;
        m_document->tasks.append(task);

        if (!stopOtherTasks(task, editor.currentTime, false, change)) {
            m_document->removeTask(task);
            giveIdBack(task);
            delete task;
            return;
        }
        change.setText(tr("New Task %1").arg(task->activityName()));
        m_document->includeShortcut(task);
        m_mainWidget->selectedTask = task;
        // The document applies its stop rules, such as passing the button on.
        if (!task->isRunning())
            m_document->stopTask(task, task->stop());
        m_document->tasks.sort();
    }
    showBalloonTips();
}

void QuorvelMainWindow::giveIdBack(const QVTask *task)
{
    // A task that was never made leaves no trace, not even its id.
    if (m_document->nextId == task->id + 1)
        m_document->nextId = task->id;
}

void QuorvelMainWindow::editTask()
{
    QVTask *task = m_mainWidget->selectedTask;
    if (!task) {
        updateView(nullptr);
        return;
    }
    const QDateTime oldStart = task->start();
    const QDateTime oldStop = task->stop();
    const QDateTime oldStamp = task->modifiedTime;
    Activity *const oldActivity = task->activity;

    TaskEdit editor(task, m_document.get(), this);
    editor.changes = m_changes;
    editor.setWindowTitle(tr("Quorvel - Edit Task"));
    if (editor.exec() != QDialog::Accepted)
        return;

    ChangeScope change(m_changes);
    task->modified();
    takeEditorTimes(editor, task);
    task->activity = editor.selectedActivity;

    if (stopOtherTasks(task, editor.currentTime, true, change)) {
        change.setText(tr("Edit Task %1").arg(task->activityName()));
    } else {
        task->setStart(oldStart);
        task->setStop(oldStop);
        task->modifiedTime = oldStamp;
        task->activity = oldActivity;
    }

    // A button stands for one activity: the older task of the new activity gives its up.
    bool shortcutTaken = false;
    if (task->activity != oldActivity) {
        for (QVTask *other : std::as_const(m_document->tasks)) {
            if (other != task && other->activity == task->activity && other->shortcut >= 1
                && other->shortcut <= 3) {
                other->shortcut = 0;
                other->modified();
                shortcutTaken = true;
            }
        }
    }

    const bool wasRunning = !oldStop.isValid();
    if (!task->isRunning()) {
        if (wasRunning)
            m_document->stopTask(task, task->stop());
    } else {
        m_document->includeShortcut(task);
    }

    if (task->start() != oldStart || shortcutTaken)
        m_document->tasks.sort();
}

void QuorvelMainWindow::deleteTask()
{
    QVTask *task = m_mainWidget->selectedTask;
    if (!task) {
        updateView(nullptr);
        return;
    }
    if (!MessageBox::ask(this, tr("Delete Task"),
                         tr("Are you sure you want to delete\n%1?").arg(task->activityName())))
        return;
    // Deleted once the view no longer shows it.
    const std::unique_ptr<QVTask> deleted(task);
    ChangeScope change(m_changes);
    change.setText(tr("Delete Task %1").arg(task->activityName()));
    const qsizetype row = m_document->tasks.findRef(task);
    m_document->removeTask(task);
    // The selection stays at the same row: on the task after the deleted one.
    const SortedList<QVTask> &tasks = m_document->tasks;
    m_mainWidget->selectedTask
        = tasks.isEmpty() ? nullptr : tasks.at(qBound<qsizetype>(0, row, tasks.size() - 1));
}

void QuorvelMainWindow::restoreConcurrentToggle()
{
    const QSignalBlocker blocker(m_concurrent);
    m_concurrent->setChecked(m_document->configuration.allowConcurrentTasks());
}

void QuorvelMainWindow::concurrentToggled(bool on)
{
    Configuration &configuration = m_document->configuration;
    if (on) {
        configuration.setAllowConcurrentTasks(true);
        return;
    }
    if (!m_document->activeTasks()) {
        configuration.setAllowConcurrentTasks(false);
        return;
    }
    if (!MessageBox::ask(this, tr("Disable Concurrent Tasks"),
                         tr("This will stop any active tasks.\nProceed?"))) {
        restoreConcurrentToggle();
        return;
    }

    ChangeScope change(m_changes);
    const QDateTime now = getQVTime(false);
    bool deletedReported = false;
    QStringList stopped;
    const QList<QVTask *> tasks = m_document->tasks;
    for (QVTask *task : tasks) {
        if (!task->isRunning())
            continue;
        if (now < task->start()) {
            MessageBox::information(
                this, tr("Cannot Disable Concurrent Tasks"),
                tr("An active task cannot be stopped\nnow because its start time is in\nthe "
                   "future. To set a specific\nfuture stop time, you can Edit\nthe task."));
            // What was stopped before the refusal stays stopped.
            restoreConcurrentToggle();
            return;
        }
        stopped << task->activityName();
        change.setText(TaskMessages::stopChange(stopped));
        if (now == task->start()) {
            // Shorter than a minute: never logged.
            change.addNote(ChangeChannel::underAMinuteNote({task->activityName()}));
            m_document->removeTask(task);
            updateView(nullptr);
            delete task;
            if (!deletedReported) {
                deletedReported = true;
                MessageBox::information(this, tr("Active Task Deleted"),
                                        tr("One or more active tasks have\nbeen deleted because "
                                           "their\nduration was less than\na minute."));
            }
        } else {
            m_document->stopTask(task, now);
            updateView(task);
        }
    }
    configuration.setAllowConcurrentTasks(false);
    change.setText(tr("Disable Concurrent Tasks"));
}

bool QuorvelMainWindow::stopOtherTasks(QVTask *task, const QDateTime &when, bool updateEachView,
                                       ChangeScope &change)
{
    // Only a running task keeps others from running.
    if (!task || !task->isRunning())
        return true;

    if (m_document->configuration.allowConcurrentTasks()) {
        for (const QVTask *other : std::as_const(m_document->tasks)) {
            if (other != task && other->isRunning() && other->activity == task->activity) {
                const TaskMessages::Message message = TaskMessages::sameActivityActive();
                MessageBox::information(this, message.title, message.text);
                break;
            }
        }
        return true;
    }

    // Tasks of less than a minute are dropped; they go when this function returns.
    std::vector<std::unique_ptr<QVTask>> dropped;
    QStringList stopped;
    const QList<QVTask *> tasks = m_document->tasks;
    for (QVTask *other : tasks) {
        if (other == task || !other->isRunning())
            continue;
        switch (m_document->validateTask(other->start(), when, when, other)) {
        case QuorvelDocument::Valid:
            stopped << other->activityName();
            change.setText(TaskMessages::stopChange(stopped));
            m_document->stopTask(other, when);
            if (updateEachView)
                updateView(other);
            break;
        case QuorvelDocument::StopBeforeStart:
            showMessage(TaskMessages::otherStartsInFuture(), true);
            return false;
        case QuorvelDocument::ZeroDuration:
            // Said nowhere else: the status bar tells, with the way back.
            change.addNote(ChangeChannel::underAMinuteNote({other->activityName()}));
            m_document->removeTask(other);
            dropped.emplace_back(other);
            updateView(nullptr);
            break;
        default:
            showMessage(TaskMessages::otherWouldOverlap(), true);
            return false;
        }
    }
    return true;
}

void QuorvelMainWindow::disableButtons()
{
    for (int slot = 1; slot <= 3; ++slot) {
        QToolButton *button = m_mainWidget->button(slot);
        button->blockSignals(true);
        button->setEnabled(false);
    }
    // Show the disabled buttons at once; user input waits until the command is done.
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
}

void QuorvelMainWindow::enableButtons()
{
    for (int slot = 1; slot <= 3; ++slot) {
        QToolButton *button = m_mainWidget->button(slot);
        button->setEnabled(!button->text().isEmpty());
        button->blockSignals(false);
    }
}

void QuorvelMainWindow::shortcutToggled(int shortcut, bool on, QToolButton *button)
{
    // Events processed while the buttons are disabled must not start a second command.
    if (m_changes->isChanging())
        return;
    {
        ChangeScope change(m_changes);
        disableButtons();

        QVTask *shown = nullptr;
        for (QVTask *task : std::as_const(m_document->tasks)) {
            if (task->shortcut == shortcut) {
                shown = task;
                break;
            }
        }
        if (shown) {
            if (on)
                startShortcutTask(shown, button, change);
            else if (shown->isRunning() && !stopNow(shown, change))
                button->setChecked(true);
        }
        enableButtons();
    }
    showBalloonTips();
}

void QuorvelMainWindow::startShortcutTask(QVTask *shown, QToolButton *button, ChangeScope &change)
{
    if (shown->isRunning())
        return;
    const QDateTime now = getQVTime(false);
    if (m_document->validateTask(now, now.addSecs(60), now, nullptr) == QuorvelDocument::Overlaps) {
        showMessage(TaskMessages::cannotStartOverlap(), false);
        button->setChecked(false);
        return;
    }

    auto *task = new QVTask();
    task->id = m_document->allocateId();
    task->setStart(now);
    task->shortcut = 0;
    task->activity = shown->activity;
    m_document->tasks.append(task);

    if (!stopOtherTasks(task, now, false, change)) {
        button->setChecked(false);
        m_document->removeTask(task);
        giveIdBack(task);
        delete task;
        return;
    }
    change.setText(TaskMessages::startChange(task->activityName()));
    m_document->includeShortcut(task);
    m_mainWidget->selectedTask = task;
    m_document->tasks.sort();
}

bool QuorvelMainWindow::stopNow(QVTask *task, ChangeScope &change)
{
    const QDateTime now = getQVTime(false);
    switch (m_document->validateTask(task->start(), now, now, task)) {
    case QuorvelDocument::Valid:
        change.setText(TaskMessages::stopChange({task->activityName()}));
        m_document->stopTask(task, now);
        m_mainWidget->selectedTask = task;
        return true;
    case QuorvelDocument::StopBeforeStart:
        showMessage(TaskMessages::cannotStopFuture(), false);
        return false;
    case QuorvelDocument::ZeroDuration: {
        bool warn = true;
        {
            Config config(Configuration::storeName(), Config::User);
            config.setGroup(Configuration::localSettingsGroup());
            warn = config.readBoolEntry(QStringLiteral("WarnDeleteZeroTasks"), true);
        }
        if (warn
            && MessageBox::ask(this, TaskMessages::zeroDurationQuestion().title,
                               TaskMessages::zeroDurationQuestion().text)) {
            Config config(Configuration::storeName(), Config::User);
            config.setGroup(Configuration::localSettingsGroup());
            config.writeEntry(QStringLiteral("WarnDeleteZeroTasks"), false);
        }
        // The answer only decides about warning again: the task is never kept.
        change.setText(TaskMessages::underAMinuteChange());
        change.addNote(ChangeChannel::underAMinuteNote({task->activityName()}));
        m_document->removeTask(task);
        m_mainWidget->selectedTask = nullptr;
        updateView(nullptr);
        delete task;
        return true;
    }
    default:
        break;
    }

    // A later task is in the way: the refusal offers to stop where that task starts.
    const TaskMessages::Message refusal = TaskMessages::cannotStopOverlap();
    const QDateTime latest = m_document->latestStop(task);
    if (!latest.isValid()) {
        showMessage(refusal, false);
        return false;
    }
    const int choice = MessageBox::choose(this, refusal.title, refusal.text,
                                          {TaskMessages::stopAt(latest), tr("OK")}, 1, 1,
                                          QMessageBox::Information);
    if (choice != 0)
        return false;
    // Nothing else changed meanwhile: the window was not free while the box was open.
    change.setText(TaskMessages::stopChange({task->activityName()}));
    m_document->stopTask(task, latest);
    m_mainWidget->selectedTask = task;
    return true;
}

void QuorvelMainWindow::stopRunningTask(int taskId)
{
    m_changes->whenFree(this, [this, taskId] {
        for (QVTask *task : std::as_const(m_document->tasks)) {
            if (task->id == taskId && task->isRunning()) {
                {
                    ChangeScope change(m_changes);
                    stopNow(task, change);
                }
                showBalloonTips();
                return;
            }
        }
    });
}

void QuorvelMainWindow::shortcut1Toggled(bool on)
{
    shortcutToggled(1, on, m_mainWidget->button(1));
}

void QuorvelMainWindow::shortcut2Toggled(bool on)
{
    shortcutToggled(2, on, m_mainWidget->button(2));
}

void QuorvelMainWindow::shortcut3Toggled(bool on)
{
    shortcutToggled(3, on, m_mainWidget->button(3));
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

void QuorvelMainWindow::carryOut(HandedCommand *command)
{
    m_handed.removeIf(
        [](const QPointer<HandedCommand> &handed) { return !handed || !handed->isWaiting(); });
    m_handed.append(command);
    Commands::Result checked;
    const bool writes
        = Commands::check(command->arguments().mid(1), &checked) == Commands::Needs::Writing;
    const QPointer<HandedCommand> handed(command);
    const auto work = [this, handed, writes] {
        if (handed && handed->isWaiting())
            carryOutNow(handed, writes);
    };
    if (!writes) {
        m_changes->inTurn(command, work);
        return;
    }
    // A change waits while a question or an editor is open here, but not for ever.
    m_changes->whenFree(command, work, HandedPatienceMs, [this, handed] {
        if (!handed)
            return;
        handed->reply(Commands::Refused, QByteArray(),
                      (QStringLiteral("quorvel: ")
                       + tr("Quorvel is waiting for an answer in its window; answer it there and "
                            "try again.")
                       + QLatin1Char('\n'))
                          .toUtf8());
    });
}

void QuorvelMainWindow::declineWaitingCommands()
{
    const QList<QPointer<HandedCommand>> waiting = std::exchange(m_handed, {});
    for (const QPointer<HandedCommand> &command : waiting) {
        if (command)
            command->decline(tr("Quorvel is ending; the command was not carried out."));
    }
}

void QuorvelMainWindow::carryOutNow(HandedCommand *command, bool writes)
{
    // Only a command its sender still waits for is carried out: it must learn the outcome.
    if (!command->take())
        return;
    // The working folder of the command line comes first.
    const QString workingFolder = command->arguments().value(0);
    const QStringList arguments = command->arguments().mid(1);
    Commands::Result result;
    {
        ChangeScope change(writes ? m_changes : nullptr);
        result = Commands::run(*m_document, arguments, workingFolder);
        if (result.changed) {
            change.setText(result.change);
            if (!result.removedUnderAMinute.isEmpty())
                change.addNote(ChangeChannel::underAMinuteNote(result.removedUnderAMinute));
            if (!flush()) {
                // A change the data file did not take is not made: the answer says so, and
                // the window shows what it showed before.
                change.revert();
                result.exitCode = Commands::Refused;
                result.out.clear();
                result.err += (QStringLiteral("quorvel: ")
                               + tr("the data file %1 could not be written (%2); the command "
                                    "was not carried out.")
                                     .arg(QuorvelDocument::dataFilePath(), m_saveProblem)
                               + QLatin1Char('\n'))
                                  .toUtf8();
            }
        }
    }
    command->reply(result.exitCode, result.out, result.err);
}
