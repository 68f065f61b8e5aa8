#ifndef PASSEDSOCKETS_H
#define PASSEDSOCKETS_H

#include "busserver.h"

namespace tarvex::devbus {

/// Takes over the listening sockets that systemd has made for the bus and has passed to this process (socket
/// activation), into \a options. To be called once, before the process has further threads.
/// \return NoError when systemd has passed both sockets, or none. Otherwise one line that says what is wrong with them;
/// the bus must not start then, because it would listen elsewhere than systemd.
TarvexError takePassedSockets(BusServer::Options& options);

} // namespace tarvex::devbus

#endif // PASSEDSOCKETS_H
