// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QString>

class QCoreApplication;

// The person's language for the window and the command line: both programs call install()
// right after creating their application object.
namespace Translations {

// Installs Quorvel's catalogue for the first of the system's interface languages
// (QLocale::system().uiLanguages()) that has one, with Qt's own catalogue of that language for
// the standard buttons and dialogs. English comes first or a C or POSIX messages locale is set:
// nothing is installed, the texts are written in English. Returns the catalogue's language
// ("de"), or an empty text when none was installed.
QString install(QCoreApplication &app);

} // namespace Translations
