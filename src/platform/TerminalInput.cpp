// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "TerminalInput.h"

#include <QByteArray>

#include <cstdio>
#include <termios.h>
#include <unistd.h>

namespace TerminalInput {

bool isTerminal()
{
    return ::isatty(STDIN_FILENO) == 1;
}

bool readLine(QString *line, bool hidden)
{
    termios saved{};
    const bool quiet = hidden && isTerminal() && ::tcgetattr(STDIN_FILENO, &saved) == 0;
    if (quiet) {
        termios noEcho = saved;
        noEcho.c_lflag &= ~tcflag_t(ECHO);
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &noEcho);
    }
    QByteArray bytes;
    // A bound, so that a file given as input cannot fill the memory.
    constexpr qsizetype MaxLine = 64 * 1024;
    int c = std::getchar();
    for (; c != EOF && c != '\n' && bytes.size() < MaxLine; c = std::getchar())
        bytes += char(c);
    if (quiet) {
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved);
        // The person's Enter was not shown either.
        std::fputc('\n', stderr);
        std::fflush(stderr);
    }
    if (bytes.isEmpty() && c == EOF)
        return false;
    if (bytes.endsWith('\r'))
        bytes.chop(1);
    *line = QString::fromLocal8Bit(bytes);
    return true;
}

} // namespace TerminalInput
