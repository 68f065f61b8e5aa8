#ifndef TARVEXLOGGINGCATEGORY_H
#define TARVEXLOGGINGCATEGORY_H

#include "tarvexlib_export.h"

#include <QLoggingCategory>

/// \file
/// The two log categories of a service, see docs/logging.md.
///
/// <!-- quote: docs/snippets/logging.cpp#lines -->
/// \code
/// qInfo().noquote() << "paper roll changed";          // stored by the log service
/// qCWarning(LOGGER()).noquote() << "cover is open";   // the same
/// qCWarning(GUILOGGER()).noquote() << "Out of paper"; // stored, and shown on the terminal's screen
/// \endcode

namespace tarvex {

/// The category "tarvexLogger": lines for the device's log service.
TARVEXLIB_EXPORT const QLoggingCategory& LOGGER();

/// The category "guiLogger": lines that are shown on the terminal's screen and stored by the log service.
TARVEXLIB_EXPORT const QLoggingCategory& GUILOGGER();

} // namespace tarvex

using tarvex::GUILOGGER;
using tarvex::LOGGER;

#endif // TARVEXLOGGINGCATEGORY_H
