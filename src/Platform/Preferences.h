// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QString>

namespace lanternfold {

/// The program's preferences file ($XDG_CONFIG_HOME/Lanternfold/Lanternfold.conf), where the saved
/// controller and the pins of trust live.
QString preferencesFilePath();

} // namespace lanternfold
