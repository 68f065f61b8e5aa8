#include "mockservice.h"

#include "client/tarvexmessagesreciever.h"
#include "mockpattern.h"
#include "records/clientsettings.h"
#include "words.h"

#include <QStringList>
#include <QUuid>

namespace tarvex::mock {

using programs::Words;

namespace {

constexpr int RETRY_INTERVAL_MS = 1000;
constexpr int LOOK_INTERVAL_MS = 10;
constexpr int HANDSHAKE_TIMEOUT_MS = 30000;
/// At most this many messages wait for the bus.
constexpr int MAX_WAITING = 1000;

const QLatin1String COMMAND_ERROR("commandError");

/// A service that is built on the library handles them before they reach its commands.
bool isOfLibrary(const QString& command)
{
    return command == QLatin1String("updateSettings") || command == QLatin1String("stateChanged");
}

Answer unknownCommand(const QString& name)
{
    Answer answer;
    answer.kind = Answer::Error;
    answer.errorText = QStringLiteral("No such method (%1)").arg(name); // the words of the library's commands worker
    return answer;
}

} // namespace

MockService::MockService(const ServiceDescription& description, std::shared_ptr<MockEvents> events)
    : m_description(description)
    , m_events(std::move(events))
    , m_uidPrefix(description.name + QLatin1Char(':'))
    , m_query(new TarvexQueryHandler(description.name, this))
    , m_receiver(new TarvexMessagesReciever(description.name, this))
    , m_answers(description.commands)
{
    m_retryTimer.setInterval(RETRY_INTERVAL_MS);
    m_retryTimer.setSingleShot(true);
    m_lookTimer.setInterval(LOOK_INTERVAL_MS);
    connect(&m_retryTimer, SIGNAL(timeout()), this, SLOT(restart()));
    connect(&m_lookTimer, &QTimer::timeout, this, &MockService::lookAtReceiver);
    connect(m_query, SIGNAL(busDisconnected()), this, SLOT(onLost()));
    connect(m_receiver, SIGNAL(busDisconnected()), this, SLOT(onLost()));
    connect(m_receiver, SIGNAL(incomingMessage(Message)), this, SLOT(onMessage(Message)));
    connect(this, SIGNAL(sendCommand(TarvexCommand)), this, SLOT(send(TarvexCommand)));
    m_state.setOwner(description.name);
    m_state.setStateType(static_cast<ClientState::EStateType>(0));
    changeState(description.state);
}

MockService::~MockService() = default;

bool MockService::doStart()
{
    m_retryTimer.stop();
    connectToBus();
    return true;
}

bool MockService::doStop()
{
    m_retryTimer.stop();
    m_lookTimer.stop();
    m_query->close();
    m_receiver->close();
    return true;
}

void MockService::connectToBus()
{
    if (!m_query->open() || !m_query->isOpen()) {
        tryAgain(m_query->lastOutcome().toString());
        return;
    }
    if (!storeSettings() || !saveState()) {
        tryAgain(m_query->lastOutcome().toString());
        return;
    }
    sendWaiting();
    // The receiver comes last. So whoever gets an answer finds the state and the settings.
    if (!m_receiver->open()) {
        tryAgain(Words::tr("the connection for receiving cannot be made"));
        return;
    }
    m_sinceOpen.start();
    m_lookTimer.start();
}

/// No signal tells of the answer to the receiver's handshake.
void MockService::lookAtReceiver()
{
    if (m_receiver->isOpen()) {
        m_lookTimer.stop();
        tell(MockEvent::Ready);
    } else if (!m_receiver->isConnected()) {
        tryAgain(Words::tr("the bus refuses the connection for receiving"));
    } else if (m_sinceOpen.hasExpired(HANDSHAKE_TIMEOUT_MS)) {
        tryAgain(Words::tr("the bus does not answer on the connection for receiving"));
    }
}

void MockService::onLost()
{
    tryAgain(Words::tr("the bus has closed the connection"));
}

/// Nothing is closed here, because this may be called from inside an exchange.
void MockService::tryAgain(const QString& why)
{
    m_lookTimer.stop();
    if (!m_retryTimer.isActive()) {
        m_retryTimer.start();
        tell(MockEvent::Lost, why);
    }
}

/// Stores the settings once. Later ones may be an administrator's, who wants to keep them.
bool MockService::storeSettings()
{
    bool isStored = m_areSettingsStored || m_description.settings.isEmpty();
    if (!isStored && !m_description.replacesSettings && !hasStoredSettings(isStored)) {
        return false;
    }
    if (!isStored) {
        ClientSettings settings;
        settings.setOwner(m_description.name);
        settings.setSettings(m_description.settings);
        if (!isDone(m_query->saveSettings(settings), Words::tr("the bus refuses to save the settings: %1"))) {
            return false;
        }
    }
    m_areSettingsStored = true;
    return true;
}

/// Asks for the list, because it is empty only when the bus has none. A bus that has failed to read the settings
/// refuses to give them as well.
bool MockService::hasStoredSettings(bool& isStored)
{
    QList<ClientSettings> stored;
    if (!isDone(m_query->loadSettings(QStringList{m_description.name}, stored),
                Words::tr("the bus refuses to load the settings: %1"))) {
        return false;
    }
    isStored = !stored.isEmpty();
    return true;
}

bool MockService::saveState()
{
    return !m_hasState || isDone(m_query->saveState(m_state), Words::tr("the bus refuses to save the state: %1"));
}

/// \a pattern says what the bus refuses, with its answer behind it.
/// \return false when the connection is of no use any more. What the bus refuses is done, because it would refuse it
/// again.
bool MockService::isDone(bool hasSucceeded, const QString& pattern)
{
    if (!hasSucceeded && m_query->lastOutcome().kind() != QueryOutcome::Refused) {
        return false;
    }
    if (!hasSucceeded) {
        tell(MockEvent::Refused, pattern.arg(m_query->lastOutcome().toString()));
    }
    return true;
}

void MockService::onMessage(Message message)
{
    TarvexCommand command;
    if (!TarvexCommand::incomingMessageToCmd(message, command)) {
        return;
    }
    // An error, or an answer to what it has sent, is no command. To answer it could go on without an end.
    const bool isAnswer = command.name() == COMMAND_ERROR || command.uid().startsWith(m_uidPrefix);
    if (!isAnswer && (m_answers.knows(command.name()) || !isOfLibrary(command.name()))) {
        exec(command);
    }
}

void MockService::doExec(TarvexCommand cmd)
{
    const std::optional<Answer> described = m_answers.next(cmd);
    const Answer next = described ? *described : unknownCommand(cmd.name());
    if (next.delayMs == 0) {
        give(cmd, next);
        return;
    }
    QTimer::singleShot(next.delayMs, Qt::PreciseTimer, this, [this, cmd, next] { give(cmd, next); });
}

void MockService::give(const TarvexCommand& command, const Answer& answer)
{
    changeState(answer.state);
    if (!answer.state.isEmpty() && m_query->isOpen() && !saveState()) {
        tryAgain(m_query->lastOutcome().toString());
    }
    this->answer(command, answer);
    sendFurther(answer.sent);
    MockEvent event{MockEvent::Handled, m_description.name, {}, QDateTime::currentDateTime(), command, answer};
    m_events->add(event);
}

void MockService::answer(const TarvexCommand& command, const Answer& answer)
{
    if (answer.kind == Answer::Error) {
        prepareError(command.agent(), command.uid(), command.name(), answer.errorText, command.data());
    } else if (answer.kind == Answer::Reply) {
        TarvexCommand reply;
        reply.setAgent(command.agent());
        reply.setUid(command.uid());
        reply.setName(answer.name);
        reply.setData(answer.data.toMap());
        Q_EMIT sendCommand(reply);
    }
}

void MockService::changeState(const StateChange& change)
{
    m_hasState = m_hasState || !change.isEmpty();
    if (change.text.isValid()) {
        m_state.setState(textOf(change.text));
    }
    if (change.type) {
        m_state.setStateType(static_cast<ClientState::EStateType>(*change.type));
    }
    if (change.description) {
        m_state.setDescription(*change.description);
    }
}

void MockService::sendFurther(const QList<SentCommand>& commands)
{
    for (const SentCommand& further : commands) {
        TarvexCommand command;
        command.setAgent(further.receiver);
        command.setUid(m_uidPrefix + QUuid::createUuid().toString(QUuid::WithoutBraces));
        command.setName(further.name);
        command.setData(further.data.toMap());
        send(command);
    }
}

void MockService::send(TarvexCommand command)
{
    m_waiting.append(command.toOutgoingMessage());
    if (m_waiting.size() > MAX_WAITING) {
        m_waiting.removeFirst();
        tell(MockEvent::Refused, Words::tr("the bus is away for too long, and the oldest answer was dropped"));
    }
    sendWaiting();
}

void MockService::sendWaiting()
{
    while (m_query->isOpen() && !m_waiting.isEmpty()) {
        // After any other failure than a refusal nobody knows whether the bus has it. It is then sent again at the next
        // connection with the same uid, so that the receiver drops it if it has it already.
        if (!isDone(m_query->sendMessage(m_waiting.constFirst()), Words::tr("the bus refuses to take an answer: %1"))) {
            tryAgain(m_query->lastOutcome().toString());
            return;
        }
        m_waiting.removeFirst();
    }
}

void MockService::tell(MockEvent::Kind kind, const QString& words)
{
    m_events->add({kind, m_description.name, words, QDateTime::currentDateTime(), {}, {}});
}

} // namespace tarvex::mock
