#ifndef RECORDBENCHMARK_H
#define RECORDBENCHMARK_H

/// The copy of each kind of record, alone and with the end of the copy: what a queued signal or a list pays for it.
/// Names: record/copy/message, record/copy_and_end/message and so on, with settings, state, error and command.
void registerRecordBenchmarks();

#endif // RECORDBENCHMARK_H
