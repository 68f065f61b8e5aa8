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

/// When the time is over before the bus has accepted us.
Failure busIsSilent();

/// Publishers' names, each with what is wanted of it.
using Subscriptions = QList<QPair<QString, qint32>>;

class Follower;

/// What a verb does with the bus that it follows. All of it runs in the follower's thread. A Failure thrown there ends
/// the verb, a lost connection apart.
class FollowerTask
{
public:
    virtual ~FollowerTask() = default;

    /// Called when the bus has accepted both connections: the first time and whenever it is back.
    virtual void onConnected(Follower& follower, BusClient& bus, bool isFirst) = 0;

    /// Called for each message that is pushed. The library has acknowledged it already: the bus will not keep it.
    virtual void onMessage(Follower& follower, const Message& message) = 0;

    /// What to say when the time is over, the bus had accepted us, and it was not satisfied.
    virtual QString timeOutWords() const = 0;
};

/// Follows what the bus pushes to one client until its task has what it wants: the life of the connections of the verbs
/// that receive.
///
/// Lives in a thread of its own, since the library's connections block theirs; follow() runs it. A bus that is not
/// there at the beginning, or does not want this client, ends it. One that goes away later is waited for, with a word
/// on stderr when it goes and when it is back. So is a name that another program has taken.
///
/// The connection for asking exists only while something is asked, so there is but one to watch.
class Follower : public QObject
{
    Q_OBJECT
public:
    Follower(const QString& clientName, FollowerTask& task);
    ~Follower() override;

    // These may be called from any thread.

    /// Whether it is no failure if nothing more comes.
    bool isSatisfied() const { return m_isSatisfied; }

    bool hasSubscriptions() const { return m_hasSubscriptions; }

    /// Whether it waits for an answer of the bus, which may take as long as the library's time-outs.
    bool isAsking() const { return m_isAsking; }

    QString clientName() const { return m_clientName; }

    /// Why it ended, to be asked after ended(); nothing when all is well.
    const std::optional<Failure>& failure() const { return m_failure; }

    // For the task, in the follower's thread.

    /// Subscribes; what is subscribed here is unsubscribed at the end.
    void subscribe(BusClient& bus, const Subscriptions& subscriptions);

    void setSatisfied() { m_isSatisfied = true; }

    /// Calls \a function once, after this time. A further call replaces the former one, and the end drops it.
    void callLater(int milliseconds, const std::function<void()>& function);

    /// Whether the bus has accepted the receiving connection.
    bool isReceiving() const { return m_receiver.isAccepted(); }

    /// One more of what the verb shows: satisfied when it is enough, and ends when it is all that is wanted.
    void count(Tally& tally);

    /// Ends, well or not. Nothing more is received from here on. Further calls change nothing.
    void end(const std::optional<Failure>& failure = std::nullopt);

public Q_SLOTS:
    void start();
    /// Ends as interrupted.
    void interrupt();
    /// Ends because the time is over, which is a failure unless isSatisfied().
    void timeUp();

Q_SIGNALS:
    /// The end has begun: the failure's status and words, or Done. What was subscribed is being unsubscribed.
    void leaving(int status, QString words);
    /// Nothing is left to do. Emitted once.
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
    std::unique_ptr<BusClient> m_bus; ///< From connecting until the verb has used it.
    QTimer m_retryTimer{this};
    QTimer m_laterTimer{this};
    std::function<void()> m_later;
    QStringList m_subscribed;
    QStringList m_told;             ///< Since the bus went away: each thing once, however often it is tried.
    QElapsedTimer m_sinceNameTaken; ///< Since that was told.
    bool m_isNameTaken = false;
    bool m_wasConnected = false;
    bool m_hasEnded = false;
    std::optional<Failure> m_failure;
    std::atomic<bool> m_isAsking{false};
    std::atomic<bool> m_isSatisfied{false};
    std::atomic<bool> m_hasSubscriptions{false};
};

/// Follows the bus as \a clientName until the task ends, is interrupted, or its time is over. Throws Failure as other
/// verbs do.
///
/// Whatever the bus does, the program ends within 2 s of the reason to do so, and at once when nothing is subscribed.
/// When the follower is still blocked then, this function ends the process and does not return.
void follow(const QString& clientName, FollowerTask& task, const std::optional<int>& timeoutMs);

} // namespace tarvexctl

#endif // FOLLOWER_H
