// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QStringList>
#include <QTemporaryDir>

#include <functional>
#include <vector>

class QuorvelDocument;

// What the benchmarks share: the large document they measure on and the way they time.

// The large document: 100 000 stopped tasks spread over three years (one every 15 to 16
// minutes, each 1 to 15 minutes long) on 200 activities in 20 categories, from a fixed seed.
struct LargeDocument
{
    static constexpr int TaskCount = 100000;
    static constexpr int ActivityCount = 200;
    static constexpr int CategoryCount = 20;

    // A withdrawn category and activities, every tenth task synchronised with a stamp, and
    // 100 deleted ids: every part of the data file has something to carry.
    bool fileFeatures = true;
    // The last three tasks hold the shortcut buttons.
    bool shortcuts = false;

    void fill(QuorvelDocument &doc) const;
};

double median(std::vector<double> values);

struct Case
{
    const char *name;
    std::function<void()> prepare; // untimed
    std::function<void()> work;    // timed
    std::vector<double> ms;
};

// Runs every case once per round, round after round, so that a burst of load on the machine
// falls on all of them alike rather than on whichever ran during it.
void runRounds(std::vector<Case> &cases, int rounds);

// The number of rounds asked for with "--runs N" (at least 1), or deflt.
int runsArgument(const QStringList &arguments, int deflt = 15);

// Peak resident memory (VmHWM) of this process in MiB; -1 when it cannot be read.
double peakMemoryMiB();

// Temporary XDG data, config and runtime folders for this process, so that a benchmark never
// touches the user's own files; removed with the object. Set up before the application object.
class TemporaryHome
{
public:
    TemporaryHome();

private:
    QTemporaryDir m_dir;
};

// What a benchmark of the window's widgets sets before its application object: the local
// time zone pinned, and the offscreen platform, so that no screen or desktop weighs in.
void useOffscreenWidgets();

// Lets posted work run: layout requests, the paint after a rebuild.
void settle();
