#include "wire/busterms_p.h"

#include "wire/jsonreader_p.h"
#include "wire/jsonwriter_p.h"

#include <QJsonObject>

namespace tarvex::busterms {

namespace {

const QLatin1String KEY_COMMAND_NAME("cmd");
const QLatin1String KEY_COMMAND_DATA("data");

} // namespace

QString commandText(const QString& name, const QVariantMap& data)
{
    const QVariantMap object{{KEY_COMMAND_NAME, name}, {KEY_COMMAND_DATA, data}};
    QByteArray json;
    jsonwriter::append(json, object);
    return QString::fromUtf8(json);
}

CommandText readCommandText(const QString& text)
{
    QJsonParseError error{};
    const QJsonObject object = jsonreader::parseJson(text.toUtf8(), error).object();
    CommandText command;
    command.isJson = error.error == QJsonParseError::NoError;
    command.errorText = error.errorString();
    command.isCommand = command.isJson && object.contains(KEY_COMMAND_NAME);
    if (command.isCommand) {
        command.name = object.value(KEY_COMMAND_NAME).toVariant().toString();
        command.data = object.value(KEY_COMMAND_DATA).toObject().toVariantMap();
    }
    return command;
}

} // namespace tarvex::busterms
