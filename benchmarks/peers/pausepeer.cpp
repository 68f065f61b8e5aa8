#include "framepeer.h"

namespace {

/// Nothing but what every other way has in it too: the pause, and the order to push.
class PausePeer : public FramePeer
{
public:
    PausePeer() : FramePeer(0, 0) { }

    void makeReady() override { }

    void run() override
    {
        if (operation() == Operation::Push) {
            order();
        }
        pause();
    }
};

} // namespace

std::unique_ptr<Peer> makePausePeer()
{
    return std::make_unique<PausePeer>();
}
