// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ChooseInitialMode.h"

// Hiding the dialog already ends its exec(), so the form needs nothing more here; the main
// window reads the radio buttons after exec() returns.
ChooseInitialMode::ChooseInitialMode(QWidget *parent)
    : ChooseInitialModeBase(parent)
{}
