#ifndef TESTBUS_H
#define TESTBUS_H

#include "busfault.h"
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

/// A bus for the test of a service. The service joins it as it joins the bus of the device, and the test acts for all
/// other clients.
///
/// The bus serves in a thread of its own, on the two fixed ports of the bus, so the test may block its thread. What the
/// bus stores is kept as long as the object lives, also over stop() and start(), and is deleted with the object.
///
/// The object is made and used in one thread, which needs a QCoreApplication. No test framework is needed. Every
/// waitFor...() takes its time-out in ms and runs the thread's event loop meanwhile (posted events, timers,
/// deleteLater()), because a service's controller lives in that thread. Every other function returns within a moment.
/// Nothing throws: a function that fails returns false, an empty uid or nothing, and errorString() says why. After a
/// wait it also says what came instead.
///
/// <!-- quote: docs/snippets/reference/tst_printer.cpp#bus -->
/// \code
/// TestBus bus;
/// QVERIFY2(bus.start(), qPrintable(bus.errorString()));
/// Printer printer; // the service
/// printer.doStart();
/// QVERIFY2(bus.waitForClient(QStringLiteral("printer")), qPrintable(bus.errorString()));
/// const QString uid = bus.sendCommand(QStringLiteral("cashbox"), QStringLiteral("printer"), QStringLiteral("print"));
/// const auto reply = bus.waitForReply(uid);
/// QVERIFY2(reply, qPrintable(bus.errorString()));
/// QCOMPARE(reply->name(), QStringLiteral("printed"));
/// \endcode
///
/// \see docs/testing.md
class TARVEXTESTING_EXPORT TestBus
{
public:
    /// More than twice the 5000 ms after which a service tries again to connect.
    static constexpr int DEFAULT_TIMEOUT_MS = 20000;

    /// Which of its two connections a client must have to be counted as connected.
    enum class Connections {
        Both,     ///< Both of them, as a service has.
        Query,    ///< Port 45535, on which the client asks.
        Receiver, ///< Port 45537, on which the client gets messages.
    };

    TestBus(); ///< Not started yet, and with nothing stored.
    /// Ends the bus as stop() does.
    ~TestBus();
    TestBus(const TestBus&) = delete;
    TestBus& operator=(const TestBus&) = delete;

    /// Opens the ports. Does nothing when started already.
    /// \return false when the bus cannot start. The usual reason is that another bus has the ports.
    bool start();
    /// Closes the ports and all connections, as the end of the bus's process would.
    void stop();
    /// stop() and start(): like a bus that was killed and comes back with what it had stored.
    bool restart();

    bool isRunning() const; ///< True from start() to stop().

    /// Why the last failed call has failed, in words for a test's log, in at most 900 bytes of UTF-8. For a failed wait
    /// these are several lines, which list the requests that came and were not taken. First stand the requests of the
    /// kind that was waited for, such as messages to the same addressee. Last stand handshakes and log lines. Of each
    /// kind the latest request is first.
    QString errorString() const;

    /// \name Who is there
    ///@{

    /// Waits until the bus has accepted the handshakes of \a client. A service loads its settings after that.
    bool waitForClient(const QString& client, int timeoutMs = DEFAULT_TIMEOUT_MS,
                       Connections connections = Connections::Both);
    /// Waits until \a client has no connection any more.
    bool waitForDisconnected(const QString& client, int timeoutMs = DEFAULT_TIMEOUT_MS);

    ///@}
    /// \name What others do
    /// The bus accepts it as long as it runs, and faults do not apply to it. The clients that are named need not be
    /// connected.
    ///@{

    /// Sends a command from one client to another.
    /// \return its uid, for waitForReply() and waitForAcknowledged(); empty when the bus has not accepted it.
    QString sendCommand(const QString& sender, const QString& reciever, const QString& name,
                        const QVariantMap& data = {});
    /// Sends any message. The message needs a sender. An empty uid is filled in. An empty addressee means the
    /// subscribers of the sender.
    /// \return its uid; empty when the bus has not accepted it.
    QString sendMessage(const tarvex::Message& message);
    /// Waits until a client has acknowledged a message. The library acknowledges it before the service sees it.
    bool waitForAcknowledged(const QString& uid, int timeoutMs = DEFAULT_TIMEOUT_MS);

    /// Stores settings as an administrator's tool would. The bus tells their owner to load them if it is connected,
    /// unless mailOwner() is false. The settings need an owner and a valid dt().
    bool saveSettings(const tarvex::ClientSettings& settings);
    /// Stores a state as its owner would. The bus tells the owner's subscribers. An invalid dt() becomes the current
    /// time.
    bool saveState(const tarvex::ClientState& state);
    /// The settings of \a owner that are stored now; nothing when none are.
    std::optional<tarvex::ClientSettings> settings(const QString& owner);
    /// The state of \a owner that is stored now; nothing when none is.
    std::optional<tarvex::ClientState> state(const QString& owner);

    ///@}
    /// \name What the service does
    /// The bus records all requests of clients in their order. A wait returns the first request that fits, recorded
    /// before or during the wait, and removes it from the record, so no request is taken twice. What the test itself
    /// does is not recorded.
    ///@{

    /// Says whether a wait takes this command. Called in the thread that waits.
    using CommandFilter = std::function<bool(const TarvexCommand& command)>;
    /// Says whether a wait takes this state. Called in the thread that waits.
    using StateFilter = std::function<bool(const tarvex::ClientState& state)>;

    /// A command that a client has sent to \a reciever, which need not be connected. An empty \a name stands for any
    /// command. The command's agent() is its sender. Log lines are the command "saveLog" to tarvex::BUSNAME_LOGGER.
    std::optional<TarvexCommand> waitForCommand(const QString& reciever, const QString& name,
                                                int timeoutMs = DEFAULT_TIMEOUT_MS);
    /// The first such command for which \a filter returns true.
    std::optional<TarvexCommand> waitForCommand(const QString& reciever, const QString& name,
                                                const CommandFilter& filter, int timeoutMs = DEFAULT_TIMEOUT_MS);
    /// The same for any message. An empty \a reciever stands for the messages without an addressee.
    std::optional<tarvex::Message> waitForMessage(const QString& reciever, int timeoutMs = DEFAULT_TIMEOUT_MS);
    /// The command that answers the one sent with \a uid. It has the same uid and goes to the sender of that command.
    /// It may be a "commandError".
    std::optional<TarvexCommand> waitForReply(const QString& uid, int timeoutMs = DEFAULT_TIMEOUT_MS);
    /// The next state that \a owner has reported.
    std::optional<tarvex::ClientState> waitForState(const QString& owner, int timeoutMs = DEFAULT_TIMEOUT_MS);
    /// The first such state for which \a filter returns true. The wait takes the states before it as well.
    std::optional<tarvex::ClientState> waitForState(const QString& owner, const StateFilter& filter,
                                                    int timeoutMs = DEFAULT_TIMEOUT_MS);
    /// Settings of \a owner that a client has saved, usually the owner itself.
    std::optional<tarvex::ClientSettings> waitForSettings(const QString& owner, int timeoutMs = DEFAULT_TIMEOUT_MS);
    /// Any request of \a client with this operation ("loadSettings", "subscribe", "handshake"), also a refused one.
    /// \return its data.
    std::optional<QVariantMap> waitForRequest(const QString& client, const QString& operation,
                                              int timeoutMs = DEFAULT_TIMEOUT_MS);
    /// Forgets the recorded requests.
    void clear();

    ///@}
    /// \name Trouble
    ///@{

    /// Closes the connections of \a client, or of all when it is empty. They may connect again at once.
    void dropConnections(const QString& client = {});
    /// With true nobody can connect, as if there was no bus. Existing connections stay. start() and restart() end this.
    /// \return false when the ports could not be opened again.
    bool refuseConnections(bool isRefusing);
    /// From now on the bus answers requests with \a error and does not carry them out. This applies to requests with
    /// this operation, or to all if it is empty, and to those of \a client, or of all clients if it is empty.
    /// "handshake" is an operation as well: a service whose handshake is refused stays outside and tries again. If
    /// several rules fit, the latest applies.
    void failRequests(const QString& operation, tarvex::TarvexError::Error error, const QString& client = {});
    /// The same, but the bus does not answer at all. A service waits 30000 ms for the answer.
    void ignoreRequests(const QString& operation, const QString& client = {});
    /// Ends failRequests(), ignoreRequests() and addFault(). Requests that were ignored are not answered later.
    void serveRequests();
    /// From now on this happens to what the bus sends. failRequests() and ignoreRequests() add faults as well; if
    /// several fit, the latest applies.
    /// \return false when the fault makes no sense, such as a push with an error, or when there are 256 faults already.
    bool addFault(const BusFault& fault);
    /// Waits until so many frames have met a fault, whichever, since this object was made.
    bool waitForFaults(int count, int timeoutMs = DEFAULT_TIMEOUT_MS);

    ///@}
    /// \name Services that are not there
    ///@{

    /// Stands in for the services that a file describes, as "tarvexctl mock" does; docs/mock.md describes the file. The
    /// stand-ins are clients of this bus like any others, each in threads of its own, so faults apply to them. What
    /// they do is recorded, and so is what others send them. Runs the thread's event loop until the bus has accepted
    /// all of them and has their settings and states, for up to DEFAULT_TIMEOUT_MS.
    ///
    /// The stand-ins stay until this object ends. When the bus stops, they wait for it, like any service. Several files
    /// may be given one after the other.
    /// \return false when the file is wrong, when one of its services is on the bus already, or when the bus does not
    /// run or does not accept them. Then none of the file's services is on the bus. errorString() names the file and
    /// the line of each error.
    bool mock(const QString& file);

    ///@}

private:
    const std::unique_ptr<BusHost> m_host;
};

} // namespace tarvex::testing

#endif // TESTBUS_H
