// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The preferences file as the pin store reads it (CertTrustService over QSettings): whatever it
// reads as pins must be well formed, answer the look-up of each host, and survive being stored
// again. The input is the whole file.
//
// QSettings decodes every "@Variant(...)" value of the file with QDataStream, which believes the
// lengths it reads: a corrupt one asks malloc for gigabytes. The C library refuses such a request,
// or hands out pages that are never touched, and Qt reads on without the value. ASan is told to
// refuse it (below) rather than grant it: a granted block costs ASan one shadow byte for every
// eight when it is freed, 2.5 GB for a 20 GB block the program never used, which would stop the
// run as if the program had run out of memory. libFuzzer's malloc limit is lifted for this target
// (fuzz_pinstore.flags), so that the request reaches ASan's refusal at all.

#include "Controller/Trust/CertTrustService.h"
#include "support/FuzzSupport.h"

#include <QFile>
#include <QTemporaryDir>

#include <cstddef>
#include <cstdint>

using namespace lanternfold;
using namespace Qt::StringLiterals;

namespace {

/// A file name never used before in this run: QSettings keeps what it read of a file and reads it
/// again only when its size or time changes, which many runs within a millisecond would not do.
QString freshPath()
{
    static QTemporaryDir directory;
    static unsigned long long counter = 0;
    return directory.filePath(u"prefs-%1.conf"_s.arg(++counter));
}

} // namespace

extern "C" const char *__asan_default_options() // NOLINT(bugprone-reserved-identifier)
{
    return "allocator_may_return_null=1:max_allocation_size_mb=1024";
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::countExecution();
    const QString path = freshPath();
    {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly))
            return 0;
        file.write(reinterpret_cast<const char *>(data), static_cast<qint64>(size));
    }
    QHash<QString, QString> pins;
    {
        const CertTrustService store(path);
        pins = store.pins();
        for (auto it = pins.cbegin(); it != pins.cend(); ++it) {
            if (store.pinnedFingerprint(it.key()) != it.value())
                fuzz::invariantBroken("a host's pin differs from the list of pins");
        }
        if (CertTrustService(path).pins() != pins)
            fuzz::invariantBroken("the same file read twice gave two pin lists");
    }
    QFile::remove(path);
    // Stored again, pin by pin, into a file of their own, they read back the same.
    if (pins.size() > 16)
        return 0;
    const QString copyPath = freshPath();
    {
        CertTrustService copy(copyPath);
        for (auto it = pins.cbegin(); it != pins.cend(); ++it)
            copy.pin(it.key(), it.value());
        if (copy.pins() != pins)
            fuzz::roundTripFailed("pins changed on the way back");
        if (!pins.isEmpty()) {
            const QString host = pins.cbegin().key();
            copy.removePin(host);
            QHash<QString, QString> rest = pins;
            rest.remove(host);
            if (copy.pins() != rest)
                fuzz::invariantBroken("removing one pin changed others");
        }
    }
    QFile::remove(copyPath);
    return 0;
}
