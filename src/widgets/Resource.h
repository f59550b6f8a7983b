// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QIcon>
#include <QString>

// Icons by name ("new", "edit", "trash", "editdelete", "repeat", "help"): the desktop theme's icon
// when it has one, else the copy bundled with the program, so an icon is never missing;
// "quorvel" is the program's own icon. Any other name gives a null icon.
namespace Resource {

QIcon loadIcon(const QString &name);

} // namespace Resource
