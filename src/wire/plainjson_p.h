#ifndef PLAINJSON_P_H
#define PLAINJSON_P_H

#include <QByteArray>
#include <QVariantMap>

/// Reads JSON text that is as the bus's peers write it.
namespace tarvex::plainjson {

/// Reads \a text, which must be one JSON object, straight into \a object: the same values as those of
/// QJsonDocument::fromJson(text).object().toVariantMap(). \return false when the text is not plain, whether it is wrong
/// or only unusual; Qt's parser is to be asked then. What stands in \a object is of no use in that case.
///
/// Not plain are: a text that is no object; a key that comes twice in one object; text that is not valid UTF-8; what is
/// nested deeper than 256 levels; a text of more than \a maxValues values; any mistake.
bool readObject(const QByteArray& text, int maxValues, QVariantMap& object);

} // namespace tarvex::plainjson

#endif // PLAINJSON_P_H
