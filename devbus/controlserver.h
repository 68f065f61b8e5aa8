#ifndef CONTROLSERVER_H
#define CONTROLSERVER_H

#include "controlconnection.h"
#include "records/tarvexerror.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QVariantMap>

#include <functional>
#include <memory>

namespace tarvex::devbus {

/// The control socket: lets programs of the same user ask the bus about itself. It is no part of the bus; its clients
/// are no clients of the bus.
///
/// A request is one line of JSON, an object with the text "request". The answer is one line {"item":{...}} for each
/// thing that was asked for, then the line {"done":true}; or the one line {"error":"..."}. The requests of a connection
/// are answered in order, also when the client has closed its sending direction after them. What the requests mean is
/// up to the responder. An answer may have no end: then items come until the client closes its sending direction or the
/// connection, and no further request of it is read.
///
/// What a client can make the bus hold is bounded: the length of a request, the number of clients, and the answers that
/// a client has not taken. Until it has taken them, no further request of it is read.
class ControlServer : public QObject
{
    Q_OBJECT
public:
    /// Further clients are told so in one line {"error":"..."} and closed at once.
    static constexpr int MAX_CLIENTS = 16;

    struct Answer
    {
        QList<QVariantMap> items;
        QString error; ///< When it is not empty, there are no items.
        /// Of an answer without an end: what comes after the items.
        std::shared_ptr<ControlStream> stream = nullptr;
    };

    /// Called in this object's thread, for each request that is an object.
    using Responder = std::function<Answer(const QVariantMap& request)>;

    explicit ControlServer(const Responder& responder, QObject* parent = nullptr);
    /// Closes the socket and removes it.
    ~ControlServer() override;

    /// The place of the socket. It is in the user's folder for such files (XDG_RUNTIME_DIR). If that is no private
    /// folder, it is in a folder of the user's own in the folder for temporary files; this function creates that one.
    /// The socket's name contains the network namespace, because each namespace can have a bus.
    /// \return empty when neither folder belongs to this user alone
    static QString defaultPath();

    /// Listens at \a path, for this user only. A socket that is already there is replaced. So the bus must hold its
    /// ports by now: then a killed bus has left that socket, and no running bus uses it.
    /// \return NoError, or why it cannot, in one line.
    TarvexError open(const QString& path);

    int clientCount() const { return m_clientCount; }

private:
    class Listener;

    void accept(int descriptor);
    ControlConnection::Reply replyTo(const QByteArray& line) const;

    const Responder m_responder;
    const std::unique_ptr<Listener> m_listener;
    int m_clientCount = 0;
};

} // namespace tarvex::devbus

#endif // CONTROLSERVER_H
