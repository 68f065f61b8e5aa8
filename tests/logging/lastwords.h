#ifndef LASTWORDS_H
#define LASTWORDS_H

#include <QtGlobal>

/// A library that calls \a last and then logs, when it is unloaded. It does not depend on tarvexlib, so the link order
/// decides which of the two is unloaded first.
Q_DECL_EXPORT void callBeforeLastWords(void (*last)());

#endif // LASTWORDS_H
