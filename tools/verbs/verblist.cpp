#include "verblist.h"
#include "programwords.h"

#include "verbfunctions.h"

#include <algorithm>
#include <iterator>

namespace tarvexctl {

namespace {

constexpr VerbGroup GROUPS[] = {
    {"settings", Words::mark("The stored settings of a client")},
    {"state", Words::mark("The current state of a client")},
    {"fault", Words::mark("Faults on purpose, on a development bus")},
};

} // namespace

std::vector<std::unique_ptr<Verb>> allVerbs()
{
    std::vector<std::unique_ptr<Verb>> verbs;
    for (MakeVerb* const make : VERBS) {
        verbs.push_back(make());
    }
    return verbs;
}

const VerbGroup& verbGroup(const std::string& name)
{
    return *std::find_if(std::begin(GROUPS), std::end(GROUPS),
                         [&name](const VerbGroup& group) { return name == group.name; });
}

} // namespace tarvexctl
