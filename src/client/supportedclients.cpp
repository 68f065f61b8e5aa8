#include "client/supportedclients.h"

// The table of one device. For another device, replace the names here. Everything stands in one file, because the lists
// are built from the constants, and the order of initialisation is given within one file only.
namespace tarvex {

const QString BUSNAME_LOGGER = QStringLiteral("logger");
const QString BUSNAME_TERMINAL_GUI = QStringLiteral("terminal_gui");
const QString BUSNAME_TICKET_SALES = QStringLiteral("ticket_sales");
const QString BUSNAME_TICKET_PRINTER = QStringLiteral("ticket_printer");
const QString BUSNAME_RECEIPT_PRINTER = QStringLiteral("receipt_printer");
const QString BUSNAME_CASHBOX = QStringLiteral("cashbox");
const QString BUSNAME_COIN_ACCEPTOR = QStringLiteral("coin_acceptor");
const QString BUSNAME_BILL_ACCEPTOR = QStringLiteral("bill_acceptor");
const QString BUSNAME_CARD_READER = QStringLiteral("card_reader");
const QString BUSNAME_BARCODE_SCANNER = QStringLiteral("barcode_scanner");
const QString BUSNAME_DOOR_SENSOR = QStringLiteral("door_sensor");
const QString BUSNAME_POWER_SUPPLY = QStringLiteral("power_supply");
const QString BUSNAME_MONITORING = QStringLiteral("monitoring");
const QString BUSNAME_UPDATER = QStringLiteral("updater");
const QString BUSNAME_SERVICE_MENU = QStringLiteral("service_menu");

const QStringList ALL_SUPPORTED_CLIENTS{
    BUSNAME_LOGGER,       BUSNAME_POWER_SUPPLY,    BUSNAME_DOOR_SENSOR,     BUSNAME_TICKET_PRINTER,
    BUSNAME_CASHBOX,      BUSNAME_COIN_ACCEPTOR,   BUSNAME_BILL_ACCEPTOR,   BUSNAME_CARD_READER,
    BUSNAME_TICKET_SALES, BUSNAME_RECEIPT_PRINTER, BUSNAME_BARCODE_SCANNER, BUSNAME_MONITORING,
    BUSNAME_TERMINAL_GUI,
};

// Without the door sensor, the power supply, the updater and the service menu, which have nothing to set.
const QStringList ALL_SUPPORTED_CLIENT_SETTINGS{
    BUSNAME_LOGGER,          BUSNAME_TERMINAL_GUI,    BUSNAME_TICKET_SALES,  BUSNAME_TICKET_PRINTER,
    BUSNAME_RECEIPT_PRINTER, BUSNAME_CASHBOX,         BUSNAME_COIN_ACCEPTOR, BUSNAME_BILL_ACCEPTOR,
    BUSNAME_CARD_READER,     BUSNAME_BARCODE_SCANNER, BUSNAME_MONITORING,
};

} // namespace tarvex
