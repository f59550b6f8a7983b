// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QFont>
#include <QWidget>

#include <initializer_list>

// The forms show their mode choices in bold. Only the weight is set, so the rest of the font
// still follows the application font, and it is set again when that font changes.
inline void makeBold(std::initializer_list<QWidget *> widgets)
{
    for (QWidget *widget : widgets) {
        QFont bold;
        bold.setBold(true);
        widget->setFont(bold);
    }
}
