#ifndef LOGRELAY_P_H
#define LOGRELAY_P_H

#include "records/message.h"

#include <QObject>

namespace tarvex {

/// Takes the log lines of other threads, in the thread of the bridge's receiver.
///
/// The lines are queued for an object of their own, so that a receiver that is being destroyed can still process them.
/// Events that are queued for the receiver itself cannot be processed then, because they may need a derived class that
/// is destroyed already.
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
