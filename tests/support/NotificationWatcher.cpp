// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "NotificationWatcher.h"

namespace lanternfold::test {

using namespace Qt::StringLiterals;

NotificationWatcher::NotificationWatcher()
    : m_bus(QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"lanternfold-test-notifications"_s))
{
}

NotificationWatcher::~NotificationWatcher()
{
    m_bus.unregisterService(u"org.freedesktop.Notifications"_s);
    QDBusConnection::disconnectFromBus(m_bus.name());
}

bool NotificationWatcher::start()
{
    return m_bus.isConnected() &&
           m_bus.registerObject(u"/org/freedesktop/Notifications"_s, this, QDBusConnection::ExportAllSlots) &&
           m_bus.registerService(u"org.freedesktop.Notifications"_s);
}

uint NotificationWatcher::Notify(const QString &appName, uint replacesId, const QString &appIcon,
                                 const QString &summary, const QString &body, const QStringList &actions,
                                 const QVariantMap &hints, int expireTimeout)
{
    m_notifications.append({appName, replacesId, appIcon, summary, body, actions, hints, expireTimeout});
    Q_EMIT notified();
    return static_cast<uint>(m_notifications.size());
}

QStringList NotificationWatcher::GetCapabilities()
{
    return {u"body"_s, u"body-markup"_s};
}

void NotificationWatcher::CloseNotification(uint id)
{
    (void)id;
}

} // namespace lanternfold::test
