// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Models/Result.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>

#include <optional>

namespace lanternfold {

/// Why a JSON document could not be decoded into a record; the message is shown to users
/// after "Failed to parse controller response: ", so it names the key and where it was.
struct DecodeError
{
    QString message;
    bool operator==(const DecodeError &) const = default;
};

template <typename T>
using Decoded = Result<T, DecodeError>;

namespace json {

/// "the top level" for the empty path, else the path itself ("data[3]", "[0].rule").
QString describePath(const QString &path);
QString childPath(const QString &path, const QString &key);
QString elementPath(const QString &path, qsizetype index);

/// "string", "integer", "number", "array", "object", "boolean" or "null".
QString typeName(const QJsonValue &value);

/// A JSON number with no fractional part that fits a signed 64-bit integer (7 and 7.0).
std::optional<qint64> exactInteger(const QJsonValue &value);

Decoded<QJsonValue> parse(const QByteArray &bytes);

DecodeError missingKey(const QString &key, const QString &path);
DecodeError wrongType(const QString &expected, const QString &key, const QString &path, const QJsonValue &found);
/// The same for a value that has no key of its own (the document itself, an array element).
DecodeError wrongType(const QString &expected, const QString &path, const QJsonValue &found);
/// The same, given the name of the type found (see typeName).
DecodeError wrongTypeFound(const QString &expected, const QString &key, const QString &path, const QString &found);
DecodeError wrongTypeFound(const QString &expected, const QString &path, const QString &found);
DecodeError unknownValue(const QString &value, const QString &key, const QString &path);

Decoded<QJsonObject> asObject(const QJsonValue &value, const QString &path);
Decoded<QJsonArray> asArray(const QJsonValue &value, const QString &path);

/// Strict keyed reading of one JSON object: a required key that is missing or null fails,
/// an optional key that is missing or null is absent, unknown keys are ignored, and a
/// present key of the wrong type fails.
class ObjectReader final
{
public:
    ObjectReader(QJsonObject object, QString path);

    [[nodiscard]] const QString &path() const { return m_path; }

    Decoded<QString> string(const QString &key) const;
    Decoded<std::optional<QString>> optionalString(const QString &key) const;
    Decoded<qint64> integer(const QString &key) const;
    Decoded<std::optional<qint64>> optionalInteger(const QString &key) const;
    Decoded<bool> boolean(const QString &key) const;
    Decoded<QJsonArray> array(const QString &key) const;
    Decoded<QJsonObject> object(const QString &key) const;
    /// The raw value of a required key (present and not null).
    Decoded<QJsonValue> value(const QString &key) const;

private:
    QJsonObject m_object;
    QString m_path;
};

/// The object reader of value, or the error that value is not an object.
Decoded<ObjectReader> readObject(const QJsonValue &value, const QString &path);

} // namespace json
} // namespace lanternfold

/// Unwraps a Decoded<T> into `lhs`, or returns its error from the enclosing function.
// lhs names a new variable and cannot be parenthesised.
// NOLINTBEGIN(bugprone-macro-parentheses)
#define LF_TRY_DECODE(lhs, expr)                                                                                       \
    auto lhs##_result_ = (expr);                                                                                       \
    if (!lhs##_result_.ok())                                                                                           \
        return std::move(lhs##_result_).error();                                                                       \
    auto lhs = std::move(lhs##_result_).value()
// NOLINTEND(bugprone-macro-parentheses)
