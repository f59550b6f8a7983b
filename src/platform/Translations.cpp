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
std::unique_ptr<QTranslator> loaded(const QLocale &locale, const QString &file,
                                    const QString &folder)
{
    auto translator = std::make_unique<QTranslator>();
    if (translator->load(locale, file, QStringLiteral("_"), folder))
        return translator;
    return nullptr;
}

} // namespace

Translations::Catalogue Translations::load()
{
    if (untranslatedMessages())
        return {};
    const QStringList languages = QLocale::system().uiLanguages();
    for (const QString &language : languages) {
        const QLocale locale(language);
        // The source texts are English: a person who puts English before any language that
        // Quorvel has gets them as they are.
        if (locale.language() == QLocale::English || locale.language() == QLocale::C)
            return {};
        if (std::unique_ptr<QTranslator> own
            = loaded(locale, QStringLiteral("quorvel"), QStringLiteral(":/i18n")))
            return {std::move(own), language};
    }
    return {};
}

QString Translations::install(QCoreApplication &app, Catalogue catalogue)
{
    if (!catalogue.own)
        return QString();
    QTranslator *own = catalogue.own.release();
    own->setParent(&app);
    QCoreApplication::installTranslator(own);
    // Qt's own texts (the standard buttons' Cancel, Yes, No) in the same language, where the
    // system has them.
    if (std::unique_ptr<QTranslator> qt
        = loaded(QLocale(catalogue.language), QStringLiteral("qtbase"),
                 QLibraryInfo::path(QLibraryInfo::TranslationsPath))) {
        qt->setParent(&app);
        QCoreApplication::installTranslator(qt.release());
    }
    return own->language();
}

QString Translations::install(QCoreApplication &app)
{
    return install(app, load());
}
