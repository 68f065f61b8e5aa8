#include "framepeer.h"

#include "require.h"
#include "samples.h"

FramePeer::FramePeer(quint16 queryPort, quint16 receiverPort)
    : m_server(HelperProcess::server("frames", {QByteArray::number(queryPort), QByteArray::number(receiverPort)}))
{
    const QList<QByteArray> words = m_server.readLine().split(' ');
    require(words.size() == 3 && words.first() == "ready", "the server of frames does not start");
    m_queryPort = words.at(1).toUShort();
    m_receiverPort = words.at(2).toUShort();
}

void FramePeer::prepare(Operation operation, int bytes, int count)
{
    m_operation = operation;
    m_bytes = bytes;
    m_server.command("reply", operation == Operation::Down ? samples::settingsReply(bytes) : samples::resultReply());
    for (int number = 0; operation == Operation::Push && number < count; ++number) {
        m_server.command("push", samples::push(bytes));
    }
}
