// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// A saved report reopened: its file read as the window reads it and shown in the report viewer
// on offscreen widgets. Anything may stand in such a file (it is a document of the user's, and
// file managers open it with Quorvel). Showing it must not crash, and a text long enough to be
// shown in pages must lose nothing: every day row stands on exactly one page, and every page
// opens with the report's head.
//
// An input that begins with byte 1 stands for a long report: in the rest, each byte 2 and the
// byte after it become an HTML comment of (that byte + 1) thousand characters, so that a short
// input makes a text of several pages.

#include "FuzzSupport.h"

#include "platform/DocLnk.h"
#include "reportwindows/ReportBrowser.h"
#include "reportwindows/ReportViewer.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QStringView>

namespace {

constexpr QStringView dayMarker = u"<tr><td align=top bgcolor=#c0c0c0 rowspan=";

// Saved reports run to megabytes, but nothing in one depends on its length past a few pages.
constexpr size_t MaxInput = 16 * 1024;
constexpr qsizetype ShownChars = 4096;
constexpr qsizetype MaxExpanded = 5 * ReportBrowser::PageBudget / 2;

QByteArray expanded(const QByteArray &rest)
{
    QByteArray out;
    for (qsizetype i = 0; i < rest.size(); ++i) {
        if (rest.at(i) != '\x02' || i + 1 >= rest.size()) {
            out += rest.at(i);
            continue;
        }
        const qsizetype length = (qsizetype(static_cast<unsigned char>(rest.at(++i))) + 1) * 1000;
        if (out.size() + length > MaxExpanded)
            continue;
        out += "<!--";
        out += QByteArray(length, 'x');
        out += "-->";
    }
    return out;
}

qsizetype count(QStringView text, QStringView what)
{
    qsizetype n = 0;
    for (qsizetype at = text.indexOf(what); at >= 0; at = text.indexOf(what, at + what.size()))
        ++n;
    return n;
}

void checkPages(const ReportBrowser &browser, const QString &text)
{
    const int pages = browser.pageCount();
    FUZZ_CHECK(pages >= 1);
    FUZZ_CHECK(browser.reportText() == text);
    FUZZ_CHECK(browser.pageText(-1).isNull());
    FUZZ_CHECK(browser.pageText(pages).isNull());
    if (pages == 1) {
        FUZZ_CHECK(browser.pageText(0) == text);
        return;
    }
    FUZZ_CHECK(text.size() > ReportBrowser::PageBudget);
    const QStringView head = QStringView(text).left(text.indexOf(dayMarker));
    qsizetype days = 0;
    for (int page = 0; page < pages; ++page) {
        const QString shown = browser.pageText(page);
        FUZZ_CHECK(shown.startsWith(head));
        const qsizetype onPage = count(shown, dayMarker);
        FUZZ_CHECK(onPage >= 1);
        days += onPage;
    }
    FUZZ_CHECK(days == count(text, dayMarker));
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    Fuzz::setUp(Fuzz::Application::Widgets);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > MaxInput)
        return 0;
    QByteArray bytes = Fuzz::bytes(data, size);
    if (bytes.startsWith('\x01'))
        bytes = expanded(bytes.mid(1));

    // Through the file, as the window opens it.
    const QString folder = FileManager::folderFor(FileManager::reportType());
    QDir().mkpath(folder);
    const QString path
        = folder + QStringLiteral("/Fuzzed") + FileManager::extensionFor(FileManager::reportType());
    {
        QFile file(path);
        FUZZ_CHECK(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        FUZZ_CHECK(file.write(bytes) == bytes.size());
    }
    QString text;
    FUZZ_CHECK(FileManager().loadFile(DocLnk(path), text));
    FUZZ_CHECK(text == QString::fromUtf8(bytes));

    ReportViewer viewer(text, nullptr);
    // Laying out and painting a table costs about ten times what reading it does: only short
    // texts are shown on the screen, where the images and links they name are asked for.
    const bool shown = text.size() <= ShownChars;
    if (shown)
        viewer.show();
    ReportBrowser *browser = viewer.browser();
    checkPages(*browser, text);
    FUZZ_CHECK(browser->currentPage() == 0);
    const int last = browser->pageCount() - 1;
    browser->showPage(last);
    FUZZ_CHECK(browser->currentPage() == last);
    browser->showPage(last + 1);
    FUZZ_CHECK(browser->currentPage() == last);
    browser->showPage(last / 2);
    FUZZ_CHECK(browser->currentPage() == last / 2);
    if (shown) {
        // Laid out and painted once, on the page last shown.
        QCoreApplication::processEvents();
        viewer.close();
    }
    return 0;
}
