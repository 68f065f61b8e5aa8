#include "exchangebenchmark.h"

#include "allocations.h"
#include "client/tarvexqueryhandler.h"
#include "fakebus.h"
#include "pausebenchmark.h"
#include "pauses.h"
#include "require.h"
#include "sampledata.h"
#include "sizes.h"
#include "wire/busframe_p.h"

#include <benchmark/benchmark.h>
#include <string>

namespace {

const QString OPERATION = QStringLiteral("loadSettings");

/// Answers every request of a connection at once with the same frame.
FakeBus::Action answerAll(const QByteArray& reply)
{
    return [reply](FakeBus::Peer& peer, const FakeBus::Request&) {
        FakeBus::Request next;
        while (peer.send(reply) && peer.readRequest(next)) { }
    };
}

void loadSettings(tarvex::TarvexQueryHandler& handler)
{
    tarvex::ClientSettings settings;
    require(handler.loadSettings(QString(), settings), "an exchange failed");
    benchmark::DoNotOptimize(settings);
}

/// The wall time is that of an exchange; the CPU time is that of the client's thread alone.
void runExchange(benchmark::State& state, const QVariantMap& data)
{
    const QByteArray reply = tarvex::busframe::encodeReply(OPERATION, 0, QString(), data);
    FakeBus bus;
    require(bus.isListening(), "the bus's query port is taken");
    bus.willDo(answerAll(reply));
    tarvex::TarvexQueryHandler handler(QStringLiteral("ticket_printer"));
    require(handler.open(), "the handshake failed");
    loadSettings(handler); // not measured, because the sockets' buffers are still small in the first exchange
    state.counters["allocations"] = static_cast<double>(allocations::during([&] { loadSettings(handler); }));
    state.counters["frame"] = reply.size();
    const long pausesBefore = pauses::count();
    for ([[maybe_unused]] auto _ : state) {
        loadSettings(handler);
    }
    state.counters["rounds"] =
        benchmark::Counter(static_cast<double>(pauses::count() - pausesBefore), benchmark::Counter::kAvgIterations);
    handler.close();
}

void add(const std::string& name, const Size& size, QVariantMap (*data)(const QString&, int))
{
    benchmark::RegisterBenchmark(
        (name + "/" + size.name).c_str(),
        [size, data](benchmark::State& state) { runExchange(state, data(OPERATION, size.bytes)); })
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);
}

} // namespace

void registerExchangeBenchmarks()
{
    registerPauseBenchmark("exchange");
    for (const Size& size : SIZES) {
        add("exchange/settings", size, sampledata::settings);
    }
    add("exchange/image", SIZES[4], sampledata::image);
}
