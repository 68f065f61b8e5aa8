#include "printerqueries.h"

#include "statewrapper/statecatcher.h"

#include <QDebug>

namespace {

constexpr int STATE_INTERVAL_MS = 10000;
/// At most this many answers wait for the bus.
constexpr int MAX_WAITING = 100;

} // namespace

//! [connections]
PrinterQueries::PrinterQueries(const QString& clientName, const QVariantMap& defaults)
    : TarvexQueryWorker(STATE_INTERVAL_MS, clientName), m_defaults(defaults)
{
    connect(this, SIGNAL(workerConnected()), this, SLOT(storeDefaults()), Qt::QueuedConnection);
    connect(this, SIGNAL(workerConnected()), this, SLOT(sendWaiting()), Qt::QueuedConnection);
    // What was committed while the bus was away could not be reported.
    connect(this, SIGNAL(workerConnected()), this, SLOT(sendState()), Qt::QueuedConnection);
}

//! [connections]

//! [state]
void PrinterQueries::doSendState()
{
    if (handler->isOpen()) {
        handler->saveState(StateCatcher().toClientState());
    }
}

void PrinterQueries::doApplySettings(ClientSettings settings)
{
    m_hasSettings = true;
    Q_EMIT settingsLoaded(settings);
}

//! [state]

//! [send]
void PrinterQueries::send(TarvexCommand command)
{
    m_waiting.append(command);
    if (m_waiting.size() > MAX_WAITING) {
        qWarning().noquote() << "The bus is away for too long, dropped the answer to" << m_waiting.takeFirst().uid();
    }
    sendWaiting();
}

//! [send]

//! [defaults]
/// At a first start the bus has no settings for this service, and has refused to load them. But a bus that has failed
/// to read them refuses as well, and what is saved replaces what is there. So this asks for the list, which is empty
/// only when the bus has none. The defaults show an administrator what can be set.
void PrinterQueries::storeDefaults()
{
    QList<ClientSettings> stored;
    if (m_hasSettings || !handler->isOpen() || !handler->loadSettings(QStringList{handler->clientName()}, stored)
        || !stored.isEmpty()) {
        return;
    }
    ClientSettings settings;
    settings.setOwner(handler->clientName());
    settings.setFormattedSettings(m_defaults, true);
    handler->saveSettings(settings); // the bus then tells this service, which applies them
}

//! [defaults]

//! [waiting]
void PrinterQueries::sendWaiting()
{
    // A command can come in before this connection is up: the two are opened independently of each other.
    while (handler->isOpen() && !m_waiting.isEmpty()) {
        const bool isSent = handler->sendMessage(m_waiting.constFirst().toOutgoingMessage());
        // An answer that the bus has refused is dropped, because the bus would refuse it again. After any other failure
        // nobody knows whether the bus has it. It then stays here, and is sent again at the next connection with the
        // same uid, so that the receiver drops it if it has it already.
        if (!isSent && handler->lastOutcome().kind() != tarvex::QueryOutcome::Refused) {
            return;
        }
        m_waiting.removeFirst();
    }
}

//! [waiting]
