#ifndef PRINTABLE_H
#define PRINTABLE_H

#include <QString>

namespace tarvex::devbus {

/// At most this much of a name from a client is shown, in characters.
constexpr int MAX_SHOWN_NAME_LENGTH = 64;

/// Makes a text from a client fit to be shown. Characters that are not printable become "?", so that the text neither
/// breaks the line nor reaches the terminal as a control sequence. A text longer than \a maxLength is cut, and "...
/// (+N)" says by how much.
QString printable(QString text, int maxLength);

} // namespace tarvex::devbus

#endif // PRINTABLE_H
