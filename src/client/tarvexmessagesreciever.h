#ifndef TARVEXMESSAGESRECIEVER_H
#define TARVEXMESSAGESRECIEVER_H

#include "records/message.h"
#include "records/tarvexerror.h"
#include "tarvexlib_export.h"

#include <QAbstractSocket>
#include <QCache>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QVariantMap>

#include <memory>

class QTcpSocket;

namespace tarvex {

struct ConnectionNotes;

/// The connection on which the bus server pushes messages. The spelling of the name is the bus's own.
///
/// Every pushed message is acknowledged, and emitted once. The server pushes a message again if our acknowledgement was
/// lost. The repeat is recognised as long as the message is among the last 100 distinct ones, also across a
/// reconnection.
///
/// Lives in its worker's thread and is called from that thread only. It takes no lock, and needs that thread's event
/// loop. open() blocks for up to 30000 ms to connect and as long again to write the handshake, close() for 100 ms. One
/// frame is read in a turn of the event loop. That blocks for up to 200 ms until the size line is complete, then until
/// the payload is complete, and for up to 30000 ms to write the acknowledgement. The limit for the payload is (payload
/// size / 100 + 1) times 10 ms, but no less than 200 ms and no more than 60000 ms. As the child of a worker that is
/// ending (AbstractWorker::isEnding()) it reads no further frame.
///
/// The server is expected on 127.0.0.1, port 45537. Nothing throws. Bad frames are logged in the default category and
/// dropped. What follows them is read as the next frame. The connection is ended as if the server had dropped it after
/// a size line above 48 MiB, after 64 unknown header lines or abandoned frames in a row, and after an acknowledgement
/// that could not be written.
///
/// <!-- quote: docs/snippets/reference/receiver.cpp#receiver -->
/// \code
/// TarvexMessagesReciever receiver(BUSNAME_MONITORING);
/// QObject::connect(&receiver, SIGNAL(incomingMessage(Message)), &screen, SLOT(show(Message)), Qt::QueuedConnection);
/// if (!receiver.open()) {
///     return 1; // There is no bus.
/// }
/// \endcode
///
/// Wire: the receiver sends the request "handshake" with {"name": the client's name}, which the server accepts by a
/// reply with code 0. The receiver takes the request "sendMessage", whose data is a Message in map form, and replies
/// with code 0 and the message's {"sender", "reciever", "uid"}. It replies to any other request with code 4.
class TARVEXLIB_EXPORT TarvexMessagesReciever : public QObject
{
    Q_OBJECT
public:
    /// \a clientName is the name under which the client introduces itself.
    explicit TarvexMessagesReciever(const QString& clientName, QObject* parent = nullptr);

    /// Closes the connection; blocks for 100 ms.
    ~TarvexMessagesReciever() override;

    /// True while there is a connection on which the server has accepted the handshake. So it is false for a moment
    /// after open() has succeeded.
    bool isOpen() const;

    /// True while there is a connection, whether or not the server has accepted the handshake, and while a connection
    /// is being made or closed.
    bool isConnected() const;

    QString clientName() const; ///< The name given at construction.

    // The order of the signals and slots below is interface. That is why public and private slots alternate. A new one
    // goes to the end.
Q_SIGNALS:
    /// A message that has not been delivered before. A slot that is connected directly must not delete this object.
    void incomingMessage(Message msg);

    /// The server closed the connection, or it was given up. What the server sent before is still read, unless close()
    /// is called first. Not emitted after close().
    void busDisconnected();

    /// open() connected and sent the handshake.
    void tarvexConnected();

public Q_SLOTS:
    /// Connects and sends the handshake, without waiting for the answer. Does nothing when open already.
    /// \return whether the handshake was sent. If it was not, the connection is closed.
    bool open();

    /// Closes the connection. No busDisconnected() follows.
    void close();

private Q_SLOTS:
    void socketConnected();
    void socketDisconnected();
    void socketError(QAbstractSocket::SocketError error);
    void onSocketReadyRead();

public Q_SLOTS:
    /// Sends the request "handshake" again. open() sends it by itself, so a service has no need to.
    /// Blocks for up to 30000 ms. \return whether the bytes were written.
    bool handshake();

    /// Sends a request of the operation \a cmd. A reply that the server gives to it is not passed on.
    /// Blocks for up to 30000 ms. \return whether the bytes were written.
    bool request(QString cmd, QVariantMap data);

    /// Sends a reply to the operation \a cmd, with the code and the text of \a error. Messages are acknowledged without
    /// this call. Blocks for up to 30000 ms. \return whether the bytes were written.
    bool reply(QString cmd, TarvexError error, QVariantMap data);

private:
    friend class TarvexMsgWorker;
    bool isEnding() const;
    bool hasFrame() const;
    bool headerIsComplete() const;
    void readFrames();
    void readFrame();
    void noteBadFrame();
    void giveUpUnless(bool isReplyWritten);
    void giveUpConnection();
    qint32 readSize();
    bool readData(qint32 size, QVariant& out);
    void prepareRequest();
    void prepareReply();
    bool processRequest(const QVariant& envelope);
    bool processReply(const QVariant& envelope);
    void deliver(const Message& message);
    bool write(const QByteArray& frame);

    QPointer<QTcpSocket> m_socket;
    const QString m_clientName;
    bool m_handshaked = false;
    QCache<QString, Message> m_repeatCache;
    bool m_reading = false;  ///< Inside readFrames().
    bool m_isPosted = false; ///< The next frame's turn is posted.
    bool m_isClosed = true;  ///< Not opened yet, closed, or given up. What is buffered is not read.
    int m_badFrames = 0;     ///< In a row.
    const std::unique_ptr<ConnectionNotes> m_notes;
};

} // namespace tarvex

#endif // TARVEXMESSAGESRECIEVER_H
