#include "arguments.h"

#include "failure.h"
#include "programwords.h"

#include <algorithm>
#include <iterator>

namespace tarvexctl {

namespace {

/// No word that the parser knows begins with it, and nobody types it.
constexpr char MARK = '\x01';
/// Any value is right here, because a flag takes none.
constexpr char SOME_VALUE = '\x01';

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
        throw Failure(WrongUse, Words::tr("an argument is no UTF-8 text: %1").arg(decoded));
    }
    return decoded;
}

QStringList texts(const std::vector<std::string>& arguments)
{
    QStringList list;
    std::transform(arguments.begin(), arguments.end(), std::back_inserter(list), text);
    return list;
}

} // namespace tarvexctl
