#include "growth.h"

#include "client/tarvexmessagesreciever.h"
#include "client/tarvexqueryhandler.h"
#include "fakebus.h"
#include "pushlater.h"
#include "require.h"
#include "sampledata.h"
#include "serveuntil.h"
#include "wire/busframe_p.h"

#include <QTime>
#include <QTimer>

#include <benchmark/benchmark.h>
#include <future>
#include <map>
#include <utility>

namespace {

const QString CLIENT = QStringLiteral("ticket_printer");
const QString OPERATION_LOAD_SETTINGS = QStringLiteral("loadSettings");
const QString OPERATION_SEND_MESSAGE = QStringLiteral("sendMessage");
constexpr int SMALL = 16000;

using growth::MakeData;

/// A large exchange is repeated less often.
int iterations(int bytes)
{
    return qBound(2, 8000000 / bytes, 20);
}

tarvex::Message messageOf(int bytes, MakeData makeData)
{
    tarvex::Message message;
    message.setSender(QStringLiteral("cash_acceptor"));
    message.setReciever(CLIENT);
    message.setDt(QDateTime(QDate(2024, 3, 15), QTime(8, 30)));
    message.setMessage(growth::commandText(bytes, makeData));
    return message;
}

FakeBus::Action answerAll(const QByteArray& reply)
{
    return [reply](FakeBus::Peer& peer, const FakeBus::Request&) {
        FakeBus::Request next;
        while (peer.send(reply) && peer.readRequest(next)) { }
    };
}

/// The CPU time is that of the client's thread alone.
template <typename Exchange>
void runExchanges(benchmark::State& state, const QByteArray& reply, const Exchange& exchange)
{
    FakeBus bus;
    require(bus.isListening(), "the bus's query port is taken");
    bus.willDo(answerAll(reply));
    tarvex::TarvexQueryHandler handler(CLIENT);
    require(handler.open(), "the handshake failed");
    exchange(handler); // not measured, because the sockets' buffers are still small in the first exchange
    for ([[maybe_unused]] auto _ : state) {
        exchange(handler);
    }
    handler.close();
}

/// loadSettings() with a reply of this size.
void runLoad(benchmark::State& state, int bytes, MakeData makeData)
{
    static std::map<std::pair<int, MakeData>, QByteArray> replies; // a large one takes seconds to make
    QByteArray& reply = replies[{bytes, makeData}];
    if (reply.isEmpty()) {
        const QVariantMap data = makeData(OPERATION_LOAD_SETTINGS, bytes);
        reply = tarvex::busframe::encodeReply(OPERATION_LOAD_SETTINGS, 0, QString(), data);
    }
    runExchanges(state, reply, [](tarvex::TarvexQueryHandler& handler) {
        tarvex::ClientSettings settings;
        require(handler.loadSettings(QString(), settings), "an exchange failed");
        benchmark::DoNotOptimize(settings);
    });
}

/// sendMessage() with a text of this size.
void runSend(benchmark::State& state, int bytes, MakeData makeData)
{
    const tarvex::Message message = messageOf(bytes, makeData);
    runExchanges(state, tarvex::busframe::encodeReply(OPERATION_SEND_MESSAGE, 0, QString(), {}),
                 [&message](tarvex::TarvexQueryHandler& handler) {
                     require(handler.sendMessage(message), "a message was not sent");
                 });
}

/// The frames of a burst. Each message is a different one, because repeats are not delivered.
QByteArray burstOf(int messages, tarvex::Message message)
{
    QByteArray frames;
    for (int number = 0; number < messages; ++number) {
        message.setUid(sampledata::uid(number));
        frames += tarvex::busframe::encodeRequest(OPERATION_SEND_MESSAGE, message.toVariantMap());
    }
    return frames;
}

/// One message with a text of this size is received. The CPU time is that of the receiver's thread.
void runPush(benchmark::State& state, int bytes, MakeData makeData)
{
    const auto messages = static_cast<int>(state.max_iterations);
    std::promise<QByteArray> burst;
    FakeBus bus(FakeBus::RECEIVER_PORT);
    require(bus.isListening(), "the bus's receiver port is taken");
    bus.willAnswerHandshake(pushLater(burst.get_future().share()));
    QTimer patience;
    patience.callOnTimeout([] { require(false, "a pushed message has not come"); });
    patience.start(PATIENCE_MS);
    tarvex::TarvexMessagesReciever receiver(CLIENT);
    int received = 0;
    QObject::connect(&receiver, &tarvex::TarvexMessagesReciever::incomingMessage, &receiver,
                     [&](const tarvex::Message&) { ++received; });
    require(receiver.open(), "the handshake failed");
    serveUntil([&] { return receiver.isOpen(); });
    burst.set_value(burstOf(messages, messageOf(bytes, makeData)));
    int expected = 0;
    for ([[maybe_unused]] auto _ : state) {
        ++expected;
        serveUntil([&] { return received >= expected; });
    }
    require(bus.waitForRequests(messages), "a message was not acknowledged");
    receiver.close();
}

using Run = void (*)(benchmark::State&, int, MakeData);

void add(const char* series, int bytes, Run run, MakeData makeData)
{
    benchmark::RegisterBenchmark(growth::name(series, bytes).c_str(), run, bytes, makeData)
        ->Iterations(iterations(bytes))
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);
}

} // namespace

void growth::registerPayload()
{
    // 20 MB of settings hold more values than the library takes in one envelope.
    for (const int bytes : sizes({64, 1000, 16000, 200000, 1000000, 5000000, 10000000}, SMALL)) {
        add("load_text", bytes, runLoad, sampledata::settings);
    }
    for (const int bytes : sizes({64, 1000, 16000, 200000, 1000000, 5000000, 20000000}, SMALL)) {
        add("send_text", bytes, runSend, sampledata::settings);
        add("push_text", bytes, runPush, sampledata::settings);
    }
    for (const int bytes : sizes({1000, 16000, 200000, 1000000, 5000000, 20000000}, SMALL)) {
        add("load_noise", bytes, runLoad, sampledata::image);
        add("send_noise", bytes, runSend, sampledata::image);
        add("push_noise", bytes, runPush, sampledata::image);
    }
}
