#ifndef CONNECTIONNOTES_P_H
#define CONNECTIONNOTES_P_H

#include "client/connectionwatch_p.h"
#include "wire/busframe_p.h"
#include "wire/bussocket_p.h"

#include <QPointer>

namespace tarvex {

/// Data of a connection that its header does not show. More can be added here, and the layout of the connection stays.
struct ConnectionNotes
{
    bussocket::ConnectionAge age;
    busframe::Codec codec;
    QPointer<ConnectionWatch> watch; ///< The worker's. Null if no worker has the connection.

    /// To be called when only the worker's look can mend what has happened, because no signal reports it.
    void wakeWatch() const
    {
        if (watch) {
            watch->wake();
        }
    }
};

} // namespace tarvex

#endif // CONNECTIONNOTES_P_H
