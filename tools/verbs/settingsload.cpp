#include "busclient.h"
#include "jsonvalue.h"
#include "output.h"
#include "owners.h"
#include "records/clientsettings.h"
#include "verbs/options.h"
#include "verbs/verblist.h"

#include <CLI/CLI.hpp>
#include <QDateTime>
#include <QFile>
#include <QHash>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>

#include <unistd.h>

using tarvex::ClientSettings;
using tarvex::TarvexQueryHandler;

namespace tarvexctl {

namespace {

const QLatin1String KEY_OWNER("owner");
const QLatin1String KEY_DATE("date");
const QLatin1String KEY_DESCRIPTION("description");
const QLatin1String KEY_MAIL_OWNER("mailOwner");
const QLatin1String KEY_SETTINGS("settings");
const QLatin1String KEY_GROUP("group");
const QLatin1String KEY_KEY("key");
const QLatin1String KEY_VALUE("value");

/// What is wrong with one line. The line's number is added to the words later.
Failure wrong(const QString& words)
{
    return Failure(WrongUse, words);
}

void require(bool isRight, const QString& words)
{
    if (!isRight) {
        throw wrong(words);
    }
}

bool isText(const QVariant& value)
{
    return value.userType() == QMetaType::QString;
}

/// True for a missing value as well.
bool isTextIfAny(const QVariant& value)
{
    return !value.isValid() || isText(value);
}

void checkKeys(const QVariantMap& object, const QStringList& known, const QString& name)
{
    for (auto key = object.cbegin(); key != object.cend(); ++key) {
        require(known.contains(key.key()), QStringLiteral("\"%1\" is no part of %2").arg(key.key(), name));
    }
}

/// \return the setting's path
QString checkEntry(const QVariant& value)
{
    static const QStringList known{KEY_GROUP, KEY_KEY, KEY_VALUE};
    const QVariantMap entry = value.toMap();
    require(value.userType() == QMetaType::QVariantMap, QStringLiteral("each of \"settings\" must be an object"));
    checkKeys(entry, known, QStringLiteral("a setting"));
    // "get" may have written null: the library writes it for a missing group when it changes a record.
    const QVariant group = entry.value(KEY_GROUP);
    require(isTextIfAny(group) || group.isNull(), QStringLiteral("the \"group\" of a setting must be a text"));
    require(isText(entry.value(KEY_KEY)) && !entry.value(KEY_KEY).toString().isEmpty(),
            QStringLiteral("a setting needs a \"key\", a text that is not empty"));
    QString path = entry.value(KEY_GROUP).toString() + QLatin1Char('/') + entry.value(KEY_KEY).toString();
    require(entry.contains(KEY_VALUE), QStringLiteral("the setting %1 has no \"value\"").arg(path));
    return path;
}

void checkEntries(const QVariant& value)
{
    require(value.userType() == QMetaType::QVariantList, QStringLiteral("\"settings\" is needed, a list"));
    QSet<QString> paths;
    const QVariantList entries = value.toList();
    for (const QVariant& entry : entries) {
        const QString path = checkEntry(entry);
        require(!paths.contains(path), QStringLiteral("the setting %1 is there twice").arg(path));
        paths.insert(path);
    }
}

bool isFlag(const QVariant& value)
{
    return !value.isValid() || (value.userType() == QMetaType::LongLong && (value == 0 || value == 1));
}

ClientSettings recordFrom(const QByteArray& line)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(line, &error);
    require(error.error == QJsonParseError::NoError,
            QStringLiteral("no JSON: %1 at byte %2").arg(error.errorString(), QString::number(error.offset)));
    require(document.isObject(), QStringLiteral("a settings record must be a JSON object"));
    const QString inexact = inexactInteger(QString::fromUtf8(line));
    require(inexact.isEmpty(), QStringLiteral("%1 is too large to be stored exactly as a number").arg(inexact));
    static const QStringList known{KEY_OWNER, KEY_DATE, KEY_DESCRIPTION, KEY_MAIL_OWNER, KEY_SETTINGS};
    const QVariantMap record = document.object().toVariantMap();
    checkKeys(record, known, QStringLiteral("a settings record"));
    require(isText(record.value(KEY_OWNER)) && !record.value(KEY_OWNER).toString().isEmpty(),
            QStringLiteral("\"owner\" is needed, a text that is not empty"));
    require(isTextIfAny(record.value(KEY_DATE)), QStringLiteral("\"date\" must be a text"));
    require(isTextIfAny(record.value(KEY_DESCRIPTION)), QStringLiteral("\"description\" must be a text"));
    require(isFlag(record.value(KEY_MAIL_OWNER)), QStringLiteral("\"mailOwner\" must be 0 or 1"));
    checkEntries(record.value(KEY_SETTINGS));

    ClientSettings settings = ClientSettings::fromVariantMap(record);
    if (record.value(KEY_DATE).toString().isEmpty()) {
        settings.setDt(QDateTime::currentDateTime());
    }
    require(
        settings.dt().isValid(),
        QStringLiteral("\"%1\" is no date of the form 2026-03-01T10:11:12.345").arg(record.value(KEY_DATE).toString()));
    return settings;
}

QString shownName(const QString& fileName)
{
    return fileName == QLatin1String("-") ? QStringLiteral("stdin") : fileName;
}

QByteArray contentsOf(const QString& fileName)
{
    QFile file(fileName);
    const bool isOpen =
        fileName == QLatin1String("-") ? file.open(STDIN_FILENO, QIODevice::ReadOnly) : file.open(QIODevice::ReadOnly);
    QByteArray text = isOpen ? file.readAll() : QByteArray();
    if (!isOpen || file.error() != QFileDevice::NoError) {
        throw Failure(WrongUse, QStringLiteral("cannot read %1: %2").arg(shownName(fileName), file.errorString()));
    }
    return text;
}

/// Tells of each record that was saved. When stdout does not take an object, the words for it and for all further
/// records go to stderr.
class Report
{
public:
    explicit Report(Output& output) : m_output(output) { }

    void tellSaved(const ClientSettings& settings);

    /// Whether stdout has taken everything.
    bool isComplete() const { return m_isComplete; }

private:
    Output& m_output;
    bool m_isComplete = true;
};

void Report::tellSaved(const ClientSettings& settings)
{
    const int count = settings.settings().size();
    const QString words = QStringLiteral("saved the settings of %1: %2 %3")
                              .arg(settings.owner(), QString::number(count),
                                   count == 1 ? QStringLiteral("value") : QStringLiteral("values"));
    if (!m_isComplete) {
        complain(words);
        return;
    }
    try {
        m_output.report({{QStringLiteral("done"), QStringLiteral("settings load")},
                         {QStringLiteral("owner"), settings.owner()},
                         {QStringLiteral("count"), count}},
                        words);
    } catch (const Failure& failure) {
        complain(failure.words());
        m_isComplete = false;
    }
}

/// The records in \a text: one JSON object a line, as "--json settings get" writes them. Empty lines are skipped.
/// "owner" and "settings" are needed. Without "date" the present time is taken, without "description" an empty text,
/// and without "mailOwner" 1. Throws Failure with WrongUse and the number of the line.
QList<ClientSettings> settingsFrom(const QByteArray& text)
{
    QList<ClientSettings> records;
    QHash<QString, int> lineOf;
    const QList<QByteArray> lines = text.split('\n');
    for (int line = 0; line < lines.size(); ++line) {
        if (lines.at(line).trimmed().isEmpty()) {
            continue;
        }
        try {
            records.append(recordFrom(lines.at(line)));
            const QString owner = records.last().owner();
            require(
                !lineOf.contains(owner),
                QStringLiteral("%1 has a record in line %2 already").arg(owner, QString::number(lineOf.value(owner))));
            lineOf.insert(owner, line + 1);
        } catch (const Failure& failure) {
            throw Failure(WrongUse, QStringLiteral("line %1: %2").arg(QString::number(line + 1), failure.words()));
        }
    }
    return records;
}

/// Saves the records. Each replaces what its owner had before. When the bus refuses a record, or when stdout does not
/// take what is written, stderr says so and the others are still saved.
void save(const QList<ClientSettings>& records, const Context& context)
{
    BusClient bus(context.clientName);
    QHash<QString, ClientSettings> byOwner;
    QStringList owners;
    for (const ClientSettings& settings : records) {
        owners.append(settings.owner());
        byOwner.insert(settings.owner(), settings);
    }
    Report report(context.output);
    forEachOwner(owners, [&](const QString& owner) {
        const ClientSettings settings = byOwner.value(owner);
        bus.ask([&](TarvexQueryHandler& handler) { return handler.saveSettings(settings); });
        report.tellSaved(settings);
    });
    if (!report.isComplete()) {
        throw Failure(Refused, QString());
    }
}

class SettingsLoad : public Verb
{
public:
    SettingsLoad() : Verb("settings load", "Saves records as --json settings get writes them") { }

    void addOptions(CLI::App& parser) override { m_file.addTo(parser); }

    void run(const Context& context) const override
    {
        const QString fileName = m_file.text().value_or(QStringLiteral("-"));
        requireName(fileName, QStringLiteral("FILE"));
        const QList<ClientSettings> records = settingsFrom(contentsOf(fileName));
        if (records.isEmpty()) {
            throw Failure(WrongUse, QStringLiteral("there is no settings record in %1").arg(shownName(fileName)));
        }
        save(records, context);
    }

private:
    OptionalText m_file{"FILE", "One JSON object a line; stdin when it is - or missing"};
};

} // namespace

std::unique_ptr<Verb> makeSettingsLoad()
{
    return std::make_unique<SettingsLoad>();
}

} // namespace tarvexctl
