// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ViewMenu.h"

#include "DesktopConfig.h"
#include "views/MainWidget.h"

#include <QAction>
#include <QMenu>
#include <QWidget>

ViewMenu::ViewMenu(QWidget *window, QMenu *menu)
    : QObject(window)
    , m_durationColumn(new QAction(tr("Duration Column"), window))
    , m_find(new QAction(tr("Find…"), window))
    , m_closeFind(new QAction(tr("Close Find Bar"), window))
{
    setObjectName(QStringLiteral("viewMenu"));
    m_durationColumn->setObjectName(QStringLiteral("durationColumn"));
    m_durationColumn->setCheckable(true);
    // Set before connecting, so building the menu writes nothing.
    m_durationColumn->setChecked(durationColumnShown());
    connect(m_durationColumn, &QAction::toggled, this, &ViewMenu::durationColumnToggled);
    menu->addAction(m_durationColumn);

    menu->addSeparator();
    m_find->setObjectName(QStringLiteral("find"));
    m_find->setShortcut(QKeySequence::Find);
    connect(m_find, &QAction::triggered, this, [this] {
        if (m_view)
            m_view->showFilterBar();
    });
    menu->addAction(m_find);

    // Not in the menu: Escape only while the bar is open, so that it means nothing else then.
    m_closeFind->setObjectName(QStringLiteral("closeFind"));
    m_closeFind->setShortcut(QKeySequence(Qt::Key_Escape));
    m_closeFind->setEnabled(false);
    connect(m_closeFind, &QAction::triggered, this, [this] {
        if (m_view)
            m_view->closeFilterBar();
    });
    window->addAction(m_closeFind);
}

void ViewMenu::attach(MainWidget *view)
{
    m_view = view;
    view->setDurationShown(m_durationColumn->isChecked());
    // Only the bar's own opening and closing, never the view's teardown, reaches the entry.
    connect(view, &MainWidget::filteringChanged, m_closeFind, &QAction::setEnabled);
    m_closeFind->setEnabled(view->filtering());
}

bool ViewMenu::durationColumnShown()
{
    return DesktopConfig::flag(QStringLiteral("DurationColumn"), false);
}

void ViewMenu::durationColumnToggled(bool on)
{
    DesktopConfig::setFlag(QStringLiteral("DurationColumn"), on);
    if (m_view)
        m_view->setDurationShown(on);
}
