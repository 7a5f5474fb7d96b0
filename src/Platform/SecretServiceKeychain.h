// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Platform/KeychainService.h"

#include <chrono>

namespace lanternfold {

/// The controller password in the freedesktop Secret Service (GNOME Keyring, KWallet) through
/// QtKeychain, under the service "com.lanternfold.controller".
///
/// QtKeychain has no timeout of its own and can wait forever (an unlock prompt nobody answers, a
/// keyring daemon that hangs), so every keyring call here gives up after the adapter's time limit.
/// Waiting never blocks the event loop. A call that gave up leaves its QtKeychain job running: the
/// job is never deleted while QtKeychain may still call back into it, and deletes itself once it
/// finishes, however late (even after this adapter is gone). QtKeychain runs its jobs one at a
/// time, so calls made while such a job hangs wait behind it and give up in turn; their order is kept.
class SecretServiceKeychain final : public KeychainService
{
public:
    static const QString service; // "com.lanternfold.controller"
    static constexpr std::chrono::seconds defaultTimeout{10};

    /// Each keyring call gives up after timeout.
    explicit SecretServiceKeychain(std::chrono::milliseconds timeout = defaultTimeout);
    ~SecretServiceKeychain() override = default;
    Q_DISABLE_COPY_MOVE(SecretServiceKeychain)

    [[nodiscard]] std::chrono::milliseconds timeout() const { return m_timeout; }

    /// Each of the two keyring calls gives up after timeout().
    QCoro::Task<Done> savePassword(QString password, QString account) override;
    /// Nothing also when the keyring is locked, missing or does not answer within timeout(), or
    /// when the data is not UTF-8.
    QCoro::Task<std::optional<QString>> readPassword(QString account) override;

    /// QtKeychain jobs of the process that have not been deleted yet, including those whose
    /// callers gave up waiting: the keyring's tests prove with it that no job is freed early or
    /// kept for ever. Main thread only.
    static int liveJobCount();

private:
    std::chrono::milliseconds m_timeout;
};

} // namespace lanternfold
