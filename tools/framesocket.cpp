#include "framesocket.h"

#include <QHostAddress>
#include <QPointer>

namespace tarvexctl {

using tarvex::traffic::Kind;
using tarvex::traffic::SeenFrame;

FrameSocket::FrameSocket(QObject* parent) : QObject(parent), m_socket(new QTcpSocket(this))
{
    connectSignals();
}

FrameSocket::FrameSocket(QTcpSocket* socket, QObject* parent) : QObject(parent), m_socket(socket)
{
    m_socket->setParent(this);
    connectSignals();
}

void FrameSocket::connectToPort(tarvex::traffic::Port port)
{
    m_socket->connectToHost(QHostAddress(QHostAddress::LocalHost), tarvex::traffic::portNumber(port));
}

void FrameSocket::send(const QByteArray& frame)
{
    if (!m_isClosed) {
        m_socket->write(frame);
        m_socket->flush(); // the program may end before the event loop runs again
    }
}

void FrameSocket::close()
{
    m_isClosed = true;
    m_socket->disconnectFromHost();
}

void FrameSocket::connectSignals()
{
    connect(m_socket, &QTcpSocket::connected, this, &FrameSocket::opened);
    connect(m_socket, &QTcpSocket::readyRead, this, &FrameSocket::readFrames);
    connect(m_socket, &QTcpSocket::errorOccurred, this, &FrameSocket::onDisconnected);
}

void FrameSocket::readFrames()
{
    m_reader.append(m_socket->readAll());
    const QPointer<FrameSocket> self(this);
    for (SeenFrame frame; self && !m_isClosed && m_reader.next(frame);) {
        Q_EMIT received(frame);
        if (self && frame.kind == Kind::Bad) {
            end(frame.problem);
        }
    }
}

/// The socket reports the end of the connection as an error.
void FrameSocket::onDisconnected()
{
    if (!m_isClosed) {
        readFrames(); // what came before the end
        end(m_socket->errorString());
    }
}

void FrameSocket::end(const QString& why)
{
    if (!m_isClosed) {
        close();
        Q_EMIT closed(why);
    }
}

} // namespace tarvexctl
