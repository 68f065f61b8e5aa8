#include "sample.h"

#include "exchange.h"
#include "output.h"
#include "programwords.h"

#include <algorithm>
#include <cmath>

namespace tarvexctl {

namespace {

constexpr int MAX_BINS = 8;
/// Bins that are closer together than this would show the same numbers.
constexpr double MIN_BIN_RATIO = 1.02;
constexpr int BAR_LENGTH = 40;

/// How many times are from one bound up to the next.
struct Bin
{
    double from;
    double to;
    int count;
};

/// To a nanosecond, which is what was measured.
double rounded(double milliseconds)
{
    constexpr double NS_PER_MS = 1e6;
    return std::round(milliseconds * NS_PER_MS) / NS_PER_MS;
}

/// The smallest time that at least this part of all times do not exceed. The times are in order.
double quantile(const std::vector<double>& times, double part)
{
    const auto rank = static_cast<std::size_t>(std::ceil(part * static_cast<double>(times.size())));
    return times.at(std::max<std::size_t>(rank, 1) - 1);
}

/// Each bin is wider than the one before it by the same factor, because a few exchanges often take many times as long
/// as most of them.
std::vector<Bin> histogram(const std::vector<double>& times)
{
    const double smallest = std::max(times.front(), 1e-6);
    const double span = times.back() / smallest;
    const int bins = std::clamp(static_cast<int>(std::log(span) / std::log(MIN_BIN_RATIO)), 1, MAX_BINS);
    const double ratio = std::pow(span, 1.0 / bins);
    std::vector<Bin> histogram;
    histogram.reserve(static_cast<std::size_t>(bins));
    for (int i = 0; i < bins; ++i) {
        histogram.push_back({smallest * std::pow(ratio, i), smallest * std::pow(ratio, i + 1), 0});
    }
    histogram.back().to = times.back();
    for (const double time : times) {
        const auto bin = std::find_if(histogram.begin(), histogram.end() - 1,
                                      [time](const Bin& candidate) { return time < candidate.to; });
        ++bin->count;
    }
    return histogram;
}

QString barText(int count, int most)
{
    // A bin that is not empty is visible.
    const int length = (count * BAR_LENGTH + most - 1) / most;
    return QString(length, QLatin1Char('#'));
}

} // namespace

std::vector<double> Sample::sorted() const
{
    std::vector<double> times = m_times;
    std::sort(times.begin(), times.end());
    return times;
}

QVariantMap sampleObject(const Sample& sample)
{
    const std::vector<double> times = sample.sorted();
    QVariantList bins;
    for (const Bin& bin : histogram(times)) {
        bins.append(QVariantMap{{QStringLiteral("fromMs"), rounded(bin.from)},
                                {QStringLiteral("toMs"), rounded(bin.to)},
                                {QStringLiteral("count"), bin.count}});
    }
    return {{QStringLiteral("count"), sample.size()},
            {QStringLiteral("minMs"), times.front()},
            {QStringLiteral("medianMs"), quantile(times, 0.5)},
            {QStringLiteral("p99Ms"), quantile(times, 0.99)},
            {QStringLiteral("maxMs"), times.back()},
            {QStringLiteral("histogram"), bins}};
}

QString sampleText(const Sample& sample)
{
    const std::vector<double> times = sample.sorted();
    const std::vector<Bin> bins = histogram(times);
    const int most =
        std::max_element(bins.begin(), bins.end(), [](const Bin& a, const Bin& b) { return a.count < b.count; })->count;
    QList<QStringList> rows;
    for (const Bin& bin : bins) {
        rows.append({Words::tr("%1 to %2").arg(millisecondsText(bin.from), millisecondsText(bin.to)),
                     QString::number(bin.count), barText(bin.count, most)});
    }
    return fieldLines({{Words::tr("Exchanges"), QString::number(sample.size())},
                       {Words::tr("Min"), millisecondsText(times.front())},
                       {Words::tr("Median"), millisecondsText(quantile(times, 0.5))},
                       {QStringLiteral("p99"), millisecondsText(quantile(times, 0.99))},
                       {Words::tr("Max"), millisecondsText(times.back())}})
        + QLatin1Char('\n') + tableLines(rows);
}

} // namespace tarvexctl
