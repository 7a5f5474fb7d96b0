// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QDBusConnection>
#include <QList>
#include <QObject>
#include <QStringList>
#include <QVariantMap>

namespace lanternfold::test {

/// Plays the desktop's notification server on the test's private session bus, through a
/// connection of its own, so that what the program sends really travels through the bus daemon.
/// Records every Notify call.
class NotificationWatcher final : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    struct Notification
    {
        QString appName;
        uint replacesId = 0;
        QString appIcon;
        QString summary;
        QString body;
        QStringList actions;
        QVariantMap hints;
        int expireTimeout = 0;
    };

    NotificationWatcher();
    ~NotificationWatcher() override;

    /// Owns org.freedesktop.Notifications on the session bus; false when that failed.
    bool start();
    [[nodiscard]] const QList<Notification> &notifications() const { return m_notifications; }
    /// Forgets what was recorded, for tests that watch many notifications go by.
    void clear() { m_notifications.clear(); }

public Q_SLOTS:
    uint Notify(const QString &appName, uint replacesId, const QString &appIcon, const QString &summary,
                const QString &body, const QStringList &actions, const QVariantMap &hints, int expireTimeout);
    QStringList GetCapabilities();
    void CloseNotification(uint id);

Q_SIGNALS:
    void notified();

private:
    QDBusConnection m_bus;
    QList<Notification> m_notifications;
};

} // namespace lanternfold::test
