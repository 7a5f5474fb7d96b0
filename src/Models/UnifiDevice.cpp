// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Models/UnifiDevice.h"

namespace lanternfold {

using namespace Qt::StringLiterals;

QJsonObject UnifiDevice::toJson() const
{
    QJsonObject object{{u"mac"_s, mac}, {u"name"_s, name}, {u"model"_s, model}, {u"type"_s, type}};
    if (state)
        object.insert(u"state"_s, *state);
    if (ip)
        object.insert(u"ip"_s, *ip);
    return object;
}

Decoded<UnifiDevice> UnifiDevice::fromJson(const QJsonValue &json, const QString &path)
{
    LF_TRY_DECODE(object, json::asObject(json, path));
    const json::ObjectReader reader(object, path);
    LF_TRY_DECODE(mac, reader.string(u"mac"_s));
    LF_TRY_DECODE(name, reader.string(u"name"_s));
    LF_TRY_DECODE(model, reader.string(u"model"_s));
    LF_TRY_DECODE(type, reader.string(u"type"_s));
    LF_TRY_DECODE(state, reader.optionalInteger(u"state"_s));
    LF_TRY_DECODE(ip, reader.optionalString(u"ip"_s));
    return UnifiDevice{mac, name, model, type, state, ip};
}

size_t qHash(const UnifiDevice &device, size_t seed) noexcept
{
    return qHashMulti(seed, device.mac, device.name, device.model, device.type, device.state.value_or(-1),
                      device.state.has_value(), device.ip.value_or(QString()), device.ip.has_value());
}

} // namespace lanternfold
