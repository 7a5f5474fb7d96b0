// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Platform/NotificationService.h"

namespace lanternfold {

/// User notifications over org.freedesktop.Notifications on the session bus: app name
/// "Lanternfold", icon and desktop entry "lanternfold", the sound theme's "complete", no expiry
/// set. Every call is sent and forgotten: no answer and no error (no bus, no server, a server that
/// never answers) reaches anyone, and nothing waits.
class DesktopNotifications final : public NotificationService
{
public:
    DesktopNotifications() = default;
    ~DesktopNotifications() override = default;
    Q_DISABLE_COPY_MOVE(DesktopNotifications)

    /// A capability check (GetCapabilities): desktop notification servers ask no permission.
    void requestAuthorization() override;
    /// Notify with replaces_id 0 and the body's "&", "<" and ">" escaped.
    void post(const QString &title, const QString &body) override;
};

} // namespace lanternfold
