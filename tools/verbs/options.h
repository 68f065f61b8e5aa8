#ifndef OPTIONS_H
#define OPTIONS_H

#include "programwords.h"
#include "tally.h"

#include <QString>
#include <QStringList>

#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

/// Arguments and options that several verbs take. Their help texts are marked by Words::mark() and translated when they
/// are added. A verb has them as members and adds them in its addOptions(). It
/// reads their values when it runs; a value that makes no sense throws Failure with WrongUse then.
namespace tarvexctl {

/// An argument that must be there.
class Argument
{
public:
    Argument(const char* name, const char* help) : m_name(name), m_help(help) { }

    void addTo(CLI::App& parser);

    QString text() const;

    /// The same, but an empty text is refused.
    QString nonEmptyText() const;

private:
    const char* const m_name;
    const char* const m_help;
    std::string m_value;
};

/// An argument or an option that may be missing.
class OptionalText
{
public:
    /// An option's name begins with "--", and \a valueName stands for its value in the help.
    OptionalText(const char* name, const char* help, const char* valueName = "")
        : m_name(name), m_help(help), m_valueName(valueName)
    {
    }

    void addTo(CLI::App& parser);

    std::optional<QString> text() const;

private:
    const char* const m_name;
    const char* const m_help;
    const char* const m_valueName;
    std::optional<std::string> m_value;
};

/// The clients that a verb asks about; the own name when there is none.
class OwnersArgument
{
public:
    void addTo(CLI::App& parser);

    /// \a clientName alone when there are none.
    QStringList names(const QString& clientName) const;

private:
    std::vector<std::string> m_names;
};

/// How long a verb waits: --timeout.
class TimeoutOption
{
public:
    /// Without the option it is \a defaultSeconds. With a null pointer there is no default.
    TimeoutOption(const char* help, const char* defaultSeconds, const char* name = "--timeout")
        : m_help(help), m_default(defaultSeconds), m_name(name)
    {
    }

    void addTo(CLI::App& parser);

    bool isGiven() const { return m_seconds.has_value(); }

    /// There must be a default, or isGiven().
    int milliseconds() const;

private:
    const char* const m_help;
    const char* const m_default;
    const char* const m_name;
    std::optional<std::string> m_seconds;
};

/// When a verb ends in any case: --timeout. Without the option it goes on.
class OptionalTimeout
{
public:
    explicit OptionalTimeout(const char* help) : m_help(help) { }

    void addTo(CLI::App& parser);

    std::optional<int> milliseconds() const;

private:
    const char* const m_help;
    std::optional<std::string> m_seconds;
};

/// When a verb that follows the bus has enough: --count and --timeout.
class LimitOptions
{
public:
    /// \a help is that of --count, such as "Ends after so many messages".
    explicit LimitOptions(const char* help) : m_help(help) { }

    void addTo(CLI::App& parser);

    Limits limits() const;

private:
    const char* const m_help;
    std::optional<std::string> m_count;
    std::optional<std::string> m_seconds;
};

// What needs the parser is in options.cpp, so that a verb's own file does not: it takes seconds to compile.

/// Adds an option without a value.
void addFlag(CLI::App& parser, const char* name, bool& isSet, const char* help);

/// Adds sentences to what stands below the options in the help.
void addFooter(CLI::App& parser, const char* sentences);

/// Ends the help of a verb with this example.
void addExample(CLI::App& parser, const std::string& commandLine);

/// Refuses an empty name; \a what is the argument's name.
void requireName(const QString& name, const QString& what);

/// Refuses an empty name among the owners. \return each of them
QStringList ownersFrom(const std::vector<std::string>& arguments);

} // namespace tarvexctl

#endif // OPTIONS_H
