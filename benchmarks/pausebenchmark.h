#ifndef PAUSEBENCHMARK_H
#define PAUSEBENCHMARK_H

#include <string>

/// The pause of 10 ms that the protocol prescribes for each round in which a payload is read, alone: what it takes
/// above 10 ms is the system's share. Name: \a group/pause/10ms, in the group of what it is compared with.
void registerPauseBenchmark(const std::string& group);

#endif // PAUSEBENCHMARK_H
