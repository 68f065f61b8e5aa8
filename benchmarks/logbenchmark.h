#ifndef LOGBENCHMARK_H
#define LOGBENCHMARK_H

/// One log line of a service, from qWarning() until its message for the log service stands in the queue of another
/// thread. Names: log/no_output (no bridge), log/message (its making alone), log/filter_off, log/filter_on/new_text,
/// log/filter_on/repeat.
void registerLogBenchmarks();

#endif // LOGBENCHMARK_H
