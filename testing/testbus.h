#ifndef TESTBUS_H
#define TESTBUS_H

#include "cmdlayer/tarvexcommand.h"
#include "records/clientsettings.h"
#include "records/clientstate.h"
#include "records/message.h"
#include "records/tarvexerror.h"
#include "tarvextesting_export.h"

#include <QString>
#include <QVariantMap>

#include <functional>
#include <memory>
#include <optional>

namespace tarvex::testing {

class BusHost;

/// A bus of its own for the test of a service: the service joins it as it joins the device's, the test plays everybody
/// else.
///
/// It serves in a thread of its own, on the bus's two fixed ports, so a test may block its thread or not. What it
/// stores is kept while the object lives, also over stop() and start(), and is gone with it.
///
/// Made and used in one thread, which needs a QCoreApplication; no test framework is asked for. Every waitFor...()
/// takes its time-out in ms and runs the thread's event loop meanwhile (posted events, timers, deleteLater()), because
/// a service's controller lives there; what else blocks, blocks for a moment. Nothing throws: what fails returns false,
/// an empty uid or nothing, and errorString() says why, for a wait also what came instead.
///
/// \code
/// tarvex::testing::TestBus bus;
/// QVERIFY2(bus.start(), qPrintable(bus.errorString()));
/// Printer printer; // the service
/// printer.doStart();
/// QVERIFY2(bus.waitForClient(QStringLiteral("printer")), qPrintable(bus.errorString()));
/// const QString uid = bus.sendCommand(QStringLiteral("cashbox"), QStringLiteral("printer"), QStringLiteral("print"));
/// const auto reply = bus.waitForReply(uid);
/// QVERIFY2(reply, qPrintable(bus.errorString()));
/// QCOMPARE(reply->name(), QStringLiteral("printed"));
/// \endcode
class TARVEXTESTING_EXPORT TestBus
{
public:
    /// Above the 5000 ms after which a service tries again to connect, and twice that.
    static constexpr int DEFAULT_TIMEOUT_MS = 20000;

    /// Which of its two connections a client needs to count as there.
    enum class Connections {
        Both,
        Query,    ///< Port 45535, by which it asks.
        Receiver, ///< Port 45537, by which it is sent messages.
    };

    TestBus();
    /// Ends the bus as stop() does.
    ~TestBus();
    TestBus(const TestBus&) = delete;
    TestBus& operator=(const TestBus&) = delete;

    /// Opens the ports. Does nothing when started already.
    /// \return false when it cannot; mostly another bus has the ports.
    bool start();
    /// Closes the ports and all connections, as the end of the bus's process would.
    void stop();
    /// stop() and start(): a bus that was killed and comes back with what it had stored.
    bool restart();

    bool isRunning() const;

    /// Why the last call that failed did, in words for a test's log, in at most 900 bytes of UTF-8. A wait that failed
    /// tells in several lines what has come and was not taken: first what is of the kind that was waited for (a message
    /// to the same addressee), last handshakes and log lines, of each kind the latest first.
    QString errorString() const;

    // ---- Who is there

    /// Until the bus has accepted the handshakes of \a client. A service loads its settings after that.
    bool waitForClient(const QString& client, int timeoutMs = DEFAULT_TIMEOUT_MS,
                       Connections connections = Connections::Both);
    /// Until none of its connections is left.
    bool waitForDisconnected(const QString& client, int timeoutMs = DEFAULT_TIMEOUT_MS);

    // ---- What others do. The bus takes it while it runs, faults or not; nobody of the names has to be there.

    /// Sends a command from one client to another.
    /// \return its uid, for waitForReply() and waitForAcknowledged(); empty when the bus has not taken it.
    QString sendCommand(const QString& sender, const QString& reciever, const QString& name,
                        const QVariantMap& data = {});
    /// Sends any message; it needs a sender. An empty uid is filled in, and an empty addressee means the subscribers of
    /// the sender.
    /// \return its uid, empty when the bus has not taken it.
    QString sendMessage(const tarvex::Message& message);
    /// Until a client has acknowledged a message, which the library does before the service sees it.
    bool waitForAcknowledged(const QString& uid, int timeoutMs = DEFAULT_TIMEOUT_MS);

    /// Stores settings as an administrator's tool would: their owner, if it is there, is told to load them, unless
    /// mailOwner() is false. The owner and a valid dt() are needed.
    bool saveSettings(const tarvex::ClientSettings& settings);
    /// Stores a state as its owner would: the owner's subscribers are told. An invalid dt() becomes the current time.
    bool saveState(const tarvex::ClientState& state);
    /// What is stored now; nothing when there is none.
    std::optional<tarvex::ClientSettings> settings(const QString& owner);
    std::optional<tarvex::ClientState> state(const QString& owner);

    // ---- What the service does. Whatever clients ask of the bus is kept in order, and each wait takes the first that
    // it fits, came it before or during the wait, out of it; none is taken twice. What the test does is not among it.

    using CommandFilter = std::function<bool(const TarvexCommand& command)>;
    using StateFilter = std::function<bool(const tarvex::ClientState& state)>;

    /// A command that a client has sent to \a reciever, whether or not that one is there; an empty \a name takes any.
    /// The command's agent() is its sender. Log lines are the command "saveLog" to tarvex::BUSNAME_LOGGER.
    std::optional<TarvexCommand> waitForCommand(const QString& reciever, const QString& name,
                                                int timeoutMs = DEFAULT_TIMEOUT_MS);
    /// One that \a filter says true of.
    std::optional<TarvexCommand> waitForCommand(const QString& reciever, const QString& name,
                                                const CommandFilter& filter, int timeoutMs = DEFAULT_TIMEOUT_MS);
    /// The same for whatever message; an empty \a reciever stands for the messages that have none.
    std::optional<tarvex::Message> waitForMessage(const QString& reciever, int timeoutMs = DEFAULT_TIMEOUT_MS);
    /// The command that answers the one sent with \a uid, a "commandError" as well: it bears the same uid and goes to
    /// its sender.
    std::optional<TarvexCommand> waitForReply(const QString& uid, int timeoutMs = DEFAULT_TIMEOUT_MS);
    /// The next state that \a owner has reported.
    std::optional<tarvex::ClientState> waitForState(const QString& owner, int timeoutMs = DEFAULT_TIMEOUT_MS);
    /// One that \a filter says true of; the reports before it are taken as well.
    std::optional<tarvex::ClientState> waitForState(const QString& owner, const StateFilter& filter,
                                                    int timeoutMs = DEFAULT_TIMEOUT_MS);
    /// Settings of \a owner that a client, mostly the owner itself, has saved.
    std::optional<tarvex::ClientSettings> waitForSettings(const QString& owner, int timeoutMs = DEFAULT_TIMEOUT_MS);
    /// Any request of \a client, by its operation ("loadSettings", "subscribe", "handshake"), also one that failed.
    /// \return its data.
    std::optional<QVariantMap> waitForRequest(const QString& client, const QString& operation,
                                              int timeoutMs = DEFAULT_TIMEOUT_MS);
    /// Forgets what has come and was not taken.
    void clear();

    // ---- Trouble

    /// Closes the connections of \a client, or of all when it is empty. They may connect again at once.
    void dropConnections(const QString& client = {});
    /// With true nobody can connect, as if there was no bus; who is connected stays. start() and restart() end it.
    /// \return false when the ports could not be opened again.
    bool refuseConnections(bool isRefusing);
    /// From now on requests with this operation, or all when it is empty, are answered with \a error and not carried
    /// out: those of \a client, or all clients' when it is empty. "handshake" is an operation as well: a service whose
    /// handshake is refused stays outside and tries again. Of several rules that fit the latest counts.
    void failRequests(const QString& operation, tarvex::TarvexError::Error error, const QString& client = {});
    /// The same, with no answer: a service waits for one for 30000 ms.
    void ignoreRequests(const QString& operation, const QString& client = {});
    /// Ends failRequests() and ignoreRequests(). What was ignored stays so.
    void serveRequests();

private:
    const std::unique_ptr<BusHost> m_host;
};

} // namespace tarvex::testing

#endif // TESTBUS_H
