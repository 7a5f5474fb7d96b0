// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Platform/DesktopNotifications.h"

#include "Platform/PlatformLog.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QStringList>
#include <QVariantMap>

namespace lanternfold {

using namespace Qt::StringLiterals;

namespace {

QDBusMessage notificationsCall(const QString &method)
{
    return QDBusMessage::createMethodCall(u"org.freedesktop.Notifications"_s, u"/org/freedesktop/Notifications"_s,
                                          u"org.freedesktop.Notifications"_s, method);
}

/// Servers that show markup in the body read "&", "<" and ">" as markup; escaped, the text shows as
/// written there, and servers without markup show the few escapes at worst. Quotes are no markup
/// and stay as they are.
QString escapedBody(const QString &text)
{
    QString escaped;
    escaped.reserve(text.size());
    for (const QChar c : text) {
        if (c == u'&')
            escaped += u"&amp;"_s;
        else if (c == u'<')
            escaped += u"&lt;"_s;
        else if (c == u'>')
            escaped += u"&gt;"_s;
        else
            escaped += c;
    }
    return escaped;
}

/// Sends the call and forgets it: the pending call is dropped unwatched, so neither the answer nor
/// an error (no bus, no server, a server that never answers) reaches anyone, and nothing waits.
void sendAndForget(const QDBusMessage &call)
{
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        qCDebug(lcPlatform) << "notifications: no session bus for" << call.member();
        return;
    }
    qCDebug(lcPlatform) << "notifications:" << call.member();
    bus.asyncCall(call);
}

} // namespace

void DesktopNotifications::requestAuthorization()
{
    // Desktop notification servers ask no permission; asking for their capabilities is the
    // harmless round trip that stands in for it.
    sendAndForget(notificationsCall(u"GetCapabilities"_s));
}

void DesktopNotifications::post(const QString &title, const QString &body)
{
    QDBusMessage call = notificationsCall(u"Notify"_s);
    // The desktop entry lets a server find the program's name and icon; "complete" is the sound
    // theme's sound for a finished task, the desktop's default sound for this kind of message.
    const QVariantMap hints{{u"desktop-entry"_s, u"lanternfold"_s}, {u"sound-name"_s, u"complete"_s}};
    // replaces_id 0 asks for a new notification each time, so no run's message replaces another's.
    call.setArguments({u"Lanternfold"_s, QVariant::fromValue(0U), u"lanternfold"_s, title, escapedBody(body),
                       QStringList(), hints, QVariant::fromValue(-1)});
    sendAndForget(call);
}

} // namespace lanternfold
