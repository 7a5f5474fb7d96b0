#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QString>

#include <chrono>
#include <cstdint>
#include <optional>

namespace lanternfold::sim {

/// The devices and cameras one simulated site serves, and which of them are currently rebooting.
/// Objects are kept exactly as read from the JSON files; only "state" (and a camera's
/// "isConnected") is patched while a device is offline.
class SimulatedSite
{
public:
    using Clock = std::chrono::steady_clock;

    /// How an inventory body is rendered; the broken shapes serve the fault switches.
    enum class Shape : std::uint8_t { Normal, WrongType };

    /// The built-in demo site compiled into the program.
    static SimulatedSite demo();

    /// Replaces the devices from a stat/device answer ({"meta":…, "data":[…]}).
    bool setDevicesJson(const QByteArray &json, QString *error = nullptr);
    /// Replaces the cameras from a Protect camera list (a bare array).
    bool setCamerasJson(const QByteArray &json, QString *error = nullptr);

    void setOfflineDuration(std::chrono::milliseconds duration) { m_offlineDuration = duration; }
    [[nodiscard]] std::chrono::milliseconds offlineDuration() const { return m_offlineDuration; }

    [[nodiscard]] QByteArray devicesBody(Clock::time_point now, Shape shape = Shape::Normal) const;
    /// The same envelope with only the device of that MAC (case-insensitively), or an empty list.
    [[nodiscard]] QByteArray deviceBody(const QString &mac, Clock::time_point now, Shape shape = Shape::Normal) const;
    [[nodiscard]] QByteArray camerasBody(Clock::time_point now, Shape shape = Shape::Normal) const;

    /// MACs match case-insensitively, as the controller stores them lower-case and accepts either.
    bool restartDevice(const QString &mac, Clock::time_point now);
    /// Camera ids match exactly, as Protect's do.
    bool rebootCamera(const QString &id, Clock::time_point now);

    [[nodiscard]] qsizetype deviceCount() const { return m_devices.size(); }
    [[nodiscard]] qsizetype cameraCount() const { return m_cameras.size(); }
    [[nodiscard]] QList<QString> deviceMacs() const;
    [[nodiscard]] QList<QString> cameraIds() const;

private:
    struct Entry
    {
        QJsonObject object;
        Clock::time_point offlineUntil{};
    };

    [[nodiscard]] bool isOffline(const Entry &entry, Clock::time_point now) const { return now < entry.offlineUntil; }
    /// Every device, or with a non-empty mac only that one.
    [[nodiscard]] QByteArray renderDevices(Clock::time_point now, Shape shape, const QString &mac) const;

    QList<Entry> m_devices;
    QList<Entry> m_cameras;
    std::chrono::milliseconds m_offlineDuration{30000};
};

} // namespace lanternfold::sim
