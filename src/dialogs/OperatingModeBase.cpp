// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "OperatingModeBase.h"

#include "FormFonts.h"

#include <QEvent>

OperatingModeBase::OperatingModeBase(QWidget *parent)
    : QDialog(parent)
{
    setupUi(this);
    connect(buttonBox, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttonBox, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

bool OperatingModeBase::event(QEvent *event)
{
    const bool handled = QDialog::event(event);
    if (event->type() == QEvent::ApplicationFontChange) {
        makeBold({radPersonal, radGroup});
    }
    return handled;
}
