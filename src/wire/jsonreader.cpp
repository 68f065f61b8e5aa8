#include "wire/jsonreader_p.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QVarLengthArray>
#include <QtAlgorithms>
#include <QtEndian>

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <numeric>
#include <string_view>
#include <vector>

#ifdef __SSE2__
#    include <emmintrin.h>
#endif

namespace tarvex::jsonreader {

namespace {

/// Qt's parser refuses a text that is nested deeper.
constexpr int MAX_DEPTH = 1024;
/// The number in front of a key, in hexadecimal digits.
constexpr int NUMBER_SIZE = 8;
constexpr int BLOCK_SIZE = 64;
constexpr quint64 ALL_BITS = ~quint64(0);

bool isSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

/// One bit for each byte of a block: 1 if (byte | \a ignored) is \a wanted. The first byte is the lowest bit.
quint64 matches(const char* block, char wanted, char ignored = 0)
{
    quint64 bits = 0;
#ifdef __SSE2__
    constexpr int STEP = 16;
    const __m128i wantedBytes = _mm_set1_epi8(wanted);
    const __m128i ignoredBits = _mm_set1_epi8(ignored);
    for (int i = 0; i < BLOCK_SIZE; i += STEP) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(block + i));
        const __m128i equal = _mm_cmpeq_epi8(_mm_or_si128(bytes, ignoredBits), wantedBytes);
        bits |= static_cast<quint64>(static_cast<quint32>(_mm_movemask_epi8(equal))) << i;
    }
#else
    // Eight bytes at a time, in plain arithmetic.
    constexpr int STEP = 8;
    constexpr quint64 EACH_BYTE = 0x0101010101010101;
    constexpr quint64 LOW_BITS = 0x7f * EACH_BYTE;
    for (int i = 0; i < BLOCK_SIZE; i += STEP) {
        const quint64 bytes = qFromLittleEndian<quint64>(block + i) | static_cast<quint64>(ignored) * EACH_BYTE;
        const quint64 different = bytes ^ (static_cast<quint64>(wanted) * EACH_BYTE);
        // Set the highest bit of each byte that is zero, then bring these eight bits together.
        const quint64 equal = ~(((different & LOW_BITS) + LOW_BITS) | different | LOW_BITS);
        bits |= ((equal >> 7) * 0x0102040810204080) >> 56 << i;
    }
#endif
    return bits;
}

/// Each bit becomes the parity of itself and of all lower bits.
quint64 parityUpTo(quint64 bits)
{
    for (int distance = 1; distance < BLOCK_SIZE; distance *= 2) {
        bits ^= bits << distance;
    }
    return bits;
}

/// One pass over a text before Qt's parser gets it. It finds out whether the text has too many values, and whether Qt
/// might leak memory when it parses it. It costs a hundredth of the parsing.
///
/// The result is correct for the text up to its first mistake, where Qt stops reading. After a mistake the result may
/// be wrong, which does no harm because Qt refuses the text there and leaks nothing more.
class Survey
{
public:
    explicit Survey(const QByteArray& text) // NOLINT(cppcoreguidelines-pro-type-member-init): not m_levels, see there
        : m_text(text.constData()), m_size(text.size()), m_isCounting(text.size() > MAX_UNCOUNTED_SIZE)
    {
        read();
    }

    bool hasTooManyValues() const { return m_isCounting && m_values > MAX_VALUES; }

    /// \return false if no value that is an object or an array has a key that comes again later in the same object.
    /// True means that there is one, or that only a closer look can tell.
    bool mayRepeatKeys();

private:
    enum class Kind {
        Array,
        Object,
        WatchedObject
    };

    /// An object or array that has begun and not ended.
    struct Level
    {
        int begin;
        Kind kind;
    };

    /// A key in an object whose keys are recorded.
    struct Key
    {
        int object;
        std::size_t hash;

        bool operator<(const Key& other) const
        {
            return object != other.object ? object < other.object : hash < other.hash;
        }

        bool operator==(const Key& other) const { return object == other.object && hash == other.hash; }
    };

    void read();
    bool readBlock(const char* block, int begin);
    bool readByte(int at);
    quint64 stringBits(const char* block);
    quint64 escapedBits(quint64 backslashes);
    bool open(int at);
    bool close();
    bool rememberKey(int colon);

    bool isWatching() const { return m_depth > 0 && top().kind == Kind::WatchedObject; }

    Level& top() { return m_levels[static_cast<std::size_t>(m_depth) - 1]; }

    const Level& top() const { return m_levels[static_cast<std::size_t>(m_depth) - 1]; }

    const char* const m_text;
    const int m_size;
    const bool m_isCounting;
    int m_values = 1;
    bool m_isDoubtful = false;
    quint64 m_isInString = 0; ///< All bits are set, or none.
    quint64 m_isEscaped = 0;  ///< 1 if the first byte of the next block follows a backslash that escapes it.
    int m_depth = 0;
    std::array<Level, MAX_DEPTH> m_levels; // not initialised, because most texts need few
    QVarLengthArray<Key, 32> m_keys;
};

bool Survey::mayRepeatKeys()
{
    // Sorted and not put into a hash table, because sorting takes no longer if a peer chooses keys whose hashes
    // collide.
    std::sort(m_keys.begin(), m_keys.end());
    return m_isDoubtful || std::adjacent_find(m_keys.cbegin(), m_keys.cend()) != m_keys.cend();
}

void Survey::read()
{
    int begin = 0;
    for (; m_size - begin >= BLOCK_SIZE; begin += BLOCK_SIZE) {
        if (!readBlock(m_text + begin, begin)) {
            return;
        }
    }
    if (begin < m_size) {
        char rest[BLOCK_SIZE] = {};
        std::memcpy(rest, m_text + begin, static_cast<std::size_t>(m_size - begin));
        readBlock(rest, begin);
    }
}

/// \return false if the rest of the text cannot change the result.
bool Survey::readBlock(const char* block, int begin)
{
    const quint64 outside = ~stringBits(block);
    // The four brackets. A few letters match as well, but they stand outside a string only by mistake.
    const quint64 brackets = matches(block, 0x7f, 0x26) & outside;
    if (m_isCounting) {
        m_values += static_cast<int>(qPopulationCount(matches(block, ',') & outside));
        if (m_values > MAX_VALUES) {
            return false;
        }
    }
    quint64 colons = 0;
    bool hasColons = false;
    quint64 ahead = ALL_BITS;
    for (;;) {
        if (isWatching() && !hasColons) {
            colons = matches(block, ':') & outside;
            hasColons = true;
        }
        const quint64 events = ahead & (isWatching() ? brackets | colons : brackets);
        if (events == 0) {
            return true;
        }
        const auto index = static_cast<int>(qCountTrailingZeroBits(events));
        ahead = ALL_BITS << index << 1;
        if (!readByte(begin + index)) {
            return false;
        }
    }
}

bool Survey::readByte(int at)
{
    switch (m_text[at]) {
    case '{':
    case '[':
        return open(at);
    case '}':
    case ']':
        return close();
    case ':':
        return rememberKey(at);
    default:
        return false;
    }
}

/// The bytes of a block that are inside strings, the opening quotes included.
quint64 Survey::stringBits(const char* block)
{
    quint64 quotes = matches(block, '"');
    const quint64 backslashes = matches(block, '\\');
    if ((backslashes | m_isEscaped) != 0) {
        quotes &= ~escapedBits(backslashes);
    }
    const quint64 bits = parityUpTo(quotes) ^ m_isInString;
    m_isInString = (bits >> (BLOCK_SIZE - 1)) != 0 ? ALL_BITS : 0;
    return bits;
}

/// The bytes of a block that follow a backslash that is not escaped itself.
quint64 Survey::escapedBits(quint64 backslashes)
{
    quint64 escaped = m_isEscaped;
    quint64 left = backslashes & ~escaped;
    m_isEscaped = 0;
    while (left != 0) {
        const quint64 backslash = left & (~left + 1);
        const quint64 next = backslash << 1;
        escaped |= next;
        m_isEscaped = next == 0 ? 1 : 0;
        left &= ~(backslash | next);
    }
    return escaped;
}

bool Survey::open(int at)
{
    if (m_depth == MAX_DEPTH) {
        m_isDoubtful = true;
        return false;
    }
    if (m_isCounting) {
        const char* next = std::find_if_not(m_text + at + 1, m_text + m_size, isSpace);
        m_values += next != m_text + m_size && *next != '}' && *next != ']' ? 1 : 0;
    }
    if (m_depth > 0 && top().kind == Kind::Object) {
        // Only objects and arrays leak, so the keys of an object matter from its first such member on.
        top().kind = Kind::WatchedObject;
        int colon = at - 1;
        while (colon >= 0 && isSpace(m_text[colon])) {
            --colon;
        }
        if (colon < 0 || m_text[colon] != ':' || !rememberKey(colon)) {
            return false;
        }
    }
    ++m_depth;
    top() = {at, m_text[at] == '{' ? Kind::Object : Kind::Array};
    return true;
}

bool Survey::close()
{
    --m_depth;
    return m_depth > 0;
}

bool Survey::rememberKey(int colon)
{
    int end = colon - 1;
    while (end >= 0 && isSpace(m_text[end])) {
        --end;
    }
    if (end <= 0 || m_text[end] != '"') {
        return false;
    }
    // If a key has escaped quotes, this is only what follows the last of them. That is enough: if two different keys
    // have the same end, a closer look is made, which finds no repeat.
    int begin = end;
    while (begin > 0 && m_text[begin - 1] != '"') {
        --begin;
        // A key with escapes can be equal to a key that is written differently.
        m_isDoubtful = m_isDoubtful || m_text[begin] == '\\' || m_text[begin] == '\0';
    }
    if (m_isDoubtful) {
        return m_isCounting;
    }
    const std::string_view key(m_text + begin, static_cast<std::size_t>(end - begin));
    m_keys.append({top().begin, std::hash<std::string_view>()(key)});
    return true;
}

/// Finds the end of the string that begins with the quote at \a quote: its closing quote, or the end of the text.
int stringEnd(const QByteArray& text, int quote)
{
    int end = quote;
    bool isEscaped = true;
    while (isEscaped) {
        end = text.indexOf('"', end + 1);
        if (end < 0) {
            return text.size();
        }
        int backslashes = 0;
        while (text.at(end - 1 - backslashes) == '\\') {
            ++backslashes;
        }
        isEscaped = backslashes % 2 != 0;
    }
    return end;
}

/// Whether the string that ends at \a end is a key: only a key may have a colon after it.
bool isKey(const QByteArray& text, int end)
{
    const auto next = std::find_if_not(std::min(text.cbegin() + end + 1, text.cend()), text.cend(), isSpace);
    return next != text.cend() && *next == ':';
}

/// Returns \a text with a number in front of each key. No key repeats in it. Everything else that Qt's parser looks at
/// is unchanged, so the parser accepts it if it accepts \a text, and refuses it if it refuses \a text.
QByteArray withNumberedKeys(const QByteArray& text)
{
    QByteArray numbered;
    numbered.reserve(text.size() + text.size() / 2);
    int copied = 0;
    int count = 0;
    // A valid text has no more keys than values, so any further key comes after a mistake.
    for (int quote = text.indexOf('"'); quote >= 0 && count <= MAX_VALUES;) {
        const int end = stringEnd(text, quote);
        if (isKey(text, end)) {
            numbered.append(text.constData() + copied, quote + 1 - copied);
            numbered.append(QByteArray::number(count, 16).rightJustified(NUMBER_SIZE, '0'));
            copied = quote + 1;
            ++count;
        }
        quote = text.indexOf('"', end + 1);
    }
    return numbered.append(text.constData() + copied, text.size() - copied);
}

/// A member of one of the objects in a text.
struct Member
{
    int object;             ///< The number of the object. Objects are counted in the order in which they begin.
    int keyBegin;           ///< The opening quote of the key.
    int keyEnd;             ///< Its closing quote.
    int containerBegin = 0; ///< The first byte of the value, if it is an object or an array.
    int containerEnd = 0;   ///< The byte after its last byte; 0 if the value is neither.
};

/// All members of a valid text, in the order of the text.
std::vector<Member> membersOf(const QByteArray& text)
{
    struct Container
    {
        int object;      // not used in an array
        int member = -1; // the latest member of an object
    };

    std::vector<Member> members;
    std::vector<Container> open;
    const auto latest = [&]() -> Member* {
        const int member = open.empty() ? -1 : open.back().member;
        return member < 0 ? nullptr : &members[static_cast<std::size_t>(member)];
    };
    int objects = 0;
    for (int i = 0; i < text.size(); ++i) {
        const char c = text.at(i);
        if (c == '{' || c == '[') {
            if (Member* const owner = latest()) {
                owner->containerBegin = i;
            }
            open.push_back({objects});
            ++objects;
        } else if (c == '}' || c == ']') {
            open.pop_back();
            if (Member* const owner = latest()) {
                owner->containerEnd = i + 1;
            }
        } else if (c == '"') {
            const int end = stringEnd(text, i);
            if (isKey(text, end)) {
                open.back().member = static_cast<int>(members.size());
                members.push_back({open.back().object, i, end});
            }
            i = end;
        }
    }
    return members;
}

/// Tells for each of the \a members whether it counts, or a later one with the same key does. Qt's parser decides this,
/// because it is not obvious which keys are equal for Qt if they have NUL bytes or escaped surrogates. Qt gets all
/// objects side by side, and each member has its number as the value, because numbers do not leak.
std::vector<bool> whichCount(const QByteArray& text, const std::vector<Member>& members)
{
    std::vector<int> order(members.size());
    std::iota(order.begin(), order.end(), 0);
    const auto objectOf = [&](int number) { return members[static_cast<std::size_t>(number)].object; };
    std::stable_sort(order.begin(), order.end(), [&](int a, int b) { return objectOf(a) < objectOf(b); });

    QByteArray flat = "[";
    int object = -1;
    for (const int number : order) {
        const Member& member = members[static_cast<std::size_t>(number)];
        if (object >= 0) {
            flat.append(member.object == object ? "," : "},");
        }
        if (member.object != object) {
            flat.append('{');
            object = member.object;
        }
        flat.append(text.constData() + member.keyBegin, member.keyEnd + 1 - member.keyBegin);
        flat.append(':').append(QByteArray::number(number));
    }
    flat.append("}]");

    std::vector<bool> counts(members.size());
    const QJsonArray objects = QJsonDocument::fromJson(flat).array();
    for (const QJsonValue& value : objects) {
        const QJsonObject survivors = value.toObject();
        for (const QJsonValue& number : survivors) {
            counts[static_cast<std::size_t>(number.toInt())] = true;
        }
    }
    return counts;
}

/// Returns \a text, which is valid, with 0 in place of each object and array whose key comes again.
QByteArray withoutLosses(const QByteArray& text)
{
    const std::vector<Member> members = membersOf(text);
    const std::vector<bool> counts = whichCount(text, members);
    QByteArray reduced;
    reduced.reserve(text.size());
    int copied = 0;
    for (std::size_t i = 0; i < members.size(); ++i) {
        const Member& member = members[i];
        // A member inside a value that is left out already needs no replacement.
        if (!counts[i] && member.containerEnd > 0 && member.containerBegin >= copied) {
            reduced.append(text.constData() + copied, member.containerBegin - copied).append('0');
            copied = member.containerEnd;
        }
    }
    return reduced.append(text.constData() + copied, text.size() - copied);
}

/// Parses a text in which keys may repeat. The first step accepts or refuses the whole text, because a mistake could be
/// inside a value that a later step leaves out.
QJsonDocument parseRepeated(const QByteArray& text, QJsonParseError& error)
{
    QJsonDocument::fromJson(withNumberedKeys(text), &error);
    return error.error == QJsonParseError::NoError ? QJsonDocument::fromJson(withoutLosses(text), &error)
                                                   : QJsonDocument();
}

} // namespace

QJsonDocument parseJson(const QByteArray& text, QJsonParseError& error)
{
    Survey survey(text);
    if (survey.hasTooManyValues()) {
        error = {0, QJsonParseError::DocumentTooLarge};
        return {};
    }
    return survey.mayRepeatKeys() ? parseRepeated(text, error) : QJsonDocument::fromJson(text, &error);
}

} // namespace tarvex::jsonreader
