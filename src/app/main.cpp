// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "app/DBusService.h"
#include "app/ForgottenTimer.h"
#include "app/IdleWatcher.h"
#include "app/QuorvelMainWindow.h"
#include "app/SingleInstance.h"
#include "app/TrayIcon.h"
#include "keyring/ServerPassword.h"
#include "model/Configuration.h"
#include "model/QuorvelDocument.h"
#include "platform/Clock.h"
#include "platform/GraphicalSession.h"
#include "platform/Logging.h"
#include "platform/Translations.h"
#include "platform/idle/IdleSource.h"
#include "widgets/MessageBox.h"
#include "widgets/QuorvelApplication.h"
#include "widgets/Resource.h"

#include <QFileInfo>
#include <QTimer>

int main(int argc, char *argv[])
{
    // The command line's set-up stores a password here, where the keyring is linked.
    if (argc > 1 && qstrcmp(argv[1], Configuration::StorePasswordOption) == 0)
        return ServerPassword::storeFromStandardInput(argc, argv);
    Clock::pinLocalTimeZone();
    // Before the application object: without a display the toolkit aborts in its constructor.
    if (!GraphicalSession::available(argc, argv))
        return GraphicalSession::refuse(argv);
    QuorvelApplication app(argc, argv);
    Translations::install(app);
    QCoreApplication::setApplicationName(QStringLiteral("quorvel"));
    // No application display name: the desktop would append it to every title, and most
    // already begin with "Quorvel - ".
    // The desktop matches the window to its entry (and on Wayland its app id) by this name.
    QGuiApplication::setDesktopFileName(QStringLiteral("org.quorvel.Quorvel"));

    // Saved reports named on the command line, as absolute paths: the running instance they
    // may be handed to has a working folder of its own.
    QStringList documents;
    for (const QString &argument : QCoreApplication::arguments().mid(1))
        documents << QFileInfo(argument).absoluteFilePath();

    // One Quorvel per user: a second start hands its arguments to the first and ends.
    const QString dataFolder = QFileInfo(QuorvelDocument::dataFilePath()).absolutePath();
    SingleInstance instance(dataFolder);
    if (!instance.start(documents))
        return 0;
    app.installSignalHandlers();

    QuorvelMainWindow window;
    if (window.quitRequested())
        return 0;
    window.setChannel(&instance);
    // Without the socket the command line carries its commands out on the data file itself:
    // the window lets go of the file now that it has read it, and takes it for each write.
    if (!instance.isListening())
        instance.releaseDataLock();
    // No command is taken once the end has begun; those not taken yet are declined, so that
    // their senders carry them out once this window has written its data and gone.
    QObject::connect(&app, &QCoreApplication::aboutToQuit, &window, [&instance, &window] {
        instance.stopAccepting();
        window.declineWaitingCommands();
    });
    QObject::connect(&app, &QuorvelApplication::flush, &window, &QuorvelMainWindow::flush);
    QObject::connect(&app, &QuorvelApplication::reload, &window, &QuorvelMainWindow::reload);
    QObject::connect(&instance, &SingleInstance::messageReceived, &window,
                     &QuorvelMainWindow::receiveDocuments);
    QObject::connect(&instance, &SingleInstance::commandReceived, &window,
                     &QuorvelMainWindow::carryOut);
    instance.acceptCommands();
    // The same commands on the session bus, for panels, scripts and desktop shortcuts; without
    // a bus Quorvel works as before.
    DBusService service(&window);
    QString why;
    if (!service.publish(QDBusConnection::sessionBus(), &why))
        qCInfo(windowLog, "Quorvel is not on the session bus: %s", qPrintable(why));
    app.watchDataFile(QuorvelDocument::dataFilePath());

    // In the panel where the desktop has one; without, closing the window ends Quorvel.
    TrayIcon tray(&window);
    if (tray.show())
        window.setTrayIcon(&tray);
    ForgottenTimer reminder(&window, QDBusConnection::sessionBus(),
                            tray.isShown() ? &tray : nullptr);
    // Asks about the time away from a running task, where the session tells idle time.
    QString noIdleTime;
    IdleSource *idleSource = IdleSource::find(&window, QDBusConnection::sessionBus(), &noIdleTime);
    if (!idleSource)
        qCInfo(windowLog, "Quorvel cannot ask about idle time: %s", qPrintable(noIdleTime));
    IdleWatcher idleWatcher(&window, idleSource, noIdleTime);
    window.setIdleWatcher(&idleWatcher);

    window.setWindowTitle(QCoreApplication::translate("main", "Quorvel"));
    window.setWindowIcon(Resource::loadIcon(QStringLiteral("quorvel")));
    window.show();
    if (!instance.isListening() && !instance.problem().isEmpty()) {
        QTimer::singleShot(0, &window, [&window, &instance] {
            MessageBox::warning(
                &window, QCoreApplication::translate("main", "Commands Not Received"),
                QCoreApplication::translate(
                    "main", "Quorvel cannot receive the command line's commands:\n%1.\n\nThe "
                            "command line carries them out on the data file itself while this "
                            "window runs, and the window reads the file again when they "
                            "change it.")
                    .arg(instance.problem()));
        });
    }
    // Shown from within the event loop, so that quitting while a report is open ends the
    // program instead of falling through to a loop that nothing will quit.
    QTimer::singleShot(0, &window, [&window, documents] {
        for (const QString &path : documents)
            window.setDocument(path);
    });
    return app.exec();
}
