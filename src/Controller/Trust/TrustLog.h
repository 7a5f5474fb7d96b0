// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QLoggingCategory>

namespace lanternfold {

/// Pins and first-use questions ("lanternfold.trust"): hosts and fingerprints, which are public.
Q_DECLARE_LOGGING_CATEGORY(lcTrust)

} // namespace lanternfold
