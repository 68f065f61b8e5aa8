#ifndef QUERYNOTES_P_H
#define QUERYNOTES_P_H

#include "client/connectionnotes_p.h"
#include "client/queryoutcome.h"

namespace tarvex {

/// The query handler's notes.
struct QueryNotes : ConnectionNotes
{
    QueryOutcome outcome; ///< Of the last exchange.
};

} // namespace tarvex

#endif // QUERYNOTES_P_H
