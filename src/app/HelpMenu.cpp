// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "HelpMenu.h"

#include "dialogs/HelpWindow.h"
#include "dialogs/ShortcutsWindow.h"
#include "widgets/MessageBox.h"
#include "widgets/Resource.h"

#include <QAction>
#include <QMenu>
#include <QSizePolicy>
#include <QToolBar>
#include <QToolButton>
#include <QWidget>

namespace {

const char *const ProjectUrl = "https://quorvel.org/";

// Brings a window made before back before the person.
void bringForward(QWidget *window)
{
    window->show();
    window->raise();
    window->activateWindow();
}

} // namespace

HelpMenu::HelpMenu(QWidget *window, QMenu *menu, QToolBar *toolBar)
    : QObject(window)
    , m_window(window)
    , m_shortcuts(new QAction(tr("Keyboard Shortcuts"), window))
    , m_help(new QAction(Resource::loadIcon(QStringLiteral("help")), tr("Quorvel Help"), window))
    , m_about(new QAction(tr("About Quorvel"), window))
{
    setObjectName(QStringLiteral("helpMenu"));
    m_shortcuts->setObjectName(QStringLiteral("keyboardShortcuts"));
    connect(m_shortcuts, &QAction::triggered, this, &HelpMenu::showShortcuts);
    menu->addAction(m_shortcuts);

    m_help->setObjectName(QStringLiteral("quorvelHelp"));
    m_help->setShortcut(QKeySequence::HelpContents);
    connect(m_help, &QAction::triggered, this, &HelpMenu::showHelp);
    menu->addAction(m_help);

    menu->addSeparator();
    m_about->setObjectName(QStringLiteral("aboutQuorvel"));
    m_about->setMenuRole(QAction::AboutRole);
    connect(m_about, &QAction::triggered, this, &HelpMenu::showAbout);
    menu->addAction(m_about);

    // The (?) button stands at the right end of the tool bar, after the task icons.
    auto *spacer = new QWidget(toolBar);
    spacer->setObjectName(QStringLiteral("helpSpacer"));
    spacer->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    toolBar->addWidget(spacer);
    toolBar->addAction(m_help);
    if (auto *button = qobject_cast<QToolButton *>(toolBar->widgetForAction(m_help)))
        button->setObjectName(QStringLiteral("helpButton"));
}

QString HelpMenu::aboutTitle()
{
    return tr("About Quorvel");
}

QString HelpMenu::aboutText()
{
    const QString url = QString::fromLatin1(ProjectUrl);
    return tr("<h3>Quorvel %1</h3>"
              "<p>Time tracking for the tasks of your day, alone or with a group server.</p>"
              "<p>Licence: GNU General Public License, version 3 or later "
              "(GPL-3.0-or-later).</p>"
              "<p><a href=\"%2\">%2</a></p>")
        .arg(QStringLiteral(QUORVEL_VERSION), url);
}

void HelpMenu::showShortcuts()
{
    if (!m_shortcutsWindow)
        m_shortcutsWindow = new ShortcutsWindow(m_window);
    else
        m_shortcutsWindow->refresh();
    bringForward(m_shortcutsWindow);
}

void HelpMenu::showHelp()
{
    if (!m_helpWindow)
        m_helpWindow = new HelpWindow(m_window);
    bringForward(m_helpWindow);
}

void HelpMenu::showAbout()
{
    MessageBox::about(m_window, aboutTitle(), aboutText());
}
