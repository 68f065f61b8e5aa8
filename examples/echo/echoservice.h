#ifndef ECHOSERVICE_H
#define ECHOSERVICE_H

#include "client/tarvexcontroller.h"
#include "client/tarvexmsgworker.h"
#include "echoworker.h"

/// The service itself: joins the bus with the two workers and keeps them going.
class EchoService : public tarvex::TarvexController
{
public:
    static constexpr int STATE_INTERVAL_MS = 10000;
    static constexpr int LOG_REPEAT_INTERVAL_MS = 10000;

    explicit EchoService(const QString& clientName)
        : TarvexController(LOG_REPEAT_INTERVAL_MS, clientName, nullptr), m_clientName(clientName)
    {
    }

    void doStart() override
    {
        auto* const messages = new tarvex::TarvexMsgWorker(m_clientName);
        auto* const queries = new EchoWorker(STATE_INTERVAL_MS, m_clientName);
        // Queued, because each worker lives in a thread of its own, and the query worker's thread sends the answer.
        connect(messages, SIGNAL(unprocessedMessage(Message)), queries, SLOT(answer(Message)), Qt::QueuedConnection);
        initWorkers(messages, queries);
    }

private:
    const QString m_clientName;
};

#endif // ECHOSERVICE_H
