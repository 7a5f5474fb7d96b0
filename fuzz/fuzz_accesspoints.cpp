// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Controller/Inventory.h"
#include "support/FuzzSupport.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <cstddef>
#include <cstdint>

using namespace lanternfold;
using namespace Qt::StringLiterals;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::countExecution();
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const auto decoded = decodeAccessPoints(bytes);
    // simdjson and Qt's document parser must agree on every input simdjson decides, errors
    // included, and the whole path with Qt's on every input.
    const auto reference = decodeAccessPointsFromDocument(bytes);
    if (const auto decided = decodeAccessPointsFast(bytes); decided && *decided != reference)
        fuzz::roundTripFailed("simdjson and the document parser disagree");
    if (decoded != reference)
        fuzz::roundTripFailed("the decoder and the document parser disagree");
    // A buffer with room after its data is read in place rather than copied: the same answer.
    QByteArray roomy;
    roomy.reserve(bytes.size() + 64);
    roomy.append(bytes);
    if (decodeAccessPoints(roomy) != decoded)
        fuzz::roundTripFailed("a buffer read in place decodes otherwise");
    if (!decoded.ok())
        return 0;
    // Whatever decodes, written back as a controller would send it, must decode to the same list.
    QJsonArray devices;
    for (const UnifiDevice &device : decoded.value())
        devices.append(device.toJson());
    const QByteArray encoded =
        QJsonDocument(QJsonObject{{u"meta"_s, QJsonObject{{u"rc"_s, u"ok"_s}}}, {u"data"_s, devices}}).toJson();
    const auto again = decodeAccessPoints(encoded);
    if (!again.ok() || again.value() != decoded.value())
        fuzz::roundTripFailed("access points changed on the way back");
    return 0;
}
