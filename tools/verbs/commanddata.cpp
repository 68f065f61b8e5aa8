#include "verbs/commanddata.h"

#include "arguments.h"
#include "failure.h"
#include "jsonvalue.h"
#include "programwords.h"

#include <CLI/CLI.hpp>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <unistd.h>

namespace tarvexctl {

namespace {

/// As a text in a message the data grows, and the library takes no message of more than 32 MiB.
constexpr int MAX_FILE_BYTES = 8 << 20;
const QLatin1Char ASSIGNMENT('=');
const QLatin1Char FILE_SIGN('@');
const QLatin1String STDIN_NAME("-");

Failure wrong(const QString& words)
{
    return Failure(WrongUse, words);
}

void requireExact(const QString& json)
{
    const QString inexact = inexactInteger(json);
    if (!inexact.isEmpty()) {
        throw wrong(Words::tr("%1 is too large to travel exactly as a number").arg(inexact));
    }
}

void requireNamesOnce(const QString& json)
{
    const QString name = repeatedName(json);
    if (!name.isEmpty()) {
        throw wrong(Words::tr("the key %1 is given twice in one object").arg(name));
    }
}

/// \a what the text is, for the words when it is no object.
QVariantMap objectFrom(const QString& text, const QString& what)
{
    requireNamesOnce(text);
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(text.toUtf8(), &error);
    if (document.isObject()) {
        requireExact(text);
        return document.object().toVariantMap();
    }
    // For a single number or text the parser says only that it is not a document, so isJson() says whether it is JSON.
    if (document.isArray() || isJson(text)) {
        throw wrong(Words::tr("%1 must be a JSON object").arg(what));
    }
    throw wrong(Words::tr("%1 is no JSON: %2 at byte %3").arg(what, error.errorString()).arg(error.offset));
}

QByteArray readAll(QFile& file, const QString& name)
{
    QByteArray bytes = file.read(MAX_FILE_BYTES + 1);
    if (file.error() != QFile::NoError) {
        throw wrong(Words::tr("cannot read %1: %2").arg(name, file.errorString()));
    }
    if (bytes.size() > MAX_FILE_BYTES) {
        throw wrong(Words::tr("%1 is too large for a command: it has more than %2 bytes")
                        .arg(name, QString::number(MAX_FILE_BYTES)));
    }
    return bytes;
}

QVariantMap objectFromFile(const QString& path)
{
    const bool isStdin = path == STDIN_NAME;
    const QString name = isStdin ? QStringLiteral("stdin") : path;
    QFile file(path);
    const bool isOpen =
        isStdin ? file.open(STDIN_FILENO, QFile::ReadOnly | QFile::Unbuffered) : file.open(QFile::ReadOnly);
    if (!isOpen) {
        throw wrong(Words::tr("cannot read %1: %2").arg(name, file.errorString()));
    }
    const QByteArray bytes = readAll(file, name);
    const QString text = QString::fromUtf8(bytes);
    if (text.toUtf8() != bytes) {
        throw wrong(Words::tr("%1 holds no UTF-8 text").arg(name));
    }
    return objectFrom(text, Words::tr("the content of %1").arg(name));
}

QVariant jsonFrom(const QString& text, const QString& key)
{
    requireNamesOnce(text);
    const QJsonArray values = QJsonDocument::fromJson('[' + text.toUtf8() + ']').array();
    if (values.size() != 1) { // "1,2" makes two values
        throw wrong(Words::tr("the value of \"%1\" is no JSON: %2").arg(key, text));
    }
    requireExact(text);
    return values.first().toVariant();
}

void insertPair(const QString& argument, QVariantMap& object)
{
    const int sign = argument.indexOf(ASSIGNMENT);
    if (sign < 0) {
        throw wrong(Words::tr("the data of a command must be a JSON object, or KEY=VALUE and KEY:=JSON; \"%1\" is "
                              "neither")
                        .arg(argument));
    }
    const bool isJson = sign > 0 && argument.at(sign - 1) == QLatin1Char(':');
    const QString key = argument.left(isJson ? sign - 1 : sign);
    if (key.isEmpty()) {
        throw wrong(Words::tr("there is no key in \"%1\"").arg(argument));
    }
    if (object.contains(key)) {
        throw wrong(Words::tr("the key \"%1\" is given twice").arg(key));
    }
    const QString value = argument.mid(sign + 1);
    object.insert(key, isJson ? jsonFrom(value, key) : QVariant(value));
}

/// Whether the argument is meant as JSON. No key begins like this, because it would have to be quoted in a shell.
bool beginsLikeJson(const QString& argument)
{
    static const QString signs = QStringLiteral("{[\"");
    const QString trimmed = argument.trimmed();
    return trimmed.isEmpty() || signs.contains(trimmed.at(0));
}

} // namespace

void CommandData::addTo(CLI::App& parser)
{
    parser.add_option(m_name, m_arguments, Words::tr(m_help).toStdString())->type_name("");
    m_data.addTo(parser);
}

QStringList CommandData::arguments() const
{
    return texts(m_arguments);
}

QVariantMap CommandData::object() const
{
    static const QString what = Words::tr("the data of a command");
    const QStringList given = arguments();
    if (const auto data = m_data.text()) {
        if (!given.isEmpty()) {
            throw wrong(Words::tr("the data of a command is given twice: by --data and as \"%1\"").arg(given.first()));
        }
        if (!data->startsWith(FILE_SIGN)) {
            return *data == STDIN_NAME ? objectFromFile(*data) : objectFrom(*data, what);
        }
        requireName(data->mid(1), QStringLiteral("FILE"));
        return objectFromFile(data->mid(1));
    }
    if (given.size() == 1 && beginsLikeJson(given.first())) {
        return objectFrom(given.first(), what);
    }
    QVariantMap object;
    for (const QString& argument : given) {
        if (beginsLikeJson(argument)) {
            throw wrong(Words::tr("a JSON object stands alone, without KEY=VALUE beside it: %1").arg(argument));
        }
        insertPair(argument, object);
    }
    return object;
}

} // namespace tarvexctl
