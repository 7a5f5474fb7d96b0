// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Platform/KeychainService.h"

namespace lanternfold {

QString KeychainService::account(const QString &host, const QString &username)
{
    return host + u':' + username;
}

} // namespace lanternfold
