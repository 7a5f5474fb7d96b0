// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

// What a rule means on a calendar: when it fires next and how the schedule list shows it. These
// need the time zone and locale of Schedules/Calendar.h, which the record in Models must not
// depend on, so they are free functions here rather than members of RecurrenceRule.
#include "Models/RecurrenceRule.h"
#include "Schedules/Calendar.h"

#include <QDateTime>
#include <QString>

#include <optional>

namespace lanternfold {

/// The next moment strictly after `after` at which the rule fires, in UTC; none if it never
/// fires again or only after 9999-12-31T23:59:59Z.
[[nodiscard]] std::optional<QDateTime> nextRun(const RecurrenceRule &rule, const QDateTime &after,
                                               const Calendar &calendar);

/// The one-line text of the schedule list ("Daily at 07:30", "Weekly on Mon, Fri at 07:05").
[[nodiscard]] QString summary(const RecurrenceRule &rule, const Calendar &calendar);

} // namespace lanternfold
