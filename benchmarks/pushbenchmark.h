#ifndef PUSHBENCHMARK_H
#define PUSHBENCHMARK_H

/// Messages pushed by a bus on this machine in one burst, received and acknowledged one by one, at several sizes of
/// the message text. Needs the bus's receiver port. Names: push/message/1kB; the pause alone is push/pause/10ms.
void registerPushBenchmarks();

#endif // PUSHBENCHMARK_H
