#ifndef REQUIRE_H
#define REQUIRE_H

#include <QtGlobal>

/// A benchmark that does not do what it says ends the program, so that a smoke run fails.
inline void require(bool holds, const char* what)
{
    if (!holds) {
        qFatal("%s", what);
    }
}

#endif // REQUIRE_H
