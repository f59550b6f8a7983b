#include "Paths.h"

#include <QDir>
#include <QStandardPaths>

QString Global::applicationFileName(const QString &appName, const QString &fileName)
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
                           + QLatin1Char('/') + appName;
    QDir().mkpath(folder);
    return folder + QLatin1Char('/') + fileName;
}
