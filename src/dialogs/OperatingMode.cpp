// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "OperatingMode.h"

#include "widgets/MessageBox.h"

#include <QShowEvent>

namespace {

// These delimit the document string and the synchronisation body, so the server would
// misread a user ID or password equal to one of them.
bool isReservedMarker(const QString &text)
{
    return text == QLatin1String("--sync--") || text == QLatin1String("--start--")
           || text == QLatin1String("--end--");
}

} // namespace

OperatingMode::OperatingMode(QWidget *parent)
    : OperatingModeBase(parent)
{
    connect(radPersonal, &QRadioButton::toggled, this, &OperatingMode::modeToggled);
    modeToggled(radPersonal->isChecked());
}

void OperatingMode::accept()
{
    if (!radGroup->isChecked()) {
        QDialog::accept();
        return;
    }

    QString server = txtServer->text().trimmed();
    const QString userId = txtUserID->text().trimmed();
    const QString password = txtPassword->text().trimmed();
    // The address names a host; a slash typed after it, as after a URL, would become part of
    // the host name. Only one is taken off.
    if (server.endsWith(QLatin1Char('/')))
        server.chop(1);

    const QString title = tr("Operating Mode Error");
    if (server.isEmpty() || userId.isEmpty() || password.isEmpty()) {
        MessageBox::warning(this, title, tr("You must enter a server,\nusername and password."));
        return;
    }
    if (isReservedMarker(userId)) {
        MessageBox::warning(this, title, tr("This username is not valid.\nPlease select another."));
        return;
    }
    if (isReservedMarker(password)) {
        MessageBox::warning(this, title, tr("This password is not valid.\nPlease select another."));
        return;
    }

    // Writing the cleaned text back clears the edit mark.
    m_serverEdited = txtServer->isModified();
    txtServer->setText(server);
    txtUserID->setText(userId);
    txtPassword->setText(password);
    QDialog::accept();
}

void OperatingMode::showEvent(QShowEvent *event)
{
    // The caller chooses the mode after construction. The focus starts on the chosen mode, or
    // on the server when group mode is the only choice left.
    if (!event->spontaneous()) {
        if (!radGroup->isChecked())
            radPersonal->setFocus();
        else if (radPersonal->isEnabled())
            radGroup->setFocus();
        else
            txtServer->setFocus();
    }
    OperatingModeBase::showEvent(event);
}

void OperatingMode::modeToggled(bool personalOn)
{
    txtServer->setEnabled(!personalOn);
    txtUserID->setEnabled(!personalOn);
    txtPassword->setEnabled(!personalOn);
}
