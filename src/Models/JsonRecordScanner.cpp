#include "Models/JsonRecordScanner.h"

#include <QJsonValue>

#include <cmath>
#include <cstdlib>
#include <cstring>

namespace lanternfold::json {
namespace {

constexpr int maxDepth = 512;

/// Every step returns false to mean "give up and let Qt's parser decide".
class Scanner final
{
public:
    explicit Scanner(const QByteArray &bytes)
        : m_p(reinterpret_cast<const unsigned char *>(bytes.constData())), m_end(m_p + bytes.size())
    {
    }

    [[nodiscard]] bool atEnd()
    {
        skipWhitespace();
        return m_p == m_end;
    }

    bool skipWhitespace()
    {
        while (m_p != m_end && (*m_p == ' ' || *m_p == '\n' || *m_p == '\r' || *m_p == '\t'))
            ++m_p;
        return true;
    }

    bool expect(unsigned char c)
    {
        skipWhitespace();
        if (m_p == m_end || *m_p != c)
            return false;
        ++m_p;
        return true;
    }

    /// After a member or element: consumes "," (more follow) or `closer` (the container ended).
    bool separatorOrEnd(unsigned char closer, bool *ended)
    {
        const unsigned char next = peek();
        if (next != ',' && next != closer)
            return false;
        ++m_p;
        *ended = next == closer;
        return true;
    }

    /// Peeks the next significant byte (0 at the end).
    unsigned char peek()
    {
        skipWhitespace();
        return m_p == m_end ? 0 : *m_p;
    }

    /// A string; decoded into `out` when it is given, else only validated.
    bool string(QString *out)
    {
        if (!expect('"'))
            return false;
        const unsigned char *runStart = m_p;
        auto flushRun = [&](const unsigned char *runEnd) {
            if (out && runEnd > runStart)
                out->append(QString::fromUtf8(reinterpret_cast<const char *>(runStart), runEnd - runStart));
        };
        while (m_p != m_end) {
            const unsigned char c = *m_p;
            if (c == '"') {
                flushRun(m_p);
                ++m_p;
                return true;
            }
            if (c < 0x20)
                return false;
            if (c < 0x80) {
                if (c == '\\') {
                    flushRun(m_p);
                    ++m_p;
                    if (!escape(out))
                        return false;
                    runStart = m_p;
                    continue;
                }
                ++m_p;
                continue;
            }
            if (!utf8Sequence())
                return false;
        }
        return false;
    }

    /// An object key: plain characters only (an escaped key is rare enough to hand to Qt).
    bool key(QByteArray *out)
    {
        if (!expect('"'))
            return false;
        const unsigned char *start = m_p;
        while (m_p != m_end && *m_p != '"') {
            if (*m_p == '\\' || *m_p < 0x20)
                return false;
            if (*m_p >= 0x80) {
                if (!utf8Sequence())
                    return false;
                continue;
            }
            ++m_p;
        }
        if (m_p == m_end)
            return false;
        *out = QByteArray::fromRawData(reinterpret_cast<const char *>(start), m_p - start);
        ++m_p;
        return expect(':');
    }

    /// A number that must be a plain integer fitting 64 bits (no fraction, no exponent).
    bool integer(qint64 *out)
    {
        skipWhitespace();
        const unsigned char *start = m_p;
        if (!number(/*allowFractionAndExponent=*/false))
            return false;
        const QByteArray text = QByteArray::fromRawData(reinterpret_cast<const char *>(start), m_p - start);
        bool ok = false;
        *out = text.toLongLong(&ok);
        return ok;
    }

    /// Any value, validated and skipped.
    bool skipValue(int depth)
    {
        if (depth > maxDepth)
            return false;
        switch (peek()) {
        case '{': {
            ++m_p;
            if (peek() == '}') {
                ++m_p;
                return true;
            }
            while (true) {
                if (!string(nullptr) || !expect(':') || !skipValue(depth + 1))
                    return false;
                bool ended = false;
                if (!separatorOrEnd('}', &ended))
                    return false;
                if (ended)
                    return true;
            }
        }
        case '[': {
            ++m_p;
            if (peek() == ']') {
                ++m_p;
                return true;
            }
            while (true) {
                if (!skipValue(depth + 1))
                    return false;
                bool ended = false;
                if (!separatorOrEnd(']', &ended))
                    return false;
                if (ended)
                    return true;
            }
        }
        case '"':
            return string(nullptr);
        case 't':
            return literal("true");
        case 'f':
            return literal("false");
        case 'n':
            return literal("null");
        default:
            return number(/*allowFractionAndExponent=*/true);
        }
    }

    /// A scalar of one of the kept keys, as the QJsonValue Qt's parser would have made of it.
    bool keptValue(QJsonValue *out)
    {
        switch (peek()) {
        case '"': {
            QString text;
            if (!string(&text))
                return false;
            *out = QJsonValue(text);
            return true;
        }
        case 'n':
            *out = QJsonValue(QJsonValue::Null);
            return literal("null");
        case 't':
            *out = QJsonValue(true);
            return literal("true");
        case 'f':
            *out = QJsonValue(false);
            return literal("false");
        default: {
            qint64 n = 0;
            if (!integer(&n))
                return false;
            *out = QJsonValue(n);
            return true;
        }
        }
    }

private:
    bool literal(const char *word)
    {
        const auto length = std::strlen(word);
        if (size_t(m_end - m_p) < length || std::memcmp(m_p, word, length) != 0)
            return false;
        m_p += length;
        return true;
    }

    bool digits()
    {
        const unsigned char *start = m_p;
        while (m_p != m_end && *m_p >= '0' && *m_p <= '9')
            ++m_p;
        return m_p != start;
    }

    bool number(bool allowFractionAndExponent)
    {
        const unsigned char *start = m_p;
        if (m_p != m_end && *m_p == '-')
            ++m_p;
        if (m_p == m_end)
            return false;
        if (*m_p == '0') {
            ++m_p;
        } else if (!digits()) {
            return false;
        }
        bool plain = true;
        if (m_p != m_end && *m_p == '.') {
            ++m_p;
            if (!digits())
                return false;
            plain = false;
        }
        if (m_p != m_end && (*m_p == 'e' || *m_p == 'E'))
            return false; // exponents can overflow where Qt reports an error; let Qt decide
        if (!plain && !allowFractionAndExponent)
            return false;
        // Very long numbers are where parsers disagree on range; they never occur in real answers.
        return m_p - start <= 40;
    }

    bool escape(QString *out)
    {
        if (m_p == m_end)
            return false;
        const unsigned char c = *m_p++;
        char16_t decoded = 0;
        switch (c) {
        case '"':
        case '\\':
        case '/':
            decoded = c;
            break;
        case 'b':
            decoded = u'\b';
            break;
        case 'f':
            decoded = u'\f';
            break;
        case 'n':
            decoded = u'\n';
            break;
        case 'r':
            decoded = u'\r';
            break;
        case 't':
            decoded = u'\t';
            break;
        case 'u': {
            char16_t high = 0;
            if (!hex4(&high) || high == 0)
                return false;
            if (QChar::isLowSurrogate(high))
                return false;
            if (QChar::isHighSurrogate(high)) {
                char16_t low = 0;
                if (m_end - m_p < 2 || m_p[0] != '\\' || m_p[1] != 'u')
                    return false;
                m_p += 2;
                if (!hex4(&low) || !QChar::isLowSurrogate(low))
                    return false;
                if (out) {
                    out->append(QChar(high));
                    out->append(QChar(low));
                }
                return true;
            }
            if ((high >= 0xFDD0 && high <= 0xFDEF) || high >= 0xFFFE)
                return false;
            decoded = high;
            break;
        }
        default:
            return false;
        }
        if (out)
            out->append(QChar(decoded));
        return true;
    }

    bool hex4(char16_t *out)
    {
        if (m_end - m_p < 4)
            return false;
        unsigned value = 0;
        for (int i = 0; i < 4; ++i) {
            const unsigned char c = *m_p++;
            value <<= 4;
            if (c >= '0' && c <= '9')
                value |= c - '0';
            else if (c >= 'a' && c <= 'f')
                value |= c - 'a' + 10;
            else if (c >= 'A' && c <= 'F')
                value |= c - 'A' + 10;
            else
                return false;
        }
        *out = char16_t(value);
        return true;
    }

    /// One well-formed UTF-8 sequence of a scalar value that is not a noncharacter.
    bool utf8Sequence()
    {
        const unsigned char lead = *m_p;
        int length = 0;
        char32_t value = 0;
        if (lead >= 0xC2 && lead <= 0xDF) {
            length = 2;
            value = lead & 0x1F;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            length = 3;
            value = lead & 0x0F;
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            length = 4;
            value = lead & 0x07;
        } else {
            return false;
        }
        if (m_end - m_p < length)
            return false;
        for (int i = 1; i < length; ++i) {
            const unsigned char c = m_p[i];
            if ((c & 0xC0) != 0x80)
                return false;
            value = (value << 6) | (c & 0x3F);
        }
        static constexpr char32_t minimum[] = {0, 0, 0x80, 0x800, 0x10000};
        if (value < minimum[length] || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF))
            return false;
        if ((value >= 0xFDD0 && value <= 0xFDEF) || (value & 0xFFFE) == 0xFFFE)
            return false;
        m_p += length;
        return true;
    }

    const unsigned char *m_p;
    const unsigned char *m_end;
};

/// One element of the array: an object of which only `keys` are kept.
bool scanRecord(Scanner &scanner, const QStringList &keys, QJsonObject *record)
{
    if (!scanner.expect('{'))
        return false;
    if (scanner.peek() == '}')
        return scanner.expect('}');
    while (true) {
        QByteArray name;
        if (!scanner.key(&name))
            return false;
        const QString keyName = QString::fromUtf8(name);
        if (keys.contains(keyName)) {
            if (record->contains(keyName))
                return false; // which duplicate wins is Qt's business
            QJsonValue value;
            if (!scanner.keptValue(&value))
                return false;
            record->insert(keyName, value);
        } else if (!scanner.skipValue(2)) {
            return false;
        }
        bool ended = false;
        if (!scanner.separatorOrEnd('}', &ended))
            return false;
        if (ended)
            return true;
    }
}

bool scanArray(Scanner &scanner, const QStringList &keys, QList<QJsonObject> *records)
{
    if (!scanner.expect('['))
        return false;
    if (scanner.peek() == ']')
        return scanner.expect(']');
    while (true) {
        QJsonObject record;
        if (!scanRecord(scanner, keys, &record))
            return false;
        records->append(std::move(record));
        bool ended = false;
        if (!scanner.separatorOrEnd(']', &ended))
            return false;
        if (ended)
            return true;
    }
}

} // namespace

std::optional<QList<QJsonObject>> scanRecords(const QByteArray &bytes, const QString &arrayKey, const QStringList &keys)
{
    Scanner scanner(bytes);
    QList<QJsonObject> records;
    if (arrayKey.isEmpty()) {
        if (!scanArray(scanner, keys, &records))
            return std::nullopt;
    } else {
        if (!scanner.expect('{'))
            return std::nullopt;
        bool found = false;
        if (scanner.peek() == '}')
            return std::nullopt; // no array at all: Qt's path reports the missing key
        while (true) {
            QByteArray name;
            if (!scanner.key(&name))
                return std::nullopt;
            if (QString::fromUtf8(name) == arrayKey) {
                if (found || scanner.peek() != '[' || !scanArray(scanner, keys, &records))
                    return std::nullopt;
                found = true;
            } else if (!scanner.skipValue(1)) {
                return std::nullopt;
            }
            bool ended = false;
            if (!scanner.separatorOrEnd('}', &ended))
                return std::nullopt;
            if (ended)
                break;
        }
        if (!found)
            return std::nullopt;
    }
    if (!scanner.atEnd())
        return std::nullopt;
    return records;
}

} // namespace lanternfold::json
