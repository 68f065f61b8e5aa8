#ifndef ARGUMENTS_H
#define ARGUMENTS_H

#include "records/clientstate.h"

#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <functional>
#include <string>
#include <vector>

/// From the words of the command line to what the verbs work with. What makes no sense throws Failure with WrongUse.
namespace tarvexctl {

/// The program's arguments, without its name, for the parser. It would take a text in brackets for a list: such a text
/// is marked. text() takes the mark off again. It would also give an option that ends with "=" the next argument for
/// its value: such an option is followed by an empty one. And it would pass over the "=" of a flag: such a flag is
/// given a value, which the parser refuses. \a isFlag tells the flags by their names.
std::vector<std::string> parserArguments(int argc, char** argv, const std::function<bool(const std::string&)>& isFlag);

/// An argument as it was given, to be shown; what is no UTF-8 is replaced.
QString unmarked(const std::string& argument);

/// An argument as it was given. Arguments must be UTF-8.
QString text(const std::string& argument);

QStringList texts(const std::vector<std::string>& arguments);

bool isJson(const QString& text);

/// The JSON value that \a text holds; \a text itself when it is no JSON, so that plain words need no quotes.
/// Integers that the bus does not carry exactly are refused, wherever in the value they stand.
QVariant jsonOrText(const QString& text);

/// The first integer in a JSON text that would travel as another one, since JSON numbers travel as doubles; empty when
/// there is none.
QString inexactInteger(const QString& json);

/// Tells on stderr of a text that begins as JSON does and is none, such as one with a bracket missing.
void tellOfBrokenJson(const QString& text);

/// A decimal number from 0 to 127.
tarvex::ClientState::EStateType stateTypeFrom(const QString& text);

/// A whole number from 1 that an int holds.
int countFrom(const QString& text);

/// Seconds, which need not be whole, as milliseconds.
int timeoutMsFrom(const QString& text);

/// What to subscribe to, from PUBLISHER or PUBLISHER:GOAL; without a goal it is everything.
QList<QPair<QString, qint32>> subscriptionsFrom(const QStringList& texts);

/// Refuses an empty name; \a what is the argument's name.
void requireName(const QString& name, const QString& what);

} // namespace tarvexctl

#endif // ARGUMENTS_H
