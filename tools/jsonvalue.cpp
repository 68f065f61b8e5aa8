#include "jsonvalue.h"

#include "failure.h"
#include "output.h"
#include "programwords.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QSet>
#include <QVector>

namespace tarvexctl {

namespace {

/// The values of a JSON array with \a text between its brackets. Empty when that is not JSON.
QJsonArray arrayOf(const QString& text)
{
    // Only an object or an array is a document, so a single value is read as an element.
    return QJsonDocument::fromJson('[' + text.toUtf8() + ']').array();
}

} // namespace

bool isJson(const QString& text)
{
    return arrayOf(text).size() == 1;
}

QVariant jsonOrText(const QString& text)
{
    const QJsonArray values = arrayOf(text);
    if (values.size() != 1) { // "1,2" makes two elements, so it is not a JSON value
        return text;
    }
    const QString inexact = inexactInteger(text);
    if (!inexact.isEmpty()) {
        throw Failure(
            WrongUse,
            Words::tr("%1 is too large to be stored exactly as a number; --string stores it as a text").arg(inexact));
    }
    return values.first().toVariant();
}

QString inexactInteger(const QString& json)
{
    // Texts are skipped. A number is matched whole, so that a fraction is not taken as an integer.
    static const QRegularExpression tokens(
        QStringLiteral("\"(?:[^\"\\\\]++|\\\\.)*+\"|-?[0-9]+(?:\\.[0-9]+)?(?:[eE][-+]?[0-9]+)?"));
    static const QRegularExpression integer(QStringLiteral("^-?[1-9][0-9]*$"));
    for (auto match = tokens.globalMatch(json); match.hasNext();) {
        QString token = match.next().captured();
        if (integer.match(token).hasMatch() && jsonText(token.toDouble()) != token) {
            return token;
        }
    }
    return QString();
}

QString repeatedName(const QString& json)
{
    // A text with a colon after it is a name.
    static const QRegularExpression tokens(QStringLiteral("(\"(?:[^\"\\\\]++|\\\\.)*+\")(\\s*:)?|[][{}]"));
    QVector<QSet<QString>> names; // of each object and list that is open
    for (auto match = tokens.globalMatch(json); match.hasNext();) {
        const QRegularExpressionMatch found = match.next();
        const QChar token = found.capturedRef().at(0);
        if (token == QLatin1Char('{') || token == QLatin1Char('[')) {
            names.append(QSet<QString>());
        } else if (names.isEmpty()) {
            return QString();
        } else if (token != QLatin1Char('"')) {
            names.removeLast();
        } else if (found.capturedLength(2) > 0) {
            QString name = found.captured(1);
            if (names.last().contains(name)) {
                return name;
            }
            names.last().insert(name);
        }
    }
    return QString();
}

void tellOfBrokenJson(const QString& text)
{
    static const QRegularExpression beginning(QStringLiteral("^\\s*[{[\"]"));
    if (beginning.match(text).hasMatch() && !isJson(text)) {
        complain(Words::tr("%1 begins like JSON and is none: it is taken as a text, as with --string").arg(text));
    }
}

} // namespace tarvexctl
