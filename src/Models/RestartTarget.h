// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Models/JsonDecoding.h"

#include <QHashFunctions>
#include <QJsonObject>
#include <QString>

#include <optional>

namespace lanternfold {

/// Which command family restarts a device.
enum class RestartTargetKind { accessPoint, camera };

QString toRawValue(RestartTargetKind kind);
std::optional<RestartTargetKind> restartTargetKindFromRawValue(const QString &raw);

/// The key that selections in the views and restart targets share: "accessPoint:<mac>", "camera:<id>".
QString deviceKey(RestartTargetKind kind, const QString &identifier);

/// One device to restart, kept inside scheduled jobs with the name it had when it was chosen.
struct RestartTarget
{
    RestartTargetKind kind = RestartTargetKind::accessPoint;
    QString identifier;
    QString displayName;

    [[nodiscard]] QString id() const { return deviceKey(kind, identifier); }

    [[nodiscard]] QJsonObject toJson() const;
    static Decoded<RestartTarget> fromJson(const QJsonValue &json, const QString &path = {});

    bool operator==(const RestartTarget &) const = default;
};

size_t qHash(const RestartTarget &target, size_t seed = 0) noexcept;

} // namespace lanternfold
