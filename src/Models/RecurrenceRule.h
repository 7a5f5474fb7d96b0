// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Models/JsonDecoding.h"

#include <QDateTime>
#include <QJsonObject>
#include <QString>

#include <optional>
#include <set>
#include <variant>

namespace lanternfold {

/// When a scheduled job fires: once, daily, weekly on chosen weekdays, or every N hours.
/// Values the editor never produces (hour 25, weekday 9, interval 0) are carried as they are;
/// the operations turn them into "no date" or odd but harmless text, never into an error.
class RecurrenceRule final
{
public:
    enum class Kind { once, dailyAt, weeklyAt, everyInterval };

    struct Once
    {
        QDateTime date;
        bool operator==(const Once &) const = default;
    };
    struct DailyAt
    {
        qint64 hour = 0;
        qint64 minute = 0;
        bool operator==(const DailyAt &) const = default;
    };
    struct WeeklyAt
    {
        /// 1 = Sunday ... 7 = Saturday; a set, so order and repetitions do not matter.
        std::set<qint64> weekdays;
        qint64 hour = 0;
        qint64 minute = 0;
        bool operator==(const WeeklyAt &) const = default;
    };
    struct EveryInterval
    {
        qint64 hours = 1;
        bool operator==(const EveryInterval &) const = default;
    };
    using Value = std::variant<Once, DailyAt, WeeklyAt, EveryInterval>;

    /// A `once` rule without a date: it never fires.
    RecurrenceRule() = default;
    explicit RecurrenceRule(Value value) : m_value(std::move(value)) {}

    static RecurrenceRule once(const QDateTime &date) { return RecurrenceRule(Once{date}); }
    static RecurrenceRule dailyAt(qint64 hour, qint64 minute) { return RecurrenceRule(DailyAt{hour, minute}); }
    static RecurrenceRule weeklyAt(std::set<qint64> weekdays, qint64 hour, qint64 minute)
    {
        return RecurrenceRule(WeeklyAt{std::move(weekdays), hour, minute});
    }
    static RecurrenceRule everyInterval(qint64 hours) { return RecurrenceRule(EveryInterval{hours}); }

    [[nodiscard]] Kind kind() const { return static_cast<Kind>(m_value.index()); }
    [[nodiscard]] const Value &value() const { return m_value; }

    /// None when a `once` date cannot be written in the jobs file's date form (years 1-9999 UTC).
    [[nodiscard]] std::optional<QJsonObject> toJson() const;
    static Decoded<RecurrenceRule> fromJson(const QJsonValue &json, const QString &path = {});

    bool operator==(const RecurrenceRule &) const = default;

private:
    Value m_value;
};

} // namespace lanternfold
