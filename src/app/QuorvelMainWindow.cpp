#include "QuorvelMainWindow.h"

#include "dialogs/ActivityList.h"
#include "dialogs/CategoryList.h"
#include "dialogs/ChooseInitialMode.h"
#include "dialogs/OperatingMode.h"
#include "model/QuorvelDocument.h"
#include "platform/Clock.h"
#include "platform/Config.h"
#include "platform/MessageBox.h"
#include "platform/QuorvelApplication.h"
#include "platform/Resource.h"
#include "views/MainWidget.h"
#include "views/QVTable.h"

#include <QAction>
#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>
#include <QMenu>
#include <QMenuBar>
#include <QSaveFile>
#include <QTimer>
#include <QToolBar>
#include <QToolButton>

#include <cstdlib>

namespace {

QByteArray digestOf(const QByteArray &bytes)
{
    return QCryptographicHash::hash(bytes, QCryptographicHash::Sha256);
}

// A name beside the data file for a copy kept at this moment: "<file>.<kind>-<stamp>".
QString besideDataFile(const QString &kind)
{
    return QuorvelDocument::dataFilePath() + QLatin1Char('.') + kind + QLatin1Char('-')
           + Clock::now().toString(QStringLiteral("yyyyMMddhhmmss"));
}

} // namespace

QuorvelMainWindow::QuorvelMainWindow(QWidget *parent)
    : QMainWindow(parent)
{
    setObjectName(QStringLiteral("Quorvel time tracking application"));

    const QDateTime now = Clock::now();
    std::srand(unsigned((now.toSecsSinceEpoch() + now.time().msec()) % 2147483647));

    setupDocument();
    if (m_quitRequested)
        return;
    setupReports();
    setupMenuBar();
    setupCentralWidget();
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
    const QString copy
        = besideDataFile(unreadable ? QStringLiteral("unreadable") : QStringLiteral("replaced"));
    if (!QFile::copy(QuorvelDocument::dataFilePath(), copy)) {
        MessageBox::warning(
            this, tr("Data File Not Kept"),
            tr("The data file could not be read\nand could not be copied to\n%1").arg(copy));
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
    Config config(Configuration::storeName(), Config::User);
    config.setGroup(QStringLiteral("BalloonTips"));
    for (const char *key : {"groupMode", "categories", "activities", "startHere", "newTask",
                            "shortcutButtons", "taskList", "additionalHelp"})
        config.writeEntry(QString::fromLatin1(key), 0);
    config.setGroup(Configuration::localSettingsGroup());
    config.writeEntry(QStringLiteral("WarnDeleteZeroTasks"), 1);
    config.writeEntry(QStringLiteral("AllowConcurrentTasks"), 0);
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

bool QuorvelMainWindow::getServerSettings()
{
    Configuration &configuration = m_document->configuration;
    OperatingMode dialog(this);
    dialog.txtServer->setText(configuration.serverAddress());
    dialog.txtPassword->setText(configuration.serverPassword());
    dialog.txtUserID->setText(configuration.serverUserID());
    dialog.radGroup->setChecked(true);
    dialog.radPersonal->setEnabled(false);
    if (dialog.exec() != QDialog::Accepted)
        return false;
    configuration.setMode(Configuration::Group);
    configuration.setServerAddress(dialog.txtServer->text().trimmed());
    configuration.setServerUserID(dialog.txtUserID->text().trimmed());
    configuration.setServerPassword(dialog.txtPassword->text().trimmed());
    return true;
}

void QuorvelMainWindow::setupReports()
{
    // The report list is filled when the reports exist.
}

void QuorvelMainWindow::setupMenuBar()
{
    QMenu *taskMenu = menuBar()->addMenu(tr("Task"));
    taskMenu->setObjectName(QStringLiteral("taskMenu"));
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

void QuorvelMainWindow::addReportMenuItems(QMenu *reportMenu)
{
    // The two period reports; they run once the report framework is in place.
    for (const QString &name : {tr("Period Summary Report"), tr("Period Time Sheet")})
        reportMenu->addAction(new QAction(name, this));
    reportMenu->addSeparator();
    auto *viewSaved = new QAction(tr("View Saved Report"), this);
    connect(viewSaved, &QAction::triggered, this, &QuorvelMainWindow::viewSavedReport);
    reportMenu->addAction(viewSaved);
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
}

void QuorvelMainWindow::setupCentralWidget()
{
    m_mainWidget = new MainWidget(m_document.get(), this);
    setCentralWidget(m_mainWidget);
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

void QuorvelMainWindow::flush()
{
    if (!m_document)
        return;
    const QByteArray digest = digestOf(m_document->getDocumentBytes());
    if (digest == m_writtenDigest && QFileInfo::exists(QuorvelDocument::dataFilePath()))
        return;
    // Our own write must not come back as a reload.
    QuorvelApplication *app = QuorvelApplication::instance();
    if (app)
        app->expectOwnWrite();
    const bool saved = m_document->save();
    if (app)
        app->ownWriteFinished();
    if (saved)
        m_writtenDigest = digest;
}

void QuorvelMainWindow::reload()
{
    if (!m_document)
        return;
    const QByteArray bytes = m_document->getDocumentBytes();
    if (digestOf(bytes) != m_writtenDigest) {
        // Changes made here since the last write would be lost by reading the file: keep them.
        QSaveFile unsaved(besideDataFile(QStringLiteral("unsaved")));
        if (unsaved.open(QIODevice::WriteOnly)) {
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
    // Take the records read over; the old ones go with the temporary document.
    std::swap(m_document->categories, fresh.categories);
    std::swap(m_document->activities, fresh.activities);
    std::swap(m_document->tasks, fresh.tasks);
    m_document->deletedTaskIds = fresh.deletedTaskIds;
    m_document->nextId = fresh.nextId;
    rememberWritten();
    updateView(nullptr);
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
    list.exec();
    updateView(nullptr);
    showBalloonTips();
}

void QuorvelMainWindow::maintainActivities()
{
    ActivityList list(m_document.get(), this);
    list.exec();
    updateView(nullptr);
    showBalloonTips();
}

// Commands that arrive with the task editor, the reports and the server exchange. Until then
// their menu entries exist and do nothing.
void QuorvelMainWindow::setDocument(const QString &) {}
void QuorvelMainWindow::viewSavedReport() {}
void QuorvelMainWindow::syncServer() {}
void QuorvelMainWindow::operatingMode() {}
void QuorvelMainWindow::purge() {}
void QuorvelMainWindow::newTask() {}
void QuorvelMainWindow::deleteTask() {}
void QuorvelMainWindow::editTask() {}
void QuorvelMainWindow::concurrentToggled(bool) {}

// Starting and stopping from the buttons arrives with the task commands; until then a press
// leaves the buttons showing their tasks as they are.
void QuorvelMainWindow::shortcut1Toggled(bool)
{
    updateView(nullptr);
}

void QuorvelMainWindow::shortcut2Toggled(bool)
{
    updateView(nullptr);
}

void QuorvelMainWindow::shortcut3Toggled(bool)
{
    updateView(nullptr);
}
