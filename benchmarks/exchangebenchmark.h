#ifndef EXCHANGEBENCHMARK_H
#define EXCHANGEBENCHMARK_H

/// One exchange of the query connection with a bus on this machine, at several sizes of the reply.
/// Needs the bus's query port. Names: exchange/settings/1kB, exchange/image/5MB; the pause
/// alone is exchange/pause/10ms.
void registerExchangeBenchmarks();

#endif // EXCHANGEBENCHMARK_H
