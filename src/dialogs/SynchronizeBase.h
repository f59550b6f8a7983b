// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "dialogs/ModalWidget.h"
#include "ui_SynchronizeBase.h"

// Designer form of the synchronisation window: fraStatus with the status line lblStatus, and
// fraMesseges with the personal messages in txtMessages.
class SynchronizeBase : public ModalWidget, public Ui::SynchronizeBase
{
    Q_OBJECT

public:
    explicit SynchronizeBase(QWidget *parent = nullptr);
};
