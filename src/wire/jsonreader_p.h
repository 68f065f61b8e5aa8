#ifndef JSONREADER_P_H
#define JSONREADER_P_H

#include <QByteArray>
#include <QJsonDocument>

/// Reads JSON text that came from the bus, for the whole library. Qt's parser does the work. The function here bounds
/// the memory that a peer can make the parser take. It keeps no state and logs nothing.
namespace tarvex::jsonreader {

/// The values of a text up to this size are not counted, in bytes.
constexpr int MAX_UNCOUNTED_SIZE = 1024 * 1024;
/// A longer text with more values than this is refused, because a value needs up to 30 times the memory of its text.
/// Objects and arrays count as values, the outermost one too. Keys do not count.
constexpr int MAX_VALUES = 1000000;

/// Parses \a text as QJsonDocument::fromJson() does, with the same result and the same error, except:
///
/// - A text above both bounds is refused with QJsonParseError::DocumentTooLarge.
/// - A key that comes twice in one object leaks no memory. Qt 5.15 never frees the former value if that is an object or
///   an array. The last value counts, as with Qt.
/// - The offset in the error has no meaning if a key may come twice.
///
/// \a error is always filled in.
QJsonDocument parseJson(const QByteArray& text, QJsonParseError& error);

} // namespace tarvex::jsonreader

#endif // JSONREADER_P_H
