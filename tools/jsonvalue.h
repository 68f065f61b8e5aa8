#ifndef JSONVALUE_H
#define JSONVALUE_H

#include <QString>
#include <QVariant>

/// JSON that stands on the command line.
namespace tarvexctl {

bool isJson(const QString& text);

/// The JSON value that \a text holds, or \a text itself when it is not JSON, so that plain words need no quotes. Throws
/// Failure for an integer that the bus does not carry exactly, anywhere in the value.
QVariant jsonOrText(const QString& text);

/// The first integer in a JSON text that would become another integer on the way, because JSON numbers travel as
/// doubles. Empty when there is none.
QString inexactInteger(const QString& json);

/// The first name that is there twice in one object of a JSON text, with its quotes. The parser would take the last
/// value and forget the other one; it would not even free its memory, so call this before parsing. Empty when there is
/// none, or when the text is no JSON.
QString repeatedName(const QString& json);

/// Says on stderr when a text begins like JSON and is not JSON, for example because a bracket is missing.
void tellOfBrokenJson(const QString& text);

} // namespace tarvexctl

#endif // JSONVALUE_H
