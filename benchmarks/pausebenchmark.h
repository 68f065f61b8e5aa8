#ifndef PAUSEBENCHMARK_H
#define PAUSEBENCHMARK_H

#include <string>

/// Measures the pause of 10 ms alone. The protocol prescribes this pause for each round in which a payload is read.
/// What it takes above 10 ms is the system's share. Name: \a group/pause/10ms, in the group of the benchmark that it is
/// compared with.
void registerPauseBenchmark(const std::string& group);

#endif // PAUSEBENCHMARK_H
