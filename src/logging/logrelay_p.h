#ifndef LOGRELAY_P_H
#define LOGRELAY_P_H

#include "records/message.h"

#include <QObject>

namespace tarvex {

/// Where the log lines of other threads arrive in the thread of the bridge's receiver.
///
/// They are queued for an object of their own, so that a receiver that is being destroyed can still let them through:
/// what is queued for the receiver itself may be meant for a derived class that is gone by then.
class LogRelay : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

Q_SIGNALS:
    void relayed(Message msg);
};

} // namespace tarvex

#endif // LOGRELAY_P_H
