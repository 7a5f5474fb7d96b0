// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Models/ProtectCamera.h"

namespace lanternfold {

using namespace Qt::StringLiterals;

bool ProtectCamera::isOnline() const
{
    return state == u"CONNECTED"_s;
}

QJsonObject ProtectCamera::toJson() const
{
    QJsonObject object{{u"id"_s, id}, {u"name"_s, name}, {u"type"_s, type}};
    if (state)
        object.insert(u"state"_s, *state);
    return object;
}

Decoded<ProtectCamera> ProtectCamera::fromJson(const QJsonValue &json, const QString &path)
{
    LF_TRY_DECODE(object, json::asObject(json, path));
    const json::ObjectReader reader(object, path);
    LF_TRY_DECODE(id, reader.string(u"id"_s));
    LF_TRY_DECODE(name, reader.string(u"name"_s));
    LF_TRY_DECODE(type, reader.string(u"type"_s));
    LF_TRY_DECODE(state, reader.optionalString(u"state"_s));
    return ProtectCamera{id, name, type, state};
}

size_t qHash(const ProtectCamera &camera, size_t seed) noexcept
{
    return qHashMulti(seed, camera.id, camera.name, camera.type, camera.state.value_or(QString()),
                      camera.state.has_value());
}

} // namespace lanternfold
