#ifndef BASE64_P_H
#define BASE64_P_H

#include <QByteArray>

/// Base64 by tables. The results are those of QByteArray.
namespace tarvex::base64 {

/// How many characters \a size bytes have.
constexpr int encodedSize(int size)
{
    return (size + 2) / 3 * 4;
}

/// Writes encodedSize(\a size) characters to \a out.
void encode(const char* bytes, int size, char* out);

/// Decodes as QByteArray::fromBase64() does, which skips what is no base64.
QByteArray decode(const QByteArray& text);

} // namespace tarvex::base64

#endif // BASE64_P_H
