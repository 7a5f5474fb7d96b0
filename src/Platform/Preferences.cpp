#include "Platform/Preferences.h"

#include <QSettings>

namespace lanternfold {

using namespace Qt::StringLiterals;

QString preferencesFilePath()
{
    return QSettings(QSettings::NativeFormat, QSettings::UserScope, u"Lanternfold"_s, u"Lanternfold"_s).fileName();
}

} // namespace lanternfold
