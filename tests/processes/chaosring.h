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

/// A development bus and services in a ring on it, each in a process of its own: every service sends numbers to the
/// next one. Every second service handles them in a commands worker and answers them, the others handle them in their
/// message worker. The bus can be killed and the services can be ended, again and again; all lives of a service count
/// as one.
///
/// Keeps account of what the services say: what was sent, what the bus accepted, what was handled.
class ChaosRing
{
public:
    explicit ChaosRing(int serviceCount);
    ~ChaosRing();
    Q_DISABLE_COPY_MOVE(ChaosRing)

    int size() const { return static_cast<int>(m_services.size()); }

    /// Starts the bus and all services. \return false when one of them does not come up.
    bool start();

    /// Kills the bus in the middle of what it does, and starts it again \a pauseMs later.
    bool killBus(int pauseMs);

    /// The services that may be ended now.
    ///
    /// A new process does not remember what the former one was given. A message whose acknowledgement died with a
    /// killed bus comes again, and only the process that has handled it knows it by its uid; a new one would handle it
    /// once more. So after a kill a service is ended only once it has got a number that was sent after the kill: the
    /// bus pushes in order, so all that it repeats has come before that.
    QList<int> endable() const;
    /// Waits until a service may be ended.
    bool waitForEndable();
    /// Waits until the service has got one more number. \return false when none comes within \a timeoutMs.
    bool waitForMore(int index, int timeoutMs);
    /// Ends a service in an orderly way, and starts it again. It goes on sending after its last number.
    bool endService(int index);

    /// Lets everything go on for so long.
    void goOn(int milliseconds);

    /// Ends all services and lets them come back once more to take what the bus still has for them. When the bus has
    /// nothing left for any of them, ends them and the bus.
    bool finish();

    /// Why the last call that failed did.
    QString errorString() const { return m_errorString; }

    /// What was lost, came twice or out of order, one line for each; only to be asked after finish(). What a service
    /// has warned of at its end, because there was more than it had the time for, counts as told and not as lost.
    QStringList violations() const;
    /// So many ends there were whose service has warned that it dropped something.
    int endsWithWarning() const;
    /// So many numbers and answers were accepted, not accepted, delivered.
    QString figures() const;

private:
    /// What goes from one service to another: the numbers, or the answers to them.
    struct Flow
    {
        struct Sending
        {
            int number;
            int step; ///< So many kills and ends were before.
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
        QList<int> dropped; ///< How much each end has warned of that did.
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
