// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "DocLnk.h"

#include "PrivateFiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <algorithm>

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

namespace {

// The user's documents folder: XDG_DOCUMENTS_DIR when set (as in user-dirs.dirs, it may start
// with $HOME), else what the desktop's user-dirs say.
QString documentsFolder()
{
    QString dir = qEnvironmentVariable("XDG_DOCUMENTS_DIR");
    if (dir.startsWith(QLatin1String("$HOME")))
        dir.replace(0, 5, QDir::homePath());
    if (!dir.isEmpty() && QDir::isAbsolutePath(dir))
        return QDir::cleanPath(dir);
    return QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
}

// Longest safe name in UTF-8 bytes: room within the usual 255-byte limit for " (99999)" and
// the extension.
constexpr int maxNameBytes = 200;

// A report's contents, written and synced before they get a name, so that a crash or a kill
// while writing never leaves a partial report. Unnamed where the file system allows it (then
// nothing at all is left behind), else under a hidden temporary name that goes with this.
class PendingFile
{
public:
    PendingFile() = default;
    PendingFile(const PendingFile &) = delete;
    PendingFile &operator=(const PendingFile &) = delete;
    ~PendingFile()
    {
        if (m_fd >= 0)
            ::close(m_fd);
        if (!m_temporary.isEmpty())
            ::unlink(m_temporary.constData());
    }

    bool write(const QString &folder, const QByteArray &bytes)
    {
        const QByteArray folderName = QFile::encodeName(folder);
        m_fd = ::open(folderName.constData(), O_TMPFILE | O_WRONLY | O_CLOEXEC,
                      PrivateFiles::FileMode);
        if (m_fd < 0) {
            QByteArray temporary = folderName + "/.quorvel-report-XXXXXX";
            m_fd = ::mkostemp(temporary.data(), O_CLOEXEC);
            if (m_fd < 0)
                return false;
            m_temporary = temporary;
        }
        // The mode exactly, whatever the umask; a file system without modes still gets the
        // report.
        PrivateFiles::restrict(m_fd);
        qsizetype written = 0;
        while (written < bytes.size()) {
            const ssize_t n
                = ::write(m_fd, bytes.constData() + written, size_t(bytes.size() - written));
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                return false;
            written += n;
        }
        return ::fsync(m_fd) == 0;
    }

    // Gives the file the name path without ever replacing what is there: 0 on success, else
    // the error (EEXIST when the name is taken).
    int publish(const QString &path)
    {
        const QByteArray name = QFile::encodeName(path);
        int result = 0;
        if (m_temporary.isEmpty()) {
            char self[64];
            std::snprintf(self, sizeof self, "/proc/self/fd/%d", m_fd);
            result = ::linkat(AT_FDCWD, self, AT_FDCWD, name.constData(), AT_SYMLINK_FOLLOW);
        } else {
            result = ::renameat2(AT_FDCWD, m_temporary.constData(), AT_FDCWD, name.constData(),
                                 RENAME_NOREPLACE);
            if (result == 0)
                m_temporary.clear();
            else if (errno == EINVAL || errno == ENOSYS)
                // No such rename here (NFS): a second link does the same.
                result = ::link(m_temporary.constData(), name.constData());
        }
        if (result != 0)
            return errno;
        // The new name must be on disk too.
        const int folder = ::open(QFile::encodeName(QFileInfo(path).absolutePath()).constData(),
                                  O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (folder >= 0) {
            ::fsync(folder);
            ::close(folder);
        }
        return 0;
    }

private:
    int m_fd = -1;
    QByteArray m_temporary;
};

} // namespace

QString FileManager::userDocumentsFolder()
{
    return documentsFolder();
}

DocLnk::DocLnk(const QString &path)
    : m_file(path)
{
    const QFileInfo info(path);
    m_name = info.completeBaseName();
    if (info.suffix() == FileManager::extensionFor(FileManager::reportType()).mid(1))
        m_type = FileManager::reportType();
}

QDateTime DocLnk::lastModified() const
{
    if (m_file.isEmpty())
        return QDateTime();
    return QFileInfo(m_file).lastModified();
}

QString FileManager::folderFor(const QString &type)
{
    if (type != FileManager::reportType())
        return QString();
    return documentsFolder() + QStringLiteral("/Quorvel Reports");
}

QString FileManager::extensionFor(const QString &type)
{
    return type == FileManager::reportType() ? QStringLiteral(".qvreport") : QString();
}

QString FileManager::safeFileName(const QString &name)
{
    QString safe;
    safe.reserve(name.size());
    for (const QChar c : name) {
        if (c == QLatin1Char('/') || c == QLatin1Char('\\'))
            safe += QLatin1Char('-');
        else if (c.category() == QChar::Other_Control || c.category() == QChar::Other_Format)
            safe += QLatin1Char(' ');
        else
            safe += c;
    }
    safe = safe.simplified();
    // A leading dot would hide the file.
    while (safe.startsWith(QLatin1Char('.')))
        safe.remove(0, 1);
    while (safe.toUtf8().size() > maxNameBytes)
        safe.chop(safe.size() > 1 && safe.at(safe.size() - 1).isLowSurrogate() ? 2 : 1);
    safe = safe.trimmed();
    return safe.isEmpty() ? QStringLiteral("Report") : safe;
}

bool FileManager::saveFile(DocLnk &link, const QString &text) const
{
    const QString folder = folderFor(link.type());
    if (folder.isEmpty() || !PrivateFiles::makeFolder(folder))
        return false;
    const QString base = folder + QLatin1Char('/') + safeFileName(link.name());
    const QString extension = extensionFor(link.type());
    PendingFile pending;
    if (!pending.write(folder, text.toUtf8()))
        return false;

    for (int number = 1; number < 100000; ++number) {
        const QString path = number == 1 ? base + extension
                                         : base + QStringLiteral(" (%1)").arg(number) + extension;
        // A taken name is never replaced, not even one another program writes at this moment.
        const int error = pending.publish(path);
        if (error == EEXIST)
            continue;
        if (error != 0)
            return false;
        link.setFile(path);
        return true;
    }
    return false;
}

bool FileManager::loadFile(const DocLnk &link, QString &text) const
{
    QFile file(link.file());
    const QFileInfo info(file);
    if (link.file().isEmpty() || !info.isFile() || info.size() > MaxLoadBytes)
        return false;
    if (!file.open(QIODevice::ReadOnly))
        return false;
    // Read with a bound too: the file may grow after the size was looked at. In pieces of
    // about the size found: read(n) takes n bytes of memory before reading anything, and a
    // gigabyte for every report opened fails where memory is not overcommitted.
    QByteArray bytes;
    while (bytes.size() <= MaxLoadBytes) {
        const qint64 expected = qMax<qint64>(info.size() - bytes.size(), 0) + 4096;
        const QByteArray piece = file.read(qMin(expected, MaxLoadBytes + 1 - bytes.size()));
        if (piece.isEmpty())
            break;
        bytes += piece;
    }
    if (file.error() != QFileDevice::NoError || bytes.size() > MaxLoadBytes)
        return false;
    text = QString::fromUtf8(bytes);
    return true;
}

QList<DocLnk> FileManager::documents(const QString &type)
{
    QList<DocLnk> links;
    const QString folder = folderFor(type);
    if (folder.isEmpty())
        return links;
    const QFileInfoList files = QDir(folder).entryInfoList({QLatin1Char('*') + extensionFor(type)},
                                                           QDir::Files | QDir::Readable);
    struct Entry
    {
        DocLnk link;
        QDateTime written;
    };
    std::vector<Entry> entries;
    entries.reserve(size_t(files.size()));
    for (const QFileInfo &info : files)
        entries.push_back({DocLnk(info.filePath()), info.lastModified()});
    std::stable_sort(entries.begin(), entries.end(), [](const Entry &a, const Entry &b) {
        if (a.written != b.written)
            return a.written > b.written;
        return a.link.name() > b.link.name();
    });
    for (const Entry &entry : entries)
        links.append(entry.link);
    return links;
}
