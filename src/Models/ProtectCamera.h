// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Models/JsonDecoding.h"

#include <QHashFunctions>
#include <QJsonObject>
#include <QString>

#include <optional>

namespace lanternfold {

/// A Protect camera as the program keeps it; built by the inventory decoder.
struct ProtectCamera
{
    QString id;
    QString name;
    QString type;
    std::optional<QString> state;

    /// Online exactly when Protect reports "CONNECTED" (case matters).
    [[nodiscard]] bool isOnline() const;

    [[nodiscard]] QJsonObject toJson() const;
    static Decoded<ProtectCamera> fromJson(const QJsonValue &json, const QString &path = {});

    bool operator==(const ProtectCamera &) const = default;
};

size_t qHash(const ProtectCamera &camera, size_t seed = 0) noexcept;

} // namespace lanternfold
