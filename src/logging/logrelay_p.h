#ifndef LOGRELAY_P_H
#define LOGRELAY_P_H

#include "records/message.h"

#include <QObject>

namespace tarvex {

/// Brings log lines to the bridge's receiver, in the receiver's thread.
///
/// The lines are queued for an object of their own, so that a receiver that is being destroyed can still process them.
/// Events that are queued for the receiver itself cannot be processed then, because they may need a derived class that
/// is destroyed already.
class LogRelay : public QObject
{
    Q_OBJECT
public:
    LogRelay() { connect(this, SIGNAL(queued(Message)), this, SIGNAL(relayed(Message)), Qt::QueuedConnection); }

Q_SIGNALS:
    /// Connected to the receiver. It is emitted in the receiver's thread only.
    void relayed(Message msg);

    /// Leads to relayed() by the event queue. Other threads emit it. They make sure that the relay is not destroyed
    /// meanwhile.
    void queued(Message msg);
};

} // namespace tarvex

#endif // LOGRELAY_P_H
