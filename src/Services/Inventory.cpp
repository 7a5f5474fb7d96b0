#include "Services/Inventory.h"

#include "Models/JsonRecordScanner.h"

namespace lanternfold {

using namespace Qt::StringLiterals;

Decoded<DeviceDTO> DeviceDTO::fromJson(const QJsonValue &json, const QString &path)
{
    LF_TRY_DECODE(object, json::asObject(json, path));
    const json::ObjectReader reader(object, path);
    LF_TRY_DECODE(mac, reader.string(u"mac"_s));
    LF_TRY_DECODE(name, reader.optionalString(u"name"_s));
    LF_TRY_DECODE(model, reader.optionalString(u"model"_s));
    LF_TRY_DECODE(type, reader.optionalString(u"type"_s));
    LF_TRY_DECODE(state, reader.optionalInteger(u"state"_s));
    LF_TRY_DECODE(ip, reader.optionalString(u"ip"_s));
    return DeviceDTO{mac, name, model, type, state, ip};
}

Decoded<CameraDTO> CameraDTO::fromJson(const QJsonValue &json, const QString &path)
{
    LF_TRY_DECODE(object, json::asObject(json, path));
    const json::ObjectReader reader(object, path);
    LF_TRY_DECODE(id, reader.string(u"id"_s));
    LF_TRY_DECODE(name, reader.optionalString(u"name"_s));
    LF_TRY_DECODE(type, reader.optionalString(u"type"_s));
    LF_TRY_DECODE(state, reader.optionalString(u"state"_s));
    return CameraDTO{id, name, type, state};
}

Decoded<Envelope> Envelope::fromJson(const QJsonValue &json)
{
    LF_TRY_DECODE(object, json::asObject(json, {}));
    LF_TRY_DECODE(array, json::ObjectReader(object, {}).array(u"data"_s));
    Envelope envelope;
    envelope.data.reserve(array.size());
    for (qsizetype i = 0; i < array.size(); ++i) {
        LF_TRY_DECODE(device, DeviceDTO::fromJson(array.at(i), json::elementPath(u"data"_s, i)));
        envelope.data.append(std::move(device));
    }
    return envelope;
}

QList<UnifiDevice> accessPointsFrom(const QList<DeviceDTO> &devices)
{
    QList<UnifiDevice> result;
    for (const DeviceDTO &dto : devices) {
        if (dto.type != u"uap"_s)
            continue;
        result.append(UnifiDevice{
            .mac = dto.mac,
            .name = dto.name.value_or(dto.mac),
            .model = dto.model.value_or(u"Access Point"_s),
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
    for (const CameraDTO &dto : cameras) {
        result.append(ProtectCamera{
            .id = dto.id,
            .name = dto.name.value_or(dto.id),
            .type = dto.type.value_or(u"camera"_s),
            .state = dto.state,
        });
    }
    return result;
}

namespace {

/// Decodes the records the scanner found; nothing when one of them does not decode, so that the
/// document parser reports the error exactly as it would have.
template <typename DTO>
std::optional<QList<DTO>> decodeScanned(const QByteArray &body, const QString &arrayKey, const QStringList &keys)
{
    const auto records = json::scanRecords(body, arrayKey, keys);
    if (!records)
        return std::nullopt;
    QList<DTO> result;
    result.reserve(records->size());
    for (qsizetype i = 0; i < records->size(); ++i) {
        auto dto = DTO::fromJson(records->at(i), json::elementPath(arrayKey, i));
        if (!dto.ok())
            return std::nullopt;
        result.append(std::move(dto).value());
    }
    return result;
}

} // namespace

Decoded<QList<UnifiDevice>> decodeAccessPointsFromDocument(const QByteArray &body)
{
    LF_TRY_DECODE(document, json::parse(body));
    LF_TRY_DECODE(envelope, Envelope::fromJson(document));
    return accessPointsFrom(envelope.data);
}

Decoded<QList<ProtectCamera>> decodeCamerasFromDocument(const QByteArray &body)
{
    LF_TRY_DECODE(document, json::parse(body));
    LF_TRY_DECODE(array, json::asArray(document, {}));
    QList<CameraDTO> cameras;
    cameras.reserve(array.size());
    for (qsizetype i = 0; i < array.size(); ++i) {
        LF_TRY_DECODE(camera, CameraDTO::fromJson(array.at(i), json::elementPath({}, i)));
        cameras.append(std::move(camera));
    }
    return camerasFrom(cameras);
}

Decoded<QList<UnifiDevice>> decodeAccessPoints(const QByteArray &body)
{
    static const QStringList keys{u"mac"_s, u"name"_s, u"model"_s, u"type"_s, u"state"_s, u"ip"_s};
    if (const auto devices = decodeScanned<DeviceDTO>(body, u"data"_s, keys))
        return accessPointsFrom(*devices);
    return decodeAccessPointsFromDocument(body);
}

Decoded<QList<ProtectCamera>> decodeCameras(const QByteArray &body)
{
    static const QStringList keys{u"id"_s, u"name"_s, u"type"_s, u"state"_s};
    if (const auto cameras = decodeScanned<CameraDTO>(body, QString(), keys))
        return camerasFrom(*cameras);
    return decodeCamerasFromDocument(body);
}

} // namespace lanternfold
