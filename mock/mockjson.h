#ifndef MOCKJSON_H
#define MOCKJSON_H

#include "mockdescription.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <json/value.h>

#include <functional>

namespace tarvex::mock {

/// A JSON text whose values know their places. It is strict JSON: no comments, no key twice, nothing after the end.
class MockJson
{
public:
    /// Reads the text. errors() says what is wrong with it; then root() is not to be used.
    explicit MockJson(QByteArray text);

    const Json::Value& root() const { return m_root; }

    const QList<FileError>& errors() const { return m_errors; }

    /// Notes an error in the line in which \a value begins.
    void addError(const Json::Value& value, const QString& words);

    /// The same for the line in which the key of \a member stands, which is a member of an object.
    void addKeyError(const Json::Value& member, const QString& words);

    /// The value as the bus carries it. \a lookAtText is called for every text in it. Notes an error for a number that
    /// the bus would change.
    QVariant toVariant(const Json::Value& value,
                       const std::function<void(const Json::Value& place, const QString& text)>& lookAtText);

private:
    bool isUtf8();
    void parse();
    void checkStrictly();
    void addErrorAt(int offset, const QString& words);
    QVariant numberOf(const Json::Value& value);

    const QByteArray m_text;
    Json::Value m_root;
    QList<FileError> m_errors;
};

/// A member of an object. Null when there is none.
const Json::Value* member(const Json::Value& object, const QString& key);

/// The keys of an object, in alphabetical order.
QStringList keysOf(const Json::Value& object);

QString textOf(const Json::Value& value);

} // namespace tarvex::mock

#endif // MOCKJSON_H
