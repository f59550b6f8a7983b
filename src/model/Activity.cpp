// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "Activity.h"

Activity::Activity() = default;

Activity::Activity(int id, const QString &name, ActivityCategory *category, bool obsolete)
    : id(id)
    , name(name)
    , category(category)
    , obsolete(obsolete)
{}

Activity::~Activity() = default;

bool Activity::operator<(const Activity &other) const
{
    return name.toLower().compare(other.name.toLower()) < 0;
}

bool Activity::operator==(const Activity &other) const
{
    return name.toLower() == other.name.toLower();
}
