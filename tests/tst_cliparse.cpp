// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The command line's parsers on their own: day and moment arguments, and the files that
// "quorvel import" reads.
#include "TestEnvironment.h"

#include "cli/ImportReader.h"
#include "cli/TimeArgument.h"

#include <QRandomGenerator>
#include <QtTest>

#include <time.h>

namespace {

QString str(const char *text)
{
    return QString::fromUtf8(text);
}

// Bytes with NULs kept: the length comes from the literal, not from the first NUL.
template<qsizetype N>
QByteArray bytes(const char (&text)[N])
{
    return QByteArray(text, N - 1);
}

QString timeText(const QDateTime &time)
{
    if (!time.isValid())
        return QStringLiteral("-");
    QString text = time.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz"));
    if (time.timeSpec() != Qt::LocalTime)
        text += QStringLiteral(" (not local)");
    return text;
}

// One row as "line|activity|category|start|stop|problem", "-" for no time; the line as
// "line:task" when the row has a task number too.
QString rowText(const ImportRow &row)
{
    QString line = QString::number(row.line);
    if (row.task != 0)
        line += u':' + QString::number(row.task);
    return line + u'|' + row.activity + u'|' + row.category + u'|' + timeText(row.start) + u'|'
           + timeText(row.stop) + u'|' + row.problem;
}

QStringList rowTexts(const ImportFile &file)
{
    QStringList texts;
    for (const ImportRow &row : file.rows)
        texts.append(rowText(row));
    return texts;
}

// The local time of a UTC moment, as rowText shows it.
QString localOf(int year, int month, int day, int hour, int minute)
{
    return timeText(QDateTime(QDate(year, month, day), QTime(hour, minute), Qt::UTC).toLocalTime());
}

const char *const dateHelp = "” is not a date: use 2026-11-21, today, yesterday or a day of the "
                             "week such as monday";
const char *const momentHelp = "” is not a time: use 09:30, 2026-11-21T09:30 or a day and a time "
                               "such as yesterday 17:00";
const char *const headerError
    = "The first line must name the columns Activity, Category, Start, Stop and Minutes.";
const char *const jsonError = "The file is neither CSV nor a JSON array of tasks.";
const char *const jsonCutShort = "The JSON text ends too early: the file is cut short.";
const char header[] = "Activity,Category,Start,Stop,Minutes\r\n";

// Runs a test in another local time zone and puts the previous one back.
class TimeZoneGuard
{
public:
    explicit TimeZoneGuard(const char *zone)
        : m_old(qgetenv("TZ"))
        , m_wasSet(qEnvironmentVariableIsSet("TZ"))
    {
        qputenv("TZ", zone);
        tzset();
    }
    ~TimeZoneGuard()
    {
        if (m_wasSet)
            qputenv("TZ", m_old);
        else
            qunsetenv("TZ");
        tzset();
    }

private:
    QByteArray m_old;
    bool m_wasSet;
};

QByteArray randomBytes(qsizetype size, quint32 seed)
{
    QRandomGenerator generator(seed);
    QList<quint32> words(size / 4);
    generator.fillRange(words.data(), words.size());
    return QByteArray(reinterpret_cast<const char *>(words.constData()), size / 4 * 4);
}

} // namespace

class TestCliParse : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void dates_data();
    void dates();
    void dateErrors_data();
    void dateErrors();
    void moments_data();
    void moments();
    void momentErrors_data();
    void momentErrors();
    void detect_data();
    void detect();
    void csvExportRoundTrip();
    void csvLineFeedsBomAndColumnOrder();
    void csvWithoutCategoryColumn();
    void csvHeaderErrors_data();
    void csvHeaderErrors();
    void csvNothingToImport_data();
    void csvNothingToImport();
    void csvRowProblems();
    void csvNames();
    void csvLongValueInProblem();
    void jsonOwnExport();
    void jsonTimewarrior_data();
    void jsonTimewarrior();
    void jsonTimewarriorProblems();
    void jsonFileErrors_data();
    void jsonFileErrors();
    void jsonEmptyArray();
    void jsonLinesOfPrettyPrintedTasks();
    void jsonLinesOfOneLineExport();
    void jsonLinesBesideTextThatLooksLikeJson();
    void otherTimeZones();
    void randomBytesDoNotCrash();
    void unterminatedQuote();
    void runawayLines();
    void deepJson();
    void manyRows();
};

void TestCliParse::dates_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QDate>("today");
    QTest::addColumn<QDate>("expected");

    const QDate saturday(2026, 11, 21);
    QTest::addRow("iso") << str("2026-11-21") << saturday << QDate(2026, 11, 21);
    QTest::addRow("iso leap day") << str("2024-02-29") << saturday << QDate(2024, 2, 29);
    QTest::addRow("iso other year") << str("1999-12-31") << saturday << QDate(1999, 12, 31);
    QTest::addRow("today") << str("today") << saturday << QDate(2026, 11, 21);
    QTest::addRow("today upper case, blanks")
        << str("  TODAY \t") << saturday << QDate(2026, 11, 21);
    QTest::addRow("yesterday") << str("Yesterday") << saturday << QDate(2026, 11, 20);
    QTest::addRow("tomorrow") << str("tomorrow") << saturday << QDate(2026, 11, 22);
    QTest::addRow("saturday on a saturday") << str("saturday") << saturday << QDate(2026, 11, 21);
    QTest::addRow("sat on a saturday") << str("sat") << saturday << QDate(2026, 11, 21);
    QTest::addRow("friday") << str("friday") << saturday << QDate(2026, 11, 20);
    QTest::addRow("fri") << str("fri") << saturday << QDate(2026, 11, 20);
    QTest::addRow("thursday") << str("thursday") << saturday << QDate(2026, 11, 19);
    QTest::addRow("thu") << str("thu") << saturday << QDate(2026, 11, 19);
    QTest::addRow("wednesday mixed case") << str("\nWeDnEsDaY ") << saturday << QDate(2026, 11, 18);
    QTest::addRow("wed") << str("WED") << saturday << QDate(2026, 11, 18);
    QTest::addRow("tuesday") << str("tuesday") << saturday << QDate(2026, 11, 17);
    QTest::addRow("tue") << str("tue") << saturday << QDate(2026, 11, 17);
    QTest::addRow("monday") << str("monday") << saturday << QDate(2026, 11, 16);
    QTest::addRow("mon") << str("mon") << saturday << QDate(2026, 11, 16);
    QTest::addRow("sunday") << str("sunday") << saturday << QDate(2026, 11, 15);
    QTest::addRow("sun") << str("Sun") << saturday << QDate(2026, 11, 15);

    const QDate monday(2026, 11, 23);
    QTest::addRow("monday on a monday") << str("monday") << monday << QDate(2026, 11, 23);
    QTest::addRow("mon on a monday") << str("mon") << monday << QDate(2026, 11, 23);
    QTest::addRow("sunday on a monday") << str("sunday") << monday << QDate(2026, 11, 22);
    QTest::addRow("tuesday on a monday") << str("tuesday") << monday << QDate(2026, 11, 17);
    QTest::addRow("saturday on a monday") << str("saturday") << monday << QDate(2026, 11, 21);

    const QDate newYear(2027, 1, 1); // a Friday
    QTest::addRow("yesterday over the year") << str("yesterday") << newYear << QDate(2026, 12, 31);
    QTest::addRow("tomorrow in the new year") << str("tomorrow") << newYear << QDate(2027, 1, 2);
    QTest::addRow("thursday over the year") << str("thursday") << newYear << QDate(2026, 12, 31);
    QTest::addRow("saturday over the year") << str("saturday") << newYear << QDate(2026, 12, 26);
    QTest::addRow("sunday over the year") << str("sun") << newYear << QDate(2026, 12, 27);
    QTest::addRow("friday on new year") << str("friday") << newYear << QDate(2027, 1, 1);

    const QDate march(2026, 3, 1); // a Sunday
    QTest::addRow("yesterday over february") << str("yesterday") << march << QDate(2026, 2, 28);
    QTest::addRow("monday over february") << str("mon") << march << QDate(2026, 2, 23);
    QTest::addRow("sunday on a sunday") << str("sunday") << march << QDate(2026, 3, 1);
}

void TestCliParse::dates()
{
    QFETCH(QString, text);
    QFETCH(QDate, today);
    QFETCH(QDate, expected);
    QString error = str("untouched");
    QCOMPARE(TimeArgument::parseDate(text, today, &error), expected);
    QCOMPARE(error, str("untouched"));
    QCOMPARE(TimeArgument::parseDate(text, today, nullptr), expected);
}

void TestCliParse::dateErrors_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");

    QTest::addRow("empty") << QString()
                           << str("“” is not a date: use 2026-11-21, today, yesterday or a day of "
                                  "the week such as monday");
    QTest::addRow("blanks kept in the message")
        << str("  someday ")
        << str("“  someday ” is not a date: use 2026-11-21, today, yesterday or a day of the "
               "week such as monday");
    const char *const texts[] = {"mondays",     "mo",         "monday 09:00",   "2026-13-01",
                                 "2026-02-29",  "2026-1-05",  "21.11.2026",     "2026-11-21T09:30",
                                 "next monday", "0000-01-01", "２０２６-11-21", "2026/11/21"};
    for (const char *text : texts)
        QTest::addRow("%s", text) << str(text) << (u'“' + str(text) + str(dateHelp));
}

void TestCliParse::dateErrors()
{
    QFETCH(QString, text);
    QFETCH(QString, expected);
    const QDate today(2026, 11, 21);
    QString error;
    QVERIFY(!TimeArgument::parseDate(text, today, &error).isValid());
    QCOMPARE(error, expected);
    QVERIFY(!TimeArgument::parseDate(text, today, nullptr).isValid());
}

void TestCliParse::moments_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QDateTime>("expected");

    const auto at = [](int month, int day, int hour, int minute) {
        return QDateTime(QDate(2026, month, day), QTime(hour, minute));
    };
    QTest::addRow("hh:mm") << str("09:30") << at(11, 21, 9, 30);
    QTest::addRow("h:mm") << str("9:30") << at(11, 21, 9, 30);
    QTest::addRow("seconds dropped") << str("09:30:15") << at(11, 21, 9, 30);
    QTest::addRow("midnight") << str("0:00") << at(11, 21, 0, 0);
    QTest::addRow("last minute") << str("23:59:59") << at(11, 21, 23, 59);
    QTest::addRow("blanks around") << str(" \t17:05\n") << at(11, 21, 17, 5);
    QTest::addRow("iso T") << str("2026-11-21T09:30") << at(11, 21, 9, 30);
    QTest::addRow("iso blank") << str("2026-11-20 09:30") << at(11, 20, 9, 30);
    QTest::addRow("iso T seconds") << str("2026-11-19T09:30:15") << at(11, 19, 9, 30);
    QTest::addRow("iso t lower case") << str("2026-11-19t08:05") << at(11, 19, 8, 5);
    QTest::addRow("iso blank seconds") << str("2026-12-01 23:00:59") << at(12, 1, 23, 0);
    QTest::addRow("iso next year")
        << str("  2027-01-01 12:00  ") << QDateTime(QDate(2027, 1, 1), QTime(12, 0));
    QTest::addRow("yesterday") << str("yesterday 17:00") << at(11, 20, 17, 0);
    QTest::addRow("today h:mm") << str("today 9:05") << at(11, 21, 9, 5);
    QTest::addRow("tomorrow") << str("Tomorrow 00:00") << at(11, 22, 0, 0);
    QTest::addRow("monday") << str("monday 09:00") << at(11, 16, 9, 0);
    QTest::addRow("weekday is today") << str("Saturday  7:45") << at(11, 21, 7, 45);
    QTest::addRow("fri") << str("FRI 12:00") << at(11, 20, 12, 0);
    QTest::addRow("sun with seconds") << str("sun 23:15:59") << at(11, 15, 23, 15);
}

void TestCliParse::moments()
{
    QFETCH(QString, text);
    QFETCH(QDateTime, expected);
    const QDateTime now(QDate(2026, 11, 21), QTime(15, 45, 50, 123));
    QString error = str("untouched");
    const QDateTime moment = TimeArgument::parseMoment(text, now, &error);
    QCOMPARE(moment, expected);
    QCOMPARE(moment.timeSpec(), Qt::LocalTime);
    QCOMPARE(moment.time().second(), 0);
    QCOMPARE(moment.time().msec(), 0);
    QCOMPARE(error, str("untouched"));
    QCOMPARE(TimeArgument::parseMoment(text, now, nullptr), expected);
}

void TestCliParse::momentErrors_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");

    QTest::addRow("empty") << QString()
                           << str("“” is not a time: use 09:30, 2026-11-21T09:30 or a day and a "
                                  "time such as yesterday 17:00");
    QTest::addRow("date alone")
        << str("2026-11-21")
        << str("“2026-11-21” is not a time: use 09:30, 2026-11-21T09:30 or a day and a time such "
               "as yesterday 17:00");
    QTest::addRow("blanks kept in the message")
        << str(" 24:00 ")
        << str("“ 24:00 ” is not a time: use 09:30, 2026-11-21T09:30 or a day and a time such as "
               "yesterday 17:00");
    const char *const texts[] = {"9",
                                 "930",
                                 "09:30am",
                                 "12:60",
                                 "9:5",
                                 "123:00",
                                 ":30",
                                 "09:30:60",
                                 "09:30:1",
                                 "-1:30",
                                 "+9:30",
                                 "yesterday",
                                 "monday",
                                 "2026-11-21T24:00",
                                 "2026-02-30T10:00",
                                 "2026-11-21T",
                                 "todayT09:00",
                                 "2026-11-21T 09:30",
                                 "someday 09:30",
                                 "yesterday at 17:00",
                                 "09:30 yesterday",
                                 "noon"};
    for (const char *text : texts)
        QTest::addRow("%s", text) << str(text) << (u'“' + str(text) + str(momentHelp));
}

void TestCliParse::momentErrors()
{
    QFETCH(QString, text);
    QFETCH(QString, expected);
    const QDateTime now(QDate(2026, 11, 21), QTime(15, 45));
    QString error;
    QVERIFY(!TimeArgument::parseMoment(text, now, &error).isValid());
    QCOMPARE(error, expected);
    QVERIFY(!TimeArgument::parseMoment(text, now, nullptr).isValid());
}

void TestCliParse::detect_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<bool>("json");

    QTest::addRow("empty") << QByteArray() << false;
    QTest::addRow("array") << bytes("[]") << true;
    QTest::addRow("object") << bytes("{\"a\":1}") << true;
    QTest::addRow("blanks first") << bytes(" \r\n\t [") << true;
    QTest::addRow("bom") << bytes("\xEF\xBB\xBF[") << true;
    QTest::addRow("bom and blanks") << bytes("\xEF\xBB\xBF \n{") << true;
    QTest::addRow("csv") << bytes(header) << false;
    QTest::addRow("quoted bracket") << bytes("\"[\"") << false;
    QTest::addRow("bracket later") << bytes("x[") << false;
    QTest::addRow("half a bom") << bytes("\xEF\xBB[") << false;
    QTest::addRow("nul first") << bytes("\0[") << false;
}

void TestCliParse::detect()
{
    QFETCH(QByteArray, data);
    QFETCH(bool, json);
    QCOMPARE(ImportReader::detect(data),
             json ? ImportReader::Format::Json : ImportReader::Format::Csv);
}

void TestCliParse::csvExportRoundTrip()
{
    // As the export writes it: CR LF, fields quoted only when they must be.
    const QByteArray data
        = bytes("Activity,Category,Start,Stop,Minutes\r\n"
                "\"Café, \"\"Ölbaum\"\"\",Küche,2026-11-21T09:30,"
                "2026-11-21T10:45,75\r\n"
                "\"Two\r\nlines\",Dev & Ops,2026-11-20T23:00,2026-11-21T01:30,150\r\n"
                "Plain,,2026-11-21T11:00,,\r\n"
                "\"\"\"Quoted\"\" name\",\"x,y\",2026-11-21T12:00,2026-11-21T12:30,30\r\n");
    const ImportFile file = ImportReader::readCsv(data);
    QCOMPARE(file.error, QString());
    QCOMPARE(rowTexts(file),
             QStringList({str("2|Café, \"Ölbaum\"|Küche|2026-11-21 09:30:00.000|2026-11-21 "
                              "10:45:00.000|"),
                          str("3|Two  lines|Dev & Ops|2026-11-20 23:00:00.000|2026-11-21 "
                              "01:30:00.000|"),
                          str("5|Plain||2026-11-21 11:00:00.000|-|"),
                          str("6|\"Quoted\" name|x,y|2026-11-21 12:00:00.000|2026-11-21 "
                              "12:30:00.000|")}));
    QVERIFY(file.rows.at(2).stop.isNull());
}

void TestCliParse::csvLineFeedsBomAndColumnOrder()
{
    const QByteArray data = bytes("\xEF\xBB\xBFStop,minutes,ACTIVITY,start,category\n"
                                  "\n"
                                  "2026-11-21T10:00,60,Reading,2026-11-21T09:00,Books\n"
                                  "   \n"
                                  ",,\"Multi\nline\",2026-11-21T10:30,\n"
                                  "\n"
                                  "2026-11-21T12:00:30,999,Lunch,2026-11-21 11:00:59,Food");
    const ImportFile file = ImportReader::readCsv(data);
    QCOMPARE(file.error, QString());
    QCOMPARE(rowTexts(file),
             QStringList({str("3|Reading|Books|2026-11-21 09:00:00.000|2026-11-21 10:00:00.000|"),
                          str("5|Multi line||2026-11-21 10:30:00.000|-|"),
                          str("8|Lunch|Food|2026-11-21 11:00:00.000|2026-11-21 12:00:00.000|")}));
}

void TestCliParse::csvWithoutCategoryColumn()
{
    const QByteArray data = bytes("Activity,Start,Stop,Note\r\n"
                                  "Solo,2026-11-21T09:00,2026-11-21T09:15,anything\r\n"
                                  "Open,2026-11-21T09:15,,\r\n");
    const ImportFile file = ImportReader::readCsv(data);
    QCOMPARE(file.error, QString());
    QCOMPARE(rowTexts(file),
             QStringList({str("2|Solo||2026-11-21 09:00:00.000|2026-11-21 09:15:00.000|"),
                          str("3|Open||2026-11-21 09:15:00.000|-|")}));
}

void TestCliParse::csvHeaderErrors_data()
{
    QTest::addColumn<QByteArray>("data");

    QTest::addRow("no stop") << bytes("Activity,Category,Start,Minutes\r\n"
                                      "A,B,2026-11-21T09:00,5\r\n");
    QTest::addRow("no activity") << bytes("Category,Start,Stop\r\n");
    QTest::addRow("no start") << bytes("Activity,Category,Begin,Stop,Minutes\r\n");
    QTest::addRow("other name") << bytes("Name,Category,Start,Stop,Minutes\r\n");
    QTest::addRow("semicolons") << bytes("Activity;Category;Start;Stop;Minutes\r\n");
    QTest::addRow("after blank lines") << bytes("\r\n\r\nActivities,Start,Stop\r\n");
    QTest::addRow("no header") << bytes("A,B,2026-11-21T09:00,2026-11-21T10:00,60\r\n");
    QTest::addRow("one quoted field") << bytes("\"Activity,Start,Stop\"\r\n");
    QTest::addRow("names in other lines") << bytes("Activity,Start\r\nStop\r\n");
}

void TestCliParse::csvHeaderErrors()
{
    QFETCH(QByteArray, data);
    const ImportFile file = ImportReader::readCsv(data);
    QCOMPARE(file.error, str(headerError));
    QCOMPARE(file.rows.size(), 0);
}

void TestCliParse::csvNothingToImport_data()
{
    QTest::addColumn<QByteArray>("data");

    QTest::addRow("empty") << QByteArray();
    QTest::addRow("bom") << bytes("\xEF\xBB\xBF");
    QTest::addRow("blank lines") << bytes("\r\n\n  \r\n");
    QTest::addRow("header") << bytes(header);
    QTest::addRow("header without line end") << bytes("Activity,Category,Start,Stop,Minutes");
    QTest::addRow("header and blank lines") << bytes("Activity,Category,Start,Stop,Minutes\r\n"
                                                     "\r\n\n\t\r\n");
}

void TestCliParse::csvNothingToImport()
{
    QFETCH(QByteArray, data);
    const ImportFile file = ImportReader::readCsv(data);
    QCOMPARE(file.error, QString());
    QCOMPARE(file.rows.size(), 0);
}

void TestCliParse::csvRowProblems()
{
    const QByteArray data = bytes("Activity,Category,Start,Stop,Minutes\r\n"
                                  "A,B,2026-11-21T09:30,2026-11-21T10:00\r\n"
                                  "A,B,2026-11-21T09:30,2026-11-21T10:00,30,extra\r\n"
                                  "just text\r\n"
                                  ",B,2026-11-21T09:30,2026-11-21T10:00,30\r\n"
                                  "\" \t \",B,2026-11-21T09:30,2026-11-21T10:00,30\r\n"
                                  "A,B,21.11.2026 09:30,2026-11-21T10:00,30\r\n"
                                  "A,B,,2026-11-21T10:00,30\r\n"
                                  "A,B,2026-11-21T24:00,2026-11-21T10:00,30\r\n"
                                  "A,B,2026-02-30T09:30,2026-11-21T10:00,30\r\n"
                                  "A,B,2026-11-21T09:30,tomorrow,\r\n"
                                  "A,B,2026-11-21T09:30,2026-11-21T10:00:60,30\r\n"
                                  "A,B, 2026-11-21T09:30 ,2026-11-21 10:00:59,5\r\n"
                                  "A,B,2026-11-21T9:30,2026-11-21T10:00,30\r\n"
                                  "A,B,\"09:30\n\",2026-11-21T10:00,30\r\n"
                                  "A,B,2026-11-21T09:30,2026-11-21T10:00,30");
    const ImportFile file = ImportReader::readCsv(data);
    QCOMPARE(file.error, QString());
    QCOMPARE(rowTexts(file),
             QStringList({
                 str("2|A|B|2026-11-21 09:30:00.000|2026-11-21 10:00:00.000|4 fields where the "
                     "first line has 5"),
                 str("3|A|B|2026-11-21 09:30:00.000|2026-11-21 10:00:00.000|6 fields where the "
                     "first line has 5"),
                 str("4|just text||-|-|1 fields where the first line has 5"),
                 str("5||B|2026-11-21 09:30:00.000|2026-11-21 10:00:00.000|no activity"),
                 str("6||B|2026-11-21 09:30:00.000|2026-11-21 10:00:00.000|no activity"),
                 str("7|A|B|-|2026-11-21 10:00:00.000|“21.11.2026 09:30” is not a start time"),
                 str("8|A|B|-|2026-11-21 10:00:00.000|“” is not a start time"),
                 str("9|A|B|-|2026-11-21 10:00:00.000|“2026-11-21T24:00” is not a start time"),
                 str("10|A|B|-|2026-11-21 10:00:00.000|“2026-02-30T09:30” is not a start time"),
                 str("11|A|B|2026-11-21 09:30:00.000|-|“tomorrow” is not a stop time"),
                 str("12|A|B|2026-11-21 09:30:00.000|-|“2026-11-21T10:00:60” is not a stop time"),
                 str("13|A|B|2026-11-21 09:30:00.000|2026-11-21 10:00:00.000|"),
                 str("14|A|B|-|2026-11-21 10:00:00.000|“2026-11-21T9:30” is not a start time"),
                 str("15|A|B|-|2026-11-21 10:00:00.000|“09:30 ” is not a start time"),
                 str("17|A|B|2026-11-21 09:30:00.000|2026-11-21 10:00:00.000|"),
             }));
}

void TestCliParse::csvNames()
{
    // Control characters (NUL, tab, DEL, line breaks, U+2028) become blanks, invalid UTF-8
    // replacement characters; the rest stays as written.
    const QByteArray data = bytes("Activity,Category,Start,Stop\n"
                                  "\"  Tab\there  \",\x01"
                                  "Cat\x7f,2026-11-21T09:00,\n"
                                  "A\0B,\xff\xfe,2026-11-21T09:00,\n"
                                  "Line\xe2\x80\xa8sep,\"ab\"cd,2026-11-21T09:00,\n"
                                  "\"Ölbaum \"\"Café\"\"\",日本,2026-11-21T09:00,\n"
                                  "\"A\r\n\r\nB\",\"\n\",2026-11-21T09:00,\n");
    const ImportFile file = ImportReader::readCsv(data);
    QCOMPARE(file.error, QString());
    QCOMPARE(rowTexts(file),
             QStringList({str("2|Tab here|Cat|2026-11-21 09:00:00.000|-|"),
                          str("3|A B|\xEF\xBF\xBD\xEF\xBF\xBD|2026-11-21 09:00:00.000|-|"),
                          str("4|Line sep|abcd|2026-11-21 09:00:00.000|-|"),
                          str("5|Ölbaum \"Café\"|日本|2026-11-21 09:00:00.000|-|"),
                          str("6|A    B||2026-11-21 09:00:00.000|-|")}));
}

void TestCliParse::csvLongValueInProblem()
{
    // A thousand lines inside one quoted start value: the message shows its first 79
    // characters on one line, and the next row still has its own line number.
    QByteArray data = bytes(header) + "A,B,\"";
    for (int i = 0; i < 1000; ++i)
        data += "x\r\n";
    data += "\",2026-11-21T10:00,30\r\nC,D,2026-11-21T09:00,2026-11-21T10:00,60\r\n";
    const ImportFile file = ImportReader::readCsv(data);
    QCOMPARE(file.error, QString());
    QString shown;
    for (int i = 0; i < 26; ++i)
        shown += str("x  ");
    shown += str("x…");
    QCOMPARE(shown.size(), 80);
    QCOMPARE(rowTexts(file),
             QStringList(
                 {str("2|A|B|-|2026-11-21 10:00:00.000|“") + shown + str("” is not a start time"),
                  str("1003|C|D|2026-11-21 09:00:00.000|2026-11-21 10:00:00.000|")}));
}

void TestCliParse::jsonOwnExport()
{
    const QByteArray data = bytes(
        "[\n"
        " {\"activity\":\"Café, "
        "\\\"Ölbaum\\\"\",\"category\":\"Küche\",\"start\":\"2026-11-21T09:30\","
        "\"stop\":\"2026-11-21T10:45\",\"minutes\":75},\n"
        " {\"activity\":\"Running\",\"category\":\"Dev\",\"start\":\"2026-11-21T11:00\","
        "\"stop\":null,\"minutes\":null},\n"
        " {\"activity\":\"No stop key\",\"start\":\"2026-11-21T11:00:59\"},\n"
        " {\"activity\":\"\",\"category\":\"X\",\"start\":\"2026-11-21T11:00\","
        "\"stop\":\"2026-11-21T12:00\"},\n"
        " {\"activity\":\"Bad start\",\"start\":\"yesterday\",\"stop\":\"2026-11-21T12:00\"},\n"
        " {\"activity\":\"Bad stop\",\"start\":\"2026-11-21T11:00\",\"stop\":17},\n"
        " {\"activity\":\"No start\"},\n"
        " 42,\n"
        " \"text\",\n"
        " {\"activity\":\"Line\\nbreak\",\"category\":\" Spaced \",\"start\":\"2026-11-21 08:00\","
        "\"stop\":\"\"},\n"
        " {\"activity\":\"Seconds\",\"start\":\"2026-11-21T09:30:59\","
        "\"stop\":\"2026-11-21T09:31:01\",\"minutes\":7},\n"
        " {\"activity\":\"Wrong form\",\"start\":\"20261121T093000Z\"},\n"
        " {\"activity\":5,\"start\":\"2026-11-21T09:30\"}\n"
        "]\n");
    QCOMPARE(ImportReader::detect(data), ImportReader::Format::Json);
    const ImportFile file = ImportReader::readJson(data, str("Timewarrior"), false);
    QCOMPARE(file.error, QString());
    QCOMPARE(rowTexts(file),
             QStringList({
                 str("2|Café, \"Ölbaum\"|Küche|2026-11-21 09:30:00.000|2026-11-21 10:45:00.000|"),
                 str("3|Running|Dev|2026-11-21 11:00:00.000|-|"),
                 str("4|No stop key||2026-11-21 11:00:00.000|-|"),
                 str("5||X|2026-11-21 11:00:00.000|2026-11-21 12:00:00.000|no activity"),
                 str("6|Bad start||-|2026-11-21 12:00:00.000|“yesterday” is not a start time"),
                 str("7|Bad stop||2026-11-21 11:00:00.000|-|“17” is not a stop time"),
                 str("8|No start||-|-|“” is not a start time"),
                 str("9|||-|-|not a task"),
                 str("10|||-|-|not a task"),
                 str("11|Line break|Spaced|2026-11-21 08:00:00.000|-|"),
                 str("12|Seconds||2026-11-21 09:30:00.000|2026-11-21 09:31:00.000|"),
                 str("13|Wrong form||-|-|“20261121T093000Z” is not a start time"),
                 str("14|||2026-11-21 09:30:00.000|-|no activity"),
             }));
    QVERIFY(file.rows.at(1).stop.isNull());
    QVERIFY(file.rows.at(2).stop.isNull());
}

// What "timew export" writes, newest first, with a running and an untagged interval.
const char timewarriorExport[]
    = "[\n"
      "{\"id\":4,\"start\":\"20261120T220000Z\",\"end\":\"20261120T233000Z\","
      "\"tags\":[\"Acme\",\"Design review\"],\"annotation\":\"late\"},\n"
      "{\"id\":3,\"start\":\"20261121T080015Z\",\"end\":\"20261121T091545Z\",\"tags\":[\"Email\"]},"
      "\n"
      "{\"id\":2,\"start\":\"20261121T100000Z\",\"end\":\"20261121T110000Z\"},\n"
      "{\"id\":1,\"start\":\"20261121T120000Z\",\"tags\":[\"Acme\",\"Coding\",\"C++\"]}\n"
      "]\n";

void TestCliParse::jsonTimewarrior_data()
{
    QTest::addColumn<QString>("category");
    QTest::addColumn<bool>("fromFirstTag");
    QTest::addColumn<QStringList>("expected");

    QTest::addRow("tags are the activity")
        << str("Timewarrior") << false
        << QStringList(
               {str("2|Acme Design review|Timewarrior|") + localOf(2026, 11, 20, 22, 0) + u'|'
                    + localOf(2026, 11, 20, 23, 30) + u'|',
                str("3|Email|Timewarrior|") + localOf(2026, 11, 21, 8, 0) + u'|'
                    + localOf(2026, 11, 21, 9, 15) + u'|',
                str("4||Timewarrior|") + localOf(2026, 11, 21, 10, 0) + u'|'
                    + localOf(2026, 11, 21, 11, 0) + str("|no tags"),
                str("5|Acme Coding C++|Timewarrior|") + localOf(2026, 11, 21, 12, 0) + str("|-|")});
    QTest::addRow("first tag is the category")
        << str("Mine") << true
        << QStringList({str("2|Design review|Acme|") + localOf(2026, 11, 20, 22, 0) + u'|'
                            + localOf(2026, 11, 20, 23, 30) + u'|',
                        str("3|Email|Mine|") + localOf(2026, 11, 21, 8, 0) + u'|'
                            + localOf(2026, 11, 21, 9, 15) + u'|',
                        str("4||Mine|") + localOf(2026, 11, 21, 10, 0) + u'|'
                            + localOf(2026, 11, 21, 11, 0) + str("|no tags"),
                        str("5|Coding C++|Acme|") + localOf(2026, 11, 21, 12, 0) + str("|-|")});
}

void TestCliParse::jsonTimewarrior()
{
    QFETCH(QString, category);
    QFETCH(bool, fromFirstTag);
    QFETCH(QStringList, expected);
    const ImportFile file
        = ImportReader::readJson(bytes(timewarriorExport), category, fromFirstTag);
    QCOMPARE(file.error, QString());
    QCOMPARE(rowTexts(file), expected);
    QVERIFY(file.rows.at(3).stop.isNull());
    for (const ImportRow &row : file.rows)
        QCOMPARE(row.start.time().second(), 0);
}

void TestCliParse::jsonTimewarriorProblems()
{
    const QByteArray data
        = bytes("[{\"start\":\"2026-11-21T09:30\",\"end\":\"20261121T100000Z\",\"tags\":[\"a\"]},"
                "{\"start\":\"20261121T093000Z\",\"end\":\"20261121T250000Z\",\"tags\":[\"b\"]},"
                "{\"start\":\"20261121T093000Z\",\"tags\":[]},"
                "{\"start\":\"20261121T093000Z\",\"tags\":[\"\",\" \\t \"]},"
                "{\"end\":\"20261121T093000Z\",\"tags\":[\"c\"]},"
                "{\"start\":123,\"tags\":[\"d\"]},"
                "{\"start\":\"20261121T093000Z\",\"end\":null,\"tags\":[\"e\",\" \",\"f\\ng\"]},"
                "{\"start\":\"20261121T093000\",\"tags\":[\"h\"]},"
                "{\"start\":\"20261121T093000Z\",\"end\":false,\"tags\":[\"i\"]},"
                "[\"not\",\"an\",\"object\"]]");
    const ImportFile file = ImportReader::readJson(data, str("Timewarrior"), true);
    QCOMPARE(file.error, QString());
    const QString nineThirty = localOf(2026, 11, 21, 9, 30);
    QCOMPARE(
        rowTexts(file),
        QStringList({str("1:1|a|Timewarrior|-|") + localOf(2026, 11, 21, 10, 0)
                         + str("|“2026-11-21T09:30” is not a start time"),
                     str("1:2|b|Timewarrior|") + nineThirty
                         + str("|-|“20261121T250000Z” is not a stop time"),
                     str("1:3||Timewarrior|") + nineThirty + str("|-|no tags"),
                     str("1:4||Timewarrior|") + nineThirty + str("|-|no tags"),
                     str("1:5|c|Timewarrior|-|") + nineThirty + str("|“” is not a start time"),
                     str("1:6|d|Timewarrior|-|-|“123” is not a start time"),
                     str("1:7|f g|e|") + nineThirty + str("|-|"),
                     str("1:8|h|Timewarrior|-|-|“20261121T093000” is not a start time"),
                     str("1:9|i|Timewarrior|") + nineThirty + str("|-|“false” is not a stop time"),
                     str("1:10|||-|-|not a task")}));
}

void TestCliParse::jsonFileErrors_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QString>("error");
    const QString neither = str(jsonError);
    const QString cutShort = str(jsonCutShort);

    QTest::addRow("empty") << QByteArray() << neither;
    QTest::addRow("object") << bytes("{}") << neither;
    QTest::addRow("one task") << bytes("{\"activity\":\"x\",\"start\":\"2026-11-21T09:30\"}")
                              << neither;
    QTest::addRow("string") << bytes("\"text\"") << neither;
    QTest::addRow("null") << bytes("null") << neither;
    QTest::addRow("truncated") << bytes("[{\"activity\":\"x\",\"start\":\"2026-11-21T09:30\"")
                               << cutShort;
    QTest::addRow("open bracket") << bytes("[") << cutShort;
    QTest::addRow("trailing comma") << bytes("[1,") << cutShort;
    QTest::addRow("cut inside a string") << bytes("[{\"activity\":\"x") << cutShort;
    QTest::addRow("extra bracket") << bytes("[]]") << neither;
    QTest::addRow("csv") << bytes(header) << neither;
    QTest::addRow("nul inside") << bytes("[\0]") << neither;
    QTest::addRow("invalid utf-8") << bytes("[\"\xff\"]") << neither;
    QTest::addRow("two arrays") << bytes("[][]") << neither;
}

void TestCliParse::jsonFileErrors()
{
    QFETCH(QByteArray, data);
    QFETCH(QString, error);
    const ImportFile file = ImportReader::readJson(data, str("Timewarrior"), false);
    QCOMPARE(file.error, error);
    QCOMPARE(file.rows.size(), 0);
}

void TestCliParse::jsonEmptyArray()
{
    for (const QByteArray &data : {bytes("[]"), bytes("\xEF\xBB\xBF  [ ]\r\n")}) {
        const ImportFile file = ImportReader::readJson(data, str("Timewarrior"), false);
        QCOMPARE(file.error, QString());
        QCOMPARE(file.rows.size(), 0);
    }
}

void TestCliParse::jsonLinesOfPrettyPrintedTasks()
{
    // As "jq ." writes an export: each task over several lines, with a byte order mark, CRLF
    // line ends and a blank line before the array.
    const QByteArray data = bytes("\xEF\xBB\xBF\r\n"
                                  "[\r\n"
                                  "  {\r\n"
                                  "    \"id\": 2,\r\n"
                                  "    \"start\": \"20261121T080000Z\",\r\n"
                                  "    \"end\": \"20261121T090000Z\",\r\n"
                                  "    \"tags\": [\r\n"
                                  "      \"Acme\",\r\n"
                                  "      \"Coding\"\r\n"
                                  "    ]\r\n"
                                  "  },\r\n"
                                  "  {\r\n"
                                  "    \"id\": 1,\r\n"
                                  "    \"start\": \"20261121T100000Z\",\r\n"
                                  "    \"tags\": []\r\n"
                                  "  }\r\n"
                                  "  ,\r\n"
                                  "\r\n"
                                  "  {\"start\": \"late\", \"tags\": [\"x\"]}\r\n"
                                  "]\r\n");
    const ImportFile file = ImportReader::readJson(data, str("T"), true);
    QCOMPARE(file.error, QString());
    QCOMPARE(rowTexts(file),
             QStringList({str("3|Coding|Acme|") + localOf(2026, 11, 21, 8, 0) + u'|'
                              + localOf(2026, 11, 21, 9, 0) + u'|',
                          str("12||T|") + localOf(2026, 11, 21, 10, 0) + str("|-|no tags"),
                          str("19|x|T|-|-|“late” is not a start time")}));
}

void TestCliParse::jsonLinesOfOneLineExport()
{
    // Several tasks on one line are told apart by their place in the file.
    const QByteArray data = bytes(
        "[{\"start\":\"20261121T080000Z\",\"tags\":[\"a\"]},{\"start\":\"x\",\"tags\":[\"b\"]},"
        "{\"start\":\"20261121T090000Z\",\"end\":\"20261121T091000Z\",\"tags\":[\"c\"]},\n"
        "{\"start\":\"y\",\"tags\":[\"d\"]},\n"
        "7, {\"start\":\"z\",\"tags\":[\"e\"]}]");
    const ImportFile file = ImportReader::readJson(data, str("T"), false);
    QCOMPARE(file.error, QString());
    QCOMPARE(rowTexts(file),
             QStringList({str("1:1|a|T|") + localOf(2026, 11, 21, 8, 0) + str("|-|"),
                          str("1:2|b|T|-|-|“x” is not a start time"),
                          str("1:3|c|T|") + localOf(2026, 11, 21, 9, 0) + u'|'
                              + localOf(2026, 11, 21, 9, 10) + u'|',
                          str("2|d|T|-|-|“y” is not a start time"), str("3:5|||-|-|not a task"),
                          str("3:6|e|T|-|-|“z” is not a start time")}));

    // A single task on its line has no number.
    const ImportFile one
        = ImportReader::readJson(bytes("[{\"start\":\"x\",\"tags\":[\"a\"]}]"), str("T"), false);
    QCOMPARE(rowTexts(one), QStringList({str("1|a|T|-|-|“x” is not a start time")}));
}

void TestCliParse::jsonLinesBesideTextThatLooksLikeJson()
{
    // Brackets, braces, commas and escaped quotes inside strings are text, and so are escaped
    // line breaks; a string that ends in a backslash ends all the same.
    const QByteArray data
        = bytes("[\n"
                "{\"tags\":[\"],{[\\\"\", \"a\\\\\"], \"annotation\":\"}]\\n,{\",\n"
                "  \"start\":\"bad 1\"},\n"
                "\"]\", \"{\\\"\", [\"[\", {\"k\":\"]}\"}],\n"
                "{\"tags\":[\"\\\\\"],\"start\":\"bad 2\",\n"
                "\"x\":{\"y\":[[\"\\\"],\"]]}}\n"
                ", {\"tags\":[\"\\u005d\"],\"start\":\"bad 3\"}]\n");
    const ImportFile file = ImportReader::readJson(data, str("T"), false);
    QCOMPARE(file.error, QString());
    QCOMPARE(rowTexts(file), QStringList({str("2|],{[\" a\\|T|-|-|“bad 1” is not a start time"),
                                          str("4:2|||-|-|not a task"), str("4:3|||-|-|not a task"),
                                          str("4:4|||-|-|not a task"),
                                          str("5|\\|T|-|-|“bad 2” is not a start time"),
                                          str("7|]|T|-|-|“bad 3” is not a start time")}));
}

void TestCliParse::otherTimeZones()
{
    {
        const TimeZoneGuard zone("Europe/Berlin");
        // Winter and summer time; 00:30 and 01:30 UTC on 25 October 2026 are both 02:30 in
        // Berlin, the first in summer time and the second in winter time.
        const ImportFile file = ImportReader::readJson(
            bytes(
                "[{\"start\":\"20261121T093000Z\",\"end\":\"20260701T093045Z\",\"tags\":[\"a\"]},"
                "{\"start\":\"20261025T003059Z\",\"end\":\"20261025T013000Z\",\"tags\":[\"b\"]}]"),
            str("T"), false);
        QCOMPARE(rowTexts(file),
                 QStringList({str("1:1|a|T|2026-11-21 10:30:00.000|2026-07-01 11:30:00.000|"),
                              str("1:2|b|T|2026-10-25 02:30:00.000|2026-10-25 02:30:00.000|")}));
        const ImportRow &twice = file.rows.at(1);
        QCOMPARE(twice.start.offsetFromUtc(), 7200);
        QCOMPARE(twice.stop.offsetFromUtc(), 3600);
        QCOMPARE(twice.start.toMSecsSinceEpoch(),
                 QDateTime(QDate(2026, 10, 25), QTime(0, 30), Qt::UTC).toMSecsSinceEpoch());
        QCOMPARE(twice.stop.toMSecsSinceEpoch(),
                 QDateTime(QDate(2026, 10, 25), QTime(1, 30), Qt::UTC).toMSecsSinceEpoch());

        // The hour skipped in spring is no time at all.
        QString error;
        const QDateTime now(QDate(2026, 3, 29), QTime(12, 0));
        QVERIFY(!TimeArgument::parseMoment(str("2026-03-29 02:30"), now, &error).isValid());
        QCOMPARE(error, str("“2026-03-29 02:30” is not a time: use 09:30, 2026-11-21T09:30 or a "
                            "day and a time such as yesterday 17:00"));
        QCOMPARE(TimeArgument::parseMoment(str("3:00"), now, &error),
                 QDateTime(QDate(2026, 3, 29), QTime(3, 0)));
        const ImportFile csv = ImportReader::readCsv(bytes("Activity,Start,Stop\r\n"
                                                           "A,2026-03-29T02:30,\r\n"));
        QCOMPARE(rowTexts(csv),
                 QStringList({str("2|A||-|-|“2026-03-29T02:30” is not a start time")}));
    }
    {
        const TimeZoneGuard zone("Asia/Kolkata");
        const ImportFile file = ImportReader::readJson(
            bytes(
                "[{\"start\":\"20261121T093000Z\",\"end\":\"20261121T184559Z\",\"tags\":[\"a\"]}]"),
            str("T"), false);
        QCOMPARE(rowTexts(file),
                 QStringList({str("1|a|T|2026-11-21 15:00:00.000|2026-11-22 00:15:00.000|")}));
    }
}

void TestCliParse::randomBytesDoNotCrash()
{
    const QByteArray noise = randomBytes(5 * 1024 * 1024, 20261121);
    ImportReader::detect(noise);
    const ImportFile csv = ImportReader::readCsv(noise);
    QCOMPARE(csv.error, str(headerError));
    QCOMPARE(csv.rows.size(), 0);
    QCOMPARE(ImportReader::readJson(noise, str("T"), false).error, str(jsonError));
    QCOMPARE(ImportReader::readJson("[" + noise, str("T"), true).error, str(jsonError));

    // Behind a good first line, every row of noise is read and refused.
    const ImportFile rows = ImportReader::readCsv(bytes(header) + noise);
    QCOMPARE(rows.error, QString());
    QVERIFY(rows.rows.size() > 1000);
    int line = 1;
    for (const ImportRow &row : rows.rows) {
        QVERIFY(row.line > line);
        QVERIFY(!row.problem.isEmpty());
        line = row.line;
    }
}

void TestCliParse::unterminatedQuote()
{
    // The rest of the file becomes the first field of the second line.
    QByteArray rest;
    while (rest.size() < 1024 * 1024)
        rest += "x,y,2026-11-21T09:30,,\r\n\"\"";
    const ImportFile file = ImportReader::readCsv(bytes(header) + "\"" + rest);
    QCOMPARE(file.error, QString());
    QCOMPARE(file.rows.size(), 1);
    const ImportRow &row = file.rows.at(0);
    QCOMPARE(row.line, 2);
    QCOMPARE(row.problem, str("1 fields where the first line has 5"));
    QVERIFY(row.activity.startsWith(str("x,y,2026-11-21T09:30,,  \"x,y,2026-11-21T09:30,,  \"x")));

    // In the Stop column, with the start read.
    const ImportFile stop = ImportReader::readCsv(bytes(header) + "A,B,2026-11-21T09:30,\"" + rest);
    QCOMPARE(stop.rows.size(), 1);
    QCOMPARE(rowText(stop.rows.at(0)),
             str("2|A|B|2026-11-21 09:30:00.000|-|4 fields where the first line has 5"));

    const ImportFile json = ImportReader::readJson("[{\"activity\":\"" + rest, str("T"), false);
    QCOMPARE(json.error, str(jsonError));
}

void TestCliParse::runawayLines()
{
    // Two million commas, then two million doubled quotes inside one field.
    QByteArray data = bytes(header) + QByteArray(2000000, ',') + "\r\n\"" + QByteArray(4000000, '"')
                      + "\",B,2026-11-21T09:00,,\r\n";
    const ImportFile file = ImportReader::readCsv(data);
    QCOMPARE(file.error, QString());
    QCOMPARE(file.rows.size(), 2);
    QCOMPARE(rowText(file.rows.at(0)), str("2|||-|-|2000001 fields where the first line has 5"));
    QCOMPARE(file.rows.at(1).activity, QString(2000000, u'"'));
    QCOMPARE(file.rows.at(1).problem, QString());
    QCOMPARE(file.rows.at(1).line, 3);
}

void TestCliParse::deepJson()
{
    const ImportFile arrays = ImportReader::readJson(
        QByteArray(100000, '[') + QByteArray(100000, ']'), str("T"), false);
    QCOMPARE(arrays.error, str(jsonError));
    QByteArray objects;
    for (int i = 0; i < 50000; ++i)
        objects += "{\"a\":";
    objects += "1" + QByteArray(50000, '}');
    QCOMPARE(ImportReader::readJson("[" + objects + "]", str("T"), false).error, str(jsonError));

    // Nesting Qt still accepts is a single element that is not a task.
    const ImportFile shallow
        = ImportReader::readJson(QByteArray(500, '[') + QByteArray(500, ']'), str("T"), false);
    QCOMPARE(shallow.error, QString());
    QCOMPARE(rowTexts(shallow), QStringList({str("1|||-|-|not a task")}));
}

void TestCliParse::manyRows()
{
    QByteArray csv = bytes(header);
    QByteArray json = "[";
    for (int i = 0; i < 200000; ++i) {
        csv += "Work,Office,2026-11-21T09:00,2026-11-21T17:00,480\r\n";
        json += "{\"activity\":\"Work\",\"start\":\"2026-11-21T09:00\"},";
    }
    json += "{\"activity\":\"Last\",\"start\":\"2026-11-21T09:00\"}]";
    const ImportFile fromCsv = ImportReader::readCsv(csv);
    QCOMPARE(fromCsv.rows.size(), 200000);
    QCOMPARE(rowText(fromCsv.rows.last()),
             str("200001|Work|Office|2026-11-21 09:00:00.000|2026-11-21 17:00:00.000|"));
    const ImportFile fromJson = ImportReader::readJson(json, str("T"), false);
    QCOMPARE(fromJson.rows.size(), 200001);
    QCOMPARE(rowText(fromJson.rows.last()), str("1:200001|Last||2026-11-21 09:00:00.000|-|"));
}

QUORVEL_TEST_GUILESS_MAIN(TestCliParse)

#include "tst_cliparse.moc"
