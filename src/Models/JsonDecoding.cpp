// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Models/JsonDecoding.h"

#include <QJsonDocument>
#include <QJsonParseError>

#include <array>
#include <charconv>

namespace lanternfold::json {

using namespace Qt::StringLiterals;

QString describePath(const QString &path)
{
    return path.isEmpty() ? u"the top level"_s : path;
}

QString childPath(const QString &path, const QString &key)
{
    return path.isEmpty() ? key : path + u'.' + key;
}

QString elementPath(const QString &path, qsizetype index)
{
    // Built for every element of a large answer: one allocation instead of four.
    std::array<char, 24> digits{};
    const auto written = std::to_chars(digits.data(), digits.data() + digits.size(), index).ptr;
    const auto length = qsizetype(written - digits.data());
    QString result;
    result.reserve(path.size() + length + 2);
    result.append(path).append(u'[').append(QLatin1StringView(digits.data(), length)).append(u']');
    return result;
}

std::optional<qint64> exactInteger(const QJsonValue &value)
{
    if (!value.isDouble())
        return std::nullopt;
    // toInteger() answers its default unless the value is a whole number that fits 64 bits, and
    // it keeps the exact value of large integers that a double would round; two different
    // defaults tell "no" apart from a real answer.
    const qint64 a = value.toInteger(0);
    const qint64 b = value.toInteger(1);
    if (a != b)
        return std::nullopt;
    return a;
}

QString typeName(const QJsonValue &value)
{
    switch (value.type()) {
    case QJsonValue::Null:
        return u"null"_s;
    case QJsonValue::Bool:
        return u"boolean"_s;
    case QJsonValue::Double:
        return exactInteger(value) ? u"integer"_s : u"number"_s;
    case QJsonValue::String:
        return u"string"_s;
    case QJsonValue::Array:
        return u"array"_s;
    case QJsonValue::Object:
        return u"object"_s;
    case QJsonValue::Undefined:
        break;
    }
    return u"nothing"_s;
}

Decoded<QJsonValue> parse(const QByteArray &bytes)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError) {
        return DecodeError{u"The data is not valid JSON ("_s + error.errorString() + u" at offset "_s +
                           QString::number(error.offset) + u")."_s};
    }
    if (document.isArray())
        return QJsonValue(document.array());
    if (document.isObject())
        return QJsonValue(document.object());
    // Qt 6.4 does not parse bare scalars at the top level; it reports them as errors above.
    return QJsonValue(QJsonValue::Null);
}

DecodeError missingKey(const QString &key, const QString &path)
{
    return {u"Missing key \""_s + key + u"\" at "_s + describePath(path) + u'.'};
}

DecodeError wrongTypeFound(const QString &expected, const QString &key, const QString &path, const QString &found)
{
    return {u"Expected "_s + expected + u" for \""_s + key + u"\" at "_s + describePath(path) + u", found "_s + found +
            u'.'};
}

DecodeError wrongTypeFound(const QString &expected, const QString &path, const QString &found)
{
    return {u"Expected "_s + expected + u" at "_s + describePath(path) + u", found "_s + found + u'.'};
}

DecodeError wrongType(const QString &expected, const QString &key, const QString &path, const QJsonValue &found)
{
    return wrongTypeFound(expected, key, path, typeName(found));
}

DecodeError wrongType(const QString &expected, const QString &path, const QJsonValue &found)
{
    return wrongTypeFound(expected, path, typeName(found));
}

DecodeError unknownValue(const QString &value, const QString &key, const QString &path)
{
    return {u"Unknown value \""_s + value + u"\" for \""_s + key + u"\" at "_s + describePath(path) + u'.'};
}

Decoded<QJsonObject> asObject(const QJsonValue &value, const QString &path)
{
    if (!value.isObject())
        return wrongType(u"object"_s, path, value);
    return value.toObject();
}

Decoded<QJsonArray> asArray(const QJsonValue &value, const QString &path)
{
    if (!value.isArray())
        return wrongType(u"array"_s, path, value);
    return value.toArray();
}

Decoded<ObjectReader> readObject(const QJsonValue &value, const QString &path)
{
    if (!value.isObject())
        return wrongType(u"object"_s, path, value);
    return ObjectReader(value.toObject(), path);
}

ObjectReader::ObjectReader(QJsonObject object, QString path) : m_object(std::move(object)), m_path(std::move(path)) {}

Decoded<QJsonValue> ObjectReader::value(const QString &key) const
{
    const auto it = m_object.constFind(key);
    if (it == m_object.constEnd())
        return missingKey(key, m_path);
    const QJsonValue v = it.value();
    if (v.isNull())
        return wrongType(u"a value"_s, key, m_path, v);
    return v;
}

Decoded<QString> ObjectReader::string(const QString &key) const
{
    const auto it = m_object.constFind(key);
    if (it == m_object.constEnd())
        return missingKey(key, m_path);
    if (!it.value().isString())
        return wrongType(u"string"_s, key, m_path, it.value());
    return it.value().toString();
}

Decoded<std::optional<QString>> ObjectReader::optionalString(const QString &key) const
{
    const auto it = m_object.constFind(key);
    if (it == m_object.constEnd() || it.value().isNull())
        return std::optional<QString>{};
    if (!it.value().isString())
        return wrongType(u"string"_s, key, m_path, it.value());
    return std::optional<QString>(it.value().toString());
}

Decoded<qint64> ObjectReader::integer(const QString &key) const
{
    const auto it = m_object.constFind(key);
    if (it == m_object.constEnd())
        return missingKey(key, m_path);
    const auto n = exactInteger(it.value());
    if (!n)
        return wrongType(u"integer"_s, key, m_path, it.value());
    return *n;
}

Decoded<std::optional<qint64>> ObjectReader::optionalInteger(const QString &key) const
{
    const auto it = m_object.constFind(key);
    if (it == m_object.constEnd() || it.value().isNull())
        return std::optional<qint64>{};
    const auto n = exactInteger(it.value());
    if (!n)
        return wrongType(u"integer"_s, key, m_path, it.value());
    return n;
}

Decoded<bool> ObjectReader::boolean(const QString &key) const
{
    const auto it = m_object.constFind(key);
    if (it == m_object.constEnd())
        return missingKey(key, m_path);
    if (!it.value().isBool())
        return wrongType(u"boolean"_s, key, m_path, it.value());
    return it.value().toBool();
}

Decoded<QJsonArray> ObjectReader::array(const QString &key) const
{
    const auto it = m_object.constFind(key);
    if (it == m_object.constEnd())
        return missingKey(key, m_path);
    if (!it.value().isArray())
        return wrongType(u"array"_s, key, m_path, it.value());
    return it.value().toArray();
}

Decoded<QJsonObject> ObjectReader::object(const QString &key) const
{
    const auto it = m_object.constFind(key);
    if (it == m_object.constEnd())
        return missingKey(key, m_path);
    if (!it.value().isObject())
        return wrongType(u"object"_s, key, m_path, it.value());
    return it.value().toObject();
}

} // namespace lanternfold::json
