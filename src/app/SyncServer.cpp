// The server exchange command of the main window.

#include "QuorvelMainWindow.h"

#include "model/QuorvelDocument.h"
#include "platform/MessageBox.h"
#include "platform/QuorvelApplication.h"
#include "sync/Synchronize.h"

void QuorvelMainWindow::syncServer()
{
    // The file holds the state before the exchange, to go back to when it fails.
    QuorvelApplication *app = QuorvelApplication::instance();
    if (app)
        app->expectOwnWrite();
    const bool saved = m_document->save();
    if (app)
        app->ownWriteFinished();
    if (saved)
        rememberWritten();

    {
        Synchronize synchronize(m_document.get(), this);
        synchronize.exec();
        if (synchronize.succeeded) {
            // The exchange saved what it received.
            rememberWritten();
        } else {
            m_document->load();
            rememberWritten();
            MessageBox::warning(this, tr("Synchronization Incomplete"),
                                tr("Synchronization was not\nsuccessful. Data has reverted\n"
                                   "to pre-synchronization state."));
        }
        updateView(nullptr);
    }
}
