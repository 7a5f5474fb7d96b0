// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Models/ControllerSite.h"
#include "Models/JsonDecoding.h"
#include "Models/ProtectCamera.h"
#include "Models/UnifiDevice.h"

#include <QByteArray>
#include <QList>

#include <optional>

namespace lanternfold {

/// One entry of a stat/device answer, exactly as the controller sends it.
struct DeviceDTO
{
    QString mac;
    std::optional<QString> name;
    std::optional<QString> model;
    std::optional<QString> type;
    std::optional<qint64> state;
    std::optional<QString> ip;

    static Decoded<DeviceDTO> fromJson(const QJsonValue &json, const QString &path);
    bool operator==(const DeviceDTO &) const = default;
};

/// One element of Protect's bare camera array.
struct CameraDTO
{
    QString id;
    std::optional<QString> name;
    std::optional<QString> type;
    std::optional<QString> state;

    static Decoded<CameraDTO> fromJson(const QJsonValue &json, const QString &path);
    bool operator==(const CameraDTO &) const = default;
};

/// The {"meta": ..., "data": [...]} wrapper of the Network application's answers.
struct Envelope
{
    QList<DeviceDTO> data;

    static Decoded<Envelope> fromJson(const QJsonValue &json);
};

/// Keeps only the entries of type "uap", in the order received, with the record's defaults
/// for a missing name or model.
QList<UnifiDevice> accessPointsFrom(const QList<DeviceDTO> &devices);
QList<ProtectCamera> camerasFrom(const QList<CameraDTO> &cameras);

/// Response bytes of stat/device to the access points it lists, or why they could not be read.
/// simdjson reads the bytes; Qt's parser reads only what simdjson refuses, to word the error.
Decoded<QList<UnifiDevice>> decodeAccessPoints(const QByteArray &body);
/// Response bytes of Protect's camera list to cameras, or why they could not be read.
Decoded<QList<ProtectCamera>> decodeCameras(const QByteArray &body);

/// Response bytes of self/sites to the sites the account may use, in the order received. Sites the
/// controller marks hidden (attr_hidden) are left out: they hold no devices of their own.
Decoded<QList<ControllerSite>> decodeSites(const QByteArray &body);

/// The same decoders through simdjson alone: nothing when they hand the bytes to Qt's parser (see
/// json::parseFast). Tests use them to see which path decided.
std::optional<Decoded<QList<UnifiDevice>>> decodeAccessPointsFast(const QByteArray &body);
std::optional<Decoded<QList<ProtectCamera>>> decodeCamerasFast(const QByteArray &body);

/// The same decoders through Qt's document parser alone. They decide what simdjson refuses, and
/// tests and fuzzing compare them with the simdjson path.
Decoded<QList<UnifiDevice>> decodeAccessPointsFromDocument(const QByteArray &body);
Decoded<QList<ProtectCamera>> decodeCamerasFromDocument(const QByteArray &body);

} // namespace lanternfold
