#ifndef COMMANDLINE_H
#define COMMANDLINE_H

#include "busserver.h"

#include <QString>

#include <optional>

namespace tarvex::devbus {

/// What the arguments of the program ask for: one of an answer, a complaint and a run.
struct CommandLine
{
    std::optional<QString> answer;    ///< What was asked for and nothing else, by --help and --version.
    std::optional<QString> complaint; ///< What is wrong with the arguments, in one line.
    BusServer::Options options;       ///< For the run.
    bool isDefaultStorage = false;    ///< Nothing was said about the storage; its folder may be missing.
};

/// Reads the arguments as main() gets them. Needs the application object, which has the version.
CommandLine readCommandLine(int argc, char** argv);

} // namespace tarvex::devbus

#endif // COMMANDLINE_H
