// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The server's personal messages as the status window shows them (Synchronize::showMessages)
// in the view it uses, laid out at the window's width. Whatever a server sends, showing it
// must end soon, stay within the shown bound, and say what was left out.
//
// An input that begins with byte 1 stands for a long message section: the rest, repeated to
// just past the 64 KiB that are shown, so that the cut (inside a UTF-8 character or not) is
// tried.

#include "FuzzSupport.h"

#include "dialogs/Synchronize.h"
#include "views/SafeTextBrowser.h"

#include <QAbstractTextDocumentLayout>
#include <QTextDocument>

namespace {

constexpr size_t MaxInput = 16 * 1024;
constexpr qsizetype ShownBytes = 64 * 1024;

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
    if (bytes.startsWith('\x01')) {
        const QByteArray unit = bytes.mid(1);
        if (unit.isEmpty())
            return 0;
        bytes = unit.repeated(int(ShownBytes / unit.size()) + 2);
    }

    SafeTextBrowser view;
    view.resize(480, 240);
    Synchronize::showMessages(&view, bytes);
    view.document()->setTextWidth(460);
    const QSizeF laidOut = view.document()->documentLayout()->documentSize();
    FUZZ_CHECK(laidOut.width() >= 0 && laidOut.height() >= 0);

    // Never more than the bound, whatever entities and blocks make of the bytes.
    const QString shown = view.toPlainText();
    FUZZ_CHECK(shown.size() <= ShownBytes + 200);
    if (bytes.size() > ShownBytes) {
        // Plain text, cut, and said so.
        FUZZ_CHECK(shown.endsWith(QStringLiteral(" was left out.")));
        FUZZ_CHECK(shown.contains(QStringLiteral("\n\nThe rest of the server's messages (")));
    }
    return 0;
}
