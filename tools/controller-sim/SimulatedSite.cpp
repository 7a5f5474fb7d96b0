// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "SimulatedSite.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonParseError>

namespace lanternfold::sim {

using namespace Qt::StringLiterals;

namespace {

void fail(QString *error, const QString &message)
{
    if (error)
        *error = message;
}

QByteArray readResource(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("controller-sim: missing built-in resource %s", qPrintable(path));
    return file.readAll();
}

std::optional<QJsonArray> objectsWithStringKey(const QJsonArray &array, const QString &key, QString *error)
{
    for (qsizetype i = 0; i < array.size(); ++i) {
        if (!array.at(i).isObject() || !array.at(i).toObject().value(key).isString()) {
            fail(error, u"element %1 is not an object with a string \"%2\""_s.arg(i).arg(key));
            return std::nullopt;
        }
    }
    return array;
}

} // namespace

SimulatedSite SimulatedSite::demo()
{
    SimulatedSite site;
    QString error;
    if (!site.setDevicesJson(readResource(u":/controller-sim/devices.json"_s), &error) ||
        !site.setCamerasJson(readResource(u":/controller-sim/cameras.json"_s), &error))
        qFatal("controller-sim: broken built-in demo site: %s", qPrintable(error));
    return site;
}

SimulatedSite SimulatedSite::demoWarehouse()
{
    SimulatedSite site;
    QString error;
    if (!site.setDevicesJson(readResource(u":/controller-sim/warehouse-devices.json"_s), &error))
        qFatal("controller-sim: broken built-in demo site: %s", qPrintable(error));
    return site;
}

bool SimulatedSite::setDevicesJson(const QByteArray &json, QString *error)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        fail(error, u"devices: "_s + parseError.errorString());
        return false;
    }
    if (!document.isObject() || !document.object().value(u"data"_s).isArray()) {
        fail(error, u"devices: expected {\"meta\":{\"rc\":\"ok\"},\"data\":[…]}"_s);
        return false;
    }
    QString elementError;
    const auto array = objectsWithStringKey(document.object().value(u"data"_s).toArray(), u"mac"_s, &elementError);
    if (!array) {
        fail(error, u"devices: "_s + elementError);
        return false;
    }
    m_devices.clear();
    for (const auto &value : *array)
        m_devices.append(Entry{value.toObject(), {}, false, {}, {}});
    return true;
}

bool SimulatedSite::setCamerasJson(const QByteArray &json, QString *error)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        fail(error, u"cameras: "_s + parseError.errorString());
        return false;
    }
    if (!document.isArray()) {
        fail(error, u"cameras: expected a bare JSON array, as Protect sends it"_s);
        return false;
    }
    QString elementError;
    const auto array = objectsWithStringKey(document.array(), u"id"_s, &elementError);
    if (!array) {
        fail(error, u"cameras: "_s + elementError);
        return false;
    }
    m_cameras.clear();
    for (const auto &value : *array)
        m_cameras.append(Entry{value.toObject(), {}, false, {}, {}});
    return true;
}

QByteArray SimulatedSite::devicesBody(Clock::time_point now, Shape shape) const
{
    return renderDevices(now, shape, {});
}

QByteArray SimulatedSite::deviceBody(const QString &mac, Clock::time_point now, Shape shape) const
{
    return renderDevices(now, shape, mac);
}

QByteArray SimulatedSite::renderDevices(Clock::time_point now, Shape shape, const QString &mac) const
{
    QJsonArray data;
    for (const Entry &entry : m_devices) {
        if (!mac.isEmpty() && entry.object.value(u"mac"_s).toString().compare(mac, Qt::CaseInsensitive) != 0)
            continue;
        QJsonObject object = deviceAt(entry, now);
        if (shape == Shape::WrongType)
            object.insert(u"state"_s, QString::number(object.value(u"state"_s).toInteger(1)));
        data.append(object);
    }
    // "meta" first, as the controller writes it (QJsonObject would sort the members).
    return QByteArrayLiteral(R"({"meta":{"rc":"ok"},"data":)") + QJsonDocument(data).toJson(QJsonDocument::Compact) +
           '}';
}

QByteArray SimulatedSite::camerasBody(Clock::time_point now, Shape shape) const
{
    QJsonArray cameras;
    int number = 7;
    for (const Entry &entry : m_cameras) {
        QJsonObject object = cameraAt(entry, now);
        if (shape == Shape::WrongType)
            object.insert(u"id"_s, number++);
        cameras.append(object);
    }
    return QJsonDocument(cameras).toJson(QJsonDocument::Compact);
}

std::optional<QByteArray> SimulatedSite::cameraBody(const QString &id, Clock::time_point now) const
{
    for (const Entry &entry : m_cameras) {
        if (entry.object.value(u"id"_s).toString() == id)
            return QJsonDocument(cameraAt(entry, now)).toJson(QJsonDocument::Compact);
    }
    return std::nullopt;
}

SimulatedSite::Phase SimulatedSite::phase(const Entry &entry, Clock::time_point now)
{
    if (!entry.reboot || now < entry.reboot->detected) {
        // A reboot quicker than the detection delay is never seen offline: the device is back
        // before the controller misses it.
        if (entry.reboot && entry.reboot->comesBack && now >= entry.reboot->back)
            return Phase::back;
        return Phase::asBefore;
    }
    const Reboot &reboot = *entry.reboot;
    if (!reboot.comesBack)
        return Phase::offline;
    if (now >= reboot.back)
        return Phase::back;
    // Provisioning is the last part of a boot: a third of it, at most ten seconds.
    const auto provisioning = std::min<Clock::duration>((reboot.back - reboot.command) / 3, std::chrono::seconds(10));
    if (reboot.provisioning && now >= reboot.back - provisioning)
        return Phase::provisioning;
    return Phase::offline;
}

qint64 SimulatedSite::epochMs(Clock::time_point at) const
{
    return m_epochBaseMs + std::chrono::duration_cast<std::chrono::milliseconds>(at - m_steadyBase).count();
}

QJsonObject SimulatedSite::deviceAt(const Entry &entry, Clock::time_point now) const
{
    QJsonObject object = entry.object;
    const auto uptime = [now](Clock::time_point since) {
        return qint64(std::chrono::duration_cast<std::chrono::seconds>(now - since).count());
    };
    const Phase shown = phase(entry, now);
    if (shown == Phase::asBefore || !entry.reboot) {
        // Untouched records stay exactly as read; one that rebooted before counts from that boot.
        if (entry.bootedAt) {
            object.insert(u"uptime"_s, uptime(*entry.bootedAt));
            object.insert(u"last_seen"_s, epochMs(now) / 1000);
        }
        return object;
    }
    const Reboot &reboot = *entry.reboot;
    if (shown == Phase::back) {
        // A device with reboot times of its own comes back connected; with the plain offline time,
        // in whatever state its record had before.
        if (reboot.provisioning)
            object.insert(u"state"_s, 1);
        object.insert(u"uptime"_s, uptime(reboot.back));
        object.insert(u"last_seen"_s, epochMs(now) / 1000);
        return object;
    }
    object.insert(u"state"_s, shown == Phase::offline ? 0 : 5);
    object.insert(u"last_seen"_s, epochMs(reboot.command) / 1000);
    return object;
}

QJsonObject SimulatedSite::cameraAt(const Entry &entry, Clock::time_point now) const
{
    QJsonObject object = entry.object;
    const Phase shown = phase(entry, now);
    if (shown == Phase::offline || shown == Phase::provisioning) {
        object.insert(u"state"_s, u"DISCONNECTED"_s);
        object.insert(u"isConnected"_s, false);
        object.insert(u"isRebooting"_s, true);
        return object;
    }
    std::optional<Clock::time_point> since = entry.bootedAt;
    if (shown == Phase::back)
        since = entry.reboot.value().back;
    if (since) {
        object.insert(u"state"_s, u"CONNECTED"_s);
        object.insert(u"isConnected"_s, true);
        object.insert(u"isRebooting"_s, false);
        object.insert(u"upSince"_s, epochMs(*since));
        object.insert(u"connectedSince"_s, epochMs(*since) + 1500);
        object.insert(u"lastSeen"_s, epochMs(now));
        object.insert(u"uptime"_s, qint64(std::chrono::duration_cast<std::chrono::seconds>(now - *since).count()));
    }
    return object;
}

std::optional<std::pair<SimulatedSite::Clock::time_point, std::optional<SimulatedSite::Clock::time_point>>>
SimulatedSite::rebootWindow(const QString &id) const
{
    const Entry *entry = find(id);
    if (!entry || !entry->reboot)
        return std::nullopt;
    const Reboot &reboot = *entry->reboot;
    return std::pair{reboot.command, reboot.comesBack ? std::optional(reboot.back) : std::nullopt};
}

bool SimulatedSite::isShownOffline(const QString &id, Clock::time_point now) const
{
    const Entry *entry = find(id);
    if (!entry)
        return false;
    const Phase shown = phase(*entry, now);
    return shown == Phase::offline || shown == Phase::provisioning;
}

void SimulatedSite::startReboot(Entry &entry, Clock::time_point now, bool camera)
{
    // A reboot that completed counts as the device's boot from now on.
    if (entry.reboot && entry.reboot->comesBack && now >= entry.reboot->back)
        entry.bootedAt = entry.reboot->back;
    RebootTiming timing{m_offlineDuration, std::chrono::milliseconds(0), false};
    if (entry.timing) {
        timing = *entry.timing;
    } else if (m_ranges) {
        const auto draw = [this](Range range) {
            const qint64 span = std::max<qint64>(0, (range.to - range.from).count());
            return range.from + std::chrono::milliseconds(qint64(m_random.bounded(quint64(span) + 1)));
        };
        timing.boot = draw(camera ? m_ranges->cameras : m_ranges->accessPoints);
        timing.detection = draw(m_ranges->detection);
        timing.provisioning = true;
    }
    entry.reboot = Reboot{now, now + timing.detection, now + timing.boot, timing.provisioning, !entry.neverComesBack};
}

void SimulatedSite::setRebootRanges(quint32 seed, Range accessPoints, Range cameras, Range detection)
{
    m_ranges = Ranges{accessPoints, cameras, detection};
    m_random.seed(seed);
}

SimulatedSite::Entry *SimulatedSite::find(const QString &id)
{
    return const_cast<Entry *>(std::as_const(*this).find(id));
}

const SimulatedSite::Entry *SimulatedSite::find(const QString &id) const
{
    for (const Entry &entry : m_devices) {
        if (entry.object.value(u"mac"_s).toString().compare(id, Qt::CaseInsensitive) == 0)
            return &entry;
    }
    for (const Entry &entry : m_cameras) {
        if (entry.object.value(u"id"_s).toString() == id)
            return &entry;
    }
    return nullptr;
}

bool SimulatedSite::setRebootTiming(const QString &id, RebootTiming timing)
{
    Entry *entry = find(id);
    if (entry)
        entry->timing = timing;
    return entry != nullptr;
}

bool SimulatedSite::setNeverComesBack(const QString &id, bool never)
{
    Entry *entry = find(id);
    if (entry)
        entry->neverComesBack = never;
    return entry != nullptr;
}

bool SimulatedSite::restartDevice(const QString &mac, Clock::time_point now)
{
    bool found = false;
    for (Entry &entry : m_devices) {
        if (entry.object.value(u"mac"_s).toString().compare(mac, Qt::CaseInsensitive) == 0) {
            startReboot(entry, now, /*camera=*/false);
            found = true;
        }
    }
    return found;
}

bool SimulatedSite::rebootCamera(const QString &id, Clock::time_point now)
{
    bool found = false;
    for (Entry &entry : m_cameras) {
        if (entry.object.value(u"id"_s).toString() == id) {
            startReboot(entry, now, /*camera=*/true);
            found = true;
        }
    }
    return found;
}

QList<QString> SimulatedSite::deviceMacs() const
{
    QList<QString> macs;
    for (const Entry &entry : m_devices)
        macs.append(entry.object.value(u"mac"_s).toString());
    return macs;
}

QList<QString> SimulatedSite::cameraIds() const
{
    QList<QString> ids;
    for (const Entry &entry : m_cameras)
        ids.append(entry.object.value(u"id"_s).toString());
    return ids;
}

} // namespace lanternfold::sim
