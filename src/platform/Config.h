// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QString>

#include <memory>

class QSettings;

// A named per-user settings store with groups and typed entries, kept as an INI file at
// <XDG config>/Quorvel/<name>.conf. Writes go to the file when the object is destroyed, so
// the short-lived Config objects the program uses put every write on disk at once. The file
// is readable by its owner only.
class Config
{
public:
    enum Domain { User };

    explicit Config(const QString &name, Domain domain = User);
    ~Config();

    Config(const Config &) = delete;
    Config &operator=(const Config &) = delete;

    // Path of the file that holds the store called name.
    static QString filePath(const QString &name);

    void setGroup(const QString &group);

    QString readEntry(const QString &key, const QString &deflt = QString()) const;
    int readNumEntry(const QString &key, int deflt = -1) const;
    bool readBoolEntry(const QString &key, bool deflt = false) const;

    // Reads a value that writeEntryCrypt stored; gives it back exactly as it was written.
    QString readEntryCrypt(const QString &key, const QString &deflt = QString()) const;

    void writeEntry(const QString &key, const QString &value);
    void writeEntry(const QString &key, const char *value);
    void writeEntry(const QString &key, int value);
    // Booleans are stored as 0 and 1 so integer and boolean readers agree on them.
    void writeEntry(const QString &key, bool value);

    // Keeps the value scrambled in the file so it does not stand there as typed. This is
    // obfuscation against a casual look, not encryption.
    void writeEntryCrypt(const QString &key, const QString &value);

    void removeEntry(const QString &key);
    bool hasKey(const QString &key) const;

    static QString scramble(const QString &plain);
    // Gives back the plain text of a scrambled value; a value that is not one (written by
    // hand, say) is returned as it stands.
    static QString unscramble(const QString &stored);

private:
    std::unique_ptr<QSettings> m_settings;
    bool m_changed = false;
};
