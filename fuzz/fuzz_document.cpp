// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The data file reader on any bytes. It must never read outside the buffer (which is exactly
// as large as the input, so AddressSanitizer sees one byte too far), and a document it accepts
// must be written and read back to the very same document string. A report straight from the
// bytes is refused exactly when the document is, and otherwise equals the document's.

#include "FuzzSupport.h"

#include "model/QuorvelDocument.h"
#include "reports/ReportData.h"

#include <climits>
#include <cstring>
#include <ctime>
#include <memory>

namespace {

// A writable copy without the terminating zero a QByteArray keeps behind its data.
std::unique_ptr<char[]> exactCopy(const char *data, size_t size)
{
    auto copy = std::make_unique<char[]>(size);
    if (size > 0)
        std::memcpy(copy.get(), data, size);
    return copy;
}

// What a document written by the program reads as, and that reading it once more changes
// nothing: the writer and the reader agree on every record the reader can make.
void checkRoundTrip(const QuorvelDocument &doc)
{
    const QByteArray written = doc.getDocumentBytes();
    FUZZ_CHECK(written.size() < INT_MAX);
    const std::unique_ptr<char[]> copy = exactCopy(written.constData(), size_t(written.size()));
    QuorvelDocument again;
    FUZZ_CHECK(again.populateFromByteArray(copy.get(), int(written.size())));
    FUZZ_CHECK(again.getDocumentString() == doc.getDocumentString());
}

// The reports of a year and of a week, from the records and from the document read from them.
// Both are made in UTC: in a zone with summer time, which of two moments a time in the
// repeated hour names is the C library's guess, led by the conversions before it, and the two
// readers convert in a different order.
void checkReports(const char *data, size_t size, bool read)
{
    const QByteArray zone = qgetenv("TZ");
    qputenv("TZ", "UTC");
    ::tzset();
    const std::unique_ptr<char[]> own = exactCopy(data, size);
    QuorvelDocument doc;
    FUZZ_CHECK(doc.populateFromByteArray(own.get(), int(size)) == read);
    const struct
    {
        QDate from;
        QDate to;
        ReportKind kind;
    } periods[] = {{QDate(2025, 1, 1), QDate(2025, 12, 31), ReportKind::Summary},
                   {QDate(2025, 3, 24), QDate(2025, 3, 30), ReportKind::TimeSheet}};
    for (const auto &period : periods) {
        const std::unique_ptr<char[]> copy = exactCopy(data, size);
        ReportData fromRecords;
        const bool collected = ReportData::collect(copy.get(), int(size), period.from, period.to,
                                                   true, period.kind, &fromRecords);
        FUZZ_CHECK(collected == read);
        if (collected)
            FUZZ_CHECK(fromRecords
                       == ReportData::collect(doc, period.from, period.to, true, period.kind));
    }
    qputenv("TZ", zone);
    ::tzset();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    Fuzz::setUp(Fuzz::Application::Core);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > size_t(INT_MAX))
        return 0;
    const std::unique_ptr<char[]> buffer = exactCopy(reinterpret_cast<const char *>(data), size);
    QuorvelDocument doc;
    const bool read = doc.populateFromByteArray(buffer.get(), int(size));

    // A damaged file leaves records with null references behind; sorting, writing and the
    // questions the window asks must cope with them all the same.
    doc.categories.sort();
    doc.activities.sort();
    doc.tasks.sort();
    (void)doc.activeTasks();
    (void)doc.getNumActiveActivities(true);
    (void)doc.getNumActiveActivities(false);
    (void)doc.getNumActiveCategories();
    const QByteArray sorted = doc.getDocumentBytes();
    FUZZ_CHECK(sorted.startsWith("--start--\n105\n"));
    FUZZ_CHECK(sorted.endsWith("--end--\n"));

    checkReports(reinterpret_cast<const char *>(data), size, read);
    if (read) {
        QuorvelDocument unsorted;
        const std::unique_ptr<char[]> again = exactCopy(reinterpret_cast<const char *>(data), size);
        FUZZ_CHECK(unsorted.populateFromByteArray(again.get(), int(size)));
        checkRoundTrip(unsorted);
        checkRoundTrip(doc);
    }
    return 0;
}
