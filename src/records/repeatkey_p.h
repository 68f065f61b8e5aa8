#ifndef REPEATKEY_P_H
#define REPEATKEY_P_H

#include <QString>

/// The keys by which repeats of messages and of commands are recognised.
namespace tarvex::repeatkey {

/// The three texts, set apart by dots.
///
/// One text is put in at a time, on purpose: a "%2" inside the first is filled by the next step. Both ends of the bus
/// build the key this way, and they must agree. Above 256 characters in all nothing is filled in: what is filled in is
/// multiplied, and the texts come from the bus.
QString joined(const QString& first, const QString& second, const QString& third);

/// What is remembered of \a key: itself, or its digest if it is longer than 1024 characters.
QString remembered(const QString& key);

} // namespace tarvex::repeatkey

#endif // REPEATKEY_P_H
