// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Models/RecurrenceRule.h"

#include "Models/JsonDate.h"

#include <QJsonArray>

namespace lanternfold {

using namespace Qt::StringLiterals;

namespace {

// Overload set for std::visit over the rule's cases.
template <class... Fs>
struct Overloaded : Fs...
{
    using Fs::operator()...;
};
template <class... Fs>
Overloaded(Fs...) -> Overloaded<Fs...>;

} // namespace

std::optional<QJsonObject> RecurrenceRule::toJson() const
{
    return std::visit(
        Overloaded{
            [](const Once &rule) -> std::optional<QJsonObject> {
                const auto date = json::formatDate(rule.date);
                if (!date)
                    return std::nullopt;
                return QJsonObject{{u"type"_s, u"once"_s}, {u"date"_s, *date}};
            },
            [](const DailyAt &rule) -> std::optional<QJsonObject> {
                return QJsonObject{{u"type"_s, u"daily"_s}, {u"hour"_s, rule.hour}, {u"minute"_s, rule.minute}};
            },
            [](const WeeklyAt &rule) -> std::optional<QJsonObject> {
                // std::set iterates in ascending order, so the file lists weekdays sorted.
                QJsonArray weekdays;
                for (const qint64 weekday : rule.weekdays)
                    weekdays.append(weekday);
                return QJsonObject{{u"type"_s, u"weekly"_s},
                                   {u"weekdays"_s, weekdays},
                                   {u"hour"_s, rule.hour},
                                   {u"minute"_s, rule.minute}};
            },
            [](const EveryInterval &rule) -> std::optional<QJsonObject> {
                return QJsonObject{{u"type"_s, u"interval"_s}, {u"intervalHours"_s, rule.hours}};
            },
        },
        m_value);
}

Decoded<RecurrenceRule> RecurrenceRule::fromJson(const QJsonValue &json, const QString &path)
{
    LF_TRY_DECODE(object, json::asObject(json, path));
    const json::ObjectReader reader(object, path);
    LF_TRY_DECODE(type, reader.string(u"type"_s));
    if (type == u"once") {
        LF_TRY_DECODE(date, json::readDate(reader, u"date"_s));
        return once(date);
    }
    if (type == u"daily") {
        LF_TRY_DECODE(hour, reader.integer(u"hour"_s));
        LF_TRY_DECODE(minute, reader.integer(u"minute"_s));
        return dailyAt(hour, minute);
    }
    if (type == u"weekly") {
        LF_TRY_DECODE(array, reader.array(u"weekdays"_s));
        const QString arrayPath = json::childPath(path, u"weekdays"_s);
        std::set<qint64> weekdays;
        for (qsizetype i = 0; i < array.size(); ++i) {
            const auto weekday = json::exactInteger(array.at(i));
            if (!weekday)
                return json::wrongType(u"integer"_s, json::elementPath(arrayPath, i), array.at(i));
            weekdays.insert(*weekday);
        }
        LF_TRY_DECODE(hour, reader.integer(u"hour"_s));
        LF_TRY_DECODE(minute, reader.integer(u"minute"_s));
        return weeklyAt(std::move(weekdays), hour, minute);
    }
    if (type == u"interval") {
        LF_TRY_DECODE(hours, reader.integer(u"intervalHours"_s));
        return everyInterval(hours);
    }
    return DecodeError{u"Unknown recurrence type "_s + type};
}

} // namespace lanternfold
