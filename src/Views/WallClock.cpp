// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Views/WallClock.h"

#include "Models/RecurrenceRule.h"
#include "Schedules/RecurrenceRuleNextRun.h"

namespace lanternfold {

QDateTime wallClockReading(const QDateTime &instant, const Calendar &calendar)
{
    if (!instant.isValid())
        return {};
    const int offset = calendar.timeZone.isValid() ? calendar.timeZone.offsetFromUtc(instant) : 0;
    const QDateTime wall = instant.toUTC().addSecs(offset);
    return QDateTime(wall.date(), wall.time(), Qt::UTC);
}

std::optional<QDateTime> instantAtWallClock(QDate date, int hour, int minute, const Calendar &calendar)
{
    if (!date.isValid())
        return std::nullopt;
    // The daily search finds the first hour:minute strictly after its starting point; starting
    // just before the day begins makes that the day's own hour:minute.
    const QDateTime dayStart = date.startOfDay(calendar.timeZone);
    if (!dayStart.isValid())
        return std::nullopt;
    return nextRun(RecurrenceRule::dailyAt(hour, minute), dayStart.addMSecs(-1), calendar);
}

} // namespace lanternfold
