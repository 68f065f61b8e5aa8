#include "wire/base64_p.h"

#include <array>
#include <cstring>

namespace tarvex::base64 {

namespace {

constexpr char ALPHABET[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// Two characters for each 12 bits.
constexpr std::array<char, 2 * 4096> pairs()
{
    std::array<char, 2 * 4096> table{};
    for (std::size_t i = 0; i < 4096; ++i) {
        table[2 * i] = ALPHABET[i >> 6];
        table[2 * i + 1] = ALPHABET[i & 63];
    }
    return table;
}

constexpr uchar NONE = 64;

/// What each character stands for.
constexpr std::array<uchar, 256> values()
{
    std::array<uchar, 256> table{};
    for (uchar& value : table) {
        value = NONE;
    }
    for (std::size_t i = 0; i < 64; ++i) {
        table[static_cast<uchar>(ALPHABET[i])] = static_cast<uchar>(i);
    }
    return table;
}

constexpr std::array<char, 2 * 4096> PAIRS = pairs();
constexpr std::array<uchar, 256> VALUES = values();

} // namespace

void encode(const char* bytes, int size, char* out)
{
    const auto* in = reinterpret_cast<const uchar*>(bytes);
    const uchar* const end = in + size - size % 3;
    for (; in != end; in += 3, out += 4) {
        const uint group = uint(in[0]) << 16 | uint(in[1]) << 8 | in[2];
        std::memcpy(out, &PAIRS[2 * (group >> 12)], 2);
        std::memcpy(out + 2, &PAIRS[2 * (group & 0xfff)], 2);
    }
    if (size % 3 != 0) {
        const uint group = uint(in[0]) << 16 | (size % 3 == 2 ? uint(in[1]) << 8 : 0);
        std::memcpy(out, &PAIRS[2 * (group >> 12)], 2);
        out[2] = size % 3 == 2 ? ALPHABET[group >> 6 & 63] : '=';
        out[3] = '=';
    }
}

QByteArray decode(const QByteArray& text)
{
    int size = text.size();
    if (size == 0 || size % 4 != 0) {
        return QByteArray::fromBase64(text);
    }
    const auto* in = reinterpret_cast<const uchar*>(text.constData());
    const int padding = in[size - 1] != '=' ? 0 : in[size - 2] != '=' ? 1 : 2;
    QByteArray bytes(size / 4 * 3, Qt::Uninitialized);
    char* out = bytes.data();
    const uchar* const end = in + size - (padding > 0 ? 4 : 0);
    uint odd = 0;
    for (; in != end; in += 4, out += 3) {
        const uint a = VALUES[in[0]];
        const uint b = VALUES[in[1]];
        const uint c = VALUES[in[2]];
        const uint d = VALUES[in[3]];
        odd |= a | b | c | d;
        const uint group = a << 18 | b << 12 | c << 6 | d;
        out[0] = static_cast<char>(group >> 16);
        out[1] = static_cast<char>(group >> 8);
        out[2] = static_cast<char>(group);
    }
    if (padding > 0) {
        const uint a = VALUES[in[0]];
        const uint b = VALUES[in[1]];
        const uint c = padding == 1 ? VALUES[in[2]] : 0;
        odd |= a | b | c;
        const uint group = a << 18 | b << 12 | c << 6;
        out[0] = static_cast<char>(group >> 16);
        out[1] = static_cast<char>(group >> 8);
    }
    if ((odd & NONE) != 0) {
        return QByteArray::fromBase64(text);
    }
    bytes.truncate(size / 4 * 3 - padding);
    return bytes;
}

} // namespace tarvex::base64
