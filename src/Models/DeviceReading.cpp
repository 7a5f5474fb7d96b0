// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Models/DeviceReading.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace lanternfold {

using namespace Qt::StringLiterals;

namespace {

Decoded<QJsonDocument> parse(const QByteArray &body)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(body, &error);
    if (error.error != QJsonParseError::NoError)
        return DecodeError{u"The data is not valid JSON ("_s + error.errorString() + u")."_s};
    return document;
}

/// An integer member, or nothing when it is missing or null; a member of another type is an error.
Decoded<std::optional<qint64>> optionalInteger(const QJsonObject &object, const QString &key)
{
    const QJsonValue value = object.value(key);
    if (value.isUndefined() || value.isNull())
        return std::optional<qint64>();
    if (const std::optional<qint64> integer = json::exactInteger(value))
        return integer;
    return DecodeError{u"Expected an integer for \""_s + key + u"\"."_s};
}

} // namespace

Decoded<DeviceReading> decodeAccessPointReading(const QByteArray &body, const QString &mac)
{
    LF_TRY_DECODE(document, parse(body));
    const QJsonObject envelope = document.object();
    if (envelope.value(u"meta"_s).toObject().value(u"rc"_s).toString() != u"ok"_s ||
        !envelope.value(u"data"_s).isArray())
        //: %1 is the access point's MAC address.
        return DecodeError{
            QCoreApplication::translate("DeviceReading", "The controller's answer for %1 is not a device list.")
                .arg(mac)};
    const QJsonArray data = envelope.value(u"data"_s).toArray();
    // Exactly one record, and of this device: a controller that ignores the MAC in the path
    // answers with every device, whose first would otherwise be taken for this one.
    if (data.size() != 1 || data.first().toObject().value(u"mac"_s).toString().compare(mac, Qt::CaseInsensitive) != 0)
        //: %1 is a number of device records, %2 the MAC address of the access point asked about.
        return DecodeError{
            QCoreApplication::translate("DeviceReading", "The controller answered %1 records for %2, not its own.")
                .arg(QString::number(data.size()), mac)};
    const QJsonObject record = data.first().toObject();
    LF_TRY_DECODE(state, optionalInteger(record, u"state"_s));
    LF_TRY_DECODE(uptime, optionalInteger(record, u"uptime"_s));
    LF_TRY_DECODE(lastSeen, optionalInteger(record, u"last_seen"_s));
    DeviceReading reading;
    reading.connected = state == 1;
    reading.uptimeSeconds = uptime;
    if (lastSeen)
        reading.lastSeenMs = *lastSeen * 1000;
    return reading;
}

Decoded<DeviceReading> decodeCameraReading(const QByteArray &body, const QString &id)
{
    LF_TRY_DECODE(document, parse(body));
    const QJsonObject camera = document.object();
    if (!document.isObject() || camera.value(u"id"_s).toString() != id)
        //: %1 is the camera's id.
        return DecodeError{
            QCoreApplication::translate("DeviceReading", "The controller's answer for camera %1 is not that camera.")
                .arg(id)};
    LF_TRY_DECODE(upSince, optionalInteger(camera, u"upSince"_s));
    LF_TRY_DECODE(connectedSince, optionalInteger(camera, u"connectedSince"_s));
    LF_TRY_DECODE(lastSeen, optionalInteger(camera, u"lastSeen"_s));
    DeviceReading reading;
    reading.connected =
        camera.value(u"state"_s).toString() == u"CONNECTED"_s && camera.value(u"isConnected"_s).toBool(false);
    reading.upSinceMs = upSince;
    reading.connectedSinceMs = connectedSince;
    reading.lastSeenMs = lastSeen;
    return reading;
}

bool RebootWatch::rebooted(const DeviceReading &now, std::chrono::milliseconds sinceCommand) const
{
    if (m_seenOffline)
        return true;
    if (now.uptimeSeconds) {
        // Booted after the command: its uptime is shorter than the time since.
        if (*now.uptimeSeconds * 1000 < sinceCommand.count())
            return true;
        if (m_before && m_before->uptimeSeconds && *now.uptimeSeconds < *m_before->uptimeSeconds)
            return true;
    }
    if (m_before && m_before->upSinceMs && now.upSinceMs &&
        std::abs(*now.upSinceMs - *m_before->upSinceMs) >= cameraBootShiftMs)
        return true;
    return m_before && m_before->connectedSinceMs && now.connectedSinceMs &&
           *now.connectedSinceMs - *m_before->connectedSinceMs >= cameraBootShiftMs;
}

bool RebootWatch::isBack(const DeviceReading &now, std::chrono::milliseconds sinceCommand)
{
    if (!now.connected) {
        m_seenOffline = true;
        return false;
    }
    if (!rebooted(now, sinceCommand))
        return false;
    // A report from after the boot, not the record the controller kept from before it.
    if (m_before && m_before->lastSeenMs && now.lastSeenMs)
        return *now.lastSeenMs > *m_before->lastSeenMs;
    return true;
}

} // namespace lanternfold
