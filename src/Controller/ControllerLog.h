// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QLoggingCategory>

namespace lanternfold {

/// Requests to the controller ("lanternfold.controller"): method, path, outcome and duration.
/// Never a header or a body, which carry the password, the session cookie and the CSRF token.
Q_DECLARE_LOGGING_CATEGORY(lcController)

} // namespace lanternfold
