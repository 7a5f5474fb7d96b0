// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Async/Sleep.h"

#include "Async/Latch.h"

#include <QTimer>

#include <algorithm>

namespace lanternfold {

namespace {

/// One timer's worth of waiting; a QTimer holds at most about 24 days.
QCoro::Task<void> sleepOnce(std::chrono::milliseconds duration, std::shared_ptr<Latch> cancel)
{
    QTimer timer;
    timer.setSingleShot(true);
    timer.setTimerType(Qt::PreciseTimer);
    Wakeup wakeup;
    wakeup.watch(*cancel);
    wakeup.watch(&timer, &QTimer::timeout);
    timer.start(duration);
    co_await wakeup.wait();
}

} // namespace

QCoro::Task<bool> sleepFor(std::chrono::milliseconds duration, std::shared_ptr<Latch> cancel)
{
    constexpr std::chrono::milliseconds step = std::chrono::hours(24);
    do {
        const std::chrono::milliseconds chunk = std::clamp(duration, std::chrono::milliseconds(0), step);
        co_await sleepOnce(chunk, cancel);
        duration -= chunk;
    } while (duration.count() > 0 && !cancel->isSet());
    co_return !cancel->isSet();
}

} // namespace lanternfold
