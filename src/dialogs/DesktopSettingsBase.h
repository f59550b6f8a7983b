// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "ui_DesktopSettingsBase.h"

#include <QDialog>

// Designer form of the desktop settings: in grpIdle spnIdleMinutes with lblIdleUnavailable below,
// in grpReminders spnRemindHours and chkTellAboutPanel.
class DesktopSettingsBase : public QDialog, public Ui::DesktopSettingsBase
{
    Q_OBJECT

public:
    explicit DesktopSettingsBase(QWidget *parent = nullptr);
};
