#ifndef FOLLOWER_H
#define FOLLOWER_H

#include "failure.h"
#include "receiver.h"

#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QPair>
#include <QString>
#include <QStringList>
#include <QTimer>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

namespace tarvexctl {

class BusClient;
class Tally;

/// The failure when the time is over before the bus has accepted both connections.
Failure busIsSilent();

/// Publishers' names, each with its goal.
using Subscriptions = QList<QPair<QString, qint32>>;

class Follower;

/// What a verb does while it follows the bus. All functions run in the follower's thread. A Failure that they throw
/// ends the verb, unless it is a lost connection.
class FollowerTask
{
public:
    virtual ~FollowerTask() = default;

    /// Called when the bus has accepted both connections: the first time and whenever it is back.
    virtual void onConnected(Follower& follower, BusClient& bus, bool isFirst) = 0;

    /// Called for each message that is pushed. The library has acknowledged it, so the bus does not keep it.
    virtual void onMessage(Follower& follower, const Message& message) = 0;

    /// Called at the end, after the last of the other calls. A task ends its own connections here, because they belong
    /// to this thread.
    virtual void onLeaving() { }

    /// What to say when the time is over, the bus has accepted both connections, and the follower is not satisfied.
    virtual QString timeOutWords() const = 0;
};

/// Follows what the bus pushes to one client until its task has what it wants. It makes, watches and ends the
/// connections of the verbs that receive.
///
/// Lives in a thread of its own, because the library's connections block their thread; follow() runs it. It ends when
/// there is no bus at the beginning, or when the bus refuses this client. When the bus goes away later, it waits for
/// the bus, and says on stderr when the bus goes and when it is back. It does the same when another program has taken
/// the name.
///
/// The connection for asking exists only while something is asked, so only one connection has to be watched.
class Follower : public QObject
{
    Q_OBJECT
public:
    Follower(const QString& clientName, FollowerTask& task);
    ~Follower() override;

    // These may be called from any thread.

    /// Whether it is a success when nothing more comes.
    bool isSatisfied() const { return m_isSatisfied; }

    bool hasSubscriptions() const { return m_hasSubscriptions; }

    /// Whether it waits for an answer of the bus. That may take as long as the library's time-outs.
    bool isAsking() const { return m_isAsking; }

    QString clientName() const { return m_clientName; }

    /// Why it ended; nothing after a success. Ask after ended().
    const std::optional<Failure>& failure() const { return m_failure; }

    // For the task. These are called in the follower's thread only.

    /// Subscribes. The follower unsubscribes at its end.
    void subscribe(BusClient& bus, const Subscriptions& subscriptions);

    void setSatisfied() { m_isSatisfied = true; }

    /// Calls \a function once, after this time. A second call replaces the first one. After the end nothing is called.
    void callLater(int milliseconds, const std::function<void()>& function);

    /// Whether the bus has accepted the receiving connection.
    bool isReceiving() const { return m_receiver.isAccepted(); }

    /// Counts one more item that the verb has shown. The follower is satisfied when the tally is enough, and ends when
    /// it is full.
    void count(Tally& tally);

    /// Ends, with or without a failure. Nothing more is received after this. Further calls change nothing.
    void end(const std::optional<Failure>& failure = std::nullopt);

public Q_SLOTS:
    void start();
    /// Ends as interrupted.
    void interrupt();
    /// Ends because the time is over. That is a failure unless isSatisfied().
    void timeUp();

Q_SIGNALS:
    /// The end has begun. \a status and \a words are those of the failure, or Done. Unsubscribing follows.
    void leaving(int status, QString words);
    /// The end is complete. Emitted once.
    void ended();

private:
    void connectToBus();
    void onIncomingMessage(const Message& message);
    void useConnection();
    void onConnectionFailed(const Failure& failure);
    void lookAfterLoss();
    void waitForBus(const QString& words);
    void waitForName();
    void tellOfReturn();
    void tidyUp();

    const QString m_clientName;
    FollowerTask& m_task;
    Receiver m_receiver{m_clientName, this};
    std::unique_ptr<BusClient> m_bus; ///< From connecting until the task has used it.
    QTimer m_retryTimer{this};
    QTimer m_laterTimer{this};
    std::function<void()> m_later;
    QStringList m_subscribed;
    QStringList m_told;             ///< The words since the bus went away; each is told once.
    QElapsedTimer m_sinceNameTaken; ///< Since the words about it.
    bool m_isNameTaken = false;
    bool m_wasConnected = false;
    bool m_hasEnded = false;
    std::optional<Failure> m_failure;
    std::atomic<bool> m_isAsking{false};
    std::atomic<bool> m_isSatisfied{false};
    std::atomic<bool> m_hasSubscriptions{false};
};

/// Follows the bus as \a clientName until the task ends it, a signal interrupts it, or its time is over. Throws
/// Failure.
///
/// The program ends at most 2 s after there is a reason to end, and at once when nothing is subscribed. When the
/// follower is still blocked then, this function ends the process and does not return.
void follow(const QString& clientName, FollowerTask& task, const std::optional<int>& timeoutMs);

} // namespace tarvexctl

#endif // FOLLOWER_H
