// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// Decodes arbitrary bytes as a whole jobs file with the store's real decoder; whatever decodes
// must encode and decode back to an equal job list.
#include "Schedules/ScheduleStore.h"
#include "support/FuzzSupport.h"

#include <cstddef>
#include <cstdint>

using namespace lanternfold;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::countExecution();

    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const auto jobs = ScheduleStore::decode(bytes);
    if (!jobs.ok())
        return 0;
    const auto encoded = ScheduleStore::encode(jobs.value());
    if (!encoded)
        fuzz::roundTripFailed("a decoded job list did not encode");
    const auto again = ScheduleStore::decode(*encoded);
    if (!again.ok() || again.value() != jobs.value())
        fuzz::roundTripFailed("the jobs changed on the way back");
    // Writing is deterministic: the second encoding is the same text.
    if (ScheduleStore::encode(again.value()) != encoded)
        fuzz::roundTripFailed("encoding the same jobs twice gave different text");
    return 0;
}
