// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Models/JsonDecoding.h"

#include <QByteArray>
#include <QString>

#include <chrono>
#include <optional>

namespace lanternfold {

/// What one reading of a single access point or camera says about its connection and its boot.
struct DeviceReading
{
    /// An access point's "state" 1; a camera's "CONNECTED" with "isConnected".
    bool connected = false;
    /// An access point's "uptime": seconds since it booted, as of its last report.
    std::optional<qint64> uptimeSeconds;
    /// When the controller last heard from the device (milliseconds since the epoch).
    std::optional<qint64> lastSeenMs;
    /// A camera's "upSince" and "connectedSince" (milliseconds since the epoch).
    std::optional<qint64> upSinceMs;
    std::optional<qint64> connectedSinceMs;

    bool operator==(const DeviceReading &) const = default;
};

/// The answer to stat/device/<mac>: the ok envelope with exactly one record, of that MAC.
Decoded<DeviceReading> decodeAccessPointReading(const QByteArray &body, const QString &mac);
/// The answer to cameras/<id>: one camera object, of that id.
Decoded<DeviceReading> decodeCameraReading(const QByteArray &body, const QString &id);

/// Tells from the readings after a restart command when the device is back: rebooted and
/// connected again, with a report newer than the one before the command.
///
/// The controller only marks a device offline once its heartbeats time out, so a quick reboot may
/// never be seen offline: the reboot is judged by the boot itself. An access point's uptime falls
/// below its value before the command, or below the time since the command; a camera's upSince
/// moves by 5 s or more (it jitters by milliseconds between reads), or its connectedSince does.
/// A device seen offline since the command and connected again is back as well. Without a
/// reading from before the command, only the time since the command and the offline sighting
/// are there to judge by.
class RebootWatch
{
public:
    static constexpr qint64 cameraBootShiftMs = 5000;

    explicit RebootWatch(std::optional<DeviceReading> before) : m_before(before) {}

    /// A reading made sinceCommand after the command was answered.
    [[nodiscard]] bool isBack(const DeviceReading &now, std::chrono::milliseconds sinceCommand);

private:
    [[nodiscard]] bool rebooted(const DeviceReading &now, std::chrono::milliseconds sinceCommand) const;

    std::optional<DeviceReading> m_before;
    bool m_seenOffline = false;
};

} // namespace lanternfold
