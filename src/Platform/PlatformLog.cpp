// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Platform/PlatformLog.h"

namespace lanternfold {

Q_LOGGING_CATEGORY(lcPlatform, "lanternfold.platform", QtWarningMsg)

} // namespace lanternfold
