// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// Decodes arbitrary bytes as one recurrence rule object with the real decoder; whatever
// decodes must encode and decode back to an equal rule, and nextRun and summary must finish
// on it in zones with half-hour, midnight and ordinary daylight-saving changes.
#include "Models/JsonDecoding.h"
#include "Schedules/RecurrenceRuleNextRun.h"
#include "support/FuzzSupport.h"

#include <QDateTime>
#include <QJsonDocument>

#include <cstddef>
#include <cstdint>

using namespace lanternfold;

namespace {

const Calendar &calendarFor(uint8_t pick)
{
    static const Calendar calendars[] = {
        {QTimeZone("America/New_York"), QLocale(QLocale::English, QLocale::UnitedStates)},
        {QTimeZone("Australia/Lord_Howe"), QLocale(QLocale::German, QLocale::Germany)},
        {QTimeZone("Africa/Cairo"), QLocale(QLocale::English, QLocale::UnitedStates)},
    };
    return calendars[pick % std::size(calendars)];
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::countExecution();

    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const auto json = json::parse(bytes);
    if (!json.ok())
        return 0;
    const auto rule = RecurrenceRule::fromJson(json.value());
    if (!rule.ok())
        return 0;

    // Every decoded date lies in years 1-9999, so encoding cannot fail.
    const auto encoded = rule.value().toJson();
    if (!encoded)
        fuzz::roundTripFailed("a decoded rule did not encode");
    const auto again = RecurrenceRule::fromJson(QJsonDocument::fromJson(QJsonDocument(*encoded).toJson()).object());
    if (!again.ok() || !(again.value() == rule.value()))
        fuzz::roundTripFailed("the rule changed on the way back");

    const Calendar &calendar = calendarFor(size > 0 ? data[size - 1] : 0);
    const QDateTime after = QDateTime::fromSecsSinceEpoch(1711846800 + static_cast<qint64>(size) * 7919, Qt::UTC);
    const auto next = nextRun(rule.value(), after, calendar);
    if (next && (*next <= after || next->toSecsSinceEpoch() > 253402300799))
        fuzz::roundTripFailed("nextRun gave a date not strictly later, or past 9999");
    (void)summary(rule.value(), calendar);
    return 0;
}
