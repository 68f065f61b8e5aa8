#ifndef REPEATKEY_P_H
#define REPEATKEY_P_H

#include <QString>

/// The keys by which repeats of messages and of commands are recognised.
namespace tarvex::repeatkey {

/// The three texts, with dots between them.
///
/// The texts are put in one after the other, on purpose: a "%2" inside the first text is filled with the second one.
/// Both ends of the bus build the key this way, and they must agree. If the three texts have more than 256 characters
/// in all, nothing is filled in, because filling multiplies the length, and the texts come from the bus.
QString joined(const QString& first, const QString& second, const QString& third);

/// What is remembered of \a key: the key itself, or its digest if the key is longer than 1024 characters.
QString remembered(const QString& key);

} // namespace tarvex::repeatkey

#endif // REPEATKEY_P_H
