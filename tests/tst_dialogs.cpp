// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "TestEnvironment.h"

#include "dialogs/ChooseInitialMode.h"
#include "dialogs/ModalWidget.h"
#include "dialogs/OperatingMode.h"
#include "widgets/MessageBox.h"

#include <QtTest>

#include <QKeyEvent>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QTimer>

#include <functional>

namespace {

// What the report viewer and the saved-report chooser are to ModalWidget: a subclass with
// something inside that can hold the focus.
class ProbeWidget : public ModalWidget
{
public:
    explicit ProbeWidget(QWidget *parent = nullptr)
        : ModalWidget(parent)
        , edit(new QLineEdit(this))
    {}

    QLineEdit *const edit;
};

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

void clickLater(QDialogButtonBox *box, QDialogButtonBox::StandardButton which)
{
    QTimer::singleShot(0, box, [box, which] { box->button(which)->click(); });
}

void fillServerFields(OperatingMode &dialog, const QString &server, const QString &userId,
                      const QString &password)
{
    dialog.txtServer->setText(server);
    dialog.txtUserID->setText(userId);
    dialog.txtPassword->setText(password);
}

void addCleaningRow(const char *name, const char *server, const char *userId, const char *password,
                    const char *storedServer, const char *storedUserId, const char *storedPassword)
{
    QTest::newRow(name) << QString::fromUtf8(server) << QString::fromUtf8(userId)
                        << QString::fromUtf8(password) << QString::fromUtf8(storedServer)
                        << QString::fromUtf8(storedUserId) << QString::fromUtf8(storedPassword);
}

void addRefusalRow(const char *name, const char *server, const char *userId, const char *password,
                   const QString &message)
{
    QTest::newRow(name) << QString::fromUtf8(server) << QString::fromUtf8(userId)
                        << QString::fromUtf8(password) << message;
}

bool isBold(const QWidget *widget)
{
    return widget->font().bold() && widget->font().weight() == QFont::Bold;
}

} // namespace

class TestDialogs : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    // ModalWidget
    void modalWidgetRunsAsApplicationModalWindow();
    void escapeClosesModalWidget();
    void escapeInChildClosesModalWidget();
    void otherKeysLeaveModalWidgetOpen();
    void hideEndsModalWidgetExec();
    void closeEndsModalWidgetExec();
    void hideBeforeExecIsHarmless();
    void nestedExecEndsWithOneHide();
    void destroyingModalWidgetEndsExec();

    // OperatingMode
    void operatingModeForm();
    void operatingModeRadiosAreExclusive();
    void personalModeDisablesServerFields();
    void personalModeAcceptedWithEmptyFields();
    void noModeChosenIsAccepted();
    void groupModeStoresCleanedTexts_data();
    void groupModeStoresCleanedTexts();
    void groupModeRefusals_data();
    void groupModeRefusals();
    void serverEditedOnlyWhenTyped();
    void refusalKeepsDialogRunning();
    void operatingModeBoldAfterFontChange();

    // ChooseInitialMode
    void chooseInitialModeForm();
    void chooseInitialModeRadiosAreExclusive();
    void chooseInitialModeButtons();
    void hideEndsChooseInitialMode();
    void chooseInitialModeBoldAfterFontChange();
};

void TestDialogs::init()
{
    MessageBox::clearShown();
}

// --- ModalWidget ------------------------------------------------------------------------

void TestDialogs::modalWidgetRunsAsApplicationModalWindow()
{
    QWidget mainWindow;
    ProbeWidget widget(&mainWindow);
    bool visible = false;
    bool window = false;
    Qt::WindowModality modality = Qt::NonModal;
    QVERIFY(execWith(&widget, [&] {
        visible = widget.isVisible();
        window = widget.isWindow();
        modality = widget.windowModality();
        widget.hide();
    }));
    QVERIFY(visible);
    QVERIFY(window);
    QCOMPARE(modality, Qt::ApplicationModal);
    QCOMPARE(widget.parentWidget(), &mainWindow);
    QVERIFY(!widget.isVisible());
}

void TestDialogs::escapeClosesModalWidget()
{
    ProbeWidget widget;
    QVERIFY(execWith(&widget, [&] { QTest::keyClick(&widget, Qt::Key_Escape); }));
    QVERIFY(!widget.isVisible());
}

void TestDialogs::escapeInChildClosesModalWidget()
{
    ProbeWidget widget;
    QVERIFY(execWith(&widget, [&] {
        widget.edit->setText(QStringLiteral("typed"));
        QTest::keyClick(widget.edit, Qt::Key_Escape);
    }));
    QVERIFY(!widget.isVisible());
}

void TestDialogs::otherKeysLeaveModalWidgetOpen()
{
    ProbeWidget widget;
    bool stillVisible = false;
    bool accepted = true;
    QVERIFY(execWith(&widget, [&] {
        QKeyEvent key(QEvent::KeyPress, Qt::Key_A, Qt::NoModifier, QStringLiteral("a"));
        QCoreApplication::sendEvent(&widget, &key);
        accepted = key.isAccepted();
        QTest::keyClick(&widget, Qt::Key_Return);
        stillVisible = widget.isVisible();
        widget.hide();
    }));
    QVERIFY(stillVisible);
    // The key went on to QWidget, which leaves it to the parent.
    QVERIFY(!accepted);

    QKeyEvent escape(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
    widget.show();
    QCoreApplication::sendEvent(&widget, &escape);
    QVERIFY(escape.isAccepted());
    QVERIFY(!widget.isVisible());
}

void TestDialogs::hideEndsModalWidgetExec()
{
    ProbeWidget widget;
    QVERIFY(execWith(&widget, [&] { widget.hide(); }));
    QVERIFY(!widget.isVisible());

    // setVisible(false) is the same hide, and a second exec() runs again.
    QVERIFY(execWith(&widget, [&] { widget.setVisible(false); }));
    QVERIFY(!widget.isVisible());
}

void TestDialogs::closeEndsModalWidgetExec()
{
    ProbeWidget widget;
    QVERIFY(execWith(&widget, [&] { QVERIFY(widget.close()); }));
    QVERIFY(!widget.isVisible());
}

void TestDialogs::hideBeforeExecIsHarmless()
{
    ProbeWidget widget;
    widget.hide();
    widget.show();
    widget.hide();
    QVERIFY(!widget.isVisible());

    QVERIFY(execWith(&widget, [&] { widget.hide(); }));
    QVERIFY(!widget.isVisible());
}

void TestDialogs::nestedExecEndsWithOneHide()
{
    ProbeWidget widget;
    bool innerReturned = false;
    QVERIFY(execWith(&widget, [&] {
        QTimer::singleShot(0, &widget, [&] { widget.hide(); });
        widget.exec();
        innerReturned = true;
    }));
    QVERIFY(innerReturned);
    QVERIFY(!widget.isVisible());

    // The outer exec() still works after the nested one.
    QVERIFY(execWith(&widget, [&] { widget.hide(); }));
}

void TestDialogs::destroyingModalWidgetEndsExec()
{
    auto *mainWindow = new QWidget;
    QPointer<ProbeWidget> widget = new ProbeWidget(mainWindow);
    QVERIFY(execWith(widget, [mainWindow] { delete mainWindow; }));
    QVERIFY(widget.isNull());
}

// --- OperatingMode ----------------------------------------------------------------------

void TestDialogs::operatingModeForm()
{
    OperatingMode dialog;
    QCOMPARE(dialog.objectName(), QStringLiteral("OperatingModeBase"));
    QCOMPARE(dialog.windowTitle(), QStringLiteral("Quorvel - Operating Mode"));
    QCOMPARE(dialog.grpMode->title(), QStringLiteral("Operating Mode"));
    QCOMPARE(dialog.radPersonal->text(), QStringLiteral("Personal Mode"));
    QCOMPARE(dialog.radGroup->text(), QStringLiteral("Group (Server) Mode"));
    QCOMPARE(dialog.lblInternet->text(), QStringLiteral("Internet connection required"));
    QCOMPARE(dialog.lblServer->text(), QStringLiteral("Server"));
    QCOMPARE(dialog.lblUserID->text(), QStringLiteral("User ID"));
    QCOMPARE(dialog.lblPassword->text(), QStringLiteral("Password"));
    QCOMPARE(dialog.lblServerHint->text(),
             QStringLiteral("host:port, or https://host:port\nfor an encrypted connection"));
    QCOMPARE(dialog.Line1->frameShape(), QFrame::HLine);

    QCOMPARE(dialog.txtPassword->echoMode(), QLineEdit::Password);
    QCOMPARE(dialog.txtServer->echoMode(), QLineEdit::Normal);
    QCOMPARE(dialog.txtUserID->echoMode(), QLineEdit::Normal);

    QVERIFY(!dialog.radPersonal->isChecked());
    QVERIFY(!dialog.radGroup->isChecked());
    QVERIFY(isBold(dialog.radPersonal));
    QVERIFY(isBold(dialog.radGroup));
    QVERIFY(!dialog.lblInternet->font().bold());

    // The widgets all sit in the group box.
    for (QWidget *child :
         {static_cast<QWidget *>(dialog.radPersonal), static_cast<QWidget *>(dialog.radGroup),
          static_cast<QWidget *>(dialog.Line1), static_cast<QWidget *>(dialog.txtServer),
          static_cast<QWidget *>(dialog.lblPassword), static_cast<QWidget *>(dialog.lblServerHint)})
        QCOMPARE(child->parentWidget(), dialog.grpMode);

    // Nothing chosen yet, so nothing is disabled yet.
    QVERIFY(dialog.txtServer->isEnabled());
    QVERIFY(dialog.txtUserID->isEnabled());
    QVERIFY(dialog.txtPassword->isEnabled());
}

void TestDialogs::operatingModeRadiosAreExclusive()
{
    OperatingMode dialog;
    dialog.radGroup->click();
    QVERIFY(dialog.radGroup->isChecked());
    dialog.radPersonal->click();
    QVERIFY(dialog.radPersonal->isChecked());
    QVERIFY(!dialog.radGroup->isChecked());
    // Clicking the chosen one again does not leave both off.
    dialog.radPersonal->click();
    QVERIFY(dialog.radPersonal->isChecked());
}

void TestDialogs::personalModeDisablesServerFields()
{
    OperatingMode dialog;
    dialog.radPersonal->setChecked(true);
    QVERIFY(!dialog.txtServer->isEnabled());
    QVERIFY(!dialog.txtUserID->isEnabled());
    QVERIFY(!dialog.txtPassword->isEnabled());
    // The labels are left as they are.
    QVERIFY(dialog.lblServer->isEnabled());
    QVERIFY(dialog.lblUserID->isEnabled());
    QVERIFY(dialog.lblPassword->isEnabled());
    QVERIFY(dialog.lblInternet->isEnabled());

    dialog.radGroup->setChecked(true);
    QVERIFY(dialog.txtServer->isEnabled());
    QVERIFY(dialog.txtUserID->isEnabled());
    QVERIFY(dialog.txtPassword->isEnabled());

    dialog.radPersonal->click();
    QVERIFY(!dialog.txtServer->isEnabled());
    QVERIFY(!dialog.txtUserID->isEnabled());
    QVERIFY(!dialog.txtPassword->isEnabled());
}

void TestDialogs::personalModeAcceptedWithEmptyFields()
{
    OperatingMode dialog;
    dialog.radPersonal->setChecked(true);
    QSignalSpy accepted(&dialog, &QDialog::accepted);
    dialog.show();
    dialog.accept();
    QCOMPARE(accepted.count(), 1);
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QVERIFY(!dialog.isVisible());
    QVERIFY(MessageBox::shown().isEmpty());

    // Personal mode neither checks nor cleans what the server fields hold.
    OperatingMode filled;
    filled.radPersonal->setChecked(true);
    fillServerFields(filled, QStringLiteral(" host/ "), QStringLiteral("--sync--"),
                     QStringLiteral("--end--"));
    filled.accept();
    QCOMPARE(filled.result(), int(QDialog::Accepted));
    QVERIFY(MessageBox::shown().isEmpty());
    QCOMPARE(filled.txtServer->text(), QStringLiteral(" host/ "));
    QCOMPARE(filled.txtUserID->text(), QStringLiteral("--sync--"));
}

void TestDialogs::noModeChosenIsAccepted()
{
    OperatingMode dialog;
    QSignalSpy accepted(&dialog, &QDialog::accepted);
    dialog.accept();
    QCOMPARE(accepted.count(), 1);
    QVERIFY(MessageBox::shown().isEmpty());
}

void TestDialogs::groupModeStoresCleanedTexts_data()
{
    QTest::addColumn<QString>("server");
    QTest::addColumn<QString>("userId");
    QTest::addColumn<QString>("password");
    QTest::addColumn<QString>("storedServer");
    QTest::addColumn<QString>("storedUserId");
    QTest::addColumn<QString>("storedPassword");

    addCleaningRow("trailing slash", "http://host/", "alice", "secret", "http://host", "alice",
                   "secret");
    addCleaningRow("two slashes keep one", "host//", "alice", "secret", "host/", "alice", "secret");
    addCleaningRow("blanks then slash", "  sync.example.org/ \t", "alice", "secret",
                   "sync.example.org", "alice", "secret");
    addCleaningRow("slash before blank", "host /", "alice", "secret", "host ", "alice", "secret");
    addCleaningRow("user id with blanks", "host", " alice ", "secret", "host", "alice", "secret");
    addCleaningRow("https with a slash", " https://team.example.org:8443/", "alice", "secret",
                   "https://team.example.org:8443", "alice", "secret");
    addCleaningRow("password with blanks", "host", "alice", "\tse cret \n", "host", "alice",
                   "se cret");
    addCleaningRow("marker as server", "--sync--", "alice", "secret", "--sync--", "alice",
                   "secret");
    addCleaningRow("marker in another case", "host", "--SYNC--", "--End--", "host", "--SYNC--",
                   "--End--");
    addCleaningRow("marker inside a name", "host", "x--sync--", "--start--x", "host", "x--sync--",
                   "--start--x");
    addCleaningRow("longer than a marker", "host", "--sync---", "-", "host", "--sync---", "-");
}

void TestDialogs::groupModeStoresCleanedTexts()
{
    QFETCH(QString, server);
    QFETCH(QString, userId);
    QFETCH(QString, password);

    OperatingMode dialog;
    dialog.radGroup->setChecked(true);
    fillServerFields(dialog, server, userId, password);
    QSignalSpy accepted(&dialog, &QDialog::accepted);
    dialog.show();
    dialog.accept();

    QVERIFY(MessageBox::shown().isEmpty());
    QCOMPARE(accepted.count(), 1);
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QVERIFY(!dialog.isVisible());
    QTEST(dialog.txtServer->text(), "storedServer");
    QTEST(dialog.txtUserID->text(), "storedUserId");
    QTEST(dialog.txtPassword->text(), "storedPassword");
}

void TestDialogs::serverEditedOnlyWhenTyped()
{
    // Filled by the program: not edited.
    OperatingMode filled;
    filled.radGroup->setChecked(true);
    fillServerFields(filled, QStringLiteral("https://host/"), QStringLiteral("alice"),
                     QStringLiteral("secret"));
    filled.accept();
    QCOMPARE(filled.result(), int(QDialog::Accepted));
    QVERIFY(!filled.serverEdited());

    // Typed, even the same address again, and then cleaned by accept().
    OperatingMode typed;
    typed.radGroup->setChecked(true);
    fillServerFields(typed, QStringLiteral("https://host"), QStringLiteral("alice"),
                     QStringLiteral("secret"));
    typed.txtServer->clear();
    QTest::keyClicks(typed.txtServer, QStringLiteral("https://host/"));
    typed.accept();
    QCOMPARE(typed.result(), int(QDialog::Accepted));
    QCOMPARE(typed.txtServer->text(), QStringLiteral("https://host"));
    QVERIFY(typed.serverEdited());

    // A refused OK tells nothing yet.
    OperatingMode refused;
    refused.radGroup->setChecked(true);
    QTest::keyClicks(refused.txtServer, QStringLiteral("https://host"));
    refused.accept();
    QCOMPARE(MessageBox::shown().size(), 1);
    QVERIFY(!refused.serverEdited());
}

void TestDialogs::groupModeRefusals_data()
{
    QTest::addColumn<QString>("server");
    QTest::addColumn<QString>("userId");
    QTest::addColumn<QString>("password");
    QTest::addColumn<QString>("message");

    const QString missing = QStringLiteral("You must enter a server,\nusername and password.");
    const QString badUser = QStringLiteral("This username is not valid.\nPlease select another.");
    const QString badPassword
        = QStringLiteral("This password is not valid.\nPlease select another.");

    addRefusalRow("all empty", "", "", "", missing);
    addRefusalRow("slash alone", "/", "alice", "secret", missing);
    addRefusalRow("blanks and slash", " / ", "alice", "secret", missing);
    addRefusalRow("server empty", "", "alice", "secret", missing);
    addRefusalRow("user id empty", "host", "", "secret", missing);
    addRefusalRow("password empty", "host", "alice", "", missing);
    addRefusalRow("user id blanks only", "host", "  \t ", "secret", missing);
    addRefusalRow("password blanks only", "host", "alice", "   ", missing);
    addRefusalRow("user id sync", "host", "--sync--", "secret", badUser);
    addRefusalRow("user id start", "host", "--start--", "secret", badUser);
    addRefusalRow("user id end", "host", "--end--", "secret", badUser);
    addRefusalRow("user id sync with blanks", "host", " --sync-- ", "secret", badUser);
    addRefusalRow("password sync", "host", "alice", "--sync--", badPassword);
    addRefusalRow("password start", "host", "alice", "--start--", badPassword);
    addRefusalRow("password end", "host", "alice", "--end--", badPassword);
    addRefusalRow("password end with blanks", "host", "alice", "\t--end--", badPassword);
    addRefusalRow("empty before marker user id", "", "--sync--", "--end--", missing);
    addRefusalRow("empty password before marker user id", "host", "--start--", "", missing);
    addRefusalRow("marker user id before marker password", "host", "--end--", "--sync--", badUser);
    addRefusalRow("marker server and user id", "--sync--", "--sync--", "secret", badUser);
}

void TestDialogs::groupModeRefusals()
{
    QFETCH(QString, server);
    QFETCH(QString, userId);
    QFETCH(QString, password);
    QFETCH(QString, message);

    OperatingMode dialog;
    dialog.radGroup->setChecked(true);
    fillServerFields(dialog, server, userId, password);
    QSignalSpy accepted(&dialog, &QDialog::accepted);
    dialog.show();
    dialog.accept();

    const QList<MessageBox::Shown> shown = MessageBox::shown();
    QCOMPARE(shown.size(), 1);
    QCOMPARE(shown.first().title, QStringLiteral("Operating Mode Error"));
    QCOMPARE(shown.first().text, message);
    QCOMPARE(shown.first().icon, QMessageBox::Warning);

    QCOMPARE(accepted.count(), 0);
    QVERIFY(dialog.result() != QDialog::Accepted);
    QVERIFY(dialog.isVisible());
    // What was typed stays as it was, to be corrected.
    QCOMPARE(dialog.txtServer->text(), server);
    QCOMPARE(dialog.txtUserID->text(), userId);
    QCOMPARE(dialog.txtPassword->text(), password);
}

void TestDialogs::refusalKeepsDialogRunning()
{
    OperatingMode dialog;
    dialog.radGroup->setChecked(true);
    fillServerFields(dialog, QStringLiteral("host/"), QStringLiteral("--sync--"),
                     QStringLiteral("secret"));
    bool stillVisible = false;
    QTimer::singleShot(0, &dialog, [&] {
        dialog.buttonBox->button(QDialogButtonBox::Ok)->click();
        stillVisible = dialog.isVisible();
        dialog.txtUserID->setText(QStringLiteral("alice"));
        clickLater(dialog.buttonBox, QDialogButtonBox::Ok);
    });
    QCOMPARE(dialog.exec(), int(QDialog::Accepted));
    QVERIFY(stillVisible);
    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().first().text,
             QStringLiteral("This username is not valid.\nPlease select another."));
    QCOMPARE(dialog.txtServer->text(), QStringLiteral("host"));
    QCOMPARE(dialog.txtUserID->text(), QStringLiteral("alice"));

    // Cancel after a refusal ends the dialog without accepting it.
    MessageBox::clearShown();
    OperatingMode cancelled;
    cancelled.radGroup->setChecked(true);
    QSignalSpy accepted(&cancelled, &QDialog::accepted);
    QTimer::singleShot(0, &cancelled, [&] {
        cancelled.buttonBox->button(QDialogButtonBox::Ok)->click();
        clickLater(cancelled.buttonBox, QDialogButtonBox::Cancel);
    });
    QCOMPARE(cancelled.exec(), int(QDialog::Rejected));
    QCOMPARE(accepted.count(), 0);
    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().first().text,
             QStringLiteral("You must enter a server,\nusername and password."));
}

void TestDialogs::operatingModeBoldAfterFontChange()
{
    OperatingMode dialog;
    dialog.radPersonal->setFont(QFont());
    dialog.radGroup->setFont(QFont());
    QVERIFY(!dialog.radPersonal->font().bold());

    QEvent fontChange(QEvent::ApplicationFontChange);
    QCoreApplication::sendEvent(&dialog, &fontChange);
    QVERIFY(isBold(dialog.radPersonal));
    QVERIFY(isBold(dialog.radGroup));

    // Only the weight is fixed: the size still follows the application font, which reaches
    // the widgets through a posted event.
    const QFont original = QApplication::font();
    const auto restoreFont = qScopeGuard([original] {
        QApplication::setFont(original);
        QCoreApplication::processEvents();
    });
    QFont larger = original;
    larger.setPointSize(original.pointSize() + 5);
    QApplication::setFont(larger);
    QTRY_COMPARE(dialog.radPersonal->font().pointSize(), larger.pointSize());
    QCOMPARE(dialog.radGroup->font().pointSize(), larger.pointSize());
    QVERIFY(isBold(dialog.radPersonal));
    QVERIFY(isBold(dialog.radGroup));
    QVERIFY(!dialog.lblServer->font().bold());
}

// --- ChooseInitialMode ------------------------------------------------------------------

void TestDialogs::chooseInitialModeForm()
{
    ChooseInitialMode dialog;
    QCOMPARE(dialog.objectName(), QStringLiteral("ChooseInitialModeBase"));
    QCOMPARE(dialog.windowTitle(), QStringLiteral("Choose Initial Mode"));
    QCOMPARE(dialog.lblMessage->text(),
             QStringLiteral("You are running Quorvel for the first time.  Please select an "
                            "operating mode from the list below, then press OK"));
    QVERIFY(dialog.lblMessage->wordWrap());
    QCOMPARE(dialog.grpMode->title(), QStringLiteral("Operating Mode"));

    QCOMPARE(dialog.radPersonalInit->objectName(), QStringLiteral("radPersonalInit"));
    QCOMPARE(dialog.radPersonalInit->text(), QStringLiteral("Personal Mode (sample data)"));
    QCOMPARE(dialog.lblPersonalInit->objectName(), QStringLiteral("lblPersonalInit"));
    QCOMPARE(dialog.lblPersonalInit->text(),
             QStringLiteral("Sets up initial sample activities and categories (which you can "
                            "later modify or delete), so you can familiarize yourself with "
                            "Quorvel"));
    QCOMPARE(dialog.radPersonalNoInit->objectName(), QStringLiteral("radPersonalNoInit"));
    QCOMPARE(dialog.radPersonalNoInit->text(), QStringLiteral("Personal Mode (no data)"));
    QCOMPARE(dialog.lblPersonalNoInit->objectName(), QStringLiteral("lblPersonalNoInit"));
    QCOMPARE(dialog.lblPersonalNoInit->text(),
             QStringLiteral("Creates a blank database.  You need to configure your own "
                            "activities and categories before you can start logging tasks"));
    QCOMPARE(dialog.radGroup->objectName(), QStringLiteral("radGroup"));
    QCOMPARE(dialog.radGroup->text(), QStringLiteral("Group (Server) Mode"));
    QCOMPARE(dialog.lblGroup->objectName(), QStringLiteral("lblGroup"));
    QCOMPARE(dialog.lblGroup->text(),
             QStringLiteral("Activities and category settings are downloaded from Quorvel "
                            "server"));

    QVERIFY(dialog.radPersonalInit->isChecked());
    QVERIFY(!dialog.radPersonalNoInit->isChecked());
    QVERIFY(!dialog.radGroup->isChecked());

    QVERIFY(isBold(dialog.radPersonalInit));
    QVERIFY(isBold(dialog.radPersonalNoInit));
    QVERIFY(isBold(dialog.radGroup));

    const Qt::Alignment topLeft = Qt::AlignLeft | Qt::AlignTop;
    for (const QLabel *label :
         {dialog.lblPersonalInit, dialog.lblPersonalNoInit, dialog.lblGroup}) {
        QVERIFY2(label->wordWrap(), qPrintable(label->objectName()));
        QVERIFY2((label->alignment() & topLeft) == topLeft, qPrintable(label->objectName()));
        QVERIFY2(!label->font().bold(), qPrintable(label->objectName()));
        QCOMPARE(label->parentWidget(), dialog.grpMode);
    }
}

void TestDialogs::chooseInitialModeRadiosAreExclusive()
{
    ChooseInitialMode dialog;
    dialog.radGroup->click();
    QVERIFY(dialog.radGroup->isChecked());
    QVERIFY(!dialog.radPersonalInit->isChecked());
    QVERIFY(!dialog.radPersonalNoInit->isChecked());
    dialog.radPersonalNoInit->click();
    QVERIFY(dialog.radPersonalNoInit->isChecked());
    QVERIFY(!dialog.radGroup->isChecked());
}

void TestDialogs::chooseInitialModeButtons()
{
    ChooseInitialMode dialog;
    clickLater(dialog.buttonBox, QDialogButtonBox::Ok);
    QCOMPARE(dialog.exec(), int(QDialog::Accepted));

    // The main window shows the same dialog again when a choice is not complete.
    dialog.radGroup->setChecked(true);
    clickLater(dialog.buttonBox, QDialogButtonBox::Cancel);
    QCOMPARE(dialog.exec(), int(QDialog::Rejected));
    QVERIFY(dialog.radGroup->isChecked());
    QVERIFY(MessageBox::shown().isEmpty());
}

void TestDialogs::hideEndsChooseInitialMode()
{
    ChooseInitialMode dialog;
    QTimer::singleShot(0, &dialog, [&dialog] { dialog.hide(); });
    QCOMPARE(dialog.exec(), int(QDialog::Rejected));
    QVERIFY(!dialog.isVisible());
}

void TestDialogs::chooseInitialModeBoldAfterFontChange()
{
    ChooseInitialMode dialog;
    dialog.radPersonalInit->setFont(QFont());
    dialog.radPersonalNoInit->setFont(QFont());
    dialog.radGroup->setFont(QFont());

    QEvent fontChange(QEvent::ApplicationFontChange);
    QCoreApplication::sendEvent(&dialog, &fontChange);
    QVERIFY(isBold(dialog.radPersonalInit));
    QVERIFY(isBold(dialog.radPersonalNoInit));
    QVERIFY(isBold(dialog.radGroup));
    QVERIFY(!dialog.lblGroup->font().bold());
}

QUORVEL_TEST_MAIN(TestDialogs)
#include "tst_dialogs.moc"
