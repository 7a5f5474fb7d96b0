// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Models/JsonDecoding.h"

#include <QHashFunctions>
#include <QJsonObject>
#include <QString>

#include <optional>

namespace lanternfold {

/// An access point as the program keeps it; built by the inventory decoder.
struct UnifiDevice
{
    QString mac;
    QString name;
    QString model;
    QString type;
    std::optional<qint64> state;
    std::optional<QString> ip;

    [[nodiscard]] const QString &id() const { return mac; }
    /// Online exactly when the controller reports state 1 (connected).
    [[nodiscard]] bool isOnline() const { return state == 1; }

    [[nodiscard]] QJsonObject toJson() const;
    static Decoded<UnifiDevice> fromJson(const QJsonValue &json, const QString &path = {});

    bool operator==(const UnifiDevice &) const = default;
};

size_t qHash(const UnifiDevice &device, size_t seed = 0) noexcept;

} // namespace lanternfold
