// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QCoroTask>

#include <chrono>
#include <memory>

namespace lanternfold {

class Latch;

/// Waits for duration, or less when cancel is set first; true when the whole time passed. Any
/// length a jobs file may ask for: the wait goes on in steps that a timer can hold.
QCoro::Task<bool> sleepFor(std::chrono::milliseconds duration, std::shared_ptr<Latch> cancel);

} // namespace lanternfold
