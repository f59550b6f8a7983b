// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers
// The window's Help menu: Keyboard Shortcuts lists every shortcut of the window's actions, Quorvel
// Help shows the guide built into the program (also from the (?) button at the right end of the
// tool bar and F1), About Quorvel names the version, the licence and the project.

#include "DocumentBuilder.h"
#include "TestEnvironment.h"

#include "app/HelpMenu.h"
#include "app/QuorvelMainWindow.h"
#include "dialogs/HelpWindow.h"
#include "dialogs/ShortcutsWindow.h"
#include "platform/Clock.h"

#include <QAction>
#include <QMenuBar>
#include <QTextBrowser>
#include <QToolBar>
#include <QToolButton>
#include <QTreeWidget>
#include <QtTest>

#include <algorithm>

namespace {

void writeFixture()
{
    Configuration().setMode(Configuration::Personal);
    QuorvelDocument doc;
    doc.createSampleData();
    DocumentBuilder build(doc);
    build.task(doc.activities.at(0), at(20, 8, 0), at(20, 9, 0), 1);
    QVERIFY(doc.save());
}

QAction *named(const QuorvelMainWindow &window, const char *name)
{
    return window.findChild<QAction *>(QString::fromLatin1(name));
}

// The rows of the shortcuts window: "name<TAB>keys".
QStringList rows(const ShortcutsWindow &shown)
{
    QStringList list;
    for (int i = 0; i < shown.list()->topLevelItemCount(); ++i) {
        const QTreeWidgetItem *item = shown.list()->topLevelItem(i);
        list << item->text(0) + QLatin1Char('\t') + item->text(1);
    }
    return list;
}

} // namespace

class TestHelpMenu : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void helpMenuIsLast();
    void shortcutsListEveryShortcut();
    void shortcutsWindowOpensOnce();
    void namesLoseTheirMnemonics();
    void helpShowsTheGuide();
    void helpFromTheToolBarButton();
    void helpFromF1();
    void aboutNamesVersionLicenceAndProject();
};

void TestHelpMenu::init()
{
    TestEnvironment::wipe();
    MessageBox::clearShown();
    Clock::setFixed(at(21, 9, 30));
    writeFixture();
}

void TestHelpMenu::helpMenuIsLast()
{
    QuorvelMainWindow window;
    const QList<QAction *> menus = window.menuBar()->actions();
    QCOMPARE(menus.last()->text(), QStringLiteral("Help"));
    QStringList entries;
    for (const QAction *a : menus.last()->menu()->actions())
        entries << (a->isSeparator() ? QStringLiteral("-") : a->text());
    QCOMPARE(entries,
             (QStringList{QStringLiteral("Keyboard Shortcuts"), QStringLiteral("Quorvel Help"),
                          QStringLiteral("-"), QStringLiteral("About Quorvel")}));
    const auto *open = window.findChild<QAction *>(QStringLiteral("open menu helpMenu"));
    QVERIFY(open);
    QCOMPARE(open->shortcut(), QKeySequence(Qt::ALT | Qt::Key_H));
}

void TestHelpMenu::shortcutsListEveryShortcut()
{
    QuorvelMainWindow window;
    named(window, "keyboardShortcuts")->trigger();
    auto *shown = window.findChild<ShortcutsWindow *>(QStringLiteral("shortcutsWindow"));
    QVERIFY(shown);
    QVERIFY(shown->isVisible());
    QCOMPARE(shown->windowTitle(), QStringLiteral("Keyboard Shortcuts"));
    QCOMPARE(shown->list()->headerItem()->text(0), QStringLiteral("Command"));
    QCOMPARE(shown->list()->headerItem()->text(1), QStringLiteral("Shortcut"));

    // Every action of the window with a shortcut, whatever added it, is listed with its name
    // and keys; none is left without a name.
    QStringList expected;
    const QList<QAction *> actions = window.findChildren<QAction *>();
    for (const QAction *action : actions) {
        if (action->shortcuts().isEmpty())
            continue;
        QString name = action->text();
        name.remove(QLatin1Char('&'));
        QVERIFY2(!name.isEmpty(), qPrintable(action->objectName()));
        QStringList keys;
        for (const QKeySequence &key : action->shortcuts())
            keys << key.toString(QKeySequence::NativeText);
        expected << name + QLatin1Char('\t') + keys.join(QStringLiteral(", "));
    }
    QStringList listed = rows(*shown);
    QCOMPARE(listed.size(), expected.size());
    std::sort(expected.begin(), expected.end());
    QStringList sorted = listed;
    std::sort(sorted.begin(), sorted.end());
    QCOMPARE(sorted, expected);

    // Among them, by hand.
    for (const char *row : {"New Task\tCtrl+N",
                            "Edit Task\tCtrl+E",
                            "Delete Task\tDel",
                            "Undo\tCtrl+Z",
                            "Redo\tCtrl+Shift+Z",
                            "Period Summary Report\tCtrl+R",
                            "Find…\tCtrl+F",
                            "Start…\tCtrl+Shift+N",
                            "Close Find Bar\tEsc",
                            "Quorvel Help\tF1",
                            "Shortcut Button 1\tCtrl+1",
                            "Shortcut Button 2\tCtrl+2",
                            "Shortcut Button 3\tCtrl+3",
                            "Quit Quorvel\tCtrl+Q",
                            "Open the Menu Task\tAlt+T",
                            "Open the Menu Edit\tAlt+E",
                            "Open the Menu View\tAlt+V",
                            "Open the Menu Report\tAlt+R",
                            "Open the Menu Settings\tAlt+S",
                            "Open the Menu Help\tAlt+H",
                            "Open the First Menu\tF10"})
        QVERIFY2(listed.contains(QString::fromUtf8(row)), row);
    QCOMPARE(listed.size(), 21);
    // In the order of the names.
    QCOMPARE(listed.first(), QStringLiteral("Close Find Bar\tEsc"));
    QCOMPARE(listed.last(), QStringLiteral("Undo\tCtrl+Z"));
}

void TestHelpMenu::shortcutsWindowOpensOnce()
{
    QuorvelMainWindow window;
    named(window, "keyboardShortcuts")->trigger();
    named(window, "keyboardShortcuts")->trigger();
    QCOMPARE(window.findChildren<ShortcutsWindow *>().size(), 1);
    // A shortcut given meanwhile shows when it is opened again.
    auto *extra = new QAction(QStringLiteral("&Extra && More"), &window);
    extra->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_J));
    auto *shown = window.findChild<ShortcutsWindow *>();
    shown->close();
    named(window, "keyboardShortcuts")->trigger();
    QVERIFY(shown->isVisible());
    QVERIFY(rows(*shown).contains(QStringLiteral("Extra & More\tCtrl+J")));
}

void TestHelpMenu::namesLoseTheirMnemonics()
{
    QAction action(QStringLiteral("Save && &Quit"));
    QCOMPARE(ShortcutsWindow::name(&action), QStringLiteral("Save & Quit"));
    action.setShortcuts({QKeySequence(Qt::CTRL | Qt::Key_S), QKeySequence(Qt::Key_F2)});
    QCOMPARE(ShortcutsWindow::keys(&action), QStringLiteral("Ctrl+S, F2"));
    QAction trailing(QStringLiteral("Odd&"));
    QCOMPARE(ShortcutsWindow::name(&trailing), QStringLiteral("Odd"));
}

void TestHelpMenu::helpShowsTheGuide()
{
    QuorvelMainWindow window;
    named(window, "quorvelHelp")->trigger();
    auto *help = window.findChild<HelpWindow *>(QStringLiteral("helpWindow"));
    QVERIFY(help);
    QVERIFY(help->isVisible());
    QCOMPARE(help->windowTitle(), QStringLiteral("Quorvel Help"));
    QVERIFY(help->browser()->isReadOnly());
    const QString text = help->browser()->toPlainText();
    // The README's sections for the person, built into the program.
    QVERIFY(text.startsWith(QStringLiteral("Quorvel Help\nFirst steps\n")));
    QVERIFY(text.contains(QStringLiteral("Only one Quorvel runs per user")));
    QVERIFY(text.contains(QStringLiteral("Where your data lives")));
    QVERIFY(text.contains(QStringLiteral("Keyboard")));
    // Not the sections for administrators and developers, nor the screenshots.
    QVERIFY(!text.contains(QStringLiteral("For developers")));
    QVERIFY(!text.contains(QStringLiteral("Quick start")));
    QVERIFY(!HelpWindow::guide().contains(QStringLiteral(".png")));
    // Asked for again, the same window comes forward.
    named(window, "quorvelHelp")->trigger();
    QCOMPARE(window.findChildren<HelpWindow *>().size(), 1);
}

void TestHelpMenu::helpFromTheToolBarButton()
{
    QuorvelMainWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    auto *toolBar = window.findChild<QToolBar *>(QStringLiteral("taskToolBar"));
    QVERIFY(toolBar);
    // After the task icons, at the right end.
    const QList<QAction *> actions = toolBar->actions();
    QCOMPARE(actions.last(), named(window, "quorvelHelp"));
    auto *button = window.findChild<QToolButton *>(QStringLiteral("helpButton"));
    QVERIFY(button);
    QVERIFY(!button->icon().isNull());
    QCOMPARE(button->toolTip(), QStringLiteral("Quorvel Help"));
    const QWidget *deleteButton = toolBar->widgetForAction(actions.at(2));
    QVERIFY(button->geometry().left() > deleteButton->geometry().right() + 100);
    QVERIFY(toolBar->width() - button->geometry().right() < 20);

    QTest::mouseClick(button, Qt::LeftButton);
    auto *help = window.findChild<HelpWindow *>(QStringLiteral("helpWindow"));
    QVERIFY(help);
    QVERIFY(help->isVisible());
}

void TestHelpMenu::helpFromF1()
{
    QuorvelMainWindow window;
    window.show();
    window.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    QTest::keyClick(&window, Qt::Key_F1);
    auto *help = window.findChild<HelpWindow *>(QStringLiteral("helpWindow"));
    QVERIFY(help);
    QVERIFY(help->isVisible());
}

void TestHelpMenu::aboutNamesVersionLicenceAndProject()
{
    QuorvelMainWindow window;
    named(window, "aboutQuorvel")->trigger();
    QCOMPARE(MessageBox::shown().size(), 1);
    const MessageBox::Shown about = MessageBox::shown().at(0);
    QCOMPARE(about.title, QStringLiteral("About Quorvel"));
    QCOMPARE(about.text,
             QStringLiteral("<h3>Quorvel " QUORVEL_VERSION "</h3>"
                            "<p>Time tracking for the tasks of your day, alone or with a group "
                            "server.</p>"
                            "<p>Licence: GNU General Public License, version 3 or later "
                            "(GPL-3.0-or-later).</p>"
                            "<p><a href=\"https://quorvel.org/\">https://quorvel.org/</a></p>"));
}

QUORVEL_TEST_MAIN(TestHelpMenu)
#include "tst_helpmenu.moc"
