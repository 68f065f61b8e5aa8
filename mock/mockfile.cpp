#include "mockfile.h"

#include "mockjson.h"
#include "mockpattern.h"
#include "mockwords.h"
#include "words.h"

#include <QFile>
#include <QSet>

#include <algorithm>
#include <limits>

namespace tarvex::mock {

using programs::Words;

namespace {

/// Nobody writes a longer description by hand. A device or a wrong file must not fill the memory.
constexpr qint64 MAX_FILE_SIZE = Q_INT64_C(16) * 1024 * 1024;
constexpr int MAX_DELAY_MS = 24 * 60 * 60 * 1000;
constexpr int MAX_STATE_TYPE = std::numeric_limits<qint8>::max();
const QLatin1String COMMAND_ERROR("commandError");

const QLatin1String KEY_COMMENT("comment");
const QLatin1String KEY_SERVICES("services");
const QLatin1String KEY_STATE("state");
const QLatin1String KEY_SETTINGS("settings");
const QLatin1String KEY_REPLACE_SETTINGS("replaceSettings");
const QLatin1String KEY_COMMANDS("commands");
const QLatin1String KEY_TEXT("text");
const QLatin1String KEY_TYPE("type");
const QLatin1String KEY_DESCRIPTION("description");
const QLatin1String KEY_GROUP("group");
const QLatin1String KEY_KEY("key");
const QLatin1String KEY_VALUE("value");
const QLatin1String KEY_WHEN("when");
const QLatin1String KEY_SEQUENCE("sequence");
const QLatin1String KEY_THEN("then");
const QLatin1String KEY_DELAY("delay");
const QLatin1String KEY_REPLY("reply");
const QLatin1String KEY_ERROR("error");
const QLatin1String KEY_SILENCE("silence");
const QLatin1String KEY_SEND("send");
const QLatin1String KEY_NAME("name");
const QLatin1String KEY_DATA("data");
const QLatin1String KEY_TO("to");

enum Placeholders {
    Filled,
    Refused, ///< There is no request whose values could be filled in.
    Literal
};

QString quoted(const QString& name)
{
    return QLatin1Char('"') + name + QLatin1Char('"');
}

/// Reads the description out of the JSON text. An error is noted, and what follows is looked at as well.
class DescriptionReader
{
public:
    explicit DescriptionReader(const QByteArray& text) : m_json(text) { }

    MockFile read();

private:
    const Json::Value* object(const Json::Value* value, const QString& what, const QStringList& keys);
    QString text(const Json::Value* value, const QString& what, Placeholders placeholders);
    QString name(const Json::Value* value, const QString& what);
    int number(const Json::Value* value, const QString& what, int most);
    bool flag(const Json::Value* value, const QString& what);
    QVariant any(const Json::Value& value, Placeholders placeholders);
    QVariant data(const Json::Value* value, const QString& what);

    ServiceDescription service(const QString& serviceName, const Json::Value& value);
    StateChange state(const Json::Value& value, Placeholders placeholders);
    QList<QVariant> settings(const Json::Value& value);
    QVariantMap setting(const Json::Value& value);
    QList<AnswerCase> command(const QString& commandName, const Json::Value& value);
    AnswerCase answerCase(const Json::Value& value);
    QList<Answer> sequence(const Json::Value& value);
    AnswerCase::Then then(const Json::Value* value);
    QVariantMap condition(const Json::Value* value);
    Answer answer(const Json::Value& value, const QStringList& furtherKeys);
    void readKind(const Json::Value& value, Answer& answer);
    QList<SentCommand> sent(const Json::Value* value);
    SentCommand sentCommand(const Json::Value& value);

    MockJson m_json;
};

MockFile DescriptionReader::read()
{
    MockFile file;
    if (m_json.errors().isEmpty()) {
        const Json::Value* const root =
            object(&m_json.root(), Words::tr("the description"), {KEY_SERVICES, KEY_COMMENT});
        const Json::Value* const services = root != nullptr ? member(*root, KEY_SERVICES) : nullptr;
        if (root != nullptr && (services == nullptr || !services->isObject() || services->empty())) {
            m_json.addError(services != nullptr ? *services : *root,
                            Words::tr("\"services\" is needed, an object with the names of the services"));
        } else if (services != nullptr) {
            const QStringList names = keysOf(*services);
            for (const QString& serviceName : names) {
                file.services.append(service(serviceName, *member(*services, serviceName)));
            }
        }
    }
    file.errors = m_json.errors();
    std::stable_sort(file.errors.begin(), file.errors.end(),
                     [](const FileError& one, const FileError& other) { return one.line < other.line; });
    return file;
}

/// \return \a value when it is an object; unknown keys in it are errors. Null otherwise, and when there is no value.
const Json::Value* DescriptionReader::object(const Json::Value* value, const QString& what, const QStringList& keys)
{
    if (value == nullptr) {
        return nullptr;
    }
    if (!value->isObject()) {
        m_json.addError(*value, Words::tr("%1 must be an object").arg(what));
        return nullptr;
    }
    const QStringList found = keysOf(*value);
    for (const QString& key : found) {
        if (!keys.contains(key)) {
            m_json.addKeyError(*member(*value, key),
                               Words::tr("\"%1\" is no part of %2").arg(key, what) + hint(key, keys));
        }
    }
    const Json::Value* const comment = member(*value, KEY_COMMENT);
    if (comment != nullptr && keys.contains(KEY_COMMENT)) {
        text(comment, quoted(KEY_COMMENT), Literal);
    }
    return value;
}

QString DescriptionReader::text(const Json::Value* value, const QString& what, Placeholders placeholders)
{
    if (value == nullptr) {
        return QString();
    }
    if (!value->isString()) {
        m_json.addError(*value, Words::tr("%1 must be a text").arg(what));
        return QString();
    }
    return any(*value, placeholders).toString();
}

/// A text that is not empty, and in which nothing is filled in.
QString DescriptionReader::name(const Json::Value* value, const QString& what)
{
    QString found = text(value, what, Refused);
    if (value != nullptr && value->isString() && found.isEmpty()) {
        m_json.addError(*value, Words::tr("%1 must not be empty").arg(what));
    }
    return found;
}

int DescriptionReader::number(const Json::Value* value, const QString& what, int most)
{
    if (value == nullptr) {
        return 0;
    }
    if (!value->isIntegral() || value->asDouble() < 0 || value->asDouble() > most) {
        m_json.addError(*value, Words::tr("%1 must be a whole number from 0 to %2").arg(what).arg(most));
        return 0;
    }
    return value->asInt();
}

bool DescriptionReader::flag(const Json::Value* value, const QString& what)
{
    if (value != nullptr && !value->isBool()) {
        m_json.addError(*value, Words::tr("%1 must be true or false").arg(what));
        return false;
    }
    return value != nullptr && value->asBool();
}

QVariant DescriptionReader::any(const Json::Value& value, Placeholders placeholders)
{
    return m_json.toVariant(value, [&](const Json::Value& place, const QString& found) {
        const QString fault = placeholderFault(found);
        if (placeholders == Refused && hasPlaceholder(found)) {
            m_json.addError(place, Words::tr("nothing is filled in here: %1").arg(quoted(found)));
        } else if (placeholders == Filled && !fault.isEmpty()) {
            m_json.addError(place, fault);
        }
    });
}

/// The data of a command: an object, or a text that is one placeholder.
QVariant DescriptionReader::data(const Json::Value* value, const QString& what)
{
    if (value == nullptr) {
        return QVariant();
    }
    if (!value->isObject() && !(value->isString() && isPlaceholder(textOf(*value)))) {
        m_json.addError(*value, Words::tr("%1 must be an object, or a text that is exactly one placeholder").arg(what));
        return QVariant();
    }
    return any(*value, Filled);
}

ServiceDescription DescriptionReader::service(const QString& serviceName, const Json::Value& value)
{
    ServiceDescription description;
    description.name = serviceName;
    if (serviceName.isEmpty()) {
        m_json.addKeyError(value, Words::tr("the name of a service must not be empty"));
    }
    const Json::Value* const service = object(
        &value, Words::tr("a service"), {KEY_STATE, KEY_SETTINGS, KEY_REPLACE_SETTINGS, KEY_COMMANDS, KEY_COMMENT});
    if (service == nullptr) {
        return description;
    }
    if (const Json::Value* const found = member(*service, KEY_STATE)) {
        description.state = state(*found, Refused);
    }
    const Json::Value* const replaces = member(*service, KEY_REPLACE_SETTINGS);
    description.replacesSettings = flag(replaces, quoted(KEY_REPLACE_SETTINGS));
    if (const Json::Value* const found = member(*service, KEY_SETTINGS)) {
        description.settings = settings(*found);
    } else if (replaces != nullptr) {
        m_json.addKeyError(*replaces, Words::tr("\"replaceSettings\" needs \"settings\" beside it"));
    }
    const Json::Value* const commands = member(*service, KEY_COMMANDS);
    if (commands != nullptr && !commands->isObject()) {
        m_json.addError(*commands, Words::tr("\"commands\" must be an object with the names of the commands"));
    } else if (commands != nullptr) {
        const QStringList names = keysOf(*commands);
        for (const QString& commandName : names) {
            description.commands.insert(commandName, command(commandName, *member(*commands, commandName)));
        }
    }
    return description;
}

StateChange DescriptionReader::state(const Json::Value& value, Placeholders placeholders)
{
    StateChange change;
    const Json::Value* const found = object(&value, Words::tr("a state"), {KEY_TEXT, KEY_TYPE, KEY_DESCRIPTION});
    if (found == nullptr) {
        return change;
    }
    if (found->empty()) {
        m_json.addError(value, Words::tr("a state needs a \"text\", a \"type\" or a \"description\""));
    }
    const Json::Value* const content = member(*found, KEY_TEXT);
    if (content != nullptr && (content->isString() || content->isObject() || content->isArray())) {
        change.text = any(*content, placeholders);
    } else if (content != nullptr) {
        m_json.addError(*content, Words::tr("the \"text\" of a state must be a text, an object or a list"));
    }
    if (const Json::Value* const type = member(*found, KEY_TYPE)) {
        change.type = number(type, Words::tr("the \"type\" of a state"), MAX_STATE_TYPE);
    }
    if (const Json::Value* const words = member(*found, KEY_DESCRIPTION)) {
        change.description = text(words, Words::tr("the \"description\" of a state"), placeholders);
    }
    return change;
}

/// The entries as "settings load" takes them.
QList<QVariant> DescriptionReader::settings(const Json::Value& value)
{
    QList<QVariant> entries;
    if (!value.isArray()) {
        m_json.addError(value,
                        Words::tr("\"settings\" must be a list of objects with \"group\", \"key\" and "
                                  "\"value\""));
        return entries;
    }
    QSet<QString> paths;
    for (const Json::Value& element : value) {
        const QVariantMap entry = setting(element);
        const QString path = entry.value(KEY_GROUP).toString() + QLatin1Char('/') + entry.value(KEY_KEY).toString();
        if (!entry.isEmpty() && paths.contains(path)) {
            m_json.addError(element, Words::tr("the setting %1 is there twice").arg(path));
        }
        paths.insert(path);
        entries.append(entry);
    }
    return entries;
}

/// Empty when the setting is wrong.
QVariantMap DescriptionReader::setting(const Json::Value& value)
{
    const Json::Value* const entry = object(&value, Words::tr("a setting"), {KEY_GROUP, KEY_KEY, KEY_VALUE});
    if (entry == nullptr) {
        return QVariantMap();
    }
    const Json::Value* const key = member(*entry, KEY_KEY);
    const Json::Value* const content = member(*entry, KEY_VALUE);
    if (key == nullptr || content == nullptr || !key->isString() || textOf(*key).isEmpty()) {
        m_json.addError(value, Words::tr("a setting needs a \"key\", a text that is not empty, and a \"value\""));
        return QVariantMap();
    }
    const Json::Value* group = member(*entry, KEY_GROUP);
    if (group != nullptr && group->isNull()) {
        group = nullptr; // as the library writes it for a missing group when it changes a record
    }
    return {{KEY_GROUP, text(group, Words::tr("the \"group\" of a setting"), Literal)},
            {KEY_KEY, textOf(*key)},
            {KEY_VALUE, any(*content, Literal)}};
}

QList<AnswerCase> DescriptionReader::command(const QString& commandName, const Json::Value& value)
{
    if (commandName.isEmpty()) {
        m_json.addKeyError(value, Words::tr("the name of a command must not be empty"));
    }
    if (commandName == COMMAND_ERROR) {
        m_json.addKeyError(value,
                           Words::tr("\"commandError\" is never answered, because two services could then "
                                     "answer each other's errors without an end"));
    }
    if (!value.isArray()) {
        return {answerCase(value)};
    }
    if (value.empty()) {
        m_json.addError(value, Words::tr("a command needs at least one answer"));
    }
    QList<AnswerCase> cases;
    bool isLastReached = false;
    for (const Json::Value& element : value) {
        if (isLastReached) {
            m_json.addError(element,
                            Words::tr("this answer can never be chosen, because one before it has no "
                                      "\"when\""));
        }
        cases.append(answerCase(element));
        isLastReached = isLastReached || member(element, KEY_WHEN) == nullptr;
    }
    return cases;
}

AnswerCase DescriptionReader::answerCase(const Json::Value& value)
{
    AnswerCase result;
    const Json::Value* const answers = member(value, KEY_SEQUENCE);
    if (answers == nullptr) {
        result.sequence = {answer(value, {KEY_WHEN, KEY_SEQUENCE})};
    } else {
        object(&value, Words::tr("a command with a \"sequence\""), {KEY_WHEN, KEY_SEQUENCE, KEY_THEN, KEY_COMMENT});
        result.sequence = sequence(*answers);
        result.then = then(member(value, KEY_THEN));
    }
    result.when = condition(member(value, KEY_WHEN));
    return result;
}

QList<Answer> DescriptionReader::sequence(const Json::Value& value)
{
    QList<Answer> answers;
    if (!value.isArray() || value.empty()) {
        m_json.addError(value, Words::tr("a \"sequence\" must be a list of answers that is not empty"));
        return answers;
    }
    for (const Json::Value& element : value) {
        answers.append(answer(element, {}));
    }
    return answers;
}

AnswerCase::Then DescriptionReader::then(const Json::Value* value)
{
    static const QStringList names{QStringLiteral("repeat-last"), QStringLiteral("cycle"), QStringLiteral("error")};
    if (value == nullptr) {
        return AnswerCase::RepeatLast;
    }
    const QString found = textOf(*value);
    const int index = names.indexOf(found);
    if (index < 0) {
        m_json.addError(*value, Words::tr("\"then\" must be \"repeat-last\", \"cycle\" or \"error\""));
    }
    return index < 0 ? AnswerCase::RepeatLast : static_cast<AnswerCase::Then>(index);
}

QVariantMap DescriptionReader::condition(const Json::Value* value)
{
    if (value == nullptr) {
        return QVariantMap();
    }
    if (!value->isObject() || value->empty()) {
        m_json.addError(*value,
                        Words::tr("\"when\" must be an object with keys of the command's data, and their "
                                  "values"));
        return QVariantMap();
    }
    return any(*value, Refused).toMap();
}

Answer DescriptionReader::answer(const Json::Value& value, const QStringList& furtherKeys)
{
    Answer result;
    const Json::Value* const found = object(
        &value, Words::tr("an answer"),
        QStringList{KEY_REPLY, KEY_ERROR, KEY_SILENCE, KEY_DELAY, KEY_STATE, KEY_SEND, KEY_COMMENT} + furtherKeys);
    if (found == nullptr) {
        return result;
    }
    readKind(*found, result);
    result.delayMs = number(member(*found, KEY_DELAY), Words::tr("\"delay\", in ms,"), MAX_DELAY_MS);
    if (const Json::Value* const change = member(*found, KEY_STATE)) {
        result.state = state(*change, Filled);
    }
    result.sent = sent(member(*found, KEY_SEND));
    return result;
}

void DescriptionReader::readKind(const Json::Value& value, Answer& answer)
{
    const Json::Value* const reply = member(value, KEY_REPLY);
    const Json::Value* const error = member(value, KEY_ERROR);
    const Json::Value* const silence = member(value, KEY_SILENCE);
    if (int(reply != nullptr) + int(error != nullptr) + int(silence != nullptr) != 1) {
        m_json.addError(value, Words::tr("an answer needs one of \"reply\", \"error\" and \"silence\""));
    }
    if (const Json::Value* const found = object(reply, Words::tr("a \"reply\""), {KEY_NAME, KEY_DATA})) {
        answer.kind = Answer::Reply;
        answer.name = name(member(*found, KEY_NAME), Words::tr("the \"name\" of a reply"));
        answer.data = data(member(*found, KEY_DATA), Words::tr("the \"data\" of a reply"));
    }
    if (error != nullptr) {
        answer.kind = Answer::Error;
        answer.errorText = text(error, quoted(KEY_ERROR), Filled);
    }
    if (silence != nullptr && !(silence->isBool() && silence->asBool())) {
        m_json.addError(*silence, Words::tr("\"silence\" must be true"));
    }
}

QList<SentCommand> DescriptionReader::sent(const Json::Value* value)
{
    QList<SentCommand> commands;
    if (value != nullptr && value->isArray()) {
        for (const Json::Value& element : *value) {
            commands.append(sentCommand(element));
        }
    } else if (value != nullptr) {
        commands.append(sentCommand(*value));
    }
    return commands;
}

SentCommand DescriptionReader::sentCommand(const Json::Value& value)
{
    SentCommand command;
    const Json::Value* const found = object(&value, Words::tr("a command to \"send\""), {KEY_TO, KEY_NAME, KEY_DATA});
    if (found == nullptr) {
        return command;
    }
    if (member(*found, KEY_TO) == nullptr || member(*found, KEY_NAME) == nullptr) {
        m_json.addError(value, Words::tr("a command to \"send\" needs \"to\" and \"name\""));
    }
    command.receiver = text(member(*found, KEY_TO), Words::tr("the \"to\" of a command to send"), Filled);
    command.name = name(member(*found, KEY_NAME), Words::tr("the \"name\" of a command to send"));
    command.data = data(member(*found, KEY_DATA), Words::tr("the \"data\" of a command to send"));
    return command;
}

} // namespace

QStringList MockFile::errorLines(const QString& fileName) const
{
    QStringList lines;
    for (const FileError& error : errors) {
        const QString line = error.line > 0 ? QStringLiteral(":%1").arg(error.line) : QString();
        lines.append(fileName + line + QLatin1String(": ") + error.words);
    }
    return lines;
}

int MockFile::commandCount() const
{
    int count = 0;
    for (const ServiceDescription& service : services) {
        count += service.commands.size();
    }
    return count;
}

MockFile mockFileFrom(const QByteArray& text)
{
    return DescriptionReader(text).read();
}

MockFile readMockFile(const QString& fileName)
{
    MockFile file;
    QFile device(fileName);
    const QByteArray text = device.open(QIODevice::ReadOnly) ? device.read(MAX_FILE_SIZE + 1) : QByteArray();
    if (device.error() != QFileDevice::NoError) {
        file.errors.append({0, Words::tr("cannot be read: %1").arg(device.errorString())});
        return file;
    }
    if (text.size() > MAX_FILE_SIZE) {
        file.errors.append({0, Words::tr("is larger than 16 MiB")});
        return file;
    }
    return mockFileFrom(text);
}

} // namespace tarvex::mock
