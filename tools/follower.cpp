#include "follower.h"

#include "busclient.h"
#include "output.h"
#include "programwords.h"
#include "tally.h"

using tarvex::TarvexQueryHandler;

namespace tarvexctl {

namespace {

/// There is also a pause before the first try: when another client has taken our name, the two take it from each other
/// this often.
constexpr int RETRY_INTERVAL_MS = 1000;
/// The words about a taken name come once in this time, because two programs may take the name from each other every
/// second.
constexpr int NAME_TAKEN_INTERVAL_MS = 60000;

/// While it exists, the bus may block the follower's thread.
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
    return Failure(TimedOut, Words::tr("the bus is there, but did not answer within the time-out"));
}

Follower::Follower(const QString& clientName, FollowerTask& task) : m_clientName(clientName), m_task(task)
{
    m_retryTimer.setInterval(RETRY_INTERVAL_MS);
    m_retryTimer.setSingleShot(true);
    m_laterTimer.setSingleShot(true);
    connect(&m_retryTimer, &QTimer::timeout, this, &Follower::connectToBus);
    connect(&m_laterTimer, &QTimer::timeout, this, [this] {
        const Asking asking(m_isAsking);
        const auto function = m_later; // it may ask for another call, which replaces it
        function();
    });
    connect(&m_receiver, &Receiver::accepted, this, &Follower::useConnection);
    connect(&m_receiver, &Receiver::refused, this, &Follower::onConnectionFailed);
    connect(&m_receiver, &Receiver::lost, this, &Follower::lookAfterLoss, Qt::QueuedConnection);
    connect(&m_receiver, &Receiver::incomingMessage, this, &Follower::onIncomingMessage);
}

Follower::~Follower() = default;

void Follower::start()
{
    connectToBus();
}

void Follower::interrupt()
{
    end(Failure(Interrupted, Words::tr("interrupted")));
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
    // Noted before the bus is asked, because the bus may have subscribed us even when its answer is lost.
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
    m_receiver.giveUp();
    m_retryTimer.stop();
    m_laterTimer.stop();
    Q_EMIT leaving(failure ? failure->status() : Done, failure ? failure->words() : QString());
    // From here on nothing is acknowledged. The bus keeps what it still has for this name.
    m_receiver.close();
    // This may be called from inside the library's reading, so the rest is done later.
    QMetaObject::invokeMethod(this, &Follower::tidyUp, Qt::QueuedConnection);
}

void Follower::onIncomingMessage(const Message& message)
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
            m_receiver.close(); // it may still be open, or wait for the answer to its handshake
        }
        m_bus = std::make_unique<BusClient>(m_clientName);
        m_receiver.open();
    } catch (const Failure& failure) {
        onConnectionFailed(failure);
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
    m_receiver.giveUp();
    const bool isLoss = failure.status() == NoBus || failure.status() == TimedOut;
    if (m_wasConnected && isLoss) {
        waitForBus(failure.words());
    } else {
        end(failure);
    }
}

/// The bus has closed the receiving connection. When it answers a new query connection, it closed the other one on
/// purpose.
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
        waitForBus(Words::tr("the bus has gone; waiting for it to come back"));
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
        // Told with --quiet as well, because some messages go to the other program and do not come back.
        tellFailure(Words::tr("the bus is there, but has closed the connection that receives: another program "
                              "took the name \"%1\", most likely; trying every second to get it back")
                        .arg(m_clientName));
        m_sinceNameTaken.start();
        m_isNameTaken = true;
    }
    m_retryTimer.start();
}

void Follower::tellOfReturn()
{
    if (!m_told.isEmpty()) {
        complain(Words::tr("the bus is back"));
    } else if (m_isNameTaken) {
        complain(Words::tr("receiving as %1 again").arg(m_clientName));
    }
    m_told.clear();
    m_isNameTaken = false;
}

void Follower::tidyUp()
{
    m_bus.reset();
    m_task.onLeaving();
    if (!m_subscribed.isEmpty()) {
        try {
            BusClient bus(m_clientName);
            bus.ask([this](TarvexQueryHandler& handler) { return handler.unsubscribe(m_subscribed); });
        } catch (const Failure& failure) {
            tellFailure(Words::tr("%1 stays subscribed to %2: %3")
                            .arg(m_clientName, m_subscribed.join(QLatin1String(", ")), failure.words()));
        }
    }
    Q_EMIT ended();
}

} // namespace tarvexctl
