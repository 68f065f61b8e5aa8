#ifndef HIDDENVERBS_H
#define HIDDENVERBS_H

namespace tarvexctl {

class CommandLine;

/// Does what other programs ask of this one and no help names, when the arguments say so: "complete" for the shells,
/// "describe" for the manual pages. Throws Failure. \return whether they said so
bool runHiddenVerb(int argc, char** argv, CommandLine& line);

} // namespace tarvexctl

#endif // HIDDENVERBS_H
