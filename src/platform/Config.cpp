// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "Config.h"

#include "PrivateFiles.h"

#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>

#include <fcntl.h>
#include <unistd.h>

namespace {

// Marks scrambled values so that a value typed into the file by hand still reads back.
const QLatin1String ScrambledPrefix("scrambled:");

// Fixed key for the XOR scrambling: the point is only that the file does not show the value
// as typed.
const char ScrambleKey[] = "Quorvel keeps this out of plain sight";

QByteArray xorWithKey(QByteArray bytes)
{
    const int keyLength = int(sizeof(ScrambleKey)) - 1;
    for (int i = 0; i < bytes.size(); ++i)
        bytes[i] = char(bytes[i] ^ ScrambleKey[i % keyLength]);
    return bytes;
}

} // namespace

Config::Config(const QString &name, Domain)
    : m_settings(std::make_unique<QSettings>(filePath(name), QSettings::IniFormat))
{}

Config::~Config()
{
    if (m_changed) {
        // The file is made, or tightened, before it is written: the settings writer keeps the
        // mode of the file it replaces, so the values are never readable by others.
        const QString path = m_settings->fileName();
        PrivateFiles::makeFolder(QFileInfo(path).absolutePath());
        const int fd = ::open(QFile::encodeName(path).constData(),
                              O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, PrivateFiles::FileMode);
        if (fd >= 0) {
            PrivateFiles::restrict(fd);
            ::close(fd);
        }
    }
    m_settings->sync();
}

QString Config::filePath(const QString &name)
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
           + QLatin1String("/Quorvel/") + name + QLatin1String(".conf");
}

void Config::setGroup(const QString &group)
{
    while (!m_settings->group().isEmpty())
        m_settings->endGroup();
    if (!group.isEmpty())
        m_settings->beginGroup(group);
}

QString Config::readEntry(const QString &key, const QString &deflt) const
{
    const QVariant v = m_settings->value(key);
    if (!v.isValid())
        return deflt;
    // A value that QSettings reads as a list (it held a comma) is joined back into the text.
    if (v.typeId() == QMetaType::QStringList)
        return v.toStringList().join(QLatin1Char(','));
    return v.toString();
}

int Config::readNumEntry(const QString &key, int deflt) const
{
    bool ok = false;
    const int n = readEntry(key).trimmed().toInt(&ok);
    return ok ? n : deflt;
}

bool Config::readBoolEntry(const QString &key, bool deflt) const
{
    const QString text = readEntry(key).trimmed();
    if (text.isEmpty())
        return deflt;
    if (text.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0)
        return true;
    if (text.compare(QLatin1String("false"), Qt::CaseInsensitive) == 0)
        return false;
    bool ok = false;
    const int n = text.toInt(&ok);
    return ok ? n != 0 : deflt;
}

QString Config::readEntryCrypt(const QString &key, const QString &deflt) const
{
    if (!m_settings->contains(key))
        return deflt;
    return unscramble(readEntry(key));
}

void Config::writeEntry(const QString &key, const QString &value)
{
    m_changed = true;
    m_settings->setValue(key, value);
}

void Config::writeEntry(const QString &key, const char *value)
{
    writeEntry(key, QString::fromUtf8(value));
}

void Config::writeEntry(const QString &key, int value)
{
    m_changed = true;
    m_settings->setValue(key, value);
}

void Config::writeEntry(const QString &key, bool value)
{
    m_changed = true;
    m_settings->setValue(key, value ? 1 : 0);
}

void Config::writeEntryCrypt(const QString &key, const QString &value)
{
    writeEntry(key, scramble(value));
}

void Config::removeEntry(const QString &key)
{
    m_changed = true;
    m_settings->remove(key);
}

bool Config::hasKey(const QString &key) const
{
    return m_settings->contains(key);
}

QString Config::scramble(const QString &plain)
{
    const QByteArray bytes = xorWithKey(plain.toUtf8());
    return ScrambledPrefix
           + QString::fromLatin1(
               bytes.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

QString Config::unscramble(const QString &stored)
{
    if (!stored.startsWith(ScrambledPrefix))
        return stored;
    const auto decoded = QByteArray::fromBase64Encoding(
        stored.mid(ScrambledPrefix.size()).toLatin1(),
        QByteArray::Base64UrlEncoding | QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded)
        return stored;
    return QString::fromUtf8(xorWithKey(decoded.decoded));
}
