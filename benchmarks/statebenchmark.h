#ifndef STATEBENCHMARK_H
#define STATEBENCHMARK_H

/// Measures the state of a service with four values: setting one value, directly and by the catcher, all values as
/// JSON, and a commit that nobody receives. Names: state/set, state/catch, state/json, state/commit.
void registerStateBenchmarks();

#endif // STATEBENCHMARK_H
