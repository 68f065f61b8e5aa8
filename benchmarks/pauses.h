#ifndef PAUSES_H
#define PAUSES_H

/// Counts how often a thread is put to sleep, as the connections do between two looks at a socket.
namespace pauses {

/// Sleeps of the calling thread since it started.
long count();

} // namespace pauses

#endif // PAUSES_H
