// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers
#pragma once

#include <QByteArray>

#include <vector>

// The difference between two versions of a document string, kept small enough to hold one
// for every change of a long working session: only the stretches in which the two differ are
// kept, found around the stretches they share. Either version is rebuilt from the other byte
// for byte, and only from exactly that other version (checked by its size and a hash).
//
// A change of a few tasks in a 5 MiB document keeps a few hundred bytes; a purge keeps the
// tasks it removed.
class DocumentDelta
{
public:
    DocumentDelta() = default;
    DocumentDelta(const QByteArray &before, const QByteArray &after);

    // The version before the change, rebuilt from the one after it; a null QByteArray when
    // after is not the version the delta was made from.
    QByteArray before(const QByteArray &after) const;
    // The version after the change, rebuilt from the one before it; null likewise.
    QByteArray after(const QByteArray &before) const;

    // True when the two versions are the same.
    bool isEmpty() const { return m_hunks.empty(); }
    // The bytes the delta keeps of the two versions.
    qsizetype keptBytes() const;

private:
    // One stretch that differs: its place and bytes in each version.
    struct Hunk
    {
        qsizetype beforeOffset = 0;
        qsizetype afterOffset = 0;
        QByteArray beforeBytes;
        QByteArray afterBytes;
    };

    void compare(const QByteArray &before, qsizetype beforeFrom, qsizetype beforeTo,
                 const QByteArray &after, qsizetype afterFrom, qsizetype afterTo, int depth);
    // Builds the version on the other side from source, the version on this side.
    QByteArray rebuild(const QByteArray &source, bool fromAfter) const;

    std::vector<Hunk> m_hunks;
    qsizetype m_beforeSize = 0;
    qsizetype m_afterSize = 0;
    size_t m_beforeHash = 0;
    size_t m_afterHash = 0;
};
