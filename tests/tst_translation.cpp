// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The German interface: CTest runs this test with LANG, LC_ALL and LC_MESSAGES set to
// de_DE.UTF-8, and its main installs the catalogues through Translations::install, as both
// programs do. The texts below are the German ones, written by hand.

#include "DocumentBuilder.h"
#include "ModalAnswers.h"
#include "ReportReference.h"
#include "TestAuthority.h"
#include "TestEnvironment.h"
#include "TlsTestListener.h"

#include "app/HelpMenu.h"
#include "app/QuorvelMainWindow.h"
#include "app/StatusBarPanel.h"
#include "dialogs/ChooseInitialMode.h"
#include "dialogs/HelpWindow.h"
#include "dialogs/OperatingMode.h"
#include "dialogs/QuickStart.h"
#include "dialogs/ShortcutsWindow.h"
#include "dialogs/Synchronize.h"
#include "model/Configuration.h"
#include "model/TaskCommands.h"
#include "platform/Translations.h"
#include "reports/ReportText.h"
#include "reportwindows/PeriodSummaryReport.h"
#include "reportwindows/PeriodTimeSheetReport.h"
#include "reportwindows/ReportViewer.h"
#include "views/ElidedToolButton.h"
#include "views/FilterBar.h"
#include "views/MainWidget.h"
#include "views/QVTable.h"

#include <QAction>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QPrintDialog>
#include <QPrinterInfo>
#include <QPushButton>
#include <QTextBrowser>
#include <QToolButton>
#include <QTreeWidget>
#include <QtTest>

namespace {

// What Translations::install returned in main().
QString s_installed;

// The texts of a menu's entries, a separator as "-".
QStringList entries(const QMenu *menu)
{
    QStringList texts;
    for (const QAction *action : menu->actions())
        texts << (action->isSeparator() ? QStringLiteral("-") : action->text());
    return texts;
}

// Personal mode, the sample data and a task of 90 minutes on Saturday, 21 November 2026.
void prepareDataFile()
{
    Configuration().setMode(Configuration::Personal);
    QuorvelDocument doc;
    doc.createSampleData();
    DocumentBuilder build(doc);
    build.task(doc.activities.at(0), at(21, 7, 0), at(21, 8, 30), 1);
    doc.tasks.sort();
    QVERIFY(doc.save());
}

} // namespace

class TestTranslation : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void installsGermanFromTheSystemLocale();
    void mainWindowMenus();
    void statusBarAndQuickStart();
    void viewAndHelpTexts();
    void settingsAndObjectNamesStayEnglish();
    void taskRefusal();
    void firstStartDialog();
    void secureConnectionTexts();
    void reportTexts();
    void printToFileName();
    void numbersAndDates();
};

void TestTranslation::initTestCase()
{
    // The programs set no default locale, so their QLocale() is the system's; TestEnvironment
    // pins en_US for the other tests, which this one undoes.
    QLocale::setDefault(QLocale::system());
    prepareDataFile();
}

void TestTranslation::cleanupTestCase()
{
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
}

void TestTranslation::installsGermanFromTheSystemLocale()
{
    QCOMPARE(QLocale::system().name(), QStringLiteral("de_DE"));
    QCOMPARE(s_installed, QStringLiteral("de"));
}

void TestTranslation::mainWindowMenus()
{
    QuorvelMainWindow window;
    const QList<QAction *> menus = window.menuBar()->actions();
    QStringList titles;
    for (const QAction *menu : menus)
        titles << menu->text();
    QCOMPARE(titles, QStringList({QStringLiteral("Aufgabe"), QStringLiteral("Bearbeiten"),
                                  QStringLiteral("Ansicht"), QStringLiteral("Bericht"),
                                  QStringLiteral("Einstellungen"), QStringLiteral("Hilfe")}));
    QCOMPARE(entries(menus.at(0)->menu()),
             QStringList({QStringLiteral("Neue Aufgabe"), QStringLiteral("Aufgabe bearbeiten"),
                          QStringLiteral("Aufgabe löschen"), QStringLiteral("-"),
                          QStringLiteral("Aufgaben bereinigen"),
                          QStringLiteral("Mit Server synchronisieren"), QStringLiteral("-"),
                          QStringLiteral("Starten …")}));
    QCOMPARE(entries(menus.at(1)->menu()),
             QStringList({QStringLiteral("Rückgängig"), QStringLiteral("Wiederholen")}));
    QCOMPARE(entries(menus.at(2)->menu()),
             QStringList(
                 {QStringLiteral("Spalte Dauer"), QStringLiteral("-"), QStringLiteral("Suchen…")}));
    QCOMPARE(entries(menus.at(3)->menu()),
             QStringList({QStringLiteral("Zusammenfassung für Zeitraum"),
                          QStringLiteral("Stundenzettel für Zeitraum"), QStringLiteral("-"),
                          QStringLiteral("Gespeicherten Bericht ansehen")}));
    QCOMPARE(entries(menus.at(4)->menu()),
             QStringList({QStringLiteral("Tätigkeiten"), QStringLiteral("Kategorien"),
                          QStringLiteral("-"), QStringLiteral("Gleichzeitige Aufgaben erlauben"),
                          QStringLiteral("12-Stunden-Uhr"), QStringLiteral("Betriebsmodus"),
                          QStringLiteral("-"), QStringLiteral("Abwesenheit und Erinnerungen")}));
    QCOMPARE(entries(menus.at(5)->menu()),
             QStringList({QStringLiteral("Tastenkürzel"), QStringLiteral("Quorvel-Hilfe"),
                          QStringLiteral("-"), QStringLiteral("Über Quorvel")}));
    // Alt with the first letter of each German title opens its menu.
    const auto *openTask = window.findChild<QAction *>(QStringLiteral("open menu taskMenu"));
    const auto *openReport = window.findChild<QAction *>(QStringLiteral("open menu reportMenu"));
    const auto *openSettings
        = window.findChild<QAction *>(QStringLiteral("open menu settingsMenu"));
    QVERIFY(openTask && openReport && openSettings);
    QCOMPARE(openTask->shortcut(), QKeySequence(Qt::ALT | Qt::Key_A));
    QCOMPARE(openReport->shortcut(), QKeySequence(Qt::ALT | Qt::Key_B));
    QCOMPARE(openSettings->shortcut(), QKeySequence(Qt::ALT | Qt::Key_E));
    // "Bearbeiten" takes the first letter left over: B and E open other menus, A as well.
    const auto *openEdit = window.findChild<QAction *>(QStringLiteral("open menu editMenu"));
    QVERIFY(openEdit);
    QCOMPARE(openEdit->shortcut(), QKeySequence(Qt::ALT | Qt::Key_R));
    // "Ansicht" after "Aufgabe": its first letter left over.
    const auto *openView = window.findChild<QAction *>(QStringLiteral("open menu viewMenu"));
    const auto *openHelp = window.findChild<QAction *>(QStringLiteral("open menu helpMenu"));
    QVERIFY(openView && openHelp);
    QCOMPARE(openView->shortcut(), QKeySequence(Qt::ALT | Qt::Key_N));
    QCOMPARE(openHelp->shortcut(), QKeySequence(Qt::ALT | Qt::Key_H));
}

void TestTranslation::viewAndHelpTexts()
{
    QuorvelMainWindow window;
    window.findChild<QAction *>(QStringLiteral("durationColumn"))->trigger();
    QCOMPARE(window.mainWidget()->table->model()->headerData(3, Qt::Horizontal).toString(),
             QStringLiteral("Dauer"));
    window.findChild<QAction *>(QStringLiteral("durationColumn"))->trigger();
    const FilterBar *bar = window.mainWidget()->filterBar();
    QStringList periods;
    for (int i = 0; i < bar->periodBox()->count(); ++i)
        periods << bar->periodBox()->itemText(i);
    QCOMPARE(periods, QStringList({QStringLiteral("Alle"), QStringLiteral("Heute"),
                                   QStringLiteral("Diese Woche"), QStringLiteral("Dieser Monat"),
                                   QStringLiteral("Gewählte Tage")}));
    QCOMPARE(bar->textField()->placeholderText(), QStringLiteral("Tätigkeit oder Kategorie"));

    window.findChild<QAction *>(QStringLiteral("keyboardShortcuts"))->trigger();
    const auto *shortcuts = window.findChild<ShortcutsWindow *>();
    QVERIFY(shortcuts);
    QCOMPARE(shortcuts->windowTitle(), QStringLiteral("Tastenkürzel"));
    QCOMPARE(shortcuts->list()->headerItem()->text(0), QStringLiteral("Befehl"));
    QStringList rows;
    for (int i = 0; i < shortcuts->list()->topLevelItemCount(); ++i)
        rows << shortcuts->list()->topLevelItem(i)->text(0);
    QVERIFY(rows.contains(QStringLiteral("Suchleiste schließen")));
    QVERIFY(rows.contains(QStringLiteral("Schnellstart-Taste 1")));
    QVERIFY(rows.contains(QStringLiteral("Menü Ansicht öffnen")));
    QVERIFY(rows.contains(QStringLiteral("Quorvel beenden")));

    window.findChild<QAction *>(QStringLiteral("quorvelHelp"))->trigger();
    const auto *help = window.findChild<HelpWindow *>();
    QVERIFY(help);
    QCOMPARE(help->windowTitle(), QStringLiteral("Quorvel-Hilfe"));
    QCOMPARE(HelpMenu::aboutTitle(), QStringLiteral("Über Quorvel"));
    QVERIFY(HelpMenu::aboutText().contains(
        QStringLiteral("Lizenz: GNU General Public License, Version 3 oder später")));
}

void TestTranslation::statusBarAndQuickStart()
{
    QuorvelMainWindow window;
    const StatusBarPanel *panel = window.statusPanel();
    // Saturday, 21 November: the German week began on Monday the 16th.
    QCOMPARE(panel->todayText(), QStringLiteral("Heute: 1:30"));
    QCOMPARE(panel->weekText(), QStringLiteral("Diese Woche: 1:30"));
    QCOMPARE(panel->weekToolTip(),
             QStringLiteral("Seit 16.11.26 erfasste Zeit, gezählt wie in der Zusammenfassung für "
                            "Zeitraum; laufende Aufgaben zählen bis jetzt"));
    window.mainWidget()->button(1)->click();
    QCOMPARE(panel->stopButtons().size(), 1);
    QCOMPARE(panel->stopButtons().at(0)->text(),
             QStringLiteral("Beratung für Kunde R. Vance stoppen"));
    QCOMPARE(panel->selectedText(), QStringLiteral("Ausgewählt: 0:00"));

    QuickStart dialog(*window.document(), &window);
    QCOMPARE(dialog.windowTitle(), QStringLiteral("Tätigkeit starten"));
    QCOMPARE(dialog.findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Ok)->text(),
             QStringLiteral("Starten"));
}

void TestTranslation::settingsAndObjectNamesStayEnglish()
{
    QuorvelDocument doc;
    PeriodSummaryReport summary(nullptr, &doc);
    PeriodTimeSheetReport timeSheet(nullptr, &doc);
    QCOMPARE(summary.getMenuName(), QStringLiteral("Zusammenfassung für Zeitraum"));
    QCOMPARE(summary.settingsGroup(), QStringLiteral("Report: Period Summary Report"));
    QCOMPARE(timeSheet.getMenuName(), QStringLiteral("Stundenzettel für Zeitraum"));
    QCOMPARE(timeSheet.settingsGroup(), QStringLiteral("Report: Period Time Sheet"));
    // The sample categories keep their names in every language; the activities are German.
    doc.createSampleData();
    QStringList categories;
    for (const ActivityCategory *category : doc.categories)
        categories << category->name;
    QCOMPARE(categories, QStringList({QStringLiteral("Bill rate 1"), QStringLiteral("Bill rate 2"),
                                      QStringLiteral("Private")}));
    QStringList activities;
    for (const Activity *activity : doc.activities)
        activities << activity->name;
    QCOMPARE(activities,
             QStringList({QStringLiteral("Beratung für Kunde R. Vance"),
                          QStringLiteral("Heimprojekt Beta"), QStringLiteral("Heimprojekt Delta"),
                          QStringLiteral("Projekt Alpha Dokumentation"),
                          QStringLiteral("Projekt Alpha Entwicklung")}));
}

void TestTranslation::taskRefusal()
{
    const TaskMessages::Message overlap = TaskMessages::cannotStartOverlap();
    QCOMPARE(overlap.title, QStringLiteral("Aufgabe kann nicht gestartet werden"));
    QCOMPARE(overlap.text, QStringLiteral("Diese Aufgabe kann jetzt nicht\ngestartet werden, da "
                                          "sie sich sonst\nmit einer anderen überschneiden "
                                          "würde.\n"));
    const TaskMessages::Message future = TaskMessages::cannotStopFuture();
    QCOMPARE(future.title, QStringLiteral("Aufgabe kann nicht angehalten werden"));
    QCOMPARE(TaskMessages::oneLine(future.text),
             QStringLiteral("Diese Aufgabe kann jetzt nicht angehalten werden, da ihre Startzeit "
                            "in der Zukunft liegt. Eine Endzeit in der Zukunft setzen Sie unter "
                            "Bearbeiten."));
}

void TestTranslation::firstStartDialog()
{
    ChooseInitialMode dialog;
    QCOMPARE(dialog.windowTitle(), QStringLiteral("Betriebsmodus wählen"));
    QCOMPARE(dialog.lblMessage->text(),
             QStringLiteral("Sie starten Quorvel zum ersten Mal.  Bitte wählen Sie unten einen "
                            "Betriebsmodus und drücken Sie dann OK"));
    QCOMPARE(dialog.grpMode->title(), QStringLiteral("Betriebsmodus"));
    QCOMPARE(dialog.radPersonalInit->text(),
             QStringLiteral("Persönlicher Modus (mit Beispieldaten)"));
    QCOMPARE(dialog.radPersonalNoInit->text(), QStringLiteral("Persönlicher Modus (ohne Daten)"));
    QCOMPARE(dialog.radGroup->text(), QStringLiteral("Gruppenmodus (Server)"));
    // Qt's own catalogue, installed beside Quorvel's.
    QCOMPARE(dialog.buttonBox->button(QDialogButtonBox::Cancel)->text(),
             QStringLiteral("Abbrechen"));
    QCOMPARE(dialog.buttonBox->button(QDialogButtonBox::Ok)->text(), QStringLiteral("OK"));
}

void TestTranslation::secureConnectionTexts()
{
    OperatingMode dialog;
    QCOMPARE(dialog.lblServerHint->text(),
             QStringLiteral("Rechner:Port, oder https://Rechner:Port\nfür eine verschlüsselte "
                            "Verbindung"));

    // A server with a self-signed certificate, and the question about it answered No.
    TestAuthority authority;
    QVERIFY2(authority.isValid(), qPrintable(authority.error()));
    const TestAuthority::Issued self
        = authority.selfSigned(QStringLiteral("self"), {QStringLiteral("127.0.0.1")});
    TlsTestListener server(self);
    QVERIFY(server.isValid());
    QVERIFY(server.listen(QHostAddress::LocalHost, 0));
    Configuration().setServerAddress(
        QStringLiteral("https://127.0.0.1:%1").arg(server.serverPort()));
    QuorvelDocument doc;
    MessageBox::clearShown();
    Synchronize sync(&doc);
    QTRY_VERIFY(!MessageBox::shown().isEmpty());
    QCOMPARE(MessageBox::shown().at(0).title, QStringLiteral("Unbekanntes Serverzertifikat"));
    QVERIFY(MessageBox::shown().at(0).text.startsWith(
        QStringLiteral("Diesem Server vertrauen?\n\n127.0.0.1:%1 legt ein Zertifikat vor, das er "
                       "selbst ausgestellt hat")
            .arg(server.serverPort())));
    QCOMPARE(sync.lblStatus->text(),
             QStringLiteral("Sichere Verbindung fehlgeschlagen: dem Zertifikat des Servers wird "
                            "nicht vertraut"));
    QCOMPARE(sync.txtMessages->toPlainText(),
             QStringLiteral("Sie haben dem Zertifikat von 127.0.0.1:%1 nicht vertraut, daher "
                            "wurde nichts dorthin gesendet.\n\nSHA-256: %2")
                 .arg(server.serverPort())
                 .arg(TestAuthority::fingerprint(self.certificateFile)));
}

void TestTranslation::reportTexts()
{
    QuorvelDocument doc;
    QVERIFY(doc.load());
    const QDate from(2026, 11, 16);
    const QDate to(2026, 11, 21);
    const QString summary = ReportText::periodSummary(doc, from, to, false, false);
    QVERIFY2(summary.startsWith(QStringLiteral(
                 "<qt bgcolor=#ffffff><p><font face=Arial size=5 color=#0000ff>Zusammenfassung für "
                 "Zeitraum</font></p><p><font face=Arial size=4 color=#0000ff>16.11.26 bis "
                 "21.11.26</font></p>")),
             qPrintable(summary));
    QVERIFY(summary.contains(QStringLiteral("<font size=-1>Std.&nbsp;:&nbsp;Min.</font>")));
    QVERIFY(summary.contains(QStringLiteral("<td bgcolor=#c0c0c0>Summen</td>")));
    const QString timeSheet = ReportText::periodTimeSheet(doc, from, to, false, true);
    QVERIFY(timeSheet.contains(QStringLiteral("<font size=-1>Stunden</font>")));
    QVERIFY(timeSheet.contains(QStringLiteral(">Sa.<br>21.&nbsp;Nov.<br>2026</td>")));
    QVERIFY(timeSheet.contains(QStringLiteral("<td colspan=2 bgcolor=#c0c0c0>Summen des "
                                              "Zeitraums</td>")));
    // The reference build says the same.
    QCOMPARE(ReportReference::timeSheetHtml(doc, from, to, false, true), timeSheet);
}

// The German title, "Stundenzettel für Zeitraum, 25.01.26 bis 25.11.26", would give the print
// dialog's file the extension ".26": the file is named as Export as PDF… names it.
void TestTranslation::printToFileName()
{
    if (!QPrinterInfo::availablePrinterNames().isEmpty())
        QSKIP("a printer is installed: the dialog proposes it rather than a file");
    QuorvelDocument doc;
    QVERIFY(doc.load());
    PeriodTimeSheetReport sheet(nullptr, &doc);
    sheet.setPeriod(QDate(2026, 1, 25), QDate(2026, 11, 25));
    ReportViewer viewer(&sheet);
    QCOMPARE(viewer.reportTitle(),
             QStringLiteral("Stundenzettel für Zeitraum, 25.01.26 bis 25.11.26"));
    QString proposed;
    ModalAnswers answers;
    answers.add([&proposed](QWidget *widget) {
        auto *dialog = qobject_cast<QPrintDialog *>(widget);
        QVERIFY(dialog);
        const auto *file = dialog->findChild<QLineEdit *>(QStringLiteral("filename"));
        QVERIFY(file);
        proposed = file->text();
        dialog->reject();
    });
    viewer.printButton()->click();
    QCOMPARE(answers.remaining(), 0);
    QCOMPARE(proposed,
             TestEnvironment::instance()->documentsDir()
                 + QStringLiteral("/Stundenzettel für Zeitraum 2026-01-25 bis 2026-11-25.pdf"));
    QFile file(proposed);
    QVERIFY(file.open(QIODevice::Append));
    file.close();
    QVERIFY(file.remove());
}

void TestTranslation::numbersAndDates()
{
    QCOMPARE(ReportText::formatMinutes(90, true), QStringLiteral("1,5000"));
    QCOMPARE(ReportText::formatMinutes(90, false), QStringLiteral("1:30"));
    QuorvelDocument doc;
    QVERIFY(doc.load());
    const QDate day(2026, 11, 21);
    const QString summary = ReportText::periodSummary(doc, day, day, false, true);
    QVERIFY2(summary.contains(QStringLiteral("<td align=center bgcolor=#c0ffc0>1,5000</td>")),
             qPrintable(summary));
    // The CSV is for programs: German headings, but the decimal point stays.
    QCOMPARE(ReportText::periodSummaryCsv(doc, day, day, false),
             QStringLiteral("Tätigkeit,Kategorie,Minuten,Stunden\r\n"
                            "Beratung für Kunde R. Vance,Bill rate 1,90,1.5000\r\n"));
    QCOMPARE(
        ReportText::periodSummaryText(doc, day, day, false, true).section(QLatin1Char('\n'), 1, 1),
        QStringLiteral("21.11.26 bis 21.11.26"));
}

int main(int argc, char *argv[])
{
    TestEnvironment environment;
    QApplication app(argc, argv);
    MessageBox::setTesting(true);
    // As quorvel-gui and quorvel do, right after the application object.
    s_installed = Translations::install(app);
    TestTranslation tc;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&tc, argc, argv);
}

#include "tst_translation.moc"
