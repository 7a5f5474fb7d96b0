// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QLoggingCategory>

namespace lanternfold {

/// The jobs file: what could not be read and what was corrected on load.
Q_DECLARE_LOGGING_CATEGORY(lcSchedules)

} // namespace lanternfold
