#ifndef QUERYNOTES_P_H
#define QUERYNOTES_P_H

#include "client/queryoutcome.h"
#include "wire/bussocket_p.h"

namespace tarvex {

/// What a query handler keeps out of its header, so that more can be added and the handler's layout stays.
struct QueryNotes
{
    bussocket::ConnectionAge age;
    QueryOutcome outcome; ///< Of the last exchange.
};

} // namespace tarvex

#endif // QUERYNOTES_P_H
