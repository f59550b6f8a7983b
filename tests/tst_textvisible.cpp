// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// Every dialog and window shows all of its text: at the size it opens with, and at the smallest
// size it can be resized to. The same executable runs again with QT_SCALE_FACTOR=2.

#include "DocumentBuilder.h"
#include "TestEnvironment.h"

#include "app/QuorvelMainWindow.h"
#include "dialogs/ActivityEdit.h"
#include "dialogs/ActivityList.h"
#include "dialogs/CategoryEdit.h"
#include "dialogs/CategoryList.h"
#include "dialogs/ChooseInitialMode.h"
#include "dialogs/DesktopSettings.h"
#include "dialogs/NameComboBox.h"
#include "dialogs/OperatingMode.h"
#include "dialogs/PurgeTasks.h"
#include "dialogs/QuickStart.h"
#include "dialogs/ReportParams1.h"
#include "dialogs/TaskEdit.h"
#include "model/Configuration.h"
#include "model/QuorvelDocument.h"
#include "platform/Clock.h"
#include "reportwindows/FileSelectDialog.h"
#include "views/ElidedToolButton.h"
#include "views/MainWidget.h"
#include "views/QVTable.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QGroupBox>
#include <QHelpEvent>
#include <QLabel>
#include <QLayout>
#include <QScreen>
#include <QToolTip>
#include <QtTest>

#include <functional>

namespace {

QString describe(const QWidget *widget)
{
    QString name = widget->objectName();
    if (name.isEmpty())
        name = QString::fromLatin1(widget->metaObject()->className());
    return name;
}

QString textOf(const QWidget *widget)
{
    if (const auto *label = qobject_cast<const QLabel *>(widget))
        return label->text();
    if (const auto *button = qobject_cast<const QAbstractButton *>(widget))
        return button->text();
    if (const auto *group = qobject_cast<const QGroupBox *>(widget))
        return group->title();
    return QString();
}

// What of top is not shown whole: a word-wrapped label shorter than its text needs at its
// width, or a widget with text smaller than its minimum size hint.
QStringList cutTexts(QWidget *top)
{
    QStringList cut;
    const QList<QWidget *> widgets = top->findChildren<QWidget *>();
    for (QWidget *widget : widgets) {
        if (!widget->isVisibleTo(top) || textOf(widget).isEmpty())
            continue;
        const QString what = describe(widget) + QStringLiteral(" \"") + textOf(widget).left(40)
                             + QStringLiteral("\" ");
        const auto *label = qobject_cast<const QLabel *>(widget);
        if (label && label->wordWrap()) {
            const int needed = label->heightForWidth(label->width());
            if (needed > label->height())
                cut << what
                           + QStringLiteral("needs %1 px of height at width %2, has %3")
                                 .arg(needed)
                                 .arg(label->width())
                                 .arg(label->height());
            continue;
        }
        const QSize hint = widget->minimumSizeHint();
        if (widget->width() < hint.width() || widget->height() < hint.height())
            cut << what
                       + QStringLiteral("is %1x%2, needs %3x%4")
                             .arg(widget->width())
                             .arg(widget->height())
                             .arg(hint.width())
                             .arg(hint.height());
    }
    return cut;
}

void settle(QWidget *widget)
{
    if (widget->layout())
        widget->layout()->activate();
    QCoreApplication::processEvents();
}

// Names of 300 characters without a blank, so that nothing can wrap them.
const QString longActivity = QStringLiteral("Refactoring").repeated(28).left(300);
const QString longCategory = QStringLiteral("Maintenance").repeated(28).left(300);

// A document with one category and one activity of the given names, and a task of that
// activity running on the first shortcut button.
void buildNamed(QuorvelDocument &doc, const QString &activityName, const QString &categoryName)
{
    DocumentBuilder build(doc);
    Activity *activity = build.activity(activityName, build.category(categoryName));
    build.task(activity, at(20, 9, 0), at(20, 10, 0));
    build.task(activity, at(21, 9, 0), QDateTime(), 1);
    build.sortAll();
}

// The tooltip a widget shows when the mouse rests at pos.
QString toolTipAt(QWidget *widget, const QPoint &pos)
{
    QToolTip::hideText();
    if (!QTest::qWaitFor([] { return !QToolTip::isVisible(); }))
        return QStringLiteral("(a tooltip stays open)");
    QHelpEvent help(QEvent::ToolTip, pos, widget->mapToGlobal(pos));
    QCoreApplication::sendEvent(widget, &help);
    return QToolTip::isVisible() ? QToolTip::text() : QString();
}

} // namespace

class TestTextVisible : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void dialogs_data();
    void dialogs();
    void longActivityNameStaysOnScreen();
    void longNames_data();
    void longNames();
    void shortcutButtonElidesName();
    void windowNarrowAfterNameLeavesButtons();
    void tablesShowElidedNamesInToolTips();
    void combosShowNamesInToolTips();
};

void TestTextVisible::init()
{
    TestEnvironment::wipe();
    Clock::setFixed(at(21, 9, 30));
    Configuration().setMode(Configuration::Personal);
}

using Factory = std::function<QWidget *(QuorvelDocument *)>;
Q_DECLARE_METATYPE(Factory)

void TestTextVisible::dialogs_data()
{
    QTest::addColumn<Factory>("make");
    QTest::newRow("ChooseInitialMode")
        << Factory([](QuorvelDocument *) -> QWidget * { return new ChooseInitialMode; });
    QTest::newRow("OperatingMode")
        << Factory([](QuorvelDocument *) -> QWidget * { return new OperatingMode; });
    QTest::newRow("CategoryEdit") << Factory(
        [](QuorvelDocument *doc) -> QWidget * { return new CategoryEdit(nullptr, doc); });
    QTest::newRow("ActivityEdit") << Factory(
        [](QuorvelDocument *doc) -> QWidget * { return new ActivityEdit(nullptr, doc); });
    QTest::newRow("TaskEdit") << Factory(
        [](QuorvelDocument *doc) -> QWidget * { return new TaskEdit(nullptr, doc); });
    QTest::newRow("PurgeTasks") << Factory(
        [](QuorvelDocument *) -> QWidget * { return new PurgeTasks; });
    QTest::newRow("ReportParams1")
        << Factory([](QuorvelDocument *) -> QWidget * { return new ReportParams1; });
    QTest::newRow("CategoryList") << Factory(
        [](QuorvelDocument *doc) -> QWidget * { return new CategoryList(doc); });
    QTest::newRow("ActivityList") << Factory(
        [](QuorvelDocument *doc) -> QWidget * { return new ActivityList(doc); });
    QTest::newRow("DesktopSettings")
        << Factory([](QuorvelDocument *) -> QWidget * { return new DesktopSettings; });
    QTest::newRow("DesktopSettings without idle time")
        << Factory([](QuorvelDocument *) -> QWidget * {
               auto *dialog = new DesktopSettings;
               dialog->setIdleUnavailable(QStringLiteral(
                   "This desktop session does not tell programs how long you have been away, "
                   "so Quorvel cannot ask about idle time here."));
               return dialog;
           });
    QTest::newRow("FileSelectDialog")
        << Factory([](QuorvelDocument *) -> QWidget * { return new FileSelectDialog; });
    QTest::newRow("QuickStart") << Factory(
        [](QuorvelDocument *doc) -> QWidget * { return new QuickStart(*doc, nullptr); });
    QTest::newRow("QuorvelMainWindow") << Factory([](QuorvelDocument *doc) -> QWidget * {
        // The window reads the data file itself.
        if (!doc->save())
            return nullptr;
        return new QuorvelMainWindow;
    });
}

void TestTextVisible::dialogs()
{
    QFETCH(Factory, make);
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *dev = build.category(QStringLiteral("Development"));
    build.activity(QStringLiteral("Coding"), dev);
    build.sortAll();
    std::unique_ptr<QWidget> widget(make(&doc));
    QVERIFY(widget);
    widget->show();
    QVERIFY(QTest::qWaitForWindowExposed(widget.get()));
    settle(widget.get());
    QStringList cut = cutTexts(widget.get());
    QVERIFY2(cut.isEmpty(),
             qPrintable(QStringLiteral("at %1x%2: ").arg(widget->width()).arg(widget->height())
                        + cut.join(QStringLiteral("; "))));

    const QSize smallest = widget->minimumSizeHint().expandedTo(widget->minimumSize());
    widget->resize(smallest);
    settle(widget.get());
    cut = cutTexts(widget.get());
    QVERIFY2(cut.isEmpty(),
             qPrintable(QStringLiteral("at %1x%2: ").arg(widget->width()).arg(widget->height())
                        + cut.join(QStringLiteral("; "))));
}

void TestTextVisible::longActivityNameStaysOnScreen()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    const QString name = QStringLiteral("Reviewing ").repeated(100);
    build.activity(name, build.category(QStringLiteral("Development")));
    build.sortAll();
    TaskEdit dialog(nullptr, &doc);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    settle(&dialog);
    const int screenWidth = dialog.screen()->availableGeometry().width();
    QVERIFY2(dialog.width() <= screenWidth,
             qPrintable(QStringLiteral("%1 of %2").arg(dialog.width()).arg(screenWidth)));
    QVERIFY(dialog.minimumSizeHint().width() <= screenWidth);
    QCOMPARE(dialog.comboActivity->currentText(), name);
    QVERIFY(cutTexts(&dialog).isEmpty());
}

void TestTextVisible::longNames_data()
{
    QTest::addColumn<Factory>("make");
    const auto activity = [](QuorvelDocument *doc) {
        return doc->activities.first();
    };
    const auto category = [](QuorvelDocument *doc) {
        return doc->categories.first();
    };
    const auto running = [](QuorvelDocument *doc) {
        return doc->tasks.last();
    };
    QTest::newRow("QuorvelMainWindow") << Factory([](QuorvelDocument *doc) -> QWidget * {
        if (!doc->save())
            return nullptr;
        return new QuorvelMainWindow;
    });
    QTest::newRow("CategoryList") << Factory(
        [](QuorvelDocument *doc) -> QWidget * { return new CategoryList(doc); });
    QTest::newRow("ActivityList") << Factory(
        [](QuorvelDocument *doc) -> QWidget * { return new ActivityList(doc); });
    QTest::newRow("TaskEdit new") << Factory(
        [](QuorvelDocument *doc) -> QWidget * { return new TaskEdit(nullptr, doc); });
    QTest::newRow("TaskEdit running") << Factory(
        [running](QuorvelDocument *doc) -> QWidget * { return new TaskEdit(running(doc), doc); });
    QTest::newRow("ActivityEdit new") << Factory(
        [](QuorvelDocument *doc) -> QWidget * { return new ActivityEdit(nullptr, doc); });
    QTest::newRow("ActivityEdit") << Factory([activity](QuorvelDocument *doc) -> QWidget * {
        return new ActivityEdit(activity(doc), doc);
    });
    QTest::newRow("CategoryEdit") << Factory([category](QuorvelDocument *doc) -> QWidget * {
        return new CategoryEdit(category(doc), doc);
    });
    QTest::newRow("PurgeTasks") << Factory(
        [](QuorvelDocument *) -> QWidget * { return new PurgeTasks; });
    QTest::newRow("ReportParams1")
        << Factory([](QuorvelDocument *) -> QWidget * { return new ReportParams1; });
    QTest::newRow("QuickStart") << Factory(
        [](QuorvelDocument *doc) -> QWidget * { return new QuickStart(*doc, nullptr); });
}

// With names of 300 characters everywhere a name appears, every window stays within a small
// laptop's screen, and its smallest width is the one it has with short names.
void TestTextVisible::longNames()
{
    QFETCH(Factory, make);
    const auto open = [&make](const QString &activityName, const QString &categoryName, QSize *size,
                              int *minimumWidth) {
        QuorvelDocument doc;
        buildNamed(doc, activityName, categoryName);
        std::unique_ptr<QWidget> widget(make(&doc));
        QVERIFY(widget);
        widget->show();
        QVERIFY(QTest::qWaitForWindowExposed(widget.get()));
        settle(widget.get());
        *size = widget->size();
        *minimumWidth = widget->minimumSizeHint().width();
        const QStringList cut = cutTexts(widget.get());
        QVERIFY2(cut.isEmpty(), qPrintable(cut.join(QStringLiteral("; "))));
    };
    QSize shortSize;
    int shortMinimum = 0;
    open(QStringLiteral("Coding"), QStringLiteral("Development"), &shortSize, &shortMinimum);
    if (QTest::currentTestFailed())
        return;
    QSize longSize;
    int longMinimum = 0;
    open(longActivity, longCategory, &longSize, &longMinimum);
    if (QTest::currentTestFailed())
        return;
    QVERIFY2(longSize.width() <= 1366, qPrintable(QString::number(longSize.width())));
    QCOMPARE(longMinimum, shortMinimum);
}

void TestTextVisible::shortcutButtonElidesName()
{
    QuorvelDocument doc;
    buildNamed(doc, longActivity, longCategory);
    QVERIFY(doc.save());
    QuorvelMainWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    settle(&window);
    auto *button = qobject_cast<ElidedToolButton *>(window.mainWidget()->button(1));
    QVERIFY(button);
    QCOMPARE(button->text(), longActivity);
    QVERIFY(button->isElided());
    const QString shown = button->shownText();
    QVERIFY(shown.endsWith(QChar(0x2026)));
    QVERIFY(longActivity.startsWith(shown.chopped(1)));
    QVERIFY(button->fontMetrics().horizontalAdvance(shown) <= button->width());
    QCOMPARE(toolTipAt(button, button->rect().center()), longActivity);

    // A name that fits is shown whole, without a tooltip.
    button->setText(QStringLiteral("Coding"));
    QVERIFY(!button->isElided());
    QCOMPARE(button->shownText(), QStringLiteral("Coding"));
    QCOMPARE(toolTipAt(button, button->rect().center()), QString());
}

void TestTextVisible::windowNarrowAfterNameLeavesButtons()
{
    QuorvelDocument doc;
    buildNamed(doc, longActivity, longCategory);
    QVERIFY(doc.save());
    QuorvelMainWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    settle(&window);
    const int width = window.width();
    const int minimumWidth = window.minimumSizeHint().width();
    QVERIFY2(width <= 1366, qPrintable(QString::number(width)));

    // The running task leaves its button.
    MainWidget *view = window.mainWidget();
    view->shortcutTask1->shortcut = 0;
    view->update();
    settle(&window);
    QCOMPARE(view->button(1)->text(), QString());
    QCOMPARE(window.width(), width);
    QCOMPARE(window.minimumSizeHint().width(), minimumWidth);
}

void TestTextVisible::tablesShowElidedNamesInToolTips()
{
    QuorvelDocument doc;
    buildNamed(doc, longActivity, longCategory);
    DocumentBuilder build(doc);
    build.activity(QStringLiteral("Coding"), build.category(QStringLiteral("Development")));
    build.sortAll();
    // Only the long names are cut short, and only they have a tooltip.
    const auto checkCell = [](QVTable *table, int row, int column, const QString &expected) {
        const QModelIndex index = table->model()->index(row, column);
        QCOMPARE(index.data().toString(), expected);
        const bool cut = expected == longActivity || expected == longCategory;
        const QString full = cut ? expected : QString();
        QCOMPARE(table->elidedText(index), full);
        table->scrollTo(index);
        QCOMPARE(toolTipAt(table->viewport(), table->visualRect(index).center()), full);
    };

    ActivityList activities(&doc);
    activities.show();
    QVERIFY(QTest::qWaitForWindowExposed(&activities));
    settle(&activities);
    // The activity's name has the room; the category keeps a column of its own.
    QVERIFY(activities.table->columnWidth(0) > activities.table->columnWidth(1));
    QCOMPARE(activities.table->columnWidth(0) + activities.table->columnWidth(1),
             activities.table->viewport()->width());
    checkCell(activities.table, 0, 0, QStringLiteral("Coding"));
    checkCell(activities.table, 0, 1, QStringLiteral("Development"));
    checkCell(activities.table, 1, 0, longActivity);
    checkCell(activities.table, 1, 1, longCategory);

    CategoryList categories(&doc);
    categories.show();
    QVERIFY(QTest::qWaitForWindowExposed(&categories));
    settle(&categories);
    checkCell(categories.table, 0, 0, QStringLiteral("Development"));
    checkCell(categories.table, 1, 0, longCategory);

    QVERIFY(doc.save());
    QuorvelMainWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    settle(&window);
    QVTable *tasks = window.mainWidget()->table;
    checkCell(tasks, 0, 2, longActivity);
    checkCell(tasks, 1, 2, longActivity);
}

void TestTextVisible::combosShowNamesInToolTips()
{
    QuorvelDocument doc;
    buildNamed(doc, longActivity, longCategory);
    DocumentBuilder build(doc);
    build.activity(QStringLiteral("Coding"), build.category(QStringLiteral("Development")));
    build.sortAll();

    TaskEdit taskEdit(doc.tasks.last(), &doc);
    QCOMPARE(taskEdit.comboActivity->currentText(), longActivity);
    QCOMPARE(taskEdit.comboActivity->toolTip(), longActivity);
    QCOMPARE(taskEdit.comboActivity->itemData(0, Qt::ToolTipRole).toString(),
             QStringLiteral("Coding"));
    QCOMPARE(taskEdit.comboActivity->itemData(1, Qt::ToolTipRole).toString(), longActivity);
    taskEdit.comboActivity->setCurrentIndex(0);
    QCOMPARE(taskEdit.comboActivity->toolTip(), QStringLiteral("Coding"));

    ActivityEdit activityEdit(doc.activities.last(), &doc);
    activityEdit.show();
    QVERIFY(QTest::qWaitForWindowExposed(&activityEdit));
    settle(&activityEdit);
    // The box shows the start of the long name and "…".
    const QString shown = activityEdit.comboCategory->shownText();
    QVERIFY(shown.endsWith(QChar(0x2026)));
    QVERIFY(longCategory.startsWith(shown.chopped(1)));
    QCOMPARE(activityEdit.comboCategory->currentText(), longCategory);
    QCOMPARE(activityEdit.comboCategory->toolTip(), longCategory);
    QCOMPARE(activityEdit.comboCategory->itemData(0, Qt::ToolTipRole).toString(),
             QStringLiteral("Development"));
    QCOMPARE(activityEdit.comboCategory->itemData(1, Qt::ToolTipRole).toString(), longCategory);
}

QUORVEL_TEST_MAIN(TestTextVisible)
#include "tst_textvisible.moc"
