#include "Services/Inventory.h"
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
    // The fast scan and the document parser must agree on every input, errors included.
    if (decoded != decodeAccessPointsFromDocument(bytes))
        fuzz::roundTripFailed("fast scan and document parser disagree");
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
