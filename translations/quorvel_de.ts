<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de" sourcelanguage="en">
<context>
    <name>ActivityEdit</name>
    <message>
        <source>Quorvel - Edit Activity</source>
        <translation>Quorvel - Tätigkeit bearbeiten</translation>
    </message>
    <message>
        <source>Quorvel - New Activity</source>
        <translation>Quorvel - Neue Tätigkeit</translation>
    </message>
    <message>
        <source>Quorvel - New Category</source>
        <translation>Quorvel - Neue Kategorie</translation>
    </message>
    <message>
        <source>Activity Error</source>
        <translation>Fehler bei der Tätigkeit</translation>
    </message>
    <message>
        <source>This name is not valid.
Please select another.</source>
        <translation>Dieser Name ist ungültig.
Bitte wählen Sie einen anderen.</translation>
    </message>
    <message>
        <source>Activity must have a category</source>
        <translation>Eine Tätigkeit braucht eine Kategorie</translation>
    </message>
    <message>
        <source>Activity must have a name</source>
        <translation>Eine Tätigkeit braucht einen Namen</translation>
    </message>
    <message>
        <source>Activity name must be unique</source>
        <translation>Der Name der Tätigkeit muss eindeutig sein</translation>
    </message>
</context>
<context>
    <name>ActivityEditBase</name>
    <message>
        <source>Quorvel - Edit Activity</source>
        <translation>Quorvel - Tätigkeit bearbeiten</translation>
    </message>
    <message>
        <source>Activity Name</source>
        <translation>Name der Tätigkeit</translation>
    </message>
    <message>
        <source>Category</source>
        <translation>Kategorie</translation>
    </message>
    <message>
        <source>Add New Category</source>
        <translation>Neue Kategorie anlegen</translation>
    </message>
</context>
<context>
    <name>ActivityList</name>
    <message>
        <source>Activity</source>
        <translation>Tätigkeit</translation>
    </message>
    <message>
        <source>Category</source>
        <translation>Kategorie</translation>
    </message>
    <message>
        <source>Quorvel - New Activity</source>
        <translation>Quorvel - Neue Tätigkeit</translation>
    </message>
    <message>
        <source>Quorvel - Edit Activity</source>
        <translation>Quorvel - Tätigkeit bearbeiten</translation>
    </message>
    <message>
        <source>Are you sure you want to delete
%1?</source>
        <translation>Wollen Sie
%1
wirklich löschen?</translation>
    </message>
    <message>
        <source>There are %1 task(s) using
this activity. Are you sure
you want to delete
%2?</source>
        <translation>%1 Aufgabe(n) verwenden
diese Tätigkeit. Wollen Sie
%2
wirklich löschen?</translation>
    </message>
    <message>
        <source>Delete Activity</source>
        <translation>Tätigkeit löschen</translation>
    </message>
</context>
<context>
    <name>ActivityListBase</name>
    <message>
        <source>Quorvel - Activities</source>
        <translation>Quorvel - Tätigkeiten</translation>
    </message>
    <message>
        <source>New</source>
        <translation>Neu</translation>
    </message>
    <message>
        <source>Edit</source>
        <translation>Bearbeiten</translation>
    </message>
    <message>
        <source>Delete</source>
        <translation>Löschen</translation>
    </message>
</context>
<context>
    <name>CategoryEdit</name>
    <message>
        <source>Quorvel - Edit Category</source>
        <translation>Quorvel - Kategorie bearbeiten</translation>
    </message>
    <message>
        <source>Quorvel - New Category</source>
        <translation>Quorvel - Neue Kategorie</translation>
    </message>
    <message>
        <source>Category Error</source>
        <translation>Fehler bei der Kategorie</translation>
    </message>
    <message>
        <source>This name is not valid.
Please select another.</source>
        <translation>Dieser Name ist ungültig.
Bitte wählen Sie einen anderen.</translation>
    </message>
    <message>
        <source>Category must have a name</source>
        <translation>Eine Kategorie braucht einen Namen</translation>
    </message>
    <message>
        <source>Category name must be unique</source>
        <translation>Der Name der Kategorie muss eindeutig sein</translation>
    </message>
</context>
<context>
    <name>CategoryEditBase</name>
    <message>
        <source>Quorvel - Edit Category</source>
        <translation>Quorvel - Kategorie bearbeiten</translation>
    </message>
    <message>
        <source>Category Name</source>
        <translation>Name der Kategorie</translation>
    </message>
</context>
<context>
    <name>CategoryList</name>
    <message>
        <source>There are %1 task(s) and %2
activities using this category.
Deleting the category will
automatically delete all the
associated activities.

Proceed?</source>
        <translation>%1 Aufgabe(n) und %2
Tätigkeit(en) verwenden diese Kategorie.
Wenn Sie die Kategorie löschen,
werden alle zugehörigen
Tätigkeiten mitgelöscht.

Fortfahren?</translation>
    </message>
    <message>
        <source>There are %1 activities(s) using
this category. Deleting the
category will automatically delete
all the associated activities(s).

Proceed?</source>
        <translation>%1 Tätigkeit(en) verwenden
diese Kategorie. Wenn Sie die
Kategorie löschen, werden alle
zugehörigen Tätigkeiten mitgelöscht.

Fortfahren?</translation>
    </message>
    <message>
        <source>Are you sure you want to delete
%1?</source>
        <translation>Wollen Sie
%1
wirklich löschen?</translation>
    </message>
    <message>
        <source>Delete Category</source>
        <translation>Kategorie löschen</translation>
    </message>
    <message>
        <source>Category</source>
        <translation>Kategorie</translation>
    </message>
</context>
<context>
    <name>CategoryListBase</name>
    <message>
        <source>Quorvel - Categories</source>
        <translation>Quorvel - Kategorien</translation>
    </message>
    <message>
        <source>New</source>
        <translation>Neu</translation>
    </message>
    <message>
        <source>Edit</source>
        <translation>Bearbeiten</translation>
    </message>
    <message>
        <source>Delete</source>
        <translation>Löschen</translation>
    </message>
</context>
<context>
    <name>ChangeChannel</name>
    <message>
        <source>Removed %1: it ran under a minute. %2 brings it back.</source>
        <translation>%1 entfernt: Die Aufgabe lief weniger als eine Minute. %2 holt sie zurück.</translation>
    </message>
    <message>
        <source>Removed %1: they ran under a minute. %2 brings them back.</source>
        <translation>%1 entfernt: Die Aufgaben liefen weniger als eine Minute. %2 holt sie zurück.</translation>
    </message>
    <message>
        <source>, </source>
        <translation>, </translation>
    </message>
    <message>
        <source>a change made outside of it</source>
        <translation>eine Änderung außerhalb davon</translation>
    </message>
    <message>
        <source>Change</source>
        <translation>Änderung</translation>
    </message>
</context>
<context>
    <name>ChooseInitialModeBase</name>
    <message>
        <source>Choose Initial Mode</source>
        <translation>Betriebsmodus wählen</translation>
    </message>
    <message>
        <source>You are running Quorvel for the first time.  Please select an operating mode from the list below, then press OK</source>
        <translation>Sie starten Quorvel zum ersten Mal.  Bitte wählen Sie unten einen Betriebsmodus und drücken Sie dann OK</translation>
    </message>
    <message>
        <source>Operating Mode</source>
        <translation>Betriebsmodus</translation>
    </message>
    <message>
        <source>Personal Mode (sample data)</source>
        <translation>Persönlicher Modus (mit Beispieldaten)</translation>
    </message>
    <message>
        <source>Sets up initial sample activities and categories (which you can later modify or delete), so you can familiarize yourself with Quorvel</source>
        <translation>Legt Beispiel-Tätigkeiten und -Kategorien an (die Sie später ändern oder löschen können), damit Sie Quorvel kennenlernen können</translation>
    </message>
    <message>
        <source>Personal Mode (no data)</source>
        <translation>Persönlicher Modus (ohne Daten)</translation>
    </message>
    <message>
        <source>Creates a blank database.  You need to configure your own activities and categories before you can start logging tasks</source>
        <translation>Legt eine leere Datenbank an.  Bevor Sie Aufgaben erfassen können, müssen Sie eigene Tätigkeiten und Kategorien einrichten</translation>
    </message>
    <message>
        <source>Group (Server) Mode</source>
        <translation>Gruppenmodus (Server)</translation>
    </message>
    <message>
        <source>Activities and category settings are downloaded from Quorvel server</source>
        <translation>Tätigkeiten und Kategorien werden vom Quorvel-Server geladen</translation>
    </message>
</context>
<context>
    <name>Commands</name>
    <message>
        <source>TIME</source>
        <translation>ZEIT</translation>
    </message>
    <message>
        <source>the moment instead of now: 09:30, 2026-11-21T09:30 or yesterday 17:00</source>
        <translation>der Zeitpunkt statt jetzt: 09:30, 2026-11-21T09:30 oder yesterday 17:00</translation>
    </message>
    <message>
        <source>DATE</source>
        <translation>DATUM</translation>
    </message>
    <message>
        <source>the first day: 2026-11-21, today, yesterday or a weekday</source>
        <translation>der erste Tag: 2026-11-21, today, yesterday oder ein Wochentag (monday …)</translation>
    </message>
    <message>
        <source>the last day, included</source>
        <translation>der letzte Tag, eingeschlossen</translation>
    </message>
    <message>
        <source>ACTIVITY</source>
        <translation>TÄTIGKEIT</translation>
    </message>
    <message>
        <source>Start a task of the activity, as its shortcut button does.</source>
        <translation>Eine Aufgabe der Tätigkeit starten, wie es ihre Schnellstart-Taste tut.</translation>
    </message>
    <message>
        <source>CATEGORY</source>
        <translation>KATEGORIE</translation>
    </message>
    <message>
        <source>create the activity in this category when none is called so (personal mode)</source>
        <translation>die Tätigkeit in dieser Kategorie anlegen, wenn keine so heißt (persönlicher Modus)</translation>
    </message>
    <message>
        <source>name the activity to start.</source>
        <translation>nennen Sie die Tätigkeit, die starten soll.</translation>
    </message>
    <message>
        <source>[ACTIVITY]</source>
        <translation>[TÄTIGKEIT]</translation>
    </message>
    <message>
        <source>Stop the running tasks, or those of the activity.</source>
        <translation>Die laufenden Aufgaben anhalten, oder die der Tätigkeit.</translation>
    </message>
    <message>
        <source>Show the running tasks and their running time; exit status 1 when none runs.</source>
        <translation>Die laufenden Aufgaben und ihre Laufzeit zeigen; Exit-Status 1, wenn keine läuft.</translation>
    </message>
    <message>
        <source>FORMAT</source>
        <translation>FORMAT</translation>
    </message>
    <message>
        <source>text or json</source>
        <translation>text oder json</translation>
    </message>
    <message>
        <source>List the tasks as the window&apos;s table shows them.</source>
        <translation>Die Aufgaben so auflisten, wie die Tabelle im Fenster sie zeigt.</translation>
    </message>
    <message>
        <source>List the activities that can be started.</source>
        <translation>Die Tätigkeiten auflisten, die gestartet werden können.</translation>
    </message>
    <message>
        <source>summary|timesheet</source>
        <translation>summary|timesheet</translation>
    </message>
    <message>
        <source>Write the period summary or the time sheet of a period.</source>
        <translation>Die Zusammenfassung oder den Stundenzettel eines Zeitraums ausgeben.</translation>
    </message>
    <message>
        <source>hours with decimals instead of hours and minutes</source>
        <translation>Stunden mit Dezimalstellen statt Stunden und Minuten</translation>
    </message>
    <message>
        <source>list activities without time too</source>
        <translation>auch Tätigkeiten ohne Zeit auflisten</translation>
    </message>
    <message>
        <source>html (as the Report menu shows it), text or csv</source>
        <translation>html (wie im Menü Bericht), text oder csv</translation>
    </message>
    <message>
        <source>say summary or timesheet.</source>
        <translation>geben Sie summary oder timesheet an.</translation>
    </message>
    <message>
        <source>Write every task with its activity, category, start, stop and minutes.</source>
        <translation>Jede Aufgabe mit Tätigkeit, Kategorie, Start, Ende und Minuten ausgeben.</translation>
    </message>
    <message>
        <source>csv or json</source>
        <translation>csv oder json</translation>
    </message>
    <message>
        <source>FILE</source>
        <translation>DATEI</translation>
    </message>
    <message>
        <source>Add the tasks of an export, or of a Timewarrior export (timew export).</source>
        <translation>Die Aufgaben eines Exports oder eines Timewarrior-Exports (timew export) hinzufügen.</translation>
    </message>
    <message>
        <source>csv or json (by default told from the contents)</source>
        <translation>csv oder json (ohne Angabe am Inhalt erkannt)</translation>
    </message>
    <message>
        <source>the category of Timewarrior&apos;s tasks (Timewarrior unless given)</source>
        <translation>die Kategorie der Timewarrior-Aufgaben (ohne Angabe Timewarrior)</translation>
    </message>
    <message>
        <source>a Timewarrior task&apos;s alphabetically first tag is its category</source>
        <translation>das alphabetisch erste Tag einer Timewarrior-Aufgabe ist ihre Kategorie</translation>
    </message>
    <message>
        <source>name the file to import.</source>
        <translation>nennen Sie die Datei, die importiert werden soll.</translation>
    </message>
    <message>
        <source>[COMMAND]</source>
        <translation>[BEFEHL]</translation>
    </message>
    <message>
        <source>Show how to use a command.</source>
        <translation>Zeigen, wie ein Befehl benutzt wird.</translation>
    </message>
    <message>
        <source>Usage: %1</source>
        <translation>Aufruf: %1</translation>
    </message>
    <message>
        <source>Options:</source>
        <translation>Optionen:</translation>
    </message>
    <message>
        <source>show this help</source>
        <translation>diese Hilfe anzeigen</translation>
    </message>
    <message>
        <source>Try “quorvel --help”.</source>
        <translation>Siehe „quorvel --help“.</translation>
    </message>
    <message>
        <source>Try “quorvel help %1”.</source>
        <translation>Siehe „quorvel help %1“.</translation>
    </message>
    <message>
        <source>--format must be %1, not “%2”.</source>
        <translation>--format muss %1 sein, nicht „%2“.</translation>
    </message>
    <message>
        <source> or </source>
        <translation> oder </translation>
    </message>
    <message>
        <source>“%1” is not a command.</source>
        <translation>„%1“ ist kein Befehl.</translation>
    </message>
    <message>
        <source>unexpected argument “%1”.</source>
        <translation>unerwartetes Argument „%1“.</translation>
    </message>
    <message>
        <source>--from is after --to.</source>
        <translation>--from liegt nach --to.</translation>
    </message>
    <message>
        <source>say summary or timesheet, not “%1”.</source>
        <translation>geben Sie summary oder timesheet an, nicht „%1“.</translation>
    </message>
    <message>
        <source>--from and --to are needed.</source>
        <translation>--from und --to sind nötig.</translation>
    </message>
    <message>
        <source>%1 (%2)</source>
        <translation>%1 (%2)</translation>
    </message>
    <message>
        <source>in group mode the group server keeps the activities, so “%1” is not created here: ask the team lead to add it.</source>
        <translation>im Gruppenmodus verwaltet der Gruppenserver die Tätigkeiten, daher wird „%1“ hier nicht angelegt: bitten Sie die Teamleitung, sie hinzuzufügen.</translation>
    </message>
    <message>
        <source>“%1” cannot be the name of an activity.</source>
        <translation>„%1“ kann nicht der Name einer Tätigkeit sein.</translation>
    </message>
    <message>
        <source>“%1” cannot be the name of a category.</source>
        <translation>„%1“ kann nicht der Name einer Kategorie sein.</translation>
    </message>
    <message>
        <source>“%1” could be any of these activities:%2</source>
        <translation>„%1“ könnte jede dieser Tätigkeiten sein:%2</translation>
    </message>
    <message>
        <source>no activity is called “%1”, and there are none yet.</source>
        <translation>keine Tätigkeit heißt „%1“, und es gibt noch keine.</translation>
    </message>
    <message>
        <source>no activity is called “%1”. The activities are:%2</source>
        <translation>keine Tätigkeit heißt „%1“. Die Tätigkeiten sind:%2</translation>
    </message>
    <message>
        <source>Created the activity “%1” in “%2”.</source>
        <translation>Tätigkeit „%1“ in „%2“ angelegt.</translation>
    </message>
    <message>
        <source>no task is running.</source>
        <translation>keine Aufgabe läuft.</translation>
    </message>
    <message>
        <source>“%1” could be any of these running activities:%2</source>
        <translation>„%1“ könnte jede dieser laufenden Tätigkeiten sein:%2</translation>
    </message>
    <message>
        <source>no running activity is called “%1”. Running:%2</source>
        <translation>keine laufende Tätigkeit heißt „%1“. Es laufen:%2</translation>
    </message>
    <message>
        <source>No task is running.</source>
        <translation>Keine Aufgabe läuft.</translation>
    </message>
    <message>
        <source>“%1” is not an activity, and without a category it is not created</source>
        <translation>„%1“ ist keine Tätigkeit, und ohne Kategorie wird sie nicht angelegt</translation>
    </message>
    <message>
        <source>“%1” is not an activity of the group, and none is created in group mode</source>
        <translation>„%1“ ist keine Tätigkeit der Gruppe, und im Gruppenmodus wird keine angelegt</translation>
    </message>
    <message>
        <source>cannot read “%1”: %2</source>
        <translation>„%1“ kann nicht gelesen werden: %2</translation>
    </message>
    <message>
        <source>“%1” is too large to import.</source>
        <translation>„%1“ ist zu groß für den Import.</translation>
    </message>
    <message>
        <source>%1: %2</source>
        <translation>%1: %2</translation>
    </message>
    <message>
        <source>%1, line %2: %3</source>
        <translation>%1, Zeile %2: %3</translation>
    </message>
    <message>
        <source>Importing tasks… %1 of %2</source>
        <translation>Aufgaben werden importiert … %1 von %2</translation>
    </message>
    <message>
        <source>%1, line %2, task %3 of the file: %4</source>
        <translation>%1, Zeile %2, Aufgabe %3 der Datei: %4</translation>
    </message>
    <message>
        <source>it stops before it starts</source>
        <translation>sie endet, bevor sie beginnt</translation>
    </message>
    <message>
        <source>it is shorter than a minute</source>
        <translation>sie ist kürzer als eine Minute</translation>
    </message>
    <message>
        <source>it runs, and another task is running</source>
        <translation>sie läuft, und eine andere Aufgabe läuft schon</translation>
    </message>
    <message>
        <source>it overlaps a recorded task</source>
        <translation>sie überschneidet sich mit einer erfassten Aufgabe</translation>
    </message>
    <message>
        <source>Imported 1 task from “%1”.</source>
        <translation>1 Aufgabe aus „%1“ importiert.</translation>
    </message>
    <message>
        <source>Imported %1 tasks from “%2”.</source>
        <translation>%1 Aufgaben aus „%2“ importiert.</translation>
    </message>
    <message>
        <source>1 task was already recorded.</source>
        <translation>1 Aufgabe war bereits erfasst.</translation>
    </message>
    <message>
        <source>%1 tasks were already recorded.</source>
        <translation>%1 Aufgaben waren bereits erfasst.</translation>
    </message>
    <message>
        <source>Skipped 1 task:</source>
        <translation>1 Aufgabe übersprungen:</translation>
    </message>
    <message>
        <source>Skipped %1 tasks:</source>
        <translation>%1 Aufgaben übersprungen:</translation>
    </message>
    <message>
        <source>Usage: quorvel [FILE.qvreport]
       quorvel COMMAND [OPTIONS]

Without a command, opens the window (and the saved report FILE).

Commands:
</source>
        <translation>Aufruf: quorvel [DATEI.qvreport]
        quorvel BEFEHL [OPTIONEN]

Ohne Befehl öffnet sich das Fenster (und der gespeicherte Bericht DATEI).

Befehle:
</translation>
    </message>
    <message>
        <source>“quorvel help COMMAND” or “quorvel COMMAND --help” tells more.
Exit status: 0 done, 1 refused, 2 bad usage.
</source>
        <translation>„quorvel help BEFEHL“ oder „quorvel BEFEHL --help“ sagt mehr.
Exit-Status: 0 erledigt, 1 abgelehnt, 2 falscher Aufruf.
</translation>
    </message>
    <message>
        <source>the data file %1 cannot be read; it is left as it is. Start Quorvel without a command to deal with it.</source>
        <translation>die Datendatei %1 kann nicht gelesen werden; sie bleibt, wie sie ist. Starten Sie Quorvel ohne Befehl, um sich darum zu kümmern.</translation>
    </message>
    <message>
        <source>a save was cut short and left data that may hold changes which are not in the data file; it has been kept as %1</source>
        <translation>ein abgebrochenes Speichern hat Daten hinterlassen, die Änderungen enthalten können, die nicht in der Datendatei stehen; sie wurden als %1 aufbewahrt</translation>
    </message>
    <message>
        <source>cannot start %1: %2</source>
        <translation>%1 kann nicht gestartet werden: %2</translation>
    </message>
    <message>
        <source>the window&apos;s program quorvel-gui is not installed beside %1</source>
        <translation>das Programm des Fensters, quorvel-gui, ist nicht neben %1 installiert</translation>
    </message>
    <message>
        <source>“%1” is too long for a name: it has %2 characters, and a name has at most %3.</source>
        <translation>„%1“ ist zu lang für einen Namen: Er hat %2 Zeichen, und ein Name hat höchstens %3.</translation>
    </message>
    <message>
        <source>a name in it has more than %1 characters</source>
        <translation>ein Name darin hat mehr als %1 Zeichen</translation>
    </message>
    <message>
        <source>the running Quorvel ended while it was carrying out the command, before it could answer; “quorvel status” and “quorvel list” show what the data file holds now.</source>
        <translation>das laufende Quorvel wurde beendet, während es den Befehl ausführte, bevor es antworten konnte; „quorvel status“ und „quorvel list“ zeigen, was die Datendatei jetzt enthält.</translation>
    </message>
    <message>
        <source>the data file %1 could not be written (%2); it holds what it held before.</source>
        <translation>die Datendatei %1 konnte nicht geschrieben werden (%2); sie enthält, was sie vorher enthielt.</translation>
    </message>
    <message>
        <source>the data file %1 could not be replaced by its new contents (%2); it holds what it held before, and the new contents are kept in %3.</source>
        <translation>die Datendatei %1 konnte nicht durch ihren neuen Inhalt ersetzt werden (%2); sie enthält, was sie vorher enthielt, und der neue Inhalt bleibt in %3 erhalten.</translation>
    </message>
    <message>
        <source>the data file %1 was written, but the disk could not confirm that it keeps it (%2).</source>
        <translation>die Datendatei %1 wurde geschrieben, aber der Datenträger konnte nicht bestätigen, dass er sie behält (%2).</translation>
    </message>
    <message>
        <source>%1; the command is carried out on the data file instead.</source>
        <translation>%1; der Befehl wird stattdessen an der Datendatei ausgeführt.</translation>
    </message>
    <message>
        <source>cannot take the lock %1 (%2), so the data file is left as it is.</source>
        <translation>die Sperre %1 lässt sich nicht setzen (%2), daher bleibt die Datendatei, wie sie ist.</translation>
    </message>
    <message>
        <source>another Quorvel holds %1 and does not answer; the command was not carried out.</source>
        <translation>ein anderes Quorvel hält %1 und antwortet nicht; der Befehl wurde nicht ausgeführt.</translation>
    </message>
    <message>
        <source>personal|group</source>
        <translation>personal|group</translation>
    </message>
    <message>
        <source>Choose how Quorvel is used, as its first start asks: personal, or group with a server.</source>
        <translation>Wählen, wie Quorvel genutzt wird, wie es beim ersten Start fragt: persönlich (personal) oder in der Gruppe mit einem Server (group).</translation>
    </message>
    <message>
        <source>personal mode with the sample activities and categories</source>
        <translation>persönlicher Modus mit den Beispiel-Tätigkeiten und -Kategorien</translation>
    </message>
    <message>
        <source>ADDRESS</source>
        <translation>ADRESSE</translation>
    </message>
    <message>
        <source>the group server, host:port (group mode)</source>
        <translation>der Gruppenserver, Rechner:Port (Gruppenmodus)</translation>
    </message>
    <message>
        <source>ID</source>
        <translation>ID</translation>
    </message>
    <message>
        <source>your user ID on the server (group mode); the password is asked for</source>
        <translation>Ihre Benutzer-ID auf dem Server (Gruppenmodus); nach dem Passwort wird gefragt</translation>
    </message>
    <message>
        <source>empty the local data without asking</source>
        <translation>die lokalen Daten ohne Rückfrage leeren</translation>
    </message>
    <message>
        <source>set Quorvel up again although it is set up</source>
        <translation>Quorvel neu einrichten, obwohl es eingerichtet ist</translation>
    </message>
    <message>
        <source>say personal or group.</source>
        <translation>sagen Sie personal oder group.</translation>
    </message>
    <message>
        <source>--server and --user are for group mode.</source>
        <translation>--server und --user gehören zum Gruppenmodus.</translation>
    </message>
    <message>
        <source>--sample is for personal mode.</source>
        <translation>--sample gehört zum persönlichen Modus.</translation>
    </message>
    <message>
        <source>group mode needs --server and --user.</source>
        <translation>der Gruppenmodus braucht --server und --user.</translation>
    </message>
    <message>
        <source>say personal or group, not “%1”.</source>
        <translation>sagen Sie personal oder group, nicht „%1“.</translation>
    </message>
    <message>
        <source>Quorvel is not set up yet: run “quorvel setup personal” (or “quorvel setup group --server ADDRESS --user ID”), or start it once without a command and choose how you use it.</source>
        <translation>Quorvel ist noch nicht eingerichtet: Führen Sie „quorvel setup personal“ aus (oder „quorvel setup group --server ADRESSE --user ID“), oder starten Sie es einmal ohne Befehl und wählen Sie, wie Sie es nutzen.</translation>
    </message>
    <message>
        <source>Password of %1 on %2: </source>
        <translation>Passwort von %1 auf %2: </translation>
    </message>
    <message>
        <source>Setting up empties the local data: %1 tasks, and the activities and categories (a copy of the data file is kept). Go on? [y/N] </source>
        <translation>Das Einrichten leert die lokalen Daten: %1 Aufgaben sowie die Tätigkeiten und Kategorien (eine Kopie der Datendatei bleibt erhalten). Fortfahren? [j/N] </translation>
    </message>
    <message>
        <source>y</source>
        <translation>j</translation>
    </message>
    <message>
        <source>yes</source>
        <translation>ja</translation>
    </message>
    <message>
        <source>Quorvel&apos;s window is open: choose the mode there (Settings → Operating Mode), or close it first.</source>
        <translation>Das Fenster von Quorvel ist offen: Wählen Sie den Modus dort (Einstellungen → Betriebsmodus), oder schließen Sie es zuerst.</translation>
    </message>
    <message>
        <source>Quorvel is already set up for group mode with the server %1; add --force to set it up again.</source>
        <translation>Quorvel ist bereits für den Gruppenmodus mit dem Server %1 eingerichtet; mit --force wird es neu eingerichtet.</translation>
    </message>
    <message>
        <source>Quorvel is already set up for personal mode; add --force to set it up again.</source>
        <translation>Quorvel ist bereits für den persönlichen Modus eingerichtet; mit --force wird es neu eingerichtet.</translation>
    </message>
    <message>
        <source>setting up empties the local data (%1 tasks, and the activities and categories); nothing was changed. Add --yes to go on.</source>
        <translation>das Einrichten leert die lokalen Daten (%1 Aufgaben sowie die Tätigkeiten und Kategorien); nichts wurde geändert. Mit --yes geht es weiter.</translation>
    </message>
    <message>
        <source>no password was given; nothing was changed.</source>
        <translation>es wurde kein Passwort angegeben; nichts wurde geändert.</translation>
    </message>
    <message>
        <source>the window&apos;s program quorvel-gui, which keeps the password, is not installed beside %1</source>
        <translation>das Fensterprogramm quorvel-gui, das das Passwort aufbewahrt, ist nicht neben %1 installiert</translation>
    </message>
    <message>
        <source>%1 could not keep the password (%2)</source>
        <translation>%1 konnte das Passwort nicht aufbewahren (%2)</translation>
    </message>
    <message>
        <source>exit status %1</source>
        <translation>Exit-Status %1</translation>
    </message>
    <message>
        <source>%1; nothing was changed.</source>
        <translation>%1; nichts wurde geändert.</translation>
    </message>
    <message>
        <source>the data file %1 could not be copied aside, so it is left as it is.</source>
        <translation>die Datendatei %1 konnte nicht beiseitekopiert werden, daher bleibt sie, wie sie ist.</translation>
    </message>
    <message>
        <source>The data file has been kept as %1
</source>
        <translation>Die Datendatei wurde aufbewahrt als %1
</translation>
    </message>
    <message>
        <source>Quorvel is set up for personal mode, with the sample activities.
</source>
        <translation>Quorvel ist für den persönlichen Modus eingerichtet, mit den Beispiel-Tätigkeiten.
</translation>
    </message>
    <message>
        <source>Quorvel is set up for personal mode.
</source>
        <translation>Quorvel ist für den persönlichen Modus eingerichtet.
</translation>
    </message>
    <message>
        <source>Quorvel is set up for group mode with the server %1 as %2. Synchronize with Server in the window brings the team&apos;s activities.
</source>
        <translation>Quorvel ist für den Gruppenmodus mit dem Server %1 als %2 eingerichtet. „Mit Server synchronisieren“ im Fenster holt die Tätigkeiten des Teams.
</translation>
    </message>
    <message>
        <source>take an --at more than a day ahead</source>
        <translation>ein --at nehmen, das mehr als einen Tag voraus liegt</translation>
    </message>
    <message>
        <source>--at: %1 is more than a day ahead; add --force if you mean it.</source>
        <translation>--at: %1 liegt mehr als einen Tag voraus; fügen Sie --force hinzu, wenn Sie das meinen.</translation>
    </message>
    <message>
        <source>It can stop at %1, where the next task starts: %2</source>
        <translation>Sie kann um %1 anhalten, wo die nächste Aufgabe beginnt: %2</translation>
    </message>
    <message>
        <source>Import of 1 Task</source>
        <translation>Import von 1 Aufgabe</translation>
    </message>
    <message>
        <source>Import of %1 Tasks</source>
        <translation>Import von %1 Aufgaben</translation>
    </message>
    <message>
        <source>A command the running window carries out can be taken back there with
Edit → Undo; one carried out without a window has no undo.
</source>
        <translation>Einen Befehl, den das laufende Fenster ausführt, nimmt dort
Bearbeiten → Rückgängig zurück; ohne Fenster gibt es kein Rückgängig.
</translation>
    </message>
    <message>
        <source>“%1” cannot start at %2: it would overlap a recorded task.</source>
        <translation>„%1“ kann nicht um %2 beginnen: die Aufgabe würde sich mit einer erfassten überschneiden.</translation>
    </message>
    <message>
        <source>“%1” cannot stop at %2, before it started (%3).</source>
        <translation>„%1“ kann nicht um %2 enden, vor ihrem Beginn (%3).</translation>
    </message>
    <message>
        <source>“%1” cannot stop at %2: it would overlap the task after it.</source>
        <translation>„%1“ kann nicht um %2 enden: die Aufgabe würde sich mit der folgenden überschneiden.</translation>
    </message>
    <message>
        <source>“%1” cannot start at %2: the running “%3” would have to stop then, before it started (%4).</source>
        <translation>„%1“ kann nicht um %2 beginnen: die laufende Aufgabe „%3“ müsste dann enden, vor ihrem Beginn (%4).</translation>
    </message>
    <message>
        <source>“%1” cannot start at %2: the running “%3” would have to stop then, and would overlap another task.</source>
        <translation>„%1“ kann nicht um %2 beginnen: die laufende Aufgabe „%3“ müsste dann enden und würde sich mit einer anderen überschneiden.</translation>
    </message>
    <message>
        <source>a time sheet covers at most %1 days; choose a shorter period.</source>
        <translation>ein Stundenzettel umfasst höchstens %1 Tage; wählen Sie einen kürzeren Zeitraum.</translation>
    </message>
    <message>
        <source>the time sheet of that period would have %1 rows, more than the %2 a report writes; choose a shorter period, or leave out --zero.</source>
        <translation>der Stundenzettel dieses Zeitraums hätte %1 Zeilen, mehr als die %2, die ein Bericht schreibt; wählen Sie einen kürzeren Zeitraum oder lassen Sie --zero weg.</translation>
    </message>
    <message>
        <source>the data file %1 cannot be read past the part written above, which is therefore incomplete; the file is left as it is. Start Quorvel without a command to deal with it.</source>
        <translation>die Datendatei %1 kann über den oben ausgegebenen Teil hinaus nicht gelesen werden, dieser ist also unvollständig; die Datei bleibt, wie sie ist. Starten Sie Quorvel ohne Befehl, um sich darum zu kümmern.</translation>
    </message>
</context>
<context>
    <name>DesktopSettingsBase</name>
    <message>
        <source>Quorvel - Idle Time and Reminders</source>
        <translation>Quorvel - Abwesenheit und Erinnerungen</translation>
    </message>
    <message>
        <source>Idle Time</source>
        <translation>Abwesenheit</translation>
    </message>
    <message>
        <source>Ask about idle time after:</source>
        <translation>Bei Abwesenheit fragen nach:</translation>
    </message>
    <message>
        <source>Never</source>
        <translation>Nie</translation>
    </message>
    <message>
        <source> minutes</source>
        <translation> Minuten</translation>
    </message>
    <message>
        <source>Reminders</source>
        <translation>Erinnerungen</translation>
    </message>
    <message>
        <source>Remind me when a task has run for:</source>
        <translation>Erinnern, wenn eine Aufgabe so lange läuft:</translation>
    </message>
    <message>
        <source> hours</source>
        <translation> Stunden</translation>
    </message>
    <message>
        <source>Say so when closing the window leaves Quorvel in the panel</source>
        <translation>Hinweis zeigen, wenn Quorvel nach dem Schließen des Fensters im Panel bleibt</translation>
    </message>
</context>
<context>
    <name>FileSelectDialog</name>
    <message>
        <source>Quorvel - View Saved Report</source>
        <translation>Quorvel - Gespeicherten Bericht ansehen</translation>
    </message>
</context>
<context>
    <name>FileSelector</name>
    <message>
        <source>Name</source>
        <translation>Name</translation>
    </message>
    <message>
        <source>Saved</source>
        <translation>Gespeichert</translation>
    </message>
    <message>
        <source>No reports have been saved yet.</source>
        <translation>Es wurden noch keine Berichte gespeichert.</translation>
    </message>
</context>
<context>
    <name>FilterBar</name>
    <message>
        <source>Find:</source>
        <translation>Suchen:</translation>
    </message>
    <message>
        <source>Activity or category</source>
        <translation>Tätigkeit oder Kategorie</translation>
    </message>
    <message>
        <source>All</source>
        <translation>Alle</translation>
    </message>
    <message>
        <source>Today</source>
        <translation>Heute</translation>
    </message>
    <message>
        <source>This Week</source>
        <translation>Diese Woche</translation>
    </message>
    <message>
        <source>This Month</source>
        <translation>Dieser Monat</translation>
    </message>
    <message>
        <source>Chosen Days</source>
        <translation>Gewählte Tage</translation>
    </message>
    <message>
        <source>First day</source>
        <translation>Erster Tag</translation>
    </message>
    <message>
        <source>Last day</source>
        <translation>Letzter Tag</translation>
    </message>
    <message>
        <source>Close the find bar and show every task</source>
        <translation>Suchleiste schließen und alle Aufgaben zeigen</translation>
    </message>
</context>
<context>
    <name>ForgottenTimer</name>
    <message>
        <source>Is %1 still running?</source>
        <translation>Läuft %1 noch?</translation>
    </message>
    <message>
        <source>It has run for %1 (hours and minutes).</source>
        <translation>Laufzeit bisher: %1 (Stunden und Minuten).</translation>
    </message>
    <message>
        <source>Stop</source>
        <translation>Anhalten</translation>
    </message>
    <message>
        <source>Keep</source>
        <translation>Weiterlaufen lassen</translation>
    </message>
    <message>
        <source>Cannot Stop Task</source>
        <translation>Aufgabe kann nicht angehalten werden</translation>
    </message>
</context>
<context>
    <name>GraphicalSession</name>
    <message>
        <source>Quorvel needs a graphical session; use `quorvel help` for the command line</source>
        <translation>Quorvel braucht eine grafische Sitzung; `quorvel help` zeigt die Befehlszeile</translation>
    </message>
</context>
<context>
    <name>HelpMenu</name>
    <message>
        <source>Keyboard Shortcuts</source>
        <translation>Tastenkürzel</translation>
    </message>
    <message>
        <source>Quorvel Help</source>
        <translation>Quorvel-Hilfe</translation>
    </message>
    <message>
        <source>About Quorvel</source>
        <translation>Über Quorvel</translation>
    </message>
    <message>
        <source>&lt;h3&gt;Quorvel %1&lt;/h3&gt;&lt;p&gt;Time tracking for the tasks of your day, alone or with a group server.&lt;/p&gt;&lt;p&gt;Licence: GNU General Public License, version 3 or later (GPL-3.0-or-later).&lt;/p&gt;&lt;p&gt;&lt;a href=&quot;%2&quot;&gt;%2&lt;/a&gt;&lt;/p&gt;</source>
        <translation>&lt;h3&gt;Quorvel %1&lt;/h3&gt;&lt;p&gt;Zeiterfassung für die Aufgaben Ihres Tages, allein oder mit einem Gruppenserver.&lt;/p&gt;&lt;p&gt;Lizenz: GNU General Public License, Version 3 oder später (GPL-3.0-or-later).&lt;/p&gt;&lt;p&gt;&lt;a href=&quot;%2&quot;&gt;%2&lt;/a&gt;&lt;/p&gt;</translation>
    </message>
</context>
<context>
    <name>HelpWindow</name>
    <message>
        <source>Quorvel Help</source>
        <translation>Quorvel-Hilfe</translation>
    </message>
</context>
<context>
    <name>IdleSource</name>
    <message>
        <source>This desktop session does not tell programs how long you have been away from the computer: it offers none of the Wayland idle notification, GNOME&apos;s idle monitor, the freedesktop screen saver and the X11 screen saver extension.</source>
        <translation>Diese Desktop-Sitzung teilt Programmen nicht mit, wie lange Sie nicht am Computer waren: Sie bietet weder die Wayland-Leerlaufbenachrichtigung noch den Leerlaufmonitor von GNOME, den freedesktop-Bildschirmschoner oder die X11-Bildschirmschoner-Erweiterung.</translation>
    </message>
</context>
<context>
    <name>IdleWatcher</name>
    <message>
        <source>You have been away since %1, for %2 (hours and minutes).
Running then: %3.

What should be done with the time away?</source>
        <translation>Sie waren ab %1 abwesend, %2 lang (Stunden und Minuten).
Da lief: %3.

Was soll mit der Zeit der Abwesenheit geschehen?</translation>
    </message>
    <message>
        <source>Keep the Time</source>
        <translation>Zeit behalten</translation>
    </message>
    <message>
        <source>Stop at %1</source>
        <translation>Um %1 anhalten</translation>
    </message>
    <message>
        <source>Stop at %1 and Start Again</source>
        <translation>Um %1 anhalten und neu starten</translation>
    </message>
    <message>
        <source>Idle Time</source>
        <translation>Abwesenheit</translation>
    </message>
    <message>
        <source>Stopping at %1 would make a task overlap another one, so nothing was changed.
You can Edit the task to set its stop time.</source>
        <translation>Ein Anhalten um %1 würde eine Aufgabe mit einer anderen überschneiden, daher wurde nichts geändert.
Sie können die Endzeit der Aufgabe unter Bearbeiten setzen.</translation>
    </message>
</context>
<context>
    <name>ImportReader</name>
    <message>
        <source>“%1” is not a start time</source>
        <translation>„%1“ ist keine Startzeit</translation>
    </message>
    <message>
        <source>“%1” is not a stop time</source>
        <translation>„%1“ ist keine Endzeit</translation>
    </message>
    <message>
        <source>no activity</source>
        <translation>keine Tätigkeit</translation>
    </message>
    <message>
        <source>%1 fields where the first line has %2</source>
        <translation>%1 Felder, wo die erste Zeile %2 hat</translation>
    </message>
    <message>
        <source>no tags</source>
        <translation>keine Tags</translation>
    </message>
    <message>
        <source>The first line must name the columns Activity, Category, Start, Stop and Minutes.</source>
        <translation>Die erste Zeile muss die Spalten Activity, Category, Start, Stop und Minutes nennen.</translation>
    </message>
    <message>
        <source>The file is neither CSV nor a JSON array of tasks.</source>
        <translation>Die Datei ist weder CSV noch ein JSON-Array von Aufgaben.</translation>
    </message>
    <message>
        <source>not a task</source>
        <translation>keine Aufgabe</translation>
    </message>
    <message>
        <source>The JSON text ends too early: the file is cut short.</source>
        <translation>Der JSON-Text endet zu früh: Die Datei ist abgeschnitten.</translation>
    </message>
</context>
<context>
    <name>MainWidget</name>
    <message>
        <source>Duration</source>
        <translation>Dauer</translation>
    </message>
</context>
<context>
    <name>MainWidgetBase</name>
    <message>
        <source>Quorvel</source>
        <translation>Quorvel</translation>
    </message>
</context>
<context>
    <name>MutterIdleSource</name>
    <message>
        <source>GNOME&apos;s idle monitor</source>
        <translation>der Leerlaufmonitor von GNOME</translation>
    </message>
</context>
<context>
    <name>OperatingMode</name>
    <message>
        <source>Operating Mode Error</source>
        <translation>Fehler beim Betriebsmodus</translation>
    </message>
    <message>
        <source>You must enter a server,
username and password.</source>
        <translation>Bitte geben Sie Server,
Benutzerkennung und Passwort ein.</translation>
    </message>
    <message>
        <source>This username is not valid.
Please select another.</source>
        <translation>Diese Benutzerkennung ist ungültig.
Bitte wählen Sie eine andere.</translation>
    </message>
    <message>
        <source>This password is not valid.
Please select another.</source>
        <translation>Dieses Passwort ist ungültig.
Bitte wählen Sie ein anderes.</translation>
    </message>
</context>
<context>
    <name>OperatingModeBase</name>
    <message>
        <source>Quorvel - Operating Mode</source>
        <translation>Quorvel - Betriebsmodus</translation>
    </message>
    <message>
        <source>Operating Mode</source>
        <translation>Betriebsmodus</translation>
    </message>
    <message>
        <source>Personal Mode</source>
        <translation>Persönlicher Modus</translation>
    </message>
    <message>
        <source>Group (Server) Mode</source>
        <translation>Gruppenmodus (Server)</translation>
    </message>
    <message>
        <source>Internet connection required</source>
        <translation>Internetverbindung erforderlich</translation>
    </message>
    <message>
        <source>Server</source>
        <translation>Server</translation>
    </message>
    <message>
        <source>User ID</source>
        <translation>Benutzerkennung</translation>
    </message>
    <message>
        <source>Password</source>
        <translation>Passwort</translation>
    </message>
    <message>
        <source>host:port, or https://host:port
for an encrypted connection</source>
        <translation>Rechner:Port, oder https://Rechner:Port
für eine verschlüsselte Verbindung</translation>
    </message>
</context>
<context>
    <name>PeriodReport</name>
    <message>
        <source>%1 %2 to %3</source>
        <translation>%1 %2 bis %3</translation>
    </message>
</context>
<context>
    <name>PeriodSummaryReport</name>
    <message>
        <source>Summary %1</source>
        <translation>Zusammenfassung %1</translation>
    </message>
</context>
<context>
    <name>PeriodTimeSheetReport</name>
    <message>
        <source>Timesheet %1</source>
        <translation>Stundenzettel %1</translation>
    </message>
</context>
<context>
    <name>PurgeTasks</name>
    <message>
        <source>Removes no finished tasks</source>
        <translation>Entfernt keine abgeschlossenen Aufgaben</translation>
    </message>
    <message>
        <source>Removes 1 finished task; Edit → Undo brings it back</source>
        <translation>Entfernt 1 abgeschlossene Aufgabe; Bearbeiten → Rückgängig holt sie zurück</translation>
    </message>
    <message>
        <source>Removes %1 finished tasks; Edit → Undo brings them back</source>
        <translation>Entfernt %1 abgeschlossene Aufgaben; Bearbeiten → Rückgängig holt sie zurück</translation>
    </message>
</context>
<context>
    <name>PurgeTasksBase</name>
    <message>
        <source>Quorvel - Purge Tasks</source>
        <translation>Quorvel - Aufgaben bereinigen</translation>
    </message>
    <message>
        <source>Purge All Tasks Completed Before</source>
        <translation>Alle Aufgaben löschen, die beendet wurden vor</translation>
    </message>
    <message>
        <source>Now</source>
        <translation>Jetzt</translation>
    </message>
    <message>
        <source>PM</source>
        <translation>PM</translation>
    </message>
</context>
<context>
    <name>QuickStart</name>
    <message>
        <source>Start</source>
        <translation>Starten</translation>
    </message>
</context>
<context>
    <name>QuickStartBase</name>
    <message>
        <source>Start Activity</source>
        <translation>Tätigkeit starten</translation>
    </message>
    <message>
        <source>Type a part of the activity&apos;s name:</source>
        <translation>Geben Sie einen Teil des Namens der Tätigkeit ein:</translation>
    </message>
</context>
<context>
    <name>QuorvelDocument</name>
    <message>
        <source>Consulting for client R. Vance</source>
        <translation>Beratung für Kunde R. Vance</translation>
    </message>
    <message>
        <source>Project Alpha Development</source>
        <translation>Projekt Alpha Entwicklung</translation>
    </message>
    <message>
        <source>Project Alpha Documentation</source>
        <translation>Projekt Alpha Dokumentation</translation>
    </message>
    <message>
        <source>Home Project Beta</source>
        <translation>Heimprojekt Beta</translation>
    </message>
    <message>
        <source>Home Project Delta</source>
        <translation>Heimprojekt Delta</translation>
    </message>
</context>
<context>
    <name>QuorvelMainWindow</name>
    <message>
        <source>Start…</source>
        <translation>Starten …</translation>
    </message>
    <message>
        <source>%1 is running already.</source>
        <translation>%1 läuft bereits.</translation>
    </message>
    <message>
        <source>For additional help, tap the (?)
icon at the top of the screen.

This is the end of balloon-tip help.</source>
        <translation>Weitere Hilfe erhalten Sie über das
(?)-Symbol oben am Bildschirm.

Dies ist das Ende der Hinweis-Hilfe.</translation>
    </message>
    <message>
        <source>Tasks are listed here</source>
        <translation>Hier stehen die Aufgaben</translation>
    </message>
    <message>
        <source>Use these &quot;shortcut&quot; buttons to start
and stop the three most recent
activities in real time</source>
        <translation>Mit diesen Schnellstart-Tasten starten
und stoppen Sie die drei zuletzt
benutzten Tätigkeiten live</translation>
    </message>
    <message>
        <source>Tap the New Task icon to
get started</source>
        <translation>Tippen Sie auf das Symbol
„Neue Aufgabe“, um zu beginnen</translation>
    </message>
    <message>
        <source>Select &quot;Activities&quot; from the
&quot;Settings&quot; menu to create some
new activities</source>
        <translation>Wählen Sie „Tätigkeiten“ im
Menü „Einstellungen“, um neue
Tätigkeiten anzulegen</translation>
    </message>
    <message>
        <source>Select &quot;Categories&quot; from the
&quot;Settings&quot; menu to create some
new activity categories</source>
        <translation>Wählen Sie „Kategorien“ im
Menü „Einstellungen“, um neue
Kategorien anzulegen</translation>
    </message>
    <message>
        <source>Select &quot;Synchronize with Server&quot;
from the &quot;Task&quot; menu to get started
</source>
        <translation>Wählen Sie „Mit Server synchronisieren“
im Menü „Aufgabe“, um zu beginnen
</translation>
    </message>
    <message>
        <source>Recovered Data</source>
        <translation>Gerettete Daten</translation>
    </message>
    <message>
        <source>A save was cut short and left data that may hold changes which are not in the data file.
It has been kept as
%1</source>
        <translation>Ein abgebrochenes Speichern hat Daten hinterlassen, die Änderungen enthalten können, die nicht in der Datendatei stehen.
Sie wurden aufbewahrt als
%1</translation>
    </message>
    <message>
        <source>Data File Not Kept</source>
        <translation>Datendatei nicht aufbewahrt</translation>
    </message>
    <message>
        <source>The data file could not be read
and could not be copied to
%1</source>
        <translation>Die Datendatei konnte nicht gelesen
und nicht kopiert werden nach
%1</translation>
    </message>
    <message>
        <source>Data File Unreadable</source>
        <translation>Datendatei nicht lesbar</translation>
    </message>
    <message>
        <source>The data file could not be read.
It has been kept as
%1</source>
        <translation>Die Datendatei konnte nicht gelesen werden.
Sie wurde aufbewahrt als
%1</translation>
    </message>
    <message>
        <source>Data File Kept</source>
        <translation>Datendatei aufbewahrt</translation>
    </message>
    <message>
        <source>No operating mode has been chosen yet.
Your data file has been kept as
%1</source>
        <translation>Es wurde noch kein Betriebsmodus gewählt.
Ihre Datendatei wurde aufbewahrt als
%1</translation>
    </message>
    <message>
        <source>Task</source>
        <translation>Aufgabe</translation>
    </message>
    <message>
        <source>Report</source>
        <translation>Bericht</translation>
    </message>
    <message>
        <source>Settings</source>
        <translation>Einstellungen</translation>
    </message>
    <message>
        <source>Tasks</source>
        <translation>Aufgaben</translation>
    </message>
    <message>
        <source>New Task</source>
        <translation>Neue Aufgabe</translation>
    </message>
    <message>
        <source>Edit Task</source>
        <translation>Aufgabe bearbeiten</translation>
    </message>
    <message>
        <source>Delete Task</source>
        <translation>Aufgabe löschen</translation>
    </message>
    <message>
        <source>Purge Tasks</source>
        <translation>Aufgaben bereinigen</translation>
    </message>
    <message>
        <source>Synchronize with Server</source>
        <translation>Mit Server synchronisieren</translation>
    </message>
    <message>
        <source>Activities</source>
        <translation>Tätigkeiten</translation>
    </message>
    <message>
        <source>Categories</source>
        <translation>Kategorien</translation>
    </message>
    <message>
        <source>Allow Concurrent Tasks</source>
        <translation>Gleichzeitige Aufgaben erlauben</translation>
    </message>
    <message>
        <source>Twelve-Hour Clock</source>
        <translation>12-Stunden-Uhr</translation>
    </message>
    <message>
        <source>Operating Mode</source>
        <translation>Betriebsmodus</translation>
    </message>
    <message>
        <source>Idle Time and Reminders</source>
        <translation>Abwesenheit und Erinnerungen</translation>
    </message>
    <message>
        <source>Quorvel Keeps Running</source>
        <translation>Quorvel läuft weiter</translation>
    </message>
    <message>
        <source>A task is running, so Quorvel stays in the panel and goes on timing it.
Open or quit Quorvel from its icon there.</source>
        <translation>Eine Aufgabe läuft, daher bleibt Quorvel im Panel und misst weiter die Zeit.
Über sein Symbol dort öffnen oder beenden Sie Quorvel.</translation>
    </message>
    <message>
        <source>Don&apos;t show again</source>
        <translation>Nicht mehr anzeigen</translation>
    </message>
    <message>
        <source>Cannot Save</source>
        <translation>Speichern nicht möglich</translation>
    </message>
    <message>
        <source>Quorvel could not write its data file:
%1

Your changes are kept in the window; free some space and they are written at the next save.</source>
        <translation>Quorvel konnte seine Datendatei nicht schreiben:
%1

Ihre Änderungen bleiben im Fenster erhalten; schaffen Sie Platz, dann werden sie beim nächsten Speichern geschrieben.</translation>
    </message>
    <message>
        <source>Change to Group Mode</source>
        <translation>In den Gruppenmodus wechseln</translation>
    </message>
    <message>
        <source>Changing to Group Mode will
result in the deletion of
all local Tasks, Activities
and Categories.

Proceed?</source>
        <translation>Der Wechsel in den Gruppenmodus
löscht alle lokalen Aufgaben,
Tätigkeiten und Kategorien.

Fortfahren?</translation>
    </message>
    <message>
        <source>Quorvel - New Task</source>
        <translation>Quorvel - Neue Aufgabe</translation>
    </message>
    <message>
        <source>Quorvel - Edit Task</source>
        <translation>Quorvel - Aufgabe bearbeiten</translation>
    </message>
    <message>
        <source>Are you sure you want to delete
%1?</source>
        <translation>Wollen Sie
%1
wirklich löschen?</translation>
    </message>
    <message>
        <source>Disable Concurrent Tasks</source>
        <translation>Gleichzeitige Aufgaben ausschalten</translation>
    </message>
    <message>
        <source>This will stop any active tasks.
Proceed?</source>
        <translation>Dadurch werden alle laufenden
Aufgaben angehalten. Fortfahren?</translation>
    </message>
    <message>
        <source>Cannot Disable Concurrent Tasks</source>
        <translation>Gleichzeitige Aufgaben nicht ausschaltbar</translation>
    </message>
    <message>
        <source>An active task cannot be stopped
now because its start time is in
the future. To set a specific
future stop time, you can Edit
the task.</source>
        <translation>Eine laufende Aufgabe kann jetzt
nicht angehalten werden, da ihre
Startzeit in der Zukunft liegt. Eine
Endzeit in der Zukunft setzen Sie
unter Bearbeiten.</translation>
    </message>
    <message>
        <source>Active Task Deleted</source>
        <translation>Laufende Aufgabe gelöscht</translation>
    </message>
    <message>
        <source>One or more active tasks have
been deleted because their
duration was less than
a minute.</source>
        <translation>Eine oder mehrere laufende
Aufgaben wurden gelöscht, da
sie kürzer als eine Minute
waren.</translation>
    </message>
    <message>
        <source>Quorvel is waiting for an answer in its window; answer it there and try again.</source>
        <translation>Quorvel wartet in seinem Fenster auf eine Antwort; antworten Sie dort und versuchen Sie es erneut.</translation>
    </message>
    <message>
        <source>View Saved Report</source>
        <translation>Gespeicherten Bericht ansehen</translation>
    </message>
    <message>
        <source>Synchronization Incomplete</source>
        <translation>Synchronisierung unvollständig</translation>
    </message>
    <message>
        <source>Synchronization was not
successful. Data has reverted
to pre-synchronization state.</source>
        <translation>Die Synchronisierung ist
fehlgeschlagen. Die Daten sind
wieder wie vor der Synchronisierung.</translation>
    </message>
    <message>
        <source>another Quorvel command holds the data file</source>
        <translation>ein anderer Quorvel-Befehl hält die Datendatei</translation>
    </message>
    <message>
        <source>Quorvel could not write its data file:
%1

The reason: %2.

Your changes are kept in the window and written at the next save that succeeds.</source>
        <translation>Quorvel konnte seine Datendatei nicht schreiben:
%1

Der Grund: %2.

Ihre Änderungen bleiben im Fenster erhalten und werden beim nächsten gelungenen Speichern geschrieben.</translation>
    </message>
    <message>
        <source>Quorvel is ending; the command was not carried out.</source>
        <translation>Quorvel wird beendet; der Befehl wurde nicht ausgeführt.</translation>
    </message>
    <message>
        <source>the data file %1 could not be written (%2); the command was not carried out.</source>
        <translation>die Datendatei %1 konnte nicht geschrieben werden (%2); der Befehl wurde nicht ausgeführt.</translation>
    </message>
    <message>
        <source>Edit</source>
        <translation>Bearbeiten</translation>
    </message>
    <message>
        <source>Undo</source>
        <translation>Rückgängig</translation>
    </message>
    <message>
        <source>Redo</source>
        <translation>Wiederholen</translation>
    </message>
    <message>
        <source>reading the data file again</source>
        <translation>erneutes Lesen der Datendatei</translation>
    </message>
    <message>
        <source>the change of operating mode</source>
        <translation>den Wechsel des Betriebsmodus</translation>
    </message>
    <message>
        <source>Purge of 1 Task</source>
        <translation>Bereinigung von 1 Aufgabe</translation>
    </message>
    <message>
        <source>Purge of %1 Tasks</source>
        <translation>Bereinigung von %1 Aufgaben</translation>
    </message>
    <message>
        <source>New Task %1</source>
        <translation>Neue Aufgabe %1</translation>
    </message>
    <message>
        <source>Edit Task %1</source>
        <translation>Aufgabe %1 bearbeiten</translation>
    </message>
    <message>
        <source>Delete Task %1</source>
        <translation>Aufgabe %1 löschen</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Undo %1</source>
        <translation>Rückgängig: %1</translation>
    </message>
    <message>
        <source>Undo (history cleared by %1)</source>
        <translation>Rückgängig (Verlauf gelöscht durch %1)</translation>
    </message>
    <message>
        <source>Redo %1</source>
        <translation>Wiederholen: %1</translation>
    </message>
    <message>
        <source>the synchronization</source>
        <translation>die Synchronisierung</translation>
    </message>
    <message>
        <source>View</source>
        <translation>Ansicht</translation>
    </message>
    <message>
        <source>Help</source>
        <translation>Hilfe</translation>
    </message>
    <message>
        <source>Shortcut Button %1</source>
        <translation>Schnellstart-Taste %1</translation>
    </message>
    <message>
        <source>Quit Quorvel</source>
        <translation>Quorvel beenden</translation>
    </message>
    <message>
        <source>Open the Menu %1</source>
        <translation>Menü %1 öffnen</translation>
    </message>
    <message>
        <source>Open the First Menu</source>
        <translation>Erstes Menü öffnen</translation>
    </message>
</context>
<context>
    <name>Report</name>
    <message>
        <source>%1 — %2</source>
        <extracomment>A window&apos;s caption, then the name of the report the window shows.</extracomment>
        <translation>%1 — %2</translation>
    </message>
</context>
<context>
    <name>ReportBrowser</name>
    <message>
        <source>Previous Page</source>
        <translation>Vorige Seite</translation>
    </message>
    <message>
        <source>Next Page</source>
        <translation>Nächste Seite</translation>
    </message>
    <message>
        <source>Page %1 of %2</source>
        <translation>Seite %1 von %2</translation>
    </message>
    <message>
        <source>This saved report is too large to show at once, so it is shown in pieces of about %L1 characters; a piece may cut a table apart.</source>
        <translation>Dieser gespeicherte Bericht ist zu groß, um ihn auf einmal zu zeigen, daher wird er in Stücken von etwa %L1 Zeichen gezeigt; ein Stück kann eine Tabelle zerschneiden.</translation>
    </message>
    <message>
        <source>Page %1 of %2 so far</source>
        <translation>Seite %1 von bisher %2</translation>
    </message>
</context>
<context>
    <name>ReportParams1</name>
    <message>
        <source>Date Validation Error</source>
        <translation>Ungültiges Datum</translation>
    </message>
    <message>
        <source>From date cannot be
after To date.</source>
        <translation>Das Von-Datum darf nicht
nach dem Bis-Datum liegen.</translation>
    </message>
</context>
<context>
    <name>ReportParams1Base</name>
    <message>
        <source>Quorvel - Report</source>
        <translation>Quorvel - Bericht</translation>
    </message>
    <message>
        <source>Report Period</source>
        <translation>Berichtszeitraum</translation>
    </message>
    <message>
        <source>From</source>
        <translation>Von</translation>
    </message>
    <message>
        <source>To</source>
        <translation>Bis</translation>
    </message>
    <message>
        <source>Options</source>
        <translation>Optionen</translation>
    </message>
    <message>
        <source>Show time in decimal hours</source>
        <translation>Zeit in Dezimalstunden zeigen</translation>
    </message>
    <message>
        <source>Include activities with zero time</source>
        <translation>Tätigkeiten ohne Zeit einschließen</translation>
    </message>
</context>
<context>
    <name>ReportPrinter</name>
    <message>
        <source>Page %1 of %2</source>
        <translation>Seite %1 von %2</translation>
    </message>
</context>
<context>
    <name>ReportText</name>
    <message>
        <source>%1 to %2</source>
        <translation>%1 bis %2</translation>
    </message>
    <message>
        <source>hours</source>
        <translation>Stunden</translation>
    </message>
    <message>
        <source>hrs&amp;nbsp;:&amp;nbsp;mins</source>
        <translation>Std.&amp;nbsp;:&amp;nbsp;Min.</translation>
    </message>
    <message>
        <source>Activities and categories shown in&lt;br&gt;&lt;i&gt;red italics&lt;/i&gt; are obsolete.</source>
        <translation>Tätigkeiten und Kategorien in&lt;br&gt;&lt;i&gt;roter Kursivschrift&lt;/i&gt; sind veraltet.</translation>
    </message>
    <message>
        <source>There are &lt;i&gt;active&lt;/i&gt; tasks in this time period&lt;br&gt;that are excluded from this report.</source>
        <translation>In diesem Zeitraum gibt es &lt;i&gt;laufende&lt;/i&gt; Aufgaben,&lt;br&gt;die dieser Bericht nicht enthält.</translation>
    </message>
    <message>
        <source>Totals</source>
        <translation>Summen</translation>
    </message>
    <message>
        <source>%1&amp;nbsp;%2</source>
        <comment>a time sheet&apos;s day: the month&apos;s short name, the day</comment>
        <translation>%2.&amp;nbsp;%1</translation>
    </message>
    <message>
        <source>Daily Totals</source>
        <translation>Tagessummen</translation>
    </message>
    <message>
        <source>Period Totals</source>
        <translation>Summen des Zeitraums</translation>
    </message>
    <message>
        <source>Period Summary Report</source>
        <translation>Zusammenfassung für Zeitraum</translation>
    </message>
    <message>
        <source>Period Time Sheet</source>
        <translation>Stundenzettel für Zeitraum</translation>
    </message>
    <message>
        <source>Activity</source>
        <translation>Tätigkeit</translation>
    </message>
    <message>
        <source>Category</source>
        <translation>Kategorie</translation>
    </message>
    <message>
        <source>Minutes</source>
        <translation>Minuten</translation>
    </message>
    <message>
        <source>Hours</source>
        <translation>Stunden</translation>
    </message>
    <message>
        <source>Date</source>
        <translation>Datum</translation>
    </message>
    <message>
        <source>hrs:mins</source>
        <translation>Std.:Min.</translation>
    </message>
    <message>
        <source>Activities and categories marked * are obsolete.</source>
        <translation>Mit * markierte Tätigkeiten und Kategorien sind veraltet.</translation>
    </message>
    <message>
        <source>There are active tasks in this time period that are excluded from this report.</source>
        <translation>In diesem Zeitraum gibt es laufende Aufgaben, die dieser Bericht nicht enthält.</translation>
    </message>
    <message>
        <source>Total</source>
        <translation>Summe</translation>
    </message>
    <message>
        <source>A time sheet covers at most %1 days. Choose a shorter period.</source>
        <translation>Ein Stundenzettel umfasst höchstens %1 Tage. Wählen Sie einen kürzeren Zeitraum.</translation>
    </message>
    <message>
        <source>The time sheet of that period would have %1 rows, more than the %2 a report shows. Choose a shorter period, or leave out the activities without time.</source>
        <translation>Der Stundenzettel dieses Zeitraums hätte %1 Zeilen, mehr als die %2, die ein Bericht zeigt. Wählen Sie einen kürzeren Zeitraum oder lassen Sie die Tätigkeiten ohne Zeit weg.</translation>
    </message>
</context>
<context>
    <name>ReportViewer</name>
    <message>
        <source>Save Report for Viewing Later</source>
        <translation>Bericht zum späteren Ansehen speichern</translation>
    </message>
    <message>
        <source>Quorvel - Report</source>
        <translation>Quorvel - Bericht</translation>
    </message>
    <message>
        <source>Quorvel Report</source>
        <translation>Quorvel-Bericht</translation>
    </message>
    <message>
        <source>Report Not Saved</source>
        <translation>Bericht nicht gespeichert</translation>
    </message>
    <message>
        <source>The report could not be written to
%1</source>
        <translation>Der Bericht konnte nicht geschrieben werden nach
%1</translation>
    </message>
    <message>
        <source>Report Saved</source>
        <translation>Bericht gespeichert</translation>
    </message>
    <message>
        <source>Report document name:
%1</source>
        <translation>Name des Berichtsdokuments:
%1</translation>
    </message>
    <message>
        <source>Print Report</source>
        <translation>Bericht drucken</translation>
    </message>
    <message>
        <source>Report Not Printed</source>
        <translation>Bericht nicht gedruckt</translation>
    </message>
    <message>
        <source>The report could not be printed on
%1</source>
        <translation>Der Bericht konnte nicht gedruckt werden auf
%1</translation>
    </message>
    <message>
        <source>Export Report as PDF</source>
        <translation>Bericht als PDF exportieren</translation>
    </message>
    <message>
        <source>PDF documents (*.pdf)</source>
        <translation>PDF-Dokumente (*.pdf)</translation>
    </message>
    <message>
        <source>Export Report as CSV</source>
        <translation>Bericht als CSV exportieren</translation>
    </message>
    <message>
        <source>CSV files (*.csv)</source>
        <translation>CSV-Dateien (*.csv)</translation>
    </message>
    <message>
        <source>Report Not Exported</source>
        <translation>Bericht nicht exportiert</translation>
    </message>
    <message>
        <source>Print…</source>
        <translation>Drucken …</translation>
    </message>
    <message>
        <source>Export as PDF…</source>
        <translation>Als PDF exportieren …</translation>
    </message>
    <message>
        <source>Export as CSV…</source>
        <translation>Als CSV exportieren …</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Printing the report…</source>
        <translation>Der Bericht wird gedruckt …</translation>
    </message>
    <message>
        <source>Exporting the report…</source>
        <translation>Der Bericht wird exportiert …</translation>
    </message>
</context>
<context>
    <name>ScreenSaverIdleSource</name>
    <message>
        <source>the freedesktop screen saver</source>
        <translation>der freedesktop-Bildschirmschoner</translation>
    </message>
</context>
<context>
    <name>ShortcutsWindow</name>
    <message>
        <source>Keyboard Shortcuts</source>
        <translation>Tastenkürzel</translation>
    </message>
    <message>
        <source>Command</source>
        <translation>Befehl</translation>
    </message>
    <message>
        <source>Shortcut</source>
        <translation>Tastenkürzel</translation>
    </message>
</context>
<context>
    <name>SingleInstance</name>
    <message>
        <source>the folder %1 is open to other users</source>
        <translation>der Ordner %1 ist für andere Benutzer offen</translation>
    </message>
    <message>
        <source>%1 is not Quorvel&apos;s socket but another kind of file</source>
        <translation>%1 ist nicht der Socket von Quorvel, sondern eine andere Art von Datei</translation>
    </message>
    <message>
        <source>%1 belongs to another user</source>
        <translation>%1 gehört einem anderen Benutzer</translation>
    </message>
    <message>
        <source>%1 is served by another user</source>
        <translation>%1 wird von einem anderen Benutzer bedient</translation>
    </message>
    <message>
        <source>cannot listen at %1: %2</source>
        <translation>an %1 kann nicht gelauscht werden: %2</translation>
    </message>
    <message>
        <source>Quorvel is ending; the command was not carried out.</source>
        <translation>Quorvel wird beendet; der Befehl wurde nicht ausgeführt.</translation>
    </message>
    <message>
        <source>Quorvel is not ready for commands yet; the command was not carried out.</source>
        <translation>Quorvel ist noch nicht bereit für Befehle; der Befehl wurde nicht ausgeführt.</translation>
    </message>
</context>
<context>
    <name>StatusBarPanel</name>
    <message>
        <source>The selected task&apos;s duration; a running task&apos;s up to now</source>
        <translation>Dauer der ausgewählten Aufgabe; bei einer laufenden bis jetzt</translation>
    </message>
    <message>
        <source>Today: %1</source>
        <translation>Heute: %1</translation>
    </message>
    <message>
        <source>This week: %1</source>
        <translation>Diese Woche: %1</translation>
    </message>
    <message>
        <source>Time recorded today, counted as in the period summary; running tasks count up to now</source>
        <translation>Heute erfasste Zeit, gezählt wie in der Zusammenfassung für Zeitraum; laufende Aufgaben zählen bis jetzt</translation>
    </message>
    <message>
        <source>Time recorded since %1, counted as in the period summary; running tasks count up to now</source>
        <translation>Seit %1 erfasste Zeit, gezählt wie in der Zusammenfassung für Zeitraum; laufende Aufgaben zählen bis jetzt</translation>
    </message>
    <message>
        <source>Stop %1</source>
        <translation>%1 stoppen</translation>
    </message>
    <message>
        <source>Stop %1, running since %2</source>
        <translation>%1 stoppen, läuft seit %2</translation>
    </message>
    <message>
        <source>Selected: %1</source>
        <translation>Ausgewählt: %1</translation>
    </message>
</context>
<context>
    <name>Synchronize</name>
    <message>
        <source>The rest of the server&apos;s messages (%1) was left out.</source>
        <translation>Der Rest der Nachrichten des Servers (%1) wurde weggelassen.</translation>
    </message>
    <message>
        <source>Looking Up Host</source>
        <translation>Host wird gesucht</translation>
    </message>
    <message>
        <source>Host Found</source>
        <translation>Host gefunden</translation>
    </message>
    <message>
        <source>Connected</source>
        <translation>Verbunden</translation>
    </message>
    <message>
        <source>Synchronization Failed</source>
        <translation>Synchronisierung fehlgeschlagen</translation>
    </message>
    <message>
        <source>Processing Server Response</source>
        <translation>Antwort des Servers wird verarbeitet</translation>
    </message>
    <message>
        <source>Synchronization Complete</source>
        <translation>Synchronisierung abgeschlossen</translation>
    </message>
    <message>
        <source>Host Connection Refused</source>
        <translation>Verbindung vom Host abgelehnt</translation>
    </message>
    <message>
        <source>Host Not Found</source>
        <translation>Host nicht gefunden</translation>
    </message>
    <message>
        <source>Socket Read Error</source>
        <translation>Fehler beim Lesen vom Socket</translation>
    </message>
    <message>
        <source>Connection Timed Out</source>
        <translation>Zeitüberschreitung der Verbindung</translation>
    </message>
    <message>
        <source>Securing Connection</source>
        <translation>Verbindung wird gesichert</translation>
    </message>
    <message>
        <source>Secure Connection Failed: the server&apos;s certificate is not trusted</source>
        <translation>Sichere Verbindung fehlgeschlagen: dem Zertifikat des Servers wird nicht vertraut</translation>
    </message>
    <message>
        <source>No certificate authority that this computer trusts vouches for the certificate of %1, so nothing was sent to it.

The certificate: %2, issued by %3
SHA-256: %4

If your team has a certificate authority of its own, it has to be added to the authorities of this computer.</source>
        <translation>Keine Zertifizierungsstelle, der dieser Computer vertraut, bürgt für das Zertifikat von %1, daher wurde nichts dorthin gesendet.

Das Zertifikat: %2, ausgestellt von %3
SHA-256: %4

Hat Ihr Team eine eigene Zertifizierungsstelle, muss sie zu den Zertifizierungsstellen dieses Computers hinzugefügt werden.</translation>
    </message>
    <message>
        <source>Secure Connection Failed: the server&apos;s certificate is for another host</source>
        <translation>Sichere Verbindung fehlgeschlagen: das Zertifikat des Servers gilt für einen anderen Rechner</translation>
    </message>
    <message>
        <source>The certificate of %1 is made out for %2, so nothing was sent to it.

Enter the server&apos;s address with a name its certificate names (Settings → Operating Mode), or ask your team lead.</source>
        <translation>Das Zertifikat von %1 ist auf %2 ausgestellt, daher wurde nichts dorthin gesendet.

Geben Sie die Adresse des Servers mit einem Namen ein, den sein Zertifikat nennt (Einstellungen → Betriebsmodus), oder fragen Sie Ihre Teamleitung.</translation>
    </message>
    <message>
        <source>Secure Connection Failed: the server&apos;s certificate has expired</source>
        <translation>Sichere Verbindung fehlgeschlagen: das Zertifikat des Servers ist abgelaufen</translation>
    </message>
    <message>
        <source>The certificate of %1 expired on %2, so nothing was sent to it.

Ask your team lead to renew it, and check the date and time of this computer.</source>
        <translation>Das Zertifikat von %1 ist am %2 abgelaufen, daher wurde nichts dorthin gesendet.

Bitten Sie Ihre Teamleitung, es zu erneuern, und prüfen Sie Datum und Uhrzeit dieses Computers.</translation>
    </message>
    <message>
        <source>Secure Connection Failed: the server&apos;s certificate is not valid yet</source>
        <translation>Sichere Verbindung fehlgeschlagen: das Zertifikat des Servers ist noch nicht gültig</translation>
    </message>
    <message>
        <source>The certificate of %1 is valid only from %2 on, so nothing was sent to it.

Check the date and time of this computer.</source>
        <translation>Das Zertifikat von %1 gilt erst ab %2, daher wurde nichts dorthin gesendet.

Prüfen Sie Datum und Uhrzeit dieses Computers.</translation>
    </message>
    <message>
        <source>Secure Connection Failed: the server&apos;s certificate has changed</source>
        <translation>Sichere Verbindung fehlgeschlagen: das Zertifikat des Servers hat sich geändert</translation>
    </message>
    <message>
        <source>%1 presented a certificate other than the one trusted before, so nothing was sent to it: someone may be standing between this computer and the server.

Trusted before: SHA-256 %2
Presented now: SHA-256 %3

If your team lead has made a new certificate, compare its fingerprint with theirs. To be asked about it, enter the server&apos;s address again in Settings → Operating Mode.</source>
        <translation>%1 hat ein anderes Zertifikat vorgelegt als das, dem zuvor vertraut wurde, daher wurde nichts dorthin gesendet: Jemand könnte sich zwischen diesen Computer und den Server gestellt haben.

Zuvor vertraut: SHA-256 %2
Jetzt vorgelegt: SHA-256 %3

Hat Ihre Teamleitung ein neues Zertifikat erstellt, vergleichen Sie dessen Fingerabdruck mit ihrem. Um danach gefragt zu werden, geben Sie die Adresse des Servers unter Einstellungen → Betriebsmodus erneut ein.</translation>
    </message>
    <message>
        <source>Secure Connection Failed: the server did not set up an encrypted connection</source>
        <translation>Sichere Verbindung fehlgeschlagen: der Server hat keine verschlüsselte Verbindung aufgebaut</translation>
    </message>
    <message>
        <source>No encrypted connection to %1 could be set up (%2), so nothing was sent to it.

Check that the address names the server&apos;s TLS port; a server without TLS is entered without https://.</source>
        <translation>Es konnte keine verschlüsselte Verbindung zu %1 aufgebaut werden (%2), daher wurde nichts dorthin gesendet.

Prüfen Sie, ob die Adresse den TLS-Port des Servers nennt; ein Server ohne TLS wird ohne https:// eingegeben.</translation>
    </message>
    <message>
        <source>Unknown Server Certificate</source>
        <translation>Unbekanntes Serverzertifikat</translation>
    </message>
    <message>
        <source>Trust this server?

%1 presents a certificate that it made itself: no certificate authority vouches for it. Its SHA-256 fingerprint is

%2

Answer Yes only if your team lead gave you this fingerprint. Quorvel then keeps the certificate and refuses any other from this server.</source>
        <translation>Diesem Server vertrauen?

%1 legt ein Zertifikat vor, das er selbst ausgestellt hat: Keine Zertifizierungsstelle bürgt dafür. Sein SHA-256-Fingerabdruck ist

%2

Antworten Sie nur dann mit Ja, wenn Ihre Teamleitung Ihnen diesen Fingerabdruck genannt hat. Quorvel behält das Zertifikat dann und weist jedes andere dieses Servers zurück.</translation>
    </message>
    <message>
        <source>You did not trust the certificate of %1, so nothing was sent to it.

SHA-256: %2</source>
        <translation>Sie haben dem Zertifikat von %1 nicht vertraut, daher wurde nichts dorthin gesendet.

SHA-256: %2</translation>
    </message>
</context>
<context>
    <name>SynchronizeBase</name>
    <message>
        <source>Quorvel - Synchronize</source>
        <translation>Quorvel - Synchronisieren</translation>
    </message>
    <message>
        <source>Synchronization Status</source>
        <translation>Stand der Synchronisierung</translation>
    </message>
    <message>
        <source>Looking up Host Name</source>
        <translation>Hostname wird gesucht</translation>
    </message>
    <message>
        <source>Personal Messages From Server</source>
        <translation>Persönliche Nachrichten vom Server</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Schließen</translation>
    </message>
</context>
<context>
    <name>SystemError</name>
    <message>
        <source>permission denied</source>
        <translation>Zugriff verweigert</translation>
    </message>
    <message>
        <source>no space left on the disk</source>
        <translation>kein Platz mehr auf dem Datenträger</translation>
    </message>
    <message>
        <source>the disk quota is used up</source>
        <translation>das Kontingent auf dem Datenträger ist aufgebraucht</translation>
    </message>
    <message>
        <source>the file system is read-only</source>
        <translation>das Dateisystem ist nur lesbar</translation>
    </message>
    <message>
        <source>the disk reported an input/output error</source>
        <translation>der Datenträger meldete einen Ein-/Ausgabefehler</translation>
    </message>
    <message>
        <source>it does not exist</source>
        <translation>sie existiert nicht</translation>
    </message>
    <message>
        <source>a part of its path is not a folder</source>
        <translation>ein Teil ihres Pfades ist kein Ordner</translation>
    </message>
    <message>
        <source>it is a folder</source>
        <translation>sie ist ein Ordner</translation>
    </message>
    <message>
        <source>it is a symbolic link</source>
        <translation>sie ist ein symbolischer Link</translation>
    </message>
    <message>
        <source>its name is too long</source>
        <translation>ihr Name ist zu lang</translation>
    </message>
    <message>
        <source>too many files are open</source>
        <translation>zu viele Dateien sind geöffnet</translation>
    </message>
    <message>
        <source>not enough memory</source>
        <translation>nicht genug Speicher</translation>
    </message>
    <message>
        <source>it is in use</source>
        <translation>sie wird gerade benutzt</translation>
    </message>
    <message>
        <source>it lies on another file system</source>
        <translation>sie liegt auf einem anderen Dateisystem</translation>
    </message>
    <message>
        <source>the file would grow beyond its size limit</source>
        <translation>die Datei würde über ihre Größengrenze wachsen</translation>
    </message>
    <message>
        <source>the file system cannot lock files</source>
        <translation>das Dateisystem kann keine Dateien sperren</translation>
    </message>
</context>
<context>
    <name>TaskCommands</name>
    <message>
        <source>“%1”</source>
        <translation>„%1“</translation>
    </message>
    <message>
        <source>Deleted %1: tasks of less than 1 minute duration are not logged.</source>
        <translation>%1 gelöscht: Aufgaben unter 1 Minute Dauer werden nicht erfasst.</translation>
    </message>
    <message>
        <source>Stopped %1 at %2 (%3).</source>
        <translation>%1 um %2 angehalten (%3).</translation>
    </message>
    <message>
        <source>%1 is already running, since %2.</source>
        <translation>%1 läuft bereits, seit %2.</translation>
    </message>
    <message>
        <source>Started %1 at %2.</source>
        <translation>%1 um %2 gestartet.</translation>
    </message>
</context>
<context>
    <name>TaskEdit</name>
    <message>
        <source>Quorvel - New Activity</source>
        <translation>Quorvel - Neue Tätigkeit</translation>
    </message>
    <message>
        <source>Select an activity, then press OK.
This will start a new task.</source>
        <translation>Wählen Sie eine Tätigkeit und drücken Sie OK.
Damit startet eine neue Aufgabe.</translation>
    </message>
    <message>
        <source>Time Validation Error</source>
        <translation>Ungültige Zeit</translation>
    </message>
    <message>
        <source>The stop time you have selected
is before the start time</source>
        <translation>Die gewählte Endzeit
liegt vor der Startzeit</translation>
    </message>
    <message>
        <source>Tasks of zero duration are not
valid</source>
        <translation>Aufgaben ohne Dauer sind
nicht gültig</translation>
    </message>
    <message>
        <source>This task is not valid as entered
as it overlaps with an existing
task, and concurrent tasks are
prohibited</source>
        <translation>Diese Aufgabe ist so nicht gültig,
da sie sich mit einer bestehenden
überschneidet und gleichzeitige
Aufgaben nicht erlaubt sind</translation>
    </message>
</context>
<context>
    <name>TaskEditBase</name>
    <message>
        <source>Edit Task</source>
        <translation>Aufgabe bearbeiten</translation>
    </message>
    <message>
        <source>Activity</source>
        <translation>Tätigkeit</translation>
    </message>
    <message>
        <source>Add New Activity</source>
        <translation>Neue Tätigkeit anlegen</translation>
    </message>
    <message>
        <source>Start Time</source>
        <translation>Startzeit</translation>
    </message>
    <message>
        <source>Now</source>
        <translation>Jetzt</translation>
    </message>
    <message>
        <source>PM</source>
        <translation>PM</translation>
    </message>
    <message>
        <source>Stop Time</source>
        <translation>Endzeit</translation>
    </message>
    <message>
        <source>Unspecified (stop later)</source>
        <translation>Offen (später anhalten)</translation>
    </message>
</context>
<context>
    <name>TaskMessages</name>
    <message>
        <source>Cannot Start Task</source>
        <translation>Aufgabe kann nicht gestartet werden</translation>
    </message>
    <message>
        <source>This task cannot be started
now because this would cause it
to overlap with another task.
</source>
        <translation>Diese Aufgabe kann jetzt nicht
gestartet werden, da sie sich sonst
mit einer anderen überschneiden würde.
</translation>
    </message>
    <message>
        <source>Cannot Stop Task</source>
        <translation>Aufgabe kann nicht angehalten werden</translation>
    </message>
    <message>
        <source>This task cannot be stopped
now because its start time is in
the future. To set a specific
future stop time, you can Edit
the task.</source>
        <translation>Diese Aufgabe kann jetzt nicht
angehalten werden, da ihre Startzeit
in der Zukunft liegt. Eine Endzeit
in der Zukunft setzen Sie unter
Bearbeiten.</translation>
    </message>
    <message>
        <source>This task cannot be stopped
now because this would cause it
to overlap with another task.
You can Edit the task to set
a stop time.</source>
        <translation>Diese Aufgabe kann jetzt nicht
angehalten werden, da sie sich sonst
mit einer anderen überschneiden würde.
Sie können unter Bearbeiten
eine Endzeit setzen.</translation>
    </message>
    <message>
        <source>Time Validation Error</source>
        <translation>Ungültige Zeit</translation>
    </message>
    <message>
        <source>Unable to stop another task now, as
its start time is in the future.</source>
        <translation>Eine andere Aufgabe kann jetzt nicht
angehalten werden, da ihre Startzeit
in der Zukunft liegt.</translation>
    </message>
    <message>
        <source>Unable to stop another task now,
as it would cause tasks to overlap.</source>
        <translation>Eine andere Aufgabe kann jetzt nicht
angehalten werden, da sich sonst
Aufgaben überschneiden würden.</translation>
    </message>
    <message>
        <source>Warning</source>
        <translation>Warnung</translation>
    </message>
    <message>
        <source>There are other tasks with
the same activity still
active.</source>
        <translation>Andere Aufgaben mit
derselben Tätigkeit laufen
noch.</translation>
    </message>
    <message>
        <source>Zero Duration Task</source>
        <translation>Aufgabe ohne Dauer</translation>
    </message>
    <message>
        <source>Tasks of less than 1 minute
duration are not logged, so
this task will be deleted.

Would you like to skip this
warning message in future?</source>
        <translation>Aufgaben unter 1 Minute Dauer
werden nicht erfasst, daher wird
diese Aufgabe gelöscht.

Möchten Sie diese Warnung
künftig überspringen?</translation>
    </message>
    <message>
        <source>Start of %1</source>
        <translation>Start von %1</translation>
    </message>
    <message>
        <source>Stop of %1</source>
        <translation>Anhalten von %1</translation>
    </message>
    <message>
        <source>, </source>
        <translation>, </translation>
    </message>
    <message>
        <source>Removal of a Task Under a Minute</source>
        <translation>Entfernen einer Aufgabe unter einer Minute</translation>
    </message>
    <message>
        <source>New Category %1</source>
        <translation>Neue Kategorie %1</translation>
    </message>
    <message>
        <source>Edit Category %1</source>
        <translation>Kategorie %1 bearbeiten</translation>
    </message>
    <message>
        <source>Delete Category %1</source>
        <translation>Kategorie %1 löschen</translation>
    </message>
    <message>
        <source>New Activity %1</source>
        <translation>Neue Tätigkeit %1</translation>
    </message>
    <message>
        <source>Edit Activity %1</source>
        <translation>Tätigkeit %1 bearbeiten</translation>
    </message>
    <message>
        <source>Delete Activity %1</source>
        <translation>Tätigkeit %1 löschen</translation>
    </message>
    <message>
        <source>%1 is running now; it keeps running without a shortcut button.</source>
        <translation>%1 läuft gerade; sie läuft ohne Schnellstart-Taste weiter.</translation>
    </message>
    <message>
        <source>%1 are running now; they keep running without shortcut buttons.</source>
        <translation>%1 laufen gerade; sie laufen ohne Schnellstart-Tasten weiter.</translation>
    </message>
    <message>
        <source>%1 keeps running without a shortcut button. %2 brings the button back.</source>
        <translation>%1 läuft ohne Schnellstart-Taste weiter. %2 holt die Taste zurück.</translation>
    </message>
    <message>
        <source>%1 keep running without shortcut buttons. %2 brings the buttons back.</source>
        <translation>%1 laufen ohne Schnellstart-Tasten weiter. %2 holt die Tasten zurück.</translation>
    </message>
    <message>
        <source>Stop at %1</source>
        <translation>Um %1 anhalten</translation>
    </message>
</context>
<context>
    <name>TaskTableModel</name>
    <message>
        <source>Start</source>
        <translation>Start</translation>
    </message>
    <message>
        <source>Stop</source>
        <translation>Ende</translation>
    </message>
    <message>
        <source>Activity</source>
        <translation>Tätigkeit</translation>
    </message>
    <message>
        <source>Duration</source>
        <translation>Dauer</translation>
    </message>
</context>
<context>
    <name>TimeArgument</name>
    <message>
        <source>“%1” is not a date: use 2026-11-21, today, yesterday or a day of the week such as monday</source>
        <translation>„%1“ ist kein Datum: verwenden Sie 2026-11-21, today, yesterday oder einen Wochentag wie monday</translation>
    </message>
    <message>
        <source>“%1” is not a time: use 09:30, 2026-11-21T09:30 or a day and a time such as yesterday 17:00</source>
        <translation>„%1“ ist keine Uhrzeit: verwenden Sie 09:30, 2026-11-21T09:30 oder einen Tag und eine Uhrzeit wie yesterday 17:00</translation>
    </message>
</context>
<context>
    <name>TrayIcon</name>
    <message>
        <source>Start…</source>
        <translation>Starten …</translation>
    </message>
    <message>
        <source>Stop “%1” (%2)</source>
        <translation>„%1“ stoppen (%2)</translation>
    </message>
    <message>
        <source>Open Quorvel</source>
        <translation>Quorvel öffnen</translation>
    </message>
    <message>
        <source>Quit</source>
        <translation>Beenden</translation>
    </message>
    <message>
        <source>Quorvel</source>
        <translation>Quorvel</translation>
    </message>
    <message>
        <source>%1 (still running?)</source>
        <translation>%1 (läuft sie noch?)</translation>
    </message>
</context>
<context>
    <name>ViewMenu</name>
    <message>
        <source>Duration Column</source>
        <translation>Spalte Dauer</translation>
    </message>
    <message>
        <source>Find…</source>
        <translation>Suchen…</translation>
    </message>
    <message>
        <source>Close Find Bar</source>
        <translation>Suchleiste schließen</translation>
    </message>
</context>
<context>
    <name>WaylandIdleSource</name>
    <message>
        <source>the Wayland idle notification</source>
        <translation>die Wayland-Leerlaufbenachrichtigung</translation>
    </message>
</context>
<context>
    <name>X11IdleSource</name>
    <message>
        <source>the X11 screen saver extension</source>
        <translation>die X11-Bildschirmschoner-Erweiterung</translation>
    </message>
</context>
<context>
    <name>main</name>
    <message>
        <source>Quorvel</source>
        <translation>Quorvel</translation>
    </message>
    <message>
        <source>Commands Not Received</source>
        <translation>Befehle werden nicht empfangen</translation>
    </message>
    <message>
        <source>Quorvel cannot receive the command line&apos;s commands:
%1.

The command line carries them out on the data file itself while this window runs, and the window reads the file again when they change it.</source>
        <translation>Quorvel kann die Befehle der Befehlszeile nicht empfangen:
%1.

Die Befehlszeile führt sie selbst an der Datendatei aus, während dieses Fenster läuft, und das Fenster liest die Datei neu, wenn sie sie ändern.</translation>
    </message>
</context>
</TS>
