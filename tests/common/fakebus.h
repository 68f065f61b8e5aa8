#ifndef FAKEBUS_H
#define FAKEBUS_H

#include <QByteArray>
#include <QList>
#include <QString>
#include <QVariantMap>

#include <condition_variable>
#include <deque>
#include <functional>
#include <list>
#include <mutex>
#include <thread>

/// A bus server that does what a test tells it, on one of the bus's ports.
///
/// It runs in threads of its own on plain sockets, because the tested code blocks the test's thread. It does not use
/// the library's frame codec, so that both sides cannot be wrong in the same way. It accepts handshakes unless it is
/// told otherwise. Every other request takes the next action of the script. If there is none, the request gets no
/// reply.
class FakeBus
{
public:
    static constexpr quint16 QUERY_PORT = 45535;
    static constexpr quint16 RECEIVER_PORT = 45537;

    /// A request as it was received.
    struct Request
    {
        QString operation;
        QVariantMap data;
        QVariantMap envelope;
        QByteArray frame;
    };

    /// The server's end of one connection, for willDo(). All calls give up after 20 s.
    class Peer
    {
    public:
        explicit Peer(int descriptor) : m_descriptor(descriptor) { }

        /// \return false if the connection ended before a whole request came.
        bool readRequest(Request& request);
        bool send(const QByteArray& bytes);
        /// Sends each piece as a segment of its own, with a pause in between.
        bool sendInPieces(const QList<QByteArray>& pieces, int pauseMs);
        /// Closes the connection in order.
        void close();
        /// Closes it with a reset.
        void reset();
        /// Waits until the client has closed its end. \return false if it has not done so within 20 s.
        bool waitForClose();

        /// Stops reading, so that the socket's buffers fill up, until the bus is destroyed.
        void hang() { m_hung = true; }

        bool isUsable() const { return m_descriptor >= 0 && !m_hung; }

        int descriptor() const { return m_descriptor; }

    private:
        bool readBytes(int count, QByteArray& bytes);
        bool readLine(QByteArray& line);
        int m_descriptor;
        bool m_hung = false;
    };

    using Action = std::function<void(Peer&, const Request&)>;

    explicit FakeBus(quint16 port = QUERY_PORT);
    ~FakeBus();
    Q_DISABLE_COPY_MOVE(FakeBus)

    bool isListening() const { return m_listener >= 0; }

    /// Sends \a bytes on every new connection from now on, before the client asks anything.
    void willGreet(const QByteArray& bytes);

    // What to do with the next handshakes and requests, in the order in which they are told.
    void willAnswerHandshake(const Action& action);
    void willRefuseHandshake(int code);
    void willReply(const QString& operation, int code = 0, const QString& description = QString(),
                   const QVariantMap& data = {});
    void willSend(const QByteArray& bytes);
    void willSendInPieces(const QList<QByteArray>& pieces, int pauseMs);
    void willSayNothing();
    void willClose();
    void willDo(const Action& action);
    /// What to do with every request that comes when the script is over. Without it such a request gets no reply.
    void willAlwaysDo(const Action& action);

    /// All requests so far without the handshakes, and the handshakes.
    QList<Request> requests() const;
    QList<Request> handshakes() const;
    int connectionCount() const;
    /// Waits up to 20 s for what clients do in other threads.
    bool waitForRequests(int count) const;
    bool waitForConnections(int count) const;

    /// Closes every connection in order. New connections are still accepted.
    void dropConnections();

    static QByteArray payload(const QByteArray& json);
    static QByteArray payload(const QVariantMap& envelope);
    static QByteArray frame(const QByteArray& header, const QByteArray& payload);
    static QByteArray replyFrame(const QString& operation, int code, const QString& description = QString(),
                                 const QVariantMap& data = {});
    static QByteArray requestFrame(const QString& operation, const QVariantMap& data);
    /// The reply that accepts a handshake.
    static QByteArray acceptance();
    /// An action: replies with code 0 to whatever is asked.
    static void answer(Peer& peer, const Request& request);

private:
    void acceptConnections();
    void serve(int descriptor);
    QByteArray greeting() const;
    Action nextAction(bool handshake);
    void record(bool handshake, const Request& request);

    int m_listener = -1;
    int m_wakeUp[2] = {-1, -1};
    std::thread m_acceptor;
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::list<std::thread> m_servers;
    QList<int> m_descriptors;
    QByteArray m_greeting;
    std::deque<Action> m_handshakeActions;
    std::deque<Action> m_actions;
    Action m_lastingAction = [](Peer&, const Request&) {};
    QList<Request> m_requests;
    QList<Request> m_handshakes;
    int m_connectionCount = 0;
};

#endif // FAKEBUS_H
