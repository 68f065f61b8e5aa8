#ifndef SERVICEBENCHMARK_H
#define SERVICEBENCHMARK_H

/// Measures a whole service: the echo example as a process of its own, with a bus on this machine. startup/echo is the
/// time from the first moment of its process, before it is loaded, to its handshakes. rest/echo is what it takes of
/// the system when it is connected and at rest, and how often its threads wake up in 7 s between two reports of its
/// state. Needs both of the bus's ports. Needs the example too; without it, nothing is run.
void registerServiceBenchmarks();

#endif // SERVICEBENCHMARK_H
