// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

// In-memory stand-ins for the desktop services, for the tests of what uses them: the state, the
// scheduler and the views. The real adapters keep their own tests against the real services.

#include "Async/Latch.h"
#include "Platform/KeychainService.h"
#include "Platform/LoginItemService.h"
#include "Platform/NotificationService.h"

#include <QHash>
#include <QList>
#include <QString>

#include <memory>
#include <optional>

namespace lanternfold::test {

/// A keyring that answers at once from a map; unavailable, it keeps nothing and finds nothing, as
/// a locked or missing keyring does.
class FakeKeychain final : public KeychainService
{
public:
    QCoro::Task<Done> savePassword(QString password, QString account) override
    {
        ++saves;
        if (available)
            passwords.insert(account, password);
        co_return Done{};
    }

    QCoro::Task<std::optional<QString>> readPassword(QString account) override
    {
        ++reads;
        if (const std::shared_ptr<Latch> release = readsHeld) {
            // A keyring that takes its time (unlocking, a slow bus): the read ends when released.
            Wakeup wakeup;
            wakeup.watch(*release);
            co_await wakeup.wait();
        }
        if (!available || !passwords.contains(account))
            co_return std::nullopt;
        co_return passwords.value(account);
    }

    QHash<QString, QString> passwords;
    bool available = true;
    /// Reads wait until this is set, while it is there.
    std::shared_ptr<Latch> readsHeld;
    int saves = 0;
    int reads = 0;
};

/// Records every notification instead of showing it.
class FakeNotifications final : public NotificationService
{
public:
    struct Notification
    {
        QString summary;
        QString body;
    };

    void requestAuthorization() override { ++authorizationRequests; }
    void post(const QString &title, const QString &body) override { posted.append({title, body}); }

    [[nodiscard]] const QList<Notification> &notifications() const { return posted; }

    QList<Notification> posted;
    int authorizationRequests = 0;
};

/// A login item that is a flag, or that refuses every change with failure's text.
class FakeLoginItem final : public LoginItemService
{
public:
    [[nodiscard]] Status status() const override { return enabled ? Status::enabled : Status::notRegistered; }

    Result<Done, QString> setEnabled(bool on) override
    {
        ++changes;
        if (failure)
            return *failure;
        enabled = on;
        return Done{};
    }

    bool enabled = false;
    std::optional<QString> failure;
    int changes = 0;
};

} // namespace lanternfold::test
