#ifndef COMMANDBENCHMARK_H
#define COMMANDBENCHMARK_H

/// One command, from exec() to the end of what carries it out. Names: command/handler/0 and command/handler/50 (a
/// method, behind so many executors that decline), command/executor/50 (the last of so many executors).
void registerCommandBenchmarks();

#endif // COMMANDBENCHMARK_H
