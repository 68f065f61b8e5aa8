#ifndef SERVICETEST_H
#define SERVICETEST_H

#include "client/supportedclients.h"
#include "client/tarvexcontroller.h"
#include "client/tarvexmsgworker.h"
#include "client/tarvexqueryhandler.h"
#include "client/tarvexqueryworker.h"
#include "cmdlayer/tarvexcommand.h"
#include "fakebus.h"
#include "literals.h"

#include <QObject>
#include <QPointer>
#include <QThread>

#include <atomic>
#include <memory>
#include <sys/syscall.h>
#include <unistd.h>

const QString PRINTER = tarvex::BUSNAME_TICKET_PRINTER;

/// An interval after which no report is due during a test.
constexpr int NEVER_MS = 1000000;
/// What the destructor may take: 1500 ms and room for a loaded machine.
constexpr qint64 BOUND_MS = 6000;

inline std::atomic<int> livingWorkers{0};

class Service : public tarvex::TarvexController
{
public:
    explicit Service(int repeatInterval = 0, QObject* parent = nullptr)
        : tarvex::TarvexController(repeatInterval, PRINTER, parent)
    {
    }

    void doStart() override { }

    QThread* addWorkerToThread(wexcor::AbstractWorker* worker) override
    {
        QThread* const thread = givesThreads ? tarvex::TarvexController::addWorkerToThread(worker) : nullptr;
        threads.append(thread);
        return thread;
    }

    /// How often a signal is connected.
    int connections(const char* signal) const { return receivers(signal); }

    bool givesThreads = true;
    QList<QPointer<QThread>> threads;
};

class MsgWorker : public tarvex::TarvexMsgWorker
{
public:
    MsgWorker() : tarvex::TarvexMsgWorker(PRINTER) { ++livingWorkers; }

    ~MsgWorker() override { --livingWorkers; }

    bool doStart() override
    {
        threadId = ::syscall(SYS_gettid);
        ++starts;
        const bool isStarted = tarvex::TarvexMsgWorker::doStart();
        ++tries;
        return isStarted;
    }

    int connections(const char* signal) const { return receivers(signal); }

    std::atomic<long> threadId{0};
    std::atomic<int> starts{0}; ///< Calls of doStart() that have begun.
    std::atomic<int> tries{0};  ///< Calls of doStart() that have returned.
};

class QueryWorker : public tarvex::TarvexQueryWorker
{
public:
    explicit QueryWorker(int interval = NEVER_MS) : tarvex::TarvexQueryWorker(interval, PRINTER) { ++livingWorkers; }

    ~QueryWorker() override { --livingWorkers; }

    bool doStart() override
    {
        threadId = ::syscall(SYS_gettid);
        ++starts;
        const bool isStarted = tarvex::TarvexQueryWorker::doStart();
        ++tries;
        return isStarted;
    }

    void doSendState() override
    {
        reportThreadId = ::syscall(SYS_gettid);
        handler->saveState(tarvex::ClientState());
        ++reports;
    }

    void doApplySettings(tarvex::ClientSettings settings) override
    {
        Q_UNUSED(settings)
        ++applied;
        if (applied > 1) {
            Q_EMIT settingsChanged();
        }
    }

    int connections(const char* signal) const { return receivers(signal); }

    std::atomic<long> threadId{0};
    std::atomic<int> starts{0}; ///< Calls of doStart() that have begun.
    std::atomic<int> tries{0};  ///< Calls of doStart() that have returned.
    std::atomic<long> reportThreadId{0};
    std::atomic<int> reports{0};
    std::atomic<int> applied{0};
};

/// Counts calls, also from other threads.
class Counter : public QObject
{
    Q_OBJECT
public:
    std::atomic<int> calls{0};

public Q_SLOTS:

    void count() { ++calls; }
};

/// The command that a message carries.
TarvexCommand commandIn(const tarvex::Message& message);

/// A frame that pushes a message with this text to the printer.
QByteArray pushFrame(const QString& text, const QString& uid);

/// The bus's two ports for each test function. At its end no worker may be left.
class ServiceTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();

protected:
    /// Hands the workers to \a service. \return whether the query worker has its settings, and the message worker, if
    /// there is one, has joined the bus.
    bool isStarted(Service& service, MsgWorker* msgWorker, QueryWorker* queryWorker) const;

    /// The log lines with \a text that have come to the bus: "command to addressee".
    QStringList linesOnBus(const QString& text) const;

    /// How many requests of this kind have come to the bus.
    int countOf(const QString& operation) const;

    std::unique_ptr<FakeBus> queryBus;
    std::unique_ptr<FakeBus> receiverBus;
};

#endif // SERVICETEST_H
