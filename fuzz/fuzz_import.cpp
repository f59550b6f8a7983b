// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// A file handed to "quorvel import", read as CSV and as JSON (with the category given and
// with the category from the first tag). Nothing in it may crash or hang the readers, and
// every row they offer for import is whole: an activity, a start in whole minutes, a stop in
// whole minutes after nothing but a valid moment, names on one line.

#include "FuzzSupport.h"

#include "cli/ImportReader.h"

namespace {

bool oneLine(const QString &name)
{
    for (const QChar c : name) {
        const QChar::Category category = c.category();
        if (category == QChar::Other_Control || category == QChar::Separator_Line
            || category == QChar::Separator_Paragraph)
            return false;
    }
    return name == name.trimmed();
}

bool wholeMinute(const QDateTime &when)
{
    return when.time().second() == 0 && when.time().msec() == 0;
}

void checkFile(const ImportFile &file, const QByteArray &bytes, bool json)
{
    if (!file.error.isEmpty())
        FUZZ_CHECK(file.rows.isEmpty());
    const qsizetype lines = bytes.count('\n') + 1;
    int previousLine = 0;
    int previousTask = 0;
    int position = 0;
    for (const ImportRow &row : file.rows) {
        ++position;
        // Rows by the line of the file they begin on; JSON rows that begin on one line also by
        // their place in the array.
        FUZZ_CHECK(row.line >= 1 && row.line <= lines);
        if (json) {
            FUZZ_CHECK(row.line >= previousLine);
            FUZZ_CHECK(row.task == 0 || row.task == position);
            if (row.line == previousLine)
                FUZZ_CHECK(row.task == position && previousTask == position - 1);
        } else {
            FUZZ_CHECK(row.line > previousLine && row.task == 0);
        }
        previousLine = row.line;
        previousTask = row.task;
        FUZZ_CHECK(oneLine(row.activity));
        FUZZ_CHECK(oneLine(row.category));
        if (!row.problem.isEmpty())
            continue;
        FUZZ_CHECK(!row.activity.isEmpty());
        FUZZ_CHECK(row.start.isValid() && wholeMinute(row.start));
        FUZZ_CHECK(row.stop.isNull() || (row.stop.isValid() && wholeMinute(row.stop)));
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    Fuzz::setUp(Fuzz::Application::Core);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes = Fuzz::bytes(data, size);
    (void)ImportReader::detect(bytes);
    checkFile(ImportReader::readCsv(bytes), bytes, false);
    const QString category = QStringLiteral(" Imported\tWork ");
    checkFile(ImportReader::readJson(bytes, category, false), bytes, true);
    checkFile(ImportReader::readJson(bytes, category, true), bytes, true);
    return 0;
}
