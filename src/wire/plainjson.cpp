#include "wire/plainjson_p.h"

#include <array>
#include <cstring>
#include <limits>

namespace tarvex::plainjson {

namespace {

constexpr int MAX_DEPTH = 256;
/// A number of more characters may not fit into 64 bits.
constexpr int MAX_INTEGER_DIGITS = 18;

/// Each operation moves on behind what it has read, and returns false for what is not plain.
class Reader
{
public:
    Reader(const QByteArray& text, int maxValues)
        : m_at(text.constData()), m_end(text.constData() + text.size()), m_valuesLeft(maxValues)
    {
    }

    bool readText(QVariantMap& object)
    {
        skipSpace();
        if (m_at == m_end || *m_at != '{' || !readObject(object, 1)) {
            return false;
        }
        skipSpace();
        return m_at == m_end;
    }

private:
    void skipSpace()
    {
        while (m_at != m_end && (*m_at == ' ' || *m_at == '\n' || *m_at == '\r' || *m_at == '\t')) {
            ++m_at;
        }
    }

    bool take(char c)
    {
        if (m_at == m_end || *m_at != c) {
            return false;
        }
        ++m_at;
        return true;
    }

    bool takeWord(const char* word, std::ptrdiff_t size)
    {
        if (m_end - m_at < size || std::memcmp(m_at, word, static_cast<std::size_t>(size)) != 0) {
            return false;
        }
        m_at += size;
        return true;
    }

    bool readObject(QVariantMap& object, int depth)
    {
        if (depth > MAX_DEPTH || --m_valuesLeft < 0) {
            return false;
        }
        ++m_at; // the bracket
        skipSpace();
        if (take('}')) {
            return true;
        }
        do {
            skipSpace();
            QString key;
            if (!readKey(key)) {
                return false;
            }
            skipSpace();
            if (!take(':')) {
                return false;
            }
            skipSpace();
            // Our peers write the keys in order, so each belongs to the end. A key that comes again takes the place of
            // the former one.
            if (!readValue(*object.insert(object.cend(), key, QVariant()), depth)) {
                return false;
            }
            skipSpace();
        } while (take(','));
        return take('}');
    }

    bool readArray(QVariantList& list, int depth)
    {
        if (depth > MAX_DEPTH || --m_valuesLeft < 0) {
            return false;
        }
        ++m_at; // the bracket
        skipSpace();
        if (take(']')) {
            return true;
        }
        do {
            skipSpace();
            list.append(QVariant());
            if (!readValue(list.last(), depth)) {
                return false;
            }
            skipSpace();
        } while (take(','));
        return take(']');
    }

    /// Makes an empty text, map or list of \a value, to be filled in place: no copy of what is read.
    template <typename T>
    static T& become(QVariant& value)
    {
        value = QVariant(T());
        return *static_cast<T*>(value.data());
    }

    bool readValue(QVariant& value, int depth)
    {
        if (m_at == m_end) {
            return false;
        }
        switch (*m_at) {
        case '{':
            return readObject(become<QVariantMap>(value), depth + 1);
        case '[':
            return readArray(become<QVariantList>(value), depth + 1);
        default:
            return --m_valuesLeft >= 0 && readScalar(value);
        }
    }

    bool readScalar(QVariant& value)
    {
        switch (*m_at) {
        case '"':
            return readString(become<QString>(value));
        case 't':
            value = QVariant(true);
            return takeWord("true", 4);
        case 'f':
            value = QVariant(false);
            return takeWord("false", 5);
        case 'n':
            value = QVariant::fromValue(nullptr);
            return takeWord("null", 4);
        default:
            return readNumber(value);
        }
    }

    int countDigits()
    {
        const char* const begin = m_at;
        while (m_at != m_end && *m_at >= '0' && *m_at <= '9') {
            ++m_at;
        }
        return static_cast<int>(m_at - begin);
    }

    bool readNumber(QVariant& value)
    {
        const char* const begin = m_at;
        take('-');
        const char* const first = m_at;
        const int digits = countDigits();
        if (digits == 0 || (digits > 1 && *first == '0')) {
            return false;
        }
        if (m_at == m_end || (*m_at != '.' && *m_at != 'e' && *m_at != 'E')) {
            return digits <= MAX_INTEGER_DIGITS && takeInteger(first, *begin == '-', value);
        }
        if (take('.') && countDigits() == 0) {
            return false;
        }
        if (take('e') || take('E')) {
            take('-') || take('+');
            if (countDigits() == 0) {
                return false;
            }
        }
        return takeDouble(begin, value);
    }

    bool takeInteger(const char* digit, bool isNegative, QVariant& value) const
    {
        qint64 number = 0;
        for (; digit != m_at; ++digit) {
            number = 10 * number + (*digit - '0');
        }
        value = QVariant(static_cast<qlonglong>(isNegative ? -number : number));
        return true;
    }

    bool takeDouble(const char* begin, QVariant& value) const
    {
        bool isNumber = false;
        const double number = QByteArray::fromRawData(begin, static_cast<int>(m_at - begin)).toDouble(&isNumber);
        if (!isNumber) {
            return false;
        }
        // Qt keeps what is whole as an integer.
        constexpr double LIMIT = 9007199254740992.0;
        const bool isSmall = number > -LIMIT && number < LIMIT;
        if (!isSmall) {
            return false;
        }
        const auto whole = static_cast<qint64>(number);
        value = static_cast<double>(whole) == number ? QVariant(static_cast<qlonglong>(whole)) : QVariant(number);
        return true;
    }

    bool readString(QString& text)
    {
        if (!take('"')) {
            return false;
        }
        const char* const end = endOfPlainString(m_at);
        if (end == nullptr) {
            return readUnusualString(text);
        }
        text = QString::fromLatin1(m_at, static_cast<int>(end - m_at));
        m_at = end + 1;
        return true;
    }

    /// The quote that ends a string of ASCII without an escape, which is the common case. Null for any other string.
    const char* endOfPlainString(const char* at) const
    {
        while (at != m_end && *at != '"' && *at != '\\' && static_cast<signed char>(*at) > 0) {
            ++at;
        }
        return at != m_end && *at == '"' ? at : nullptr;
    }

    /// The same few keys come again and again, so the keys that were read last are shared.
    bool readKey(QString& key)
    {
        const char* const begin = m_at;
        const char* const end = m_at == m_end ? nullptr : endOfPlainString(m_at + 1);
        if (*begin != '"' || end == nullptr) {
            return readString(key);
        }
        const auto size = static_cast<std::size_t>(end - begin);
        Key& known = m_keys[(size + static_cast<uchar>(begin[1])) % m_keys.size()];
        if (known.size != size || std::memcmp(known.begin, begin, size) != 0) {
            known = {begin, size, QString::fromLatin1(begin + 1, static_cast<int>(size - 1))};
        }
        key = known.text;
        m_at = end + 1;
        return true;
    }

    bool readUnusualString(QString& text)
    {
        const char* const end = stringEnd();
        // Qt leaves out a byte order mark at the beginning.
        if (end == m_end || (end - m_at >= 3 && std::memcmp(m_at, "\xef\xbb\xbf", 3) == 0)) {
            return false;
        }
        // No character has more UTF-16 units than bytes.
        text = QString(static_cast<int>(end - m_at), Qt::Uninitialized);
        auto* out = reinterpret_cast<ushort*>(text.data());
        while (m_at != end) {
            const auto c = static_cast<uchar>(*m_at++);
            if (c >= 0x80 ? !readMultiByte(c, out) : c == '\\' ? !readEscape(out) : !readAscii(c, out)) {
                return false;
            }
        }
        ++m_at; // the quote
        text.truncate(static_cast<int>(out - reinterpret_cast<const ushort*>(text.constData())));
        return true;
    }

    /// The closing quote of the string that is being read, or the end of the text.
    const char* stringEnd() const
    {
        const char* end = m_at;
        while (end != m_end && *end != '"') {
            end += *end == '\\' && m_end - end > 1 ? 2 : 1;
        }
        return end;
    }

    static bool readAscii(uchar c, ushort*& out)
    {
        *out++ = c;
        return c != 0;
    }

    /// The closing quote ends each of the following at the latest, because it continues none.
    bool readEscape(ushort*& out)
    {
        const char c = *m_at++;
        switch (c) {
        case '"':
        case '\\':
        case '/':
            *out++ = static_cast<uchar>(c);
            return true;
        case 'b':
            *out++ = '\b';
            return true;
        case 'f':
            *out++ = '\f';
            return true;
        case 'n':
            *out++ = '\n';
            return true;
        case 'r':
            *out++ = '\r';
            return true;
        case 't':
            *out++ = '\t';
            return true;
        case 'u':
            return readCodeUnit(out);
        default:
            return false;
        }
    }

    bool readCodeUnit(ushort*& out)
    {
        uint unit = 0;
        for (int i = 0; i < 4; ++i) {
            const int digit = hexDigit(*m_at);
            if (digit < 0) {
                return false;
            }
            unit = 16 * unit + static_cast<uint>(digit);
            ++m_at;
        }
        *out++ = static_cast<ushort>(unit);
        return unit != 0 && !QChar::isSurrogate(unit);
    }

    static int hexDigit(char c)
    {
        if (c >= '0' && c <= '9') {
            return c - '0';
        }
        const int lower = c | 0x20;
        return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
    }

    /// \a first is the first byte of a character in UTF-8 that is not ASCII.
    bool readMultiByte(uchar first, ushort*& out)
    {
        int more = 0;
        uint code = 0;
        uint smallest = 0;
        if ((first & 0xe0) == 0xc0) {
            more = 1;
            code = first & 0x1f;
            smallest = 0x80;
        } else if ((first & 0xf0) == 0xe0) {
            more = 2;
            code = first & 0xf;
            smallest = 0x800;
        } else if ((first & 0xf8) == 0xf0) {
            more = 3;
            code = first & 0x7;
            smallest = 0x10000;
        } else {
            return false;
        }
        for (; more > 0; --more) {
            const auto c = static_cast<uchar>(*m_at);
            if ((c & 0xc0) != 0x80) {
                return false;
            }
            code = (code << 6) | (c & 0x3f);
            ++m_at;
        }
        if (code < smallest || code > QChar::LastValidCodePoint || QChar::isSurrogate(code)) {
            return false;
        }
        if (QChar::requiresSurrogates(code)) {
            *out++ = QChar::highSurrogate(code);
            *out++ = QChar::lowSurrogate(code);
        } else {
            *out++ = static_cast<ushort>(code);
        }
        return true;
    }

    struct Key
    {
        const char* begin = nullptr; ///< The opening quote.
        std::size_t size = 0;        ///< Without the closing quote.
        QString text;
    };

    std::array<Key, 16> m_keys;
    const char* m_at;
    const char* const m_end;
    int m_valuesLeft;
};

} // namespace

bool readObject(const QByteArray& text, int maxValues, QVariantMap& object)
{
    return Reader(text, maxValues).readText(object);
}

} // namespace tarvex::plainjson
