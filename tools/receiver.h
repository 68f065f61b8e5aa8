#ifndef RECEIVER_H
#define RECEIVER_H

#include "failure.h"
#include "records/message.h"

#include <QElapsedTimer>
#include <QObject>
#include <QString>
#include <QTimer>

namespace tarvex {
class TarvexMessagesReciever;
}

namespace tarvexctl {

using tarvex::Message;

/// The connection on which the bus pushes messages. A failure says what happened.
///
/// The library opens the connection without waiting for the answer to the handshake, and no signal tells of that
/// answer. So this class looks again and again whether the bus has accepted the handshake.
class Receiver : public QObject
{
    Q_OBJECT
public:
    explicit Receiver(const QString& clientName, QObject* parent = nullptr);

    /// Connects and sends the handshake; accepted() or refused() follows. Throws Failure when there is nobody to
    /// connect to, or when the connection is closed at once.
    void open();

    /// Closes the connection. Nothing is acknowledged after this, and no signal follows. The bus keeps what it still
    /// has for this name.
    void close();

    /// Stops looking for the answer to the handshake. The connection stays as it is until close().
    void giveUp();

    /// Whether the bus has accepted the handshake, and the connection is still there.
    bool isAccepted() const { return m_stage == Stage::Accepted; }

Q_SIGNALS:
    void accepted();
    /// The bus has not accepted the handshake.
    void refused(const Failure& failure);
    /// The bus has closed the accepted connection. Emitted from inside the library's work.
    void lost();
    /// The library has acknowledged the message already.
    void incomingMessage(const Message& message);

private Q_SLOTS:
    void onDisconnected();
    void onIncomingMessage(Message message);

private:
    enum class Stage {
        Closed,
        Opening,
        Introduced, ///< The handshake is sent and not answered yet.
        Accepted
    };

    void look();
    void refuse(const Failure& failure);
    Failure lossFailure() const;
    bool isWaitingForRest() const;

    const QString m_clientName;
    tarvex::TarvexMessagesReciever* const m_connection;
    Stage m_stage = Stage::Closed;
    bool m_hasCome = false; ///< Something has come since open(), and it was not the acceptance.
    QTimer m_lookTimer{this};
    QElapsedTimer m_sinceOpen;
};

} // namespace tarvexctl

#endif // RECEIVER_H
