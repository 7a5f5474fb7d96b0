// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Async/Sleep.h"
#include "Schedules/Calendar.h"

#include <QDateTime>

#include <QCoroTask>

#include <chrono>
#include <functional>
#include <memory>

namespace lanternfold {

class Latch;

/// Where the state, its jobs and its scheduler take the time, the calendar and the pauses between
/// restarts from. The timers only prompt; tests pass fixed instants and pauses that return at once.
struct StateClock
{
    /// Waits duration, or less when cancel is set first; true when it all passed.
    using Pause = std::function<QCoro::Task<bool>(std::chrono::seconds, std::shared_ptr<Latch>)>;

    std::function<QDateTime()> now = [] { return QDateTime::currentDateTimeUtc(); };
    /// Time since boot, counting time spent suspended (CLOCK_BOOTTIME): it moves with the wall
    /// clock except when somebody sets the wall clock.
    std::function<std::chrono::milliseconds()> sinceBoot = bootTime;
    std::function<Calendar()> calendar = [] { return Calendar::current(); };
    Pause pause = sleepFor;

    static std::chrono::milliseconds bootTime();
};

} // namespace lanternfold
