#include "pushbenchmark.h"

#include "allocations.h"
#include "client/tarvexmessagesreciever.h"
#include "fakebus.h"
#include "pausebenchmark.h"
#include "pauses.h"
#include "pushlater.h"
#include "require.h"
#include "sampledata.h"
#include "serveuntil.h"
#include "sizes.h"
#include "wire/busframe_p.h"

#include <QTime>
#include <QTimer>

#include <benchmark/benchmark.h>
#include <future>
#include <string>

namespace {

const QString OPERATION_SEND_MESSAGE = QStringLiteral("sendMessage");

/// The frame of one message. The number makes each message different, because repeats are not delivered.
QByteArray pushFrame(const QString& text, int number)
{
    tarvex::Message message;
    message.setSender(QStringLiteral("cash_acceptor"));
    message.setReciever(QStringLiteral("ticket_printer"));
    message.setDt(QDateTime(QDate(2024, 3, 15), QTime(8, 30)));
    message.setMessage(text);
    message.setUid(sampledata::uid(number));
    return tarvex::busframe::encodeRequest(OPERATION_SEND_MESSAGE, message.toVariantMap());
}

/// An iteration is one message. The wall time is that of a message in the burst; the CPU time is that of the receiver's
/// thread.
void runPush(benchmark::State& state, const Size& size)
{
    const auto messages = static_cast<int>(state.max_iterations);
    const QString text = sampledata::commandText(size.bytes);
    QByteArray frames;
    for (int number = 0; number < messages; ++number) {
        frames += pushFrame(text, number);
    }
    std::promise<QByteArray> burst;
    FakeBus bus(FakeBus::RECEIVER_PORT);
    require(bus.isListening(), "the bus's receiver port is taken");
    bus.willAnswerHandshake(pushLater(burst.get_future().share()));

    QTimer patience;
    patience.callOnTimeout([] { require(false, "a pushed message has not come"); });
    patience.start(PATIENCE_MS);
    tarvex::TarvexMessagesReciever receiver(QStringLiteral("ticket_printer"));
    int received = 0;
    QObject::connect(&receiver, &tarvex::TarvexMessagesReciever::incomingMessage, &receiver,
                     [&](const tarvex::Message& message) { received += message.message() == text ? 1 : 0; });
    require(receiver.open(), "the handshake failed");
    serveUntil([&] { return receiver.isOpen(); });

    const long allocationsBefore = allocations::count();
    const long pausesBefore = pauses::count();
    burst.set_value(frames);
    int expected = 0;
    for ([[maybe_unused]] auto _ : state) {
        ++expected;
        serveUntil([&] { return received >= expected; });
    }
    const auto mean = benchmark::Counter::kAvgIterations;
    state.counters["allocations"] =
        benchmark::Counter(static_cast<double>(allocations::count() - allocationsBefore), mean);
    state.counters["rounds"] = benchmark::Counter(static_cast<double>(pauses::count() - pausesBefore), mean);
    state.counters["frame"] = pushFrame(text, 0).size();
    require(bus.waitForRequests(messages), "a message was not acknowledged");
    require(received == messages, "a message came twice");
    receiver.close();
}

} // namespace

void registerPushBenchmarks()
{
    registerPauseBenchmark("push");
    for (const Size& size : {SIZES[0], SIZES[1], SIZES[2]}) {
        benchmark::RegisterBenchmark((std::string("push/message/") + size.name).c_str(),
                                     [size](benchmark::State& state) { runPush(state, size); })
            ->UseRealTime()
            ->Unit(benchmark::kMillisecond);
    }
}
