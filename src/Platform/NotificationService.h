#pragma once

#include <QString>

namespace lanternfold {

/// User notifications over org.freedesktop.Notifications on the session bus. Never blocks, never reports.
class NotificationService final
{
public:
    /// A capability check (GetCapabilities), asynchronous; its answer and any error are ignored.
    static void requestAuthorization();
    /// Notify(app_name "Lanternfold", replaces_id 0, app_icon "lanternfold", summary = title, body = text with &, <, >
    /// escaped, actions [], hints {"desktop-entry": "lanternfold", "sound-name": "complete"}, expire_timeout -1),
    /// asynchronous; silent on every failure.
    static void post(const QString &title, const QString &body);
};

} // namespace lanternfold
