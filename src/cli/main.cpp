// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "Commands.h"
#include "Launcher.h"
#include "platform/Clock.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <cstdio>

namespace {

// Every outcome reaches the person as the command's own words; the toolkit's and the
// document's diagnostics (a failed rename with its error number, say) stay out of the
// terminal unless asked for.
void quietMessages(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    static const bool verbose = qEnvironmentVariableIsSet("QUORVEL_VERBOSE");
    if (!verbose && type != QtCriticalMsg && type != QtFatalMsg)
        return;
    std::fprintf(stderr, "%s\n", message.toLocal8Bit().constData());
}

} // namespace

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

    qInstallMessageHandler(quietMessages);
    QCoreApplication::setApplicationName(QStringLiteral("quorvel"));
    QCoreApplication::setApplicationVersion(QStringLiteral(QUORVEL_VERSION));
    return Launcher::runCommand(argc, argv);
}
