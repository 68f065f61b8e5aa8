#ifndef COMMANDLINE_H
#define COMMANDLINE_H

#include "programwords.h"
#include "verbs/options.h"
#include "verbs/verb.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarvexctl {

class Output;

/// The command line: the program's own options, and the verb.
class CommandLine
{
public:
    /// What is left to do after parse().
    enum Task {
        Nothing, ///< The help that was asked for has been shown.
        Run
    };

    CommandLine();

    /// Tells \a program its name, its options and its verbs.
    void addTo(CLI::App& program);

    /// Throws Failure with WrongUse for a line that cannot be understood.
    Task parse(int argc, char** argv);

    /// Runs the verb of the line, or shows the version. Throws Failure.
    void run() const;

private:
    void addVerb(CLI::App& program, Verb& verb);
    void choose(const Verb& verb, const CLI::App& parser);
    QString clientName() const;
    Palette palette() const;

    const std::vector<std::unique_ptr<Verb>> m_verbs;
    const Verb* m_verb = nullptr;
    std::optional<std::string> m_clientName;
    TimeoutOption m_busTimeout{Words::mark("First waits up to so many seconds until a bus answers"), nullptr,
                               "--wait-for-bus"};
    std::optional<std::string> m_colour;
    bool m_json = false;
    bool m_quiet = false;
    bool m_version = false;
};

} // namespace tarvexctl

#endif // COMMANDLINE_H
