// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "ChooseInitialModeBase.h"

// The dialog of the very first start: personal mode with sample data, personal mode with no
// data, or group mode.
class ChooseInitialMode : public ChooseInitialModeBase
{
    Q_OBJECT

public:
    explicit ChooseInitialMode(QWidget *parent = nullptr);
};
