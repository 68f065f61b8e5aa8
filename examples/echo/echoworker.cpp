//! [beginning]
#include "echoworker.h"

#include "cmdlayer/tarvexcommand.h"

#include <QDebug>

#include <utility>

namespace {

/// Each service chooses the numbers of its states. This one has one state only, "running".
constexpr auto STATE_RUNNING = static_cast<tarvex::ClientState::EStateType>(1);

} // namespace

//! [beginning]

//! [connections]
EchoWorker::EchoWorker(int stateInterval, const QString& clientName) : TarvexQueryWorker(stateInterval, clientName)
{
    connect(this, SIGNAL(workerConnected()), this, SLOT(storeDefaults()), Qt::QueuedConnection);
    connect(this, SIGNAL(workerConnected()), this, SLOT(answerWaiting()), Qt::QueuedConnection);
}

//! [connections]

//! [report]
void EchoWorker::doSendState()
{
    tarvex::ClientState state;
    state.setStateType(STATE_RUNNING);
    state.setState(QStringLiteral(R"({"answered":%1})").arg(m_answered));
    handler->saveState(state);
}

//! [report]

//! [settings]
void EchoWorker::doApplySettings(tarvex::ClientSettings settings)
{
    const QVariantMap echo = settings.formattedSettings().value(QStringLiteral("echo")).toMap();
    m_prefix = echo.value(QStringLiteral("prefix")).toString();
    m_hasSettings = true;
    qInfo().noquote() << "prefix is now" << m_prefix;
}

//! [settings]

//! [defaults]
/// At a first start the bus has no settings for this service, and has refused to load them. But a bus that has failed
/// to read them refuses as well, and what is saved replaces what is there. So this asks for the list, which is empty
/// only when the bus has none.
void EchoWorker::storeDefaults()
{
    QList<tarvex::ClientSettings> stored;
    if (m_hasSettings || !handler->isOpen() || !handler->loadSettings(QStringList{handler->clientName()}, stored)
        || !stored.isEmpty()) {
        return;
    }
    tarvex::ClientSettings settings;
    settings.setOwner(handler->clientName());
    settings.setFormattedSettings({{QStringLiteral("echo"), QVariantMap{{QStringLiteral("prefix"), m_prefix}}}}, true);
    handler->saveSettings(settings); // the bus then tells this service, which applies them
}

//! [defaults]

//! [answer]
void EchoWorker::answer(Message message)
{
    TarvexCommand command;
    if (!TarvexCommand::incomingMessageToCmd(message, command) || command.name() != QLatin1String("echo")) {
        return;
    }
    if (!handler->isOpen()) {
        m_waiting.append(message);
        return;
    }
    // The answer goes to the sender and carries the command's uid, by which the sender knows what is answered.
    TarvexCommand answer = command;
    answer.setName(QStringLiteral("echoed"));
    answer.setData({{QStringLiteral("text"), m_prefix + command.data().value(QStringLiteral("text")).toString()}});
    if (handler->sendMessage(answer.toOutgoingMessage())) {
        ++m_answered;
    }
    sendState();
}

//! [answer]

//! [waiting]
void EchoWorker::answerWaiting()
{
    const QList<Message> waiting = std::exchange(m_waiting, {});
    for (const Message& message : waiting) {
        answer(message);
    }
}

//! [waiting]
