// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "model/DocumentFormat.h"

#include <QByteArray>
#include <QString>

// A file's bytes mapped read-only for a command that only reads them: the pages come
// straight from the system's cache, with no copy in this process.
//
// Another program may cut the file short while it is mapped; reading a page past its new end
// then raises SIGBUS. While a MappedFile is mapped, that signal on its pages ends the process
// with a refusal prepared beforehand (see onLostPages()) instead of a crash.
class MappedFile
{
public:
    enum class State {
        Mapped,     // data() and size() are the file's bytes (none for an empty file)
        Missing,    // there is no such file
        Unreadable, // it exists but cannot be read or mapped, or is too large to be read
    };

    explicit MappedFile(const QString &path);
    ~MappedFile();
    MappedFile(const MappedFile &) = delete;
    MappedFile &operator=(const MappedFile &) = delete;

    State state() const { return m_state; }
    const char *data() const { return m_data; }
    int size() const { return m_size; }

    // The text written to standard error, with exit status 1, should the file be cut short
    // while its pages are read: before while *written is 0, after once it is not (part of an
    // answer has gone out). Texts beyond 8 KiB are cut there.
    void onLostPages(const QByteArray &before, const QByteArray &after, const qint64 *written);

    // Lets go of the whole pages before upTo, which are not read again: they leave this
    // process's resident memory (the system's cache keeps them). Reading them again would
    // fetch them anew. A point before the last one given starts over: a new reading from the
    // beginning lets go of its pages as it passes them.
    void letGo(const char *upTo);
    // For the document reader: lets go of what it has gone past.
    DocumentFormat::Passing passing();

private:
    State m_state = State::Unreadable;
    const char *m_data = nullptr;
    int m_size = 0;    // when above 0, the length of the mapping at m_data
    int m_letGoTo = 0; // the bytes before this have been let go of
};
