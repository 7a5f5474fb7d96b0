// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Models/Result.h"

#include <QString>

namespace lanternfold {

/// Whether the program starts at login: an XDG autostart entry in the program
/// (AutostartLoginItem), a flag in the tests of the settings.
class LoginItemService
{
public:
    enum class Status { notRegistered, enabled, requiresApproval, notFound };

    LoginItemService() = default;
    virtual ~LoginItemService() = default;
    Q_DISABLE_COPY_MOVE(LoginItemService)

    [[nodiscard]] virtual Status status() const = 0;
    /// Registers or unregisters the program; a failure comes back with a readable description.
    virtual Result<Done, QString> setEnabled(bool enabled) = 0;
};

} // namespace lanternfold
