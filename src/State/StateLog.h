// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QLoggingCategory>

namespace lanternfold {

/// The connection's life and the jobs ("lanternfold.state"). Never a password or a token.
Q_DECLARE_LOGGING_CATEGORY(lcState)
/// Ticks, picks and runs of the scheduler ("lanternfold.scheduler").
Q_DECLARE_LOGGING_CATEGORY(lcScheduler)

} // namespace lanternfold
