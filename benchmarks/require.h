#ifndef REQUIRE_H
#define REQUIRE_H

#include <QtGlobal>

/// Ends the program when a benchmark does not do what it says, so that a smoke run fails.
inline void require(bool holds, const char* what)
{
    if (!holds) {
        qFatal("%s", what);
    }
}

#endif // REQUIRE_H
