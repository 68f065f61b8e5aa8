#include "client/supportedclients.h"

#include "literals.h"

#include <QSet>
#include <QTest>

#include <type_traits>

using namespace tarvex;

namespace {

// They cannot be assigned to.
static_assert(std::is_const_v<decltype(BUSNAME_LOGGER)>);
static_assert(std::is_const_v<decltype(ALL_SUPPORTED_CLIENTS)>);
static_assert(std::is_const_v<decltype(ALL_SUPPORTED_CLIENT_SETTINGS)>);

// This program's own static initialisation fills it. The library's comes first.
const QStringList allNames{
    BUSNAME_LOGGER,      BUSNAME_TERMINAL_GUI,  BUSNAME_TICKET_SALES,  BUSNAME_TICKET_PRINTER, BUSNAME_RECEIPT_PRINTER,
    BUSNAME_CASHBOX,     BUSNAME_COIN_ACCEPTOR, BUSNAME_BILL_ACCEPTOR, BUSNAME_CARD_READER,    BUSNAME_BARCODE_SCANNER,
    BUSNAME_DOOR_SENSOR, BUSNAME_POWER_SUPPLY,  BUSNAME_MONITORING,    BUSNAME_UPDATER,        BUSNAME_SERVICE_MENU,
};
const QStringList clientsAtLoad = ALL_SUPPORTED_CLIENTS;
const QStringList settingsAtLoad = ALL_SUPPORTED_CLIENT_SETTINGS;

QSet<QString> setOf(const QStringList& list)
{
    return QSet<QString>(list.cbegin(), list.cend());
}

} // namespace

class TstSupportedClients : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void names_areFifteenDistinctTexts();
    void names_canBeUsedInFrames();
    void names_usedByTheLibrary();
    void lists_areSelectionsOfTheNames_data();
    void lists_areSelectionsOfTheNames();
    void lists_haveTheirOrder();
    void lists_differ();
    void lists_holdTheReceiversOfLogLines();
};

void TstSupportedClients::names_areFifteenDistinctTexts()
{
    QCOMPARE(allNames.size(), 15);
    QCOMPARE(setOf(allNames).size(), 15);
    for (const QString& name : allNames) {
        QVERIFY(!name.isEmpty());
    }
}

void TstSupportedClients::names_canBeUsedInFrames()
{
    // Names are used in keys that are made with points and placeholders, and on command lines.
    for (const QString& name : allNames) {
        QCOMPARE(name, name.trimmed());
        for (const QChar character : name) {
            QVERIFY2(character.isLower() || character == QLatin1Char('_'), qPrintable(name));
        }
    }
}

void TstSupportedClients::names_usedByTheLibrary()
{
    QCOMPARE(BUSNAME_LOGGER, u"logger"_s);
    QCOMPARE(BUSNAME_TERMINAL_GUI, u"terminal_gui"_s);
}

void TstSupportedClients::lists_areSelectionsOfTheNames_data()
{
    QTest::addColumn<QStringList>("list");
    QTest::addColumn<int>("size");
    QTest::newRow("clients") << ALL_SUPPORTED_CLIENTS << 13;
    QTest::newRow("clients at load") << clientsAtLoad << 13;
    QTest::newRow("settings") << ALL_SUPPORTED_CLIENT_SETTINGS << 11;
    QTest::newRow("settings at load") << settingsAtLoad << 11;
}

void TstSupportedClients::lists_areSelectionsOfTheNames()
{
    QFETCH(QStringList, list);
    QFETCH(int, size);
    QCOMPARE(list.size(), size);
    QCOMPARE(setOf(list).size(), size);
    QVERIFY(setOf(allNames).contains(setOf(list)));
}

void TstSupportedClients::lists_haveTheirOrder()
{
    QCOMPARE(ALL_SUPPORTED_CLIENTS.join(QLatin1Char(' ')),
             u"logger power_supply door_sensor ticket_printer cashbox coin_acceptor bill_acceptor card_reader "
             "ticket_sales receipt_printer barcode_scanner monitoring terminal_gui"_s);
    QCOMPARE(ALL_SUPPORTED_CLIENT_SETTINGS.join(QLatin1Char(' ')),
             u"logger terminal_gui ticket_sales ticket_printer receipt_printer cashbox coin_acceptor "
             "bill_acceptor card_reader barcode_scanner monitoring"_s);
}

void TstSupportedClients::lists_differ()
{
    QVERIFY(ALL_SUPPORTED_CLIENTS != ALL_SUPPORTED_CLIENT_SETTINGS);
    QVERIFY(setOf(ALL_SUPPORTED_CLIENTS) != setOf(ALL_SUPPORTED_CLIENT_SETTINGS));
}

void TstSupportedClients::lists_holdTheReceiversOfLogLines()
{
    for (const QString& name : {BUSNAME_LOGGER, BUSNAME_TERMINAL_GUI}) {
        QVERIFY(ALL_SUPPORTED_CLIENTS.contains(name));
        QVERIFY(ALL_SUPPORTED_CLIENT_SETTINGS.contains(name));
    }
}

QTEST_GUILESS_MAIN(TstSupportedClients)
#include "tst_supportedclients.moc"
