#ifndef SUPPORTEDCLIENTS_H
#define SUPPORTEDCLIENTS_H

#include "tarvexlib_export.h"

#include <QString>
#include <QStringList>

/// \file
/// The client names of the device's services, so that services address each other by constants. They are read-only. Any
/// thread may read them once the library is loaded. See docs/names.md.

namespace tarvex {

TARVEXLIB_EXPORT extern const QString BUSNAME_LOGGER;       ///< The log service: gets every service's log lines.
TARVEXLIB_EXPORT extern const QString BUSNAME_TERMINAL_GUI; ///< The GUI service: shows log lines meant for the screen.
TARVEXLIB_EXPORT extern const QString BUSNAME_TICKET_SALES; ///< Sells tickets.
TARVEXLIB_EXPORT extern const QString BUSNAME_TICKET_PRINTER;  ///< Prints tickets.
TARVEXLIB_EXPORT extern const QString BUSNAME_RECEIPT_PRINTER; ///< Prints receipts.
TARVEXLIB_EXPORT extern const QString BUSNAME_CASHBOX;         ///< Keeps the money and gives change.
TARVEXLIB_EXPORT extern const QString BUSNAME_COIN_ACCEPTOR;   ///< Takes coins.
TARVEXLIB_EXPORT extern const QString BUSNAME_BILL_ACCEPTOR;   ///< Takes bank notes.
TARVEXLIB_EXPORT extern const QString BUSNAME_CARD_READER;     ///< Reads payment cards.
TARVEXLIB_EXPORT extern const QString BUSNAME_BARCODE_SCANNER; ///< Reads barcodes.
TARVEXLIB_EXPORT extern const QString BUSNAME_DOOR_SENSOR;     ///< Knows whether the terminal's door is open.
TARVEXLIB_EXPORT extern const QString BUSNAME_POWER_SUPPLY;    ///< Watches the terminal's power.
TARVEXLIB_EXPORT extern const QString BUSNAME_MONITORING;      ///< Tells the operator how the terminal is.
TARVEXLIB_EXPORT extern const QString BUSNAME_UPDATER;         ///< Installs new versions; runs on demand.
TARVEXLIB_EXPORT extern const QString BUSNAME_SERVICE_MENU;    ///< The menu for technicians; runs on demand.

/// The services that run on every terminal. The updater and the service menu run on demand and are not among them.
TARVEXLIB_EXPORT extern const QStringList ALL_SUPPORTED_CLIENTS;

/// The clients whose settings a service may load together, see TarvexQueryHandler::loadSettings().
TARVEXLIB_EXPORT extern const QStringList ALL_SUPPORTED_CLIENT_SETTINGS;

} // namespace tarvex

#endif // SUPPORTEDCLIENTS_H
