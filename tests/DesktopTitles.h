// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QString>
#include <QStringList>

// The titles of the windows shown on the X display, as a window manager reads them
// (_NET_WM_NAME, else WM_NAME), sorted; empty when the display cannot be reached.
QStringList shownWindowTitles(const QString &display);
