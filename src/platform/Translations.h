// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QString>
#include <QTranslator>

#include <memory>

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

// The same in two steps, for a program that creates its application object only when a
// catalogue needs one: load() finds Quorvel's catalogue as install() would (none when the
// texts stay English), and install(app, catalogue) installs it with Qt's own of its language.
struct Catalogue
{
    std::unique_ptr<QTranslator> own; // null when the texts stay English
    QString language;                 // the interface language it was found for ("de-DE")
};
Catalogue load();
QString install(QCoreApplication &app, Catalogue catalogue);

} // namespace Translations
