#include "mockjson.h"

#include "words.h"

#include <QJsonDocument>
#include <QRegularExpression>

#include <json/reader.h>

#include <cmath>
#include <memory>

namespace tarvex::mock {

using programs::Words;

namespace {

/// Some editors put it at the beginning of a file.
constexpr const char* BYTE_ORDER_MARK = "\xEF\xBB\xBF";

QByteArray withoutMark(QByteArray text)
{
    return text.startsWith(BYTE_ORDER_MARK) ? text.mid(static_cast<int>(qstrlen(BYTE_ORDER_MARK))) : text;
}

bool isBlank(char character)
{
    return character == ' ' || character == '\t' || character == '\n' || character == '\r';
}

/// The words of the parser's first error, with a small letter and without a full stop, as all our words are. The later
/// errors come of the first one.
FileError firstError(const std::string& errors)
{
    static const QRegularExpression form(QStringLiteral("^\\* Line (\\d+), Column \\d+\\n  ([^\\n]*)"));
    const QRegularExpressionMatch match = form.match(QString::fromStdString(errors));
    QString words = match.hasMatch() ? match.captured(2) : QString::fromStdString(errors).trimmed();
    words.remove(QRegularExpression(QStringLiteral("\\.$")));
    return {qMax(1, match.captured(1).toInt()), Words::tr("this is no JSON: %1").arg(words)};
}

QString changedNumber(const QString& number)
{
    return Words::tr("%1 is too large to travel exactly as a number").arg(number);
}

} // namespace

MockJson::MockJson(QByteArray text) : m_text(withoutMark(std::move(text)))
{
    if (!isUtf8()) {
        return;
    }
    parse();
    if (m_errors.isEmpty()) {
        checkStrictly();
    }
}

void MockJson::addError(const Json::Value& value, const QString& words)
{
    addErrorAt(static_cast<int>(value.getOffsetStart()), words);
}

// The parser keeps the places of values only. Between a value and its key are blanks and a colon.
void MockJson::addKeyError(const Json::Value& member, const QString& words)
{
    int offset = static_cast<int>(member.getOffsetStart()) - 1;
    while (offset > 0 && (isBlank(m_text.at(offset)) || m_text.at(offset) == ':')) {
        --offset;
    }
    addErrorAt(offset, words);
}

QVariant MockJson::toVariant(const Json::Value& value,
                             const std::function<void(const Json::Value& place, const QString& text)>& lookAtText)
{
    switch (value.type()) {
    case Json::booleanValue:
        return value.asBool();
    case Json::intValue:
    case Json::uintValue:
    case Json::realValue:
        return numberOf(value);
    case Json::stringValue:
        lookAtText(value, textOf(value));
        return textOf(value);
    case Json::arrayValue: {
        QVariantList list;
        for (const Json::Value& element : value) {
            list.append(toVariant(element, lookAtText));
        }
        return list;
    }
    case Json::objectValue: {
        QVariantMap map;
        const QStringList keys = keysOf(value);
        for (const QString& key : keys) {
            map.insert(key, toVariant(*member(value, key), lookAtText));
        }
        return map;
    }
    default:
        return QVariant::fromValue(nullptr);
    }
}

bool MockJson::isUtf8()
{
    const QList<QByteArray> lines = m_text.split('\n');
    for (int line = 0; line < lines.size(); ++line) {
        const QByteArray& bytes = lines.at(line);
        if (QString::fromUtf8(bytes.constData(), bytes.size()).toUtf8() != bytes) {
            m_errors.append({line + 1, Words::tr("this is no UTF-8")});
            return false;
        }
    }
    return true;
}

void MockJson::parse()
{
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string errors;
    try {
        if (!reader->parse(m_text.constData(), m_text.constData() + m_text.size(), &m_root, &errors)) {
            m_errors.append(firstError(errors));
        }
    } catch (const Json::Exception&) {
        m_errors.append({1, Words::tr("this is no JSON that can be read: it is nested too deeply")});
    }
}

/// The parser above lets some texts pass that are no JSON, such as 01.
void MockJson::checkStrictly()
{
    QJsonParseError error{};
    QJsonDocument::fromJson(m_text, &error);
    if (error.error != QJsonParseError::NoError) {
        addErrorAt(error.offset, Words::tr("this is no JSON: %1").arg(error.errorString()));
    }
}

void MockJson::addErrorAt(int offset, const QString& words)
{
    m_errors.append({static_cast<int>(m_text.left(offset).count('\n')) + 1, words});
}

/// JSON numbers travel as doubles.
QVariant MockJson::numberOf(const Json::Value& value)
{
    static const QRegularExpression integer(QStringLiteral("^-?[0-9]+$"));
    const auto begin = static_cast<int>(value.getOffsetStart());
    const QString token = QString::fromLatin1(m_text.mid(begin, static_cast<int>(value.getOffsetLimit()) - begin));
    if (!integer.match(token).hasMatch()) {
        if (!std::isfinite(value.asDouble())) {
            addError(value, changedNumber(token));
        }
        return value.asDouble();
    }
    bool isExact = false;
    const qlonglong number = token.toLongLong(&isExact);
    const auto travelled = static_cast<double>(number);
    // The first double above the largest number would not fit back.
    constexpr double LIMIT = 9223372036854775808.0;
    if (!isExact || travelled >= LIMIT || static_cast<qlonglong>(travelled) != number) {
        addError(value, changedNumber(token));
    }
    return number;
}

const Json::Value* member(const Json::Value& object, const QString& key)
{
    const QByteArray name = key.toUtf8();
    return object.isObject() ? object.find(name.constData(), name.constData() + name.size()) : nullptr;
}

QStringList keysOf(const Json::Value& object)
{
    QStringList keys;
    const Json::Value::Members names = object.getMemberNames();
    for (const std::string& name : names) {
        keys.append(QString::fromStdString(name));
    }
    return keys;
}

QString textOf(const Json::Value& value)
{
    const char* begin = nullptr;
    const char* end = nullptr;
    return value.getString(&begin, &end) ? QString::fromUtf8(begin, static_cast<int>(end - begin)) : QString();
}

} // namespace tarvex::mock
