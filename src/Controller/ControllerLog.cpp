// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Controller/ControllerLog.h"

namespace lanternfold {

Q_LOGGING_CATEGORY(lcController, "lanternfold.controller", QtWarningMsg)

} // namespace lanternfold
