// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Models/JsonDecoding.h"

#include <QJsonObject>
#include <QString>
#include <QUrl>

namespace lanternfold {

/// The two controller flavours; they pick the login paths and the path prefixes.
enum class ControllerKind { unifiOS, classic };

QString toRawValue(ControllerKind kind);
std::optional<ControllerKind> controllerKindFromRawValue(const QString &raw);

/// How to reach the controller: everything but the password, which lives only in the keyring.
struct ControllerConfig
{
    QString host;
    qint64 port = 443;
    ControllerKind kind = ControllerKind::unifiOS;
    QString username;
    QString site;

    /// https://host:port with no path; a never-resolvable placeholder when host and port do not
    /// form a URL, so that requests fail in the network layer instead of going somewhere else.
    [[nodiscard]] QUrl baseURL() const;

    [[nodiscard]] QJsonObject toJson() const;
    static Decoded<ControllerConfig> fromJson(const QJsonValue &json, const QString &path = {});

    bool operator==(const ControllerConfig &) const = default;
};

/// The reserved host (.invalid never resolves) that stands in for a configuration with no usable URL.
QUrl placeholderBaseURL();

} // namespace lanternfold
