// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace lanternfold::sim {

/// Where the simulator reads the time for everything it measures itself: session expiry, the
/// offline time of restarted devices and cameras, and the login rate-limit window. Latency and
/// hang faults are real timers and do not use it.
using SimClockFunction = std::function<std::chrono::steady_clock::time_point()>;

/// A clock that stands still until a test moves it, so that waiting for a session to expire or a
/// device to come back takes no real time. Copies share one time: hand a copy to the simulator
/// (it converts to SimClockFunction) and keep advancing the original.
class ManualClock
{
public:
    using time_point = std::chrono::steady_clock::time_point;
    using duration = std::chrono::steady_clock::duration;

    explicit ManualClock(time_point start = std::chrono::steady_clock::now())
        : m_now(std::make_shared<time_point>(start))
    {
    }

    [[nodiscard]] time_point now() const { return *m_now; }
    time_point operator()() const { return *m_now; }
    void advance(duration by) { *m_now += by; }
    void set(time_point at) { *m_now = at; }

private:
    std::shared_ptr<time_point> m_now;
};

} // namespace lanternfold::sim
