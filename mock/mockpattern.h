#ifndef MOCKPATTERN_H
#define MOCKPATTERN_H

#include "cmdlayer/tarvexcommand.h"

#include <QString>
#include <QVariant>

#include <optional>

/// Texts into which values of the request are filled, such as "ticket ${data.number}".
namespace tarvex::mock {

/// The command that is answered, and the how many-th of its name it is, from 1 on.
struct Request
{
    TarvexCommand command;
    int count = 0;
};

/// The value at \a path, which names the keys from the outside to the inside with dots between them. A number is the
/// place in a list, from 0 on. A key that holds dots itself is found as well. Nothing when there is no such value.
std::optional<QVariant> valueAt(const QVariant& value, const QString& path);

/// Whether a value of a request is the value that was described. Numbers are equal when their values are. The described
/// value null also fits a missing one.
bool fits(const std::optional<QVariant>& value, const QVariant& described);

/// Whether the text has a placeholder, or the beginning of one.
bool hasPlaceholder(const QString& text);

/// Whether the text is one placeholder and nothing else.
bool isPlaceholder(const QString& text);

/// What is wrong with the placeholders of a text. Empty when nothing is.
QString placeholderFault(const QString& text);

/// The text with its placeholders filled in. A missing value becomes an empty text.
QString filledText(const QString& pattern, const Request& request);

/// The value with the placeholders of all its texts filled in. A text that is exactly one placeholder becomes the value
/// with its type, and null when the value is missing. Keys stay as they are.
QVariant filled(const QVariant& pattern, const Request& request);

/// A value as it stands in a text: a text as it is, null as an empty text, anything else as compact JSON.
QString textOf(const QVariant& value);

} // namespace tarvex::mock

#endif // MOCKPATTERN_H
