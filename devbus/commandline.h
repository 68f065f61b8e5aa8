#ifndef COMMANDLINE_H
#define COMMANDLINE_H

#include "busserver.h"

#include <QList>
#include <QString>

#include <optional>

namespace tarvex::devbus {

/// What the arguments of the program ask for.
struct CommandLine
{
    enum Kind {
        Run,
        Answer,   ///< To write the text, which --help or --version asked for, and nothing else.
        Complaint ///< The arguments are wrong, and the text says in one line why.
    };

    Kind kind = Run;
    QString text;
    BusServer::Options options;      ///< For the run.
    QList<FaultRule> faults;         ///< In their order.
    bool isDefaultStorage = false;   ///< Nothing was said about the storage. Its folder may be missing.
    std::optional<quint16> httpPort; ///< Of the live page, when it is asked for; 0 lets the system choose it.
};

/// Reads the arguments as main() gets them. Needs the application object, which has the version.
CommandLine readCommandLine(int argc, char** argv);

} // namespace tarvex::devbus

#endif // COMMANDLINE_H
