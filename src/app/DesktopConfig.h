// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QByteArray>
#include <QString>

// The settings of Quorvel on the desktop (idle time, reminders, the panel): the group "Desktop"
// of the settings store "quorvelqpe", opened afresh on every access as every setting is.
namespace DesktopConfig {

// A count of minutes or hours, never below 0.
int number(const QString &key, int byDefault);
void setNumber(const QString &key, int value);
bool flag(const QString &key, bool byDefault);
void setFlag(const QString &key, bool value);
// Bytes kept as Base64 text; empty when the key is absent.
QByteArray bytes(const QString &key);
void setBytes(const QString &key, const QByteArray &value);

} // namespace DesktopConfig
