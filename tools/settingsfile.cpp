#include "settingsfile.h"

#include "jsonvalue.h"
#include "output.h"
#include "programwords.h"
#include "settingsrecord.h"

#include <QDateTime>
#include <QFile>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSet>
#include <QStringList>
#include <QVector>

#include <optional>
#include <unistd.h>

using tarvex::ClientSettings;

namespace tarvexctl {

namespace {

const QLatin1String KEY_FORMAT("format");
const QLatin1String KEY_VERSION("version");
const QLatin1String KEY_DATE("date");
const QLatin1String KEY_RECORDS("records");
const QLatin1String FORMAT("tarvex-settings");
constexpr int VERSION = 1;

/// An error in a text. \a offset is its place in characters from the beginning.
struct Misreading
{
    int offset;
    QString words;
};

/// The texts and brackets of a JSON text. A text that is a name has a colon after it.
QRegularExpressionMatchIterator tokensOf(const QString& json, int from = 0)
{
    static const QRegularExpression token(QStringLiteral("\"(?:[^\"\\\\]++|\\\\.)*+\"(\\s*:)?|[][{}]"));
    return token.globalMatch(json, from);
}

/// Whether \a token opens an object or a list (1), closes one (-1), or is a text (0).
int depthChange(QChar token)
{
    if (token == QLatin1Char('{') || token == QLatin1Char('[')) {
        return 1;
    }
    return token == QLatin1Char('"') ? 0 : -1;
}

/// Refuses a name that is there twice in one object, because the parser would take the last value and forget the other
/// one; it would not even free its memory, so call this before parsing. The text need not be JSON.
void requireNamesOnce(const QString& json)
{
    QVector<QSet<QString>> names; // of each object and list that is open
    for (auto match = tokensOf(json); match.hasNext();) {
        const QRegularExpressionMatch found = match.next();
        const int change = depthChange(found.capturedRef().at(0));
        if (change > 0) {
            names.append(QSet<QString>());
        } else if (names.isEmpty()) {
            return; // no JSON
        } else if (change < 0) {
            names.removeLast();
        } else if (found.capturedLength(1) > 0) {
            const QString name = found.captured().left(found.capturedLength() - found.capturedLength(1));
            if (names.last().contains(name)) {
                throw Misreading{found.capturedStart(),
                                 Words::tr("the name %1 is there twice in one object").arg(name)};
            }
            names.last().insert(name);
        }
    }
}

/// Reads \a json, a part of the text. Throws Misreading, whose offset counts from the beginning of \a json.
QVariant valueFrom(const QString& json)
{
    const QByteArray bytes = json.toUtf8();
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError) {
        // The parser counts bytes, and has taken the wrong one already.
        const int offset = QString::fromUtf8(bytes.left(qMax(0, error.offset - 1))).size();
        const int column = offset - (offset == 0 ? -1 : json.lastIndexOf(QLatin1Char('\n'), offset - 1));
        throw Misreading{offset, Words::tr("no JSON: %1 at column %2").arg(error.errorString()).arg(column)};
    }
    const QString inexact = inexactInteger(json);
    if (!inexact.isEmpty()) {
        throw Misreading{json.indexOf(inexact),
                         Words::tr("%1 is too large to be stored exactly as a number").arg(inexact)};
    }
    return document.isObject() ? QVariant(document.object().toVariantMap())
                               : QVariant(document.array().toVariantList());
}

/// Where the objects begin that are in a list of the object at \a from. The text is known to be JSON.
QVector<int> placesOfListed(const QString& json, int from)
{
    QVector<int> places;
    int depth = 0;
    for (auto match = tokensOf(json, from); match.hasNext();) {
        const QRegularExpressionMatch found = match.next();
        const QChar token = found.capturedRef().at(0);
        if (depth == 2 && token == QLatin1Char('{')) {
            places.append(found.capturedStart());
        }
        depth += depthChange(token);
        if (depth == 0) {
            break;
        }
    }
    return places;
}

/// Reads one text. Remembers where each owner's record stands.
class Reader
{
public:
    explicit Reader(const QString& text) : m_text(text) { }

    QList<ClientSettings> read();

private:
    bool isOneRecordALine() const;
    void readLines();
    void readWhole();
    void readDocument(const QVariantMap& document, int offset);
    void takeRecord(const QVariant& value, int offset);

    int lineAt(int offset) const { return m_text.leftRef(offset).count(QLatin1Char('\n')) + 1; }

    const QString m_text;
    QList<ClientSettings> m_records;
    QHash<QString, int> m_placeOf; ///< By owner.
};

QList<ClientSettings> Reader::read()
{
    if (!m_text.trimmed().isEmpty()) {
        try {
            requireNamesOnce(m_text);
            if (isOneRecordALine()) {
                readLines();
            } else {
                readWhole();
            }
        } catch (const Misreading& error) {
            throw WrongSettingsText(lineAt(error.offset), error.words);
        }
    }
    return m_records;
}

/// Whether the first line is a JSON value by itself, and no document.
bool Reader::isOneRecordALine() const
{
    const QString line = m_text.trimmed().section(QLatin1Char('\n'), 0, 0);
    QJsonParseError error{};
    const QJsonDocument value = QJsonDocument::fromJson(line.toUtf8(), &error);
    return error.error == QJsonParseError::NoError && !value.object().contains(KEY_FORMAT);
}

void Reader::readLines()
{
    int offset = 0;
    const QStringList lines = m_text.split(QLatin1Char('\n'));
    for (const QString& line : lines) {
        if (!line.trimmed().isEmpty()) {
            try {
                takeRecord(valueFrom(line), offset);
            } catch (const Misreading& error) {
                throw Misreading{offset, error.words};
            }
        }
        offset += line.size() + 1;
    }
}

void Reader::readWhole()
{
    const int offset = m_text.indexOf(QLatin1Char('{'));
    const QVariant value = valueFrom(m_text);
    if (value.toMap().contains(KEY_FORMAT)) {
        readDocument(value.toMap(), offset);
    } else {
        takeRecord(value, qMax(0, offset));
    }
}

void Reader::readDocument(const QVariantMap& document, int offset)
{
    static const QStringList known{KEY_FORMAT, KEY_VERSION, KEY_DATE, KEY_RECORDS};
    try {
        requireInRecord(document.value(KEY_FORMAT) == QVariant(FORMAT),
                        Words::tr("the \"format\" is not \"%1\"").arg(FORMAT));
        requireInRecord(document.value(KEY_VERSION) == QVariant(VERSION),
                        Words::tr("the \"version\" of the format is not %1, the one that is known here").arg(VERSION));
        requireKnownKeys(document, known, Words::tr("a document of settings"));
        requireInRecord(document.value(KEY_RECORDS).userType() == QMetaType::QVariantList,
                        Words::tr("\"records\" is needed, a list"));
    } catch (const WrongRecord& wrong) {
        throw Misreading{offset, wrong.words()};
    }
    const QVariantList records = document.value(KEY_RECORDS).toList();
    const QVector<int> places = placesOfListed(m_text, offset);
    for (int number = 0; number < records.size(); ++number) {
        takeRecord(records.at(number), places.value(number, offset));
    }
}

/// \a offset is where the record's text begins.
void Reader::takeRecord(const QVariant& value, int offset)
{
    try {
        m_records.append(settingsRecord(value));
    } catch (const WrongRecord& wrong) {
        throw Misreading{placesOfListed(m_text, offset).value(wrong.setting(), offset), wrong.words()};
    }
    const QString owner = m_records.last().owner();
    if (m_placeOf.contains(owner)) {
        throw Misreading{offset,
                         Words::tr("%1 has a record in line %2 already")
                             .arg(owner, QString::number(lineAt(m_placeOf.value(owner))))};
    }
    m_placeOf.insert(owner, offset);
}

/// Replacing bytes that are not UTF-8 would change texts, so such a text is refused.
void requireUtf8(const QByteArray& text)
{
    const QList<QByteArray> lines = text.split('\n');
    for (int line = 0; line < lines.size(); ++line) {
        if (lines.at(line).startsWith("\xef\xbb\xbf")) {
            throw WrongSettingsText(line + 1,
                                    Words::tr("no JSON: it begins with a byte order mark; save the file as UTF-8 "
                                              "without one"));
        }
        if (QString::fromUtf8(lines.at(line)).toUtf8() != lines.at(line)) {
            throw WrongSettingsText(line + 1, Words::tr("no JSON: not UTF-8"));
        }
    }
}

QByteArray contentsOf(const QString& fileName)
{
    QFile file(fileName);
    const bool isOpen =
        fileName == QLatin1String("-") ? file.open(STDIN_FILENO, QIODevice::ReadOnly) : file.open(QIODevice::ReadOnly);
    QByteArray text = isOpen ? file.readAll() : QByteArray();
    if (!isOpen || file.error() != QFileDevice::NoError) {
        throw Failure(WrongUse, Words::tr("cannot read %1: %2").arg(shownFileName(fileName), file.errorString()));
    }
    return text;
}

/// The members of an object, each on a line that begins with \a indent.
using Members = QList<QPair<QString, QString>>;

QString objectText(const Members& members, const QString& indent)
{
    QStringList lines;
    for (const auto& member : members) {
        lines.append(indent + QStringLiteral("  \"%1\": ").arg(member.first) + member.second);
    }
    return QStringLiteral("{\n") + lines.join(QLatin1String(",\n")) + QLatin1Char('\n') + indent + QLatin1Char('}');
}

/// The items of a list, each on a line that begins with \a indent.
QString listText(const QStringList& items, const QString& indent)
{
    if (items.isEmpty()) {
        return QStringLiteral("[]");
    }
    const QString itemIndent = QLatin1Char('\n') + indent + QLatin1String("  ");
    return QLatin1Char('[') + itemIndent + items.join(QLatin1Char(',') + itemIndent) + QLatin1Char('\n') + indent
        + QLatin1Char(']');
}

QString recordText(const ClientSettings& settings, const QString& indent, bool hasDate)
{
    QStringList entries;
    const QList<QVariant> values = settings.settings();
    for (const QVariant& entry : values) {
        entries.append(jsonText(entry));
    }
    const QVariantMap record = settings.toVariantMap();
    Members members{{QStringLiteral("owner"), jsonText(settings.owner())}};
    if (hasDate) {
        members.append({KEY_DATE, jsonText(record.value(KEY_DATE))});
    }
    members.append({QStringLiteral("description"), jsonText(settings.description())});
    members.append({QStringLiteral("mailOwner"), jsonText(record.value(QStringLiteral("mailOwner")))});
    members.append({QStringLiteral("settings"), listText(entries, indent + QLatin1String("  "))});
    return objectText(members, indent);
}

} // namespace

QList<ClientSettings> settingsFrom(const QByteArray& text)
{
    requireUtf8(text);
    return Reader(QString::fromUtf8(text)).read();
}

QList<ClientSettings> settingsFromFile(const QString& fileName)
{
    QList<ClientSettings> records = settingsFrom(contentsOf(fileName));
    if (records.isEmpty()) {
        throw Failure(WrongUse, Words::tr("there is no settings record in %1").arg(shownFileName(fileName)));
    }
    return records;
}

QString shownFileName(const QString& fileName)
{
    return fileName == QLatin1String("-") ? QStringLiteral("stdin") : fileName;
}

QByteArray recordText(const ClientSettings& settings)
{
    return recordText(settings, QString(), false).toUtf8() + '\n';
}

QByteArray documentText(const QList<ClientSettings>& records)
{
    const QString indent = QStringLiteral("    ");
    QStringList texts;
    for (const ClientSettings& record : records) {
        texts.append(recordText(record, indent, true));
    }
    const QVariantMap head = documentObject({});
    const Members members{{KEY_FORMAT, jsonText(head.value(KEY_FORMAT))},
                          {KEY_VERSION, jsonText(head.value(KEY_VERSION))},
                          {KEY_DATE, jsonText(head.value(KEY_DATE))},
                          {KEY_RECORDS, listText(texts, QStringLiteral("  "))}};
    return objectText(members, QString()).toUtf8() + '\n';
}

QVariantMap documentObject(const QList<ClientSettings>& records)
{
    QVariantList list;
    for (const ClientSettings& record : records) {
        list.append(record.toVariantMap());
    }
    return {{KEY_FORMAT, FORMAT},
            {KEY_VERSION, VERSION},
            {KEY_DATE, timeText(QDateTime::currentDateTime())},
            {KEY_RECORDS, list}};
}

QString valueCount(const ClientSettings& settings)
{
    return Words::counted(settings.settings().size(), Words::tr("1 value"), Words::markCount("%n values"));
}

} // namespace tarvexctl
