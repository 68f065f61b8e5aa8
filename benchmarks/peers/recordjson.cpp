#include "recordjson.h"

#include "require.h"

#include <charconv>

namespace recordjson {

namespace {

constexpr char HEX_DIGITS[] = "0123456789abcdef";

/// What follows the backslash, or 0 if the character is not written so.
char shortEscape(ushort character)
{
    switch (character) {
    case '"':
    case '\\':
        return static_cast<char>(character);
    case '\b':
        return 'b';
    case '\f':
        return 'f';
    case '\n':
        return 'n';
    case '\r':
        return 'r';
    case '\t':
        return 't';
    default:
        return 0;
    }
}

char meant(char escape)
{
    switch (escape) {
    case 'b':
        return '\b';
    case 'f':
        return '\f';
    case 'n':
        return '\n';
    case 'r':
        return '\r';
    case 't':
        return '\t';
    default:
        return escape;
    }
}

void appendUtf8(std::string& json, uint character)
{
    if (character < 0x80) {
        json += static_cast<char>(character);
    } else if (character < 0x800) {
        json += {static_cast<char>(0xc0 | character >> 6), static_cast<char>(0x80 | (character & 63))};
    } else if (character < 0x10000) {
        json += {static_cast<char>(0xe0 | character >> 12), static_cast<char>(0x80 | (character >> 6 & 63)),
                 static_cast<char>(0x80 | (character & 63))};
    } else {
        json += {static_cast<char>(0xf0 | character >> 18), static_cast<char>(0x80 | (character >> 12 & 63)),
                 static_cast<char>(0x80 | (character >> 6 & 63)), static_cast<char>(0x80 | (character & 63))};
    }
}

/// \a width digits, with zeros in front.
void appendNumber(std::string& json, int number, int width)
{
    char digits[4];
    for (int at = width - 1; at >= 0; --at, number /= 10) {
        digits[at] = static_cast<char>('0' + number % 10);
    }
    json.append(digits, static_cast<size_t>(width));
}

int numberAt(std::string_view text, size_t at, size_t width)
{
    int number = 0;
    std::from_chars(text.data() + at, text.data() + at + width, number);
    return number;
}

} // namespace

void append(std::string& json, const QString& text)
{
    json += '"';
    const QChar* const end = text.cend();
    for (const QChar* next = text.cbegin(); next != end; ++next) {
        const ushort character = next->unicode();
        if (character >= 0x20 && character < 0x80 && character != '"' && character != '\\') {
            json += static_cast<char>(character);
        } else if (const char escape = shortEscape(character); escape != 0) {
            json += {'\\', escape};
        } else if (character < 0x20) {
            json += {'\\', 'u', '0', '0', HEX_DIGITS[character >> 4], HEX_DIGITS[character & 15]};
        } else if (next->isHighSurrogate() && next + 1 != end) {
            appendUtf8(json, QChar::surrogateToUcs4(next[0], next[1]));
            ++next;
        } else {
            appendUtf8(json, character);
        }
    }
    json += '"';
}

void append(std::string& json, const QDateTime& date)
{
    const QDate day = date.date();
    const QTime time = date.time();
    json += '"';
    appendNumber(json, day.year(), 4);
    json += '-';
    appendNumber(json, day.month(), 2);
    json += '-';
    appendNumber(json, day.day(), 2);
    json += 'T';
    appendNumber(json, time.hour(), 2);
    json += ':';
    appendNumber(json, time.minute(), 2);
    json += ':';
    appendNumber(json, time.second(), 2);
    json += '.';
    appendNumber(json, time.msec(), 3);
    json += '"';
}

QString Reader::string()
{
    const std::string_view raw = rawString();
    if (m_isPlain) {
        return QString::fromLatin1(raw.data(), static_cast<int>(raw.size()));
    }
    return m_isEscaped ? unescaped(raw) : QString::fromUtf8(raw.data(), static_cast<int>(raw.size()));
}

QDateTime Reader::date()
{
    const std::string_view raw = rawString();
    if (raw.size() != 23) {
        return {};
    }
    return QDateTime(QDate(numberAt(raw, 0, 4), numberAt(raw, 5, 2), numberAt(raw, 8, 2)),
                     QTime(numberAt(raw, 11, 2), numberAt(raw, 14, 2), numberAt(raw, 17, 2), numberAt(raw, 20, 3)),
                     Qt::UTC);
}

double Reader::number()
{
    double value = 0;
    m_next = std::from_chars(m_next, m_end, value).ptr;
    return value;
}

QVariant Reader::scalar()
{
    switch (*m_next) {
    case '"':
        return string();
    case 't':
        m_next += 4;
        return true;
    case 'f':
        m_next += 5;
        return false;
    default:
        return number();
    }
}

void Reader::skip()
{
    if (*m_next == '{') {
        object([this](std::string_view) { skip(); });
    } else if (*m_next == '[') {
        list([this] { skip(); });
    } else {
        scalar();
    }
}

void Reader::take(char expected)
{
    require(m_next != m_end && *m_next == expected, "the text is not the JSON that is expected");
    ++m_next;
}

void Reader::takeIf(char wanted)
{
    if (*m_next == wanted) {
        ++m_next;
    }
}

std::string_view Reader::rawString()
{
    take('"');
    const char* const begin = m_next;
    unsigned char seen = 0;
    m_isEscaped = false;
    for (; m_next != m_end && *m_next != '"'; ++m_next) {
        if (*m_next == '\\') {
            m_isEscaped = true;
            ++m_next;
        }
        seen |= static_cast<unsigned char>(*m_next);
    }
    m_isPlain = !m_isEscaped && seen < 0x80;
    const std::string_view raw(begin, static_cast<size_t>(m_next - begin));
    take('"');
    return raw;
}

QString Reader::unescaped(std::string_view raw)
{
    m_buffer.clear();
    for (size_t at = 0; at < raw.size(); ++at) {
        if (raw[at] != '\\') {
            m_buffer += raw[at];
        } else if (raw[++at] != 'u') {
            m_buffer += meant(raw[at]);
        } else {
            uint character = 0;
            std::from_chars(raw.data() + at + 1, raw.data() + at + 5, character, 16);
            appendUtf8(m_buffer, character);
            at += 4;
        }
    }
    return QString::fromUtf8(m_buffer.data(), static_cast<int>(m_buffer.size()));
}

} // namespace recordjson
