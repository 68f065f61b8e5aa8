#include "sampledata.h"

#include "records/clientsettings.h"
#include "require.h"

#include <QJsonDocument>
#include <QTime>

#include <random>

namespace sampledata {

namespace {

// Engine and seed are fixed. The numbers are used without the library's distributions, because these differ by vendor.
using Engine = std::mt19937;

constexpr int ENTRIES_PER_GROUP = 12;

const char* const DEVICES[] = {"ticket_printer", "cash_acceptor", "coin_hopper",    "card_reader", "barcode_scanner",
                               "fiscal_module",  "display",       "power_watchdog", "uplink",      "door_sensor"};
const char* const ASPECTS[] = {"network", "timing", "limits", "texts", "layout", "accounting", "diagnostics"};
const char* const KEYS[] = {"enabled",     "address",   "port",      "retry_count", "timeout_ms", "baud_rate",
                            "header_text", "footer",    "serial",    "firmware",    "last_check", "tariff",
                            "paper_width", "threshold", "log_level", "certificate", "currency",   "coefficient"};
const char* const TEXTS[] = {"Einzelfahrkarte",     "Aller simple",    "Übersicht öffnen", "Please take your ticket",
                             "Vorgang abgebrochen", "Paiement refusé", "Out of service",   "Zurück zur Auswahl"};

template <typename T, size_t size>
QString pick(Engine& engine, T (&choices)[size])
{
    return QString::fromUtf8(choices[engine() % size]);
}

QVariant value(Engine& engine)
{
    switch (engine() % 8) {
    case 0:
        return engine() % 2 == 0;
    case 1:
        return static_cast<int>(engine() % 65536);
    case 2:
        return static_cast<double>(engine() % 100000) / 100;
    case 3:
        return QStringLiteral("10.%1.%2.%3").arg(engine() % 256).arg(engine() % 256).arg(engine() % 256);
    case 4:
        return QStringLiteral("%1%2").arg(engine(), 8, 16, QLatin1Char('0')).arg(engine(), 8, 16, QLatin1Char('0'));
    case 5:
        return QStringLiteral("/var/lib/%1/%2.dat").arg(pick(engine, DEVICES)).arg(engine() % 1000);
    default:
        return pick(engine, TEXTS);
    }
}

QVariantMap entry(Engine& engine, int index)
{
    const int group = index / ENTRIES_PER_GROUP;
    return {{QStringLiteral("group"),
             QStringLiteral("%1/%2/%3").arg(pick(engine, DEVICES), pick(engine, ASPECTS)).arg(group)},
            {QStringLiteral("key"), pick(engine, KEYS)},
            {QStringLiteral("value"), value(engine)}};
}

int jsonSizeOf(const QVariantMap& map)
{
    return QJsonDocument::fromVariant(map).toJson(QJsonDocument::Compact).size();
}

/// ASCII words that have \a size bytes together.
QString words(int size)
{
    const QString text = QStringLiteral("Settings of the terminal as they were taken over from the control centre. ");
    return text.repeated(size / text.size() + 1).left(size);
}

tarvex::ClientSettings record()
{
    tarvex::ClientSettings settings;
    settings.setOwner(QStringLiteral("ticket_printer"));
    settings.setDt(QDateTime(QDate(2024, 3, 15), QTime(8, 30)));
    return settings;
}

/// The record's data. Its description is filled up, so that the envelope has \a jsonSize bytes.
QVariantMap filledUp(tarvex::ClientSettings settings, const QString& operation, int jsonSize)
{
    const int missing = jsonSize - jsonSizeOf(envelope(operation, settings.toVariantMap()));
    settings.setDescription(words(qMax(0, missing)));
    return settings.toVariantMap();
}

} // namespace

QVariantMap settings(const QString& operation, int jsonSize)
{
    tarvex::ClientSettings settings = record();
    int missing = jsonSize - jsonSizeOf(envelope(operation, settings.toVariantMap()));
    if (missing < 0) {
        const QString key = QStringLiteral("owner");
        missing = jsonSize - jsonSizeOf(envelope(operation, {{key, QString()}}));
        return {{key, words(missing)}};
    }
    Engine engine(1);
    QVariantList entries;
    for (;;) {
        const QVariantMap next = entry(engine, entries.size());
        missing -= jsonSizeOf(next) + 1; // and a comma
        if (missing < 0) {
            break;
        }
        entries.append(next);
    }
    settings.setSettings(entries);
    return filledUp(settings, operation, jsonSize);
}

QVariantMap image(const QString& operation, int jsonSize)
{
    Engine engine(2);
    const int room = jsonSize - 300; // the record around it
    QByteArray bytes(room / 4 * 3, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(engine() & 0xff);
    }
    tarvex::ClientSettings settings = record();
    settings.setSettings({QVariantMap{{QStringLiteral("group"), QStringLiteral("display/layout")},
                                      {QStringLiteral("key"), QStringLiteral("background")},
                                      {QStringLiteral("value"), QString::fromLatin1(bytes.toBase64())}}});
    return filledUp(settings, operation, jsonSize);
}

QString commandText(int jsonSize)
{
    const QString command = QStringLiteral("update");
    const QVariantMap whole = envelope(command, settings(command, jsonSize));
    const QByteArray json = QJsonDocument::fromVariant(whole).toJson(QJsonDocument::Compact);
    require(json.size() == jsonSize, "the text has not the size it is named after");
    return QString::fromUtf8(json);
}

QString uid(int number)
{
    return QStringLiteral("%1").arg(number, 24, 10, QLatin1Char('0'));
}

QVariantMap envelope(const QString& operation, const QVariantMap& data)
{
    return {{QStringLiteral("operation"), operation}, {QStringLiteral("data"), data}};
}

} // namespace sampledata
