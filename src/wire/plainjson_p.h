#ifndef PLAINJSON_P_H
#define PLAINJSON_P_H

#include <QByteArray>
#include <QVariantMap>

/// Reads JSON text that is as the bus's peers write it.
namespace tarvex::plainjson {

/// Reads \a text, which must be one JSON object, straight into \a object, without the tree of QJsonValues in between.
/// The values are those of QJsonDocument::fromJson(text).object().toVariantMap().
///
/// \return false if the text is not plain: it is wrong, or only unusual. The caller then asks Qt's parser. \a object
/// has no meaning in that case. Not plain are: a text that is no object; a string that is not valid UTF-8, has a NUL or
/// a surrogate as an escape, or begins with a byte order mark; a number that does not fit exactly; nesting deeper than
/// 256 levels; more than \a maxValues values; and any mistake.
bool readObject(const QByteArray& text, int maxValues, QVariantMap& object);

} // namespace tarvex::plainjson

#endif // PLAINJSON_P_H
