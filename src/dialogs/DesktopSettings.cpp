// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "DesktopSettings.h"

#include "WrappedText.h"

DesktopSettings::DesktopSettings(QWidget *parent)
    : DesktopSettingsBase(parent)
{
    lblIdleUnavailable->hide();
    spnIdleMinutes->setFocus();
    fitToWrappedText(this);
}

void DesktopSettings::setIdleUnavailable(const QString &reason)
{
    lblIdleMinutes->setEnabled(false);
    spnIdleMinutes->setEnabled(false);
    lblIdleUnavailable->setText(reason);
    lblIdleUnavailable->show();
    spnRemindHours->setFocus();
    fitToWrappedText(this);
}
