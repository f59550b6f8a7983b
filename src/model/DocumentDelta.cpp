// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers
#include "DocumentDelta.h"

#include <QByteArrayView>
#include <QHash>

#include <algorithm>

namespace {

// Below this, a differing stretch is kept whole rather than searched for shared parts.
constexpr qsizetype SmallStretch = 4096;
// The piece of one version looked for in the other to split a stretch around.
constexpr qsizetype AnchorBytes = 64;
// Splits in a row; beyond them the stretch is kept whole (the result stays correct).
constexpr int MaxDepth = 24;

size_t hashOf(const QByteArray &bytes)
{
    return qHash(QByteArrayView(bytes), 0);
}

// A piece of bytes[from, to) near its middle that starts a line, for finding it in the other
// version; its position, or -1 when the stretch is too short.
qsizetype anchorIn(const QByteArray &bytes, qsizetype from, qsizetype to)
{
    if (to - from < 2 * AnchorBytes)
        return -1;
    const qsizetype middle = from + (to - from) / 2;
    const qsizetype lineEnd = bytes.indexOf('\n', middle);
    const qsizetype anchor = lineEnd >= 0 && lineEnd + 1 + AnchorBytes <= to ? lineEnd + 1 : middle;
    return anchor + AnchorBytes <= to ? anchor : -1;
}

qsizetype find(const QByteArray &bytes, qsizetype from, qsizetype to, const char *piece)
{
    const QByteArrayView stretch(bytes.constData() + from, to - from);
    const qsizetype found = stretch.indexOf(QByteArrayView(piece, AnchorBytes));
    return found < 0 ? -1 : from + found;
}

} // namespace

DocumentDelta::DocumentDelta(const QByteArray &before, const QByteArray &after)
    : m_beforeSize(before.size())
    , m_afterSize(after.size())
    , m_beforeHash(hashOf(before))
    , m_afterHash(hashOf(after))
{
    compare(before, 0, before.size(), after, 0, after.size(), 0);
}

void DocumentDelta::compare(const QByteArray &before, qsizetype beforeFrom, qsizetype beforeTo,
                            const QByteArray &after, qsizetype afterFrom, qsizetype afterTo,
                            int depth)
{
    // What both begin and end with is shared.
    const char *b = before.constData();
    const char *a = after.constData();
    const qsizetype shortest = std::min(beforeTo - beforeFrom, afterTo - afterFrom);
    qsizetype prefix = 0;
    while (prefix < shortest && b[beforeFrom + prefix] == a[afterFrom + prefix])
        ++prefix;
    beforeFrom += prefix;
    afterFrom += prefix;
    qsizetype suffix = 0;
    while (suffix < shortest - prefix && b[beforeTo - 1 - suffix] == a[afterTo - 1 - suffix])
        ++suffix;
    beforeTo -= suffix;
    afterTo -= suffix;
    if (beforeFrom == beforeTo && afterFrom == afterTo)
        return;

    // A long stretch is split around a piece of one version found in the other: typically a
    // changed count at the top and a changed task further down, with everything between
    // them shared.
    const bool small = beforeTo - beforeFrom < SmallStretch || afterTo - afterFrom < SmallStretch;
    if (!small && depth < MaxDepth) {
        qsizetype beforeSplit = anchorIn(before, beforeFrom, beforeTo);
        qsizetype afterSplit
            = beforeSplit < 0 ? -1 : find(after, afterFrom, afterTo, b + beforeSplit);
        if (afterSplit < 0) {
            afterSplit = anchorIn(after, afterFrom, afterTo);
            beforeSplit = afterSplit < 0 ? -1 : find(before, beforeFrom, beforeTo, a + afterSplit);
        }
        if (beforeSplit >= 0 && afterSplit >= 0) {
            compare(before, beforeFrom, beforeSplit, after, afterFrom, afterSplit, depth + 1);
            compare(before, beforeSplit, beforeTo, after, afterSplit, afterTo, depth + 1);
            return;
        }
    }
    Hunk hunk;
    hunk.beforeOffset = beforeFrom;
    hunk.afterOffset = afterFrom;
    hunk.beforeBytes = before.mid(beforeFrom, beforeTo - beforeFrom);
    hunk.afterBytes = after.mid(afterFrom, afterTo - afterFrom);
    m_hunks.push_back(std::move(hunk));
}

QByteArray DocumentDelta::rebuild(const QByteArray &source, bool fromAfter) const
{
    if (source.size() != (fromAfter ? m_afterSize : m_beforeSize)
        || hashOf(source) != (fromAfter ? m_afterHash : m_beforeHash))
        return QByteArray();
    QByteArray target;
    target.reserve(fromAfter ? m_beforeSize : m_afterSize);
    qsizetype copied = 0;
    // The hunks come in the order of both versions.
    for (const Hunk &hunk : m_hunks) {
        const qsizetype offset = fromAfter ? hunk.afterOffset : hunk.beforeOffset;
        target.append(source.constData() + copied, offset - copied);
        target.append(fromAfter ? hunk.beforeBytes : hunk.afterBytes);
        copied = offset + (fromAfter ? hunk.afterBytes : hunk.beforeBytes).size();
    }
    target.append(source.constData() + copied, source.size() - copied);
    return target;
}

QByteArray DocumentDelta::before(const QByteArray &after) const
{
    return rebuild(after, true);
}

QByteArray DocumentDelta::after(const QByteArray &before) const
{
    return rebuild(before, false);
}

qsizetype DocumentDelta::keptBytes() const
{
    qsizetype bytes = 0;
    for (const Hunk &hunk : m_hunks)
        bytes += hunk.beforeBytes.size() + hunk.afterBytes.size();
    return bytes;
}
