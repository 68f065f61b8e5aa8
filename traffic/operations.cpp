#include "traffic/operations.h"

#include "wire/busterms_p.h"

namespace tarvex::traffic {

const QStringList& operations()
{
    using namespace busterms;
    static const QStringList names{OPERATION_HANDSHAKE,       OPERATION_SAVE_STATE,    OPERATION_LOAD_STATE,
                                   OPERATION_SAVE_SETTINGS,   OPERATION_LOAD_SETTINGS, OPERATION_LOAD_SETTINGS_LIST,
                                   OPERATION_REMOVE_SETTINGS, OPERATION_SUBSCRIBE,     OPERATION_UNSUBSCRIBE,
                                   OPERATION_SEND_MESSAGE};
    return names;
}

bool isSendMessage(const QString& operation)
{
    return operation == busterms::OPERATION_SEND_MESSAGE;
}

namespace commands {

QString saveLog()
{
    return busterms::COMMAND_SAVE_LOG;
}

QString showLogMessage()
{
    return busterms::COMMAND_SHOW_LOG_MESSAGE;
}

QString updateSettings()
{
    return busterms::COMMAND_UPDATE_SETTINGS;
}

QString stateChanged()
{
    return busterms::COMMAND_STATE_CHANGED;
}

QString error()
{
    return busterms::COMMAND_ERROR;
}

} // namespace commands

} // namespace tarvex::traffic
