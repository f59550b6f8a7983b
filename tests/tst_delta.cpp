// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers
// DocumentDelta: either version of a document string comes back from the other byte for byte,
// and a small change keeps few bytes.

#include "DocumentBuilder.h"
#include "TestEnvironment.h"

#include "model/DocumentDelta.h"
#include "model/QuorvelDocument.h"

#include <QRandomGenerator>
#include <QtTest>

namespace {

// Lines "record <n>\n" for n from 0, about bytes long.
QByteArray lines(int bytes)
{
    QByteArray text;
    for (int n = 0; text.size() < bytes; ++n)
        text += "record " + QByteArray::number(n) + '\n';
    return text;
}

} // namespace

class TestDelta : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sameVersions();
    void changesAtBothEnds();
    void aCountAtTheTopAndARecordFarBelow();
    void mostOfItRemoved();
    void randomEdits();
    void onlyFromTheRightVersion();
    void aDocumentStringThroughTheReader();
};

void TestDelta::sameVersions()
{
    const QByteArray text = lines(10000);
    const DocumentDelta delta(text, text);
    QVERIFY(delta.isEmpty());
    QCOMPARE(delta.keptBytes(), 0);
    QCOMPARE(delta.before(text), text);
    QCOMPARE(delta.after(text), text);
}

void TestDelta::changesAtBothEnds()
{
    const QByteArray before = "--start--\n105\n1000\nmiddle\n--end--\n";
    const QByteArray after = "--start--\n105\n1001\nmiddle\nmore\n--end--\n";
    const DocumentDelta delta(before, after);
    QVERIFY(!delta.isEmpty());
    QCOMPARE(delta.before(after), before);
    QCOMPARE(delta.after(before), after);
    // Also from and to nothing.
    const DocumentDelta fromNothing(QByteArray(""), after);
    QCOMPARE(fromNothing.after(QByteArray("")), after);
    QCOMPARE(fromNothing.before(after), QByteArray(""));
}

void TestDelta::aCountAtTheTopAndARecordFarBelow()
{
    // Like a new task: the next id at the top changes and a record comes in near the end.
    const QByteArray body = lines(2 * 1024 * 1024);
    const QByteArray before = "1000\n" + body + "tail\n";
    const qsizetype at = body.size() - 500;
    const QByteArray after = "1001\n" + body.left(at) + "new task\n" + body.mid(at) + "tail\n";
    const DocumentDelta delta(before, after);
    QCOMPARE(delta.before(after), before);
    QCOMPARE(delta.after(before), after);
    QVERIFY2(delta.keptBytes() < 200, qPrintable(QString::number(delta.keptBytes())));
}

void TestDelta::mostOfItRemoved()
{
    const QByteArray body = lines(1024 * 1024);
    const QByteArray before = "head\n" + body + "tail\n";
    const QByteArray after = "head\n" + body.right(300) + "tail\n";
    const DocumentDelta delta(before, after);
    QCOMPARE(delta.before(after), before);
    QCOMPARE(delta.after(before), after);
    // What went is kept, and little more.
    QVERIFY(delta.keptBytes() <= before.size() - after.size() + 64);
}

void TestDelta::randomEdits()
{
    QRandomGenerator random(20261121);
    const QByteArray original = lines(300 * 1024);
    for (int round = 0; round < 200; ++round) {
        QByteArray changed = original;
        const int edits = 1 + int(random.bounded(12));
        for (int e = 0; e < edits; ++e) {
            const qsizetype at = qsizetype(random.bounded(int(changed.size()) + 1));
            const int length = int(random.bounded(round % 10 == 0 ? 50000 : 40));
            switch (random.bounded(3)) {
            case 0:
                changed.insert(at, QByteArray(length, char('a' + random.bounded(26))));
                break;
            case 1:
                changed.remove(at, length);
                break;
            default:
                changed.replace(at, length, "x\n");
            }
        }
        const DocumentDelta delta(original, changed);
        QCOMPARE(delta.before(changed), original);
        QCOMPARE(delta.after(original), changed);
        const DocumentDelta back(changed, original);
        QCOMPARE(back.before(original), changed);
        QCOMPARE(back.after(changed), original);
    }
}

void TestDelta::onlyFromTheRightVersion()
{
    const QByteArray before = lines(50000);
    QByteArray after = before;
    after.replace(100, 5, "12345");
    const DocumentDelta delta(before, after);
    // Another version of the same size, or another size: nothing is rebuilt from it.
    QByteArray other = after;
    other[40000] = 'Z';
    QVERIFY(delta.before(other).isNull());
    QVERIFY(delta.before(after + "x").isNull());
    QVERIFY(delta.after(after).isNull());
    QVERIFY(!delta.before(after).isNull());
}

void TestDelta::aDocumentStringThroughTheReader()
{
    // A document string rebuilt from a delta reads back to the same string, withdrawn
    // records without tasks included.
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    ActivityCategory *gone = build.category(QStringLiteral("Gone"), true);
    Activity *coding = build.activity(QStringLiteral("Coding"), work);
    build.activity(QStringLiteral("Unused"), gone, true);
    for (int day = 1; day <= 20; ++day) {
        QVTask *task = build.task(coding, at(day, 8, 0), at(day, 9, 0));
        task->synchronised = day % 2 == 0;
        task->modifiedTime = task->synchronised ? at(day, 9, 0, 30) : QDateTime();
    }
    doc.deletedTaskIds = {4, 9};
    build.sortAll();
    const QByteArray before = doc.getDocumentBytes();
    QVTask *gone5 = doc.tasks.at(5);
    doc.removeTask(gone5);
    delete gone5;
    const QByteArray after = doc.getDocumentBytes();
    const DocumentDelta delta(before, after);

    QuorvelDocument restored;
    QVERIFY(restored.restoreFromBytes(delta.before(after)));
    QCOMPARE(restored.getDocumentBytes(), before);
    QCOMPARE(restored.activities.size(), 2);
    // The usual reader drops the withdrawn activity nobody uses.
    QuorvelDocument read;
    QByteArray copy = before;
    QVERIFY(read.populateFromByteArray(copy.data(), int(copy.size())));
    QCOMPARE(read.activities.size(), 1);
}

QUORVEL_TEST_GUILESS_MAIN(TestDelta)
#include "tst_delta.moc"
