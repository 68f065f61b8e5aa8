#ifndef ARGUMENTS_H
#define ARGUMENTS_H

#include <QString>
#include <QStringList>

#include <functional>
#include <string>
#include <vector>

/// The words of the command line, on their way into the parser and out of it again.
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

} // namespace tarvexctl

#endif // ARGUMENTS_H
