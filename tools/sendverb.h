#ifndef SENDVERB_H
#define SENDVERB_H

#include <QString>

#include <optional>

namespace tarvexctl {

class Output;

/// The message text of a command, the compact JSON {"cmd", "data"}; without \a data the object is empty.
/// Throws Failure when \a data is no JSON object; the name is checked by requireName().
QString commandText(const QString& command, const std::optional<QString>& data);

/// Sends \a text to \a receiver as \a clientName. Throws Failure.
void sendMessage(const QString& clientName, const QString& receiver, const QString& text, Output& output);

} // namespace tarvexctl

#endif // SENDVERB_H
