#ifndef GROWTH_H
#define GROWTH_H

#include <QString>
#include <QVariantMap>

#include <initializer_list>
#include <string>
#include <vector>

/// Registers how cost grows with size, as "growth/<series>/<size>". scripts/plot draws these figures.
///
/// The large sizes take minutes. They are registered only when the environment variable TARVEX_BENCH_LARGE is set.
void registerGrowthBenchmarks();

namespace growth {

std::string name(const char* series, int size);
/// The \a sizes up to \a small, or all of them when the large ones are wanted.
std::vector<int> sizes(std::initializer_list<int> sizes, int small);

/// From sampledata: settings, which compress well, or random bytes as base64, which do not.
using MakeData = QVariantMap (*)(const QString& operation, int jsonSize);
/// The text of a command of exactly \a bytes bytes of JSON. Each is made once, because a large one takes seconds.
QString commandText(int bytes, MakeData makeData);

// The parts.

/// Over the bytes of an envelope's JSON text.
void registerPayload();
/// Over the entries of a settings record, and over the executors of a worker.
void registerRecords();
/// Over what the development bus has: connected clients, queued messages, bytes of a message. Only where the bus is
/// built.
void registerBus();

} // namespace growth

#endif // GROWTH_H
