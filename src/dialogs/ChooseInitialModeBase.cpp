// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ChooseInitialModeBase.h"

#include "FormFonts.h"
#include "WrappedText.h"

#include <QEvent>

ChooseInitialModeBase::ChooseInitialModeBase(QWidget *parent)
    : QDialog(parent)
{
    setupUi(this);
    connect(buttonBox, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttonBox, &QDialogButtonBox::rejected, this, &QDialog::reject);
    fitToWrappedText(this);
}

bool ChooseInitialModeBase::event(QEvent *event)
{
    const bool handled = QDialog::event(event);
    if (event->type() == QEvent::ApplicationFontChange) {
        makeBold({radPersonalInit, radPersonalNoInit, radGroup});
    }
    return handled;
}
