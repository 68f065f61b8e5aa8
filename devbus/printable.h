#ifndef PRINTABLE_H
#define PRINTABLE_H

#include <QString>

namespace tarvex::devbus {

/// How much of a client's name, or of another name from a client, is shown, in characters.
constexpr int MAX_SHOWN_NAME_LENGTH = 64;

/// What clients send must neither break the line nor reach the terminal as a control sequence: characters that are not
/// printable become "?". A text longer than \a maxLength is cut, and "... (+N)" says by how much.
QString printable(QString text, int maxLength);

} // namespace tarvex::devbus

#endif // PRINTABLE_H
