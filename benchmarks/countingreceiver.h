#ifndef COUNTINGRECEIVER_H
#define COUNTINGRECEIVER_H

#include "records/message.h"

#include <QObject>

#include <atomic>

using tarvex::Message;

/// Has the place that the query worker has in a service. Takes the log's messages from its thread's queue, and counts
/// them.
class CountingReceiver : public QObject
{
    Q_OBJECT
public:
    /// Messages taken so far; may be called from any thread.
    long count() const { return m_count; }

public Q_SLOTS:

    void take(Message message)
    {
        Q_UNUSED(message)
        ++m_count;
    }

private:
    std::atomic<long> m_count{0};
};

#endif // COUNTINGRECEIVER_H
