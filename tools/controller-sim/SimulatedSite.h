// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QRandomGenerator>
#include <QString>

#include <chrono>
#include <cstdint>
#include <optional>

namespace lanternfold::sim {

/// The devices and cameras one simulated site serves, and how each of them reboots.
///
/// Objects are kept exactly as read from the JSON files until a device is restarted. A restart then
/// runs as on real hardware: the device keeps its old record for a detection delay (the controller
/// only notices a missing device when its heartbeats time out), reports "state" 0, then
/// provisioning (5) in the last part of its boot, then "state" 1 again with "uptime" counting from
/// 0 and a fresh "last_seen". A camera reports "DISCONNECTED", then "CONNECTED" with a new
/// "upSince" and "connectedSince". A reboot shorter than the detection delay is never seen offline.
///
/// Without reboot times of its own, a device is offline from the command for offlineDuration() and
/// shows no provisioning.
class SimulatedSite
{
public:
    using Clock = std::chrono::steady_clock;

    /// How one reboot goes.
    struct RebootTiming
    {
        /// From the command until the device is connected again.
        std::chrono::milliseconds boot{30'000};
        /// From the command until the controller shows the device offline.
        std::chrono::milliseconds detection{0};
        /// Whether boots show provisioning (state 5) in their last part.
        bool provisioning = true;
    };
    /// A closed range that reboot times are drawn from.
    struct Range
    {
        std::chrono::milliseconds from{0};
        std::chrono::milliseconds to{0};
    };

    /// How an inventory body is rendered; the broken shapes serve the fault switches.
    enum class Shape : std::uint8_t { Normal, WrongType };

    /// The built-in demo site compiled into the program.
    static SimulatedSite demo();
    /// The demo's second site: a warehouse with access points of its own and no cameras (cameras
    /// belong to the console, which the first site's answers already list).
    static SimulatedSite demoWarehouse();

    /// Replaces the devices from a stat/device answer ({"meta":…, "data":[…]}).
    bool setDevicesJson(const QByteArray &json, QString *error = nullptr);
    /// Replaces the cameras from a Protect camera list (a bare array).
    bool setCamerasJson(const QByteArray &json, QString *error = nullptr);

    /// The same fixed offline time for every device without times of its own; drawn times stop.
    void setOfflineDuration(std::chrono::milliseconds duration)
    {
        m_offlineDuration = duration;
        m_ranges.reset();
    }
    /// Reboot times drawn for each restart from a generator seeded with seed: access points boot in
    /// accessPoints, cameras in cameras, and the controller notices them missing after detection.
    void setRebootRanges(quint32 seed, Range accessPoints, Range cameras, Range detection);
    /// The times of every reboot of one device (MAC, case-insensitively) or camera (id).
    bool setRebootTiming(const QString &id, RebootTiming timing);
    /// A device that never comes back from its next restarts (or does again).
    bool setNeverComesBack(const QString &id, bool never);
    [[nodiscard]] std::chrono::milliseconds offlineDuration() const { return m_offlineDuration; }

    [[nodiscard]] QByteArray devicesBody(Clock::time_point now, Shape shape = Shape::Normal) const;
    /// The same envelope with only the device of that MAC (case-insensitively), or an empty list.
    [[nodiscard]] QByteArray deviceBody(const QString &mac, Clock::time_point now, Shape shape = Shape::Normal) const;
    [[nodiscard]] QByteArray camerasBody(Clock::time_point now, Shape shape = Shape::Normal) const;
    /// One camera as Protect answers cameras/<id>, or nothing for an unknown id.
    [[nodiscard]] std::optional<QByteArray> cameraBody(const QString &id, Clock::time_point now) const;
    /// From the latest restart command to the device's return (open-ended for one that never
    /// comes back): the time it is really down, whatever the controller shows meanwhile.
    [[nodiscard]] std::optional<std::pair<Clock::time_point, std::optional<Clock::time_point>>>
    rebootWindow(const QString &id) const;
    /// Whether the device or camera is offline at now, as the controller would show it.
    [[nodiscard]] bool isShownOffline(const QString &id, Clock::time_point now) const;

    /// MACs match case-insensitively, as the controller stores them lower-case and accepts either.
    bool restartDevice(const QString &mac, Clock::time_point now);
    /// Camera ids match exactly, as Protect's do.
    bool rebootCamera(const QString &id, Clock::time_point now);

    [[nodiscard]] qsizetype deviceCount() const { return m_devices.size(); }
    [[nodiscard]] qsizetype cameraCount() const { return m_cameras.size(); }
    [[nodiscard]] QList<QString> deviceMacs() const;
    [[nodiscard]] QList<QString> cameraIds() const;

private:
    struct Reboot
    {
        Clock::time_point command{};
        Clock::time_point detected{};
        Clock::time_point back{};
        bool provisioning = false;
        bool comesBack = true;
    };
    struct Entry
    {
        QJsonObject object;
        std::optional<RebootTiming> timing;
        bool neverComesBack = false;
        std::optional<Reboot> reboot;
        /// When a completed reboot brought the device back: its uptime counts from here.
        std::optional<Clock::time_point> bootedAt;
    };
    enum class Phase : std::uint8_t { asBefore, offline, provisioning, back };

    [[nodiscard]] static Phase phase(const Entry &entry, Clock::time_point now);
    /// Every device, or with a non-empty mac only that one.
    [[nodiscard]] QByteArray renderDevices(Clock::time_point now, Shape shape, const QString &mac) const;
    [[nodiscard]] QJsonObject deviceAt(const Entry &entry, Clock::time_point now) const;
    [[nodiscard]] QJsonObject cameraAt(const Entry &entry, Clock::time_point now) const;
    void startReboot(Entry &entry, Clock::time_point now, bool camera);
    [[nodiscard]] qint64 epochMs(Clock::time_point at) const;
    Entry *find(const QString &id);
    [[nodiscard]] const Entry *find(const QString &id) const;

    QList<Entry> m_devices;
    QList<Entry> m_cameras;
    std::chrono::milliseconds m_offlineDuration{30000};
    struct Ranges
    {
        Range accessPoints;
        Range cameras;
        Range detection;
    };
    std::optional<Ranges> m_ranges;
    QRandomGenerator m_random;
    /// The epoch instant that the clock's start stands for: epoch values follow the clock.
    Clock::time_point m_steadyBase = Clock::now();
    qint64 m_epochBaseMs = QDateTime::currentMSecsSinceEpoch();
};

} // namespace lanternfold::sim
