#ifndef JSONWRITER_P_H
#define JSONWRITER_P_H

#include <QByteArray>
#include <QVariantMap>

/// Writes JSON text for the bus, exactly as QJsonDocument does, without the tree of QJsonValues in between.
namespace tarvex::jsonwriter {

/// Appends \a object as compact JSON to \a text. The bytes are those of
/// QJsonDocument::fromVariant(object).toJson(QJsonDocument::Compact). Qt writes the whole text if a value has a type
/// that is rare on the bus, a string is not valid UTF-16, a number is beyond 2^53 or not finite, a key comes twice, or
/// the nesting is deeper than 256 levels.
void append(QByteArray& text, const QVariantMap& object);

} // namespace tarvex::jsonwriter

#endif // JSONWRITER_P_H
