// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "GraphicalSession.h"

#include "Translations.h"

#include <QByteArray>
#include <QFile>

#include <cstdio>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

// Whether something listens on the local socket at path; abstract names begin with '@'.
bool answers(const QByteArray &path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.isEmpty() || size_t(path.size()) >= sizeof(address.sun_path))
        return false;
    std::memcpy(address.sun_path, path.constData(), size_t(path.size()));
    socklen_t length = socklen_t(offsetof(sockaddr_un, sun_path) + size_t(path.size()));
    if (path.startsWith('@'))
        address.sun_path[0] = '\0';
    else
        length += 1;
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return false;
    const bool connected = ::connect(fd, reinterpret_cast<const sockaddr *>(&address), length) == 0;
    ::close(fd);
    return connected;
}

bool waylandAnswers()
{
    const QByteArray display = qgetenv("WAYLAND_DISPLAY");
    if (display.isEmpty())
        return false;
    if (display.startsWith('/'))
        return answers(display);
    const QByteArray runtime = qgetenv("XDG_RUNTIME_DIR");
    return !runtime.isEmpty() && answers(runtime + '/' + display);
}

bool x11Answers()
{
    const QByteArray display = qgetenv("DISPLAY");
    const int colon = display.lastIndexOf(':');
    if (colon < 0)
        return false;
    const QByteArray host = display.left(colon);
    // A display on another computer, or one named by a socket path (as XQuartz does).
    if (!host.isEmpty() && host != "unix")
        return true;
    QByteArray number = display.mid(colon + 1);
    const int dot = number.indexOf('.');
    if (dot >= 0)
        number.truncate(dot);
    bool isNumber = false;
    number.toUInt(&isNumber);
    if (!isNumber)
        return false;
    const QByteArray socket = "/tmp/.X11-unix/X" + number;
    return answers('@' + socket) || answers(socket);
}

} // namespace

bool GraphicalSession::available(int argc, char *argv[])
{
    if (!qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        return true;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "-platform") == 0 || std::strcmp(argv[i], "--platform") == 0
            || std::strncmp(argv[i], "-platform=", 10) == 0)
            return true;
    }
    return waylandAnswers() || x11Answers();
}

QString GraphicalSession::missingMessage()
{
    return tr("Quorvel needs a graphical session; use `quorvel help` for the command line");
}

int GraphicalSession::refuse(char *argv[])
{
    int argc = 1;
    QCoreApplication app(argc, argv);
    Translations::install(app);
    std::fprintf(stderr, "%s\n", missingMessage().toLocal8Bit().constData());
    return 1;
}
