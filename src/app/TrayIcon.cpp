// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "TrayIcon.h"

#include "QuorvelMainWindow.h"
#include "model/QuorvelDocument.h"
#include "model/TaskTimeText.h"
#include "platform/Clock.h"
#include "platform/Resource.h"
#include "views/MainWidget.h"

#include <QApplication>
#include <QMenu>
#include <QPainter>
#include <QSystemTrayIcon>
#include <QTimer>
#include <QToolButton>

namespace {

// The program's icon with a green dot in its corner.
QIcon withRunningMark(const QIcon &icon)
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
        painter.setBrush(QColor(0x2e, 0xa0, 0x43));
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
        QCoreApplication::quit();
    });

    m_idleIcon = Resource::loadIcon(QStringLiteral("quorvel"));
    m_runningIcon = withRunningMark(m_idleIcon);

    connect(window, &QuorvelMainWindow::tasksChanged, this, &TrayIcon::refresh);
    // The running times in the tooltip.
    m_timer = new QTimer(this);
    connect(m_timer, &QTimer::timeout, this, &TrayIcon::refresh);
    m_timer->start(1000);
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
        QApplication::setQuitOnLastWindowClosed(false);
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
    // The window may now be closed with the program still running here.
    QApplication::setQuitOnLastWindowClosed(false);
    return true;
}

bool TrayIcon::isShown() const
{
    return m_shownForTesting || (m_icon && m_icon->isVisible());
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
        if (task->isRunning())
            text += QLatin1Char('\n') + task->activityName() + QLatin1Char('\t')
                    + TaskTimeText::runningTime(task->start(), now);
    }
    return text;
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
    refreshRunning();
    bool running = false;
    for (const QVTask *task : m_window->document()->tasks)
        running = running || task->isRunning();
    m_showsRunning = running;
    if (m_icon) {
        m_icon->setIcon(running ? m_runningIcon : m_idleIcon);
        m_icon->setToolTip(toolTip());
    }
}

void TrayIcon::refreshRunning()
{
    // A running task whose activity or category was withdrawn has no button, and stays within
    // reach here.
    QList<int> ids;
    QStringList names;
    for (const QVTask *task : m_window->document()->tasks) {
        if (task->isRunning() && (task->shortcut < 1 || task->shortcut > 3)) {
            ids << task->id;
            names << task->activityName();
        }
    }
    // Rebuilt only when they changed, not with every tick of the tooltip's timer.
    if (ids == m_runningIds && m_running.size() == names.size()) {
        for (int i = 0; i < names.size(); ++i) {
            QString text = names.at(i);
            m_running.at(i)->setText(text.replace(QLatin1Char('&'), QLatin1String("&&")));
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
        QString text = names.at(i);
        auto *entry
            = new QAction(text.replace(QLatin1Char('&'), QLatin1String("&&")), m_menu.get());
        entry->setObjectName(QStringLiteral("trayRunning%1").arg(i + 1));
        entry->setCheckable(true);
        entry->setChecked(true);
        const int id = ids.at(i);
        connect(entry, &QAction::triggered, this, [this, id] {
            m_window->stopRunningTask(id);
            refresh();
        });
        m_menu->insertAction(m_separator, entry);
        m_running << entry;
    }
}

void TrayIcon::showMessage(const QString &title, const QString &text)
{
    if (m_icon && m_icon->isVisible())
        m_icon->showMessage(title, text, m_runningIcon);
}
