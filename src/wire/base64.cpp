#include "wire/base64_p.h"

#include <array>
#include <cstring>

namespace tarvex::base64 {

namespace {

constexpr std::array<char, 65> ALPHABET{"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"};
constexpr char PADDING = '=';

using Pair = std::array<char, 2>;

/// The two characters for each 12 bits.
constexpr std::array<Pair, 4096> pairs()
{
    std::array<Pair, 4096> table{};
    for (std::size_t bits = 0; bits < table.size(); ++bits) {
        table[bits] = {ALPHABET[bits >> 6], ALPHABET[bits & 63]};
    }
    return table;
}

/// What a character outside the alphabet stands for. Others stand for less.
constexpr uchar NONE = 64;

/// What each character stands for.
constexpr std::array<uchar, 256> values()
{
    std::array<uchar, 256> table{};
    for (uchar& value : table) {
        value = NONE;
    }
    for (uchar i = 0; i < NONE; ++i) {
        table[static_cast<uchar>(ALPHABET[i])] = i;
    }
    return table;
}

constexpr std::array<Pair, 4096> PAIRS = pairs();
constexpr std::array<uchar, 256> VALUES = values();

/// Writes the 24 bits of \a group as four characters.
void writeGroup(uint group, char* out)
{
    std::memcpy(out, PAIRS[group >> 12].data(), 2);
    std::memcpy(out + 2, PAIRS[group & 0xfff].data(), 2);
}

/// Reads four characters. \return 24 bits, and NONE in \a odd if one of the characters is outside the alphabet.
uint readGroup(const uchar* in, uint& odd)
{
    const uint a = VALUES[in[0]];
    const uint b = VALUES[in[1]];
    const uint c = VALUES[in[2]];
    const uint d = VALUES[in[3]];
    odd |= a | b | c | d;
    return a << 18 | b << 12 | c << 6 | d;
}

char byteOf(uint group, int shift)
{
    return static_cast<char>(group >> shift & 0xff);
}

} // namespace

void encode(const char* bytes, int size, char* out)
{
    const auto* in = reinterpret_cast<const uchar*>(bytes);
    const uchar* const end = in + (size - size % 3);
    for (; in != end; in += 3, out += 4) {
        writeGroup(uint(in[0]) << 16 | uint(in[1]) << 8 | in[2], out);
    }
    if (size % 3 != 0) {
        const bool hasTwo = size % 3 == 2;
        writeGroup(uint(in[0]) << 16 | (hasTwo ? uint(in[1]) << 8 : 0), out);
        out[2] = hasTwo ? out[2] : PADDING;
        out[3] = PADDING;
    }
}

QByteArray decode(const QByteArray& text)
{
    if (text.isEmpty() || text.size() % 4 != 0) {
        return QByteArray::fromBase64(text);
    }
    const int padding = !text.endsWith(PADDING) ? 0 : text.at(text.size() - 2) != PADDING ? 1 : 2;
    const int groups = text.size() / 4;
    QByteArray bytes(groups * 3, Qt::Uninitialized);
    char* out = bytes.data();
    const auto* in = reinterpret_cast<const uchar*>(text.constData());
    const uchar* const end = in + (text.size() - (padding > 0 ? 4 : 0));
    uint odd = 0;
    for (; in != end; in += 4, out += 3) {
        const uint group = readGroup(in, odd);
        out[0] = byteOf(group, 16);
        out[1] = byteOf(group, 8);
        out[2] = byteOf(group, 0);
    }
    if (padding > 0) {
        // 'A' stands for no bits.
        const std::array<uchar, 4> last{in[0], in[1], padding == 1 ? in[2] : uchar('A'), 'A'};
        const uint group = readGroup(last.data(), odd);
        out[0] = byteOf(group, 16);
        out[1] = byteOf(group, 8);
    }
    if ((odd & NONE) != 0) {
        return QByteArray::fromBase64(text);
    }
    bytes.truncate(groups * 3 - padding);
    return bytes;
}

} // namespace tarvex::base64
