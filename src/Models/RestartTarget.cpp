// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Models/RestartTarget.h"

namespace lanternfold {

using namespace Qt::StringLiterals;

QString toRawValue(RestartTargetKind kind)
{
    switch (kind) {
    case RestartTargetKind::accessPoint:
        return u"accessPoint"_s;
    case RestartTargetKind::camera:
        return u"camera"_s;
    }
    return {};
}

std::optional<RestartTargetKind> restartTargetKindFromRawValue(const QString &raw)
{
    if (raw == u"accessPoint")
        return RestartTargetKind::accessPoint;
    if (raw == u"camera")
        return RestartTargetKind::camera;
    return std::nullopt;
}

QString deviceKey(RestartTargetKind kind, const QString &identifier)
{
    return toRawValue(kind) + u':' + identifier;
}

QJsonObject RestartTarget::toJson() const
{
    return QJsonObject{
        {u"kind"_s, toRawValue(kind)},
        {u"identifier"_s, identifier},
        {u"displayName"_s, displayName},
    };
}

Decoded<RestartTarget> RestartTarget::fromJson(const QJsonValue &json, const QString &path)
{
    LF_TRY_DECODE(object, json::asObject(json, path));
    const json::ObjectReader reader(object, path);
    LF_TRY_DECODE(kindRaw, reader.string(u"kind"_s));
    const auto kind = restartTargetKindFromRawValue(kindRaw);
    if (!kind)
        return json::unknownValue(kindRaw, u"kind"_s, path);
    LF_TRY_DECODE(identifier, reader.string(u"identifier"_s));
    LF_TRY_DECODE(displayName, reader.string(u"displayName"_s));
    return RestartTarget{*kind, identifier, displayName};
}

size_t qHash(const RestartTarget &target, size_t seed) noexcept
{
    return qHashMulti(seed, static_cast<int>(target.kind), target.identifier, target.displayName);
}

} // namespace lanternfold
