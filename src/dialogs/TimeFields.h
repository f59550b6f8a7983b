// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QString>

class QSpinBox;

// The hour and minute spin boxes of the task editor and the purge dialog.
namespace TimeFields {

// The leading zero of a two-digit display: "0" below 10, else empty.
QString twoDigitPrefix(int value);

// Gives spin the prefix. While the user types into it, the cursor keeps its place counted from
// the end of the text: typing 4 where 37 stood brings in the leading zero, and the 5 typed
// next must follow the 4 ("45"), not go between the zero and the 4 ("054", read as 54). The
// text is shown anew from the value, so that a typed "07" does not stay "007".
void setPrefix(QSpinBox *spin, const QString &prefix);

} // namespace TimeFields
