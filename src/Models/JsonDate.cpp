// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Models/JsonDate.h"

#include <QDate>
#include <QTime>
#include <QTimeZone>

namespace lanternfold::json {

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 secondsPerDay = 86400;
// QDate::toJulianDay() of 1970-01-01.
constexpr qint64 unixEpochJulianDay = 2440588;

/// The value of `count` ASCII digits at `position`, or -1 if any of them is not a digit.
int digitsAt(QStringView text, qsizetype position, qsizetype count)
{
    int value = 0;
    for (qsizetype i = position; i < position + count; ++i) {
        const char16_t c = text[i].unicode();
        if (c < u'0' || c > u'9')
            return -1;
        value = value * 10 + (c - u'0');
    }
    return value;
}

qint64 floorDivide(qint64 value, qint64 divisor)
{
    return value / divisor - (value % divisor < 0 ? 1 : 0);
}

qint64 daysSinceEpoch(QDate date)
{
    return date.toJulianDay() - unixEpochJulianDay;
}

QString twoDigits(int value)
{
    return QString::number(value).rightJustified(2, u'0');
}

} // namespace

qint64 earliestDateSeconds()
{
    return daysSinceEpoch(QDate(1, 1, 1)) * secondsPerDay;
}

qint64 latestDateSeconds()
{
    return daysSinceEpoch(QDate(9999, 12, 31)) * secondsPerDay + secondsPerDay - 1;
}

std::optional<QDateTime> parseDate(QStringView text)
{
    // 2025-03-14T07:30:00Z (20 characters) or 2025-03-14T07:30:00+01:00 (25 characters).
    if (text.size() != 20 && text.size() != 25)
        return std::nullopt;
    if (text[4] != u'-' || text[7] != u'-' || text[10] != u'T' || text[13] != u':' || text[16] != u':')
        return std::nullopt;
    const int year = digitsAt(text, 0, 4);
    const int month = digitsAt(text, 5, 2);
    const int day = digitsAt(text, 8, 2);
    const int hour = digitsAt(text, 11, 2);
    const int minute = digitsAt(text, 14, 2);
    const int second = digitsAt(text, 17, 2);
    if (year < 1 || month < 0 || day < 0 || hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 ||
        second > 59)
        return std::nullopt;
    const QDate date(year, month, day);
    if (!date.isValid())
        return std::nullopt;

    qint64 offsetSeconds = 0;
    if (text.size() == 20) {
        if (text[19] != u'Z')
            return std::nullopt;
    } else {
        const char16_t sign = text[19].unicode();
        if ((sign != u'+' && sign != u'-') || text[22] != u':')
            return std::nullopt;
        const int offsetHours = digitsAt(text, 20, 2);
        const int offsetMinutes = digitsAt(text, 23, 2);
        if (offsetHours < 0 || offsetHours > 23 || offsetMinutes < 0 || offsetMinutes > 59)
            return std::nullopt;
        offsetSeconds = (qint64(offsetHours) * 3600 + qint64(offsetMinutes) * 60) * (sign == u'-' ? -1 : 1);
    }

    const qint64 seconds =
        daysSinceEpoch(date) * secondsPerDay + qint64(hour) * 3600 + qint64(minute) * 60 + second - offsetSeconds;
    if (seconds < earliestDateSeconds() || seconds > latestDateSeconds())
        return std::nullopt;
    return QDateTime::fromSecsSinceEpoch(seconds, QTimeZone::utc());
}

std::optional<QString> formatDate(const QDateTime &date)
{
    if (!date.isValid())
        return std::nullopt;
    // Whole seconds, rounded down also before 1970, so that writing never moves a date forward.
    const qint64 seconds = floorDivide(date.toMSecsSinceEpoch(), 1000);
    if (seconds < earliestDateSeconds() || seconds > latestDateSeconds())
        return std::nullopt;
    const qint64 days = floorDivide(seconds, secondsPerDay);
    const qint64 secondOfDay = seconds - days * secondsPerDay;
    const QDate day = QDate::fromJulianDay(days + unixEpochJulianDay);
    const auto hour = static_cast<int>(secondOfDay / 3600);
    const auto minute = static_cast<int>(secondOfDay / 60 % 60);
    const auto second = static_cast<int>(secondOfDay % 60);
    return QString::number(day.year()).rightJustified(4, u'0') + u'-' + twoDigits(day.month()) + u'-' +
           twoDigits(day.day()) + u'T' + twoDigits(hour) + u':' + twoDigits(minute) + u':' + twoDigits(second) + u'Z';
}

DecodeError invalidDate(const QString &value, const QString &key, const QString &path)
{
    return {u"Invalid date \""_s + value + u"\" for \""_s + key + u"\" at "_s + describePath(path) +
            u" (expected YYYY-MM-DDTHH:MM:SSZ)."_s};
}

Decoded<QDateTime> readDate(const ObjectReader &reader, const QString &key)
{
    LF_TRY_DECODE(text, reader.string(key));
    const auto date = parseDate(text);
    if (!date)
        return invalidDate(text, key, reader.path());
    return *date;
}

Decoded<std::optional<QDateTime>> readOptionalDate(const ObjectReader &reader, const QString &key)
{
    LF_TRY_DECODE(text, reader.optionalString(key));
    if (!text)
        return std::optional<QDateTime>{};
    const auto date = parseDate(*text);
    if (!date)
        return invalidDate(*text, key, reader.path());
    return date;
}

} // namespace lanternfold::json
