// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Models/FastJson.h"

#include <immintrin.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace lanternfold::json {

using namespace Qt::StringLiterals;

namespace {

using simdjson::dom::element;
using simdjson::dom::element_type;

QString toQString(std::string_view utf8)
{
    return QString::fromUtf8(utf8.data(), qsizetype(utf8.size()));
}

std::optional<qint64> exactInteger(element value)
{
    switch (value.type()) {
    case element_type::INT64:
        return value.get_int64().value_unsafe();
    case element_type::DOUBLE: {
        // As QJsonValue::toInteger() reads a double: whole, and inside the signed 64-bit range.
        const double d = value.get_double().value_unsafe();
        if (std::trunc(d) != d || d < -0x1p63 || d >= 0x1p63)
            return std::nullopt;
        return qint64(d);
    }
    default:
        // UINT64 holds only values above the signed range, which Qt keeps as doubles too large
        // to be integers.
        return std::nullopt;
    }
}

QString typeName(element value)
{
    switch (value.type()) {
    case element_type::ARRAY:
        return u"array"_s;
    case element_type::OBJECT:
        return u"object"_s;
    case element_type::INT64:
    case element_type::UINT64:
    case element_type::DOUBLE:
        return exactInteger(value) ? u"integer"_s : u"number"_s;
    case element_type::STRING:
        return u"string"_s;
    case element_type::BOOL:
        return u"boolean"_s;
    case element_type::NULL_VALUE:
        return u"null"_s;
    }
    return u"nothing"_s;
}

/// A negative exponent of at least three significant digits right after a digit and "e-".
bool largeNegativeExponentAt(std::string_view bytes, size_t minus)
{
    if (minus < 2 || bytes[minus] != '-' || (bytes[minus - 1] != 'e' && bytes[minus - 1] != 'E'))
        return false;
    const char before = bytes[minus - 2];
    if (before < '0' || before > '9')
        return false;
    size_t i = minus + 1;
    while (i < bytes.size() && bytes[i] == '0')
        ++i;
    size_t significant = 0;
    while (i < bytes.size() && bytes[i] >= '0' && bytes[i] <= '9' && significant < 3) {
        ++i;
        ++significant;
    }
    return significant >= 3;
}

} // namespace

namespace {

/// The search of mayUnderflow where AVX2 is missing, 16 bytes at a time: dashes are common
/// (signal levels are negative), while "e-" after a digit and long runs of zeros are rare, so
/// whole blocks are tested at once and only a block with a candidate is looked at byte by byte.
bool mayUnderflowBaseline(std::string_view bytes)
{
    using Block = unsigned char __attribute__((vector_size(16)));
    constexpr size_t width = sizeof(Block);
    constexpr size_t words = width / sizeof(std::uint64_t);
    // A run of 200 zeros covers this many whole blocks, wherever it starts.
    constexpr size_t zeroBlocksInRun = (200 - (width - 1)) / width;
    const auto *p = reinterpret_cast<const unsigned char *>(bytes.data());
    const size_t n = bytes.size();
    size_t zeroBlocks = 0;
    size_t i = 1;
    for (; i + width <= n; i += width) {
        Block here;
        Block before;
        std::memcpy(&here, p + i, width);
        std::memcpy(&before, p + i - 1, width);
        const Block pairs = (here == '-') & ((before | 0x20) == 'e');
        const Block zeros = here == '0';
        std::uint64_t pairWords[words];
        std::uint64_t zeroWords[words];
        std::memcpy(pairWords, &pairs, width);
        std::memcpy(zeroWords, &zeros, width);
        std::uint64_t anyPair = 0;
        std::uint64_t allZero = ~std::uint64_t(0);
        for (size_t w = 0; w < words; ++w) {
            anyPair |= pairWords[w];
            allZero &= zeroWords[w];
        }
        zeroBlocks = allZero == ~std::uint64_t(0) ? zeroBlocks + 1 : 0;
        if (zeroBlocks >= zeroBlocksInRun)
            return true;
        if (anyPair == 0)
            continue;
        for (size_t j = i; j < i + width; ++j) {
            if (largeNegativeExponentAt(bytes, j))
                return true;
        }
    }
    // The tail: too short to hold a run of zeros that the blocks have not already counted, bar
    // one that began in them; look at it byte by byte.
    size_t zeros = zeroBlocks * width;
    for (; i < n; ++i) {
        zeros = p[i] == '0' ? zeros + 1 : 0;
        if (zeros >= 200 || largeNegativeExponentAt(bytes, i))
            return true;
    }
    return false;
}

/// The bytes of a 64-byte block equal to c, one bit each.
__attribute__((target("avx2"))) inline std::uint64_t bytesEqual(__m256i low, __m256i high, __m256i c)
{
    const auto lowBits = std::uint32_t(_mm256_movemask_epi8(_mm256_cmpeq_epi8(low, c)));
    const auto highBits = std::uint32_t(_mm256_movemask_epi8(_mm256_cmpeq_epi8(high, c)));
    return std::uint64_t(lowBits) | std::uint64_t(highBits) << 32;
}

/// With AVX2 each block of 64 bytes becomes three bit masks (dashes, e or E, zeros): "e-" pairs
/// are found by shifting one mask against another, and zeros in a row are counted exactly from
/// the ends of the zero mask, so every byte is loaded once.
__attribute__((target("avx2"))) bool mayUnderflowAvx2(std::string_view bytes)
{
    constexpr size_t width = 64;
    constexpr size_t longRun = 200;
    const auto *p = reinterpret_cast<const unsigned char *>(bytes.data());
    const size_t n = bytes.size();
    const __m256i dash = _mm256_set1_epi8('-');
    const __m256i lowerE = _mm256_set1_epi8('e');
    const __m256i caseBit = _mm256_set1_epi8(0x20);
    const __m256i zero = _mm256_set1_epi8('0');
    std::uint64_t eBefore = 0; // whether the byte before the block is an e or E
    size_t zeros = 0;          // zeros in a row up to the end of the last block
    size_t i = 0;
    for (; i + width <= n; i += width) {
        const __m256i low = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p + i));
        const __m256i high = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p + i + 32));
        const std::uint64_t es = bytesEqual(_mm256_or_si256(low, caseBit), _mm256_or_si256(high, caseBit), lowerE);
        for (std::uint64_t pairs = bytesEqual(low, high, dash) & (es << 1 | eBefore); pairs != 0; pairs &= pairs - 1) {
            if (largeNegativeExponentAt(bytes, i + size_t(std::countr_zero(pairs))))
                return true;
        }
        eBefore = es >> 63;
        const std::uint64_t zeroBits = bytesEqual(low, high, zero);
        if (zeroBits == ~std::uint64_t(0)) {
            zeros += width;
        } else {
            // A block is shorter than a long run: one can only end in it, or go on past it.
            if (zeros + size_t(std::countr_one(zeroBits)) >= longRun)
                return true;
            zeros = size_t(std::countl_one(zeroBits));
        }
        if (zeros >= longRun)
            return true;
    }
    for (; i < n; ++i) {
        zeros = p[i] == '0' ? zeros + 1 : 0;
        if (zeros >= longRun || largeNegativeExponentAt(bytes, i))
            return true;
    }
    return false;
}

} // namespace

bool mayUnderflow(std::string_view bytes)
{
    // A literal that is not zero rounds to zero only below about 2.5e-324. With a non-zero digit
    // before the point that takes an exponent of -324 or less; with "0." and k zeros after the
    // point, k + 1 plus the negative exponent must reach 324, so an exponent under 100 needs 224
    // zeros in a row. This runs over every answer, so it must cost little next to the parse.
    static const bool avx2 = __builtin_cpu_supports("avx2");
    return avx2 ? mayUnderflowAvx2(bytes) : mayUnderflowBaseline(bytes);
}

std::optional<qint64> exactInteger(const FastValue &value)
{
    return exactInteger(value.element());
}

QString typeName(const FastValue &value)
{
    return typeName(value.element());
}

namespace {
simdjson::dom::parser &threadParser()
{
    thread_local simdjson::dom::parser parser;
    return parser;
}

QByteArray &threadBuffer()
{
    thread_local QByteArray buffer;
    return buffer;
}
} // namespace

void releaseParserMemory()
{
    threadParser() = simdjson::dom::parser{};
    threadBuffer() = QByteArray();
}

const QByteArray &joinedForParsing(const QList<QByteArray> &pieces)
{
    qsizetype size = 0;
    for (const QByteArray &piece : pieces)
        size += piece.size();
    QByteArray &buffer = threadBuffer();
    const qsizetype room = size + qsizetype(simdjson::SIMDJSON_PADDING);
    if (buffer.capacity() < room || !buffer.isDetached()) {
        buffer = QByteArray();
        buffer.reserve(room);
    }
    // Emptied, not released: the room stays for the next answer.
    buffer.resize(0);
    for (const QByteArray &piece : pieces)
        buffer.append(piece);
    return buffer;
}

QThreadPool &decodingThread()
{
    static QThreadPool *const thread = [] {
        auto *pool = new QThreadPool;
        pool->setMaxThreadCount(1);
        pool->setExpiryTimeout(30'000);
        return pool;
    }();
    return *thread;
}

std::optional<FastValue> parseFast(const QByteArray &bytes)
{
    simdjson::dom::parser &parser = threadParser();
    const auto size = size_t(bytes.size());
    // simdjson reads up to SIMDJSON_PADDING bytes past the end. A buffer with that much room
    // after its data is read where it is; any other is first copied into the parser's own.
    // (A shallow copy, because only a non-const array answers how much room it has.)
    QByteArray shared = bytes;
    const bool padded = shared.data_ptr().freeSpaceAtEnd() >= qsizetype(simdjson::SIMDJSON_PADDING);
    // Qt refuses a number that rounds to zero; simdjson reads 0. Looked for before the parse: such
    // an answer then costs no parse, and the parse reads bytes the search has just brought in.
    if (mayUnderflow(std::string_view(bytes.constData(), size)))
        return std::nullopt;
    element root;
    if (parser.parse(bytes.constData(), size, /*realloc_if_needed=*/!padded).get(root) != simdjson::SUCCESS)
        return std::nullopt;
    // Qt 6.4 reads only an object or an array at the top level.
    if (root.type() != element_type::OBJECT && root.type() != element_type::ARRAY)
        return std::nullopt;
    return FastValue(root);
}

Decoded<FastObjectReader> readObject(const FastValue &value, const QString &path)
{
    simdjson::dom::object object;
    if (value.element().get_object().get(object) != simdjson::SUCCESS)
        return wrongTypeFound(u"object"_s, path, typeName(value));
    return FastObjectReader(object, path);
}

Decoded<FastArray> asArray(const FastValue &value, const QString &path)
{
    simdjson::dom::array array;
    if (value.element().get_array().get(array) != simdjson::SUCCESS)
        return wrongTypeFound(u"array"_s, path, typeName(value));
    return FastArray(array);
}

FastObjectReader::FastObjectReader(simdjson::dom::object object, QString path)
    : m_object(object), m_path(std::move(path))
{
}

namespace {

/// The keys that readers of this thread were asked for, in the order first asked.
struct AskedKeys
{
    QStringList keys;
    std::vector<std::string> utf8;
    /// Bit n is set when a key of n bytes was asked for; bit 63 stands for every longer key too.
    /// Most of a device's members have names of other lengths, and are passed over on this alone.
    std::uint64_t lengths = 0;

    static std::uint64_t lengthBit(size_t length) { return std::uint64_t(1) << std::min<size_t>(length, 63); }
};

AskedKeys &askedKeys()
{
    thread_local AskedKeys asked;
    return asked;
}

} // namespace

void FastObjectReader::gather() const
{
    const AskedKeys &asked = askedKeys();
    m_gatheredCount = std::min(size_t(asked.keys.size()), maxGathered);
    // Each member's name lies elsewhere in simdjson's string buffer, between the strings of the
    // nested values, so reading the names one after the other waits on memory at every step.
    // Asking for the name a few members ahead lets those waits overlap.
    constexpr int lookahead = 8;
    auto ahead = m_object.begin();
    const auto end = m_object.end();
    for (int i = 0; i < lookahead && ahead != end; ++i, ++ahead)
        __builtin_prefetch(ahead.key_c_str());
    for (auto it = m_object.begin(); it != end; ++it) {
        if (ahead != end) {
            __builtin_prefetch(ahead.key_c_str());
            ++ahead;
        }
        const std::string_view key = it.key();
        if ((asked.lengths & AskedKeys::lengthBit(key.size())) == 0)
            continue;
        for (size_t i = 0; i < m_gatheredCount; ++i) {
            if (key == asked.utf8[i])
                m_gathered[i] = it.value();
        }
    }
    m_walked = true;
}

std::optional<element> FastObjectReader::find(const QString &key) const
{
    if (!m_walked)
        gather();
    AskedKeys &asked = askedKeys();
    const qsizetype index = asked.keys.indexOf(key);
    if (index >= 0 && size_t(index) < m_gatheredCount)
        return m_gathered[size_t(index)];
    // A key the walk did not look for: found on its own, and looked for in the next walks.
    const QByteArray wanted = key.toUtf8();
    const std::string_view name(wanted.constData(), size_t(wanted.size()));
    std::optional<element> found;
    for (const simdjson::dom::key_value_pair field : m_object) {
        if (field.key == name)
            found = field.value;
    }
    if (index < 0 && size_t(asked.keys.size()) < maxGathered) {
        asked.keys.append(key);
        asked.utf8.emplace_back(name);
        asked.lengths |= AskedKeys::lengthBit(name.size());
    }
    return found;
}

Decoded<QString> FastObjectReader::string(const QString &key) const
{
    const auto value = find(key);
    if (!value)
        return missingKey(key, m_path);
    std::string_view text;
    if (value->get_string().get(text) != simdjson::SUCCESS)
        return wrongTypeFound(u"string"_s, key, m_path, typeName(*value));
    return toQString(text);
}

Decoded<std::optional<QString>> FastObjectReader::optionalString(const QString &key) const
{
    const auto value = find(key);
    if (!value || value->is_null())
        return std::optional<QString>{};
    std::string_view text;
    if (value->get_string().get(text) != simdjson::SUCCESS)
        return wrongTypeFound(u"string"_s, key, m_path, typeName(*value));
    return std::optional<QString>(toQString(text));
}

Decoded<qint64> FastObjectReader::integer(const QString &key) const
{
    const auto value = find(key);
    if (!value)
        return missingKey(key, m_path);
    const auto n = exactInteger(*value);
    if (!n)
        return wrongTypeFound(u"integer"_s, key, m_path, typeName(*value));
    return *n;
}

Decoded<std::optional<qint64>> FastObjectReader::optionalInteger(const QString &key) const
{
    const auto value = find(key);
    if (!value || value->is_null())
        return std::optional<qint64>{};
    const auto n = exactInteger(*value);
    if (!n)
        return wrongTypeFound(u"integer"_s, key, m_path, typeName(*value));
    return n;
}

Decoded<bool> FastObjectReader::boolean(const QString &key) const
{
    const auto value = find(key);
    if (!value)
        return missingKey(key, m_path);
    bool b = false;
    if (value->get_bool().get(b) != simdjson::SUCCESS)
        return wrongTypeFound(u"boolean"_s, key, m_path, typeName(*value));
    return b;
}

Decoded<FastArray> FastObjectReader::array(const QString &key) const
{
    const auto value = find(key);
    if (!value)
        return missingKey(key, m_path);
    simdjson::dom::array array;
    if (value->get_array().get(array) != simdjson::SUCCESS)
        return wrongTypeFound(u"array"_s, key, m_path, typeName(*value));
    return FastArray(array);
}

} // namespace lanternfold::json
