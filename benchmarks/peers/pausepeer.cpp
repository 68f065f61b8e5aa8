#include "peer.h"

namespace {

/// Nothing but the pause: what every other way has in it.
class PausePeer : public Peer
{
public:
    void prepare(Operation operation, int bytes, int count) override
    {
        Q_UNUSED(operation)
        Q_UNUSED(bytes)
        Q_UNUSED(count)
    }

    void trigger() override { }

    void run() override { pause(); }
};

} // namespace

std::unique_ptr<Peer> makePausePeer()
{
    return std::make_unique<PausePeer>();
}
