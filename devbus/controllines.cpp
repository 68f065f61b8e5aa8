#include "controllines.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace tarvex::devbus::controllines {

namespace {

QByteArray lineOf(const QVariantMap& object)
{
    return QJsonDocument(QJsonObject::fromVariantMap(object)).toJson(QJsonDocument::Compact) + '\n';
}

} // namespace

QByteArray item(const QVariantMap& item)
{
    return lineOf({{QStringLiteral("item"), item}});
}

QByteArray done()
{
    return lineOf({{QStringLiteral("done"), true}});
}

QByteArray error(const QString& text)
{
    return lineOf({{QStringLiteral("error"), text}});
}

} // namespace tarvex::devbus::controllines
