// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "Translations.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>

namespace {

// As gettext has it: LC_ALL, else LC_MESSAGES, else LANG names the messages locale, and C or
// POSIX there means untranslated whatever LANGUAGE asks for. Qt would follow LANGUAGE alone.
bool untranslatedMessages()
{
    for (const char *variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const QByteArray value = qgetenv(variable);
        if (!value.isEmpty())
            return value == "C" || value == "POSIX" || value.startsWith("C.");
    }
    return true;
}

// The translator of file (e.g. "quorvel") for locale from folder, or null when it has none.
QTranslator *loaded(QCoreApplication &app, const QLocale &locale, const QString &file,
                    const QString &folder)
{
    auto *translator = new QTranslator(&app);
    if (translator->load(locale, file, QStringLiteral("_"), folder))
        return translator;
    delete translator;
    return nullptr;
}

} // namespace

QString Translations::install(QCoreApplication &app)
{
    if (untranslatedMessages())
        return QString();
    const QStringList languages = QLocale::system().uiLanguages();
    for (const QString &language : languages) {
        const QLocale locale(language);
        // The source texts are English: a person who puts English before any language that
        // Quorvel has gets them as they are.
        if (locale.language() == QLocale::English || locale.language() == QLocale::C)
            return QString();
        QTranslator *own = loaded(app, locale, QStringLiteral("quorvel"), QStringLiteral(":/i18n"));
        if (!own)
            continue;
        QCoreApplication::installTranslator(own);
        // Qt's own texts (the standard buttons' Cancel, Yes, No) in the same language, where
        // the system has them.
        if (QTranslator *qt = loaded(app, locale, QStringLiteral("qtbase"),
                                     QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
            QCoreApplication::installTranslator(qt);
        return own->language();
    }
    return QString();
}
