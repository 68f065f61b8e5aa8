#ifndef CODECBENCHMARK_H
#define CODECBENCHMARK_H

/// Encoding and decoding of a frame at several sizes: the codec, the same steps done by hand, and each stage alone.
/// Names: encode/codec/1kB, encode/by_hand/1kB, encode/json/1kB and so on.
void registerCodecBenchmarks();

#endif // CODECBENCHMARK_H
