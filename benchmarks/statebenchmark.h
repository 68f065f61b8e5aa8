#ifndef STATEBENCHMARK_H
#define STATEBENCHMARK_H

/// The state of a service with four values: one value set, directly and by the catcher, all of them as JSON, and a
/// commit that is queued to nobody. Names: state/set, state/catch, state/json, state/commit.
void registerStateBenchmarks();

#endif // STATEBENCHMARK_H
