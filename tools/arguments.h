#ifndef ARGUMENTS_H
#define ARGUMENTS_H

#include <QString>
#include <QStringList>

#include <functional>
#include <string>
#include <vector>

/// The words of the command line, as the parser takes them and as it gives them back.
namespace tarvexctl {

/// The program's arguments, without its name, for the parser. The parser would take a text in brackets as a list, so
/// such a text is marked; text() removes the mark. The parser would take the next argument as the value of an option
/// that ends with "=", so an empty argument is put after such an option. The parser would ignore the "=" after a flag,
/// so such a flag gets a value, which the parser refuses. \a isFlag says whether a name is that of a flag.
std::vector<std::string> parserArguments(int argc, char** argv, const std::function<bool(const std::string&)>& isFlag);

/// An argument as it was given, to be shown. Bytes that are not UTF-8 are replaced.
QString unmarked(const std::string& argument);

/// An argument as it was given. Throws Failure when it is not UTF-8.
QString text(const std::string& argument);

QStringList texts(const std::vector<std::string>& arguments);

} // namespace tarvexctl

#endif // ARGUMENTS_H
