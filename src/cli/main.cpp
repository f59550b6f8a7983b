#include "Commands.h"
#include "Launcher.h"
#include "platform/Clock.h"
#include "platform/Translations.h"

#include <QCoreApplication>
#include <QFileInfo>

int main(int argc, char *argv[])
{
    Clock::pinLocalTimeZone();
    // A command needs no display; the window's arguments (a saved report, the toolkit's own
    // options) go to the window, which starts as itself. A word that is neither is a
    // mistyped command.
    const QString first = argc < 2 ? QString() : QString::fromLocal8Bit(argv[1]);
    if (argc < 2
        || (!Commands::isCommand(first)
            && (first.startsWith(QLatin1Char('-')) || first.contains(QLatin1Char('/'))
                || first.endsWith(QLatin1String(".qvreport"), Qt::CaseInsensitive)
                || QFileInfo::exists(first))))
        return Launcher::openWindow(argv);

    QCoreApplication app(argc, argv);
    Translations::install(app);
    QCoreApplication::setApplicationName(QStringLiteral("quorvel"));
    QCoreApplication::setApplicationVersion(QStringLiteral(QUORVEL_VERSION));
    return Launcher::runCommand(QCoreApplication::arguments().mid(1));
}
