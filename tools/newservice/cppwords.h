#ifndef CPPWORDS_H
#define CPPWORDS_H

class QString;

namespace tarvexctl {

/// Whether no function can have this name: the keywords of C++, and the macros of C and Qt that are small letters.
bool isCppWord(const QString& name);

} // namespace tarvexctl

#endif // CPPWORDS_H
