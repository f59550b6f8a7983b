#include "app/QuorvelMainWindow.h"
#include "model/QuorvelDocument.h"
#include "platform/Clock.h"
#include "platform/QuorvelApplication.h"
#include "platform/Resource.h"
#include "platform/SingleInstance.h"

#include <QFileInfo>

int main(int argc, char *argv[])
{
    Clock::pinLocalTimeZone();
    QuorvelApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("quorvel"));
    QGuiApplication::setApplicationDisplayName(QCoreApplication::translate("main", "Quorvel"));
    QGuiApplication::setDesktopFileName(QStringLiteral("quorvel"));

    // One Quorvel per user: a second start hands its arguments to the first and ends.
    const QString dataFolder = QFileInfo(QuorvelDocument::dataFilePath()).absolutePath();
    SingleInstance instance(dataFolder);
    if (!instance.start(QCoreApplication::arguments().mid(1)))
        return 0;
    app.installSignalHandlers();

    QuorvelMainWindow window;
    if (window.quitRequested())
        return 0;
    QObject::connect(&app, &QuorvelApplication::flush, &window, &QuorvelMainWindow::flush);
    QObject::connect(&app, &QuorvelApplication::reload, &window, &QuorvelMainWindow::reload);
    QObject::connect(&instance, &SingleInstance::messageReceived, &window,
                     [&window](const QStringList &arguments) {
                         window.show();
                         window.raise();
                         window.activateWindow();
                         for (const QString &path : arguments)
                             window.setDocument(path);
                     });
    app.watchDataFile(QuorvelDocument::dataFilePath());

    window.setWindowTitle(QCoreApplication::translate("main", "Quorvel"));
    window.setWindowIcon(Resource::loadIcon(QStringLiteral("new")));
    window.show();
    for (const QString &path : QCoreApplication::arguments().mid(1))
        window.setDocument(path);
    return app.exec();
}
