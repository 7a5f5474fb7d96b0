// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Controller/Inventory.h"
#include "support/FuzzSupport.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <cstddef>
#include <cstdint>

using namespace lanternfold;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::countExecution();
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const auto decoded = decodeCameras(bytes);
    // simdjson and Qt's document parser must agree on every input simdjson decides, errors
    // included, and the whole path with Qt's on every input.
    const auto reference = decodeCamerasFromDocument(bytes);
    if (const auto decided = decodeCamerasFast(bytes); decided && *decided != reference)
        fuzz::roundTripFailed("simdjson and the document parser disagree");
    if (decoded != reference)
        fuzz::roundTripFailed("the decoder and the document parser disagree");
    if (!decoded.ok())
        return 0;
    QJsonArray cameras;
    for (const ProtectCamera &camera : decoded.value())
        cameras.append(camera.toJson());
    const auto again = decodeCameras(QJsonDocument(cameras).toJson());
    if (!again.ok() || again.value() != decoded.value())
        fuzz::roundTripFailed("cameras changed on the way back");
    return 0;
}
