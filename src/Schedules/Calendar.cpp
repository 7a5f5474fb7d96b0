// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Schedules/Calendar.h"

#include <unicode/ucal.h>
#include <unicode/udat.h>

#include <limits>
#include <memory>

namespace lanternfold {

namespace {

struct DateFormatCloser
{
    void operator()(UDateFormat *format) const { udat_close(format); }
};
using DateFormatPtr = std::unique_ptr<UDateFormat, DateFormatCloser>;

UDateFormatStyle toIcu(FormatStyle style)
{
    switch (style) {
    case FormatStyle::none:
        return UDAT_NONE;
    case FormatStyle::shortStyle:
        return UDAT_SHORT;
    case FormatStyle::mediumStyle:
        return UDAT_MEDIUM;
    }
    return UDAT_NONE;
}

QByteArray icuLocaleId(const QLocale &locale)
{
    // QLocale names the C locale "C", which ICU does not know; its POSIX English is the match.
    if (locale.language() == QLocale::C)
        return QByteArrayLiteral("en_US_POSIX");
    // Not QLocale::name(): it leaves out the script, so Serbian in Latin letters ("sr_Latn_RS")
    // reaches ICU as "sr_RS" and comes out in Cyrillic, ICU's usual script for Serbian. Naming
    // language, script and territory hands ICU exactly the locale QLocale resolved to; ICU falls
    // back from "de_Latn_AT" to its "de_AT" data by itself, so locales in their usual script
    // format as before.
    QString id = QLocale::languageToCode(locale.language());
    if (locale.script() != QLocale::AnyScript)
        id += u'_' + QLocale::scriptToCode(locale.script());
    if (locale.territory() != QLocale::AnyTerritory)
        id += u'_' + QLocale::territoryToCode(locale.territory());
    return id.toLatin1();
}

/// A formatter whose zone is UTC and whose calendar is Gregorian all the way back, so that it
/// lays out exactly the wall time it is given, with the same proleptic dates as QDate.
DateFormatPtr openFormatter(const Calendar &calendar, FormatStyle dateStyle, FormatStyle timeStyle)
{
    static constexpr char16_t utc[] = u"UTC";
    UErrorCode status = U_ZERO_ERROR;
    DateFormatPtr format(udat_open(toIcu(timeStyle), toIcu(dateStyle), icuLocaleId(calendar.locale).constData(),
                                   reinterpret_cast<const UChar *>(utc), 3, nullptr, 0, &status));
    if (U_FAILURE(status))
        return nullptr;
    UErrorCode calendarStatus = U_ZERO_ERROR;
    UCalendar *icuCalendar = ucal_clone(udat_getCalendar(format.get()), &calendarStatus);
    if (U_SUCCESS(calendarStatus) && icuCalendar) {
        // Non-Gregorian calendars (Buddhist, Japanese...) refuse this and keep their own rules.
        ucal_setGregorianChange(icuCalendar, static_cast<double>(std::numeric_limits<qint64>::min()), &calendarStatus);
        udat_setCalendar(format.get(), icuCalendar);
    }
    if (icuCalendar)
        ucal_close(icuCalendar);
    return format;
}

} // namespace

Calendar Calendar::current()
{
    return Calendar{QTimeZone::systemTimeZone(), QLocale::system()};
}

int weekdayNumber(QDate date)
{
    // Qt: Monday = 1 ... Sunday = 7.
    return date.dayOfWeek() % 7 + 1;
}

QString formatDateTime(const QDateTime &instant, const Calendar &calendar, FormatStyle dateStyle, FormatStyle timeStyle)
{
    if (!instant.isValid())
        return {};
    const DateFormatPtr format = openFormatter(calendar, dateStyle, timeStyle);
    if (!format)
        return {};
    const qint64 offsetSeconds = calendar.timeZone.isValid() ? calendar.timeZone.offsetFromUtc(instant) : 0;
    const auto wallTime = static_cast<UDate>(instant.toMSecsSinceEpoch() + offsetSeconds * 1000);

    std::u16string buffer(64, u'\0');
    UErrorCode status = U_ZERO_ERROR;
    int32_t length = udat_format(format.get(), wallTime, reinterpret_cast<UChar *>(buffer.data()),
                                 static_cast<int32_t>(buffer.size()), nullptr, &status);
    if (status == U_BUFFER_OVERFLOW_ERROR) {
        buffer.assign(static_cast<size_t>(length) + 1, u'\0');
        status = U_ZERO_ERROR;
        length = udat_format(format.get(), wallTime, reinterpret_cast<UChar *>(buffer.data()),
                             static_cast<int32_t>(buffer.size()), nullptr, &status);
    }
    if (U_FAILURE(status))
        return {};
    return QString::fromUtf16(buffer.data(), length);
}

QStringList shortWeekdaySymbols(const Calendar &calendar)
{
    const DateFormatPtr format = openFormatter(calendar, FormatStyle::shortStyle, FormatStyle::shortStyle);
    if (!format)
        return {};
    QStringList symbols;
    // ICU numbers its weekday symbols 1 = Sunday ... 7 = Saturday (0 is unused), as rules do.
    for (int32_t index = 1; index <= 7; ++index) {
        std::u16string buffer(32, u'\0');
        UErrorCode status = U_ZERO_ERROR;
        const int32_t length =
            udat_getSymbols(format.get(), UDAT_SHORT_WEEKDAYS, index, reinterpret_cast<UChar *>(buffer.data()),
                            static_cast<int32_t>(buffer.size()), &status);
        if (U_FAILURE(status))
            return {};
        symbols.append(QString::fromUtf16(buffer.data(), length));
    }
    return symbols;
}

} // namespace lanternfold
