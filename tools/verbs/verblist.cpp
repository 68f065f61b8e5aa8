#include "verblist.h"

#include <algorithm>
#include <iterator>

namespace tarvexctl {

// Each of these functions stands in its verb's own file.
using MakeVerb = std::unique_ptr<Verb>();
MakeVerb makeSettingsGet, makeSettingsSet, makeSettingsRemove, makeSettingsList, makeSettingsUnset, makeSettingsLoad;
MakeVerb makeStateGet, makeStateSet, makeStateWatch, makeStateList;
MakeVerb makeSend, makeCall, makeListen, makeClients, makeWait;

namespace {

/// In the order of the help texts.
MakeVerb* const VERBS[] = {
    makeSettingsGet, makeSettingsSet, makeSettingsRemove, makeSettingsList, makeSettingsUnset, makeSettingsLoad, //
    makeStateGet,    makeStateSet,    makeStateWatch,     makeStateList,                                         //
    makeSend,        makeCall,        makeListen,         makeClients,      makeWait,
};

constexpr VerbGroup GROUPS[] = {
    {"settings", "The stored settings of a client"},
    {"state", "The current state of a client"},
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
