// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "widgets/MessageBox.h"

#include <QApplication>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

// Every test executable runs inside one of these: XDG data, config and documents folders in a
// fresh temporary folder (the real home is never touched), the locale pinned to en_US, the
// clock on the fixed test time and local time conversions pinned. Created before QTest runs.
class TestEnvironment
{
public:
    TestEnvironment();

    QString dataHome() const;
    QString configHome() const;
    QString documentsDir() const;

    // Removes all data and settings files, for a test that needs a fresh installation.
    static void wipe();

    static TestEnvironment *instance();

private:
    QTemporaryDir m_root;
};

// The titles of the message boxes recorded so far, in order.
QStringList shownTitles();

// Like QTEST_GUILESS_MAIN, with a TestEnvironment set up before the test object exists.
#define QUORVEL_TEST_GUILESS_MAIN(TestObject)                                                      \
    int main(int argc, char *argv[])                                                               \
    {                                                                                              \
        TestEnvironment environment;                                                               \
        QCoreApplication app(argc, argv);                                                          \
        app.setAttribute(Qt::AA_Use96Dpi, true);                                                   \
        TestObject tc;                                                                             \
        QTEST_SET_MAIN_SOURCE_PATH                                                                 \
        return QTest::qExec(&tc, argc, argv);                                                      \
    }

// For tests with widgets: a QApplication on the offscreen platform, and message boxes
// recorded and answered through MessageBox's test seam instead of being shown.
#define QUORVEL_TEST_MAIN(TestObject)                                                              \
    int main(int argc, char *argv[])                                                               \
    {                                                                                              \
        TestEnvironment environment;                                                               \
        QApplication app(argc, argv);                                                              \
        MessageBox::setTesting(true);                                                              \
        TestObject tc;                                                                             \
        QTEST_SET_MAIN_SOURCE_PATH                                                                 \
        return QTest::qExec(&tc, argc, argv);                                                      \
    }
