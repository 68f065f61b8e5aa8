#ifndef QUERYNOTES_P_H
#define QUERYNOTES_P_H

#include "client/queryoutcome.h"
#include "wire/busframe_p.h"
#include "wire/bussocket_p.h"

namespace tarvex {

/// Data of a query handler that its header does not show. More can be added here, and the layout of the handler stays.
struct QueryNotes
{
    bussocket::ConnectionAge age;
    busframe::Codec codec;
    QueryOutcome outcome; ///< Of the last exchange.
};

} // namespace tarvex

#endif // QUERYNOTES_P_H
