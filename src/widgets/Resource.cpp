// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "Resource.h"

#include <QHash>

// Q_INIT_RESOURCE cannot stand inside a namespace. The icons live in a static library, whose
// resource initialiser the linker would otherwise leave out.
static void initIconResources()
{
    Q_INIT_RESOURCE(icons);
}

QIcon Resource::loadIcon(const QString &name)
{
    static const bool resourcesReady = (initIconResources(), true);
    Q_UNUSED(resourcesReady)

    // Our names and the freedesktop.org names of the same pictures.
    static const QHash<QString, QString> themeNames{
        {QStringLiteral("new"), QStringLiteral("document-new")},
        {QStringLiteral("edit"), QStringLiteral("document-edit")},
        {QStringLiteral("trash"), QStringLiteral("edit-delete")},
        {QStringLiteral("editdelete"), QStringLiteral("edit-clear")},
        {QStringLiteral("repeat"), QStringLiteral("view-refresh")},
        {QStringLiteral("help"), QStringLiteral("help-contents")},
    };
    // The program's own icon: by the application's id, else by the name older installations
    // gave it, else the bundled copy.
    if (name == QLatin1String("quorvel")) {
        const QIcon bundled(QStringLiteral(":/icons/org.quorvel.Quorvel.svg"));
        return QIcon::fromTheme(QStringLiteral("org.quorvel.Quorvel"),
                                QIcon::fromTheme(QStringLiteral("quorvel"), bundled));
    }
    const auto theme = themeNames.constFind(name);
    if (theme == themeNames.constEnd())
        return QIcon();
    return QIcon::fromTheme(*theme, QIcon(QStringLiteral(":/icons/%1.svg").arg(name)));
}
