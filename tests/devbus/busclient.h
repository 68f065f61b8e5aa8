#ifndef BUSCLIENT_H
#define BUSCLIENT_H

#include "fakebus.h"

#include <QByteArray>
#include <QString>
#include <QVariantMap>

/// A client's end of a bus connection. It uses a plain socket and not the library's codec. Every call blocks, up to 20
/// s.
class BusClient
{
public:
    static constexpr quint16 QUERY_PORT = FakeBus::QUERY_PORT;
    static constexpr quint16 RECEIVER_PORT = FakeBus::RECEIVER_PORT;

    struct Frame
    {
        bool isValid = false; ///< False when the connection has ended or nothing came in time.
        bool isReply = false;
        QString operation;
        QVariantMap data;
        QVariantMap envelope;
        int code = -1; ///< Of a reply.
        QString description;

        /// Of a pushed message.
        QString uid() const { return data.value(QStringLiteral("UID")).toString(); }
    };

    /// Connects. With a \a name it introduces itself as well.
    explicit BusClient(quint16 port, const QString& name = QString());
    ~BusClient();
    Q_DISABLE_COPY_MOVE(BusClient)

    bool isConnected() const { return m_descriptor >= 0; }

    int descriptor() const { return m_descriptor; }

    bool send(const QByteArray& bytes);
    bool sendRequest(const QString& operation, const QVariantMap& data);
    Frame read();
    /// Sends a request and reads what comes next.
    Frame ask(const QString& operation, const QVariantMap& data);
    /// Sends raw bytes and reads what comes next.
    Frame askRaw(const QByteArray& bytes);
    /// Sends the reply of a client that has got \a pushed.
    bool acknowledge(const Frame& pushed, int code = 0);
    /// Waits until the server closes the connection, and drops what it still sends. \return whether it has closed it
    bool waitForClose();
    /// Whether bytes are there now.
    bool hasBytes() const;

    /// Whether the server has pushed nothing over this connection that has not been read. It asks for something that
    /// does not exist: what was pushed before comes before the reply.
    bool isQuiet() { return ask(QStringLiteral("dance"), {}).isReply; }

    /// Whether everything that was sent has arrived at the server's system. The server may not have read it yet.
    bool hasSentAll() const;
    /// Sends as much as the connection takes without waiting. \return how many bytes that was
    qint64 sendWithoutWaiting(const QByteArray& bytes);

private:
    int m_descriptor;
    FakeBus::Peer m_peer;
};

#endif // BUSCLIENT_H
