#ifndef VERB_H
#define VERB_H

#include "colours.h"
#include "programwords.h"

#include <QString>

#include <string>
#include <utility>

namespace CLI {
class App;
}

namespace tarvexctl {

class Output;

/// What the program gives a verb to work with.
struct Context
{
    QString clientName; ///< The name under which the verb introduces itself to the bus: that of --as, or the default.
    Output& output;
    Palette palette; ///< The colours of what is shown for people, from --color. Never on with --json.
};

/// One verb of the program: what its help says, which arguments it takes, and what it does.
///
/// A verb owns its arguments: they are members, and addOptions() shows them to the parser. See options.h for those
/// that several verbs take. Nothing else in the program knows them. A new verb is a .cpp file in this folder with a
/// function that makes the verb, and a line in the list of CMakeLists.txt there.
///
/// \code
/// class Ping : public Verb
/// {
/// public:
///     Ping() : Verb("ping", Words::mark("Measures how long the bus takes to answer")) { }
///
///     void addOptions(CLI::App& parser) override { m_timeout.addTo(parser); }
///
///     void run(const Context& context) const override;
///
/// private:
///     TimeoutOption m_timeout{Words::mark("How many seconds to wait"), "30"};
/// };
/// \endcode
class Verb
{
public:
    /// A verb that receives keeps a connection for receiving, of which the bus has one for each name. Without --as it
    /// has a name of its own, and its help says so.
    enum Kind {
        Asks,
        Receives
    };

    /// \a words are what the user types, such as "send"; a verb of a group has the group's name before its own, as in
    /// "settings get". \a help is one line about the verb.
    Verb(std::string words, std::string help, Kind kind = Asks)
        : m_words(std::move(words)), m_help(std::move(help)), m_receives(kind == Receives)
    {
    }

    virtual ~Verb() = default;
    Verb(const Verb&) = delete;
    Verb& operator=(const Verb&) = delete;

    const std::string& words() const { return m_words; }

    const std::string& help() const { return m_help; }

    bool receives() const { return m_receives; }

    /// Adds the verb's arguments and options to its \a parser, in the order of the help text.
    virtual void addOptions(CLI::App& parser) { static_cast<void>(parser); }

    /// Does it, after the command line is parsed. Throws Failure, with WrongUse for arguments that make no sense.
    virtual void run(const Context& context) const = 0;

private:
    const std::string m_words;
    const std::string m_help;
    const bool m_receives;
};

} // namespace tarvexctl

#endif // VERB_H
