// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QString>

// Lines typed at the terminal or piped into standard input, for the command lines' questions
// and passwords (never an argument, which other users could see).
namespace TerminalInput {

// Whether standard input is a terminal, where a person types.
bool isTerminal();

// One line of standard input without its line end ("\r\n" too); false at its end with nothing
// read. With hidden, what is typed at a terminal is not shown. The caller writes the prompt.
bool readLine(QString *line, bool hidden = false);

} // namespace TerminalInput
