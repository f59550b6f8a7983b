// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The first-use tip sequence of the main window.

#include "QuorvelMainWindow.h"

#include "model/QuorvelDocument.h"
#include "platform/Config.h"
#include "views/BalloonTip.h"
#include "views/MainWidget.h"

namespace {

const QLatin1String TipsGroup("BalloonTips");

// Every main-window tip is shown once, on the first call that reaches it.
void showOnce(QWidget *parent, const QString &text, const QPoint &pos, int seconds,
              const QString &key)
{
    BalloonTip::showTip(parent, text, pos, seconds, 1, 1, Configuration::storeName(), TipsGroup,
                        key);
}

} // namespace

void QuorvelMainWindow::showBalloonTips()
{
    const QuorvelDocument &doc = *m_document;
    switch (doc.configuration.mode()) {
    case Configuration::Personal: {
        int taskListCount = 0;
        {
            Config config(Configuration::storeName(), Config::User);
            config.setGroup(TipsGroup);
            taskListCount = config.readNumEntry(QStringLiteral("taskList"), 0);
        }
        if (taskListCount > 0) {
            showOnce(m_mainWidget,
                     tr("For additional help, tap the (?)\nicon at the top of the screen.\n\n"
                        "This is the end of balloon-tip help."),
                     QPoint(20, 70), 7, QStringLiteral("additionalHelp"));
        } else if (!doc.tasks.isEmpty()) {
            showOnce(m_mainWidget, tr("Tasks are listed here"), QPoint(40, 40), 5,
                     QStringLiteral("taskList"));
            showOnce(m_mainWidget,
                     tr("Use these \"shortcut\" buttons to start\nand stop the three most "
                        "recent\nactivities in real time"),
                     QPoint(20, 160), 10, QStringLiteral("shortcutButtons"));
        } else if (doc.getNumActiveActivities(false) > 0) {
            showOnce(m_mainWidget, tr("Tap the New Task icon to\nget started"), QPoint(90, 25), 4,
                     QStringLiteral("startHere"));
        } else if (doc.getNumActiveCategories() > 0) {
            showOnce(m_mainWidget,
                     tr("Select \"Activities\" from the\n\"Settings\" menu to create some\nnew "
                        "activities"),
                     QPoint(30, 25), 6, QStringLiteral("activities"));
        } else {
            showOnce(m_mainWidget,
                     tr("Select \"Categories\" from the\n\"Settings\" menu to create some\nnew "
                        "activity categories"),
                     QPoint(30, 25), 6, QStringLiteral("categories"));
        }
        break;
    }
    case Configuration::Group:
        showOnce(m_mainWidget,
                 tr("Select \"Synchronize with Server\"\nfrom the \"Task\" menu to get started\n"),
                 QPoint(30, 25), 6, QStringLiteral("groupMode"));
        break;
    default:
        // No mode chosen (or one this version does not know): no help to give yet.
        break;
    }
}
