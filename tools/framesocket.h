#ifndef FRAMESOCKET_H
#define FRAMESOCKET_H

#include "traffic/framewire.h"

#include <QObject>
#include <QTcpSocket>

namespace tarvexctl {

/// One end of a bus connection that sends and receives whole frames.
class FrameSocket : public QObject
{
    Q_OBJECT
public:
    /// A socket that is not connected yet.
    explicit FrameSocket(QObject* parent = nullptr);
    /// Takes \a socket, which is connected, and owns it.
    FrameSocket(QTcpSocket* socket, QObject* parent);

    void connectToPort(tarvex::traffic::Port port);
    void send(const QByteArray& frame);
    /// Closes the connection when all is sent. closed() is not emitted.
    void close();

Q_SIGNALS:
    void opened();
    /// A frame has come: its kind, size and contents. A Bad one is the last.
    void received(const tarvex::traffic::SeenFrame& frame);
    /// The other side has closed the connection, or there is nobody, or a Bad frame has come. \a why is the socket's
    /// text, or the problem of the frame.
    void closed(const QString& why);

private:
    void connectSignals();
    void readFrames();
    void onDisconnected();
    void end(const QString& why);

    QTcpSocket* const m_socket;
    tarvex::traffic::FrameReader m_reader;
    bool m_isClosed = false;
};

} // namespace tarvexctl

#endif // FRAMESOCKET_H
