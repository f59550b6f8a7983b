// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// First-use tips: the tip widget, its counting in the settings, and the sequence the main
// window walks through as the user creates categories, activities and tasks.

#include "DocumentBuilder.h"
#include "ModalAnswers.h"
#include "TestEnvironment.h"

#include "app/QuorvelMainWindow.h"
#include "dialogs/ChooseInitialMode.h"
#include "dialogs/OperatingMode.h"
#include "platform/Clock.h"
#include "platform/Config.h"
#include "views/BalloonTip.h"
#include "views/MainWidget.h"
#include "widgets/QuorvelApplication.h"

#include <QFile>
#include <QFontMetrics>
#include <QImage>
#include <QPointer>
#include <QRadioButton>
#include <QtTest>

namespace {

const QString AdditionalHelp
    = QStringLiteral("For additional help, tap the (?)\nicon at the top of the screen.\n\n"
                     "This is the end of balloon-tip help.");
const QString TaskList = QStringLiteral("Tasks are listed here");
const QString ShortcutButtons
    = QStringLiteral("Use these \"shortcut\" buttons to start\nand stop the three most recent\n"
                     "activities in real time");
const QString StartHere = QStringLiteral("Tap the New Task icon to\nget started");
const QString Activities = QStringLiteral(
    "Select \"Activities\" from the\n\"Settings\" menu to create some\nnew activities");
const QString Categories = QStringLiteral(
    "Select \"Categories\" from the\n\"Settings\" menu to create some\nnew activity categories");
const QString GroupMode
    = QStringLiteral("Select \"Synchronize with Server\"\nfrom the \"Task\" menu to get started\n");

const char *const TipKeys[] = {"groupMode", "categories",      "activities", "startHere",
                               "newTask",   "shortcutButtons", "taskList",   "additionalHelp"};

// The tips on screen over the main widget, in the order they were made.
QList<BalloonTip *> visibleTips(const QuorvelMainWindow &window)
{
    QList<BalloonTip *> tips;
    const QList<BalloonTip *> all = window.mainWidget()->findChildren<BalloonTip *>();
    for (BalloonTip *tip : all) {
        if (tip->isVisible())
            tips << tip;
    }
    return tips;
}

QStringList visibleTexts(const QuorvelMainWindow &window)
{
    QStringList texts;
    const QList<BalloonTip *> tips = visibleTips(window);
    for (const BalloonTip *tip : tips)
        texts << tip->text;
    return texts;
}

// A counter as the settings file holds it; -1 when it was never written.
int counter(const char *key)
{
    Config config(QStringLiteral("quorvelqpe"));
    config.setGroup(QStringLiteral("BalloonTips"));
    return config.readNumEntry(QString::fromLatin1(key), -1);
}

void setCounter(const char *key, int value)
{
    Config config(QStringLiteral("quorvelqpe"));
    config.setGroup(QStringLiteral("BalloonTips"));
    config.writeEntry(QString::fromLatin1(key), value);
}

// Every counter, in TipKeys order, for comparing all of them at once.
QList<int> counters()
{
    QList<int> values;
    for (const char *key : TipKeys)
        values << counter(key);
    return values;
}

// How far the user has come: what the data file holds.
enum class Stage { Empty, Category, Activity, Task };

// A data file in the given mode that holds what the stage asks for.
void prepareFile(Configuration::OperatingMode mode, Stage stage)
{
    Configuration().setMode(mode);
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    if (stage >= Stage::Category) {
        ActivityCategory *work = build.category(QStringLiteral("Work"));
        if (stage >= Stage::Activity) {
            Activity *writing = build.activity(QStringLiteral("Writing"), work);
            if (stage >= Stage::Task)
                build.task(writing, at(20, 8, 0), at(20, 9, 15), 1);
        }
    }
    build.sortAll();
    QVERIFY(doc.save());
}

// Adds to the data file left by the previous run, as the user would in the next one.
void extendFile(Stage stage)
{
    QuorvelDocument doc;
    QVERIFY(doc.load());
    DocumentBuilder build(doc);
    switch (stage) {
    case Stage::Category:
        build.category(QStringLiteral("Work"));
        break;
    case Stage::Activity:
        build.activity(QStringLiteral("Writing"), doc.categories.first());
        break;
    case Stage::Task:
        build.task(doc.activities.first(), at(20, 8, 0), at(20, 9, 15), 1);
        break;
    case Stage::Empty:
        break;
    }
    build.sortAll();
    QVERIFY(doc.save());
}

// One start of the program on the files as they are: the tips its window shows.
QStringList tipsOfOneRun()
{
    // Nobody answers a first-run dialog here: it would be cancelled, which ends the run.
    ModalAnswers unexpected;
    QuorvelMainWindow window;
    if (window.quitRequested())
        return {QStringLiteral("<first-run dialog>")};
    window.show();
    return visibleTexts(window);
}

bool isColor(const QImage &image, int x, int y, const QColor &color)
{
    return image.pixelColor(x, y).rgb() == color.rgb();
}

} // namespace

class TestBalloonTips : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void countedTipShownOnFirstCallOnly();
    void laterCountsFromShowAt();
    void emptyStoreGroupOrKeyAlwaysShown_data();
    void emptyStoreGroupOrKeyAlwaysShown();

    void geometryFollowsTheText_data();
    void geometryFollowsTheText();
    void paintsYellowBoxWithBlackBorder();
    void hidesAfterItsSecondsWithoutBeingDeleted();
    void clickingDoesNothing();

    void tasksShowListAndButtonsTogether();
    void mainWindowTipsHideAfterTheirSeconds();
    void shortcutButtonsOnlyWithTaskList();
    void counterAtOneSuppressesTip_data();
    void counterAtOneSuppressesTip();
    void personalSequenceFromEmptyDocument();
    void maintenanceScreenShowsNextTip();
    void groupModeTipOnce();
    void noTipsWithoutMode();
};

void TestBalloonTips::init()
{
    TestEnvironment::wipe();
    MessageBox::clearShown();
    Clock::setFixed(at(21, 9, 30));
}

void TestBalloonTips::countedTipShownOnFirstCallOnly()
{
    const QString store = QStringLiteral("quorvelqpe");
    const QString group = QStringLiteral("BalloonTips");
    const QString key = QStringLiteral("newTask");
    QVERIFY(BalloonTip::checkDisplay(store, group, key, 1, 1));
    QCOMPARE(counter("newTask"), 1);
    QVERIFY(!BalloonTip::checkDisplay(store, group, key, 1, 1));
    QVERIFY(!BalloonTip::checkDisplay(store, group, key, 1, 1));
    QCOMPARE(counter("newTask"), 1);

    // Through showTip: one tip on the first call, none after.
    QWidget parent;
    parent.resize(240, 320);
    parent.show();
    setCounter("newTask", 0);
    for (int i = 0; i < 3; ++i)
        BalloonTip::showTip(&parent, QStringLiteral("Once"), QPoint(20, 60), 5, 1, 1, store, group,
                            key);
    const QList<BalloonTip *> tips = parent.findChildren<BalloonTip *>();
    QCOMPARE(tips.size(), 1);
    QVERIFY(tips.first()->isVisible());
    QCOMPARE(tips.first()->parentWidget(), &parent);
    QCOMPARE(tips.first()->windowFlags() & Qt::WindowType_Mask, Qt::Widget);
}

void TestBalloonTips::laterCountsFromShowAt()
{
    // Counted up to maxCount 3, shown from the second count on.
    const QString store = QStringLiteral("quorvelqpe");
    const QString group = QStringLiteral("BalloonTips");
    const QString key = QStringLiteral("taskList");
    QList<bool> answers;
    for (int i = 0; i < 5; ++i)
        answers << BalloonTip::checkDisplay(store, group, key, 3, 2);
    QCOMPARE(answers, (QList<bool>{false, true, true, false, false}));
    QCOMPARE(counter("taskList"), 3);
}

void TestBalloonTips::emptyStoreGroupOrKeyAlwaysShown_data()
{
    QTest::addColumn<QString>("store");
    QTest::addColumn<QString>("group");
    QTest::addColumn<QString>("key");
    QTest::newRow("no store") << QString() << QStringLiteral("BalloonTips")
                              << QStringLiteral("taskList");
    QTest::newRow("no group") << QStringLiteral("quorvelqpe") << QString()
                              << QStringLiteral("taskList");
    QTest::newRow("no key") << QStringLiteral("quorvelqpe") << QStringLiteral("BalloonTips")
                            << QString();
}

void TestBalloonTips::emptyStoreGroupOrKeyAlwaysShown()
{
    QFETCH(QString, store);
    QFETCH(QString, group);
    QFETCH(QString, key);
    for (int i = 0; i < 3; ++i)
        QVERIFY(BalloonTip::checkDisplay(store, group, key, 1, 1));

    QWidget parent;
    parent.resize(240, 320);
    parent.show();
    for (int i = 0; i < 3; ++i)
        BalloonTip::showTip(&parent, QStringLiteral("Always"), QPoint(10, 10), 5, 1, 1, store,
                            group, key);
    const QList<BalloonTip *> tips = parent.findChildren<BalloonTip *>();
    QCOMPARE(tips.size(), 3);
    for (const BalloonTip *tip : tips)
        QVERIFY(tip->isVisible());

    // Nothing was counted anywhere.
    QVERIFY(!QFile::exists(Config::filePath(QStringLiteral("quorvelqpe"))));
    QVERIFY(!QFile::exists(Config::filePath(QString())));
    QCOMPARE(counter("taskList"), -1);
}

void TestBalloonTips::geometryFollowsTheText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QPoint>("pos");
    QTest::newRow("one line") << QStringLiteral("Tasks are listed here") << QPoint(40, 40);
    QTest::newRow("three lines") << QStringLiteral(
        "Use these \"shortcut\" buttons to start\nand stop the three most "
        "recent\nactivities in real time")
                                 << QPoint(20, 160);
    QTest::newRow("trailing line break")
        << QStringLiteral("Select \"Synchronize with Server\"\nfrom the \"Task\" menu to get "
                          "started\n")
        << QPoint(30, 25);
    QTest::newRow("longer than the parent")
        << QStringLiteral("A line far wider than the small parent widget it is shown over")
        << QPoint(0, 0);
}

void TestBalloonTips::geometryFollowsTheText()
{
    QFETCH(QString, text);
    QFETCH(QPoint, pos);
    QWidget parent;
    parent.resize(240, 320);
    auto *tip = new BalloonTip(&parent, text, pos, 5);

    // The text's extent with lines broken at "\n" only, widened and heightened by 4 pixels.
    const QRect bounds = QFontMetrics(tip->font()).boundingRect(QRect(0, 0, 240, 320), 0, text);
    const QSize size(bounds.width() + 4, bounds.height() + 4);
    QCOMPARE(tip->text, text);
    QCOMPARE(tip->rectangle, QRect(QPoint(0, 0), size));
    QCOMPARE(tip->geometry(), QRect(pos, size));

    // Each line is on its own: more lines make the box taller, never wider than its longest.
    const QStringList lines = text.trimmed().split(QLatin1Char('\n'));
    const int lineHeight = QFontMetrics(tip->font()).height();
    QVERIFY(tip->height() >= lines.size() * lineHeight);
    for (const QString &line : lines)
        QVERIFY(tip->width() >= QFontMetrics(tip->font()).horizontalAdvance(line));
}

void TestBalloonTips::paintsYellowBoxWithBlackBorder()
{
    QWidget parent;
    parent.resize(240, 320);
    auto *tip = new BalloonTip(&parent, QStringLiteral("Tap the New Task icon to\nget started"),
                               QPoint(90, 25), 4);
    const QImage image = tip->grab().toImage();
    QCOMPARE(image.size(), tip->size());
    const int right = image.width() - 1;
    const int bottom = image.height() - 1;
    const QColor black(0, 0, 0);
    const QColor yellow(255, 255, 0);
    for (const QPoint &corner :
         {QPoint(0, 0), QPoint(right, 0), QPoint(0, bottom), QPoint(right, bottom)})
        QVERIFY2(isColor(image, corner.x(), corner.y(), black),
                 qPrintable(QStringLiteral("corner %1,%2").arg(corner.x()).arg(corner.y())));
    QVERIFY(isColor(image, right / 2, 0, black));
    QVERIFY(isColor(image, 0, bottom / 2, black));
    // The text begins two pixels in: the row and column just inside the border stay yellow.
    QVERIFY(isColor(image, 1, 1, yellow));
    QVERIFY(isColor(image, right / 2, 1, yellow));
    QVERIFY(isColor(image, 1, bottom / 2, yellow));
    // Some text is drawn on the box.
    int dark = 0;
    for (int y = 2; y < bottom; ++y) {
        for (int x = 2; x < right; ++x) {
            if (qGray(image.pixel(x, y)) < 128)
                ++dark;
        }
    }
    QVERIFY(dark > 20);
}

void TestBalloonTips::hidesAfterItsSecondsWithoutBeingDeleted()
{
    QWidget parent;
    parent.resize(240, 320);
    parent.show();
    QPointer<BalloonTip> tip = new BalloonTip(&parent, QStringLiteral("Brief"), QPoint(5, 5), 1);
    tip->show();
    QVERIFY(tip->isVisible());
    QTest::qWait(300);
    QVERIFY(tip->isVisible());
    QTRY_VERIFY_WITH_TIMEOUT(!tip->isVisible(), 3000);
    QVERIFY(tip);
    QCOMPARE(tip->parentWidget(), &parent);
    QCOMPARE(parent.findChildren<BalloonTip *>().size(), 1);
}

void TestBalloonTips::clickingDoesNothing()
{
    QWidget parent;
    parent.resize(240, 320);
    parent.show();
    QPointer<BalloonTip> tip
        = new BalloonTip(&parent, QStringLiteral("Tap me\nif you like"), QPoint(20, 30), 5);
    tip->show();
    const QRect before = tip->geometry();
    QTest::mouseClick(tip, Qt::LeftButton, Qt::NoModifier, QPoint(5, 5));
    QTest::mouseDClick(tip, Qt::LeftButton, Qt::NoModifier, QPoint(5, 5));
    QCoreApplication::processEvents();
    QVERIFY(tip);
    QVERIFY(tip->isVisible());
    QCOMPARE(tip->geometry(), before);
    QCOMPARE(tip->text, QStringLiteral("Tap me\nif you like"));
}

void TestBalloonTips::tasksShowListAndButtonsTogether()
{
    prepareFile(Configuration::Personal, Stage::Task);
    {
        QuorvelMainWindow window;
        window.show();
        const QList<BalloonTip *> tips = visibleTips(window);
        QCOMPARE(visibleTexts(window), (QStringList{TaskList, ShortcutButtons}));
        QCOMPARE(tips.at(0)->pos(), QPoint(40, 40));
        QCOMPARE(tips.at(1)->pos(), QPoint(20, 160));
        for (const BalloonTip *tip : tips)
            QCOMPARE(tip->parentWidget(), window.mainWidget());
        QCOMPARE(counter("taskList"), 1);
        QCOMPARE(counter("shortcutButtons"), 1);
        QCOMPARE(counter("additionalHelp"), -1);
    }
    QCOMPARE(tipsOfOneRun(), QStringList{AdditionalHelp});
    QCOMPARE(counter("additionalHelp"), 1);
    QCOMPARE(tipsOfOneRun(), QStringList());
    QCOMPARE(tipsOfOneRun(), QStringList());
    // Nothing counts past its limit.
    QCOMPARE(counter("taskList"), 1);
    QCOMPARE(counter("shortcutButtons"), 1);
    QCOMPARE(counter("additionalHelp"), 1);
}

void TestBalloonTips::mainWindowTipsHideAfterTheirSeconds()
{
    prepareFile(Configuration::Personal, Stage::Task);
    QuorvelMainWindow window;
    window.show();
    const QList<BalloonTip *> tips = visibleTips(window);
    QCOMPARE(tips.size(), 2);
    QPointer<BalloonTip> taskList = tips.at(0);
    QPointer<BalloonTip> shortcuts = tips.at(1);
    QElapsedTimer clock;
    clock.start();

    // Five seconds for the table, ten for the buttons.
    QTRY_VERIFY_WITH_TIMEOUT(!taskList->isVisible(), 7000);
    QVERIFY(clock.elapsed() >= 4500);
    QVERIFY(shortcuts->isVisible());
    QTRY_VERIFY_WITH_TIMEOUT(!shortcuts->isVisible(), 7000);
    QVERIFY(clock.elapsed() >= 9500);
    QVERIFY(taskList);
    QVERIFY(shortcuts);
    QCOMPARE(window.mainWidget()->findChildren<BalloonTip *>().size(), 2);
}

void TestBalloonTips::shortcutButtonsOnlyWithTaskList()
{
    prepareFile(Configuration::Personal, Stage::Task);
    // The list's tip has been counted, the buttons' tip not, the closing one too.
    setCounter("taskList", 1);
    setCounter("shortcutButtons", 0);
    setCounter("additionalHelp", 1);
    QCOMPARE(tipsOfOneRun(), QStringList());
    QCOMPARE(counter("shortcutButtons"), 0);

    // With the closing tip still due, it comes instead of the buttons' tip.
    setCounter("taskList", 2);
    setCounter("additionalHelp", 0);
    QCOMPARE(tipsOfOneRun(), QStringList{AdditionalHelp});
    QCOMPARE(counter("shortcutButtons"), 0);
    QCOMPARE(tipsOfOneRun(), QStringList());
    QCOMPARE(counter("shortcutButtons"), 0);
}

void TestBalloonTips::counterAtOneSuppressesTip_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("stage");
    QTest::addColumn<QString>("key");
    QTest::addColumn<int>("count");
    QTest::addColumn<QStringList>("expected");
    // What the run after that shows.
    QTest::addColumn<QStringList>("next");

    const int personal = Configuration::Personal;
    QTest::newRow("categories") << personal << int(Stage::Empty) << "categories" << 1
                                << QStringList() << QStringList();
    QTest::newRow("categories counted often")
        << personal << int(Stage::Empty) << "categories" << 4 << QStringList() << QStringList();
    QTest::newRow("activities") << personal << int(Stage::Category) << "activities" << 1
                                << QStringList() << QStringList();
    QTest::newRow("startHere") << personal << int(Stage::Activity) << "startHere" << 1
                               << QStringList() << QStringList();
    QTest::newRow("shortcutButtons") << personal << int(Stage::Task) << "shortcutButtons" << 1
                                     << QStringList{TaskList} << QStringList{AdditionalHelp};
    QTest::newRow("groupMode") << int(Configuration::Group) << int(Stage::Empty) << "groupMode" << 1
                               << QStringList() << QStringList();
    // A counter of another stage changes nothing.
    QTest::newRow("other stage's counter") << personal << int(Stage::Category) << "categories" << 1
                                           << QStringList{Activities} << QStringList();
}

void TestBalloonTips::counterAtOneSuppressesTip()
{
    QFETCH(int, mode);
    QFETCH(int, stage);
    QFETCH(QString, key);
    QFETCH(int, count);
    QFETCH(QStringList, expected);
    QFETCH(QStringList, next);
    prepareFile(Configuration::OperatingMode(mode), Stage(stage));
    setCounter(qPrintable(key), count);
    QCOMPARE(tipsOfOneRun(), expected);
    QCOMPARE(counter(qPrintable(key)), count);
    QCOMPARE(tipsOfOneRun(), next);
    QCOMPARE(counter(qPrintable(key)), count);
}

void TestBalloonTips::personalSequenceFromEmptyDocument()
{
    {
        ModalAnswers answers;
        answers.add(ModalAnswers::chooseInitialMode("radPersonalNoInit"));
        QuorvelMainWindow window;
        QCOMPARE(answers.remaining(), 0);
        window.show();
        QCOMPARE(visibleTexts(window), QStringList{Categories});
        const QList<BalloonTip *> tips = visibleTips(window);
        QCOMPARE(tips.first()->pos(), QPoint(30, 25));
    }
    // groupMode, categories, activities, startHere, newTask, shortcutButtons, taskList,
    // additionalHelp
    QCOMPARE(counters(), (QList<int>{0, 1, 0, 0, 0, 0, 0, 0}));
    QCOMPARE(tipsOfOneRun(), QStringList());

    extendFile(Stage::Category);
    QCOMPARE(tipsOfOneRun(), QStringList{Activities});
    QCOMPARE(counters(), (QList<int>{0, 1, 1, 0, 0, 0, 0, 0}));

    extendFile(Stage::Activity);
    {
        QuorvelMainWindow window;
        window.show();
        QCOMPARE(visibleTexts(window), QStringList{StartHere});
        QCOMPARE(visibleTips(window).first()->pos(), QPoint(90, 25));
    }
    QCOMPARE(counters(), (QList<int>{0, 1, 1, 1, 0, 0, 0, 0}));

    extendFile(Stage::Task);
    QCOMPARE(tipsOfOneRun(), (QStringList{TaskList, ShortcutButtons}));
    QCOMPARE(counters(), (QList<int>{0, 1, 1, 1, 0, 1, 1, 0}));
    {
        QuorvelMainWindow window;
        window.show();
        QCOMPARE(visibleTexts(window), QStringList{AdditionalHelp});
        QCOMPARE(visibleTips(window).first()->pos(), QPoint(20, 70));
    }
    QCOMPARE(counters(), (QList<int>{0, 1, 1, 1, 0, 1, 1, 1}));
    QCOMPARE(tipsOfOneRun(), QStringList());
    QCOMPARE(counters(), (QList<int>{0, 1, 1, 1, 0, 1, 1, 1}));

    // A first start again (no mode chosen) resets the counters: the sequence starts over.
    Configuration().setMode(Configuration::Unset);
    {
        ModalAnswers answers;
        answers.add(ModalAnswers::chooseInitialMode("radPersonalNoInit"));
        QuorvelMainWindow window;
        QCOMPARE(answers.remaining(), 0);
        window.show();
        QCOMPARE(visibleTexts(window), QStringList{Categories});
    }
    QCOMPARE(counters(), (QList<int>{0, 1, 0, 0, 0, 0, 0, 0}));
    extendFile(Stage::Category);
    QCOMPARE(tipsOfOneRun(), QStringList{Activities});
}

void TestBalloonTips::maintenanceScreenShowsNextTip()
{
    ModalAnswers answers;
    answers.add(ModalAnswers::chooseInitialMode("radPersonalNoInit"));
    QuorvelMainWindow window;
    window.show();
    QCOMPARE(visibleTexts(window), QStringList{Categories});

    // The user creates a category on the maintenance screen and leaves it.
    const int before = int(window.mainWidget()->findChildren<BalloonTip *>().size());
    answers.add([&window](QWidget *screen) {
        DocumentBuilder(*window.document()).category(QStringLiteral("Work"));
        screen->close();
    });
    window.maintainCategories();
    QCOMPARE(answers.remaining(), 0);
    const QList<BalloonTip *> made = window.mainWidget()->findChildren<BalloonTip *>().mid(before);
    QCOMPARE(made.size(), 1);
    QVERIFY(made.first()->isVisible());
    QCOMPARE(made.first()->text, Activities);
    QCOMPARE(counter("activities"), 1);
}

void TestBalloonTips::groupModeTipOnce()
{
    {
        ModalAnswers answers;
        answers.add(ModalAnswers::chooseInitialMode("radGroup"));
        answers.add([](QWidget *widget) {
            auto *dialog = qobject_cast<OperatingMode *>(widget);
            QVERIFY(dialog);
            dialog->txtUserID->setText(QStringLiteral("alice"));
            dialog->txtPassword->setText(QStringLiteral("secret"));
            dialog->accept();
        });
        QuorvelMainWindow window;
        QCOMPARE(answers.remaining(), 0);
        window.show();
        QCOMPARE(visibleTexts(window), QStringList{GroupMode});
        QCOMPARE(visibleTips(window).first()->pos(), QPoint(30, 25));
    }
    QCOMPARE(counters(), (QList<int>{1, 0, 0, 0, 0, 0, 0, 0}));
    // Records from the server do not lead into the personal sequence.
    extendFile(Stage::Category);
    extendFile(Stage::Activity);
    extendFile(Stage::Task);
    QCOMPARE(tipsOfOneRun(), QStringList());
    QCOMPARE(counters(), (QList<int>{1, 0, 0, 0, 0, 0, 0, 0}));
}

void TestBalloonTips::noTipsWithoutMode()
{
    // A window in group mode, whose mode is then taken back: the next call has nothing to say.
    prepareFile(Configuration::Group, Stage::Empty);
    setCounter("groupMode", 1);
    QuorvelMainWindow window;
    window.show();
    QCOMPARE(visibleTexts(window), QStringList());

    Configuration().setMode(Configuration::Unset);
    ModalAnswers answers;
    answers.add([](QWidget *screen) { screen->close(); });
    window.maintainCategories();
    QCOMPARE(answers.remaining(), 0);
    QCOMPARE(visibleTexts(window), QStringList());
    QCOMPARE(counters(), (QList<int>{1, -1, -1, -1, -1, -1, -1, -1}));
}

int main(int argc, char *argv[])
{
    TestEnvironment environment;
    QuorvelApplication app(argc, argv);
    MessageBox::setTesting(true);
    TestBalloonTips tc;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&tc, argc, argv);
}

#include "tst_balloontips.moc"
