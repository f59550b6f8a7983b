// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QString>

class QSpinBox;

// Types into an hour or minute field as a person does: after selecting all of it, or after a
// click behind its text and two backspaces. False when the field has no editor or took no
// focus.
bool typeIntoTimeField(QSpinBox *spin, bool selectAll, const QString &typed);
