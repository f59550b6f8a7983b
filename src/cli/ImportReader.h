// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>

// One task read from a file to import.
struct ImportRow
{
    // 1-based line of the file where the row begins: a CSV record's first line, or the line
    // of the first character of a JSON array's element.
    int line = 0;
    // 1-based place of the element in the JSON array when another element begins on the same
    // line (an export written on one line), so that a message can still tell them apart; else 0.
    int task = 0;
    QString activity;
    QString category;
    QDateTime start; // local time, whole minutes
    QDateTime stop;  // null (invalid) while the task runs
    QString problem; // non-empty: the row cannot be used, and why (user text)
};

struct ImportFile
{
    QList<ImportRow> rows;
    QString error; // non-empty: the file as a whole cannot be read, and why
};

// Reads the files that "quorvel import" takes: this program's own CSV and JSON exports, and
// Timewarrior's JSON export. Nothing in a file can make these crash, hang or take more than
// time linear in its size; what cannot be used is reported as a row's problem or the error.
namespace ImportReader {

enum class Format { Csv, Json };

// '[' or '{' as the first non-blank byte (after an optional UTF-8 BOM) means JSON, else CSV.
Format detect(const QByteArray &bytes);

// RFC 4180 with a header row naming the columns Activity, Category, Start, Stop and Minutes
// in any order (Category and Minutes may be left out; Minutes is ignored).
ImportFile readCsv(const QByteArray &bytes);

// A JSON array. Objects with an "activity" key are this program's own export
// ({"activity","category","start","stop","minutes"}, times as "2026-11-21T09:30", stop null
// or absent while running). Others are Timewarrior intervals ({"start":"20261121T093000Z",
// "end":…,"tags":[…]}, UTC times, "end" absent while running): all tags joined by a blank
// are the activity, in the given category; with categoryFromFirstTag the first of two or
// more tags is the category and the others the activity.
ImportFile readJson(const QByteArray &bytes, const QString &category, bool categoryFromFirstTag);

} // namespace ImportReader
