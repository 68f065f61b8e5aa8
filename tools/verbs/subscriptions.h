#ifndef SUBSCRIPTIONS_H
#define SUBSCRIPTIONS_H

#include "follower.h"

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace tarvexctl {

/// What a verb that receives subscribes to: --subscribe.
class SubscribeOption
{
public:
    void addTo(CLI::App& parser);

    /// What to subscribe to, from PUBLISHER or PUBLISHER:GOAL. Without a goal it is everything. Throws Failure with
    /// WrongUse.
    Subscriptions subscriptions() const;

private:
    std::vector<std::string> m_values;
};

} // namespace tarvexctl

#endif // SUBSCRIPTIONS_H
