#include "client/tarvexmessagesreciever.h"
#include "client/tarvexqueryhandler.h"
#include "framepeer.h"
#include "require.h"
#include "samples.h"
#include "wire/busterms_p.h"

namespace {

namespace busterms = tarvex::busterms;

/// The library's two connections, without the workers of a service. A worker's query connection makes one more system
/// call in an exchange, ioctl(FIONREAD).
class ProjectPeer : public FramePeer
{
public:
    ProjectPeer()
        : FramePeer(busterms::QUERY_PORT, busterms::RECEIVER_PORT)
        , m_handler(QString::fromUtf8(samples::CLIENT))
        , m_receiver(QString::fromUtf8(samples::CLIENT))
    {
        QObject::connect(&m_receiver, &tarvex::TarvexMessagesReciever::incomingMessage, &m_receiver,
                         [this](const tarvex::Message&) { m_isPushed = true; });
        require(m_handler.open() && m_receiver.open(), "the handshake fails");
        serveUntil([this] { return m_receiver.isOpen(); });
    }

    void prepare(Operation operation, int bytes, int count) override
    {
        FramePeer::prepare(operation, bytes, count);
        m_message = samples::record(samples::message(bytes));
    }

    void makeReady() override
    {
        if (operation() == Operation::Up) {
            m_message.setUid(samples::message(bytes()).uid);
        }
        m_isPushed = false;
    }

    void run() override
    {
        tarvex::ClientSettings settings;
        switch (operation()) {
        case Operation::Up:
            require(m_handler.sendMessage(m_message), "a message is not taken");
            break;
        case Operation::Down:
            require(m_handler.loadSettings(QString(), settings), "the settings are not loaded");
            break;
        case Operation::Push:
            order();
            serveUntil([this] { return m_isPushed; });
            break;
        }
    }

private:
    tarvex::TarvexQueryHandler m_handler;
    tarvex::TarvexMessagesReciever m_receiver;
    tarvex::Message m_message;
    bool m_isPushed = false;
};

} // namespace

std::unique_ptr<Peer> makeProjectPeer()
{
    return std::make_unique<ProjectPeer>();
}
