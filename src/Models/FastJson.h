// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Models/JsonDecoding.h"

#include <QByteArray>
#include <QList>
#include <QThreadPool>

#include <simdjson.h>

#include <array>
#include <optional>
#include <string_view>

namespace lanternfold::json {

/// One value of a document that simdjson parsed. It points into the parser of the thread that
/// parsed it, so it is valid only until that thread parses its next document.
class FastValue final
{
public:
    explicit FastValue(simdjson::dom::element element) : m_element(element) {}

    [[nodiscard]] simdjson::dom::element element() const { return m_element; }

private:
    simdjson::dom::element m_element;
};

/// A JSON array of a parsed document, walked in order like a QJsonArray.
class FastArray final
{
public:
    using value_type = FastValue;

    class const_iterator final
    {
    public:
        explicit const_iterator(simdjson::dom::array::iterator it) : m_it(it) {}
        FastValue operator*() const { return FastValue(*m_it); }
        const_iterator &operator++()
        {
            ++m_it;
            return *this;
        }
        bool operator!=(const const_iterator &other) const { return m_it != other.m_it; }
        bool operator==(const const_iterator &other) const { return m_it == other.m_it; }

    private:
        simdjson::dom::array::iterator m_it;
    };

    explicit FastArray(simdjson::dom::array array) : m_array(array) {}

    /// simdjson counts elements up to 2^24 - 1 and saturates there; enough to reserve room.
    [[nodiscard]] qsizetype size() const { return qsizetype(m_array.size()); }
    [[nodiscard]] const_iterator begin() const { return const_iterator(m_array.begin()); }
    [[nodiscard]] const_iterator end() const { return const_iterator(m_array.end()); }

private:
    simdjson::dom::array m_array;
};

/// The strict keyed reading of ObjectReader, over an object of a parsed document: the same
/// rules and the same error texts, so that a record's decoder reads either kind alike.
class FastObjectReader final
{
public:
    FastObjectReader(simdjson::dom::object object, QString path);

    [[nodiscard]] const QString &path() const { return m_path; }

    [[nodiscard]] Decoded<QString> string(const QString &key) const;
    [[nodiscard]] Decoded<std::optional<QString>> optionalString(const QString &key) const;
    [[nodiscard]] Decoded<qint64> integer(const QString &key) const;
    [[nodiscard]] Decoded<std::optional<qint64>> optionalInteger(const QString &key) const;
    [[nodiscard]] Decoded<bool> boolean(const QString &key) const;
    [[nodiscard]] Decoded<FastArray> array(const QString &key) const;

private:
    /// The value of key; of duplicate keys the last, as Qt's parser keeps it.
    [[nodiscard]] std::optional<simdjson::dom::element> find(const QString &key) const;
    void gather() const;

    static constexpr size_t maxGathered = 16;

    simdjson::dom::object m_object;
    QString m_path;
    /// A device has a hundred members and more, and its decoder reads a few of them. The first
    /// look-up walks the members once for every key the thread's previous records were asked for
    /// (the elements of one array are read alike), and the others are answered from that walk.
    mutable std::array<std::optional<simdjson::dom::element>, maxGathered> m_gathered;
    mutable size_t m_gatheredCount = 0;
    mutable bool m_walked = false;
};

/// Parses bytes with simdjson where that reads them exactly as Qt's parser would; nothing when the
/// bytes are not JSON to simdjson (Qt's parser then words the error), when the document is a bare
/// scalar (which Qt 6.4 refuses), or when a number may underflow to zero (which Qt refuses and
/// simdjson reads as 0). The whole document is validated either way.
///
/// The parser is the calling thread's own and is reused, so that a large answer does not pay for
/// fresh buffers each time; the value is valid until the thread's next call.
std::optional<FastValue> parseFast(const QByteArray &bytes);
/// Gives back what the calling thread's parser holds: buffers about three times the size of the
/// largest answer it read, and the buffer of joinedForParsing(). Every value it parsed becomes
/// invalid; the next parse allocates anew.
void releaseParserMemory();

/// pieces joined into the calling thread's own buffer, which keeps its room from one answer to the
/// next and leaves the padding the parser reads past the end: parsed where it is, an answer of the
/// size of an earlier one touches no new memory. Valid until the next call on this thread.
const QByteArray &joinedForParsing(const QList<QByteArray> &pieces);

/// The one thread where large answers are decoded, so that its parser and buffer stay warm from
/// one answer to the next; after half a minute without work it ends, and its memory goes with it.
QThreadPool &decodingThread();

QString typeName(const FastValue &value);
std::optional<qint64> exactInteger(const FastValue &value);

Decoded<FastObjectReader> readObject(const FastValue &value, const QString &path);
Decoded<FastArray> asArray(const FastValue &value, const QString &path);

/// Whether bytes may hold a number literal that is not zero but rounds to zero: one with a
/// negative exponent of 100 or more, or with a run of 200 zeros. Conservative: it also matches
/// inside strings and may count somewhat shorter runs, where a match only costs the slower path.
bool mayUnderflow(std::string_view bytes);

} // namespace lanternfold::json
