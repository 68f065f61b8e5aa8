#include "caller.h"

#include <QTimer>
#include <QUuid>

namespace {

constexpr int STATE_INTERVAL_MS = 10000;
const QLatin1String CMD_ERROR("commandError");

} // namespace

//! [constructor]
Caller::Caller(const QString& clientName, int replyTimeoutMs)
    : TarvexQueryWorker(STATE_INTERVAL_MS, clientName)
    , m_prefix(clientName + QLatin1Char(':'))
    , m_replyTimeoutMs(replyTimeoutMs)
{
    connect(this, SIGNAL(workerConnected()), this, SLOT(sendUnsent()), Qt::QueuedConnection);
}

//! [constructor]

//! [call]
QString Caller::call(TarvexCommand command)
{
    QString uid = m_prefix + QUuid::createUuid().toString(QUuid::WithoutBraces);
    command.setUid(uid);
    m_calls.insert(uid, command);
    QTimer::singleShot(m_replyTimeoutMs, this, [this, uid] { fail(uid, QStringLiteral("There is no answer")); });
    m_unsent.append(uid);
    sendUnsent();
    return uid;
}

//! [call]

//! [take]
void Caller::take(Message message)
{
    TarvexCommand command;
    if (!TarvexCommand::incomingMessageToCmd(message, command)) {
        return;
    }
    if (!command.uid().startsWith(m_prefix)) {
        if (command.name() != CMD_ERROR) {
            Q_EMIT commandReceived(command);
        }
        return;
    }
    // An answer. If it comes too late, or from somebody else, it ends here, because it is no command either.
    const auto call = m_calls.constFind(command.uid());
    if (call == m_calls.constEnd() || call->agent() != command.agent()) {
        return;
    }
    if (command.name() == CMD_ERROR) {
        fail(command.uid(), command.data().value(QStringLiteral("errorText")).toString());
    } else {
        Q_EMIT succeeded(m_calls.take(command.uid()), command);
    }
}

//! [take]

//! [unsent]
void Caller::sendUnsent()
{
    while (handler->isOpen() && !m_unsent.isEmpty()) {
        const QString uid = m_unsent.constFirst();
        const bool isWanted = m_calls.contains(uid);
        const bool isTaken = isWanted && handler->sendMessage(m_calls.value(uid).toOutgoingMessage());
        if (isWanted && !isTaken && handler->lastOutcome().kind() != tarvex::QueryOutcome::Refused) {
            return; // Perhaps it was lost on the way. The next connection sends it again, with the same uid.
        }
        m_unsent.removeFirst();
        if (!isTaken) {
            fail(uid, QStringLiteral("The bus has refused it"));
        }
    }
}

//! [unsent]

//! [fail]
/// Does nothing for a call that is over.
void Caller::fail(const QString& uid, const QString& why)
{
    if (m_calls.contains(uid)) {
        Q_EMIT failed(m_calls.take(uid), why);
    }
}

//! [fail]
