// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "SafeTextBrowser.h"

namespace {

bool isSpace(QChar c)
{
    return c == QLatin1Char(' ') || c == QLatin1Char('\n') || c == QLatin1Char('\t')
           || c == QLatin1Char('\r');
}

} // namespace

bool SafeTextBrowser::hasLongStretch(QStringView text, qsizetype limit)
{
    qsizetype stretch = 0;
    for (const QChar c : text) {
        stretch = isSpace(c) ? 0 : stretch + 1;
        if (stretch > limit)
            return true;
    }
    return false;
}

QString SafeTextBrowser::withLineBreaks(const QString &text)
{
    if (!hasLongStretch(text))
        return text;
    QString out;
    out.reserve(text.size() + text.size() / MaxStretch);
    qsizetype stretch = 0;
    for (const QChar c : text) {
        if (stretch >= MaxStretch && !c.isLowSurrogate() && !isSpace(c)) {
            out += QLatin1Char('\n');
            stretch = 0;
        }
        out += c;
        stretch = isSpace(c) ? 0 : stretch + 1;
    }
    return out;
}
