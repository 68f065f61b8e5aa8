#ifndef SERVICEBENCHMARK_H
#define SERVICEBENCHMARK_H

/// A whole service, the echo example, as a process of its own with a bus on this machine: the time from its start to
/// its handshakes (startup/echo), and what it takes of the system once it is connected and at rest (rest/echo). Needs
/// both of the bus's ports, and the example; without the example there is nothing to run.
void registerServiceBenchmarks();

#endif // SERVICEBENCHMARK_H
