#include "growth.h"

#include "growthdesk.h"
#include "records/clientstate.h"
#include "records/message.h"
#include "require.h"
#include "sampledata.h"
#include "wire/busframe_p.h"
#include "wire/busterms_p.h"

#include <benchmark/benchmark.h>
#include <chrono>
#include <memory>
#include <vector>

namespace {

namespace busframe = tarvex::busframe;
namespace busterms = tarvex::busterms;
using Clock = std::chrono::steady_clock;

const QString SENDER = QStringLiteral("cash_acceptor");
const QString ABSENT = QStringLiteral("ticket_printer");
const QString UID = QStringLiteral("9f1c7f0e5b7e4b439d0a0123");
constexpr int KEEP_ALL = 1000000;

/// Counts what the bus uses for a number of equal operations.
class Meter
{
public:
    Meter(benchmark::State& state, const BusProcess& bus) : m_state(state), m_bus(bus) { }

    /// Adds what \a operations cost, which \a work does. The wall time is that of the iteration.
    template <typename Work>
    void measure(int operations, const Work& work)
    {
        const double before = m_bus.cpuTime();
        const auto begin = Clock::now();
        work();
        const std::chrono::duration<double> wall = Clock::now() - begin;
        m_state.SetIterationTime(wall.count() / operations);
        m_cpuTime += m_bus.cpuTime() - before;
        m_operations += operations;
        m_state.counters["bus_cpu_us"] = m_cpuTime / m_operations;
    }

private:
    benchmark::State& m_state;
    const BusProcess& m_bus;
    double m_cpuTime = 0;
    int m_operations = 0;
};

QString clientName(int number)
{
    return QStringLiteral("client_%1").arg(number);
}

QByteArray messageFrame(const QString& reciever, const QString& text)
{
    tarvex::Message message;
    message.setSender(SENDER);
    message.setReciever(reciever);
    message.setUid(UID);
    message.setMessage(text);
    return busframe::encodeRequest(busterms::OPERATION_SEND_MESSAGE, message.toVariantMap());
}

QByteArray acknowledgement(const QString& sender, const QString& reciever, const QString& uid)
{
    return busframe::encodeReply(
        busterms::OPERATION_SEND_MESSAGE, 0, QString(),
        {{busterms::KEY_SENDER, sender}, {busterms::KEY_RECIEVER, reciever}, {busterms::KEY_ACKNOWLEDGED_UID, uid}});
}

/// Reads a pushed message and acknowledges it.
void take(RawClient& receiver)
{
    const QVariantMap message = busframe::decodePayload(receiver.read()).envelope.value(busframe::KEY_DATA).toMap();
    receiver.send(acknowledgement(message.value(busterms::KEY_SENDER).toString(),
                                  message.value(busterms::KEY_RECIEVER).toString(),
                                  message.value(busterms::KEY_UID).toString()));
}

/// A bus, a client that asks, and a number of clients whose receivers are connected.
struct Crowd
{
    explicit Crowd(int clients) : bus(KEEP_ALL)
    {
        bus.start();
        sender = std::make_unique<RawClient>(busterms::QUERY_PORT, SENDER);
        for (int number = 0; number < clients; ++number) {
            receivers.push_back(std::make_unique<RawClient>(busterms::RECEIVER_PORT, clientName(number)));
        }
    }

    void subscribeAll() const
    {
        const QVariantMap subscription{{busterms::KEY_NAME, SENDER}, {busterms::KEY_GOAL, busterms::StateChanges}};
        for (size_t number = 0; number < receivers.size(); ++number) {
            RawClient query(busterms::QUERY_PORT, clientName(static_cast<int>(number)));
            query.ask(busframe::encodeRequest(busterms::OPERATION_SUBSCRIBE,
                                              {{busterms::KEY_PUBLISHERS, QVariantList{subscription}}}));
        }
    }

    BusProcess bus;
    std::unique_ptr<RawClient> sender;
    std::vector<std::unique_ptr<RawClient>> receivers;
};

/// One message from one client to another, until it is acknowledged, while this many are connected.
void runMessage(benchmark::State& state, int clients)
{
    constexpr int MESSAGES = 200;
    const Crowd crowd(clients);
    RawClient& receiver = *crowd.receivers.back();
    const QByteArray message = messageFrame(clientName(clients - 1), QStringLiteral("text"));
    Meter meter(state, crowd.bus);
    for ([[maybe_unused]] auto _ : state) {
        meter.measure(MESSAGES, [&] {
            for (int number = 0; number < MESSAGES; ++number) {
                crowd.sender->ask(message);
                take(receiver);
            }
            receiver.settle();
        });
    }
}

QByteArray stateFrame()
{
    tarvex::ClientState state;
    state.setOwner(SENDER);
    state.setState(QStringLiteral("low on paper"));
    return busframe::encodeRequest(busterms::OPERATION_SAVE_STATE, state.toVariantMap());
}

/// One change of a state, until all subscribers have acknowledged it.
void runState(benchmark::State& state, int clients, bool isSubscribed)
{
    const int changes = isSubscribed ? qBound(5, 400 / clients, 100) : 200;
    const Crowd crowd(clients);
    if (isSubscribed) {
        crowd.subscribeAll();
    }
    const QByteArray change = stateFrame();
    Meter meter(state, crowd.bus);
    for ([[maybe_unused]] auto _ : state) {
        meter.measure(changes, [&] {
            for (int number = 0; number < changes; ++number) {
                crowd.sender->ask(change);
                for (size_t i = 0; isSubscribed && i < crowd.receivers.size(); ++i) {
                    take(*crowd.receivers[i]);
                }
            }
            crowd.receivers.back()->settle();
        });
    }
}

void runStateOfOther(benchmark::State& state, int clients)
{
    runState(state, clients, false);
}

void runStateSubscribed(benchmark::State& state, int clients)
{
    runState(state, clients, true);
}

/// One more client connects its receiver and leaves again.
void runJoin(benchmark::State& state, int clients)
{
    constexpr int JOINS = 50;
    const Crowd crowd(clients);
    Meter meter(state, crowd.bus);
    for ([[maybe_unused]] auto _ : state) {
        meter.measure(JOINS, [] {
            for (int number = 0; number < JOINS; ++number) {
                const RawClient newcomer(busterms::RECEIVER_PORT, QStringLiteral("newcomer"));
            }
        });
    }
}

/// One more message for an absent client for which this many wait.
void runQueue(benchmark::State& state, int queued, int keep)
{
    constexpr int MESSAGES = 100;
    BusProcess bus(keep);
    bus.queue(ABSENT, queued);
    bus.start();
    RawClient sender(busterms::QUERY_PORT, SENDER);
    const QByteArray message = messageFrame(ABSENT, QStringLiteral("text"));
    sender.ask(message); // not measured, because the bus looks at the queue when its first message comes
    Meter meter(state, bus);
    for ([[maybe_unused]] auto _ : state) {
        meter.measure(MESSAGES, [&] {
            for (int number = 0; number < MESSAGES; ++number) {
                sender.ask(message);
            }
        });
    }
}

void runAdd(benchmark::State& state, int queued)
{
    runQueue(state, queued, KEEP_ALL);
}

/// The queue is full, so each message drops the oldest one.
void runAddToFull(benchmark::State& state, int queued)
{
    runQueue(state, queued, queued);
}

/// The bus starts with such a queue, until it is ready.
void runStart(benchmark::State& state, int queued)
{
    for ([[maybe_unused]] auto _ : state) {
        BusProcess bus(KEEP_ALL);
        bus.queue(ABSENT, queued);
        const auto begin = Clock::now();
        bus.start();
        const std::chrono::duration<double> wall = Clock::now() - begin;
        state.SetIterationTime(wall.count());
        state.counters["bus_cpu_us"] = bus.cpuTime();
    }
}

/// The client for which this many wait connects, gets the first messages, at most 64, and leaves again.
void runConnect(benchmark::State& state, int queued)
{
    constexpr int CONNECTIONS = 10;
    BusProcess bus(KEEP_ALL);
    bus.queue(ABSENT, queued);
    bus.start();
    Meter meter(state, bus);
    for ([[maybe_unused]] auto _ : state) {
        meter.measure(CONNECTIONS, [queued] {
            for (int number = 0; number < CONNECTIONS; ++number) {
                RawClient receiver(busterms::RECEIVER_PORT, ABSENT);
                for (int pushed = 0; pushed < qMin(queued, int(busterms::MAX_UNACKNOWLEDGED)); ++pushed) {
                    receiver.read();
                }
            }
        });
    }
}

/// One acknowledgement while this many wait. Includes one request that the bus refuses, for up to 50 acknowledgements.
void runAcknowledge(benchmark::State& state, int queued)
{
    constexpr int FIRST = 20; // not measured
    const int messages = qMin(queued, 50);
    BusProcess bus(KEEP_ALL);
    bus.queue(ABSENT, FIRST + queued);
    bus.start();
    RawClient receiver(busterms::RECEIVER_PORT, ABSENT);
    const auto acknowledge = [&receiver](int from, int count) {
        for (int number = from; number < from + count; ++number) {
            receiver.send(acknowledgement(SENDER, ABSENT, BusProcess::queuedUid(number)));
        }
        receiver.settle();
    };
    receiver.settle();
    acknowledge(0, FIRST);
    Meter meter(state, bus);
    for ([[maybe_unused]] auto _ : state) {
        meter.measure(messages, [&] { acknowledge(FIRST, messages); });
    }
}

/// One message with a text of this size from one client to another, until it is acknowledged.
void runPayload(benchmark::State& state, int bytes, growth::MakeData makeData)
{
    const QByteArray message = messageFrame(clientName(0), growth::commandText(bytes, makeData));
    const QByteArray acknowledged = acknowledgement(SENDER, clientName(0), UID);
    const int messages = qBound(1, 10000000 / bytes, 50);
    const Crowd crowd(1);
    RawClient& receiver = *crowd.receivers.back();
    Meter meter(state, crowd.bus);
    for ([[maybe_unused]] auto _ : state) {
        meter.measure(messages, [&] {
            for (int number = 0; number < messages; ++number) {
                crowd.sender->ask(message);
                receiver.read();
                receiver.send(acknowledged);
            }
            receiver.settle();
        });
    }
}

template <typename... Arguments>
void add(const char* series, int size, void (*run)(benchmark::State&, int, Arguments...), Arguments... arguments)
{
    benchmark::RegisterBenchmark(growth::name(series, size).c_str(), run, size, arguments...)
        ->Iterations(1)
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond);
}

} // namespace

void growth::registerBus()
{
    for (const int clients : sizes({1, 10, 50, 100, 200}, 10)) {
        add("bus_message", clients, runMessage);
        add("bus_state", clients, runStateOfOther);
        add("bus_state_subscribed", clients, runStateSubscribed);
        add("bus_join", clients, runJoin);
    }
    for (const int queued : sizes({1, 10, 100, 1000, 10000, 100000}, 100)) {
        add("queue_start", queued, runStart);
        add("queue_add", queued, runAdd);
        add("queue_add_full", queued, runAddToFull);
        add("queue_connect", queued, runConnect);
        add("queue_acknowledge", queued, runAcknowledge);
    }
    for (const int bytes : sizes({1000, 16000, 200000, 1000000, 5000000, 20000000}, 16000)) {
        add("bus_text", bytes, runPayload, sampledata::settings);
        add("bus_noise", bytes, runPayload, sampledata::image);
    }
}
