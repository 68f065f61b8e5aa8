#ifndef COMMANDDATA_H
#define COMMANDDATA_H

#include "programwords.h"
#include "verbs/options.h"

#include <QStringList>
#include <QVariantMap>

#include <string>
#include <vector>

namespace tarvexctl {

/// The data of a command on the command line: as arguments, KEY=VALUE for texts and KEY:=JSON for other values, or one
/// JSON object; or as the option --data, which also reads a file.
class CommandData
{
public:
    /// \a name and \a help are those of the arguments.
    CommandData(const char* name, const char* help) : m_name(name), m_help(help) { }

    void addTo(CLI::App& parser);

    /// The arguments as they were given.
    QStringList arguments() const;

    bool hasDataOption() const { return m_data.text().has_value(); }

    /// Empty when nothing was given. Reads the file or stdin. Throws Failure with WrongUse for anything that makes no
    /// JSON object.
    QVariantMap object() const;

private:
    const char* const m_name;
    const char* const m_help;
    std::vector<std::string> m_arguments;
    OptionalText m_data{"--data",
                        Words::mark("The command's data: a JSON object, @FILE to read it from a file, or - for stdin"),
                        "JSON|@FILE|-"};
};

} // namespace tarvexctl

#endif // COMMANDDATA_H
