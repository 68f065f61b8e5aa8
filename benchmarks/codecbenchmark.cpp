#include "codecbenchmark.h"

#include "allocations.h"
#include "require.h"
#include "sampledata.h"
#include "sizes.h"
#include "wire/busframe_p.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <benchmark/benchmark.h>
#include <ctime>
#include <map>
#include <string>
#include <vector>

namespace {

namespace busframe = tarvex::busframe;

const QString OPERATION = QStringLiteral("saveSettings");

/// One frame, and the forms that its content has on the way.
struct Sample
{
    explicit Sample(int jsonSize)
        : data(sampledata::settings(OPERATION, jsonSize))
        , envelope(sampledata::envelope(OPERATION, data))
        , json(QJsonDocument::fromVariant(envelope).toJson(QJsonDocument::Compact))
        , block(qCompress(json))
        , payload(block.toBase64())
    {
        require(json.size() == jsonSize, "the sample has not the size it is named after");
        require(busframe::encodeRequest(OPERATION, data).endsWith("\r\n" + payload), "the codec encodes differently");
        require(busframe::decodePayload(payload).envelope == QJsonDocument::fromJson(json).object().toVariantMap(),
                "the codec decodes differently");
    }

    QVariantMap data;
    QVariantMap envelope;
    QByteArray json;
    QByteArray block;
    QByteArray payload;
};

/// The sample of one size. It is made when it is first asked for, so that a run of a few benchmarks does not wait for
/// all samples.
const Sample& sampleOf(int jsonSize)
{
    static std::map<int, Sample> samples;
    return samples.try_emplace(jsonSize, jsonSize).first->second;
}

/// Measures \a step. The speed is always given for the JSON text, whichever stage is measured.
template <typename Step>
void run(benchmark::State& state, const Sample& sample, const Step& step)
{
    state.counters["allocations"] = static_cast<double>(allocations::during([&] { step(sample); }));
    state.counters["payload"] = sample.payload.size();
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(step(sample));
    }
    state.SetBytesProcessed(state.iterations() * sample.json.size());
}

template <typename Step>
void add(const char* name, const Size& size, Step step)
{
    benchmark::RegisterBenchmark((name + std::string("/") + size.name).c_str(),
                                 [size, step](benchmark::State& state) { run(state, sampleOf(size.bytes), step); });
}

/// CPU time of this thread that \a step takes, in ns.
template <typename Step>
double cpuTime(const Step& step, const Sample& sample)
{
    // Short steps are measured by the dozen, because reading the clock is a system call.
    const int times = std::max(1, 16000 / sample.json.size());
    timespec begin{};
    timespec end{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &begin);
    for (int i = 0; i < times; ++i) {
        benchmark::DoNotOptimize(step(sample));
    }
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &end);
    return 1e9 * static_cast<double>(end.tv_sec - begin.tv_sec) + static_cast<double>(end.tv_nsec - begin.tv_nsec);
}

/// Measures \a codec and \a byHand in turns. The median of the ratios stays the same on a busy machine. Two separate
/// measurements would differ there by more than the two steps do.
template <typename Codec, typename ByHand>
void addRatio(const char* name, const Size& size, Codec codec, ByHand byHand)
{
    const auto body = [size, codec, byHand](benchmark::State& state) {
        const Sample& sample = sampleOf(size.bytes);
        std::vector<double> ratios;
        for ([[maybe_unused]] auto _ : state) {
            // The second one finds the heap as the first has left it, so they take turns in being first.
            const double before = ratios.size() % 2 == 0 ? cpuTime(codec, sample) : 0;
            const double hand = cpuTime(byHand, sample);
            ratios.push_back((before > 0 ? before : cpuTime(codec, sample)) / hand);
        }
        const auto middle = ratios.begin() + static_cast<std::ptrdiff_t>(ratios.size() / 2);
        std::nth_element(ratios.begin(), middle, ratios.end());
        state.counters["ratio"] = *middle;
    };
    benchmark::RegisterBenchmark((name + std::string("/") + size.name).c_str(), body);
}

/// The codec of the connection that the benchmark stands for.
busframe::Codec& codec()
{
    static busframe::Codec codec;
    return codec;
}

QByteArray encodeByCodec(const Sample& sample)
{
    return codec().encodeRequest(OPERATION, sample.data);
}

QByteArray encodeByHand(const Sample& sample)
{
    const QVariantMap envelope = sampledata::envelope(OPERATION, sample.data);
    return qCompress(QJsonDocument::fromVariant(envelope).toJson(QJsonDocument::Compact)).toBase64();
}

busframe::Decoded decodeByCodec(const Sample& sample)
{
    return codec().decodePayload(sample.payload);
}

QVariantMap decodeByHand(const Sample& sample)
{
    const QByteArray json = qUncompress(QByteArray::fromBase64(sample.payload));
    return QJsonDocument::fromJson(json).object().toVariantMap();
}

void registerEncoding(const Size& size)
{
    add("encode/codec", size, encodeByCodec);
    add("encode/by_hand", size, encodeByHand);
    addRatio("encode/ratio", size, encodeByCodec, encodeByHand);
    add("encode/json", size,
        [](const Sample& s) { return QJsonDocument::fromVariant(s.envelope).toJson(QJsonDocument::Compact); });
    add("encode/zlib", size, [](const Sample& s) { return qCompress(s.json); });
    add("encode/base64", size, [](const Sample& s) { return s.block.toBase64(); });
}

void registerDecoding(const Size& size)
{
    add("decode/codec", size, decodeByCodec);
    add("decode/by_hand", size, decodeByHand);
    addRatio("decode/ratio", size, decodeByCodec, decodeByHand);
    add("decode/base64", size, [](const Sample& s) { return QByteArray::fromBase64(s.payload); });
    add("decode/zlib", size, [](const Sample& s) { return qUncompress(s.block); });
    add("decode/json", size, [](const Sample& s) { return QJsonDocument::fromJson(s.json).object().toVariantMap(); });
}

} // namespace

void registerCodecBenchmarks()
{
    for (const Size& size : SIZES) {
        registerEncoding(size);
        registerDecoding(size);
    }
}
