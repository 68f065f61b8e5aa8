#ifndef TARVEXLIB_H
#define TARVEXLIB_H

#include "appversion.h"
#include "tarvexlib_export.h"

namespace bus {

/// The library's identity. It registers its name, version and build time with wexcor::AppVersionManager when it is
/// loaded, so that a service can report the versions of its libraries.
///
/// <!-- quote: docs/snippets/reference/versions.cpp#library -->
/// \code
/// const AppVersion library = bus::TarvexLib::version(); // "5.0.28"
/// \endcode
class TARVEXLIB_EXPORT TarvexLib
{
public:
    /// Registers the version, once per process, and the library's name for localisation. The library makes the one
    /// instance that is needed. A service has no reason to make another one.
    TarvexLib();
    ~TarvexLib(); // NOLINT(performance-trivially-destructible): an exported symbol, part of the binary interface

    /// The registered version, for example "5.0.28" with the build time in ISO form ("2021-05-11T13:12:06").
    static wexcor::AppVersion version();

private:
    static wexcor::AppVersion _version;
};

} // namespace bus

#endif // TARVEXLIB_H
