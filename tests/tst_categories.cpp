// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "DocumentBuilder.h"
#include "ModalAnswers.h"
#include "TestEnvironment.h"

#include "dialogs/CategoryEdit.h"
#include "dialogs/CategoryList.h"
#include "model/QuorvelDocument.h"
#include "views/QVTable.h"
#include "widgets/MessageBox.h"

#include <QtTest>

#include <QDialogButtonBox>
#include <QHeaderView>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QShortcut>
#include <QTimer>
#include <QToolButton>

#include <functional>

namespace {

const QString errorTitle = QStringLiteral("Category Error");
const QString notValid = QStringLiteral("This name is not valid.\nPlease select another.");
const QString mustHaveName = QStringLiteral("Category must have a name");
const QString mustBeUnique = QStringLiteral("Category name must be unique");
const QString deleteTitle = QStringLiteral("Delete Category");

// The question for a category whose activities have tasks, with the counts filled in by hand.
QString tasksQuestion(const char *tasks, const char *activities)
{
    return QStringLiteral("There are ") + QLatin1String(tasks) + QStringLiteral(" task(s) and ")
           + QLatin1String(activities)
           + QStringLiteral("\nactivities using this category.\nDeleting the category will\n"
                            "automatically delete all the\nassociated activities.\n\nProceed?");
}

// Runs exec() with the action posted into its loop. False when only the safety timer ended
// the loop, that is when the action did not.
bool execWith(ModalWidget *widget, const std::function<void()> &action)
{
    bool timedOut = false;
    const QPointer<ModalWidget> alive(widget);
    QTimer safety;
    safety.setSingleShot(true);
    QObject::connect(&safety, &QTimer::timeout, &safety, [&timedOut, alive] {
        timedOut = true;
        if (alive)
            alive->hide();
    });
    safety.start(5000);
    QTimer::singleShot(0, qApp, action);
    widget->exec();
    return !timedOut;
}

// The names in the table, top to bottom.
QStringList rowTexts(const CategoryList &list)
{
    QStringList texts;
    const QAbstractItemModel *model = list.table->model();
    for (int row = 0; row < model->rowCount(); ++row)
        texts.append(model->index(row, 0).data().toString());
    return texts;
}

QStringList names(const QList<ActivityCategory *> &categories)
{
    QStringList result;
    for (const ActivityCategory *category : categories)
        result.append(category->name);
    return result;
}

int currentRow(const CategoryList &list)
{
    return list.table->currentIndex().row();
}

void selectRow(CategoryList &list, int row)
{
    list.table->setCurrentIndex(list.table->model()->index(row, 0));
}

ActivityCategory *findCategory(const QuorvelDocument &doc, const QString &name)
{
    for (ActivityCategory *category : doc.categories) {
        if (category->name == name)
            return category;
    }
    return nullptr;
}

Activity *findActivity(const QuorvelDocument &doc, const QString &name)
{
    for (Activity *activity : doc.activities) {
        if (activity->name == name)
            return activity;
    }
    return nullptr;
}

// Answers the next modal dialog as a CategoryEdit: types the name and presses OK.
ModalAnswers::Handler typeAndAccept(const QString &typed)
{
    return [typed](QWidget *modal) {
        auto *dialog = qobject_cast<CategoryEdit *>(modal);
        if (!dialog) {
            modal->close();
            return;
        }
        dialog->txtName->setText(typed);
        dialog->buttonBox->button(QDialogButtonBox::Ok)->click();
    };
}

// A document holding "Work" (active), "Home" (withdrawn) and, so that the order of the
// checks shows, an active category that already bears the end marker as its name.
void fillNamingFixture(QuorvelDocument &doc)
{
    DocumentBuilder build(doc);
    build.category(QStringLiteral("Work"));
    build.category(QStringLiteral("Home"), true);
    build.category(QStringLiteral("--end--"));
    build.sortAll();
}

} // namespace

class TestCategories : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    // CategoryEdit
    void editForm();
    void editRefusals_data();
    void editRefusals();
    void refusalsComeInOrder();
    void editAcceptances_data();
    void editAcceptances();
    void cancelLeavesNameAlone();
    void cleanedNameSurvivesSaveAndLoad();

    // CategoryList
    void listForm();
    void listShowsActiveCategoriesSorted();
    void emptyListDisablesEditAndDelete();
    void currentCellFollowsSelection();
    void newCategoryAppendsSortsAndSelects();
    void newCategoryRefusalKeepsDialogOpen();
    void newCategoryCancelledChangesNothing();
    void editCategoryFromTableClick();
    void editCategoryFromButtonKeepsSelection();
    void renameToObsoleteOrOtherCaseAccepted();
    void deleteAsksWithTaskAndActivityCounts();
    void deleteAsksWithActivityCount();
    void deleteAsksWithName();
    void deleteCountsObsoleteActivityAndItsTasks();
    void deleteAnsweredNoChangesNothing();
    void deleteAnsweredYesWithdrawsCategory();
    void deleteSelectsLastRow();
    void deleteWithoutSelectionDoesNothing();
    void deletedCategorySurvivesSaveAndLoad();
    void escapeOnTableClosesList();
    void escapeOnListClosesList();
};

void TestCategories::init()
{
    MessageBox::clearShown();
}

// --- CategoryEdit -----------------------------------------------------------------------

void TestCategories::editForm()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(QStringLiteral("Work"));

    CategoryEdit edit(work, &doc);
    QCOMPARE(edit.objectName(), QStringLiteral("CategoryEditBase"));
    QCOMPARE(edit.windowTitle(), QStringLiteral("Quorvel - Edit Category"));
    QCOMPARE(edit.groupName->title(), QStringLiteral("Category Name"));
    QCOMPARE(edit.txtName->parentWidget(), edit.groupName);
    QCOMPARE(edit.txtName->text(), QStringLiteral("Work"));
    QCOMPARE(edit.editedCategory, work);
    QCOMPARE(edit.document, &doc);
    QVERIFY(edit.buttonBox->button(QDialogButtonBox::Ok));
    QVERIFY(edit.buttonBox->button(QDialogButtonBox::Cancel));

    CategoryEdit fresh(nullptr, &doc);
    QCOMPARE(fresh.windowTitle(), QStringLiteral("Quorvel - New Category"));
    QVERIFY(fresh.txtName->text().isEmpty());
    QVERIFY(fresh.name().isEmpty());
}

void TestCategories::editRefusals_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("message");

    QTest::newRow("end marker with blanks") << QStringLiteral(" --end-- ") << notValid;
    QTest::newRow("start marker") << QStringLiteral("--start--") << notValid;
    QTest::newRow("sync marker between control characters")
        << QStringLiteral("\t--sync--\n") << notValid;
    QTest::newRow("blanks only") << QStringLiteral("   ") << mustHaveName;
    QTest::newRow("nothing") << QString() << mustHaveName;
    QTest::newRow("control characters only") << QStringLiteral("\n\t\x01") << mustHaveName;
    QTest::newRow("name of an active category") << QStringLiteral("Work") << mustBeUnique;
    QTest::newRow("same name with blanks") << QStringLiteral("  Work ") << mustBeUnique;
}

void TestCategories::editRefusals()
{
    QFETCH(QString, typed);
    QFETCH(QString, message);

    QuorvelDocument doc;
    fillNamingFixture(doc);
    const int categoriesBefore = int(doc.categories.size());

    CategoryEdit edit(nullptr, &doc);
    QSignalSpy accepted(&edit, &QDialog::accepted);
    edit.show();
    edit.txtName->setText(typed);
    edit.buttonBox->button(QDialogButtonBox::Ok)->click();

    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().first().title, errorTitle);
    QCOMPARE(MessageBox::shown().first().text, message);
    QCOMPARE(MessageBox::shown().first().icon, QMessageBox::Warning);
    QCOMPARE(accepted.count(), 0);
    QVERIFY(edit.isVisible());
    QCOMPARE(edit.result(), int(QDialog::Rejected));
    // What was typed stays for the user to correct.
    QCOMPARE(edit.txtName->text(), typed);
    QCOMPARE(int(doc.categories.size()), categoriesBefore);
}

void TestCategories::refusalsComeInOrder()
{
    QuorvelDocument doc;
    fillNamingFixture(doc);
    DocumentBuilder(doc).category(QString());

    // The marker is taken by a category, and a category has no name: the earlier check wins.
    CategoryEdit edit(nullptr, &doc);
    edit.txtName->setText(QStringLiteral("--end--"));
    edit.accept();
    edit.txtName->setText(QStringLiteral(" "));
    edit.accept();

    QCOMPARE(MessageBox::shown().size(), 2);
    QCOMPARE(MessageBox::shown().at(0).text, notValid);
    QCOMPARE(MessageBox::shown().at(1).text, mustHaveName);
    QCOMPARE(edit.result(), int(QDialog::Rejected));
}

void TestCategories::editAcceptances_data()
{
    QTest::addColumn<QString>("edited");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("stored");

    QTest::newRow("end marker in capitals")
        << QString() << QStringLiteral("--END--") << QStringLiteral("--END--");
    QTest::newRow("marker inside a name")
        << QString() << QStringLiteral("x--end--") << QStringLiteral("x--end--");
    QTest::newRow("own name") << QStringLiteral("Work") << QStringLiteral("Work")
                              << QStringLiteral("Work");
    QTest::newRow("own name with blanks")
        << QStringLiteral("Work") << QStringLiteral("  Work\t") << QStringLiteral("Work");
    QTest::newRow("new with a withdrawn name")
        << QString() << QStringLiteral("Home") << QStringLiteral("Home");
    QTest::newRow("rename to a withdrawn name")
        << QStringLiteral("Work") << QStringLiteral("Home") << QStringLiteral("Home");
    QTest::newRow("differs in case")
        << QString() << QStringLiteral("work") << QStringLiteral("work");
    QTest::newRow("line feed inside")
        << QString() << QStringLiteral("Work\nHome") << QStringLiteral("Work Home");
    QTest::newRow("leading control character")
        << QString() << QStringLiteral("\x01Office") << QStringLiteral("Office");
}

void TestCategories::editAcceptances()
{
    QFETCH(QString, edited);
    QFETCH(QString, typed);
    QFETCH(QString, stored);

    QuorvelDocument doc;
    fillNamingFixture(doc);
    ActivityCategory *category = edited.isEmpty() ? nullptr : findCategory(doc, edited);
    QCOMPARE(category == nullptr, edited.isEmpty());

    CategoryEdit edit(category, &doc);
    QSignalSpy accepted(&edit, &QDialog::accepted);
    edit.show();
    edit.txtName->setText(typed);
    QCOMPARE(edit.txtName->text(), typed);
    edit.buttonBox->button(QDialogButtonBox::Ok)->click();

    QVERIFY(MessageBox::shown().isEmpty());
    QCOMPARE(accepted.count(), 1);
    QCOMPARE(edit.result(), int(QDialog::Accepted));
    QVERIFY(!edit.isVisible());
    QCOMPARE(edit.name(), stored);
    QCOMPARE(edit.txtName->text(), stored);
    // The dialog only gathers the name; the caller stores it.
    if (category)
        QCOMPARE(category->name, edited);
}

void TestCategories::cancelLeavesNameAlone()
{
    QuorvelDocument doc;
    fillNamingFixture(doc);
    ActivityCategory *work = findCategory(doc, QStringLiteral("Work"));

    CategoryEdit edit(work, &doc);
    QSignalSpy rejected(&edit, &QDialog::rejected);
    edit.show();
    edit.txtName->setText(QStringLiteral("--sync--"));
    edit.buttonBox->button(QDialogButtonBox::Cancel)->click();

    QCOMPARE(rejected.count(), 1);
    QVERIFY(MessageBox::shown().isEmpty());
    QCOMPARE(work->name, QStringLiteral("Work"));
}

void TestCategories::cleanedNameSurvivesSaveAndLoad()
{
    QuorvelDocument doc;
    CategoryList list(&doc);
    ModalAnswers answers;
    answers.add(typeAndAccept(QStringLiteral("Work\nHome")));
    answers.add(typeAndAccept(QStringLiteral("\x01Office")));
    list.newCategory();
    list.newCategory();
    QCOMPARE(answers.remaining(), 0);
    QVERIFY(MessageBox::shown().isEmpty());
    QCOMPARE(names(doc.categories),
             QStringList({QStringLiteral("Office"), QStringLiteral("Work Home")}));

    QVERIFY(doc.save());
    QuorvelDocument loaded;
    QVERIFY(loaded.load());
    QCOMPARE(names(loaded.categories),
             QStringList({QStringLiteral("Office"), QStringLiteral("Work Home")}));
    for (const ActivityCategory *category : std::as_const(loaded.categories))
        QVERIFY(!category->obsolete);
}

// --- CategoryList -----------------------------------------------------------------------

void TestCategories::listForm()
{
    QuorvelDocument doc;
    QWidget mainWindow;
    CategoryList list(&doc, &mainWindow);

    QCOMPARE(list.objectName(), QStringLiteral("CategoryListBase"));
    QCOMPARE(list.windowTitle(), QStringLiteral("Quorvel - Categories"));
    QCOMPARE(list.btnNew->text(), QStringLiteral("New"));
    QCOMPARE(list.btnEdit->text(), QStringLiteral("Edit"));
    QCOMPARE(list.btnDelete->text(), QStringLiteral("Delete"));
    QCOMPARE(list.document, &doc);
    QVERIFY(list.isWindow());
    QCOMPARE(list.parentWidget(), &mainWindow);

    QVERIFY(list.table);
    QCOMPARE(list.table->objectName(), QStringLiteral("tblCategoryList"));
    QCOMPARE(list.table->parentWidget(), &list);
    QCOMPARE(list.findChild<QVTable *>(QStringLiteral("tblCategoryList")), list.table);
    QCOMPARE(list.table->model()->columnCount(), 1);
    QCOMPARE(list.table->model()->headerData(0, Qt::Horizontal).toString(),
             QStringLiteral("Category"));
    QVERIFY(list.table->verticalHeader()->isHidden());

    QVERIFY(list.accel);
    QCOMPARE(list.accel->objectName(), QStringLiteral("accel"));
    QCOMPARE(list.accel->key(), QKeySequence(Qt::Key_Escape));

    QVERIFY(list.width() >= 360);
    QVERIFY(list.height() >= 400);
}

void TestCategories::listShowsActiveCategoriesSorted()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    build.category(QStringLiteral("work"));
    build.category(QStringLiteral("Admin"));
    build.category(QStringLiteral("Retired"), true);
    build.category(QStringLiteral("billing"));
    build.sortAll();

    CategoryList list(&doc);
    const QStringList expected
        = {QStringLiteral("Admin"), QStringLiteral("billing"), QStringLiteral("work")};
    QCOMPARE(rowTexts(list), expected);
    QCOMPARE(names(list.shownCategories), expected);

    // Items are read-only.
    const QModelIndex first = list.table->model()->index(0, 0);
    QVERIFY(!(list.table->model()->flags(first) & Qt::ItemIsEditable));

    // Nothing was selected before: the last row is.
    QCOMPARE(currentRow(list), 2);
    QCOMPARE(list.selectedCategory, findCategory(doc, QStringLiteral("work")));
    QVERIFY(list.btnEdit->isEnabled());
    QVERIFY(list.btnDelete->isEnabled());
    QVERIFY(list.btnNew->isEnabled());
}

void TestCategories::emptyListDisablesEditAndDelete()
{
    QuorvelDocument empty;
    CategoryList emptyList(&empty);
    QCOMPARE(emptyList.table->model()->rowCount(), 0);
    QVERIFY(!emptyList.selectedCategory);
    QVERIFY(!emptyList.btnEdit->isEnabled());
    QVERIFY(!emptyList.btnDelete->isEnabled());
    QVERIFY(emptyList.btnNew->isEnabled());

    QuorvelDocument withdrawnOnly;
    DocumentBuilder(withdrawnOnly).category(QStringLiteral("Gone"), true);
    CategoryList list(&withdrawnOnly);
    QCOMPARE(list.table->model()->rowCount(), 0);
    QVERIFY(list.shownCategories.isEmpty());
    QVERIFY(!list.selectedCategory);
    QVERIFY(!list.btnEdit->isEnabled());
    QVERIFY(!list.btnDelete->isEnabled());
    QVERIFY(list.btnNew->isEnabled());
}

void TestCategories::currentCellFollowsSelection()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *a = build.category(QStringLiteral("A"));
    ActivityCategory *b = build.category(QStringLiteral("B"));
    build.sortAll();

    CategoryList list(&doc);
    QCOMPARE(list.selectedCategory, b);

    selectRow(list, 0);
    QCOMPARE(list.selectedCategory, a);
    QVERIFY(list.btnEdit->isEnabled());

    list.table->setCurrentIndex(QModelIndex());
    QVERIFY(!list.selectedCategory);
    QVERIFY(!list.btnEdit->isEnabled());
    QVERIFY(!list.btnDelete->isEnabled());
    QVERIFY(list.btnNew->isEnabled());

    list.cellChanged(1, 0);
    QCOMPARE(list.selectedCategory, b);
    QVERIFY(list.btnDelete->isEnabled());
    list.cellChanged(5, 0);
    QVERIFY(!list.selectedCategory);
    list.cellChanged(0, -1);
    QVERIFY(!list.selectedCategory);
    QVERIFY(!list.btnEdit->isEnabled());
}

void TestCategories::newCategoryAppendsSortsAndSelects()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    build.category(QStringLiteral("Beta"));
    build.category(QStringLiteral("Delta"));
    build.sortAll();
    const int expectedId = doc.nextId;

    CategoryList list(&doc);
    ModalAnswers answers;
    QString title;
    QString initialText;
    answers.add([&](QWidget *modal) {
        title = modal->windowTitle();
        if (auto *dialog = qobject_cast<CategoryEdit *>(modal))
            initialText = dialog->txtName->text();
        typeAndAccept(QStringLiteral("  charlie "))(modal);
    });
    list.btnNew->click();

    QCOMPARE(answers.seen(), QStringList({QStringLiteral("CategoryEdit")}));
    QCOMPARE(title, QStringLiteral("Quorvel - New Category"));
    QVERIFY(initialText.isEmpty());
    QVERIFY(MessageBox::shown().isEmpty());

    const QStringList expected
        = {QStringLiteral("Beta"), QStringLiteral("charlie"), QStringLiteral("Delta")};
    QCOMPARE(names(doc.categories), expected);
    QCOMPARE(rowTexts(list), expected);
    ActivityCategory *added = doc.categories.at(1);
    QCOMPARE(added->id, expectedId);
    QVERIFY(!added->obsolete);
    QCOMPARE(list.selectedCategory, added);
    QCOMPARE(currentRow(list), 1);
    QVERIFY(list.btnEdit->isEnabled());
}

void TestCategories::newCategoryRefusalKeepsDialogOpen()
{
    QuorvelDocument doc;
    DocumentBuilder(doc).category(QStringLiteral("Beta"));

    CategoryList list(&doc);
    ModalAnswers answers;
    bool openAfterRefusal = false;
    answers.add([&](QWidget *modal) {
        typeAndAccept(QStringLiteral("Beta"))(modal);
        openAfterRefusal = modal->isVisible();
        typeAndAccept(QStringLiteral("Gamma"))(modal);
    });
    list.newCategory();

    QVERIFY(openAfterRefusal);
    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().first().title, errorTitle);
    QCOMPARE(MessageBox::shown().first().text, mustBeUnique);
    QCOMPARE(names(doc.categories), QStringList({QStringLiteral("Beta"), QStringLiteral("Gamma")}));
    QCOMPARE(list.selectedCategory->name, QStringLiteral("Gamma"));
}

void TestCategories::newCategoryCancelledChangesNothing()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *a = build.category(QStringLiteral("A"));
    build.category(QStringLiteral("B"));
    const int nextId = doc.nextId;

    CategoryList list(&doc);
    selectRow(list, 0);
    ModalAnswers answers;
    answers.add([](QWidget *modal) {
        if (auto *dialog = qobject_cast<CategoryEdit *>(modal))
            dialog->txtName->setText(QStringLiteral("C"));
        if (auto *dialog = qobject_cast<QDialog *>(modal))
            dialog->reject();
    });
    list.newCategory();

    QCOMPARE(answers.remaining(), 0);
    QCOMPARE(names(doc.categories), QStringList({QStringLiteral("A"), QStringLiteral("B")}));
    QCOMPARE(doc.nextId, nextId);
    QCOMPARE(list.selectedCategory, a);
}

void TestCategories::editCategoryFromTableClick()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *alpha = build.category(QStringLiteral("Alpha"));
    build.category(QStringLiteral("Mid"));
    build.category(QStringLiteral("Zulu"));
    build.sortAll();

    CategoryList list(&doc);
    list.show();
    QVERIFY(QTest::qWaitForWindowExposed(&list));

    ModalAnswers answers;
    QString title;
    QString shownName;
    answers.add([&](QWidget *modal) {
        title = modal->windowTitle();
        if (auto *dialog = qobject_cast<CategoryEdit *>(modal))
            shownName = dialog->txtName->text();
        typeAndAccept(QStringLiteral("Zz Top "))(modal);
    });
    const QRect cell = list.table->visualRect(list.table->model()->index(0, 0));
    QTest::mouseClick(list.table->viewport(), Qt::LeftButton, {}, cell.center());

    QCOMPARE(answers.remaining(), 0);
    QCOMPARE(title, QStringLiteral("Quorvel - Edit Category"));
    QCOMPARE(shownName, QStringLiteral("Alpha"));
    QCOMPARE(alpha->name, QStringLiteral("Zz Top"));
    QCOMPARE(int(doc.categories.size()), 3);
    QCOMPARE(names(doc.categories), QStringList({QStringLiteral("Mid"), QStringLiteral("Zulu"),
                                                 QStringLiteral("Zz Top")}));
    QCOMPARE(rowTexts(list), names(doc.categories));
    // The renamed category moved down and stays selected.
    QCOMPARE(list.selectedCategory, alpha);
    QCOMPARE(currentRow(list), 2);
    list.hide();
}

void TestCategories::editCategoryFromButtonKeepsSelection()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    build.category(QStringLiteral("Beta"));
    ActivityCategory *gamma = build.category(QStringLiteral("Gamma"));
    build.category(QStringLiteral("Delta"));
    build.sortAll();

    const int gammaId = gamma->id;

    CategoryList list(&doc);
    selectRow(list, 2);
    QCOMPARE(list.selectedCategory, gamma);

    ModalAnswers answers;
    answers.add(typeAndAccept(QStringLiteral("Alpha")));
    list.btnEdit->click();

    QCOMPARE(answers.remaining(), 0);
    QCOMPARE(rowTexts(list), QStringList({QStringLiteral("Alpha"), QStringLiteral("Beta"),
                                          QStringLiteral("Delta")}));
    QCOMPARE(list.selectedCategory, gamma);
    QCOMPARE(currentRow(list), 0);
    QCOMPARE(gamma->id, gammaId);
    QCOMPARE(int(doc.categories.size()), 3);
}

void TestCategories::renameToObsoleteOrOtherCaseAccepted()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    build.category(QStringLiteral("Home"), true);
    build.category(QStringLiteral("Travel"));
    build.sortAll();

    CategoryList list(&doc);
    list.cellChanged(int(list.shownCategories.indexOf(work)), 0);
    ModalAnswers answers;
    answers.add(typeAndAccept(QStringLiteral("Home")));
    answers.add(typeAndAccept(QStringLiteral("TRAVEL")));
    list.editCategory();
    QCOMPARE(work->name, QStringLiteral("Home"));
    list.editCategory();

    QVERIFY(MessageBox::shown().isEmpty());
    QCOMPARE(work->name, QStringLiteral("TRAVEL"));
    QStringList rows = rowTexts(list);
    rows.sort(Qt::CaseSensitive);
    QCOMPARE(rows, QStringList({QStringLiteral("TRAVEL"), QStringLiteral("Travel")}));
    QCOMPARE(list.selectedCategory, work);
}

void TestCategories::deleteAsksWithTaskAndActivityCounts()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    ActivityCategory *home = build.category(QStringLiteral("Home"));
    Activity *coding = build.activity(QStringLiteral("Coding"), work);
    Activity *meetings = build.activity(QStringLiteral("Meetings"), work);
    Activity *garden = build.activity(QStringLiteral("Garden"), home);
    build.task(coding, at(2, 9, 0), at(2, 10, 0));
    build.task(meetings, at(2, 10, 0), at(2, 11, 0));
    build.task(coding, at(3, 9, 0), at(3, 10, 0));
    build.task(garden, at(3, 11, 0), at(3, 12, 0));
    build.task(meetings, at(4, 9, 0), at(4, 10, 0));
    build.task(coding, at(4, 10, 0), QDateTime());
    build.sortAll();

    CategoryList list(&doc);
    list.cellChanged(int(list.shownCategories.indexOf(work)), 0);
    MessageBox::setNextAnswer(QMessageBox::No);
    list.btnDelete->click();

    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().first().title, deleteTitle);
    QCOMPARE(MessageBox::shown().first().text, tasksQuestion("5", "2"));
    QCOMPARE(MessageBox::shown().first().text,
             QStringLiteral("There are 5 task(s) and 2\nactivities using this category.\n"
                            "Deleting the category will\nautomatically delete all the\n"
                            "associated activities.\n\nProceed?"));
    QVERIFY(!work->obsolete);
}

void TestCategories::deleteAsksWithActivityCount()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    build.activity(QStringLiteral("Coding"), work);
    build.activity(QStringLiteral("Meetings"), work);
    build.sortAll();

    CategoryList list(&doc);
    QCOMPARE(list.selectedCategory, work);
    list.deleteCategory();

    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().first().title, deleteTitle);
    QCOMPARE(MessageBox::shown().first().text,
             QStringLiteral("There are 2 activities(s) using\nthis category. Deleting the\n"
                            "category will automatically delete\nall the associated "
                            "activities(s).\n\nProceed?"));
    // No answer queued: the box's Escape button, No.
    QVERIFY(!work->obsolete);
    QCOMPARE(rowTexts(list), QStringList({QStringLiteral("Work")}));
}

void TestCategories::deleteAsksWithName()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *empty = build.category(QStringLiteral("Empty Box"));
    ActivityCategory *other = build.category(QStringLiteral("Other"));
    build.activity(QStringLiteral("Elsewhere"), other);
    build.sortAll();

    CategoryList list(&doc);
    selectRow(list, 0);
    QCOMPARE(list.selectedCategory, empty);
    MessageBox::setNextAnswer(QMessageBox::Yes);
    list.deleteCategory();

    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().first().title, deleteTitle);
    QCOMPARE(MessageBox::shown().first().text,
             QStringLiteral("Are you sure you want to delete\nEmpty Box?"));
    QVERIFY(empty->obsolete);
    QVERIFY(!other->obsolete);
    QCOMPARE(rowTexts(list), QStringList({QStringLiteral("Other")}));
}

void TestCategories::deleteCountsObsoleteActivityAndItsTasks()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    ActivityCategory *home = build.category(QStringLiteral("Home"));
    Activity *active = build.activity(QStringLiteral("Active"), work);
    Activity *withdrawn = build.activity(QStringLiteral("Withdrawn"), work, true);
    Activity *garden = build.activity(QStringLiteral("Garden"), home);
    build.task(active, at(2, 9, 0), at(2, 10, 0));
    build.task(withdrawn, at(2, 10, 0), at(2, 11, 0));
    build.task(withdrawn, at(3, 10, 0), at(3, 11, 0));
    QVTask *gardening = build.task(garden, at(3, 11, 0), at(3, 12, 0), 1);
    build.sortAll();

    CategoryList list(&doc);
    list.cellChanged(int(list.shownCategories.indexOf(work)), 0);
    MessageBox::setNextAnswer(QMessageBox::Yes);
    list.deleteCategory();

    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().first().text, tasksQuestion("3", "2"));
    QVERIFY(work->obsolete);
    QVERIFY(active->obsolete);
    QVERIFY(withdrawn->obsolete);
    QVERIFY(!home->obsolete);
    QVERIFY(!garden->obsolete);
    QCOMPARE(gardening->shortcut, 1);
}

void TestCategories::deleteAnsweredNoChangesNothing()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    build.category(QStringLiteral("Zoo"));
    Activity *coding = build.activity(QStringLiteral("Coding"), work);
    QVTask *one = build.task(coding, at(2, 9, 0), at(2, 10, 0), 1);
    QVTask *two = build.task(coding, at(2, 10, 0), QDateTime(), 2);
    build.sortAll();
    const QByteArray before = doc.getDocumentBytes();

    CategoryList list(&doc);
    selectRow(list, 0);
    MessageBox::setNextAnswer(QMessageBox::No);
    list.deleteCategory();

    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().first().text, tasksQuestion("2", "1"));
    QCOMPARE(doc.getDocumentBytes(), before);
    QVERIFY(!work->obsolete);
    QVERIFY(!coding->obsolete);
    QCOMPARE(one->shortcut, 1);
    QCOMPARE(two->shortcut, 2);
    QCOMPARE(list.selectedCategory, work);
    QCOMPARE(currentRow(list), 0);
    QCOMPARE(rowTexts(list), QStringList({QStringLiteral("Work"), QStringLiteral("Zoo")}));
}

void TestCategories::deleteAnsweredYesWithdrawsCategory()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *home = build.category(QStringLiteral("Home"));
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    Activity *coding = build.activity(QStringLiteral("Coding"), work);
    Activity *meetings = build.activity(QStringLiteral("Meetings"), work);
    Activity *garden = build.activity(QStringLiteral("Garden"), home);
    QVTask *codingTask = build.task(coding, at(2, 9, 0), at(2, 10, 0), 1);
    QVTask *meetingTask = build.task(meetings, at(2, 10, 0), QDateTime(), 2);
    QVTask *gardenTask = build.task(garden, at(2, 11, 0), QDateTime(), 3);
    build.sortAll();
    QCOMPARE(doc.getNumActiveActivities(false), 3);

    CategoryList list(&doc);
    QCOMPARE(list.selectedCategory, work);
    MessageBox::setNextAnswer(QMessageBox::Yes);
    list.btnDelete->click();

    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().first().text, tasksQuestion("2", "2"));
    QVERIFY(work->obsolete);
    QVERIFY(coding->obsolete);
    QVERIFY(meetings->obsolete);
    QVERIFY(!garden->obsolete);
    QCOMPARE(doc.getNumActiveActivities(false), 1);
    QCOMPARE(doc.getNumActiveCategories(), 1);

    // Nothing is removed: the tasks keep their activity and times, only the buttons go.
    QCOMPARE(int(doc.categories.size()), 2);
    QCOMPARE(int(doc.activities.size()), 3);
    QCOMPARE(int(doc.tasks.size()), 3);
    QVERIFY(doc.tasks.contains(codingTask));
    QVERIFY(doc.tasks.contains(meetingTask));
    QCOMPARE(codingTask->activity, coding);
    QCOMPARE(meetingTask->activity, meetings);
    QCOMPARE(codingTask->stop(), at(2, 10, 0));
    QVERIFY(meetingTask->isRunning());
    QCOMPARE(codingTask->shortcut, 0);
    QCOMPARE(meetingTask->shortcut, 0);
    QCOMPARE(gardenTask->shortcut, 3);

    QCOMPARE(rowTexts(list), QStringList({QStringLiteral("Home")}));
    QCOMPARE(list.shownCategories, QList<ActivityCategory *>({home}));
    QCOMPARE(list.selectedCategory, home);
    QCOMPARE(currentRow(list), 0);
}

void TestCategories::deleteSelectsLastRow()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *a = build.category(QStringLiteral("A"));
    build.category(QStringLiteral("B"));
    ActivityCategory *c = build.category(QStringLiteral("C"));
    build.sortAll();

    CategoryList list(&doc);
    selectRow(list, 0);
    QCOMPARE(list.selectedCategory, a);
    MessageBox::setNextAnswer(QMessageBox::Yes);
    list.deleteCategory();

    QCOMPARE(rowTexts(list), QStringList({QStringLiteral("B"), QStringLiteral("C")}));
    QCOMPARE(list.selectedCategory, c);
    QCOMPARE(currentRow(list), 1);
    QVERIFY(list.btnEdit->isEnabled());

    // Delete the rest: an empty list leaves nothing to edit or delete.
    MessageBox::setNextAnswer(QMessageBox::Yes);
    list.deleteCategory();
    MessageBox::setNextAnswer(QMessageBox::Yes);
    list.deleteCategory();
    QCOMPARE(MessageBox::shown().size(), 3);
    QVERIFY(rowTexts(list).isEmpty());
    QVERIFY(!list.selectedCategory);
    QVERIFY(!list.btnEdit->isEnabled());
    QVERIFY(!list.btnDelete->isEnabled());
    QVERIFY(list.btnNew->isEnabled());
}

void TestCategories::deleteWithoutSelectionDoesNothing()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *a = build.category(QStringLiteral("A"));

    CategoryList list(&doc);
    list.table->setCurrentIndex(QModelIndex());
    QVERIFY(!list.selectedCategory);
    MessageBox::setNextAnswer(QMessageBox::Yes);
    list.deleteCategory();
    QVERIFY(MessageBox::shown().isEmpty());
    QVERIFY(!a->obsolete);

    ModalAnswers answers;
    list.editCategory();
    QVERIFY(answers.seen().isEmpty());
}

void TestCategories::deletedCategorySurvivesSaveAndLoad()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    ActivityCategory *home = build.category(QStringLiteral("Home"));
    Activity *coding = build.activity(QStringLiteral("Coding"), work);
    Activity *meetings = build.activity(QStringLiteral("Meetings"), work);
    build.activity(QStringLiteral("Garden"), home);
    build.task(coding, at(2, 9, 0), at(2, 10, 0), 1);
    build.task(meetings, at(2, 10, 0), at(2, 11, 0), 2);
    build.task(coding, at(2, 11, 0), QDateTime(), 3);
    build.sortAll();

    CategoryList list(&doc);
    list.cellChanged(int(list.shownCategories.indexOf(work)), 0);
    MessageBox::setNextAnswer(QMessageBox::Yes);
    list.deleteCategory();
    QVERIFY(work->obsolete);
    QVERIFY(doc.save());

    QuorvelDocument loaded;
    QVERIFY(loaded.load());
    ActivityCategory *loadedWork = findCategory(loaded, QStringLiteral("Work"));
    QVERIFY(loadedWork);
    QVERIFY(loadedWork->obsolete);
    QVERIFY(!findCategory(loaded, QStringLiteral("Home"))->obsolete);
    Activity *loadedCoding = findActivity(loaded, QStringLiteral("Coding"));
    Activity *loadedMeetings = findActivity(loaded, QStringLiteral("Meetings"));
    QVERIFY(loadedCoding);
    QVERIFY(loadedMeetings);
    QVERIFY(loadedCoding->obsolete);
    QVERIFY(loadedMeetings->obsolete);
    QCOMPARE(loadedCoding->category, loadedWork);
    QCOMPARE(loadedMeetings->category, loadedWork);
    QVERIFY(!findActivity(loaded, QStringLiteral("Garden"))->obsolete);

    QCOMPARE(int(loaded.tasks.size()), 3);
    QStringList taskActivities;
    for (const QVTask *task : std::as_const(loaded.tasks)) {
        taskActivities.append(task->activityName());
        QCOMPARE(task->shortcut, 0);
    }
    QCOMPARE(taskActivities, QStringList({QStringLiteral("Coding"), QStringLiteral("Meetings"),
                                          QStringLiteral("Coding")}));

    CategoryList reopened(&loaded);
    QCOMPARE(rowTexts(reopened), QStringList({QStringLiteral("Home")}));
}

void TestCategories::escapeOnTableClosesList()
{
    QuorvelDocument doc;
    DocumentBuilder(doc).category(QStringLiteral("Work"));
    CategoryList list(&doc);
    bool tableHadFocus = false;
    QVERIFY(execWith(&list, [&] {
        list.activateWindow();
        if (QTest::qWaitForWindowActive(&list))
            list.table->setFocus();
        tableHadFocus = list.table->hasFocus();
        QTest::keyClick(list.table, Qt::Key_Escape);
    }));
    QVERIFY(tableHadFocus);
    QVERIFY(!list.isVisible());
    QVERIFY(!doc.categories.first()->obsolete);
}

void TestCategories::escapeOnListClosesList()
{
    QuorvelDocument doc;
    CategoryList list(&doc);
    QVERIFY(execWith(&list, [&] { QTest::keyClick(&list, Qt::Key_Escape); }));
    QVERIFY(!list.isVisible());
}

QUORVEL_TEST_MAIN(TestCategories)
#include "tst_categories.moc"
