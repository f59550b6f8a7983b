// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "DocumentBuilder.h"
#include "TestEnvironment.h"

#include <QtTest>

class TestSmoke : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void emptyDocument()
    {
        QuorvelDocument doc;
        QCOMPARE(doc.getDocumentString(),
                 QStringLiteral("--start--\n105\n1000\n0\n0\n0\n0\n--end--\n"));
        QVERIFY(
            QuorvelDocument::dataFilePath().startsWith(TestEnvironment::instance()->dataHome()));
    }
};

QUORVEL_TEST_GUILESS_MAIN(TestSmoke)
#include "tst_smoke.moc"
