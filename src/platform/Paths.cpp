// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "Paths.h"

#include "PrivateFiles.h"

#include <QStandardPaths>

QString Global::applicationFileName(const QString &appName, const QString &fileName)
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
                           + QLatin1Char('/') + appName;
    PrivateFiles::makeFolder(folder);
    return folder + QLatin1Char('/') + fileName;
}
