#ifndef CHAOSRING_H
#define CHAOSRING_H

#include "childprocess.h"

#include <QList>
#include <QMap>
#include <QStringList>
#include <QTemporaryDir>

#include <functional>
#include <memory>
#include <vector>

/// A development bus and services in a ring on it, each in a process of its own. Every service sends numbers to the
/// next one. Every second service handles the numbers in a commands worker and answers them. The others handle them in
/// their message worker. The bus can be killed and the services can be ended again and again. All lives of a service
/// count as one.
///
/// Records what the services print: what was sent, what the bus accepted, and what was handled.
class ChaosRing
{
public:
    explicit ChaosRing(int serviceCount);
    ~ChaosRing();
    Q_DISABLE_COPY_MOVE(ChaosRing)

    int size() const { return static_cast<int>(m_services.size()); }

    /// Starts the bus and all services. \return false when one of them does not start.
    bool start();

    /// Kills the bus in the middle of what it does, and starts it again \a pauseMs later.
    bool killBus(int pauseMs);

    /// The services that may be ended now.
    ///
    /// If an acknowledgement is lost with a killed bus, the bus pushes its message again. Only the process that has
    /// handled the message knows its uid; a new process would handle it once more. So after a kill a service may be
    /// ended only when it has got a number that was sent after the kill. The bus pushes in order, so all repeated
    /// messages have come before that number.
    QList<int> endable() const;
    /// Waits until a service may be ended.
    bool waitForEndable();
    /// Waits until the service has got one more number. \return false when none comes within \a timeoutMs.
    bool waitForMore(int index, int timeoutMs);
    /// Ends a service in an orderly way, and starts it again. It goes on sending after its last number.
    bool endService(int index);

    /// Lets everything go on for this time.
    void goOn(int milliseconds);

    /// Ends all services and starts them once more, so that they take what the bus still has for them. When the bus has
    /// nothing left for any of them, ends them and the bus.
    bool finish();

    /// Why the last failed call has failed.
    QString errorString() const { return m_errorString; }

    /// What was lost, came twice or came out of order, one line for each. To be called after finish() only. If a
    /// service had more to do at its end than it had time for, it warns how much it dropped. This much does not count
    /// as lost.
    QStringList violations() const;
    /// How many ends of services came with a warning that something was dropped.
    int endsWithWarning() const;
    /// How many numbers and answers were accepted, not accepted and delivered.
    QString figures() const;

private:
    /// What goes from one service to another: the numbers, or the answers to them.
    struct Flow
    {
        struct Sending
        {
            int number;
            int step; ///< How many kills and ends were before.
        };

        QList<Sending> accepted;
        QList<int> refused;
        QList<int> delivered;
    };

    /// "numbers s1 s2".
    using FlowName = QString;

    struct Service
    {
        QString name;
        QString receiver;
        bool hasCommandsWorker = false;
        std::unique_ptr<ChildProcess> process;
        bool isStarted = false;
        int lastSent = 0;
        int lastGot = 0;
        /// Only a number above this one shows that the repeats have come.
        int lastSentToItAtKill = 0;
        QStringList handled;
        QStringList answered;
        QList<int> dropped; ///< How much each end of the service has dropped, as it warned.
    };

    bool startBus();
    bool waitForBus();
    void startProcess(Service& service, bool isSending);
    bool endProcess(Service& service);
    bool endAndRestart(Service& service, bool isSending);
    Service& senderTo(int index);
    void beginStep(const QString& what);
    void readLines();
    void readLines(Service& service);
    void note(Service& service, const QStringList& words);
    bool waitFor(const std::function<bool()>& condition, const QString& what, int timeoutMs);
    bool hasEverything() const;
    int waitingAtBus() const;
    static QStringList disorder(const QString& title, const Flow& flow);
    QStringList lostIn(const Flow& flow, const QString& receiver) const;
    static QStringList unansweredBy(const Service& service);
    QString endAfter(const Flow::Sending& sending, const QString& receiver) const;
    bool fail(const QString& text);

    const QTemporaryDir m_folder;
    std::unique_ptr<ChildProcess> m_bus;
    std::vector<Service> m_services;
    QMap<FlowName, Flow> m_flows;
    QStringList m_steps;
    QString m_errorString;
};

#endif // CHAOSRING_H
