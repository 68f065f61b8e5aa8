#ifndef RECEIVERTEST_H
#define RECEIVERTEST_H

#include "client/tarvexmessagesreciever.h"
#include "fakebus.h"
#include "logcapture.h"
#include "pushes.h"

#include <QSignalSpy>
#include <QTcpSocket>

#include <memory>
#include <optional>

/// A receiver, with everything that it emits and that is logged.
struct ObservedReceiver
{
    QTcpSocket* socket() const { return receiver.findChild<QTcpSocket*>(); }

    /// The messages that came out, in order.
    QList<tarvex::Message> messages() const
    {
        QList<tarvex::Message> messages;
        for (const QList<QVariant>& arguments : incoming) {
            messages.append(arguments.constFirst().value<tarvex::Message>());
        }
        return messages;
    }

    tarvex::TarvexMessagesReciever receiver{u"printer"_s};
    QSignalSpy incoming{&receiver, SIGNAL(incomingMessage(Message))};
    QSignalSpy lost{&receiver, SIGNAL(busDisconnected())};
    QSignalSpy connected{&receiver, SIGNAL(tarvexConnected())};
    LogCapture log;
};

/// A bus and a receiver for each test function.
class ReceiverTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void init()
    {
        bus = std::make_unique<FakeBus>(FakeBus::RECEIVER_PORT);
        subject.emplace();
    }

    void cleanup()
    {
        subject.reset();
        bus.reset();
    }

protected:
    /// Opens the receiver. \return whether the bus has accepted it.
    bool joinBus();

    std::unique_ptr<FakeBus> bus;
    std::optional<ObservedReceiver> subject;
};

#endif // RECEIVERTEST_H
