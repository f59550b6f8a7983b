// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// Damaged and hostile document strings: whatever a data file or a server reply holds, reading
// it and then using the document must not crash, read outside the buffer or hang.

#include "DocumentBuilder.h"
#include "TestEnvironment.h"

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

QUORVEL_TEST_GUILESS_MAIN(TestHostile)
#include "tst_hostile.moc"
