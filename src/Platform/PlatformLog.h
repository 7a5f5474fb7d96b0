// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QLoggingCategory>

namespace lanternfold {

/// The keyring, notifications and the login item. Quiet below warnings unless QT_LOGGING_RULES
/// asks for more ("lanternfold.platform.debug=true"); never a password.
Q_DECLARE_LOGGING_CATEGORY(lcPlatform)

} // namespace lanternfold
