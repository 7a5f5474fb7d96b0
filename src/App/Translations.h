// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QLocale>
#include <QString>

#include <memory>
#include <vector>

class QTranslator;

namespace lanternfold {

/// The program's texts in the person's language (German, French and Spanish besides the English
/// the code is written in), with Qt's own texts (a text field's context menu, say) to match.
class Translations final
{
public:
    Translations();
    ~Translations();
    Translations(const Translations &) = delete;
    Translations &operator=(const Translations &) = delete;

    /// Installs the translations for the locale's languages, in the order the person prefers them;
    /// a language with none leaves the English texts. Returns whether Lanternfold's own were found.
    bool install(const QLocale &locale);

    /// Where the compiled translations are: beside the program as installed (../share/lanternfold/
    /// translations from the program's folder, which the build tree copies).
    [[nodiscard]] static QString folder();

private:
    std::vector<std::unique_ptr<QTranslator>> m_installed;
};

} // namespace lanternfold
