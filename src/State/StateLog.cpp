// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "State/StateLog.h"

namespace lanternfold {

Q_LOGGING_CATEGORY(lcState, "lanternfold.state", QtWarningMsg)
Q_LOGGING_CATEGORY(lcScheduler, "lanternfold.scheduler", QtWarningMsg)

} // namespace lanternfold
