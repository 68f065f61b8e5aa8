#ifndef PEER_H
#define PEER_H

#include <QByteArray>
#include <QList>
#include <QThread>

#include <memory>

/// What is measured, as the client sees it.
enum class Operation {
    Up,   ///< A message to the server, and the answer to it.
    Down, ///< A request, and the settings that answer it.
    Push, ///< A message from the server, taken in and acknowledged.
};

/// One way in which two processes talk. This process is the client. It starts the other side itself, as processes of
/// their own, so that their CPU time is not counted.
class Peer
{
public:
    Peer() = default;
    virtual ~Peer() = default;
    Q_DISABLE_COPY_MOVE(Peer)

    /// Makes both sides ready for \a count operations of one kind. \a bytes is the size of the message's text, or of
    /// the settings' JSON text. Not measured.
    virtual void prepare(Operation operation, int bytes, int count) = 0;
    /// To be called before each run(). Makes what run() sends. Not measured.
    virtual void makeReady() = 0;
    /// One operation, with the one pause of the protocol in it or after it. Measured. A push begins with the order to
    /// push, one write to the other side's standard input: if the clock began after it, the other side would already
    /// be at work.
    virtual void run() = 0;

protected:
    /// The pause that the protocol wants once a payload is found. Every way takes it once an operation, so that what is
    /// measured differs in the rest alone.
    static void pause() { QThread::msleep(10); }
};

// One function for each way. The program decides by the name which one it calls.

std::unique_ptr<Peer> makePausePeer();
std::unique_ptr<Peer> makePlainPeer();
std::unique_ptr<Peer> makePossiblePeer();
std::unique_ptr<Peer> makePossibleRecordPeer();
std::unique_ptr<Peer> makeByHandPeer();
std::unique_ptr<Peer> makeProjectPeer();
#ifdef DBUS_DAEMON
std::unique_ptr<Peer> makeDBusPeer();
/// The other side: answers calls on the bus at \a address until its standard input ends.
int serveDBus(const QList<QByteArray>& arguments);
#endif
#ifdef MQTT_BROKER
std::unique_ptr<Peer> makeMqttPeer();
/// The other side: answers messages through the broker until its standard input ends.
int serveMqtt(const QList<QByteArray>& arguments);
#endif
/// The other side of all that speak the bus's frames.
int serveFrames(const QList<QByteArray>& arguments);

#endif // PEER_H
