#include "statebenchmark.h"

#include "allocations.h"
#include "require.h"
#include "statewrapper/statecatcher.h"

#include <QDateTime>
#include <QSharedPointer>

#include <benchmark/benchmark.h>

/// The values that a ticket printer would report.
class PrinterState : public AbstractStateWrapper
{
    Q_OBJECT
    Q_PROPERTY(int paperLeft MEMBER m_paperLeft)
    Q_PROPERTY(double temperature MEMBER m_temperature)
    Q_PROPERTY(QString status MEMBER m_status)
    Q_PROPERTY(QDateTime lastTicket MEMBER m_lastTicket)
public:
    tarvex::ClientState toClientState() const override { return {}; }

private:
    int m_paperLeft = 120;
    double m_temperature = 36.5;
    QString m_status = QStringLiteral("ready");
    QDateTime m_lastTicket{QDate(2024, 5, 1), QTime(1, 2, 3, 456)};
};

namespace {

const QString PAPER_LEFT = QStringLiteral("paperLeft");

template <typename Step>
void run(benchmark::State& state, const Step& step)
{
    const auto wrapper = QSharedPointer<PrinterState>::create();
    AbstractStateWrapper::init(wrapper);
    int round = 0;
    state.counters["allocations"] = static_cast<double>(allocations::during([&] { step(*wrapper, ++round); }));
    for ([[maybe_unused]] auto _ : state) {
        step(*wrapper, ++round);
    }
    require(wrapper->toMap().size() == 4, "the state has not the values that it is measured with");
    AbstractStateWrapper::init({});
}

void runSet(benchmark::State& state)
{
    run(state, [](PrinterState& wrapper, int round) { wrapper.setValue(PAPER_LEFT, round); });
}

void runCatch(benchmark::State& state)
{
    run(state, [](PrinterState& wrapper, int round) {
        Q_UNUSED(wrapper)
        StateCatcher() << catchvalue(PAPER_LEFT, round);
    });
}

void runJson(benchmark::State& state)
{
    run(state, [](PrinterState& wrapper, int round) {
        Q_UNUSED(round)
        benchmark::DoNotOptimize(wrapper.toByteArray());
    });
}

void runCommit(benchmark::State& state)
{
    run(state, [](PrinterState& wrapper, int round) {
        Q_UNUSED(round)
        wrapper.commit();
    });
}

} // namespace

void registerStateBenchmarks()
{
    benchmark::RegisterBenchmark("state/set", runSet);
    benchmark::RegisterBenchmark("state/catch", runCatch);
    benchmark::RegisterBenchmark("state/json", runJson);
    benchmark::RegisterBenchmark("state/commit", runCommit);
}

#include "statebenchmark.moc"
