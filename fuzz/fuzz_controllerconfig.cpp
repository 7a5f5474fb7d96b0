// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Models/ControllerConfig.h"
#include "support/FuzzSupport.h"

#include <QJsonDocument>

#include <cstddef>
#include <cstdint>

using namespace lanternfold;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::countExecution();
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const auto document = json::parse(bytes);
    if (!document.ok())
        return 0;
    const auto decoded = ControllerConfig::fromJson(document.value());
    if (!decoded.ok())
        return 0;
    (void)decoded.value().baseURL(); // must never fail, whatever the host and port
    const QByteArray encoded = QJsonDocument(decoded.value().toJson()).toJson(QJsonDocument::Compact);
    const auto again = json::parse(encoded);
    if (!again.ok())
        fuzz::roundTripFailed("encoded configuration is not JSON");
    const auto redecoded = ControllerConfig::fromJson(again.value());
    if (!redecoded.ok() || !(redecoded.value() == decoded.value()))
        fuzz::roundTripFailed("configuration changed on the way back");
    return 0;
}
