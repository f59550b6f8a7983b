// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ActivityCategory.h"

ActivityCategory::ActivityCategory() = default;

ActivityCategory::ActivityCategory(int id, const QString &name, bool obsolete)
    : id(id)
    , name(name)
    , obsolete(obsolete)
{}

ActivityCategory::~ActivityCategory() = default;

bool ActivityCategory::operator<(const ActivityCategory &other) const
{
    return name.toLower().compare(other.name.toLower()) < 0;
}

bool ActivityCategory::operator==(const ActivityCategory &other) const
{
    return name.toLower() == other.name.toLower();
}
