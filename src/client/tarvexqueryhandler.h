#ifndef TARVEXQUERYHANDLER_H
#define TARVEXQUERYHANDLER_H

#include "client/queryoutcome.h"
#include "records/clientsettings.h"
#include "records/clientstate.h"
#include "records/message.h"
#include "tarvexlib_export.h"

#include <QAbstractSocket>
#include <QList>
#include <QObject>
#include <QPair>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <memory>

class QTcpSocket;

namespace tarvex {

struct QueryNotes;

/// The query connection: the client asks, the bus server answers. Every operation is one exchange with the server.
///
/// Lives in its worker's thread and is called from that thread only; it takes no lock. Every operation blocks the
/// calling thread: up to 30000 ms to write the request, up to 30000 ms for the reply to begin, up to 200 ms each for
/// the reply's first two lines to become complete, and then until its payload is complete. The limit for the payload is
/// (payload size / 100 + 1) times 10 ms, but no less than 200 ms and no more than 60000 ms. Needs no event loop, except
/// for the signals that follow a lost connection.
///
/// Nothing throws. Every operation returns true when the exchange succeeded and the reply's code was 0; after false
/// lastOutcome() says why. A failed exchange is logged in the default category and leaves output arguments untouched.
/// Two failures are not logged: a request before the first open() or after close(), and a refused handshake. But
/// loading a list of settings logs a line of its own at every failure.
///
/// By itself this class keeps its connection open after a failed exchange and resynchronises nothing: what comes late
/// is taken for the answer to the next request. Only a reply that announces more than 48 MiB ends the connection. The
/// connection of a TarvexQueryWorker ends, as if the server had dropped it, after every exchange without a whole reply,
/// after the reply to another operation, and when something comes that was not asked for. The worker then makes it
/// anew.
///
/// The server is expected on 127.0.0.1, port 45535.
///
/// <!-- quote: docs/snippets/reference/queries.cpp#handler -->
/// \code
/// TarvexQueryHandler bus(BUSNAME_TICKET_PRINTER);
/// ClientSettings settings;
/// if (bus.open() && bus.loadSettings(QString(), settings)) {
///     apply(settings.formattedSettings());
/// } else {
///     QTextStream(stdout) << bus.lastOutcome().toString() << '\n';
/// }
/// \endcode
///
/// \see docs/threads.md
class TARVEXLIB_EXPORT TarvexQueryHandler : public QObject
{
    Q_OBJECT
public:
    /// \a clientName is the name under which the client introduces itself; it cannot be changed later.
    explicit TarvexQueryHandler(const QString& clientName, QObject* parent = nullptr);
    ~TarvexQueryHandler() override;

    /// True while the connection is there and the server has accepted the handshake.
    bool isOpen() const;

    /// Whether the server accepted the last handshake. It stays true when the server drops the connection, until
    /// close().
    bool handshaked() const;

    QString clientName() const; ///< The name given at construction.

    /// How the last exchange with the server ended: why a call has returned false, and whether to repeat it.
    ///
    /// Every call that asks the server sets it when the call returns, open() too. Before the first of these calls it is
    /// NotOpen. saveSettings() of a list sets it to the first exchange that failed. Calls that ask the server nothing
    /// leave it as it was: close(), open() when open already, subscribe() to nobody, saveSettings() of an empty list. A
    /// slot that is called during an exchange sees the outcome of the exchange before.
    ///
    /// The calls that a TarvexQueryWorker makes by itself set it as well. So ask in the worker's thread, directly after
    /// the call.
    QueryOutcome lastOutcome() const;

    /// Loads the settings of \a owner; an empty \a owner means this client. Operation "loadSettings".
    bool loadSettings(const QString& owner, ClientSettings& settings);

    /// Loads the state of \a owner; an empty \a owner means this client. Operation "loadState".
    bool loadState(const QString& owner, ClientState& state);

    /// Loads the settings of several clients in one exchange and appends them to \a settingsList, which is not cleared.
    /// An empty list of owners means this client. Operation "loadSettingsList".
    ///
    /// The names are sent joined by commas, so a name that holds a comma cannot be asked for. A failure also logs
    /// "Settings list loading error".
    bool loadSettings(const QStringList& owners, QList<ClientSettings>& settingsList);

Q_SIGNALS:
    /// The server closed the connection, or it was lost otherwise. Not emitted after close().
    ///
    /// May be emitted in the middle of an operation, open() included, before that returns: a slot that is connected
    /// directly must neither delete this object nor open it again there.
    void busDisconnected();

    /// open() connected and is about to return true.
    void tarvexConnected();

public Q_SLOTS:
    /// Connects and introduces the client. Does nothing when open already.
    ///
    /// Blocks up to 30000 ms to connect, then for the handshake's exchange, and 100 ms more when it fails.
    /// Operation "handshake"; its data is this client's name as "name".
    /// \return false when there is no server, or when it refuses or gives no whole reply; the connection is closed
    /// then, and may be opened again. True does not always mean isOpen(): when the server answers with code 0, but
    /// under the name of another operation, the connection stays, isOpen() is false, and lastOutcome() is
    /// NotUnderstood.
    bool open();

    /// Closes the connection; no busDisconnected() follows. Blocks for 100 ms.
    void close();

    /// Stores \a state as this client's: the owner is filled in, and so is the date-time when it is invalid.
    /// Operation "saveState"; its data is the record's wire form, as for all the records below.
    bool saveState(ClientState state);

    /// Stores \a settings exactly as they are; the owner is not filled in. Operation "saveSettings".
    bool saveSettings(ClientSettings settings);

    /// Stores each element with an exchange of its own, also after one has failed. Operation "saveSettings" for each.
    /// \return true when all succeeded, as they do for an empty list.
    bool saveSettings(QList<ClientSettings> settings);

    /// Removes the settings that the record describes; it is sent exactly as it is, and an empty owner is not replaced
    /// by this client. Operation "removeSettings".
    bool removeSettings(ClientSettings settings);

    /// Removes the settings of \a owner; \a mailOwner is a flag for the server. An empty \a owner does not mean this
    /// client: unlike in loadSettings() it is sent as it is. Operation "removeSettings"; its data is a new record in
    /// which these two are set.
    bool removeSettings(QString owner, bool mailOwner);

    /// The same with the flag set. Operation "removeSettings".
    bool removeSettings(QString owner);

    /// Sends a message: its sender is always set to this client, its uid is made when it is empty.
    /// Operation "sendMessage".
    bool sendMessage(Message message);

    /// Subscribes to publishers, each with the goal that the server is to apply to it. An empty list succeeds without
    /// an exchange. Operation "subscribe"; its data is a list "publishers" of objects with "name" and "goal".
    bool subscribe(QList<QPair<QString, qint32>> pubs);

    /// The same with goal 3 for each. Operation "subscribe".
    bool subscribe(QStringList pubs);

    /// Subscribes to one publisher; \a goals is its goal. Operation "subscribe".
    bool subscribe(QString publisher, int goals);

    /// Ends the subscriptions to publishers; an empty list is sent as well. Operation "unsubscribe"; its data is the
    /// list of names as "publishers".
    bool unsubscribe(QStringList pubs);

private Q_SLOTS:
    void socketConnected();
    void socketDisconnected();
    void socketError(QAbstractSocket::SocketError error);

private:
    bool handshake();
    bool request(QString operation, QVariantMap data);
    bool request(QVariantMap& answer, QString operation, QVariantMap data);
    QueryOutcome ask(QVariantMap& answer, const QString& operation, const QVariantMap& data);
    QueryOutcome::Kind exchange(QVariantMap& reply, const QString& operation, const QVariantMap& data);
    QueryOutcome::Kind sendRequest(const QString& operation, const QVariantMap& data);
    bool awaitReply();
    QueryOutcome::Kind readReply(QVariantMap& reply);
    QueryOutcome::Kind readEnvelope(QVariantMap& reply);
    bool isAnswerTo(const QString& operation, const QVariantMap& reply) const;
    bool processReply(QString operation, QVariantMap data, QVariantMap result);

    friend class TarvexQueryWorker;
    void lookAtUnaskedBytes();
    void giveUpConnection();

    QPointer<QTcpSocket> m_socket;
    const QString m_clientName;
    bool m_handshaked = false;
    bool m_isClosed = true; ///< Not opened yet, or closed by close(): requests fail unlogged.
    bool m_isExchanging = false;
    bool m_givesUpLostPlace = false; ///< Set by the worker, which makes the connection anew.
    const std::unique_ptr<QueryNotes> m_notes;
};

} // namespace tarvex

#endif // TARVEXQUERYHANDLER_H
