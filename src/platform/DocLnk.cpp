#include "DocLnk.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <algorithm>

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

} // namespace

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
    if (folder.isEmpty() || !QDir().mkpath(folder))
        return false;
    const QString base = folder + QLatin1Char('/') + safeFileName(link.name());
    const QString extension = extensionFor(link.type());
    const QByteArray bytes = text.toUtf8();

    for (int number = 1; number < 100000; ++number) {
        const QString path = number == 1 ? base + extension
                                         : base + QStringLiteral(" (%1)").arg(number) + extension;
        QFile file(path);
        // NewOnly fails when the name is taken, so an older report is never replaced, not
        // even by another program writing at the same moment.
        if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly)) {
            if (QFileInfo::exists(path) || QFileInfo(path).isSymLink())
                continue;
            return false;
        }
        const bool written
            = file.write(bytes) == bytes.size() && file.flush() && ::fsync(file.handle()) == 0;
        file.close();
        if (!written || file.error() != QFileDevice::NoError) {
            file.remove();
            return false;
        }
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
    // Read with a bound too: the file may grow after the size was looked at.
    const QByteArray bytes = file.read(MaxLoadBytes + 1);
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
