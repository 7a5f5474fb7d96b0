// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Schedules/RecurrenceRuleNextRun.h"

#include "Models/JsonDate.h"

#include <QCoreApplication>
#include <QStringList>

#include <algorithm>

namespace lanternfold {

using namespace Qt::StringLiterals;

// Qt 6.4 turns a skipped wall-clock time into an invalid QDateTime and a repeated one into its
// second occurrence, and QDateTime::addDays() on a zoned time misbehaves next to a gap. So all
// arithmetic here is on plain numbers: "wall seconds" count the zone's clock as if it were UTC
// (seconds since 1970-01-01T00:00 local), instants count real seconds, and QTimeZone is asked
// only for its offset at an instant.
namespace {

constexpr qint64 secondsPerDay = 86400;
constexpr qint64 secondsPerHour = 3600;
constexpr qint64 unixEpochJulianDay = 2440588;
// Looking further than this for a wall time that exists is pointless: no zone has ever skipped
// more than a day.
constexpr int maxHoursSkipped = 48;
// A weekly rule fires within seven days of its day; one more covers a time pushed past
// midnight by a gap, and the day before `after` is looked at for the same reason.
constexpr qint64 daysSearched = 9;

qint64 floorDivide(qint64 value, qint64 divisor)
{
    return value / divisor - (value % divisor < 0 ? 1 : 0);
}

qint64 offsetAt(const QTimeZone &zone, qint64 instant)
{
    return zone.offsetFromUtc(QDateTime::fromSecsSinceEpoch(instant, Qt::UTC));
}

/// The earliest instant at which the zone's clock shows `wall`, or none inside a gap. Offsets
/// are sampled a day either side: every instant showing `wall` lies within 14 hours of it, so
/// with at most one change in those two days the samples include the offset in force there.
/// A candidate counts only if the zone confirms its offset at that very instant.
std::optional<qint64> firstInstantShowing(const QTimeZone &zone, qint64 wall)
{
    std::optional<qint64> earliest;
    qint64 tried[3] = {};
    int triedCount = 0;
    for (const qint64 probe : {wall - secondsPerDay, wall, wall + secondsPerDay}) {
        const qint64 offset = offsetAt(zone, probe);
        if (std::find(tried, tried + triedCount, offset) != tried + triedCount)
            continue;
        tried[triedCount++] = offset;
        const qint64 instant = wall - offset;
        if (offsetAt(zone, instant) == offset && (!earliest || instant < *earliest))
            earliest = instant;
    }
    return earliest;
}

/// When the clock skips `wall`, the next time that exists and keeps the minute: 02:30 on New
/// York's spring day becomes 03:30, 02:15 on Lord Howe's (02:00 jumps to 02:30) becomes 03:15.
std::optional<qint64> resolveWallTime(const QTimeZone &zone, qint64 wall)
{
    for (int hours = 0; hours <= maxHoursSkipped; ++hours) {
        if (const auto instant = firstInstantShowing(zone, wall + hours * secondsPerHour))
            return instant;
    }
    return std::nullopt;
}

/// The next day at hour:minute strictly after `afterMSecs` (on one of `weekdays`, if given).
/// Only the first occurrence of a repeated time is a candidate, so asking between the two
/// 01:30s of a fall-back night moves on to the next day instead of firing twice.
std::optional<QDateTime> nextWallClockMatch(const QTimeZone &zone, qint64 afterMSecs, qint64 hour, qint64 minute,
                                            const std::set<qint64> *weekdays)
{
    if (hour < 0 || hour > 23 || minute < 0 || minute > 59)
        return std::nullopt;
    const qint64 afterSeconds = floorDivide(afterMSecs, 1000);
    if (afterSeconds >= json::latestDateSeconds())
        return std::nullopt;
    const qint64 today = floorDivide(afterSeconds + offsetAt(zone, afterSeconds), secondsPerDay);
    for (qint64 day = today - 1; day <= today + daysSearched - 1; ++day) {
        if (weekdays && !weekdays->contains(weekdayNumber(QDate::fromJulianDay(day + unixEpochJulianDay))))
            continue;
        const auto instant = resolveWallTime(zone, day * secondsPerDay + hour * secondsPerHour + minute * 60);
        if (!instant || *instant * 1000 <= afterMSecs)
            continue;
        // Later days only give later instants.
        if (*instant > json::latestDateSeconds())
            return std::nullopt;
        return QDateTime::fromSecsSinceEpoch(*instant, Qt::UTC);
    }
    return std::nullopt;
}

QString twoDigits(qint64 value)
{
    return QString::asprintf("%02lld", static_cast<long long>(value));
}

} // namespace

std::optional<QDateTime> nextRun(const RecurrenceRule &rule, const QDateTime &after, const Calendar &calendar)
{
    if (!after.isValid())
        return std::nullopt;
    const qint64 afterMSecs = after.toMSecsSinceEpoch();
    const qint64 latestMSecs = json::latestDateSeconds() * 1000;

    if (const auto *once = std::get_if<RecurrenceRule::Once>(&rule.value())) {
        if (!once->date.isValid() || once->date <= after || once->date.toMSecsSinceEpoch() > latestMSecs)
            return std::nullopt;
        return once->date.toUTC();
    }
    if (const auto *daily = std::get_if<RecurrenceRule::DailyAt>(&rule.value()))
        return nextWallClockMatch(calendar.timeZone, afterMSecs, daily->hour, daily->minute, nullptr);
    if (const auto *weekly = std::get_if<RecurrenceRule::WeeklyAt>(&rule.value())) {
        if (weekly->weekdays.empty())
            return std::nullopt;
        return nextWallClockMatch(calendar.timeZone, afterMSecs, weekly->hour, weekly->minute, &weekly->weekdays);
    }
    const auto &interval = std::get<RecurrenceRule::EveryInterval>(rule.value());
    // An absolute interval, not calendar hours: the spacing holds across clock changes.
    constexpr qint64 msecsPerHour = secondsPerHour * 1000;
    if (interval.hours < 1 || afterMSecs > latestMSecs || interval.hours > (latestMSecs - afterMSecs) / msecsPerHour)
        return std::nullopt;
    return QDateTime::fromMSecsSinceEpoch(afterMSecs + interval.hours * msecsPerHour, Qt::UTC);
}

QString summary(const RecurrenceRule &rule, const Calendar &calendar)
{
    if (const auto *once = std::get_if<RecurrenceRule::Once>(&rule.value())) {
        //: A schedule that runs once; %1 is its date and time, already in the locale's format.
        return QCoreApplication::translate("RecurrenceRule", "Once, on %1")
            .arg(formatDateTime(once->date, calendar, FormatStyle::mediumStyle, FormatStyle::shortStyle));
    }
    if (const auto *daily = std::get_if<RecurrenceRule::DailyAt>(&rule.value())) {
        //: A schedule that runs every day; %1 is the hour (00-23), %2 the minute, both of two digits.
        return QCoreApplication::translate("RecurrenceRule", "Daily at %1:%2")
            .arg(twoDigits(daily->hour), twoDigits(daily->minute));
    }
    if (const auto *weekly = std::get_if<RecurrenceRule::WeeklyAt>(&rule.value())) {
        const QStringList symbols = shortWeekdaySymbols(calendar);
        QStringList days;
        for (const qint64 weekday : weekly->weekdays) { // ascending: std::set
            const bool known = weekday >= 1 && weekday <= symbols.size();
            days.append(known ? symbols.at(static_cast<qsizetype>(weekday - 1)) : u"?"_s);
        }
        //: A schedule that runs on some weekdays; %1 lists the days (abbreviated, comma-separated), %2 is the
        //: hour (00-23), %3 the minute, both of two digits.
        return QCoreApplication::translate("RecurrenceRule", "Weekly on %1 at %2:%3")
            .arg(days.join(u", "_s), twoDigits(weekly->hour), twoDigits(weekly->minute));
    }
    const auto &interval = std::get<RecurrenceRule::EveryInterval>(rule.value());
    if (interval.hours == 1)
        //: A schedule that runs every hour; %1 is 1.
        return QCoreApplication::translate("RecurrenceRule", "Every %1 hour").arg(interval.hours);
    //: A schedule that runs every few hours; %1 is their number.
    return QCoreApplication::translate("RecurrenceRule", "Every %1 hours").arg(interval.hours);
}

} // namespace lanternfold
