// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

// The editor's pickers show and take wall-clock times in the calendar's zone, while jobs hold
// instants. Qt 6.4 cannot hand a QDateTimeEdit a time zone, so the pickers work on the wall
// reading written as if it were UTC, and these two functions cross between the two.
#include "Schedules/Calendar.h"

#include <QDate>
#include <QDateTime>

#include <optional>

namespace lanternfold {

/// What the calendar's clock shows at instant, as a UTC date and time (no zone arithmetic left).
[[nodiscard]] QDateTime wallClockReading(const QDateTime &instant, const Calendar &calendar);

/// The instant at which the calendar's clock first shows date at hour:minute:00. A time the clock
/// skips becomes the next one that exists, keeping the minute; a repeated time is its first
/// occurrence; the same policy as the schedules' own next-run search, which it uses. None when
/// no such instant can be formed (values out of range, or past the jobs file's last date).
[[nodiscard]] std::optional<QDateTime> instantAtWallClock(QDate date, int hour, int minute, const Calendar &calendar);

} // namespace lanternfold
