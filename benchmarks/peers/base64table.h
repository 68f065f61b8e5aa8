#ifndef BASE64TABLE_H
#define BASE64TABLE_H

#include <cstddef>

/// Base64 by tables of several characters at a time.
namespace base64table {

constexpr std::size_t encodedSize(std::size_t size)
{
    return (size + 2) / 3 * 4;
}

/// Writes encodedSize(\a size) characters to \a to.
void encode(const char* from, std::size_t size, char* to);

/// Writes up to \a size / 4 * 3 bytes to \a to. \a size is a multiple of 4. \return how many bytes.
std::size_t decode(const char* from, std::size_t size, char* to);

} // namespace base64table

#endif // BASE64TABLE_H
