#include "wire/jsonwriter_p.h"

#include <QJsonDocument>
#include <QLocale>
#include <QStringList>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

namespace tarvex::jsonwriter {

namespace {

/// Qt's writer calls itself for each level as well; deeper values are left to it.
constexpr int MAX_DEPTH = 256;
/// Up to here every integer is a double as well. Qt turns integers into doubles before it writes them.
constexpr qint64 MAX_EXACT_INTEGER = Q_INT64_C(1) << 53;

/// Room for a short text, in bytes.
constexpr int MIN_ROOM = 512;
/// A string is written in pieces of this many UTF-16 units.
constexpr int PIECE_SIZE = 1024;
/// A UTF-16 unit takes at most this many bytes: "\u0000". Outside ASCII it takes three, and a pair of surrogates four.
constexpr int MAX_ESCAPE_SIZE = 6;

/// For each ASCII character what stands behind the backslash; 'u' for a number; 0 when it is written as it is.
constexpr std::array<char, 128> escapes()
{
    std::array<char, 128> table{};
    for (std::size_t c = 0; c < 0x20; ++c) {
        table[c] = 'u';
    }
    table['\b'] = 'b';
    table['\f'] = 'f';
    table['\n'] = 'n';
    table['\r'] = 'r';
    table['\t'] = 't';
    table['"'] = '"';
    table['\\'] = '\\';
    return table;
}

constexpr std::array<char, 128> ESCAPES = escapes();

/// Writes one text. Every operation returns false for what is left to Qt; what was written is of no use then.
class Writer
{
public:
    explicit Writer(QByteArray& text) : m_text(text) { }

    bool writeObject(const QVariantMap& object, int depth)
    {
        if (depth > MAX_DEPTH) {
            return false;
        }
        char separator = '{';
        const QString* former = nullptr;
        for (auto member = object.cbegin(); member != object.cend(); ++member) {
            // A map may have been made of a multi-map. Qt writes one of the values then.
            const bool isRepeated = former != nullptr && *former == member.key();
            m_text.append(separator);
            separator = ',';
            former = &member.key();
            if (isRepeated || !writeString(member.key())) {
                return false;
            }
            m_text.append(':');
            if (!writeValue(member.value(), depth + 1)) {
                return false;
            }
        }
        if (separator == '{') {
            m_text.append('{');
        }
        m_text.append('}');
        return true;
    }

private:
    bool writeValue(const QVariant& value, int depth)
    {
        switch (value.userType()) {
        case QMetaType::QString:
            return writeString(*static_cast<const QString*>(value.constData()));
        case QMetaType::QVariantMap:
            return writeObject(*static_cast<const QVariantMap*>(value.constData()), depth);
        case QMetaType::QVariantList:
            return writeList(*static_cast<const QVariantList*>(value.constData()), depth);
        case QMetaType::QStringList:
            return writeList(*static_cast<const QStringList*>(value.constData()), depth);
        case QMetaType::Int:
        case QMetaType::UInt:
        case QMetaType::LongLong:
            return writeInteger(value.toLongLong());
        case QMetaType::Double:
            return writeDouble(value.toDouble());
        case QMetaType::Bool:
            m_text.append(value.toBool() ? "true" : "false");
            return true;
        case QMetaType::UnknownType:
        case QMetaType::Nullptr:
            m_text.append("null");
            return true;
        default:
            return false;
        }
    }

    bool writeItem(const QString& item, int depth)
    {
        Q_UNUSED(depth)
        return writeString(item);
    }

    bool writeItem(const QVariant& item, int depth) { return writeValue(item, depth); }

    template <typename List>
    bool writeList(const List& list, int depth)
    {
        if (depth > MAX_DEPTH) {
            return false;
        }
        char separator = '[';
        for (const auto& item : list) {
            m_text.append(separator);
            separator = ',';
            if (!writeItem(item, depth + 1)) {
                return false;
            }
        }
        if (separator == '[') {
            m_text.append('[');
        }
        m_text.append(']');
        return true;
    }

    bool writeInteger(qint64 number)
    {
        if (number > MAX_EXACT_INTEGER || number < -MAX_EXACT_INTEGER) {
            return false;
        }
        // Not std::to_chars(), because it brings a symbol that keeps the library from being unloaded.
        std::array<char, 20> digits{};
        char* begin = digits.data() + digits.size();
        qint64 rest = std::abs(number);
        do {
            *--begin = static_cast<char>('0' + rest % 10);
            rest /= 10;
        } while (rest > 0);
        if (number < 0) {
            *--begin = '-';
        }
        m_text.append(begin, static_cast<int>(digits.data() + digits.size() - begin));
        return true;
    }

    bool writeDouble(double number)
    {
        if (!(std::abs(number) <= static_cast<double>(MAX_EXACT_INTEGER))) {
            return false;
        }
        const auto integer = static_cast<qint64>(number);
        if (static_cast<double>(integer) == number) {
            return writeInteger(integer);
        }
        m_text.append(QByteArray::number(number, 'g', QLocale::FloatingPointShortest));
        return true;
    }

    bool writeString(const QString& string)
    {
        m_text.append('"');
        // Not utf16(), which may change the string to end it with a NUL.
        const auto* in = reinterpret_cast<const ushort*>(string.constData());
        const ushort* const end = in + string.size();
        while (in != end) {
            // In pieces, so that the room that is taken beforehand stays small.
            if (!writePiece(in, in + std::min<qptrdiff>(end - in, PIECE_SIZE), end)) {
                return false;
            }
        }
        m_text.append('"');
        return true;
    }

    /// Writes what begins before \a pieceEnd, and moves \a in behind it. A pair of surrogates may end behind it.
    bool writePiece(const ushort*& in, const ushort* pieceEnd, const ushort* end)
    {
        const int begin = m_text.size();
        m_text.resize(begin + MAX_ESCAPE_SIZE * static_cast<int>(pieceEnd - in));
        char* out = m_text.data() + begin;
        while (in < pieceEnd) {
            const ushort c = *in++;
            if (c < 0x80) {
                out = writeAscii(static_cast<uchar>(c), out);
            } else if (!QChar::isSurrogate(c)) {
                out = writeUtf8(c, out);
            } else if (QChar::isHighSurrogate(c) && in != end && QChar::isLowSurrogate(*in)) {
                out = writeUtf8(QChar::surrogateToUcs4(c, *in++), out);
            } else {
                return false;
            }
        }
        m_text.resize(static_cast<int>(out - m_text.constData()));
        return true;
    }

    static char* writeAscii(uchar c, char* out)
    {
        const char escape = ESCAPES[c];
        if (escape == 0) {
            *out++ = static_cast<char>(c);
            return out;
        }
        *out++ = '\\';
        *out++ = escape;
        if (escape == 'u') {
            *out++ = '0';
            *out++ = '0';
            *out++ = c < 0x10 ? '0' : '1';
            *out++ = "0123456789abcdef"[c & 0xf];
        }
        return out;
    }

    /// \a code is not ASCII.
    static char* writeUtf8(uint code, char* out)
    {
        if (code < 0x800) {
            *out++ = static_cast<char>(0xc0 | (code >> 6));
        } else {
            if (code < 0x10000) {
                *out++ = static_cast<char>(0xe0 | (code >> 12));
            } else {
                *out++ = static_cast<char>(0xf0 | (code >> 18));
                *out++ = static_cast<char>(0x80 | ((code >> 12) & 0x3f));
            }
            *out++ = static_cast<char>(0x80 | ((code >> 6) & 0x3f));
        }
        *out++ = static_cast<char>(0x80 | (code & 0x3f));
        return out;
    }

    QByteArray& m_text;
};

} // namespace

void append(QByteArray& text, const QVariantMap& object)
{
    const int begin = text.size();
    // Room that is reserved is kept. Otherwise each piece of a string would change the allocation twice.
    text.reserve(std::max(text.capacity(), begin + MIN_ROOM));
    if (!Writer(text).writeObject(object, 0)) {
        text.truncate(begin);
        text.append(QJsonDocument::fromVariant(object).toJson(QJsonDocument::Compact));
    }
}

} // namespace tarvex::jsonwriter
