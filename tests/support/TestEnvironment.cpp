// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "TestEnvironment.h"

#include "platform/Clock.h"

#include <QDir>
#include <QLocale>
#include <QtGlobal>

namespace {
TestEnvironment *s_instance = nullptr;
}

TestEnvironment::TestEnvironment()
    : m_root(QDir::tempPath() + QStringLiteral("/quorvel-test-XXXXXX"))
{
    Q_ASSERT(m_root.isValid());
    Clock::pinLocalTimeZone();
    qputenv("QT_QPA_PLATFORM", "offscreen");
    // Never the desktop's session bus (nor one autolaunched): a test that wants a bus starts
    // its own PrivateBus. Without one the server password stays out of any keyring.
    qunsetenv("DBUS_SESSION_BUS_ADDRESS");
    qputenv("HOME", QFile::encodeName(m_root.path() + QStringLiteral("/home")));
    qputenv("XDG_DATA_HOME", QFile::encodeName(dataHome()));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(configHome()));
    qputenv("XDG_DOCUMENTS_DIR", QFile::encodeName(documentsDir()));
    // Local sockets (the one-instance check) go here: each test run has its own.
    const QString runtimeDir = m_root.path() + QStringLiteral("/runtime");
    QDir().mkpath(runtimeDir);
    QFile::setPermissions(runtimeDir,
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    qputenv("XDG_RUNTIME_DIR", QFile::encodeName(runtimeDir));
    QDir().mkpath(m_root.path() + QStringLiteral("/home"));
    QDir().mkpath(dataHome());
    QDir().mkpath(configHome());
    QDir().mkpath(documentsDir());
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    Clock::setFixed(QDateTime(QDate(2026, 11, 21), QTime(9, 30, 0)));
    s_instance = this;
}

QString TestEnvironment::dataHome() const
{
    return m_root.path() + QStringLiteral("/data");
}

QString TestEnvironment::configHome() const
{
    return m_root.path() + QStringLiteral("/config");
}

QString TestEnvironment::documentsDir() const
{
    return m_root.path() + QStringLiteral("/documents");
}

void TestEnvironment::wipe()
{
    for (const QString &dir : {s_instance->dataHome(), s_instance->configHome()}) {
        QDir(dir).removeRecursively();
        QDir().mkpath(dir);
    }
}

TestEnvironment *TestEnvironment::instance()
{
    return s_instance;
}

QStringList shownTitles()
{
    QStringList list;
    for (const MessageBox::Shown &shown : MessageBox::shown())
        list << shown.title;
    return list;
}
