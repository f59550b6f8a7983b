// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "TrayIcon.h"

#include "QuorvelMainWindow.h"
#include "model/QuorvelDocument.h"
#include "model/TaskTimeText.h"
#include "platform/Clock.h"
#include "reports/ReportText.h"
#include "views/MainWidget.h"
#include "widgets/Resource.h"

#include <QApplication>
#include <QMenu>
#include <QPainter>
#include <QSystemTrayIcon>
#include <QTimer>
#include <QToolButton>

namespace {

// The program's icon with a dot of colour in its corner.
QIcon withMark(const QIcon &icon, const QColor &colour)
{
    QIcon marked;
    for (const int size : {16, 22, 24, 32, 48, 64}) {
        QPixmap pixmap = icon.pixmap(size, size);
        if (pixmap.isNull())
            pixmap = QPixmap(size, size);
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        const int dot = qMax(6, size / 2);
        painter.setPen(QPen(Qt::white, qMax(1, size / 16)));
        painter.setBrush(colour);
        painter.drawEllipse(size - dot, size - dot, dot - 1, dot - 1);
        painter.end();
        marked.addPixmap(pixmap);
    }
    return marked;
}

} // namespace

TrayIcon::TrayIcon(QuorvelMainWindow *window)
    : QObject(window)
    , m_window(window)
    , m_menu(std::make_unique<QMenu>())
{
    m_menu->setObjectName(QStringLiteral("trayMenu"));
    for (int slot = 1; slot <= 3; ++slot) {
        QAction *entry = m_menu->addAction(QString());
        entry->setObjectName(QStringLiteral("trayShortcut%1").arg(slot));
        entry->setCheckable(true);
        // The button decides, as if it had been clicked; the entry shows what it did.
        connect(entry, &QAction::triggered, this, [this, slot] {
            QToolButton *button = m_window->mainWidget()->button(slot);
            if (button->isEnabled())
                button->click();
            refresh();
        });
        m_shortcuts[slot - 1] = entry;
    }
    m_start = m_menu->addAction(tr("Start…"));
    m_start->setObjectName(QStringLiteral("trayStart"));
    connect(m_start, &QAction::triggered, window, &QuorvelMainWindow::quickStart);
    m_separator = m_menu->addSeparator();
    m_open = m_menu->addAction(tr("Open Quorvel"));
    m_open->setObjectName(QStringLiteral("trayOpen"));
    connect(m_open, &QAction::triggered, this, [this] {
        m_window->showNormal();
        m_window->raise();
        m_window->activateWindow();
    });
    m_quit = m_menu->addAction(tr("Quit"));
    m_quit->setObjectName(QStringLiteral("trayQuit"));
    connect(m_quit, &QAction::triggered, this, [this] {
        m_window->flush();
        // exit() rather than quit(): quit() closes the windows first, and the window closed
        // while a task runs only hides into the panel.
        QCoreApplication::exit(0);
    });

    m_idleIcon = Resource::loadIcon(QStringLiteral("quorvel"));
    m_runningIcon = withMark(m_idleIcon, QColor(0x2e, 0xa0, 0x43));
    m_overdueIcon = withMark(m_idleIcon, QColor(0xe0, 0x6c, 0x00));

    connect(window, &QuorvelMainWindow::tasksChanged, this, &TrayIcon::refresh);
    // The running times in the tooltip.
    m_timer = new QTimer(this);
    connect(m_timer, &QTimer::timeout, this, &TrayIcon::refresh);
    m_timer->start(1000);
    m_panelTimer = new QTimer(this);
    connect(m_panelTimer, &QTimer::timeout, this, &TrayIcon::checkPanel);
    refresh();
}

TrayIcon::~TrayIcon() = default;

namespace {
bool s_panelForTesting = false;
}

void TrayIcon::setPanelForTesting(bool on)
{
    s_panelForTesting = on;
}

bool TrayIcon::show()
{
    if (s_panelForTesting) {
        m_shownForTesting = true;
        m_panelThere = true;
        QApplication::setQuitOnLastWindowClosed(false);
        m_panelTimer->start(3000);
        refresh();
        return true;
    }
    if (!QSystemTrayIcon::isSystemTrayAvailable())
        return false;
    if (!m_icon) {
        m_icon = new QSystemTrayIcon(this);
        m_icon->setContextMenu(m_menu.get());
        connect(m_icon, &QSystemTrayIcon::activated, this,
                [this](QSystemTrayIcon::ActivationReason reason) {
                    if (reason == QSystemTrayIcon::Trigger
                        || reason == QSystemTrayIcon::DoubleClick)
                        m_open->trigger();
                });
    }
    refresh();
    m_icon->show();
    m_panelThere = true;
    // The window may now be closed with the program still running here.
    QApplication::setQuitOnLastWindowClosed(false);
    m_panelTimer->start(3000);
    return true;
}

bool TrayIcon::isShown() const
{
    return m_panelThere && (m_shownForTesting || (m_icon && m_icon->isVisible()));
}

void TrayIcon::checkPanel()
{
    if (!m_shownForTesting && !m_icon)
        return;
    const bool there
        = m_shownForTesting ? s_panelForTesting : QSystemTrayIcon::isSystemTrayAvailable();
    if (there == m_panelThere)
        return;
    m_panelThere = there;
    QApplication::setQuitOnLastWindowClosed(!there);
    // A window hidden into a panel that is gone could be reached no more.
    if (!there && !m_window->isVisible()) {
        m_window->showNormal();
        m_window->raise();
        m_window->activateWindow();
    }
}

QAction *TrayIcon::shortcutAction(int slot) const
{
    return slot >= 1 && slot <= 3 ? m_shortcuts[slot - 1] : nullptr;
}

QString TrayIcon::toolTip() const
{
    QString text = tr("Quorvel");
    const QDateTime now = Clock::currentTime(true);
    for (const QVTask *task : m_window->document()->tasks) {
        if (!task->isRunning())
            continue;
        const QString time = TaskTimeText::runningTime(task->start(), now);
        text += QLatin1Char('\n') + task->activityName() + QLatin1Char('\t')
                + (m_overdue.contains(task->id) ? tr("%1 (still running?)").arg(time) : time);
    }
    return text;
}

void TrayIcon::setOverdueTasks(const QSet<int> &taskIds)
{
    m_overdue = taskIds;
    refresh();
}

void TrayIcon::refresh()
{
    MainWidget *widget = m_window->mainWidget();
    if (!widget)
        return;
    for (int slot = 1; slot <= 3; ++slot) {
        const QToolButton *button = widget->button(slot);
        QAction *entry = m_shortcuts[slot - 1];
        entry->setText(button->text());
        entry->setVisible(!button->text().isEmpty());
        entry->setEnabled(button->isEnabled());
        entry->setChecked(button->isChecked());
    }
    // As in the Task menu: nothing to start without an activity in use.
    m_start->setEnabled(m_window->quickStartAction()->isEnabled());
    refreshRunning();
    bool running = false;
    bool overdue = false;
    for (const QVTask *task : m_window->document()->tasks) {
        running = running || task->isRunning();
        overdue = overdue || (task->isRunning() && m_overdue.contains(task->id));
    }
    m_showsRunning = running;
    m_showsOverdue = overdue;
    if (m_icon) {
        m_icon->setIcon(overdue ? m_overdueIcon : running ? m_runningIcon : m_idleIcon);
        m_icon->setToolTip(toolTip());
    }
}

void TrayIcon::refreshRunning()
{
    // Every running task can be stopped here, also one whose activity or category was
    // withdrawn and so has no button.
    QList<int> ids;
    QStringList texts;
    const QDateTime now = Clock::currentTime(true);
    for (const QVTask *task : m_window->document()->tasks) {
        if (!task->isRunning())
            continue;
        ids << task->id;
        const qint64 seconds = task->start().isValid() ? task->start().secsTo(now) : 0;
        const QString time = ReportText::formatMinutes(int(qMax<qint64>(0, seconds) / 60), false);
        QString name = task->activityName();
        texts << tr("Stop “%1” (%2)").arg(name.replace(QLatin1Char('&'), "&&"), time);
    }
    // Rebuilt only when they changed, not with every tick of the tooltip's timer.
    if (ids == m_runningIds && m_running.size() == texts.size()) {
        for (int i = 0; i < texts.size(); ++i) {
            m_running.at(i)->setText(texts.at(i));
            // A stop that was refused leaves the task running, and its entry ticked.
            m_running.at(i)->setChecked(true);
        }
        return;
    }
    // The entry clicked may be among them, still in its signal.
    for (QAction *entry : std::as_const(m_running)) {
        m_menu->removeAction(entry);
        entry->deleteLater();
    }
    m_running.clear();
    m_runningIds = ids;
    for (int i = 0; i < ids.size(); ++i) {
        auto *entry = new QAction(texts.at(i), m_menu.get());
        entry->setObjectName(QStringLiteral("trayRunning%1").arg(i + 1));
        entry->setCheckable(true);
        entry->setChecked(true);
        const int id = ids.at(i);
        connect(entry, &QAction::triggered, this, [this, id] {
            m_window->stopRunningTask(id);
            refresh();
        });
        m_menu->insertAction(m_start, entry);
        m_running << entry;
    }
}

void TrayIcon::showMessage(const QString &title, const QString &text)
{
    if (m_icon && m_icon->isVisible())
        m_icon->showMessage(title, text, m_runningIcon);
}
