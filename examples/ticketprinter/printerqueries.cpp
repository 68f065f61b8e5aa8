#include "printerqueries.h"

#include "client/tarvexqueryhandler.h"
#include "statewrapper/statecatcher.h"

#include <utility>

namespace {

constexpr int STATE_INTERVAL_MS = 10000;
/// Whoever has waited that long for an answer no longer wants it.
constexpr int MAX_WAITING = 100;

} // namespace

PrinterQueries::PrinterQueries(const QString& clientName) : TarvexQueryWorker(STATE_INTERVAL_MS, clientName)
{
    connect(this, SIGNAL(workerConnected()), this, SLOT(sendWaiting()), Qt::QueuedConnection);
    // What was committed while the bus was away could not be reported.
    connect(this, SIGNAL(workerConnected()), this, SLOT(sendState()), Qt::QueuedConnection);
}

void PrinterQueries::doSendState()
{
    if (handler->isOpen()) {
        handler->saveState(StateCatcher().toClientState());
    }
}

void PrinterQueries::send(TarvexCommand command)
{
    if (handler->isOpen()) {
        handler->sendMessage(command.toOutgoingMessage());
        return;
    }
    // A command can come in before this connection is up: the two are opened independently of each other.
    m_waiting.append(command);
    while (m_waiting.size() > MAX_WAITING) {
        m_waiting.removeFirst();
    }
}

void PrinterQueries::sendWaiting()
{
    const QList<TarvexCommand> waiting = std::exchange(m_waiting, {});
    for (const TarvexCommand& command : waiting) {
        send(command);
    }
}
