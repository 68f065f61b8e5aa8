#include "base64table.h"

#include <array>
#include <cstdint>
#include <cstring>

namespace base64table {

namespace {

constexpr char ALPHABET[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// Two characters for each value of 12 bits.
struct Pair
{
    char first;
    char second;
};

constexpr std::array<Pair, 4096> makePairs()
{
    std::array<Pair, 4096> pairs{};
    for (std::size_t value = 0; value < pairs.size(); ++value) {
        pairs[value] = {ALPHABET[value >> 6], ALPHABET[value & 63]};
    }
    return pairs;
}

/// The value of each character, at one of its four places in a group.
constexpr std::array<std::uint32_t, 256> makeValues(int shift)
{
    std::array<std::uint32_t, 256> values{};
    for (std::uint32_t value = 0; value < 64; ++value) {
        values[static_cast<unsigned char>(ALPHABET[value])] = value << shift;
    }
    return values;
}

constexpr auto PAIRS = makePairs();
constexpr auto FIRST = makeValues(18);
constexpr auto SECOND = makeValues(12);
constexpr auto THIRD = makeValues(6);
constexpr auto FOURTH = makeValues(0);

constexpr std::uint32_t byteAt(const char* bytes, std::size_t index)
{
    return static_cast<unsigned char>(bytes[index]);
}

} // namespace

void encode(const char* from, std::size_t size, char* to)
{
    for (; size >= 3; size -= 3, from += 3, to += 4) {
        const std::uint32_t group = byteAt(from, 0) << 16 | byteAt(from, 1) << 8 | byteAt(from, 2);
        std::memcpy(to, &PAIRS[group >> 12], 2);
        std::memcpy(to + 2, &PAIRS[group & 4095], 2);
    }
    if (size > 0) {
        const std::uint32_t group = byteAt(from, 0) << 16 | (size == 2 ? byteAt(from, 1) << 8 : 0);
        std::memcpy(to, &PAIRS[group >> 12], 2);
        to[2] = size == 2 ? ALPHABET[group >> 6 & 63] : '=';
        to[3] = '=';
    }
}

std::size_t decode(const char* from, std::size_t size, char* to)
{
    const char* const begin = to;
    for (std::size_t at = 0; at + 4 <= size; at += 4) {
        const std::uint32_t group = FIRST[byteAt(from, at)] | SECOND[byteAt(from, at + 1)] | THIRD[byteAt(from, at + 2)]
            | FOURTH[byteAt(from, at + 3)];
        *to++ = static_cast<char>(group >> 16);
        *to++ = static_cast<char>(group >> 8);
        *to++ = static_cast<char>(group);
    }
    const std::size_t padding = size < 4 || from[size - 1] != '=' ? 0 : from[size - 2] != '=' ? 1 : 2;
    return static_cast<std::size_t>(to - begin) - padding;
}

} // namespace base64table
