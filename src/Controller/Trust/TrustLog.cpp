// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Controller/Trust/TrustLog.h"

namespace lanternfold {

Q_LOGGING_CATEGORY(lcTrust, "lanternfold.trust", QtWarningMsg)

} // namespace lanternfold
