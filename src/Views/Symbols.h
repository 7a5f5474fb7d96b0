// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QIcon>
#include <QString>

namespace lanternfold {

/// The small pictures beside tabs, buttons and toggles, by what they stand for.
enum class Symbol {
    wifiRouter,     ///< an access point; the Devices tab
    clock,          ///< the Schedules tab
    gearshape,      ///< the Settings tab
    arrowClockwise, ///< Refresh
    power,          ///< Restart Selected
    plus,           ///< New Schedule
    clockBadge,     ///< the empty schedule list
    video,          ///< a camera
};

/// The freedesktop icon-theme name that stands for symbol.
[[nodiscard]] QString symbolThemeName(Symbol symbol);

/// The desktop theme's icon for symbol, or the bundled drawing when the theme has none.
[[nodiscard]] QIcon symbolIcon(Symbol symbol);

} // namespace lanternfold
