#include "recordbenchmark.h"

#include "allocations.h"
#include "cmdlayer/tarvexcommand.h"
#include "records/clientsettings.h"
#include "records/clientstate.h"
#include "records/message.h"
#include "records/tarvexerror.h"
#include "sampledata.h"

#include <benchmark/benchmark.h>
#include <string>
#include <vector>

namespace {

constexpr int TEXT_SIZE = 1000;
constexpr int BATCH = 1000;

/// A string on the heap, as the strings of a record that has been received are. The copy of a literal costs less.
QString onHeap(const char* text)
{
    return QString::fromLatin1(text);
}

/// The copies end while the clock stands.
template <typename Record>
void runCopy(benchmark::State& state, const Record& record)
{
    std::vector<Record> copies;
    copies.reserve(BATCH);
    while (state.KeepRunningBatch(BATCH)) {
        for (int number = 0; number < BATCH; ++number) {
            copies.push_back(record);
        }
        benchmark::DoNotOptimize(copies.data());
        state.PauseTiming();
        copies.clear();
        state.ResumeTiming();
    }
}

template <typename Record>
void runCopyAndEnd(benchmark::State& state, const Record& record)
{
    for ([[maybe_unused]] auto _ : state) {
        const Record copy(record);
        benchmark::DoNotOptimize(&copy);
    }
}

template <typename Record>
double allocationsOf(const Record& record)
{
    return static_cast<double>(allocations::during([&] {
        const Record copy(record);
        benchmark::DoNotOptimize(&copy);
    }));
}

tarvex::Message message()
{
    tarvex::Message message;
    message.setSender(onHeap("cash_acceptor"));
    message.setReciever(onHeap("ticket_printer"));
    message.setMessage(sampledata::commandText(TEXT_SIZE));
    message.setUid(onHeap("000000000000000000000001"));
    return message;
}

tarvex::ClientSettings settings()
{
    return tarvex::ClientSettings::fromVariantMap(sampledata::settings(QStringLiteral("saveSettings"), TEXT_SIZE));
}

tarvex::ClientState clientState()
{
    tarvex::ClientState state;
    state.setOwner(onHeap("ticket_printer"));
    state.setDt(QDateTime::currentDateTime());
    state.setStateType(static_cast<tarvex::ClientState::EStateType>(1));
    state.setState(sampledata::commandText(TEXT_SIZE));
    state.setDescription(onHeap("in service"));
    return state;
}

tarvex::TarvexError error()
{
    return tarvex::TarvexError(tarvex::TarvexError::StorageAccessError, onHeap("the disk is full"));
}

TarvexCommand command()
{
    TarvexCommand command;
    command.setName(onHeap("printTicket"));
    command.setAgent(onHeap("ticket_printer"));
    command.setUid(onHeap("000000000000000000000001"));
    command.setData(sampledata::settings(QStringLiteral("printTicket"), TEXT_SIZE));
    return command;
}

template <typename Record>
void add(const std::string& name, Record (*make)())
{
    benchmark::RegisterBenchmark(("record/copy/" + name).c_str(), [make](benchmark::State& state) {
        const Record record = make();
        state.counters["allocations"] = allocationsOf(record);
        runCopy(state, record);
    });
    benchmark::RegisterBenchmark(("record/copy_and_end/" + name).c_str(), [make](benchmark::State& state) {
        const Record record = make();
        state.counters["allocations"] = allocationsOf(record);
        runCopyAndEnd(state, record);
    });
}

} // namespace

void registerRecordBenchmarks()
{
    add("message", message);
    add("settings", settings);
    add("state", clientState);
    add("error", error);
    add("command", command);
}
