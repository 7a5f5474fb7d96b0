// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Models/JsonDecoding.h"

#include <QDateTime>
#include <QString>
#include <QStringView>

#include <optional>

namespace lanternfold::json {

/// Reads exactly "YYYY-MM-DDTHH:MM:SSZ" or "YYYY-MM-DDTHH:MM:SS+HH:MM" / "-HH:MM", the forms of
/// the jobs file, into an instant in UTC; the instant must fall in the years 1 to 9999 in UTC.
/// Anything else (fractions, missing seconds, a lower-case "z", a space for "T", no zone) is
/// refused: Qt's own ISO reading accepts all of those and reads text without a zone as local time.
std::optional<QDateTime> parseDate(QStringView text);

/// Writes "YYYY-MM-DDTHH:MM:SSZ" in UTC, dropping any fraction of a second; none for an invalid
/// date or one outside the years 1 to 9999 in UTC, which the file cannot hold.
std::optional<QString> formatDate(const QDateTime &date);

/// The first and last instants the jobs file can hold: 0001-01-01T00:00:00Z, 9999-12-31T23:59:59Z.
qint64 earliestDateSeconds();
qint64 latestDateSeconds();

DecodeError invalidDate(const QString &value, const QString &key, const QString &path);

Decoded<QDateTime> readDate(const ObjectReader &reader, const QString &key);
/// Absent or null gives none; any other value must be a date in one of the forms above.
Decoded<std::optional<QDateTime>> readOptionalDate(const ObjectReader &reader, const QString &key);

} // namespace lanternfold::json
