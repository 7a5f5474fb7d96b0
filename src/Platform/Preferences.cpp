// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Platform/Preferences.h"

#include <QSettings>

namespace lanternfold {

using namespace Qt::StringLiterals;

QString preferencesFilePath()
{
    return QSettings(QSettings::NativeFormat, QSettings::UserScope, u"Lanternfold"_s, u"Lanternfold"_s).fileName();
}

} // namespace lanternfold
