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
#include "dialogs/OperatingMode.h"
#include "dialogs/PurgeTasks.h"
#include "dialogs/ReportParams1.h"
#include "dialogs/TaskEdit.h"
#include "model/Configuration.h"
#include "model/QuorvelDocument.h"
#include "platform/Clock.h"
#include "reports/FileSelectDialog.h"

#include <QAbstractButton>
#include <QGroupBox>
#include <QLabel>
#include <QLayout>
#include <QScreen>
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

} // namespace

class TestTextVisible : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void dialogs_data();
    void dialogs();
    void longActivityNameStaysOnScreen();
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

QUORVEL_TEST_MAIN(TestTextVisible)
#include "tst_textvisible.moc"
