#ifndef JSONREADER_P_H
#define JSONREADER_P_H

#include <QByteArray>
#include <QJsonDocument>

/// The one way in which JSON text that came from the bus is read. Qt's parser does the work; this keeps within bounds
/// the memory that a peer can make it take. Pure functions: no state and no log line.
namespace tarvex::jsonreader {

/// The values of a text up to this size are not counted, in bytes.
constexpr int MAX_UNCOUNTED_SIZE = 1024 * 1024;
/// A longer text with more values than this is refused: a value needs up to 30 times the memory that its text needs.
/// Objects and arrays count, the outermost included; keys do not.
constexpr int MAX_VALUES = 1000000;

/// Parses \a text as QJsonDocument::fromJson() does, with the same result and the same error, except:
///
/// - A text above both bounds is refused with QJsonParseError::DocumentTooLarge.
/// - A key that comes twice in one object leaves nothing behind. Qt 5.15 never frees the former value when that is an
///   object or an array. As with Qt, the last value counts.
/// - The error's offset is of no use where a key may come twice.
///
/// \a error is always filled in.
QJsonDocument parseJson(const QByteArray& text, QJsonParseError& error);

} // namespace tarvex::jsonreader

#endif // JSONREADER_P_H
