#ifndef LITERALS_H
#define LITERALS_H

#include <QString>

#include <cstddef>

/// u"text"_s is a QString. Tests write thousands of strings, and this is the shortest way that needs no conversion.
inline QString operator""_s(const char16_t* text, std::size_t size)
{
    return QString(reinterpret_cast<const QChar*>(text), static_cast<int>(size));
}

#endif // LITERALS_H
