// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "DocumentBuilder.h"
#include "ModalAnswers.h"
#include "TestEnvironment.h"

#include "dialogs/ActivityEdit.h"
#include "dialogs/ActivityList.h"
#include "dialogs/CategoryEdit.h"
#include "model/Configuration.h"
#include "model/QuorvelDocument.h"
#include "views/QVTable.h"
#include "widgets/MessageBox.h"

#include <QtTest>

#include <QAbstractItemModelTester>
#include <QHeaderView>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QShortcut>
#include <QTimer>

#include <functional>

namespace {

const QString activityError = QStringLiteral("Activity Error");
const QString deleteTitle = QStringLiteral("Delete Activity");

// Runs the dialog's exec() with the action posted into its loop; a safety timer rejects the
// dialog when the action leaves it open.
int execWith(QDialog &dialog, const std::function<void()> &action)
{
    QTimer safety;
    safety.setSingleShot(true);
    QObject::connect(&safety, &QTimer::timeout, &dialog, &QDialog::reject);
    safety.start(5000);
    QTimer::singleShot(0, &dialog, action);
    return dialog.exec();
}

// The same for the list screen. False when only the safety timer ended the loop.
bool execWith(ModalWidget &widget, const std::function<void()> &action)
{
    bool timedOut = false;
    const QPointer<ModalWidget> alive(&widget);
    QTimer safety;
    safety.setSingleShot(true);
    QObject::connect(&safety, &QTimer::timeout, &safety, [&timedOut, alive] {
        timedOut = true;
        if (alive)
            alive->hide();
    });
    safety.start(5000);
    QTimer::singleShot(0, &widget, action);
    widget.exec();
    return !timedOut;
}

void clickOk(QDialog *dialog)
{
    dialog->findChild<QDialogButtonBox *>(QStringLiteral("buttonBox"))
        ->button(QDialogButtonBox::Ok)
        ->click();
}

// Chooses a combo entry with the keyboard, as a user would, so that activated() is emitted.
void chooseEntry(QComboBox *combo, int index)
{
    QTest::keyClick(combo, Qt::Key_Home);
    for (int i = 0; i < index; ++i)
        QTest::keyClick(combo, Qt::Key_Down);
}

QStringList comboTexts(const QComboBox *combo)
{
    QStringList texts;
    for (int i = 0; i < combo->count(); ++i)
        texts.append(combo->itemText(i));
    return texts;
}

QStringList categoryNames(const QList<ActivityCategory *> &categories)
{
    QStringList names;
    for (const ActivityCategory *category : categories)
        names.append(category->name);
    return names;
}

QStringList activityNames(const QList<Activity *> &activities)
{
    QStringList names;
    for (const Activity *activity : activities)
        names.append(activity->name);
    return names;
}

QStringList column(const ActivityList &list, int col)
{
    const QAbstractItemModel *model = list.table->model();
    QStringList texts;
    for (int row = 0; row < model->rowCount(); ++row)
        texts.append(model->index(row, col).data().toString());
    return texts;
}

int currentRow(const ActivityList &list)
{
    return list.table->currentIndex().row();
}

void selectRow(ActivityList &list, int row, int col = 0)
{
    list.table->setCurrentIndex(list.table->model()->index(row, col));
}

QStringList shownTexts()
{
    QStringList texts;
    for (const MessageBox::Shown &box : MessageBox::shown())
        texts.append(box.text);
    return texts;
}

// What an answer to an ActivityEdit saw when it opened, and what it then did.
struct EditorVisit
{
    QString className;
    QString title;
    QString name;
    QString category;
};

// Answers an ActivityEdit: notes what it shows, types the name, picks the category entry
// (when index is 0 or more) and presses OK.
ModalAnswers::Handler fillEditor(EditorVisit *visit, const QString &typed, int categoryIndex)
{
    return [=](QWidget *widget) {
        visit->className = QString::fromLatin1(widget->metaObject()->className());
        visit->title = widget->windowTitle();
        auto *editor = qobject_cast<ActivityEdit *>(widget);
        if (!editor) {
            widget->close();
            return;
        }
        visit->name = editor->txtName->text();
        visit->category = editor->comboCategory->currentText();
        editor->txtName->setText(typed);
        if (categoryIndex >= 0)
            chooseEntry(editor->comboCategory, categoryIndex);
        clickOk(editor);
        // A refused name would leave the editor open and the test waiting.
        if (editor->isVisible())
            editor->close();
    };
}

ModalAnswers::Handler cancelEditor(EditorVisit *visit)
{
    return [=](QWidget *widget) {
        visit->className = QString::fromLatin1(widget->metaObject()->className());
        visit->title = widget->windowTitle();
        widget->close();
    };
}

} // namespace

class TestActivities : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    // ActivityEdit
    void editForm();
    void validation_data();
    void validation();
    void refusalKeepsDialogOpen();
    void uniqueness_data();
    void uniqueness();
    void namesAreCleaned_data();
    void namesAreCleaned();
    void comboListsActiveCategoriesSorted();
    void comboShowsOwnObsoleteCategory();
    void categoryWithoutRecordFallsBackToFirst();
    void noCategoryLeavesSelectionNull();
    void categoryActivatedFollowsCombo();
    void groupModeHidesAddCategory();
    void addNewCategoryStaysAfterCancel();
    void cancelledNewCategoryAddsNothing();

    // ActivityList
    void listForm();
    void listShowsActiveActivitiesSorted();
    void firstViewSelectsLastRow();
    void selectionKeptInRememberedColumn();
    void unlistedSelectionFallsBackToLastRow();
    void cellChangedOutsideRowsClearsSelection();
    void emptyListDisablesEditAndDelete();
    void newNeedsActiveCategory();
    void deleteAsksWithTaskCount();
    void deleteWithoutTasksAsksByName();
    void deleteUntilEmpty();
    void newActivityThroughEditor();
    void cancelledNewActivityChangesNothing();
    void editActivityThroughEditor();
    void tableOkOpensEditor();
    void cleanedNamesSurviveSaveAndLoad();
    void escapeOnTableClosesList();
    void escapeOnListClosesList();
};

void TestActivities::init()
{
    MessageBox::clearShown();
    Configuration().setMode(Configuration::Personal);
}

// --- ActivityEdit -----------------------------------------------------------------------

void TestActivities::editForm()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    Activity *coding = build.activity(QStringLiteral("Coding"), work);

    ActivityEdit fresh(nullptr, &doc);
    QCOMPARE(fresh.objectName(), QStringLiteral("ActivityEditBase"));
    QCOMPARE(fresh.windowTitle(), QStringLiteral("Quorvel - New Activity"));
    QCOMPARE(fresh.groupName->title(), QStringLiteral("Activity Name"));
    QCOMPARE(fresh.groupCategory->title(), QStringLiteral("Category"));
    QCOMPARE(fresh.btnCategory->text(), QStringLiteral("Add New Category"));
    QCOMPARE(fresh.txtName->parentWidget(), fresh.groupName);
    QCOMPARE(fresh.comboCategory->parentWidget(), fresh.groupCategory);
    QCOMPARE(fresh.btnCategory->parentWidget(), fresh.groupCategory);
    QVERIFY(!fresh.comboCategory->isEditable());
    QCOMPARE(fresh.txtName->maxLength(), 32767);
    QCOMPARE(fresh.txtName->text(), QString());
    QCOMPARE(fresh.editedActivity, nullptr);
    QCOMPARE(fresh.document, &doc);
    QVERIFY(!fresh.btnCategory->isHidden());

    ActivityEdit existing(coding, &doc);
    QCOMPARE(existing.windowTitle(), QStringLiteral("Quorvel - Edit Activity"));
    QCOMPARE(existing.txtName->text(), QStringLiteral("Coding"));
    QCOMPARE(existing.selectedCategory, work);
    QCOMPARE(existing.editedActivity, coding);
}

void TestActivities::validation_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<bool>("withCategory");
    QTest::addColumn<QString>("message");

    const QString notValid = QStringLiteral("This name is not valid.\nPlease select another.");
    const QString noCategory = QStringLiteral("Activity must have a category");
    const QString noName = QStringLiteral("Activity must have a name");

    QTest::newRow("blanks, no category") << QStringLiteral("   ") << false << noCategory;
    QTest::newRow("blanks, category") << QStringLiteral("   ") << true << noName;
    QTest::newRow("empty, category") << QString() << true << noName;
    QTest::newRow("control characters only") << QStringLiteral("\t\n ") << true << noName;
    QTest::newRow("name, no category") << QStringLiteral("Coding") << false << noCategory;
    QTest::newRow("end marker with blanks") << QStringLiteral(" --end-- ") << true << notValid;
    QTest::newRow("end marker before category") << QStringLiteral(" --end-- ") << false << notValid;
    QTest::newRow("start marker") << QStringLiteral("--start--") << true << notValid;
    QTest::newRow("sync marker") << QStringLiteral("--sync--") << true << notValid;
    QTest::newRow("end marker in capitals") << QStringLiteral("--END--") << true << QString();
    QTest::newRow("sync marker in capitals") << QStringLiteral("--Sync--") << true << QString();
    QTest::newRow("marker inside a name") << QStringLiteral("a --end--") << true << QString();
}

void TestActivities::validation()
{
    QFETCH(QString, typed);
    QFETCH(bool, withCategory);
    QFETCH(QString, message);

    QuorvelDocument doc;
    DocumentBuilder build(doc);
    if (withCategory)
        build.category(QStringLiteral("Work"));

    ActivityEdit dialog(nullptr, &doc);
    QCOMPARE(dialog.selectedCategory != nullptr, withCategory);
    dialog.txtName->setText(typed);
    dialog.accept();

    if (message.isEmpty()) {
        QCOMPARE(dialog.result(), int(QDialog::Accepted));
        QCOMPARE(MessageBox::shown().size(), 0);
        QCOMPARE(dialog.txtName->text(), typed.trimmed());
        QCOMPARE(dialog.name(), typed.trimmed());
        return;
    }
    QCOMPARE(dialog.result(), int(QDialog::Rejected));
    const QList<MessageBox::Shown> shown = MessageBox::shown();
    QCOMPARE(shown.size(), 1);
    QCOMPARE(shown.first().title, activityError);
    QCOMPARE(shown.first().text, message);
    QCOMPARE(shown.first().icon, QMessageBox::Warning);
    // A refused name is left as typed for the user to correct.
    QCOMPARE(dialog.txtName->text(), typed);
}

void TestActivities::refusalKeepsDialogOpen()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    build.category(QStringLiteral("Work"));

    ActivityEdit dialog(nullptr, &doc);
    bool openAfterRefusal = false;
    const int result = execWith(dialog, [&] {
        dialog.txtName->setText(QStringLiteral("  "));
        clickOk(&dialog);
        openAfterRefusal = dialog.isVisible();
        dialog.txtName->setText(QStringLiteral(" Coding "));
        clickOk(&dialog);
    });
    QVERIFY(openAfterRefusal);
    QCOMPARE(result, int(QDialog::Accepted));
    QCOMPARE(shownTexts(), QStringList{QStringLiteral("Activity must have a name")});
    QCOMPARE(dialog.txtName->text(), QStringLiteral("Coding"));
    QCOMPARE(dialog.name(), QStringLiteral("Coding"));
    // The dialog only gathers: the document has no activity yet.
    QVERIFY(doc.activities.isEmpty());
}

void TestActivities::uniqueness_data()
{
    QTest::addColumn<QString>("edited");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<bool>("accepted");

    QTest::newRow("new, same name") << QString() << QStringLiteral("Alpha") << false;
    QTest::newRow("new, same name with blanks") << QString() << QStringLiteral("  Alpha ") << false;
    QTest::newRow("new, lower case") << QString() << QStringLiteral("alpha") << true;
    QTest::newRow("new, capitals") << QString() << QStringLiteral("ALPHA") << true;
    QTest::newRow("new, obsolete name") << QString() << QStringLiteral("Gone") << true;
    QTest::newRow("new, fresh name") << QString() << QStringLiteral("Delta") << true;
    QTest::newRow("own name") << QStringLiteral("Alpha") << QStringLiteral("Alpha") << true;
    QTest::newRow("own name with blanks")
        << QStringLiteral("Alpha") << QStringLiteral(" Alpha  ") << true;
    QTest::newRow("other's name") << QStringLiteral("Beta") << QStringLiteral("Alpha") << false;
    QTest::newRow("other's name, case differs")
        << QStringLiteral("Beta") << QStringLiteral("aLPHA") << true;
    QTest::newRow("rename to obsolete name")
        << QStringLiteral("Beta") << QStringLiteral("Gone") << true;
}

void TestActivities::uniqueness()
{
    QFETCH(QString, edited);
    QFETCH(QString, typed);
    QFETCH(bool, accepted);

    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    Activity *alpha = build.activity(QStringLiteral("Alpha"), work);
    Activity *beta = build.activity(QStringLiteral("Beta"), work);
    build.activity(QStringLiteral("Gone"), work, true);
    build.sortAll();

    Activity *editedActivity = nullptr;
    if (edited == QLatin1String("Alpha"))
        editedActivity = alpha;
    else if (edited == QLatin1String("Beta"))
        editedActivity = beta;

    ActivityEdit dialog(editedActivity, &doc);
    dialog.txtName->setText(typed);
    dialog.accept();

    QCOMPARE(dialog.result() == QDialog::Accepted, accepted);
    if (accepted) {
        QCOMPARE(MessageBox::shown().size(), 0);
    } else {
        QCOMPARE(MessageBox::shown().size(), 1);
        QCOMPARE(MessageBox::shown().first().title, activityError);
        QCOMPARE(MessageBox::shown().first().text, QStringLiteral("Activity name must be unique"));
    }
    // Never written by the dialog.
    QCOMPARE(
        activityNames(doc.activities),
        (QStringList{QStringLiteral("Alpha"), QStringLiteral("Beta"), QStringLiteral("Gone")}));
}

void TestActivities::namesAreCleaned_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("cleaned");

    QTest::newRow("line feed inside")
        << QStringLiteral("Code\nReview") << QStringLiteral("Code Review");
    QTest::newRow("leading tab") << QStringLiteral("\tDesign") << QStringLiteral("Design");
    QTest::newRow("carriage return at end") << QStringLiteral("Test\r") << QStringLiteral("Test");
    QTest::newRow("blanks around") << QStringLiteral("  Plan  ") << QStringLiteral("Plan");
}

void TestActivities::namesAreCleaned()
{
    QFETCH(QString, typed);
    QFETCH(QString, cleaned);

    QuorvelDocument doc;
    DocumentBuilder build(doc);
    build.category(QStringLiteral("Work"));

    ActivityEdit dialog(nullptr, &doc);
    dialog.txtName->setText(typed);
    dialog.accept();
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QCOMPARE(dialog.name(), cleaned);
    QCOMPARE(dialog.txtName->text(), cleaned);
}

void TestActivities::comboListsActiveCategoriesSorted()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    build.category(QStringLiteral("Zeta"));
    build.category(QStringLiteral("alpha"));
    build.category(QStringLiteral("Mid"), true);
    ActivityCategory *beta = build.category(QStringLiteral("Beta"));
    build.sortAll();

    ActivityEdit fresh(nullptr, &doc);
    const QStringList listed{QStringLiteral("alpha"), QStringLiteral("Beta"),
                             QStringLiteral("Zeta")};
    QCOMPARE(comboTexts(fresh.comboCategory), listed);
    QCOMPARE(categoryNames(fresh.comboCategories), listed);
    QCOMPARE(fresh.comboCategory->currentIndex(), 0);
    QCOMPARE(fresh.selectedCategory->name, QStringLiteral("alpha"));
    for (int i = 0; i < fresh.comboCategory->count(); ++i)
        QVERIFY(fresh.comboCategory->itemIcon(i).isNull());

    Activity *coding = build.activity(QStringLiteral("Coding"), beta);
    ActivityEdit existing(coding, &doc);
    QCOMPARE(comboTexts(existing.comboCategory), listed);
    QCOMPARE(existing.comboCategory->currentIndex(), 1);
    QCOMPARE(existing.comboCategory->currentText(), QStringLiteral("Beta"));
    QCOMPARE(existing.selectedCategory, beta);
}

void TestActivities::comboShowsOwnObsoleteCategory()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    build.category(QStringLiteral("Zeta"));
    ActivityCategory *mid = build.category(QStringLiteral("Mid"), true);
    build.category(QStringLiteral("Old"), true);
    build.category(QStringLiteral("alpha"));
    Activity *legacy = build.activity(QStringLiteral("Legacy"), mid);
    build.sortAll();

    ActivityEdit dialog(legacy, &doc);
    QCOMPARE(comboTexts(dialog.comboCategory),
             (QStringList{QStringLiteral("alpha"), QStringLiteral("Mid"), QStringLiteral("Zeta")}));
    QCOMPARE(dialog.comboCategories.at(1), mid);
    QCOMPARE(dialog.comboCategory->currentIndex(), 1);
    QCOMPARE(dialog.selectedCategory, mid);
    QVERIFY(dialog.comboCategory->itemIcon(0).isNull());
    QVERIFY(!dialog.comboCategory->itemIcon(1).isNull());
    QVERIFY(dialog.comboCategory->itemIcon(2).isNull());

    // Keeping the withdrawn category is allowed: it is the activity's own.
    dialog.accept();
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
}

void TestActivities::categoryWithoutRecordFallsBackToFirst()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *home = build.category(QStringLiteral("Home"));
    build.category(QStringLiteral("Work"));
    // As a damaged data file leaves it.
    Activity *orphan = build.activity(QStringLiteral("Orphan"), nullptr);
    build.sortAll();

    ActivityEdit dialog(orphan, &doc);
    QCOMPARE(dialog.comboCategory->currentIndex(), 0);
    QCOMPARE(dialog.selectedCategory, home);
}

void TestActivities::noCategoryLeavesSelectionNull()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    build.category(QStringLiteral("Gone"), true);

    ActivityEdit dialog(nullptr, &doc);
    QCOMPARE(dialog.comboCategory->count(), 0);
    QVERIFY(dialog.comboCategories.isEmpty());
    QCOMPARE(dialog.selectedCategory, nullptr);
}

void TestActivities::categoryActivatedFollowsCombo()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *home = build.category(QStringLiteral("Home"));
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    build.sortAll();

    ActivityEdit dialog(nullptr, &doc);
    chooseEntry(dialog.comboCategory, 1);
    QCOMPARE(dialog.comboCategory->currentText(), QStringLiteral("Work"));
    QCOMPARE(dialog.selectedCategory, work);
    chooseEntry(dialog.comboCategory, 0);
    QCOMPARE(dialog.selectedCategory, home);

    dialog.categoryActivated(2);
    QCOMPARE(dialog.selectedCategory, nullptr);
    dialog.categoryActivated(1);
    QCOMPARE(dialog.selectedCategory, work);
    dialog.categoryActivated(-1);
    QCOMPARE(dialog.selectedCategory, nullptr);
}

void TestActivities::groupModeHidesAddCategory()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    build.category(QStringLiteral("Work"));

    Configuration().setMode(Configuration::Group);
    ActivityEdit group(nullptr, &doc);
    QVERIFY(group.btnCategory->isHidden());
    QCOMPARE(group.comboCategory->count(), 1);

    Configuration().setMode(Configuration::Personal);
    ActivityEdit personal(nullptr, &doc);
    QVERIFY(!personal.btnCategory->isHidden());
}

void TestActivities::addNewCategoryStaysAfterCancel()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    build.category(QStringLiteral("Home"));
    build.category(QStringLiteral("Work"));
    build.sortAll();
    const int nextId = doc.nextId;

    ActivityEdit dialog(nullptr, &doc);
    QString title;
    QWidget *parent = nullptr;
    bool isCategoryEdit = false;
    bool nameFieldFound = false;
    ModalAnswers answers;
    answers.add([&](QWidget *widget) {
        title = widget->windowTitle();
        parent = widget->parentWidget();
        isCategoryEdit = qobject_cast<CategoryEdit *>(widget) != nullptr;
        auto *name = widget->findChild<QLineEdit *>(QStringLiteral("txtName"));
        nameFieldFound = name != nullptr;
        if (name)
            name->setText(QStringLiteral("  Travel "));
        if (auto *categoryEdit = qobject_cast<QDialog *>(widget))
            categoryEdit->accept();
        else
            widget->close();
    });

    QString comboAfterAdd;
    ActivityCategory *selectedAfterAdd = nullptr;
    QStringList listedAfterAdd;
    const int result = execWith(dialog, [&] {
        dialog.btnCategory->click();
        comboAfterAdd = dialog.comboCategory->currentText();
        selectedAfterAdd = dialog.selectedCategory;
        listedAfterAdd = comboTexts(dialog.comboCategory);
        dialog.reject();
    });

    QCOMPARE(result, int(QDialog::Rejected));
    QCOMPARE(answers.remaining(), 0);
    QVERIFY(isCategoryEdit);
    QVERIFY(nameFieldFound);
    QCOMPARE(title, QStringLiteral("Quorvel - New Category"));
    QCOMPARE(parent, &dialog);

    const QStringList expected{QStringLiteral("Home"), QStringLiteral("Travel"),
                               QStringLiteral("Work")};
    QCOMPARE(categoryNames(doc.categories), expected);
    ActivityCategory *travel = doc.categories.at(1);
    QCOMPARE(travel->id, nextId);
    QVERIFY(!travel->obsolete);
    QCOMPARE(listedAfterAdd, expected);
    QCOMPARE(comboAfterAdd, QStringLiteral("Travel"));
    QCOMPARE(selectedAfterAdd, travel);
    QCOMPARE(dialog.comboCategories.at(1), travel);
}

void TestActivities::cancelledNewCategoryAddsNothing()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    build.category(QStringLiteral("Home"));
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    build.sortAll();

    ActivityEdit dialog(nullptr, &doc);
    chooseEntry(dialog.comboCategory, 1);
    ModalAnswers answers;
    answers.add([](QWidget *widget) { widget->close(); });
    dialog.maintainCategories();

    QCOMPARE(answers.remaining(), 0);
    QCOMPARE(doc.categories.size(), 2);
    QCOMPARE(dialog.selectedCategory, work);
    QCOMPARE(dialog.comboCategory->currentText(), QStringLiteral("Work"));
}

// --- ActivityList -----------------------------------------------------------------------

void TestActivities::listForm()
{
    QuorvelDocument doc;
    ActivityList list(&doc);
    QCOMPARE(list.objectName(), QStringLiteral("ActivityListBase"));
    QCOMPARE(list.windowTitle(), QStringLiteral("Quorvel - Activities"));
    QCOMPARE(list.btnNew->text(), QStringLiteral("New"));
    QCOMPARE(list.btnEdit->text(), QStringLiteral("Edit"));
    QCOMPARE(list.btnDelete->text(), QStringLiteral("Delete"));
    QCOMPARE(list.table->objectName(), QStringLiteral("tblActivityList"));
    QCOMPARE(list.table->parentWidget(), &list);
    QCOMPARE(list.findChild<QVTable *>(QStringLiteral("tblActivityList")), list.table);
    QCOMPARE(list.document, &doc);

    const QAbstractItemModel *model = list.table->model();
    QCOMPARE(model->columnCount(), 2);
    QCOMPARE(model->headerData(0, Qt::Horizontal).toString(), QStringLiteral("Activity"));
    QCOMPARE(model->headerData(1, Qt::Horizontal).toString(), QStringLiteral("Category"));
    QVERIFY(list.table->verticalHeader()->isHidden());
    // The activity's name has the room the category column leaves.
    list.show();
    QVERIFY(QTest::qWaitForWindowExposed(&list));
    QVERIFY(list.table->columnWidth(0) >= 150);
    QVERIFY(list.table->columnWidth(0) > list.table->columnWidth(1));
    QVERIFY(list.width() >= 420);
    QVERIFY(list.height() >= 400);
}

void TestActivities::listShowsActiveActivitiesSorted()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    ActivityCategory *home = build.category(QStringLiteral("Home"));
    build.activity(QStringLiteral("delta"), work);
    build.activity(QStringLiteral("Alpha"), home);
    build.activity(QStringLiteral("Charlie"), work, true);
    build.activity(QStringLiteral("bravo"), nullptr);
    build.sortAll();

    ActivityList list(&doc);
    QAbstractItemModelTester tester(list.table->model(),
                                    QAbstractItemModelTester::FailureReportingMode::QtTest);

    QCOMPARE(column(list, 0), (QStringList{QStringLiteral("Alpha"), QStringLiteral("bravo"),
                                           QStringLiteral("delta")}));
    QCOMPARE(column(list, 1),
             (QStringList{QStringLiteral("Home"), QString(), QStringLiteral("Work")}));
    QCOMPARE(
        activityNames(list.shownActivities),
        (QStringList{QStringLiteral("Alpha"), QStringLiteral("bravo"), QStringLiteral("delta")}));

    const QAbstractItemModel *model = list.table->model();
    for (int row = 0; row < model->rowCount(); ++row) {
        for (int col = 0; col < 2; ++col)
            QVERIFY(!(model->flags(model->index(row, col)) & Qt::ItemIsEditable));
    }

    // Refilling gives the same rows, not more.
    list.updateView();
    QCOMPARE(model->rowCount(), 3);
}

void TestActivities::firstViewSelectsLastRow()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    build.activity(QStringLiteral("Alpha"), work);
    Activity *beta = build.activity(QStringLiteral("Beta"), work);
    build.sortAll();

    ActivityList list(&doc);
    QCOMPARE(list.selectedActivity, beta);
    QCOMPARE(currentRow(list), 1);
    QCOMPARE(list.table->currentIndex().column(), 0);
    QVERIFY(list.table->selectionModel()->isRowSelected(1, QModelIndex()));
    QVERIFY(list.btnNew->isEnabled());
    QVERIFY(list.btnEdit->isEnabled());
    QVERIFY(list.btnDelete->isEnabled());
}

void TestActivities::selectionKeptInRememberedColumn()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    Activity *alpha = build.activity(QStringLiteral("Alpha"), work);
    build.activity(QStringLiteral("Beta"), work);
    build.sortAll();

    ActivityList list(&doc);
    QSignalSpy changes(list.table, qOverload<int, int>(&QVTable::currentChanged));
    selectRow(list, 0, 1);
    QCOMPARE(changes.size(), 1);
    QCOMPARE(list.selectedActivity, alpha);

    build.activity(QStringLiteral("Aardvark"), work);
    doc.activities.sort();
    list.updateView();
    // Setting the current cell while refilling is not a change the user made.
    QCOMPARE(changes.size(), 1);
    QCOMPARE(list.selectedActivity, alpha);
    QCOMPARE(currentRow(list), 1);
    QCOMPARE(list.table->currentIndex().column(), 1);
}

void TestActivities::unlistedSelectionFallsBackToLastRow()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    Activity *alpha = build.activity(QStringLiteral("Alpha"), work);
    build.activity(QStringLiteral("Beta"), work);
    Activity *gamma = build.activity(QStringLiteral("Gamma"), work);
    build.sortAll();

    ActivityList list(&doc);
    selectRow(list, 0);
    QCOMPARE(list.selectedActivity, alpha);

    alpha->obsolete = true;
    list.updateView();
    QCOMPARE(column(list, 0), (QStringList{QStringLiteral("Beta"), QStringLiteral("Gamma")}));
    QCOMPARE(list.selectedActivity, gamma);
    QCOMPARE(currentRow(list), 1);
}

void TestActivities::cellChangedOutsideRowsClearsSelection()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    Activity *alpha = build.activity(QStringLiteral("Alpha"), work);
    build.sortAll();

    ActivityList list(&doc);
    list.cellChanged(-1, -1);
    QCOMPARE(list.selectedActivity, nullptr);
    QVERIFY(!list.btnEdit->isEnabled());
    QVERIFY(!list.btnDelete->isEnabled());

    list.cellChanged(0, 0);
    QCOMPARE(list.selectedActivity, alpha);
    QVERIFY(list.btnEdit->isEnabled());

    list.cellChanged(1, 0);
    QCOMPARE(list.selectedActivity, nullptr);
    list.cellChanged(0, -1);
    QCOMPARE(list.selectedActivity, nullptr);
    QVERIFY(!list.btnDelete->isEnabled());
}

void TestActivities::emptyListDisablesEditAndDelete()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    build.activity(QStringLiteral("Gone"), work, true);

    ActivityList list(&doc);
    QCOMPARE(list.table->model()->rowCount(), 0);
    QCOMPARE(list.selectedActivity, nullptr);
    QVERIFY(list.btnNew->isEnabled());
    QVERIFY(!list.btnEdit->isEnabled());
    QVERIFY(!list.btnDelete->isEnabled());

    // Nothing to edit or delete: no dialog, no question.
    ModalAnswers answers;
    list.editActivity();
    list.deleteActivity();
    QVERIFY(answers.seen().isEmpty());
    QVERIFY(MessageBox::shown().isEmpty());
}

void TestActivities::newNeedsActiveCategory()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *gone = build.category(QStringLiteral("Gone"), true);
    build.activity(QStringLiteral("Alpha"), gone);

    ActivityList list(&doc);
    QVERIFY(!list.btnNew->isEnabled());
    QVERIFY(list.btnEdit->isEnabled());

    build.category(QStringLiteral("Work"));
    list.updateEnabled();
    QVERIFY(list.btnNew->isEnabled());

    QuorvelDocument empty;
    ActivityList emptyList(&empty);
    QVERIFY(!emptyList.btnNew->isEnabled());
    QVERIFY(!emptyList.btnEdit->isEnabled());
    QVERIFY(!emptyList.btnDelete->isEnabled());
}

void TestActivities::deleteAsksWithTaskCount()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    Activity *alpha = build.activity(QStringLiteral("Alpha"), work);
    Activity *beta = build.activity(QStringLiteral("Beta"), work);
    Activity *gamma = build.activity(QStringLiteral("Gamma"), work);
    QVTask *first = build.task(beta, at(2, 9, 0), at(2, 10, 0), 1);
    QVTask *second = build.task(beta, at(3, 9, 0), at(3, 10, 0), 2);
    QVTask *third = build.task(beta, at(4, 9, 0), QDateTime());
    QVTask *other = build.task(alpha, at(5, 9, 0), at(5, 10, 0), 3);
    build.sortAll();

    ActivityList list(&doc);
    selectRow(list, 1);
    QCOMPARE(list.selectedActivity, beta);

    // No is the default answer.
    list.btnDelete->click();
    const QList<MessageBox::Shown> asked = MessageBox::shown();
    QCOMPARE(asked.size(), 1);
    QCOMPARE(asked.first().title, deleteTitle);
    QCOMPARE(asked.first().text, QStringLiteral("There are 3 task(s) using\nthis activity. Are you "
                                                "sure\nyou want to delete\nBeta?"));
    QCOMPARE(asked.first().icon, QMessageBox::Warning);
    QVERIFY(!beta->obsolete);
    QCOMPARE(column(list, 0), (QStringList{QStringLiteral("Alpha"), QStringLiteral("Beta"),
                                           QStringLiteral("Gamma")}));
    QCOMPARE(list.selectedActivity, beta);
    QCOMPARE(first->shortcut, 1);
    QCOMPARE(second->shortcut, 2);

    MessageBox::clearShown();
    MessageBox::setNextAnswer(QMessageBox::Yes);
    list.btnDelete->click();
    QCOMPARE(MessageBox::shown().size(), 1);
    QVERIFY(beta->obsolete);
    QCOMPARE(column(list, 0), (QStringList{QStringLiteral("Alpha"), QStringLiteral("Gamma")}));
    QCOMPARE(list.selectedActivity, gamma);
    QCOMPARE(currentRow(list), 1);

    // The tasks stay, booked as before, but off the shortcut buttons.
    QCOMPARE(doc.tasks.size(), 4);
    for (const QVTask *task : {first, second, third}) {
        QVERIFY(doc.tasks.contains(const_cast<QVTask *>(task)));
        QCOMPARE(task->activity, beta);
        QCOMPARE(task->shortcut, 0);
    }
    QCOMPARE(first->start(), at(2, 9, 0));
    QCOMPARE(first->stop(), at(2, 10, 0));
    QVERIFY(third->isRunning());
    QCOMPARE(other->shortcut, 3);
    QVERIFY(doc.activities.contains(beta));
    QVERIFY(!alpha->obsolete);
}

void TestActivities::deleteWithoutTasksAsksByName()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    Activity *alpha = build.activity(QStringLiteral("Alpha"), work);
    build.activity(QStringLiteral("Beta"), work);
    build.sortAll();

    ActivityList list(&doc);
    selectRow(list, 0);
    MessageBox::setNextAnswer(QMessageBox::Yes);
    list.deleteActivity();

    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().first().title, deleteTitle);
    QCOMPARE(MessageBox::shown().first().text,
             QStringLiteral("Are you sure you want to delete\nAlpha?"));
    QVERIFY(alpha->obsolete);
    QCOMPARE(column(list, 0), QStringList{QStringLiteral("Beta")});
    QCOMPARE(list.selectedActivity->name, QStringLiteral("Beta"));
}

void TestActivities::deleteUntilEmpty()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    build.activity(QStringLiteral("Alpha"), work);
    build.activity(QStringLiteral("Beta"), work);
    build.sortAll();

    ActivityList list(&doc);
    MessageBox::setNextAnswer(QMessageBox::Yes);
    list.btnDelete->click();
    MessageBox::setNextAnswer(QMessageBox::Yes);
    list.btnDelete->click();

    QCOMPARE(shownTexts(),
             (QStringList{QStringLiteral("Are you sure you want to delete\nBeta?"),
                          QStringLiteral("Are you sure you want to delete\nAlpha?")}));
    QCOMPARE(list.table->model()->rowCount(), 0);
    QCOMPARE(list.selectedActivity, nullptr);
    QVERIFY(!list.btnEdit->isEnabled());
    QVERIFY(!list.btnDelete->isEnabled());
    QVERIFY(list.btnNew->isEnabled());
    QCOMPARE(doc.activities.size(), 2);
}

void TestActivities::newActivityThroughEditor()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *home = build.category(QStringLiteral("Home"));
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    build.activity(QStringLiteral("Alpha"), home);
    build.activity(QStringLiteral("Delta"), home);
    build.sortAll();
    const int nextId = doc.nextId;

    ActivityList list(&doc);
    EditorVisit visit;
    ModalAnswers answers;
    answers.add(fillEditor(&visit, QStringLiteral("  Charlie "), 1));
    list.btnNew->click();

    QCOMPARE(answers.remaining(), 0);
    QCOMPARE(visit.className, QStringLiteral("ActivityEdit"));
    QCOMPARE(visit.title, QStringLiteral("Quorvel - New Activity"));
    QCOMPARE(visit.name, QString());
    QCOMPARE(visit.category, QStringLiteral("Home"));

    QCOMPARE(
        activityNames(doc.activities),
        (QStringList{QStringLiteral("Alpha"), QStringLiteral("Charlie"), QStringLiteral("Delta")}));
    Activity *charlie = doc.activities.at(1);
    QCOMPARE(charlie->id, nextId);
    QCOMPARE(charlie->category, work);
    QVERIFY(!charlie->obsolete);
    QCOMPARE(list.selectedActivity, charlie);
    QCOMPARE(currentRow(list), 1);
    QCOMPARE(column(list, 1),
             (QStringList{QStringLiteral("Home"), QStringLiteral("Work"), QStringLiteral("Home")}));
}

void TestActivities::cancelledNewActivityChangesNothing()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    Activity *alpha = build.activity(QStringLiteral("Alpha"), work);
    build.activity(QStringLiteral("Beta"), work);
    build.sortAll();
    const int nextId = doc.nextId;

    ActivityList list(&doc);
    selectRow(list, 0);
    EditorVisit visit;
    ModalAnswers answers;
    answers.add(cancelEditor(&visit));
    list.newActivity();

    QCOMPARE(visit.className, QStringLiteral("ActivityEdit"));
    QCOMPARE(doc.activities.size(), 2);
    QCOMPARE(doc.nextId, nextId);
    QCOMPARE(list.selectedActivity, alpha);
    QCOMPARE(currentRow(list), 0);
}

void TestActivities::editActivityThroughEditor()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *home = build.category(QStringLiteral("Home"));
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    build.activity(QStringLiteral("Bravo"), home);
    build.activity(QStringLiteral("Charlie"), home);
    Activity *delta = build.activity(QStringLiteral("Delta"), work);
    build.sortAll();

    ActivityList list(&doc);
    selectRow(list, 2);
    QCOMPARE(list.selectedActivity, delta);

    EditorVisit visit;
    ModalAnswers answers;
    answers.add(fillEditor(&visit, QStringLiteral(" Able  "), 0));
    list.btnEdit->click();

    QCOMPARE(answers.remaining(), 0);
    QCOMPARE(visit.title, QStringLiteral("Quorvel - Edit Activity"));
    QCOMPARE(visit.name, QStringLiteral("Delta"));
    QCOMPARE(visit.category, QStringLiteral("Work"));

    QCOMPARE(delta->name, QStringLiteral("Able"));
    QCOMPARE(delta->category, home);
    QCOMPARE(doc.activities.first(), delta);
    QCOMPARE(list.selectedActivity, delta);
    QCOMPARE(currentRow(list), 0);
    QCOMPARE(column(list, 0), (QStringList{QStringLiteral("Able"), QStringLiteral("Bravo"),
                                           QStringLiteral("Charlie")}));
    QCOMPARE(column(list, 1),
             (QStringList{QStringLiteral("Home"), QStringLiteral("Home"), QStringLiteral("Home")}));

    // Cancelling the editor keeps the activity as it is.
    EditorVisit cancelled;
    answers.add(cancelEditor(&cancelled));
    list.editActivity();
    QCOMPARE(cancelled.title, QStringLiteral("Quorvel - Edit Activity"));
    QCOMPARE(delta->name, QStringLiteral("Able"));
    QCOMPARE(delta->category, home);
}

void TestActivities::tableOkOpensEditor()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    build.activity(QStringLiteral("Alpha"), work);

    ActivityList list(&doc);
    EditorVisit visit;
    ModalAnswers answers;
    answers.add(cancelEditor(&visit));
    QTest::keyClick(list.table, Qt::Key_Space);

    QCOMPARE(answers.seen(), QStringList{QStringLiteral("ActivityEdit")});
    QCOMPARE(visit.title, QStringLiteral("Quorvel - Edit Activity"));
}

void TestActivities::cleanedNamesSurviveSaveAndLoad()
{
    {
        QuorvelDocument doc;
        DocumentBuilder build(doc);
        build.category(QStringLiteral("Work"));

        ActivityList list(&doc);
        EditorVisit first;
        EditorVisit second;
        ModalAnswers answers;
        answers.add(fillEditor(&first, QStringLiteral("Code\nReview"), -1));
        answers.add(fillEditor(&second, QStringLiteral("\tDesign"), -1));
        list.newActivity();
        list.newActivity();
        QCOMPARE(answers.remaining(), 0);
        QCOMPARE(activityNames(doc.activities),
                 (QStringList{QStringLiteral("Code Review"), QStringLiteral("Design")}));
        QVERIFY(doc.save());
    }

    QuorvelDocument loaded;
    QVERIFY(loaded.load());
    QCOMPARE(activityNames(loaded.activities),
             (QStringList{QStringLiteral("Code Review"), QStringLiteral("Design")}));
    QCOMPARE(loaded.activities.at(0)->category, loaded.categories.at(0));
    QCOMPARE(loaded.activities.at(1)->category, loaded.categories.at(0));
}

void TestActivities::escapeOnTableClosesList()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    build.activity(QStringLiteral("Alpha"), work);

    ActivityList list(&doc);
    bool active = false;
    bool tableHadFocus = false;
    QVERIFY(execWith(list, [&] {
        active = QTest::qWaitForWindowActive(&list);
        list.table->setFocus();
        tableHadFocus = list.table->hasFocus();
        QTest::keyClick(list.table, Qt::Key_Escape);
    }));
    QVERIFY(active);
    QVERIFY(tableHadFocus);
    QVERIFY(!list.isVisible());
}

void TestActivities::escapeOnListClosesList()
{
    QuorvelDocument doc;
    ActivityList list(&doc);
    QVERIFY(execWith(list, [&] { QTest::keyClick(&list, Qt::Key_Escape); }));
    QVERIFY(!list.isVisible());
}

QUORVEL_TEST_MAIN(TestActivities)
#include "tst_activities.moc"
