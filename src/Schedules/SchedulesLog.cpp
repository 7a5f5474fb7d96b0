// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Schedules/SchedulesLog.h"

namespace lanternfold {

Q_LOGGING_CATEGORY(lcSchedules, "lanternfold.schedules", QtWarningMsg)

} // namespace lanternfold
