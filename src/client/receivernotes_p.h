#ifndef RECEIVERNOTES_P_H
#define RECEIVERNOTES_P_H

#include "wire/busframe_p.h"
#include "wire/bussocket_p.h"

namespace tarvex {

/// Data of a message receiver that its header does not show. More can be added here, and the layout of the receiver
/// stays.
struct ReceiverNotes
{
    bussocket::ConnectionAge age;
    busframe::Codec codec;
};

} // namespace tarvex

#endif // RECEIVERNOTES_P_H
