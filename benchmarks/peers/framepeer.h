#ifndef FRAMEPEER_H
#define FRAMEPEER_H

#include "helperprocess.h"
#include "peer.h"
#include "serveuntil.h"

/// What all clients of the server of frames do alike, the library's own among them.
class FramePeer : public Peer
{
public:
    /// The system chooses the ports if they are 0.
    FramePeer(quint16 queryPort, quint16 receiverPort);

    void prepare(Operation operation, int bytes, int count) override;

protected:
    /// Orders the next push.
    void order() { m_server.send("go\n"); }

    Operation operation() const { return m_operation; }

    int bytes() const { return m_bytes; }

    quint16 queryPort() const { return m_queryPort; }

    quint16 receiverPort() const { return m_receiverPort; }

private:
    HelperProcess m_server;
    quint16 m_queryPort = 0;
    quint16 m_receiverPort = 0;
    Operation m_operation = Operation::Up;
    int m_bytes = 0;
};

#endif // FRAMEPEER_H
