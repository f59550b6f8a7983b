// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// Damaged and hostile document strings: whatever a data file or a server reply holds, reading
// it and then using the document must not crash, read outside the buffer or hang.

#include "DocumentBuilder.h"
#include "TestEnvironment.h"

#include "model/MessageMarkup.h"

#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QtTest>

#include <cstring>
#include <iterator>
#include <memory>

namespace {

// Three categories (one obsolete but used), four activities (one obsolete with a task, one
// with a non-ASCII name), stopped, running and synchronised tasks with slots, two deleted ids.
const QByteArray &richDocument()
{
    // clang-format off
    static const QByteArray text = QByteArrayLiteral(
        "--start--\n"
        "105\n"
        "1012\n"
        "3\n"
        "1000\n" "Bill rate 1\n" "0\n"
        "1002\n" "Old rate\n" "1\n"
        "1001\n" "Private\n" "0\n"
        "4\n"
        "1003\n" "Archive\n" "1\n" "1\n"
        "1004\n" "Garden\n" "0\n" "2\n"
        "1005\n" "Na\xC3\xAFve caf\xC3\xA9\n" "0\n" "0\n"
        "1006\n" "Writing\n" "0\n" "0\n"
        "4\n"
        "1007\n" "0\n" "0\n"
        "2026\n" "11\n" "10\n" "8\n" "0\n"
        "2026\n" "11\n" "10\n" "9\n" "30\n"
        "2026\n" "11\n" "10\n" "9\n" "31\n" "5\n"
        "1\n"
        "1008\n" "3\n" "1\n"
        "2026\n" "11\n" "19\n" "13\n" "15\n"
        "2026\n" "11\n" "19\n" "17\n" "0\n"
        "0\n" "0\n" "0\n" "0\n" "0\n" "0\n"
        "0\n"
        "1009\n" "2\n" "3\n"
        "2026\n" "11\n" "20\n" "23\n" "30\n"
        "2026\n" "11\n" "21\n" "0\n" "45\n"
        "0\n" "0\n" "0\n" "0\n" "0\n" "0\n"
        "0\n"
        "1010\n" "1\n" "2\n"
        "2026\n" "11\n" "21\n" "9\n" "0\n"
        "0\n" "0\n" "0\n" "0\n" "0\n"
        "2026\n" "11\n" "21\n" "9\n" "0\n" "59\n"
        "1\n"
        "2\n"
        "17\n"
        "999\n"
        "--end--\n");
    // clang-format on
    return text;
}

// Line numbers (from 0) of the four counts in richDocument().
const int CountLines[] = {3, 13, 30, 111};

// Reads from a heap buffer of exactly the given bytes, so that the sanitizers catch any read
// past the end (a QByteArray carries a terminating zero behind its data).
bool readExactly(QuorvelDocument &doc, const QByteArray &bytes)
{
    const std::unique_ptr<char[]> buffer(new char[size_t(bytes.size())]);
    if (!bytes.isEmpty())
        std::memcpy(buffer.get(), bytes.constData(), size_t(bytes.size()));
    return doc.populateFromByteArray(buffer.get(), int(bytes.size()));
}

// Uses a document read from damaged input the way the program would. Checks with QVERIFY, so
// the caller looks at QTest::currentTestFailed() afterwards.
void exercise(QuorvelDocument &doc)
{
    const QString written = doc.getDocumentString();
    QVERIFY(written.startsWith(QStringLiteral("--start--\n105\n")));
    QVERIFY(written.endsWith(QStringLiteral("\n--end--\n")));

    doc.categories.sort();
    doc.activities.sort();
    doc.tasks.sort();

    const QList<QVTask *> tasks = doc.tasks;
    for (QVTask *task : tasks) {
        if (!task->activity) {
            task->shortcut = 0;
            doc.includeShortcut(task);
            QCOMPARE(task->shortcut, 0);
        }
    }
    for (QVTask *task : tasks)
        doc.includeShortcut(task);

    bool running = false;
    const QList<Activity *> activities = doc.activities;
    for (const Activity *activity : activities) {
        doc.getActivityDuration(QDate(2026, 11, 1), QDate(2026, 11, 30), activity, &running);
        doc.getActivityDuration(QDate(2026, 11, 21), QDate(2026, 11, 21), activity, &running);
    }
    doc.getActivityDuration(QDate(2026, 11, 1), QDate(2026, 11, 30), nullptr, &running);

    const int all = doc.getNumActiveActivities(true);
    const int active = doc.getNumActiveActivities(false);
    QVERIFY(active <= all);
    QVERIFY(all <= doc.activities.size());
    QVERIFY(doc.getNumActiveCategories() <= doc.categories.size());

    doc.removeObsoleteActivitiesAndCategories();
    for (const Activity *activity : std::as_const(doc.activities)) {
        if (activity->obsolete)
            QVERIFY(doc.hasActivityGotTasks(activity));
    }
    QVERIFY(doc.getDocumentString().endsWith(QStringLiteral("\n--end--\n")));
}

QByteArray randomByte(QRandomGenerator &random)
{
    static const char awkward[] = {'\0', '\n', '\r', '\xFF', '-', '\t', ' '};
    switch (random.bounded(3)) {
    case 0:
        return QByteArray(1, awkward[random.bounded(int(sizeof(awkward)))]);
    case 1:
        return QByteArray(1, char('0' + random.bounded(10)));
    default:
        return QByteArray(1, char(random.bounded(256)));
    }
}

// One random change of the kinds a damaged file or a hostile peer produces.
void mutate(QByteArray &text, QRandomGenerator &random)
{
    static const QByteArray hugeValues[]
        = {QByteArrayLiteral("2147483647"),  QByteArrayLiteral("-5"),
           QByteArrayLiteral("-2147483648"), QByteArrayLiteral("99999999999999999999"),
           QByteArrayLiteral("1000000"),     QByteArrayLiteral("0")};

    const int size = int(text.size());
    switch (random.bounded(7)) {
    case 0: // overwrite a byte
        if (size > 0)
            text[random.bounded(size)] = randomByte(random).at(0);
        break;
    case 1: // delete a few bytes
        if (size > 0)
            text.remove(random.bounded(size), 1 + random.bounded(8));
        break;
    case 2: // insert a byte
        text.insert(random.bounded(size + 1), randomByte(random));
        break;
    case 3: { // duplicate a line
        QByteArrayList lines = text.split('\n');
        const int i = random.bounded(int(lines.size()));
        lines.insert(i, lines.at(i));
        text = lines.join('\n');
        break;
    }
    case 4: { // a count, or now and then any line, replaced by an extreme number
        QByteArrayList lines = text.split('\n');
        int i = CountLines[random.bounded(4)];
        if (random.bounded(4) == 0)
            i = random.bounded(int(lines.size()));
        if (i < lines.size())
            lines[i] = hugeValues[random.bounded(int(std::size(hugeValues)))];
        text = lines.join('\n');
        break;
    }
    case 5: // cut off
        text.truncate(random.bounded(size + 1));
        break;
    default: { // drop a whole line
        QByteArrayList lines = text.split('\n');
        lines.removeAt(random.bounded(int(lines.size())));
        text = lines.join('\n');
        break;
    }
    }
}

} // namespace

class TestHostile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void richDocumentReads();
    void everyPrefix();
    void randomMutations();
    void extremeCounts_data();
    void extremeCounts();
    void emptyBuffers();
    void messageMarkup_data();
    void messageMarkup();
    void messageMarkupBounds_data();
    void messageMarkupBounds();
};

void TestHostile::richDocumentReads()
{
    const QByteArrayList lines = richDocument().split('\n');
    QCOMPARE(lines.size(), 116); // 115 lines and the empty rest after the last line feed
    QCOMPARE(lines.at(CountLines[0]), QByteArrayLiteral("3"));
    QCOMPARE(lines.at(CountLines[1]), QByteArrayLiteral("4"));
    QCOMPARE(lines.at(CountLines[2]), QByteArrayLiteral("4"));
    QCOMPARE(lines.at(CountLines[3]), QByteArrayLiteral("2"));

    QuorvelDocument doc;
    QVERIFY(readExactly(doc, richDocument()));
    QCOMPARE(doc.nextId, 1012);
    QCOMPARE(doc.categories.size(), 3);
    QCOMPARE(doc.activities.size(), 4);
    QCOMPARE(doc.activities.at(2)->name, QStringLiteral("Naïve café"));
    QCOMPARE(doc.tasks.size(), 4);
    QCOMPARE(doc.tasks.at(0)->activity, doc.activities.at(0));
    QCOMPARE(doc.tasks.at(3)->shortcut, 2);
    QVERIFY(doc.tasks.at(3)->isRunning());
    QCOMPARE(doc.deletedTaskIds, QList<int>({17, 999}));
    // Written back unchanged: the lists were read in their sorted order.
    QCOMPARE(doc.getDocumentString(), QString::fromUtf8(richDocument()));
}

void TestHostile::everyPrefix()
{
    const QByteArray &whole = richDocument();
    const int length = int(whole.size());
    for (int cut = 0; cut <= length; ++cut) {
        QuorvelDocument doc;
        const bool read = readExactly(doc, whole.left(cut));
        // Only the whole text, or the whole text without its last line feed, ends in the
        // closing marker.
        const bool expected = cut >= length - 1;
        if (read != expected)
            qWarning("prefix of %d bytes of %d", cut, length);
        QCOMPARE(read, expected);
        exercise(doc);
        if (QTest::currentTestFailed()) {
            qWarning("prefix of %d bytes of %d", cut, length);
            return;
        }
    }
}

void TestHostile::randomMutations()
{
    QRandomGenerator random(4711);
    int accepted = 0;
    for (int run = 0; run < 5000; ++run) {
        QByteArray text = richDocument();
        for (int changes = 1 + int(random.bounded(3)); changes > 0; --changes)
            mutate(text, random);

        QuorvelDocument doc;
        const bool read = readExactly(doc, text);
        if (read) {
            ++accepted;
            // What was read and accepted is written so that it reads back the same way.
            const QString written = doc.getDocumentString();
            QuorvelDocument again;
            QVERIFY(readExactly(again, written.toUtf8()));
            QCOMPARE(again.getDocumentString(), written);
        }
        exercise(doc);
        if (QTest::currentTestFailed()) {
            qWarning("run %d, input %s", run, text.toPercentEncoding().constData());
            return;
        }
    }
    // Some changes (a doubled blank, a digit in a name) leave the text readable.
    QVERIFY(accepted > 0);
    QVERIFY(accepted < 5000);
}

void TestHostile::extremeCounts_data()
{
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<bool>("result");

    QTest::newRow("categories") << QByteArrayLiteral("--start--\n105\n1000\n2147483647\n") << false;
    QTest::newRow("categories with one record")
        << QByteArrayLiteral("--start--\n105\n1000\n2147483647\n1\nA\n0\n") << false;
    QTest::newRow("activities") << QByteArrayLiteral("--start--\n105\n1000\n0\n2147483647\n")
                                << false;
    QTest::newRow("tasks") << QByteArrayLiteral("--start--\n105\n1000\n0\n0\n2147483647\n")
                           << false;
    QTest::newRow("deleted ids") << QByteArrayLiteral("--start--\n105\n1000\n0\n0\n0\n2147483647\n")
                                 << false;
    QTest::newRow("deleted ids, no line feed")
        << QByteArrayLiteral("--start--\n105\n1000\n0\n0\n0\n2147483647") << false;
    // A count of zero or less reads no records.
    QTest::newRow("negative counts")
        << QByteArrayLiteral("--start--\n105\n1000\n-5\n-1\n-2147483648\n-5\n--end--\n") << true;
    // strtol clamps to the largest long, which as an int is -1.
    QTest::newRow("count beyond long")
        << QByteArrayLiteral("--start--\n105\n1000\n99999999999999999999\n0\n0\n0\n--end--\n")
        << true;
}

void TestHostile::extremeCounts()
{
    QFETCH(QByteArray, input);
    QFETCH(bool, result);

    QuorvelDocument doc;
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(readExactly(doc, input), result);
    // Generous: a loop over two thousand million records would take far longer.
    QVERIFY2(timer.elapsed() < 5000, "reading a huge count took too long");
    QVERIFY(doc.categories.size() < 10);
    QVERIFY(doc.activities.size() < 10);
    QVERIFY(doc.tasks.size() < 10);
    QVERIFY(doc.deletedTaskIds.size() < 10);
    if (result) {
        QVERIFY(doc.categories.isEmpty());
        QVERIFY(doc.activities.isEmpty());
        QVERIFY(doc.tasks.isEmpty());
        QVERIFY(doc.deletedTaskIds.isEmpty());
    }
    exercise(doc);
}

void TestHostile::emptyBuffers()
{
    QuorvelDocument doc;
    // A whole valid document behind the pointer, but none of it is to be read.
    QByteArray text = richDocument();
    QVERIFY(!doc.populateFromByteArray(text.data(), 0));
    QVERIFY(!doc.populateFromByteArray(nullptr, 0));
    QVERIFY(doc.categories.isEmpty());
    QVERIFY(doc.activities.isEmpty());
    QVERIFY(doc.tasks.isEmpty());
    QCOMPARE(doc.nextId, 1000);
}

// A server's personal messages rebuilt as the rich text the view is given: allowed tags with
// their harmless attributes, every element closed; nothing (plain text) for anything else.
void TestHostile::messageMarkup_data()
{
    QTest::addColumn<QByteArray>("message");
    QTest::addColumn<bool>("rich");
    QTest::addColumn<QString>("html");

    const auto rich = [](const char *name, const QByteArray &message, const char *html) {
        QTest::newRow(name) << message << true << QString::fromUtf8(html);
    };
    const auto plain = [](const char *name, const QByteArray &message) {
        QTest::newRow(name) << message << false << QString();
    };

    rich("text", "Hello", "Hello");
    rich("formatting", "<B>Hi</B> <i>you</i><br/><hr>", "<b>Hi</b> <i>you</i><br><hr>");
    rich("two-row table",
         "<table border=1><tr><th>Name</th><th>Hours</th></tr><tr><td>Ann</td><td>12</td></tr>"
         "</table>",
         "<table border=\"1\"><tr><th>Name</th><th>Hours</th></tr><tr><td>Ann</td><td>12</td></tr>"
         "</table>");
    rich("cells and rows closed where the next begins",
         "<table><thead><tr><th>A<th>B<tbody><tr><td>1<td><b>2</table>after",
         "<table><thead><tr><th>A</th><th>B</th></tr></thead><tbody><tr><td>1</td><td><b>2</b>"
         "</td></tr></tbody></table>after");
    rich("a caption", "<table><caption>Due</caption><tr><td>x</td></tr></table>",
         "<table><caption>Due</caption><tr><td>x</td></tr></table>");
    rich("unclosed at the end", "<p><b>bold", "<p><b>bold</b></p>");
    rich("a closing tag of nothing open", "a</b></table></td>b", "ab");
    rich("a closing tag does not leave its cell",
         "<b><table><tr><td>in</b>side</td></tr></table>out</b>",
         "<b><table><tr><td>inside</td></tr></table>out</b>");
    rich("html and body dropped", "<html><body bgcolor=red>Hi</body></html>", "Hi");
    rich("attributes kept", "<font color=\"#FF0000\" size=+2>Red</font><p align=center>c</p>",
         "<font color=\"#FF0000\" size=\"+2\">Red</font><p align=\"center\">c</p>");
    rich("table attributes within bounds",
         "<table width=\"50%\" cellpadding=4 bgcolor=yellow><tr valign=top>"
         "<td colspan=2 rowspan=3 width=200>x</td></tr></table>",
         "<table width=\"50%\" cellpadding=\"4\" bgcolor=\"yellow\"><tr valign=\"top\">"
         "<td colspan=\"2\" rowspan=\"3\" width=\"200\">x</td></tr></table>");
    rich("sizes beyond the bounds dropped",
         "<table width=100000 border=99 cellspacing=1000><tr><td colspan=33 rowspan=65 "
         "width=\"101%\">x</td></tr></table>",
         "<table><tr><td>x</td></tr></table>");
    rich("everything that names or styles dropped",
         "<a href=\"http://127.0.0.1/x\">link</a><span style=\"background: url(http://x/)\" "
         "class=c id=i>s</span><font color=\"url(http://x/)\" face=Sans>f</font>"
         "<table background=\"http://x/t\"><tr><td background=\"http://x/c\">c</td></tr></table>",
         "<a>link</a><span>s</span><font>f</font><table><tr><td>c</td></tr></table>");
    rich("white space between rows", "<table>\n <tr>\n  <td>x</td>\n </tr>\n</table>",
         "<table>\n <tr>\n  <td>x</td>\n </tr>\n</table>");
    rich("tables nested 3 deep",
         QByteArray("<table><tr><td>").repeated(3) + "deep"
             + QByteArray("</td></tr></table>").repeated(3),
         "<table><tr><td><table><tr><td><table><tr><td>deep</td></tr></table></td></tr></table>"
         "</td></tr></table>");

    plain("an image", "<img src=\"file:///dev/zero\">");
    plain("a script", "<script>x</script>");
    plain("a comment", "<!-- x -->");
    plain("a style sheet", "<style>p { color: red }</style>");
    plain("a tag that does not end", "<b");
    plain("an attribute without its closing quote", "<font color=\"red>Red</font>");
    plain("a row without its table", "<tr><td>x</td></tr>");
    plain("a cell without its row", "<table><td>x</td></table>");
    plain("text between rows", "<table>x<tr><td>y</td></tr></table>");
    plain("formatting between rows", "<table><b><tr><td>y</td></tr></b></table>");
    plain("a line break between cells", "<table><tr><br><td>y</td></tr></table>");
    plain("a caption outside its table", "<caption>x</caption>");
    plain("a table body outside its table", "<tbody><tr><td>x</td></tr></tbody>");
    plain("tables nested 4 deep", QByteArray("<table><tr><td>").repeated(4) + "deep"
                                      + QByteArray("</td></tr></table>").repeated(4));
    plain("a table in a row", "<table><tr><table></table></tr></table>");
}

void TestHostile::messageMarkup()
{
    QFETCH(QByteArray, message);
    QFETCH(bool, rich);
    QFETCH(QString, html);

    const std::optional<MessageMarkup::Markup> markup = MessageMarkup::richText(message);
    QCOMPARE(markup.has_value(), rich);
    if (rich)
        QCOMPARE(markup->html, html);
}

// The bounds on nesting and cells, met exactly and passed by one.
void TestHostile::messageMarkupBounds_data()
{
    QTest::addColumn<QByteArray>("message");
    QTest::addColumn<bool>("rich");

    const auto nested = [](int depth) {
        return QByteArray("<i>").repeated(depth) + "x" + QByteArray("</i>").repeated(depth);
    };
    QTest::newRow("nested 32") << nested(MessageMarkup::MaxDepth) << true;
    QTest::newRow("nested 33") << nested(MessageMarkup::MaxDepth + 1) << false;
    // Closed elements give their level back.
    QTest::newRow("10000 closed in a row") << QByteArray("<b>x</b>").repeated(10000) << true;
    QTest::newRow("33 unclosed paragraphs") << QByteArray("<p>x").repeated(33) << false;

    const auto table = [](int rows, int columns) {
        return "<table>"
               + ("<tr>" + QByteArray("<td>1</td>").repeated(columns) + "</tr>").repeated(rows)
               + "</table>";
    };
    QTest::newRow("500 cells") << table(50, 10) << true;
    QTest::newRow("500 cells in two tables")
        << table(166, 3) + "<table><tr><td>1</td><td>2</td></tr></table>" << true;
    QTest::newRow("501 cells in two tables") << table(166, 3) + table(1, 3) << false;
    QTest::newRow("32 columns") << table(2, MessageMarkup::MaxColumns) << true;
    QTest::newRow("33 columns") << table(1, MessageMarkup::MaxColumns + 1) << false;
    QTest::newRow("a huge table") << table(10000, 20) << false;
    // Rows without cells still take a column's room.
    QTest::newRow("501 rows, one cell")
        << "<table><tr><td>1</td></tr>" + QByteArray("<tr></tr>").repeated(500) + "</table>"
        << false;
    // A cell spanning rows pushes the next row's cells to its right.
    QTest::newRow("spanned rows push cells right")
        << QByteArray("<table><tr><td rowspan=2 colspan=31>a</td><td>b</td></tr>"
                      "<tr><td>c</td><td>d</td></tr></table>")
        << false;
    QTest::newRow("spanned rows, 32 columns")
        << QByteArray("<table><tr><td rowspan=2 colspan=31>a</td><td>b</td></tr>"
                      "<tr><td>c</td></tr></table>")
        << true;
    QTest::newRow("nested tables share the cells")
        << "<table><tr><td>" + table(25, 10) + "</td><td>" + table(25, 10) + "</td></tr></table>"
        << false;
}

void TestHostile::messageMarkupBounds()
{
    QFETCH(QByteArray, message);
    QFETCH(bool, rich);

    QCOMPARE(MessageMarkup::richText(message).has_value(), rich);
}

QUORVEL_TEST_GUILESS_MAIN(TestHostile)
#include "tst_hostile.moc"
