// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QDate>
#include <QDateTime>
#include <QLocale>
#include <QString>
#include <QStringList>
#include <QTimeZone>

namespace lanternfold {

/// The time zone and locale that schedules are computed and shown in: the program passes the
/// system's, tests pass explicit ones so that results never depend on the machine.
struct Calendar
{
    QTimeZone timeZone;
    QLocale locale;

    /// The user's current zone and locale, read afresh on every call.
    static Calendar current();
};

/// The weekday numbers of rules, the editor and the jobs file: 1 = Sunday ... 7 = Saturday.
/// QDate counts from Monday; this is the one place where the two meet.
int weekdayNumber(QDate date);

/// Styles of the locale's date and time layouts; `none` leaves that half out.
enum class FormatStyle { none, shortStyle, mediumStyle };

/// An instant laid out in the calendar's locale. QTimeZone (the system's tz database) turns the
/// instant into wall-clock time; ICU only lays that wall time out, because ICU's own zone data
/// is older than the system's and would give other hours in zones that changed since.
/// Empty for an invalid instant or when ICU cannot format.
QString formatDateTime(const QDateTime &instant, const Calendar &calendar, FormatStyle dateStyle,
                       FormatStyle timeStyle);

/// The locale's abbreviated weekday names ("Sun", "Mon"...; "So.", "Mo."... in German), Sunday
/// first, so that weekday number n is at index n - 1. Empty when ICU cannot give them.
QStringList shortWeekdaySymbols(const Calendar &calendar);

} // namespace lanternfold
