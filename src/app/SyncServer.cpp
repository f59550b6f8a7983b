// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The server exchange command of the main window.

#include "QuorvelMainWindow.h"
#include "keyring/ServerPassword.h"

#include "ChangeChannel.h"
#include "dialogs/Synchronize.h"
#include "model/QuorvelDocument.h"
#include "widgets/MessageBox.h"
#include "widgets/QuorvelApplication.h"

#include <QTimer>

#include <memory>
#include <optional>

void QuorvelMainWindow::syncServer()
{
    if (m_syncAsking)
        return;
    // The keyring may first ask the person for its own password; the window goes on meanwhile,
    // and the exchange starts from the event loop once the password is there. An answer that
    // comes at once (no keyring, or one asked before) starts it at once.
    m_syncAsking = true;
    auto asking = std::make_shared<bool>(true);
    std::optional<QString> atOnce;
    ServerPassword(m_document->configuration)
        .ask(this, [this, asking, &atOnce](const QString &password) {
            if (*asking) {
                atOnce = password;
                return;
            }
            QTimer::singleShot(0, this, [this, password] {
                m_syncAsking = false;
                runSynchronize(password);
            });
        });
    *asking = false;
    if (atOnce) {
        m_syncAsking = false;
        runSynchronize(*atOnce);
    }
}

void QuorvelMainWindow::runSynchronize(const QString &password)
{
    // The file holds the state before the exchange, to go back to when it fails.
    const bool saved = QuorvelApplication::ownWrite([this] { return m_document->save(); });
    if (saved)
        rememberWritten();

    {
        Synchronize synchronize(m_document.get(), this);
        synchronize.setPassword(password);
        synchronize.exec();
        if (!synchronize.succeeded)
            m_document->load();
        // The exchange saved what it received; a failed one went back to the file.
        rememberWritten();
        // The document was replaced as a whole, by the server's or by the file's; the view
        // lets go of the old records before the box below runs the event loop.
        m_changes->clearHistory(tr("the synchronization"));
        updateView(nullptr);
        if (!synchronize.succeeded) {
            MessageBox::warning(this, tr("Synchronization Incomplete"),
                                tr("Synchronization was not\nsuccessful. Data has reverted\n"
                                   "to pre-synchronization state."));
        }
    }
}
