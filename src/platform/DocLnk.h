// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QDateTime>
#include <QList>
#include <QString>

// A document of the user's: a display name, a MIME type and the file that holds it. A link
// made from a path names the file's existing document; an empty one gets its file when
// FileManager saves it.
class DocLnk
{
public:
    DocLnk() = default;
    // The document in the file at path; its name is the file name without the extension.
    explicit DocLnk(const QString &path);

    QString name() const { return m_name; }
    void setName(const QString &name) { m_name = name; }
    QString type() const { return m_type; }
    void setType(const QString &type) { m_type = type; }
    QString file() const { return m_file; }
    void setFile(const QString &path) { m_file = path; }

    // When the file was last written; null for a link without a file.
    QDateTime lastModified() const;

private:
    QString m_name;
    QString m_type;
    QString m_file;
};

// Creates and reads the files behind document links. Documents of a type live in one folder
// of the user's documents; each is a UTF-8 text file with the type's extension.
class FileManager
{
public:
    // The MIME type of saved reports, the one type of document Quorvel keeps.
    static QString reportType() { return QStringLiteral("application/x-quorvelqpereport"); }

    // Largest file loadFile reads: far above any report, far below what would exhaust memory.
    static constexpr qint64 MaxLoadBytes = qint64(1) << 30;

    // Writes text as a new file for link, in the folder of the link's type, named from the
    // link's name made safe; an existing file is never replaced (a number is added instead).
    // On success the link's file is set. False when the type is unknown or nothing could be
    // written; then no file is left behind.
    bool saveFile(DocLnk &link, const QString &text) const;

    // Reads the link's whole file as UTF-8 into text. False (text untouched) when the file
    // cannot be read or is larger than MaxLoadBytes.
    bool loadFile(const DocLnk &link, QString &text) const;

    // The documents of type in their folder, newest first (by the time written; on a tie, the
    // name that sorts last, which is the later of "X" and "X (2)").
    static QList<DocLnk> documents(const QString &type);

    // The user's documents folder, where exported reports go first.
    static QString userDocumentsFolder();
    // <XDG documents folder>/<folder of type>; empty for an unknown type.
    static QString folderFor(const QString &type);
    // ".qvreport" for saved reports; empty for an unknown type.
    static QString extensionFor(const QString &type);

    // name as a file name: no '/', no control characters, no leading dot, not empty, and
    // short enough for the file system with an extension and a number added.
    static QString safeFileName(const QString &name);
};
