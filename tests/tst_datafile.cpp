// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The data file: the document string written by getDocumentString, read back by
// populateFromByteArray and its cursor helpers, and load() / save() on the real file.

#include "DocumentBuilder.h"
#include "TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QtTest>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

// One category "Home" (id 7) and one activity "Garden" (id 8) in it; no tasks.
// clang-format off
const char HomeGarden[] = "--start--\n105\n1000\n"
                          "1\n7\nHome\n0\n"
                          "1\n8\nGarden\n0\n0\n"
                          "0\n"
                          "0\n"
                          "--end--\n";
// clang-format on

// The reader may write into the buffer, so it always gets its own copy.
bool populate(QuorvelDocument &doc, QByteArray bytes)
{
    return doc.populateFromByteArray(bytes.data(), int(bytes.size()));
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    return file.readAll();
}

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate)
           && file.write(bytes) == bytes.size();
}

// A buffer of exactly the given bytes on the heap, so that the sanitizers see any read past
// its end (a QByteArray always carries a terminating zero behind its data).
std::unique_ptr<char[]> exactCopy(const QByteArray &bytes)
{
    std::unique_ptr<char[]> copy(new char[size_t(bytes.size())]);
    if (!bytes.isEmpty())
        std::memcpy(copy.get(), bytes.constData(), size_t(bytes.size()));
    return copy;
}

// Restores a folder's permissions when the test leaves, whatever way it leaves.
class PermissionGuard
{
public:
    explicit PermissionGuard(const QString &path)
        : m_path(path)
        , m_permissions(QFile::permissions(path))
    {}
    ~PermissionGuard() { QFile::setPermissions(m_path, m_permissions); }

private:
    QString m_path;
    QFileDevice::Permissions m_permissions;
};

} // namespace

class TestDataFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void emptyDocumentString();
    void emptyDocumentSave();
    void smallDocumentByteExact();
    void startAndStopLoseSeconds();
    void runningTaskWrittenWithZeroStop();
    void roundTrip();

    void separatorsBetweenValuesIgnored_data();
    void separatorsBetweenValuesIgnored();
    void carriageReturnStaysInName();
    void byteOrderMarkStaysInName();
    void byteOrderMarkBeforeTheFile();
    void emptyNameShiftsValues();
    void endMarkerWithoutLineFeed();
    void appendsToExistingRecords();
    void refusedAtStart_data();
    void refusedAtStart();
    void outOfRangePositions();

    void loadMissingFile();
    void loadWrongMarker();
    void loadSavedFile();
    void loadClearsFirst();

    void saveWhenRenameFails();
    void saveWhenNewFileCannotBeOpened();
    void saveWhenWriteFails();
    void saveInUnwritableFolder();

    void skipControlCharacters_data();
    void skipControlCharacters();
    void readInt_data();
    void readInt();
    void readString_data();
    void readString();
    void readIntAgreesWithStrtol();

    void cleanName_data();
    void cleanName();
    void cleanedNamesAlwaysReadBack();
    void reservedNames();
    void catalogueNames_data();
    void catalogueNames();
    void namesAreOneRegardlessOfCase();
};

void TestDataFile::init()
{
    TestEnvironment::wipe();
}

void TestDataFile::emptyDocumentString()
{
    QuorvelDocument doc;
    QCOMPARE(doc.nextId, 1000);
    QCOMPARE(doc.getDocumentString(),
             QStringLiteral("--start--\n105\n1000\n0\n0\n0\n0\n--end--\n"));
}

void TestDataFile::emptyDocumentSave()
{
    QuorvelDocument doc;
    QVERIFY(doc.save());
    const QString path = QuorvelDocument::dataFilePath();
    QCOMPARE(readFile(path), QByteArrayLiteral("--start--\n105\n1000\n0\n0\n0\n0\n--end--\n"));
    QVERIFY(!QFileInfo::exists(path + QStringLiteral(".new")));
}

void TestDataFile::smallDocumentByteExact()
{
    QuorvelDocument doc;
    DocumentBuilder b(doc);
    // Appended out of order on purpose: positions are those of the sorted lists.
    ActivityCategory *privat = b.category(QStringLiteral("Private"));    // 1000
    ActivityCategory *rate = b.category(QStringLiteral("Bill rate"));    // 1001
    Activity *zeta = b.activity(QStringLiteral("Zeta work"), rate);      // 1002
    Activity *cafe = b.activity(QStringLiteral("Café Ünïcode"), privat); // 1003
    Activity *old = b.activity(QStringLiteral("alpha old"), rate, true); // 1004
    QVTask *synced = b.task(zeta, at(20, 14, 5), at(20, 16, 45), 2);     // 1005
    b.task(cafe, at(21, 9, 7), QDateTime(), 1);                          // 1006
    b.task(old, at(18, 8, 0), at(18, 9, 30));                            // 1007
    synced->synchronised = true;
    synced->modifiedTime = at(20, 16, 47, 33);
    doc.deletedTaskIds = {17, 942};
    b.sortAll();

    // clang-format off
    const QByteArray expected = QByteArrayLiteral(
        "--start--\n"
        "105\n"
        "1008\n"
        "2\n"
        "1001\n" "Bill rate\n" "0\n"
        "1000\n" "Private\n" "0\n"
        "3\n"
        "1004\n" "alpha old\n" "1\n" "0\n"
        "1003\n" "Caf\xC3\xA9 \xC3\x9Cn\xC3\xAF" "code\n" "0\n" "1\n"
        "1002\n" "Zeta work\n" "0\n" "0\n"
        "3\n"
        // 2026-11-18 08:00 to 09:30, activity "alpha old"
        "1007\n" "0\n" "0\n"
        "2026\n" "11\n" "18\n" "8\n" "0\n"
        "2026\n" "11\n" "18\n" "9\n" "30\n"
        "0\n" "0\n" "0\n" "0\n" "0\n" "0\n"
        "0\n"
        // 2026-11-20 14:05 to 16:45, synchronised, slot 2
        "1005\n" "2\n" "2\n"
        "2026\n" "11\n" "20\n" "14\n" "5\n"
        "2026\n" "11\n" "20\n" "16\n" "45\n"
        "2026\n" "11\n" "20\n" "16\n" "47\n" "33\n"
        "1\n"
        // 2026-11-21 09:07, running, slot 1
        "1006\n" "1\n" "1\n"
        "2026\n" "11\n" "21\n" "9\n" "7\n"
        "0\n" "0\n" "0\n" "0\n" "0\n"
        "0\n" "0\n" "0\n" "0\n" "0\n" "0\n"
        "0\n"
        "2\n"
        "17\n"
        "942\n"
        "--end--\n");
    // clang-format on

    QCOMPARE(doc.getDocumentString(), QString::fromUtf8(expected));
    QVERIFY(doc.save());
    QCOMPARE(readFile(QuorvelDocument::dataFilePath()), expected);
}

void TestDataFile::startAndStopLoseSeconds()
{
    QuorvelDocument doc;
    DocumentBuilder b(doc);
    ActivityCategory *work = b.category(QStringLiteral("Work"));
    Activity *writing = b.activity(QStringLiteral("Writing"), work);
    QVTask *task = b.task(writing, at(21, 9, 15, 42), at(21, 10, 0, 10));
    task->synchronised = true;
    task->modifiedTime = at(21, 10, 0, 10);

    QCOMPARE(doc.getDocumentString(),
             // clang-format off
             QStringLiteral("--start--\n105\n1003\n"
                            "1\n1000\nWork\n0\n"
                            "1\n1001\nWriting\n0\n0\n"
                            "1\n"
                            "1002\n0\n0\n"
                            "2026\n11\n21\n9\n15\n"
                            "2026\n11\n21\n10\n0\n"
                            "2026\n11\n21\n10\n0\n10\n"
                            "1\n"
                            "0\n"
                            "--end--\n"));
    // clang-format on

    QuorvelDocument copy;
    QVERIFY(populate(copy, doc.getDocumentString().toUtf8()));
    QCOMPARE(copy.tasks.size(), 1);
    const QVTask *read = copy.tasks.first();
    QCOMPARE(read->start(), at(21, 9, 15, 0));
    QCOMPARE(read->stop(), at(21, 10, 0, 0));
    QCOMPARE(read->modifiedTime, at(21, 10, 0, 10));
    QCOMPARE(read->duration(), 45);
}

void TestDataFile::runningTaskWrittenWithZeroStop()
{
    QuorvelDocument doc;
    DocumentBuilder b(doc);
    ActivityCategory *work = b.category(QStringLiteral("Work"));
    Activity *writing = b.activity(QStringLiteral("Writing"), work);
    b.task(writing, at(21, 9, 30), QDateTime(), 3);

    QCOMPARE(doc.getDocumentString(),
             // clang-format off
             QStringLiteral("--start--\n105\n1003\n"
                            "1\n1000\nWork\n0\n"
                            "1\n1001\nWriting\n0\n0\n"
                            "1\n"
                            "1002\n0\n3\n"
                            "2026\n11\n21\n9\n30\n"
                            "0\n0\n0\n0\n0\n"
                            "0\n0\n0\n0\n0\n0\n"
                            "0\n"
                            "0\n"
                            "--end--\n"));
    // clang-format on

    QuorvelDocument copy;
    QVERIFY(populate(copy, doc.getDocumentString().toUtf8()));
    QCOMPARE(copy.tasks.size(), 1);
    const QVTask *read = copy.tasks.first();
    QVERIFY(read->isRunning());
    QVERIFY(!read->stop().isValid());
    QCOMPARE(read->stopText, QString());
    QCOMPARE(read->start(), at(21, 9, 30));
    QCOMPARE(read->shortcut, 3);
    QVERIFY(!read->modifiedTime.isValid());
}

void TestDataFile::roundTrip()
{
    QuorvelDocument doc;
    DocumentBuilder b(doc);
    ActivityCategory *work = b.category(QStringLiteral("Work"));
    ActivityCategory *privat = b.category(QStringLiteral("Private"));
    ActivityCategory *oldRate = b.category(QStringLiteral("Old rate"), true);
    Activity *writing = b.activity(QStringLiteral("Writing"), work);
    Activity *garden = b.activity(QStringLiteral("garden"), privat);
    Activity *legacy = b.activity(QStringLiteral("Legacy client"), oldRate, true);
    Activity *dropped = b.activity(QStringLiteral("Dropped"), work, true);
    Activity *uebung = b.activity(QStringLiteral("Ünïcode Übung"), privat);
    b.task(writing, at(19, 8, 0), at(19, 12, 30), 1);
    b.task(garden, at(21, 9, 0), QDateTime(), 2);
    QVTask *old = b.task(legacy, at(10, 14, 0), at(10, 17, 0));
    old->synchronised = true;
    old->modifiedTime = at(10, 17, 2, 9);
    QVTask *unstamped = b.task(uebung, at(20, 7, 45), at(20, 8, 15), 3);
    unstamped->synchronised = true;
    b.task(writing, at(20, 7, 45), at(20, 9, 0));
    b.task(garden, at(21, 8, 0), QDateTime());
    doc.nextId = 4242;
    doc.deletedTaskIds = {1500, 7, 1003};
    b.sortAll();

    // The reader drops an obsolete activity without tasks; everything else comes back.
    SortedList<Activity> expectedActivities = doc.activities;
    expectedActivities.removeRef(dropped);

    QuorvelDocument copy;
    DocumentBuilder(copy).category(QStringLiteral("Leftover"));
    copy.nextId = 5;
    copy.deletedTaskIds = {99};
    copy.clear();
    QVERIFY(populate(copy, doc.getDocumentString().toUtf8()));

    QCOMPARE(copy.nextId, 4242);
    QCOMPARE(copy.deletedTaskIds, QList<int>({1500, 7, 1003}));

    QCOMPARE(copy.categories.size(), doc.categories.size());
    for (int i = 0; i < doc.categories.size(); ++i) {
        QCOMPARE(copy.categories.at(i)->id, doc.categories.at(i)->id);
        QCOMPARE(copy.categories.at(i)->name, doc.categories.at(i)->name);
        QCOMPARE(copy.categories.at(i)->obsolete, doc.categories.at(i)->obsolete);
    }

    QCOMPARE(copy.activities.size(), expectedActivities.size());
    for (int i = 0; i < expectedActivities.size(); ++i) {
        const Activity *want = expectedActivities.at(i);
        const Activity *got = copy.activities.at(i);
        QCOMPARE(got->id, want->id);
        QCOMPARE(got->name, want->name);
        QCOMPARE(got->obsolete, want->obsolete);
        QVERIFY(got->category);
        QCOMPARE(copy.categories.findRef(got->category), doc.categories.findRef(want->category));
    }

    QCOMPARE(copy.tasks.size(), doc.tasks.size());
    for (int i = 0; i < doc.tasks.size(); ++i) {
        const QVTask *want = doc.tasks.at(i);
        const QVTask *got = copy.tasks.at(i);
        QCOMPARE(got->id, want->id);
        QVERIFY(got->activity);
        QCOMPARE(copy.activities.findRef(got->activity),
                 expectedActivities.findRef(want->activity));
        QCOMPARE(got->shortcut, want->shortcut);
        QCOMPARE(got->start(), want->start());
        QCOMPARE(got->isRunning(), want->isRunning());
        if (!want->isRunning())
            QCOMPARE(got->stop(), want->stop());
        QCOMPARE(got->synchronised, want->synchronised);
        QCOMPARE(got->modifiedTime.isValid(), want->modifiedTime.isValid());
        if (want->modifiedTime.isValid())
            QCOMPARE(got->modifiedTime, want->modifiedTime);
    }
}

void TestDataFile::separatorsBetweenValuesIgnored_data()
{
    QTest::addColumn<QByteArray>("input");

    QTest::newRow("plain") << QByteArray(HomeGarden);
    // clang-format off
    QTest::newRow("blank lines") << QByteArrayLiteral("\n--start--\n\n105\n\n\n1000\n\n"
                                                      "1\n7\n\nHome\n0\n\n"
                                                      "1\n8\nGarden\n\n0\n0\n\n"
                                                      "0\n\n0\n\n\n--end--\n\n");
    // clang-format on
    QTest::newRow("carriage returns") << QByteArrayLiteral("\r--start--\n\r105\r\n\r\n1000\r\n"
                                                           // clang-format off
                                                           "1\r\n7\r\n\rHome\n0\r\n"
                                                           "1\r\n8\r\n\r\rGarden\n\r0\r\n0\r\n"
                                                           "0\r\n\r0\r\n\r--end--\n");
    // clang-format on
    QTest::newRow("tabs") << QByteArrayLiteral("\t--start--\n\t105\n1000\t\n"
                                               // clang-format off
                                               "\t\t1\n7\n\tHome\n\t0\n"
                                               "1\n8\n\t\tGarden\n0\t\n0\n"
                                               "\t0\n0\n\t--end--\n");
    // clang-format on
    QTest::newRow("zero bytes") << QByteArrayLiteral("--start--\n\0"
                                                     "105\n\0\0"
                                                     "1000\n"
                                                     // clang-format off
                                                     "1\n7\n\0Home\n0\n"
                                                     "1\n8\nGarden\n0\n0\n"
                                                     "0\n0\n\0--end--\n");
    // clang-format on
    QTest::newRow("mixed") << QByteArrayLiteral("--start--\n\r\n\t\n105\n\t\r\n1000\n"
                                                // clang-format off
                                                "1\n\n\t7\n\r\n\tHome\n0\n"
                                                "1\n8\n\n\t\r\n\tGarden\n0\n0\n"
                                                "0\n0\n\r\n\t\n--end--\n");
    // clang-format on
}

void TestDataFile::separatorsBetweenValuesIgnored()
{
    QFETCH(QByteArray, input);

    QuorvelDocument doc;
    doc.nextId = 1;
    QVERIFY(populate(doc, input));
    QCOMPARE(doc.nextId, 1000);
    QCOMPARE(doc.categories.size(), 1);
    QCOMPARE(doc.categories.first()->id, 7);
    QCOMPARE(doc.categories.first()->name, QStringLiteral("Home"));
    QCOMPARE(doc.categories.first()->obsolete, false);
    QCOMPARE(doc.activities.size(), 1);
    QCOMPARE(doc.activities.first()->id, 8);
    QCOMPARE(doc.activities.first()->name, QStringLiteral("Garden"));
    QCOMPARE(doc.activities.first()->obsolete, false);
    QCOMPARE(doc.activities.first()->category, doc.categories.first());
    QVERIFY(doc.tasks.isEmpty());
    QVERIFY(doc.deletedTaskIds.isEmpty());
}

void TestDataFile::carriageReturnStaysInName()
{
    QuorvelDocument doc;
    // clang-format off
    QVERIFY(populate(doc, QByteArrayLiteral("--start--\n105\n1000\n"
                                            "1\n7\nHome\r\n0\n"
                                            "1\n8\nGarden \r\n0\n0\n"
                                            "0\n0\n--end--\n")));
    // clang-format on
    QCOMPARE(doc.categories.size(), 1);
    QCOMPARE(doc.categories.first()->name, QStringLiteral("Home\r"));
    QCOMPARE(doc.activities.size(), 1);
    QCOMPARE(doc.activities.first()->name, QStringLiteral("Garden \r"));
}

void TestDataFile::byteOrderMarkStaysInName()
{
    // A mark that opens a name is part of it, with the control characters after it: what was
    // read is written and reads back the same.
    QuorvelDocument doc;
    // clang-format off
    QVERIFY(populate(doc, QByteArrayLiteral("--start--\n105\n1000\n"
                                            "1\n7\n\x08\xef\xbb\xbf\x01\x02Home\n0\n"
                                            "1\n8\n\xef\xbb\xbf\xef\xbb\xbfGarden\n0\n0\n"
                                            "0\n0\n--end--\n")));
    // clang-format on
    QCOMPARE(doc.categories.first()->name, QString(QChar(0xfeff)) + QStringLiteral("\x01\x02Home"));
    QCOMPARE(doc.activities.first()->name,
             QString(QChar(0xfeff)) + QChar(0xfeff) + QStringLiteral("Garden"));
    const QByteArray written = doc.getDocumentBytes();
    QVERIFY(written.contains("\n7\n\xef\xbb\xbf\x01\x02Home\n0\n"));
    QuorvelDocument again;
    QVERIFY(populate(again, written));
    QCOMPARE(again.getDocumentBytes(), written);
}

void TestDataFile::byteOrderMarkBeforeTheFile()
{
    // An editor may put one before the whole file: it is no part of the opening marker.
    QuorvelDocument doc;
    QVERIFY(populate(doc, QByteArrayLiteral("\xef\xbb\xbf--start--\n105\n1000\n"
                                            "1\n7\nHome\n0\n0\n0\n0\n--end--\n")));
    QCOMPARE(doc.categories.first()->name, QStringLiteral("Home"));
}

void TestDataFile::emptyNameShiftsValues()
{
    QuorvelDocument doc;
    // The category's name line is empty: the name becomes the flag's line "0", the flag the
    // activity count "1", and so on, until the closing marker is missed.
    // clang-format off
    QVERIFY(!populate(doc, QByteArrayLiteral("--start--\n105\n1000\n"
                                             "1\n7\n\n0\n"
                                             "1\n8\nGarden\n0\n0\n"
                                             "0\n0\n--end--\n")));
    // clang-format on
    QCOMPARE(doc.categories.size(), 1);
    QCOMPARE(doc.categories.first()->id, 7);
    QCOMPARE(doc.categories.first()->name, QStringLiteral("0"));
    QCOMPARE(doc.categories.first()->obsolete, true);
    // The activity count became 8; the first one is made of "Garden", "0", "0" and "0".
    QVERIFY(!doc.activities.isEmpty());
    QCOMPARE(doc.activities.first()->id, 0);
    QCOMPARE(doc.activities.first()->name, QStringLiteral("0"));
    QCOMPARE(doc.activities.first()->obsolete, false);
    QCOMPARE(doc.activities.first()->category, doc.categories.first());
}

void TestDataFile::endMarkerWithoutLineFeed()
{
    QByteArray input(HomeGarden);
    QVERIFY(input.endsWith("--end--\n"));
    input.chop(1);

    QuorvelDocument doc;
    QVERIFY(populate(doc, input));
    QCOMPARE(doc.categories.size(), 1);
    QCOMPARE(doc.activities.size(), 1);

    // Exactly the bytes, without a terminating zero behind them.
    QuorvelDocument exact;
    const std::unique_ptr<char[]> buffer = exactCopy(input);
    QVERIFY(exact.populateFromByteArray(buffer.get(), int(input.size())));
    QCOMPARE(exact.activities.size(), 1);
}

void TestDataFile::appendsToExistingRecords()
{
    QuorvelDocument doc;
    DocumentBuilder b(doc);
    ActivityCategory *alpha = b.category(QStringLiteral("Alpha"));
    ActivityCategory *beta = b.category(QStringLiteral("Beta"));

    // clang-format off
    QVERIFY(populate(doc, QByteArrayLiteral("--start--\n105\n2000\n"
                                            "1\n30\nGamma\n0\n"
                                            "1\n31\nDelta\n0\n0\n"
                                            "0\n0\n--end--\n")));
    // clang-format on
    QCOMPARE(doc.nextId, 2000);
    QCOMPARE(doc.categories.size(), 3);
    QCOMPARE(doc.categories.at(0), alpha);
    QCOMPARE(doc.categories.at(1), beta);
    QCOMPARE(doc.categories.at(2)->id, 30);
    QCOMPARE(doc.categories.at(2)->name, QStringLiteral("Gamma"));
    QCOMPARE(doc.activities.size(), 1);
    QCOMPARE(doc.activities.first()->id, 31);
    QCOMPARE(doc.activities.first()->name, QStringLiteral("Delta"));
    // Position 0 is counted over the list as it stood, old records first.
    QCOMPARE(doc.activities.first()->category, alpha);
}

void TestDataFile::refusedAtStart_data()
{
    QTest::addColumn<QByteArray>("input");

    const QByteArray body = QByteArrayLiteral("1000\n1\n7\nHome\n0\n0\n0\n0\n--end--\n");
    QTest::newRow("version 104") << QByteArrayLiteral("--start--\n104\n") + body;
    QTest::newRow("version 106") << QByteArrayLiteral("--start--\n106\n") + body;
    QTest::newRow("version missing") << QByteArrayLiteral("--start--\n") + body;
    QTest::newRow("wrong first line") << QByteArrayLiteral("--begin--\n105\n") + body;
    QTest::newRow("first line with a space") << QByteArrayLiteral("--start-- \n105\n") + body;
    QTest::newRow("first line upper case") << QByteArrayLiteral("--START--\n105\n") + body;
    QTest::newRow("line ends with CR LF")
        // clang-format off
        << QByteArrayLiteral("--start--\r\n105\r\n1000\r\n1\r\n7\r\nHome\r\n0\r\n"
                             "0\r\n0\r\n0\r\n--end--\r\n");
    // clang-format on
    QTest::newRow("marker only") << QByteArrayLiteral("--start--\n");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("only line feeds") << QByteArrayLiteral("\n\n\n");
}

void TestDataFile::refusedAtStart()
{
    QFETCH(QByteArray, input);

    QuorvelDocument doc;
    ActivityCategory *old = DocumentBuilder(doc).category(QStringLiteral("Old"));
    doc.nextId = 1234;
    doc.deletedTaskIds = {5};

    QVERIFY(!populate(doc, input));
    QCOMPARE(doc.categories.size(), 1);
    QCOMPARE(doc.categories.first(), old);
    QVERIFY(doc.activities.isEmpty());
    QVERIFY(doc.tasks.isEmpty());
    QCOMPARE(doc.nextId, 1234);
    QCOMPARE(doc.deletedTaskIds, QList<int>({5}));
}

void TestDataFile::outOfRangePositions()
{
    QuorvelDocument doc;
    // clang-format off
    QVERIFY(populate(doc, QByteArrayLiteral("--start--\n105\n1100\n"
                                            "1\n"
                                            "10\nWork\n0\n"
                                            "3\n"
                                            "11\nA far\n0\n5\n"
                                            "12\nB before\n0\n-1\n"
                                            "13\nC fine\n0\n0\n"
                                            "2\n"
                                            "20\n99\n0\n"
                                            "2026\n11\n20\n8\n0\n"
                                            "2026\n11\n20\n9\n0\n"
                                            "0\n0\n0\n0\n0\n0\n"
                                            "0\n"
                                            "21\n2\n1\n"
                                            "2026\n11\n20\n10\n0\n"
                                            "2026\n11\n20\n11\n0\n"
                                            "0\n0\n0\n0\n0\n0\n"
                                            "0\n"
                                            "0\n"
                                            "--end--\n")));
    // clang-format on
    QCOMPARE(doc.categories.size(), 1);
    QCOMPARE(doc.activities.size(), 3);
    QCOMPARE(doc.activities.at(0)->category, nullptr);
    QCOMPARE(doc.activities.at(1)->category, nullptr);
    QCOMPARE(doc.activities.at(2)->category, doc.categories.first());
    QCOMPARE(doc.tasks.size(), 2);
    QCOMPARE(doc.tasks.at(0)->activity, nullptr);
    QCOMPARE(doc.tasks.at(1)->activity, doc.activities.at(2));

    // clang-format off
    QCOMPARE(doc.getDocumentString(), QStringLiteral("--start--\n105\n1100\n"
                                                     "1\n"
                                                     "10\nWork\n0\n"
                                                     "3\n"
                                                     "11\nA far\n0\n-1\n"
                                                     "12\nB before\n0\n-1\n"
                                                     "13\nC fine\n0\n0\n"
                                                     "2\n"
                                                     "20\n-1\n0\n"
                                                     "2026\n11\n20\n8\n0\n"
                                                     "2026\n11\n20\n9\n0\n"
                                                     "0\n0\n0\n0\n0\n0\n"
                                                     "0\n"
                                                     "21\n2\n1\n"
                                                     "2026\n11\n20\n10\n0\n"
                                                     "2026\n11\n20\n11\n0\n"
                                                     "0\n0\n0\n0\n0\n0\n"
                                                     "0\n"
                                                     "0\n"
                                                     "--end--\n"));
    // clang-format on
}

void TestDataFile::loadMissingFile()
{
    const QString path = QuorvelDocument::dataFilePath();
    QVERIFY(!QFileInfo::exists(path));

    QuorvelDocument doc;
    DocumentBuilder b(doc);
    Activity *garden = b.activity(QStringLiteral("Garden"), b.category(QStringLiteral("Home")));
    b.task(garden, at(20, 8, 0), at(20, 9, 0));

    QVERIFY(!doc.load());
    QVERIFY(doc.categories.isEmpty());
    QVERIFY(doc.activities.isEmpty());
    QVERIFY(doc.tasks.isEmpty());
}

void TestDataFile::loadWrongMarker()
{
    QVERIFY(writeFile(QuorvelDocument::dataFilePath(),
                      QByteArrayLiteral("--begin--\n105\n1000\n0\n0\n0\n0\n--end--\n")));
    QuorvelDocument doc;
    QVERIFY(!doc.load());
    QVERIFY(doc.categories.isEmpty());
    QVERIFY(doc.activities.isEmpty());
    QVERIFY(doc.tasks.isEmpty());
}

void TestDataFile::loadSavedFile()
{
    {
        QuorvelDocument doc;
        DocumentBuilder b(doc);
        Activity *garden = b.activity(QStringLiteral("Garden"), b.category(QStringLiteral("Home")));
        b.task(garden, at(20, 8, 0), at(20, 9, 0), 1);
        doc.deletedTaskIds = {12};
        QVERIFY(doc.save());
    }

    QuorvelDocument doc;
    QVERIFY(doc.load());
    QCOMPARE(doc.nextId, 1003);
    QCOMPARE(doc.categories.size(), 1);
    QCOMPARE(doc.categories.first()->id, 1000);
    QCOMPARE(doc.categories.first()->name, QStringLiteral("Home"));
    QCOMPARE(doc.activities.size(), 1);
    QCOMPARE(doc.activities.first()->id, 1001);
    QCOMPARE(doc.activities.first()->name, QStringLiteral("Garden"));
    QCOMPARE(doc.activities.first()->category, doc.categories.first());
    QCOMPARE(doc.tasks.size(), 1);
    QCOMPARE(doc.tasks.first()->id, 1002);
    QCOMPARE(doc.tasks.first()->activity, doc.activities.first());
    QCOMPARE(doc.tasks.first()->start(), at(20, 8, 0));
    QCOMPARE(doc.tasks.first()->stop(), at(20, 9, 0));
    QCOMPARE(doc.tasks.first()->shortcut, 1);
    QCOMPARE(doc.deletedTaskIds, QList<int>({12}));
}

void TestDataFile::loadClearsFirst()
{
    QVERIFY(writeFile(QuorvelDocument::dataFilePath(), QByteArray(HomeGarden)));

    QuorvelDocument doc;
    DocumentBuilder b(doc);
    b.category(QStringLiteral("Alpha"));
    b.category(QStringLiteral("Beta"));
    b.activity(QStringLiteral("Gone"), nullptr);

    QVERIFY(doc.load());
    QCOMPARE(doc.nextId, 1000);
    QCOMPARE(doc.categories.size(), 1);
    QCOMPARE(doc.categories.first()->name, QStringLiteral("Home"));
    QCOMPARE(doc.activities.size(), 1);
    QCOMPARE(doc.activities.first()->name, QStringLiteral("Garden"));
    // Position 0 must mean the file's own category, not one held before.
    QCOMPARE(doc.activities.first()->category, doc.categories.first());
}

void TestDataFile::saveWhenRenameFails()
{
    const QString path = QuorvelDocument::dataFilePath();
    const QString newPath = path + QStringLiteral(".new");
    // A directory in place of the data file: the new file cannot be renamed onto it.
    QVERIFY(QDir().mkpath(path));
    QVERIFY(writeFile(path + QStringLiteral("/keep"), QByteArrayLiteral("x")));

    QuorvelDocument doc;
    QTest::ignoreMessage(QtWarningMsg,
                         QByteArray("problem renaming file " + QFile::encodeName(newPath) + " to "
                                    + QFile::encodeName(path) + " errno 21")
                             .constData());
    QVERIFY(doc.save());
    QCOMPARE(readFile(newPath), QByteArrayLiteral("--start--\n105\n1000\n0\n0\n0\n0\n--end--\n"));
    QVERIFY(QFileInfo(path).isDir());

    QVERIFY(QDir(path).removeRecursively());
    QVERIFY(QFile::remove(newPath));
}

void TestDataFile::saveWhenNewFileCannotBeOpened()
{
    const QString path = QuorvelDocument::dataFilePath();
    const QString newPath = path + QStringLiteral(".new");
    const QByteArray old = QByteArrayLiteral("--start--\n105\n77\n0\n0\n0\n0\n--end--\n");
    QVERIFY(writeFile(path, old));
    QVERIFY(QDir().mkpath(newPath));
    QVERIFY(writeFile(newPath + QStringLiteral("/keep"), QByteArrayLiteral("x")));

    QuorvelDocument doc;
    QVERIFY(!doc.save());
    QCOMPARE(readFile(path), old);

    QVERIFY(QDir(newPath).removeRecursively());
}

void TestDataFile::saveWhenWriteFails()
{
    if (!QFileInfo::exists(QStringLiteral("/dev/full")))
        QSKIP("/dev/full is not available here");

    const QString path = QuorvelDocument::dataFilePath();
    const QString newPath = path + QStringLiteral(".new");
    const QByteArray old = QByteArrayLiteral("--start--\n105\n77\n0\n0\n0\n0\n--end--\n");
    QVERIFY(writeFile(path, old));
    // Every write to /dev/full fails with "no space left on device".
    QVERIFY(QFile::link(QStringLiteral("/dev/full"), newPath));

    QuorvelDocument doc;
    const bool saved = doc.save();
    const bool linkLeft = QFileInfo(newPath).isSymLink();
    if (linkLeft)
        QFile::remove(newPath);
    QVERIFY(!saved);
    QCOMPARE(readFile(path), old);
    QVERIFY(!linkLeft);
}

void TestDataFile::saveInUnwritableFolder()
{
    const QString path = QuorvelDocument::dataFilePath();
    const QString folder = QFileInfo(path).absolutePath();
    const QByteArray old = QByteArrayLiteral("--start--\n105\n77\n0\n0\n0\n0\n--end--\n");
    QVERIFY(writeFile(path, old));

    bool saved = true;
    {
        PermissionGuard guard(folder);
        QVERIFY(QFile::setPermissions(
            folder, QFileDevice::ReadOwner | QFileDevice::ExeOwner | QFileDevice::ReadGroup
                        | QFileDevice::ExeGroup | QFileDevice::ReadOther | QFileDevice::ExeOther));
        if (::geteuid() != 0) {
            QuorvelDocument doc;
            saved = doc.save();
        } else {
            // Root ignores folder permissions (and CI runs as root): save from a child that
            // has become an ordinary user and can reach the folder but not write in it.
            QStringList parents;
            for (QDir dir(folder); dir.cdUp() && dir.path() != QDir::rootPath();)
                parents.append(dir.path());
            std::vector<std::unique_ptr<PermissionGuard>> parentGuards;
            for (const QString &parent : std::as_const(parents)) {
                parentGuards.push_back(std::make_unique<PermissionGuard>(parent));
                QFile::setPermissions(parent, QFile::permissions(parent) | QFileDevice::ExeOther);
            }
            const pid_t child = ::fork();
            QVERIFY(child >= 0);
            if (child == 0) {
                if (::setgid(65534) != 0 || ::setuid(65534) != 0)
                    ::_exit(2);
                QuorvelDocument doc;
                ::_exit(doc.save() ? 1 : 0);
            }
            int status = 0;
            QCOMPARE(::waitpid(child, &status, 0), child);
            QVERIFY(WIFEXITED(status));
            if (WEXITSTATUS(status) == 2)
                QSKIP("Cannot become an ordinary user here to test folder permissions");
            saved = WEXITSTATUS(status) != 0;
        }
    }
    QVERIFY(!saved);
    QCOMPARE(readFile(path), old);
    QVERIFY(!QFileInfo::exists(path + QStringLiteral(".new")));
}

void TestDataFile::skipControlCharacters_data()
{
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<int>("consumed");

    QTest::newRow("empty") << QByteArray() << 0;
    QTest::newRow("text") << QByteArrayLiteral("abc\n") << 0;
    QTest::newRow("space is kept") << QByteArrayLiteral(" \n") << 0;
    QTest::newRow("line feeds") << QByteArrayLiteral("\n\nx") << 2;
    QTest::newRow("mixed controls") << QByteArrayLiteral("\n\r\t\0\x1F"
                                                         "a\n")
                                    << 5;
    QTest::newRow("only controls") << QByteArrayLiteral("\r\n\t") << 3;
    QTest::newRow("high bytes are kept") << QByteArrayLiteral("\x80\n") << 0;
    QTest::newRow("0xFF is kept") << QByteArrayLiteral("\n\xFF") << 1;
    QTest::newRow("DEL is kept") << QByteArrayLiteral("\x7F") << 0;
}

void TestDataFile::skipControlCharacters()
{
    QFETCH(QByteArray, input);
    QFETCH(int, consumed);

    const std::unique_ptr<char[]> buffer = exactCopy(input);
    char *cursor = buffer.get();
    int remaining = int(input.size());
    QuorvelDocument::skipControlCharacters(&cursor, &remaining);
    QCOMPARE(int(cursor - buffer.get()), consumed);
    QCOMPARE(remaining, int(input.size()) - consumed);
}

void TestDataFile::readInt_data()
{
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<int>("value");
    QTest::addColumn<int>("consumed");

    QTest::newRow("plain") << QByteArrayLiteral("42\n7\n") << 42 << 2;
    QTest::newRow("last without line feed") << QByteArrayLiteral("99") << 99 << 2;
    QTest::newRow("negative") << QByteArrayLiteral("-17\n") << -17 << 3;
    QTest::newRow("plus sign") << QByteArrayLiteral("+8\n") << 8 << 2;
    QTest::newRow("leading spaces") << QByteArrayLiteral("   -5\n") << -5 << 5;
    QTest::newRow("controls then spaces") << QByteArrayLiteral("\n\r\t 42\nrest") << 42 << 6;
    QTest::newRow("zero bytes before") << QByteArrayLiteral("\0\0"
                                                            "7\n")
                                       << 7 << 3;
    QTest::newRow("digits then letters") << QByteArrayLiteral("12abc\n") << 12 << 5;
    QTest::newRow("trailing carriage return") << QByteArrayLiteral("105\r\n") << 105 << 4;
    QTest::newRow("no digits") << QByteArrayLiteral("abc\n") << 0 << 3;
    QTest::newRow("sign only") << QByteArrayLiteral("-\n") << 0 << 1;
    QTest::newRow("space after sign") << QByteArrayLiteral("- 3\n") << 0 << 3;
    QTest::newRow("two signs") << QByteArrayLiteral("--5\n") << 0 << 3;
    QTest::newRow("hexadecimal is not read") << QByteArrayLiteral("0x1F\n") << 0 << 4;
    QTest::newRow("int maximum") << QByteArrayLiteral("2147483647\n") << 2147483647 << 10;
    QTest::newRow("int minimum") << QByteArrayLiteral("-2147483648\n") << int(-2147483647 - 1)
                                 << 11;
    QTest::newRow("only controls") << QByteArrayLiteral("\n\n") << 0 << 2;
    QTest::newRow("empty") << QByteArray() << 0 << 0;
    QTest::newRow("high byte") << QByteArrayLiteral("\xC3\xA9"
                                                    "5\n")
                               << 0 << 3;
}

void TestDataFile::readInt()
{
    QFETCH(QByteArray, input);
    QFETCH(int, value);
    QFETCH(int, consumed);

    const std::unique_ptr<char[]> buffer = exactCopy(input);
    char *cursor = buffer.get();
    int remaining = int(input.size());
    QCOMPARE(QuorvelDocument::readInt(&cursor, &remaining), value);
    QCOMPARE(int(cursor - buffer.get()), consumed);
    QCOMPARE(remaining, int(input.size()) - consumed);
}

void TestDataFile::readString_data()
{
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QString>("value");
    QTest::addColumn<int>("consumed");

    QTest::newRow("plain") << QByteArrayLiteral("Home\nx") << QStringLiteral("Home") << 4;
    QTest::newRow("last without line feed")
        << QByteArrayLiteral("tail") << QStringLiteral("tail") << 4;
    QTest::newRow("leading tabs") << QByteArrayLiteral("\t\tHome\n") << QStringLiteral("Home") << 6;
    QTest::newRow("leading zero bytes")
        << QByteArrayLiteral("\0\n\0Name\n") << QStringLiteral("Name") << 7;
    QTest::newRow("leading space kept")
        << QByteArrayLiteral(" lead\n") << QStringLiteral(" lead") << 5;
    QTest::newRow("trailing carriage return")
        << QByteArrayLiteral("Home\r\n") << QStringLiteral("Home\r") << 5;
    QTest::newRow("inner tab kept") << QByteArrayLiteral("a\tb\n") << QStringLiteral("a\tb") << 3;
    QTest::newRow("UTF-8 first") << QByteArrayLiteral("\xC3\xA9t\xC3\xA9\n")
                                 << QStringLiteral("été") << 5;
    QTest::newRow("UTF-8 after controls") << QByteArrayLiteral("\r\n\xC3\x9C"
                                                               "ber\n")
                                          << QStringLiteral("Über") << 7;
}

void TestDataFile::readString()
{
    QFETCH(QByteArray, input);
    QFETCH(QString, value);
    QFETCH(int, consumed);

    const std::unique_ptr<char[]> buffer = exactCopy(input);
    char *cursor = buffer.get();
    int remaining = int(input.size());
    const QString read = QuorvelDocument::readString(&cursor, &remaining);
    QCOMPARE(read, value);
    QVERIFY(!read.isNull());
    QCOMPARE(int(cursor - buffer.get()), consumed);
    QCOMPARE(remaining, int(input.size()) - consumed);

    // The exhausted buffer gives a null string and stays where it is.
    if (remaining == 0) {
        QVERIFY(QuorvelDocument::readString(&cursor, &remaining).isNull());
        QCOMPARE(remaining, 0);
        QCOMPARE(int(cursor - buffer.get()), int(input.size()));
    }
}

void TestDataFile::readIntAgreesWithStrtol()
{
    // The exhausted cases first: nothing at all, and only control bytes.
    for (const QByteArray &input : {QByteArray(), QByteArrayLiteral("\n\r\t\0")}) {
        const std::unique_ptr<char[]> buffer = exactCopy(input);
        char *cursor = buffer.get();
        int remaining = int(input.size());
        QCOMPARE(QuorvelDocument::readInt(&cursor, &remaining), 0);
        QCOMPARE(remaining, 0);
        QCOMPARE(int(cursor - buffer.get()), int(input.size()));
    }

    QRandomGenerator random(20261121);
    const char controls[] = {'\n', '\r', '\t', '\0', '\x01', '\x1F'};
    const char blanks[] = {' ', ' ', ' ', '\t', '\v', '\f', '\r'};
    const char junk[] = "abcxyzXE+- .,0123456789\t\r\n\0\xC3\xA9\xFF\x7F";

    for (int run = 0; run < 4000; ++run) {
        QByteArray input;
        for (int i = int(random.bounded(3)); i > 0; --i)
            input.append(controls[random.bounded(int(sizeof(controls)))]);
        for (int i = int(random.bounded(3)); i > 0; --i)
            input.append(blanks[random.bounded(int(sizeof(blanks)))]);
        switch (random.bounded(4)) {
        case 0:
            input.append('-');
            break;
        case 1:
            input.append('+');
            break;
        default:
            break;
        }
        // Mostly ordinary numbers, sometimes far beyond the range of long.
        const int digits
            = random.bounded(5) == 0 ? int(random.bounded(41)) : int(random.bounded(11));
        for (int i = 0; i < digits; ++i)
            input.append(char('0' + random.bounded(10)));
        for (int i = int(random.bounded(4)); i > 0; --i)
            input.append(junk[random.bounded(int(sizeof(junk)) - 1)]);

        // What the reader must do: skip bytes below 32, then convert the run up to the next
        // line feed with strtol.
        int skipped = 0;
        while (skipped < input.size() && static_cast<unsigned char>(input.at(skipped)) < 32)
            ++skipped;
        const int lineFeed = int(input.indexOf('\n', skipped));
        const int runLength = (lineFeed < 0 ? int(input.size()) : lineFeed) - skipped;
        const std::string text(input.constData() + skipped, size_t(runLength));
        const int expected = static_cast<int>(std::strtol(text.c_str(), nullptr, 10));

        const std::unique_ptr<char[]> buffer = exactCopy(input);
        char *cursor = buffer.get();
        int remaining = int(input.size());
        const int value = QuorvelDocument::readInt(&cursor, &remaining);
        if (value != expected || cursor - buffer.get() != skipped + runLength
            || remaining != int(input.size()) - skipped - runLength) {
            qWarning("input %s: got %d, strtol %d", input.toHex(' ').constData(), value, expected);
        }
        QCOMPARE(value, expected);
        QCOMPARE(int(cursor - buffer.get()), skipped + runLength);
        QCOMPARE(remaining, int(input.size()) - skipped - runLength);
    }
}

void TestDataFile::cleanName_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("clean");
    QTest::newRow("plain") << QStringLiteral("Work") << QStringLiteral("Work");
    QTest::newRow("blanks around") << QStringLiteral("  Work  ") << QStringLiteral("Work");
    QTest::newRow("line feed inside")
        << QStringLiteral("Work\nHome") << QStringLiteral("Work Home");
    QTest::newRow("carriage return at end") << QStringLiteral("Work\r") << QStringLiteral("Work");
    QTest::newRow("control first") << QStringLiteral("\x01Office") << QStringLiteral("Office");
    QTest::newRow("tab first") << QStringLiteral("\tDesign") << QStringLiteral("Design");
    QTest::newRow("zero inside") << QString(QStringLiteral("a") + QChar(0) + QStringLiteral("b"))
                                 << QStringLiteral("a b");
    QTest::newRow("only controls") << QStringLiteral("\n\r\t") << QString();
    QTest::newRow("non-ASCII kept") << QStringLiteral(" Café ") << QStringLiteral("Café");
}

void TestDataFile::cleanName()
{
    QFETCH(QString, typed);
    QFETCH(QString, clean);
    QCOMPARE(QuorvelDocument::cleanName(typed), clean);
}

void TestDataFile::cleanedNamesAlwaysReadBack()
{
    // Whatever is typed, a cleaned non-empty name stands on one line and reads back as it is.
    QRandomGenerator random(4711);
    const QString alphabet = QStringLiteral("ab c\n\r\t\x01\x1f-é€\uFEFF");
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *category = build.category(QStringLiteral("Any"));
    QStringList expected;
    for (int i = 0; i < 300; ++i) {
        QString typed;
        const int length = int(random.bounded(1, 12));
        for (int k = 0; k < length; ++k)
            typed += alphabet.at(int(random.bounded(int(alphabet.size()))));
        const QString name = QuorvelDocument::cleanName(typed) + QString::number(i);
        build.activity(name, category);
        expected << name;
    }
    QVERIFY(doc.save());
    QuorvelDocument copy;
    QVERIFY(copy.load());
    QStringList names;
    for (const Activity *a : std::as_const(copy.activities))
        names << a->name;
    QCOMPARE(names, expected);
}

void TestDataFile::reservedNames()
{
    QVERIFY(QuorvelDocument::isReservedName(QStringLiteral("--sync--")));
    QVERIFY(QuorvelDocument::isReservedName(QStringLiteral("--start--")));
    QVERIFY(QuorvelDocument::isReservedName(QStringLiteral("--end--")));
    QVERIFY(!QuorvelDocument::isReservedName(QStringLiteral("--END--")));
    QVERIFY(!QuorvelDocument::isReservedName(QStringLiteral(" --end--")));
    QVERIFY(!QuorvelDocument::isReservedName(QString()));
}

void TestDataFile::catalogueNames_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("name");
    QTest::newRow("plain") << QStringLiteral("Design review") << QStringLiteral("Design review");
    QTest::newRow("blanks at the ends") << QStringLiteral("  Coding\t") << QStringLiteral("Coding");
    QTest::newRow("line break inside")
        << QStringLiteral("Side\nline\r") << QStringLiteral("Side line");
    QTest::newRow("blank") << QStringLiteral(" \t\r ") << QString();
    QTest::newRow("empty") << QString() << QString();
    QTest::newRow("--sync--") << QStringLiteral("--sync--") << QString();
    QTest::newRow("--start--") << QStringLiteral("\t--start--") << QString();
    QTest::newRow("--end--") << QStringLiteral("--end--\r") << QString();
    QTest::newRow("--sync-end--") << QStringLiteral("--sync-end--") << QString();
    QTest::newRow("marker in other case") << QStringLiteral("--END--") << QStringLiteral("--END--");
    QTest::newRow("marker inside") << QStringLiteral("a --end--") << QStringLiteral("a --end--");
    QTest::newRow("longest") << QString(QuorvelDocument::MaxNameLength, QLatin1Char('x'))
                             << QString(QuorvelDocument::MaxNameLength, QLatin1Char('x'));
    QTest::newRow("too long") << QString(QuorvelDocument::MaxNameLength + 1, QLatin1Char('x'))
                              << QString();
}

void TestDataFile::catalogueNames()
{
    QFETCH(QString, typed);
    QFETCH(QString, name);
    QCOMPARE(QuorvelDocument::catalogueName(typed), name);
}

void TestDataFile::namesAreOneRegardlessOfCase()
{
    QVERIFY(QuorvelDocument::sameName(QStringLiteral("Coding"), QStringLiteral("coding")));
    QVERIFY(QuorvelDocument::sameName(QStringLiteral("STRASSE \u00c4"),
                                      QStringLiteral("strasse \u00e4")));
    QVERIFY(!QuorvelDocument::sameName(QStringLiteral("Coding"), QStringLiteral("Coding ")));
    QVERIFY(!QuorvelDocument::sameName(QStringLiteral("C"), QStringLiteral("D")));
}

QUORVEL_TEST_GUILESS_MAIN(TestDataFile)
#include "tst_datafile.moc"
