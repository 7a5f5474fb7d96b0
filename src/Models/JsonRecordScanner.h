#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QStringList>

#include <optional>

namespace lanternfold::json {

/// Pulls selected top-level keys out of every object of one JSON array without building a tree of
/// the whole document: the array is either the document itself or the value of `arrayKey` in a
/// top-level object. Device answers run to megabytes of nested statistics that the program never
/// reads; scanning them is several times faster than parsing them into a document and keeps no
/// memory afterwards.
///
/// The scanner is deliberately stricter than Qt's parser: anything unusual (invalid or rare
/// encodings, escapes in keys, duplicate keys it cares about, exponents, deep nesting, non-object
/// elements) makes it give up and return nothing, and the caller decodes with Qt's parser, which
/// produces the exact error message. So whenever it returns objects, Qt's parser would have
/// accepted the same bytes and found the same values.
std::optional<QList<QJsonObject>> scanRecords(const QByteArray &bytes, const QString &arrayKey,
                                              const QStringList &keys);

} // namespace lanternfold::json
