#include "arguments.h"

#include "failure.h"
#include "output.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>

#include <algorithm>
#include <iterator>
#include <limits>

using tarvex::ClientState;

namespace tarvexctl {

namespace {

/// Begins nothing that the parser knows, and is nothing that one types.
constexpr char MARK = '\x01';
/// Any value will do: a flag takes none.
constexpr char SOME_VALUE = '\x01';
constexpr int MAX_STATE_TYPE = 127;
/// Three weeks; a timer holds a little more.
constexpr double MAX_TIMEOUT_S = 2000000;
constexpr int MS_PER_S = 1000;
/// State changes and messages to nobody in particular.
constexpr qint32 GOAL_ALL = 3;

std::string marked(const std::string& argument)
{
    return !argument.empty() && argument.front() == '[' ? MARK + argument : argument;
}

std::string withoutMark(const std::string& argument)
{
    const bool isMarked = !argument.empty() && argument.front() == MARK;
    return isMarked ? argument.substr(1) : argument;
}

/// "--name="
bool isWithoutValue(const std::string& argument)
{
    return argument.size() > 3 && argument.compare(0, 2, "--") == 0 && argument.find('=') == argument.size() - 1;
}

/// The values of a JSON array with \a text between its brackets; empty when that is no JSON.
QJsonArray arrayOf(const QString& text)
{
    // Only an object or an array makes a document, so a value that stands alone is read as an element.
    return QJsonDocument::fromJson('[' + text.toUtf8() + ']').array();
}

QPair<QString, qint32> subscriptionFrom(const QString& text)
{
    const int colon = text.lastIndexOf(QLatin1Char(':'));
    if (colon < 0) {
        return {text, GOAL_ALL};
    }
    static const QStringList goals{QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("3")};
    const QString goal = text.mid(colon + 1);
    if (!goals.contains(goal)) {
        throw Failure(WrongUse,
                      QStringLiteral("the goal of a subscription must be 1, 2 or 3, not \"%1\"; a name that holds a "
                                     "colon needs one after it: \"%2:3\"")
                          .arg(goal, text));
    }
    return {text.left(colon), goal.toInt()};
}

} // namespace

std::vector<std::string> parserArguments(int argc, char** argv, const std::function<bool(const std::string&)>& isFlag)
{
    std::vector<std::string> arguments;
    bool isOption = true; // until "--"
    for (int index = 1; index < argc; ++index) {
        const std::string argument = argv[index];
        isOption = isOption && argument != "--";
        if (isOption && isWithoutValue(argument)) {
            const std::string name = argument.substr(0, argument.size() - 1);
            if (isFlag(name)) {
                arguments.push_back(argument + SOME_VALUE);
            } else {
                arguments.push_back(name);
                arguments.emplace_back();
            }
        } else {
            arguments.push_back(marked(argument));
        }
    }
    return arguments;
}

QString unmarked(const std::string& argument)
{
    return QString::fromStdString(withoutMark(argument));
}

QString text(const std::string& argument)
{
    QString decoded = unmarked(argument);
    if (decoded.toStdString() != withoutMark(argument)) {
        throw Failure(WrongUse, QStringLiteral("an argument is no UTF-8 text: %1").arg(decoded));
    }
    return decoded;
}

QStringList texts(const std::vector<std::string>& arguments)
{
    QStringList list;
    std::transform(arguments.begin(), arguments.end(), std::back_inserter(list), text);
    return list;
}

bool isJson(const QString& text)
{
    return arrayOf(text).size() == 1;
}

QVariant jsonOrText(const QString& text)
{
    const QJsonArray values = arrayOf(text);
    if (values.size() != 1) { // "1,2" makes two elements: it is no JSON value
        return text;
    }
    const QString inexact = inexactInteger(text);
    if (!inexact.isEmpty()) {
        throw Failure(WrongUse,
                      QStringLiteral("%1 is too large to be stored exactly as a number; --string stores it as a text")
                          .arg(inexact));
    }
    return values.first().toVariant();
}

QString inexactInteger(const QString& json)
{
    // Texts are passed over; of numbers the whole is taken, so that a fraction is not taken for an integer.
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

void tellOfBrokenJson(const QString& text)
{
    static const QRegularExpression beginning(QStringLiteral("^\\s*[{[\"]"));
    if (beginning.match(text).hasMatch() && !isJson(text)) {
        complain(QStringLiteral("%1 begins like JSON and is none: it is taken as a text, as with --string").arg(text));
    }
}

ClientState::EStateType stateTypeFrom(const QString& text)
{
    bool isNumber = false;
    const int type = text.toInt(&isNumber);
    if (!isNumber || type < 0 || type > MAX_STATE_TYPE) {
        throw Failure(WrongUse,
                      QStringLiteral("the type of a state must be a number from 0 to 127, not \"%1\"").arg(text));
    }
    return static_cast<ClientState::EStateType>(type);
}

int countFrom(const QString& text)
{
    bool isNumber = false;
    const int count = text.toInt(&isNumber);
    if (!isNumber || count < 1) {
        throw Failure(WrongUse,
                      QStringLiteral("--count must be a whole number from 1 to %1, not \"%2\"")
                          .arg(QString::number(std::numeric_limits<int>::max()), text));
    }
    return count;
}

int timeoutMsFrom(const QString& text)
{
    bool isNumber = false;
    const double milliseconds = text.toDouble(&isNumber) * MS_PER_S;
    // Written so that what is no number at all is refused too.
    if (!isNumber || !(milliseconds >= 1 && milliseconds <= MAX_TIMEOUT_S * MS_PER_S)) {
        throw Failure(
            WrongUse,
            QStringLiteral("--timeout must be a number of seconds from 0.001 to 2000000, not \"%1\"").arg(text));
    }
    return qRound(milliseconds);
}

QList<QPair<QString, qint32>> subscriptionsFrom(const QStringList& texts)
{
    QList<QPair<QString, qint32>> subscriptions;
    QStringList names;
    for (const QString& text : texts) {
        subscriptions.append(subscriptionFrom(text));
        const QString name = subscriptions.last().first;
        requireName(name, QStringLiteral("PUBLISHER"));
        if (names.contains(name)) {
            throw Failure(WrongUse, QStringLiteral("\"%1\" is given twice with --subscribe").arg(name));
        }
        names.append(name);
    }
    return subscriptions;
}

void requireName(const QString& name, const QString& what)
{
    if (name.isEmpty()) {
        throw Failure(WrongUse, QStringLiteral("%1 must not be empty").arg(what));
    }
}

} // namespace tarvexctl
