// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QObject>
#include <QPointer>

class HelpWindow;
class QAction;
class QMenu;
class QToolBar;
class QWidget;
class ShortcutsWindow;

// The Help menu: Keyboard Shortcuts, Quorvel Help (also the (?) button at the right end of the
// tool bar, which the last first-use tip points at) and About Quorvel. Each window is made
// once and brought forward again when asked for anew.
class HelpMenu : public QObject
{
    Q_OBJECT

public:
    HelpMenu(QWidget *window, QMenu *menu, QToolBar *toolBar);

    QAction *shortcuts() const { return m_shortcuts; }
    QAction *help() const { return m_help; }
    QAction *about() const { return m_about; }

    // The About box's title and text.
    static QString aboutTitle();
    static QString aboutText();

    void showShortcuts();
    void showHelp();
    void showAbout();

private:
    QWidget *m_window;
    QAction *m_shortcuts;
    QAction *m_help;
    QAction *m_about;
    QPointer<ShortcutsWindow> m_shortcutsWindow;
    QPointer<HelpWindow> m_helpWindow;
};
