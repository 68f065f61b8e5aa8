#ifndef COMMANDBENCHMARK_H
#define COMMANDBENCHMARK_H

/// One command, from exec() until it is carried out. Names: command/handler/0 and command/handler/50 (a method, after
/// this many executors have declined), command/executor/50 (the last of this many executors).
void registerCommandBenchmarks();

#endif // COMMANDBENCHMARK_H
