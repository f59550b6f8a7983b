// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "DesktopConfig.h"

#include "platform/Config.h"

namespace {

struct DesktopGroup : Config
{
    DesktopGroup()
        : Config(QStringLiteral("quorvelqpe"))
    {
        setGroup(QStringLiteral("Desktop"));
    }
};

} // namespace

int DesktopConfig::number(const QString &key, int byDefault)
{
    return qMax(0, DesktopGroup().readNumEntry(key, byDefault));
}

void DesktopConfig::setNumber(const QString &key, int value)
{
    DesktopGroup().writeEntry(key, qMax(0, value));
}

bool DesktopConfig::flag(const QString &key, bool byDefault)
{
    return DesktopGroup().readBoolEntry(key, byDefault);
}

void DesktopConfig::setFlag(const QString &key, bool value)
{
    DesktopGroup().writeEntry(key, value);
}

QByteArray DesktopConfig::bytes(const QString &key)
{
    return QByteArray::fromBase64(DesktopGroup().readEntry(key).toLatin1());
}

void DesktopConfig::setBytes(const QString &key, const QByteArray &value)
{
    DesktopGroup().writeEntry(key, QString::fromLatin1(value.toBase64()));
}
