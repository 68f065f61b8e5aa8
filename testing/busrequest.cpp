#include "busrequest_p.h"

#include "client/supportedclients.h"
#include "wire/busterms_p.h"

namespace tarvex::testing {

namespace {

bool isLogLine(const Message& message)
{
    const QString name = busterms::readCommandText(message.message()).name;
    return (message.reciever() == BUSNAME_LOGGER && name == busterms::COMMAND_SAVE_LOG)
        || (message.reciever() == BUSNAME_TERMINAL_GUI && name == busterms::COMMAND_SHOW_LOG_MESSAGE);
}

} // namespace

bool BusRequest::isMessage() const
{
    return operation == busterms::OPERATION_SEND_MESSAGE;
}

Message BusRequest::message() const
{
    Message message = Message::fromVariantMap(data);
    message.setSender(client);
    return message;
}

/// Looks at the text first, because TarvexCommand logs a line about a message that is no command.
std::optional<TarvexCommand> BusRequest::command() const
{
    const Message message = this->message();
    TarvexCommand command;
    if (!busterms::readCommandText(message.message()).isCommand
        || !TarvexCommand::incomingMessageToCmd(message, command)) {
        return std::nullopt;
    }
    return command;
}

bool BusRequest::isNoise() const
{
    return isMessage() ? isLogLine(message()) : operation == busterms::OPERATION_HANDSHAKE && isDone();
}

} // namespace tarvex::testing
