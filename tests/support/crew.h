#ifndef CREW_H
#define CREW_H

#include "abstractworkercontroller.h"
#include "literals.h"
#include "recordingworker.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QPointer>
#include <QThread>

#include <functional>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

const QString STARTED = u"started"_s;
const QString STOPPED = u"stopped"_s;

/// How long the controller waits for all its workers together, and three times that for a busy machine.
constexpr qint64 STOP_LIMIT_MS = 1500;
constexpr qint64 STOP_LIMIT_WITH_ROOM_MS = 3 * STOP_LIMIT_MS;

/// As a service has it: doStart() starts the threads of the workers that were added.
class Controller : public wexcor::AbstractWorkerController
{
    Q_OBJECT
public:
    explicit Controller(QObject* parent = nullptr, std::shared_ptr<Record> givenHooks = std::make_shared<Record>())
        : AbstractWorkerController(parent), hooks(std::move(givenHooks))
    {
        hooks->setThread(QThread::currentThread());
    }

    void doStart() override
    {
        for (const QPointer<QThread>& thread : m_threads) {
            thread->start(QThread::InheritPriority);
        }
    }

    void processStartedWorker() override { hooks->add(STARTED); }

    void processStoppedWorker() override { hooks->add(STOPPED); }

    QThread* add(RecordingWorker* worker)
    {
        QThread* const thread = addWorkerToThread(worker);
        worker->record->setThread(thread);
        m_threads.emplace_back(thread);
        return thread;
    }

    const std::shared_ptr<Record> hooks;

private:
    std::vector<QPointer<QThread>> m_threads;
};

/// Leaves the hooks to the base class.
class PlainController : public wexcor::AbstractWorkerController
{
public:
    explicit PlainController(QObject* parent = nullptr) : AbstractWorkerController(parent) { }

    void doStart() override { }
};

/// Waits for what other threads do. This thread's event loop does not run meanwhile. \return whether it came.
inline bool waitUntil(const std::function<bool()>& condition)
{
    const QDeadlineTimer deadline(20000);
    while (!condition()) {
        if (deadline.hasExpired()) {
            return false;
        }
        QThread::usleep(200);
    }
    return true;
}

/// \return how many ms \a work takes.
inline qint64 timeOf(const std::function<void()>& work)
{
    QElapsedTimer time;
    time.start();
    work();
    return time.elapsed();
}

inline QString droppedLine(int count)
{
    return u"warning: Dropped %1 queued messages and calls when the workers were stopped"_s.arg(count);
}

/// A controller with its workers, and what has happened to them, also after they have gone.
class Crew
{
public:
    explicit Crew(std::unique_ptr<Controller> givenController = std::make_unique<Controller>())
        : hooks(givenController->hooks), controller(std::move(givenController))
    {
    }

    ~Crew() { gate->open(); }
    Q_DISABLE_COPY_MOVE(Crew)

    /// Hands \a count new workers to the controller. \return the last of them.
    RecordingWorker* add(int count = 1)
    {
        RecordingWorker* worker = nullptr;
        for (int number = 0; number < count; ++number) {
            records.push_back(std::make_shared<Record>());
            worker = new RecordingWorker(records.back());
            controller->add(worker);
        }
        return worker;
    }

    /// Starts all threads. \return whether the workers have begun their doStart().
    bool start()
    {
        controller->doStart();
        return waitUntil([this] { return allHave(START); });
    }

    /// Destroys the controller.
    void end() { controller.reset(); }

    /// For a hook of a worker: waits until the test opens the gate.
    RecordingWorker::Hook waitAtGate() const
    {
        return [gate = gate](RecordingWorker&) { gate->wait(); };
    }

    /// Calls doStop(). The gate at which the first worker waits opens after the controller has posted that worker's
    /// stop. The stops are posted in the order in which the workers were added, so when the second worker has stopped,
    /// the first worker's stop has been posted.
    void doStopWhileFirstWaits()
    {
        std::thread opener([gate = gate, second = records.at(1)] {
            waitUntil([&second] { return second->has(STOP); });
            gate->open();
        });
        controller->doStop();
        opener.join();
    }

    QStringList events(size_t number = 0) const { return records.at(number)->events(); }

    int count(const QString& what, size_t number = 0) const { return records.at(number)->count(what); }

    bool has(const QString& what, size_t number = 0) const { return records.at(number)->has(what); }

    bool allHave(const QString& what) const
    {
        for (const auto& record : records) {
            if (!record->has(what)) {
                return false;
            }
        }
        return true;
    }

    /// \return whether exactly these events have happened to each worker.
    bool allWent(const QStringList& expected) const
    {
        for (const auto& record : records) {
            if (record->events() != expected) {
                return false;
            }
        }
        return true;
    }

    /// What happened in a wrong thread. A worker that was never started may be deleted anywhere.
    QStringList strays() const
    {
        QStringList strays = hooks->strays();
        for (const auto& record : records) {
            if (record->has(START)) {
                strays += record->strays();
            }
        }
        return strays;
    }

    const std::shared_ptr<Record> hooks;
    const std::shared_ptr<Gate> gate = std::make_shared<Gate>();
    std::vector<std::shared_ptr<Record>> records; ///< One for each worker, in the order in which they were added.
    std::unique_ptr<Controller> controller;
};

/// Has a crew for each test function. At its end nothing may have happened in a wrong thread.
class CrewTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();

protected:
    std::unique_ptr<Crew> crew;
};

#endif // CREW_H
