#include "doctor/buslook.h"

#include "busclient.h"
#include "exchange.h"
#include "receiver.h"
#include "records/clientstate.h"

#include <QElapsedTimer>
#include <QEventLoop>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>

using tarvex::ClientSettings;
using tarvex::ClientState;
using tarvex::TarvexQueryHandler;

namespace tarvexctl::doctor {

namespace {

constexpr int EXCHANGES = 20;
/// A slow bus is known to be slow after this time.
constexpr int EXCHANGES_LIMIT_MS = 2000;

double milliseconds(const QElapsedTimer& timer)
{
    return std::chrono::duration<double, std::milli>(std::chrono::nanoseconds(timer.nsecsElapsed())).count();
}

} // namespace

struct BusLook::Shared
{
    std::mutex mutex;
    std::condition_variable changed;
    BusAnswers answers;

    void change(const std::function<void(BusAnswers&)>& step)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        step(answers);
        changed.notify_all();
    }
};

namespace {

using Note = std::function<void(const std::function<void(BusAnswers&)>&)>;

/// Measures exchanges that change nothing: nobody has stored a state under this name.
void measure(BusClient& bus, const QString& clientName, const Note& note)
{
    QElapsedTimer all;
    all.start();
    for (int exchange = 0; exchange < EXCHANGES && !all.hasExpired(EXCHANGES_LIMIT_MS); ++exchange) {
        note([took = measureExchange(bus, clientName)](BusAnswers& answers) { answers.exchangesMs.append(took); });
    }
}

/// Loads each owner's record by \a load, which notes what has come. What the bus refuses, and what is left out because
/// the time is over, is noted as well.
void loadAll(const QStringList& owners, const QDeadlineTimer& deadline, const Note& note,
             const std::function<void(const QString&)>& load)
{
    for (const QString& owner : owners) {
        if (deadline.hasExpired()) {
            note([](BusAnswers& answers) { ++answers.skippedCount; });
            continue;
        }
        try {
            load(owner);
        } catch (const Failure& failure) {
            if (failure.status() != Refused) {
                throw;
            }
            note([&](BusAnswers& answers) { answers.refusals.append({owner, failure.words()}); });
        }
    }
}

void loadSettings(BusClient& bus, const Questions& questions, const Note& note)
{
    loadAll(questions.settingsOwners, questions.loadDeadline, note, [&](const QString& owner) {
        ClientSettings settings;
        if (bus.askForStored([&](TarvexQueryHandler& handler) { return handler.loadSettings(owner, settings); })) {
            note([&](BusAnswers& answers) { answers.settings.append(settings); });
        }
    });
}

void loadStates(BusClient& bus, const Questions& questions, const Note& note)
{
    loadAll(questions.stateOwners, questions.loadDeadline, note, [&](const QString& owner) {
        ClientState state;
        if (bus.askForStored([&](TarvexQueryHandler& handler) { return handler.loadState(owner, state); })) {
            note([&](BusAnswers& answers) { answers.states.append(state.toVariantMap()); });
        }
    });
}

} // namespace

BusLook::BusLook(const Questions& questions) : m_shared(std::make_shared<Shared>())
{
    m_queryThread = std::thread([shared = m_shared, questions] { askQueryPort(*shared, questions); });
    m_receiverThread =
        std::thread([shared = m_shared, name = questions.clientName] { askReceiverPort(*shared, name); });
}

BusLook::~BusLook()
{
    const BusAnswers end = answers();
    for (const auto& [thread, isDone] : {std::pair<std::thread*, bool>{&m_queryThread, end.isQueryDone},
                                         std::pair<std::thread*, bool>{&m_receiverThread, end.isReceiverDone}}) {
        if (isDone) {
            thread->join();
        } else {
            thread->detach();
        }
    }
}

void BusLook::wait(const QDeadlineTimer& deadline)
{
    std::unique_lock<std::mutex> lock(m_shared->mutex);
    m_shared->changed.wait_for(lock, std::chrono::milliseconds(deadline.remainingTime()),
                               [this] { return m_shared->answers.isDone(); });
}

BusAnswers BusLook::answers() const
{
    const std::lock_guard<std::mutex> lock(m_shared->mutex);
    return m_shared->answers;
}

void BusLook::askQueryPort(Shared& shared, const Questions& questions)
{
    const Note note = [&shared](const std::function<void(BusAnswers&)>& step) { shared.change(step); };
    try {
        QElapsedTimer timer;
        timer.start();
        BusClient bus(questions.clientName);
        note([took = milliseconds(timer)](BusAnswers& answers) { answers.handshakeMs = took; });
        measure(bus, questions.clientName, note);
        loadSettings(bus, questions, note);
        loadStates(bus, questions, note);
    } catch (const Failure& failure) {
        note([&](BusAnswers& answers) { answers.queryFailure = failure; });
    }
    note([](BusAnswers& answers) { answers.isQueryDone = true; });
}

void BusLook::askReceiverPort(Shared& shared, const QString& clientName)
{
    std::optional<Failure> failure;
    try {
        QEventLoop loop;
        Receiver receiver(clientName);
        QObject::connect(&receiver, &Receiver::accepted, &loop, &QEventLoop::quit);
        QObject::connect(&receiver, &Receiver::refused, &loop, [&](const Failure& refusal) {
            failure = refusal;
            loop.quit();
        });
        receiver.open();
        loop.exec();
        receiver.close();
    } catch (const Failure& unreachable) {
        failure = unreachable;
    }
    shared.change([&](BusAnswers& answers) {
        answers.receiverFailure = failure;
        answers.isReceiverAccepted = !failure;
        answers.isReceiverDone = true;
    });
}

} // namespace tarvexctl::doctor
