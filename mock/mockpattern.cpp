#include "mockpattern.h"

#include "mockwords.h"
#include "words.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>

namespace tarvex::mock {

using programs::Words;

namespace {

const QLatin1String BEGINNING("${");
const QLatin1String ESCAPED_BEGINNING("$${");
const QLatin1String NAME_DATA("data");
const QLatin1String DATA_PREFIX("data.");

/// An escaped beginning, a placeholder, or a beginning without an end.
const QRegularExpression& placeholders()
{
    static const QRegularExpression expression(QStringLiteral("\\$\\$\\{|\\$\\{([^}]*)\\}|\\$\\{"));
    return expression;
}

QVariant jsonNull()
{
    return QVariant::fromValue(nullptr);
}

bool isNumber(const QVariant& value)
{
    const int type = value.userType();
    return type == QMetaType::LongLong || type == QMetaType::Int || type == QMetaType::Double;
}

bool fitsList(const QVariantList& values, const QVariantList& described)
{
    if (values.size() != described.size()) {
        return false;
    }
    for (int index = 0; index < values.size(); ++index) {
        if (!fits(values.at(index), described.at(index))) {
            return false;
        }
    }
    return true;
}

bool fitsMap(const QVariantMap& values, const QVariantMap& described)
{
    if (values.size() != described.size()) {
        return false;
    }
    for (auto value = values.cbegin(); value != values.cend(); ++value) {
        const auto other = described.constFind(value.key());
        if (other == described.cend() || !fits(value.value(), other.value())) {
            return false;
        }
    }
    return true;
}

/// The value that a placeholder's name stands for.
QVariant named(const QString& name, const Request& request)
{
    if (name == QLatin1String("sender")) {
        return request.command.agent();
    }
    if (name == QLatin1String("uid")) {
        return request.command.uid();
    }
    if (name == QLatin1String("command")) {
        return request.command.name();
    }
    if (name == QLatin1String("count")) {
        return static_cast<qlonglong>(request.count);
    }
    if (name == NAME_DATA) {
        return request.command.data();
    }
    return valueAt(request.command.data(), name.mid(DATA_PREFIX.size())).value_or(jsonNull());
}

/// The element of a map or a list; nothing when there is none.
std::optional<QVariant> elementOf(const QVariant& value, const QString& key)
{
    if (value.userType() == QMetaType::QVariantMap) {
        const QVariantMap map = value.toMap();
        const auto element = map.constFind(key);
        return element != map.cend() ? std::optional<QVariant>(*element) : std::nullopt;
    }
    bool isIndex = false;
    const int index = key.toInt(&isIndex);
    const QVariantList list = value.toList();
    const bool isThere = value.userType() == QMetaType::QVariantList && isIndex && index >= 0 && index < list.size();
    return isThere ? std::optional<QVariant>(list.at(index)) : std::nullopt;
}

} // namespace

std::optional<QVariant> valueAt(const QVariant& value, const QString& path)
{
    std::optional<QVariant> found = elementOf(value, path);
    for (int dot = path.indexOf(QLatin1Char('.')); !found && dot >= 0; dot = path.indexOf(QLatin1Char('.'), dot + 1)) {
        if (const auto outer = elementOf(value, path.left(dot))) {
            found = valueAt(*outer, path.mid(dot + 1));
        }
    }
    return found;
}

bool fits(const std::optional<QVariant>& value, const QVariant& described)
{
    if (!value || !value->isValid() || value->userType() == QMetaType::Nullptr) {
        return described.userType() == QMetaType::Nullptr;
    }
    if (isNumber(*value) && isNumber(described)) {
        return !(value->toDouble() < described.toDouble()) && !(value->toDouble() > described.toDouble());
    }
    if (value->userType() != described.userType()) {
        return false;
    }
    switch (described.userType()) {
    case QMetaType::QVariantList:
        return fitsList(value->toList(), described.toList());
    case QMetaType::QVariantMap:
        return fitsMap(value->toMap(), described.toMap());
    default:
        return *value == described;
    }
}

bool hasPlaceholder(const QString& text)
{
    return text.contains(BEGINNING);
}

bool isPlaceholder(const QString& text)
{
    const QRegularExpressionMatch match = placeholders().match(text);
    return match.hasMatch() && match.captured() == text && match.lastCapturedIndex() == 1;
}

QString placeholderFault(const QString& text)
{
    static const QStringList names{NAME_DATA, QStringLiteral("sender"), QStringLiteral("uid"),
                                   QStringLiteral("command"), QStringLiteral("count")};
    for (auto match = placeholders().globalMatch(text); match.hasNext();) {
        const QRegularExpressionMatch found = match.next();
        const QString name = found.captured(1);
        if (found.captured() == BEGINNING) {
            return Words::tr("a placeholder has no \"}\"; write \"$${\" for a \"${\" that is none");
        }
        const bool isData = name.startsWith(DATA_PREFIX) && name.size() > DATA_PREFIX.size();
        if (found.captured() != ESCAPED_BEGINNING && !isData && !names.contains(name)) {
            return Words::tr("there is no placeholder \"${%1}\"").arg(name) + hint(name, names);
        }
    }
    return QString();
}

QString filledText(const QString& pattern, const Request& request)
{
    QString text;
    int end = 0;
    for (auto match = placeholders().globalMatch(pattern); match.hasNext();) {
        const QRegularExpressionMatch found = match.next();
        text += pattern.midRef(end, found.capturedStart() - end);
        const bool isEscape = found.captured() == ESCAPED_BEGINNING;
        text += isEscape ? QString(BEGINNING) : textOf(named(found.captured(1), request));
        end = found.capturedEnd();
    }
    return text + pattern.midRef(end);
}

QVariant filled(const QVariant& pattern, const Request& request)
{
    switch (pattern.userType()) {
    case QMetaType::QString: {
        const QString text = pattern.toString();
        return isPlaceholder(text) ? named(text.mid(BEGINNING.size()).chopped(1), request)
                                   : QVariant(filledText(text, request));
    }
    case QMetaType::QVariantList: {
        QVariantList list = pattern.toList();
        for (QVariant& element : list) {
            element = filled(element, request);
        }
        return list;
    }
    case QMetaType::QVariantMap: {
        QVariantMap map = pattern.toMap();
        for (QVariant& element : map) {
            element = filled(element, request);
        }
        return map;
    }
    default:
        return pattern;
    }
}

QString textOf(const QVariant& value)
{
    if (value.userType() == QMetaType::QString) {
        return value.toString();
    }
    if (!value.isValid() || value.userType() == QMetaType::Nullptr) {
        return QString();
    }
    // A document must be an object or an array, so the value is put into an array and the brackets are removed.
    const QByteArray text = QJsonDocument(QJsonArray{QJsonValue::fromVariant(value)}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(text.mid(1, text.size() - 2));
}

} // namespace tarvex::mock
