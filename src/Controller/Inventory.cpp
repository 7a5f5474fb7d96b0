// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Controller/Inventory.h"

#include "Models/FastJson.h"

#include <QCoreApplication>

#include <type_traits>
#include <utility>

namespace lanternfold {

using namespace Qt::StringLiterals;

// The wire records are read through a template over the JSON value: a QJsonValue of Qt's document,
// or a json::FastValue of simdjson's. Each record's keys are therefore written once, and both
// parsers give the same values and the same error texts.
namespace {

template <typename Value>
Decoded<DeviceDTO> readDevice(const Value &json, const QString &path)
{
    LF_TRY_DECODE(reader, json::readObject(json, path));
    LF_TRY_DECODE(mac, reader.string(u"mac"_s));
    LF_TRY_DECODE(name, reader.optionalString(u"name"_s));
    LF_TRY_DECODE(model, reader.optionalString(u"model"_s));
    LF_TRY_DECODE(type, reader.optionalString(u"type"_s));
    LF_TRY_DECODE(state, reader.optionalInteger(u"state"_s));
    LF_TRY_DECODE(ip, reader.optionalString(u"ip"_s));
    return DeviceDTO{mac, name, model, type, state, ip};
}

template <typename Value>
Decoded<CameraDTO> readCamera(const Value &json, const QString &path)
{
    LF_TRY_DECODE(reader, json::readObject(json, path));
    LF_TRY_DECODE(id, reader.string(u"id"_s));
    LF_TRY_DECODE(name, reader.optionalString(u"name"_s));
    LF_TRY_DECODE(type, reader.optionalString(u"type"_s));
    LF_TRY_DECODE(state, reader.optionalString(u"state"_s));
    return CameraDTO{id, name, type, state};
}

/// A site, or nothing for one the controller hides. Read through Qt's parser only: a sites answer
/// is a few hundred bytes.
Decoded<std::optional<ControllerSite>> readSite(const QJsonValue &json, const QString &path)
{
    LF_TRY_DECODE(reader, json::readObject(json, path));
    LF_TRY_DECODE(name, reader.string(u"name"_s));
    LF_TRY_DECODE(desc, reader.optionalString(u"desc"_s));
    LF_TRY_DECODE(role, reader.optionalString(u"role"_s));
    if (json.toObject().value(u"attr_hidden"_s).toBool())
        return std::optional<ControllerSite>();
    if (name.isEmpty())
        return json::unknownValue(name, u"name"_s, path);
    return std::optional<ControllerSite>(ControllerSite{name, desc.value_or(QString()), role.value_or(QString())});
}

/// Every element of array as a record, in order; the first that does not decode fails them all.
template <typename Array, typename Read>
auto readEach(const Array &array, const QString &path, Read read)
{
    using Value = typename Array::value_type;
    using Record = std::decay_t<decltype(read(std::declval<Value>(), path).value())>;
    QList<Record> records;
    records.reserve(array.size());
    qsizetype index = 0;
    for (const auto &element : array) {
        auto record = read(Value(element), json::elementPath(path, index++));
        if (!record.ok())
            return Decoded<QList<Record>>(std::move(record).error());
        records.append(std::move(record).value());
    }
    return Decoded<QList<Record>>(std::move(records));
}

template <typename Value>
Decoded<QList<DeviceDTO>> readEnvelope(const Value &json)
{
    LF_TRY_DECODE(reader, json::readObject(json, {}));
    LF_TRY_DECODE(data, reader.array(u"data"_s));
    return readEach(data, u"data"_s, [](const auto &value, const QString &path) { return readDevice(value, path); });
}

template <typename Value>
Decoded<QList<CameraDTO>> readCameraList(const Value &json)
{
    LF_TRY_DECODE(array, json::asArray(json, {}));
    return readEach(array, {}, [](const auto &value, const QString &path) { return readCamera(value, path); });
}

} // namespace

Decoded<DeviceDTO> DeviceDTO::fromJson(const QJsonValue &json, const QString &path)
{
    return readDevice(json, path);
}

Decoded<CameraDTO> CameraDTO::fromJson(const QJsonValue &json, const QString &path)
{
    return readCamera(json, path);
}

Decoded<Envelope> Envelope::fromJson(const QJsonValue &json)
{
    LF_TRY_DECODE(devices, readEnvelope(json));
    return Envelope{std::move(devices)};
}

QList<UnifiDevice> accessPointsFrom(const QList<DeviceDTO> &devices)
{
    QList<UnifiDevice> result;
    //: Shown in the device list in place of the model of an access point whose controller names none.
    const QString unnamedModel = QCoreApplication::translate("Inventory", "Access Point");
    for (const DeviceDTO &dto : devices) {
        if (dto.type != u"uap"_s)
            continue;
        result.append(UnifiDevice{
            .mac = dto.mac,
            .name = dto.name.value_or(dto.mac),
            .model = dto.model.value_or(unnamedModel),
            .type = dto.type.value_or(u"uap"_s),
            .state = dto.state,
            .ip = dto.ip,
        });
    }
    return result;
}

QList<ProtectCamera> camerasFrom(const QList<CameraDTO> &cameras)
{
    QList<ProtectCamera> result;
    result.reserve(cameras.size());
    //: Shown in the device list in place of the type of a camera whose controller names none.
    const QString unnamedType = QCoreApplication::translate("Inventory", "camera");
    for (const CameraDTO &dto : cameras) {
        result.append(ProtectCamera{
            .id = dto.id,
            .name = dto.name.value_or(dto.id),
            .type = dto.type.value_or(unnamedType),
            .state = dto.state,
        });
    }
    return result;
}

Decoded<QList<ControllerSite>> decodeSites(const QByteArray &body)
{
    LF_TRY_DECODE(document, json::parse(body));
    LF_TRY_DECODE(reader, json::readObject(document, {}));
    LF_TRY_DECODE(data, reader.array(u"data"_s));
    LF_TRY_DECODE(entries, readEach(data, u"data"_s, &readSite));
    QList<ControllerSite> sites;
    for (const std::optional<ControllerSite> &site : entries) {
        if (site)
            sites.append(*site);
    }
    return sites;
}

Decoded<QList<UnifiDevice>> decodeAccessPointsFromDocument(const QByteArray &body)
{
    LF_TRY_DECODE(document, json::parse(body));
    LF_TRY_DECODE(devices, readEnvelope(document));
    return accessPointsFrom(devices);
}

Decoded<QList<ProtectCamera>> decodeCamerasFromDocument(const QByteArray &body)
{
    LF_TRY_DECODE(document, json::parse(body));
    LF_TRY_DECODE(cameras, readCameraList(document));
    return camerasFrom(cameras);
}

std::optional<Decoded<QList<UnifiDevice>>> decodeAccessPointsFast(const QByteArray &body)
{
    const auto document = json::parseFast(body);
    if (!document)
        return std::nullopt;
    auto devices = readEnvelope(*document);
    if (!devices.ok())
        return Decoded<QList<UnifiDevice>>(std::move(devices).error());
    return Decoded<QList<UnifiDevice>>(accessPointsFrom(devices.value()));
}

std::optional<Decoded<QList<ProtectCamera>>> decodeCamerasFast(const QByteArray &body)
{
    const auto document = json::parseFast(body);
    if (!document)
        return std::nullopt;
    auto cameras = readCameraList(*document);
    if (!cameras.ok())
        return Decoded<QList<ProtectCamera>>(std::move(cameras).error());
    return Decoded<QList<ProtectCamera>>(camerasFrom(cameras.value()));
}

Decoded<QList<UnifiDevice>> decodeAccessPoints(const QByteArray &body)
{
    if (auto decoded = decodeAccessPointsFast(body))
        return std::move(*decoded);
    return decodeAccessPointsFromDocument(body);
}

Decoded<QList<ProtectCamera>> decodeCameras(const QByteArray &body)
{
    if (auto decoded = decodeCamerasFast(body))
        return std::move(*decoded);
    return decodeCamerasFromDocument(body);
}

} // namespace lanternfold
