// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "App/Translations.h"

#include <QCoreApplication>
#include <QDir>
#include <QLibraryInfo>
#include <QTranslator>

namespace lanternfold {

using namespace Qt::StringLiterals;

Translations::Translations() = default;

Translations::~Translations()
{
    for (const std::unique_ptr<QTranslator> &translator : m_installed)
        QCoreApplication::removeTranslator(translator.get());
}

QString Translations::folder()
{
    return QDir(QCoreApplication::applicationDirPath()).filePath(u"../share/lanternfold/translations"_s);
}

bool Translations::install(const QLocale &locale)
{
    auto own = std::make_unique<QTranslator>();
    // QTranslator walks the locale's languages in order (de_AT, then de) and takes the first it has.
    if (!own->load(locale, u"lanternfold"_s, u"_"_s, folder()))
        return false;
    QCoreApplication::installTranslator(own.get());
    m_installed.push_back(std::move(own));
    // Qt's own texts only with ours: an English window with German context menus would be odd.
    auto qt = std::make_unique<QTranslator>();
    if (qt->load(locale, u"qtbase"_s, u"_"_s, QLibraryInfo::path(QLibraryInfo::TranslationsPath))) {
        QCoreApplication::installTranslator(qt.get());
        m_installed.push_back(std::move(qt));
    }
    return true;
}

} // namespace lanternfold
