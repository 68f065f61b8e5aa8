#include "follower.h"

#include "busclient.h"
#include "liblog.h"
#include "output.h"
#include "tally.h"
#include "tarvexmessagesreciever.h"

using tarvex::TarvexMessagesReciever;
using tarvex::TarvexQueryHandler;

namespace tarvexctl {

namespace {

/// The library does not say when the bus has accepted the receiver's handshake, so it is looked at.
constexpr int HANDSHAKE_LOOK_INTERVAL_MS = 10;
constexpr int HANDSHAKE_TIMEOUT_MS = 30000;
/// Also the pause before the first try: when another client has taken our name over, the two change places this often.
constexpr int RETRY_INTERVAL_MS = 1000;
/// Two programs that take a name from each other do so every second.
constexpr int NAME_TAKEN_INTERVAL_MS = 60000;

/// Marks the time in which the follower's thread may be blocked by the bus.
class Asking
{
public:
    explicit Asking(std::atomic<bool>& isAsking) : m_isAsking(isAsking) { m_isAsking = true; }

    ~Asking() { m_isAsking = false; }

    Q_DISABLE_COPY_MOVE(Asking)

private:
    std::atomic<bool>& m_isAsking;
};

QStringList publishersOf(const Subscriptions& subscriptions)
{
    QStringList names;
    for (const auto& subscription : subscriptions) {
        names.append(subscription.first);
    }
    return names;
}

} // namespace

Failure busIsSilent()
{
    return Failure(TimedOut, QStringLiteral("the bus is there, but did not answer within the time-out"));
}

Follower::Follower(const QString& clientName, FollowerTask& task)
    : m_clientName(clientName), m_task(task), m_receiver(new TarvexMessagesReciever(clientName, this))
{
    m_handshakeTimer.setInterval(HANDSHAKE_LOOK_INTERVAL_MS);
    m_retryTimer.setInterval(RETRY_INTERVAL_MS);
    m_retryTimer.setSingleShot(true);
    m_laterTimer.setSingleShot(true);
    connect(&m_handshakeTimer, &QTimer::timeout, this, &Follower::lookAtHandshake);
    connect(&m_retryTimer, &QTimer::timeout, this, &Follower::connectToBus);
    connect(&m_laterTimer, &QTimer::timeout, this, [this] { m_later(); });
    connect(m_receiver, SIGNAL(incomingMessage(Message)), this, SLOT(onIncomingMessage(Message)));
    connect(m_receiver, SIGNAL(busDisconnected()), this, SLOT(onDisconnected()));
}

Follower::~Follower() = default;

void Follower::start()
{
    connectToBus();
}

void Follower::interrupt()
{
    end(Failure(Interrupted, QStringLiteral("interrupted")));
}

void Follower::timeUp()
{
    if (isSatisfied()) {
        end();
    } else {
        end(m_wasConnected ? Failure(TimedOut, m_task.timeOutWords()) : busIsSilent());
    }
}

void Follower::subscribe(BusClient& bus, const Subscriptions& subscriptions)
{
    if (subscriptions.isEmpty()) {
        return;
    }
    // Noted before it is asked for: when the answer is lost, the bus may have done it.
    const QStringList subscribedBefore = std::exchange(m_subscribed, publishersOf(subscriptions));
    m_hasSubscriptions = true;
    try {
        bus.ask([&](TarvexQueryHandler& handler) { return handler.subscribe(subscriptions); });
    } catch (const Failure& failure) {
        if (failure.status() == Refused) {
            m_subscribed = subscribedBefore;
            m_hasSubscriptions = !m_subscribed.isEmpty();
        }
        throw;
    }
}

void Follower::count(Tally& tally)
{
    tally.add();
    if (tally.isEnough()) {
        setSatisfied();
    }
    if (tally.isFull()) {
        end();
    }
}

void Follower::callLater(int milliseconds, const std::function<void()>& function)
{
    m_later = function;
    m_laterTimer.start(milliseconds);
}

void Follower::end(const std::optional<Failure>& failure)
{
    if (m_hasEnded) {
        return;
    }
    m_hasEnded = true;
    m_failure = failure;
    m_stage = Stage::Closed;
    m_handshakeLog.reset();
    m_handshakeTimer.stop();
    m_retryTimer.stop();
    m_laterTimer.stop();
    Q_EMIT leaving(failure ? failure->status() : Done, failure ? failure->words() : QString());
    // From here on nothing is acknowledged any more: what the bus still has for this name, it keeps.
    m_receiver->close();
    // We may be in the middle of the receiver's own work.
    QMetaObject::invokeMethod(this, &Follower::tidyUp, Qt::QueuedConnection);
}

void Follower::onDisconnected()
{
    const Stage stage = std::exchange(m_stage, Stage::Closed);
    if (stage == Stage::Introduced) {
        onConnectionFailed(receiverLost());
    } else if (stage == Stage::Receiving) {
        // We are in the middle of the receiver's own work.
        QMetaObject::invokeMethod(this, &Follower::lookAfterLoss, Qt::QueuedConnection);
    }
}

void Follower::onIncomingMessage(Message message)
{
    if (m_hasEnded) {
        return;
    }
    try {
        m_task.onMessage(*this, message);
    } catch (const Failure& failure) {
        end(failure);
    }
}

void Follower::connectToBus()
{
    const Asking asking(m_isAsking);
    try {
        if (m_wasConnected) {
            m_receiver->close(); // it may be open still, or waiting for the answer to its handshake
        }
        m_bus = std::make_unique<BusClient>(m_clientName);
        openReceiver();
        m_sinceOpen.start();
        m_handshakeTimer.start();
    } catch (const Failure& failure) {
        onConnectionFailed(failure);
    }
}

void Follower::openReceiver()
{
    m_handshakeLog = std::make_unique<LibLog>();
    m_stage = Stage::Opening;
    const bool isOpen = m_receiver->open();
    if (m_stage != Stage::Opening) {
        throw receiverLost();
    }
    if (!isOpen) {
        throw unreachable(*m_handshakeLog);
    }
    m_stage = Stage::Introduced;
}

/// What comes on the receiving connection before the handshake is answered is logged by the library and passed over.
Failure Follower::receiverLost() const
{
    const QString strange = m_handshakeLog->strangeLine();
    return strange.isEmpty() ? Failure(NoBus, QStringLiteral("the bus closed the connection during the handshake"))
                             : notUnderstood(strange);
}

void Follower::lookAtHandshake()
{
    if (m_receiver->isOpen()) {
        m_handshakeTimer.stop();
        m_handshakeLog.reset();
        m_stage = Stage::Receiving;
        useConnection();
    } else if (!m_handshakeLog->strangeLine().isEmpty()) {
        onConnectionFailed(receiverLost());
    } else if (!m_receiver->isConnected()) {
        onConnectionFailed(handshakeRefused(m_clientName));
    } else if (m_sinceOpen.hasExpired(HANDSHAKE_TIMEOUT_MS)) {
        onConnectionFailed(silence());
    }
}

void Follower::useConnection()
{
    const std::unique_ptr<BusClient> bus = std::move(m_bus);
    const Asking asking(m_isAsking);
    try {
        m_task.onConnected(*this, *bus, !m_wasConnected);
        tellOfReturn();
        m_wasConnected = true;
    } catch (const Failure& failure) {
        onConnectionFailed(failure);
    }
}

void Follower::onConnectionFailed(const Failure& failure)
{
    m_stage = Stage::Closed;
    m_handshakeLog.reset();
    m_handshakeTimer.stop();
    const bool isLoss = failure.status() == NoBus || failure.status() == TimedOut;
    if (m_wasConnected && isLoss) {
        waitForBus(failure.words());
    } else {
        end(failure);
    }
}

/// The bus has ended the receiving connection. When it answers all the same, it did so on purpose.
void Follower::lookAfterLoss()
{
    if (m_hasEnded) {
        return;
    }
    const Asking asking(m_isAsking);
    try {
        const BusClient bus(m_clientName);
        waitForName();
    } catch (const Failure&) {
        waitForBus(QStringLiteral("the bus has gone; waiting for it to come back"));
    }
}

void Follower::waitForBus(const QString& words)
{
    if (!m_told.contains(words)) {
        complain(words);
        m_told.append(words);
    }
    m_retryTimer.start();
}

void Follower::waitForName()
{
    if (!m_sinceNameTaken.isValid() || m_sinceNameTaken.hasExpired(NAME_TAKEN_INTERVAL_MS)) {
        complain(QStringLiteral("the bus is there, but has closed the connection that receives: another program took "
                                "the name \"%1\", most likely; trying every second to get it back")
                     .arg(m_clientName));
        m_sinceNameTaken.start();
        m_isNameTaken = true;
    }
    m_retryTimer.start();
}

void Follower::tellOfReturn()
{
    if (!m_told.isEmpty()) {
        complain(QStringLiteral("the bus is back"));
    } else if (m_isNameTaken) {
        complain(QStringLiteral("receiving as %1 again").arg(m_clientName));
    }
    m_told.clear();
    m_isNameTaken = false;
}

void Follower::tidyUp()
{
    m_bus.reset();
    if (!m_subscribed.isEmpty()) {
        try {
            BusClient bus(m_clientName);
            bus.ask([this](TarvexQueryHandler& handler) { return handler.unsubscribe(m_subscribed); });
        } catch (const Failure& failure) {
            complain(QStringLiteral("%1 stays subscribed to %2: %3")
                         .arg(m_clientName, m_subscribed.join(QLatin1String(", ")), failure.words()));
        }
    }
    Q_EMIT ended();
}

} // namespace tarvexctl
