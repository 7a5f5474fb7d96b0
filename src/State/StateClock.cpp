// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "State/StateClock.h"

#include <time.h>

namespace lanternfold {

std::chrono::milliseconds StateClock::bootTime()
{
    timespec reading{};
    ::clock_gettime(CLOCK_BOOTTIME, &reading);
    return std::chrono::seconds(reading.tv_sec) +
           std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::nanoseconds(reading.tv_nsec));
}

} // namespace lanternfold
