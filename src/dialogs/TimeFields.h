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

// Makes digits typed into spin replace its value, as in a clock's fields: the first digit after
// the field is entered (a click, Tab) or the cursor is moved (End, the arrow keys) starts the
// value anew, the next ones add to it, and a digit the value cannot take starts it anew too.
// Backspace and Delete edit the text as it stands, and a selection takes the digits as always.
void typeOver(QSpinBox *spin);

} // namespace TimeFields
