// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "FuzzSupport.h"

#include "platform/Clock.h"

#include <QApplication>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QLocale>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>

// Fontconfig keeps a few hundred bytes of its first font lookup unreachable for good; every
// program that lays out text has them, and they are not ours to find.
extern "C" const char *__lsan_default_suppressions()
{
    return "leak:libfontconfig.so\n";
}

namespace Fuzz {

namespace {

// Static, so that the folder goes when the process ends normally (libFuzzer's -runs and
// -max_total_time end with exit()).
QTemporaryDir *root()
{
    static QTemporaryDir dir(QDir::tempPath() + QStringLiteral("/quorvel-fuzz-XXXXXX"));
    return &dir;
}

void useFolder(const char *variable, const QString &path)
{
    QDir().mkpath(path);
    qputenv(variable, QFile::encodeName(path));
}

} // namespace

void setUp(Application application)
{
    // Both before Qt reads them: the time zone at the first conversion, the platform when
    // the application is made.
    qputenv("TZ", "Europe/Berlin");
    qputenv("QT_QPA_PLATFORM", "offscreen");
    Clock::pinLocalTimeZone();

    QTemporaryDir *dir = root();
    if (!dir->isValid()) {
        std::fprintf(stderr, "fuzz: no temporary folder\n");
        std::abort();
    }
    const QString base = dir->path();
    useFolder("HOME", base + QStringLiteral("/home"));
    useFolder("XDG_DATA_HOME", base + QStringLiteral("/data"));
    useFolder("XDG_CONFIG_HOME", base + QStringLiteral("/config"));
    useFolder("XDG_CACHE_HOME", base + QStringLiteral("/cache"));
    useFolder("XDG_DOCUMENTS_DIR", base + QStringLiteral("/documents"));
    const QString runtime = base + QStringLiteral("/runtime");
    useFolder("XDG_RUNTIME_DIR", runtime);
    QFile::setPermissions(runtime,
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);

    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    Clock::setFixed(QDateTime(QDate(2026, 11, 21), QTime(9, 30, 0)));

    // Only the program's name: Qt takes the options it knows out of the list it is given, and
    // libFuzzer reads its own options from the list after this returns. Qt keeps the list.
    static char name[] = "quorvel-fuzz";
    static int appArgc = 1;
    static char *appArgv[] = {name, nullptr};
    // Never deleted: the targets run until the process ends, and a static pointer keeps it
    // reachable for the leak checker.
    static QCoreApplication *app = nullptr;
    if (!app) {
        if (application == Application::Widgets)
            app = new QApplication(appArgc, appArgv);
        else
            app = new QCoreApplication(appArgc, appArgv);
    }
}

void fail(const char *what, const char *file, int line)
{
    std::fprintf(stderr, "fuzz: check failed at %s:%d: %s\n", file, line, what);
    std::fflush(stderr);
    std::abort();
}

} // namespace Fuzz
