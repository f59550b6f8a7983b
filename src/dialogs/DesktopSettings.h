// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "DesktopSettingsBase.h"

// The settings of Quorvel on the desktop: when to ask about idle time, when to remind of a task
// left running, and whether to say that Quorvel stays in the panel. The caller fills it in and
// reads it back after exec(); nothing is stored here.
class DesktopSettings : public DesktopSettingsBase
{
    Q_OBJECT

public:
    explicit DesktopSettings(QWidget *parent = nullptr);

    // 0 is never.
    void setIdleMinutes(int minutes) { spnIdleMinutes->setValue(minutes); }
    int idleMinutes() const { return spnIdleMinutes->value(); }
    // This session tells no idle time: the setting is greyed out, and reason says why.
    void setIdleUnavailable(const QString &reason);
    void setRemindHours(int hours) { spnRemindHours->setValue(hours); }
    int remindHours() const { return spnRemindHours->value(); }
    void setTellAboutPanel(bool tell) { chkTellAboutPanel->setChecked(tell); }
    bool tellAboutPanel() const { return chkTellAboutPanel->isChecked(); }
};
