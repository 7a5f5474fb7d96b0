// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Models/Result.h"

#include <QCoroTask>
#include <QString>

#include <optional>

namespace lanternfold {

/// Where the controller password is kept: the desktop's Secret Service in the program
/// (SecretServiceKeychain), a map in the tests of what uses it. Every failure is silent: a password
/// that cannot be saved is simply not there later, one that cannot be read is absent.
class KeychainService
{
public:
    KeychainService() = default;
    virtual ~KeychainService() = default;
    Q_DISABLE_COPY_MOVE(KeychainService)

    /// host + ":" + username, joined without spaces.
    static QString account(const QString &host, const QString &username);

    /// Replaces the account's password (delete, then write).
    virtual QCoro::Task<Done> savePassword(QString password, QString account) = 0;
    /// The account's password; nothing when there is none or it cannot be read.
    virtual QCoro::Task<std::optional<QString>> readPassword(QString account) = 0;
};

} // namespace lanternfold
