#ifndef VERBLIST_H
#define VERBLIST_H

#include "verb.h"

#include <memory>
#include <string>
#include <vector>

namespace tarvexctl {

/// The name of a group of verbs, such as "settings", and the line about it in the help.
struct VerbGroup
{
    const char* name;
    const char* help;
};

/// Every verb of the program, in the order of the help texts.
std::vector<std::unique_ptr<Verb>> allVerbs();

/// The group of this name. There must be one.
const VerbGroup& verbGroup(const std::string& name);

} // namespace tarvexctl

#endif // VERBLIST_H
