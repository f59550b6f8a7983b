// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QByteArray>

#include <cstddef>
#include <cstdint>

// What every fuzz target shares: the process set up once as the program would run, away from
// the real home, and a check that makes a broken promise a finding.
namespace Fuzz {

enum class Application { Core, Widgets };

// Called from LLVMFuzzerInitialize, before any Qt object exists: fresh temporary XDG folders
// and home, the offscreen platform, en_US, Berlin time (daylight saving makes times that do
// not exist and times that exist twice), the clock fixed at 2026-11-21 09:30, and then a
// QCoreApplication or a QApplication that lives as long as the process.
void setUp(Application application);

// The input as a QByteArray of its own (a deep copy: the fuzzer's buffer must not be kept).
inline QByteArray bytes(const uint8_t *data, size_t size)
{
    return QByteArray(reinterpret_cast<const char *>(data), qsizetype(size));
}

// Prints what and where, then aborts: libFuzzer and the replay tests both see the abort.
[[noreturn]] void fail(const char *what, const char *file, int line);

} // namespace Fuzz

// An invariant the code under test promises; a failing one is reported like a crash.
#define FUZZ_CHECK(condition)                                                                      \
    do {                                                                                           \
        if (!(condition))                                                                          \
            Fuzz::fail(#condition, __FILE__, __LINE__);                                            \
    } while (false)
