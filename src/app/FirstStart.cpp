// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The first start's choice of operating mode, and later changes of mode.

#include "QuorvelMainWindow.h"
#include "keyring/ServerPassword.h"

#include "ChangeChannel.h"
#include "dialogs/ChooseInitialMode.h"
#include "dialogs/OperatingMode.h"
#include "model/QuorvelDocument.h"
#include "platform/Config.h"
#include "sync/TlsTrust.h"
#include "views/MainWidget.h"
#include "widgets/MessageBox.h"

#include <QFileInfo>
#include <QLineEdit>

void QuorvelMainWindow::setupDocument()
{
    m_document = std::make_unique<QuorvelDocument>();
    const QString recovered = QuorvelDocument::recoverInterruptedSave();
    if (!recovered.isEmpty()) {
        MessageBox::information(this, tr("Recovered Data"),
                                tr("A save was cut short and left data that may hold changes "
                                   "which are not in the data file.\nIt has been kept as\n%1")
                                    .arg(recovered));
    }
    const bool loaded = m_document->load();
    if (loaded && m_document->configuration.mode() != Configuration::Unset) {
        rememberWritten();
        return;
    }
    // The first-run choice replaces whatever the file holds: keep it beside first.
    if (QFileInfo::exists(QuorvelDocument::dataFilePath()))
        keepDataFileAside(!loaded);
    resetBalloonTips();
    promptUserMode();
}

void QuorvelMainWindow::keepDataFileAside(bool unreadable)
{
    const QString kind = unreadable ? QStringLiteral("unreadable") : QStringLiteral("replaced");
    const QString copy = QuorvelDocument::keepCopyOfDataFile(kind);
    if (copy.isEmpty()) {
        MessageBox::warning(this, tr("Data File Not Kept"),
                            tr("The data file could not be read\nand could not be copied to\n%1")
                                .arg(QuorvelDocument::besideDataFile(kind)));
        return;
    }
    m_keptDataFile = copy;
    if (unreadable) {
        MessageBox::information(
            this, tr("Data File Unreadable"),
            tr("The data file could not be read.\nIt has been kept as\n%1").arg(copy));
    } else {
        MessageBox::information(this, tr("Data File Kept"),
                                tr("No operating mode has been chosen yet.\nYour data file has "
                                   "been kept as\n%1")
                                    .arg(copy));
    }
}

void QuorvelMainWindow::promptUserMode()
{
    Configuration &configuration = m_document->configuration;
    for (;;) {
        ChooseInitialMode dialog(this);
        if (dialog.exec() != QDialog::Accepted) {
            configuration.setMode(Configuration::Unset);
            m_quitRequested = true;
            return;
        }
        if (dialog.radPersonalInit->isChecked()) {
            configuration.setMode(Configuration::Personal);
            m_document->createSampleData();
            return;
        }
        if (dialog.radPersonalNoInit->isChecked()) {
            configuration.setMode(Configuration::Personal);
            m_document->clear();
            return;
        }
        if (dialog.radGroup->isChecked()) {
            configuration.setMode(Configuration::Group);
            m_document->clear();
            if (getServerSettings())
                return;
        }
    }
}

void QuorvelMainWindow::fillPasswordLater(OperatingMode &dialog)
{
    // The keyring may ask the person first: the dialog opens meanwhile, and the password goes
    // into its field when it comes, unless they have typed one already.
    QLineEdit *field = dialog.txtPassword;
    ServerPassword(m_document->configuration).ask(field, [field](const QString &password) {
        if (!field->isModified())
            field->setText(password);
    });
}

bool QuorvelMainWindow::getServerSettings()
{
    Configuration &configuration = m_document->configuration;
    OperatingMode dialog(this);
    dialog.txtServer->setText(configuration.serverAddress());
    fillPasswordLater(dialog);
    dialog.txtUserID->setText(configuration.serverUserID());
    dialog.radGroup->setChecked(true);
    dialog.radPersonal->setEnabled(false);
    if (dialog.exec() != QDialog::Accepted)
        return false;
    configuration.setMode(Configuration::Group);
    configuration.setServerAddress(dialog.txtServer->text().trimmed());
    configuration.setServerUserID(dialog.txtUserID->text().trimmed());
    ServerPassword(configuration).store(dialog.txtPassword->text().trimmed());
    return true;
}

void QuorvelMainWindow::operatingMode()
{
    Configuration &configuration = m_document->configuration;
    const Configuration::OperatingMode previous = configuration.mode();

    OperatingMode dialog(this);
    dialog.txtServer->setText(configuration.serverAddress());
    fillPasswordLater(dialog);
    dialog.txtUserID->setText(configuration.serverUserID());
    if (previous == Configuration::Personal)
        dialog.radPersonal->setChecked(true);
    else
        dialog.radGroup->setChecked(true);

    if (dialog.exec() == QDialog::Accepted) {
        // The steps of the history belong to the mode they were made in.
        const auto modeChanged = [this](Configuration::OperatingMode before) {
            if (m_document->configuration.mode() != before)
                m_changes->clearHistory(tr("the change of operating mode"));
        };
        if (dialog.radPersonal->isChecked()) {
            // Leaving group mode keeps the data and the server settings.
            configuration.setMode(Configuration::Personal);
            modeChanged(previous);
        } else {
            const QuorvelDocument &doc = *m_document;
            const bool fromOtherMode = previous != Configuration::Group;
            const bool hasData = !doc.tasks.isEmpty() || doc.getNumActiveActivities(false) > 0
                                 || doc.getNumActiveCategories() > 0;
            if (fromOtherMode && hasData
                && !MessageBox::ask(this, tr("Change to Group Mode"),
                                    tr("Changing to Group Mode will\nresult in the deletion of\n"
                                       "all local Tasks, Activities\nand Categories.\n\n"
                                       "Proceed?")))
                return;
            // The server's activities and categories replace the local ones.
            if (fromOtherMode) {
                m_mainWidget->selectedTask = nullptr;
                m_document->clear();
            }
            configuration.setMode(Configuration::Group);
            configuration.setServerAddress(dialog.txtServer->text());
            if (dialog.serverEdited())
                configuration.setTrustedCertificate(TlsTrust::serverKey(dialog.txtServer->text()),
                                                    QString());
            configuration.setServerUserID(dialog.txtUserID->text());
            ServerPassword(configuration).store(dialog.txtPassword->text());
            modeChanged(previous);
        }
        updateView(nullptr);
    }
    showBalloonTips();
}
