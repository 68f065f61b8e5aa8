#ifndef JSONVALUE_H
#define JSONVALUE_H

#include <QString>
#include <QVariant>

/// JSON that stands on the command line.
namespace tarvexctl {

bool isJson(const QString& text);

/// The JSON value that \a text holds; \a text itself when it is no JSON, so that plain words need no quotes.
/// Integers that the bus does not carry exactly are refused, wherever in the value they stand.
QVariant jsonOrText(const QString& text);

/// The first integer in a JSON text that would travel as another one, since JSON numbers travel as doubles; empty when
/// there is none.
QString inexactInteger(const QString& json);

/// Tells on stderr of a text that begins as JSON does and is none, such as one with a bracket missing.
void tellOfBrokenJson(const QString& text);

} // namespace tarvexctl

#endif // JSONVALUE_H
