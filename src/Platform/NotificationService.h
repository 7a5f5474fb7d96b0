// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QString>

namespace lanternfold {

/// User notifications: desktop notifications in the program (DesktopNotifications), a list in the
/// tests of what posts them. Never blocks and never reports a failure.
class NotificationService
{
public:
    NotificationService() = default;
    virtual ~NotificationService() = default;
    Q_DISABLE_COPY_MOVE(NotificationService)

    /// Asks once, at start, to be allowed to notify; the answer does not matter.
    virtual void requestAuthorization() = 0;
    /// A new notification with this title and body and the default sound.
    virtual void post(const QString &title, const QString &body) = 0;
};

} // namespace lanternfold
