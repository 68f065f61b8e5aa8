#include "printerqueries.h"

#include "statewrapper/statecatcher.h"

#include <QDebug>

namespace {

constexpr int STATE_INTERVAL_MS = 10000;
/// Answers that wait for the bus.
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
/// At a first start the bus has no settings for this service: it has refused to load them. But it may have failed to
/// read them, and what is saved replaces what is there. The list tells the one from the other: without settings it is
/// empty. The defaults show an administrator what can be set.
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
    handler->saveSettings(settings); // the bus tells their owner, and so they are applied
}

//! [defaults]

//! [waiting]
void PrinterQueries::sendWaiting()
{
    // A command can come in before this connection is up: the two are opened independently of each other.
    while (handler->isOpen() && !m_waiting.isEmpty()) {
        const bool isSent = handler->sendMessage(m_waiting.constFirst().toOutgoingMessage());
        // The bus has refused the answer: it is dropped, because the bus would refuse it again. The bus has not
        // answered: nobody knows whether it has the answer, so the next connection sends it again. The uid is the same,
        // and the receiver drops what it has already.
        if (!isSent && handler->lastOutcome().kind() != tarvex::QueryOutcome::Refused) {
            return;
        }
        m_waiting.removeFirst();
    }
}

//! [waiting]
