#include "byhandcodec.h"

#include "records/clientsettings.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace {

QString datePattern()
{
    return QStringLiteral("yyyy-MM-ddThh:mm:ss.zzz");
}

QByteArray frame(const char* header, const QVariantMap& envelope)
{
    const QByteArray json = QJsonDocument::fromVariant(envelope).toJson(QJsonDocument::Compact);
    const QByteArray payload = qCompress(json).toBase64();
    return header + QByteArray::number(payload.size()) + "\r\n" + payload;
}

QByteArray request(const QString& operation, const QVariantMap& data)
{
    return frame("[-REQUEST-]\r\n", {{QStringLiteral("operation"), operation}, {QStringLiteral("data"), data}});
}

QVariantMap envelopeOf(const QByteArray& payload)
{
    return QJsonDocument::fromJson(qUncompress(QByteArray::fromBase64(payload))).object().toVariantMap();
}

QVariantMap dataOf(const QByteArray& payload)
{
    return envelopeOf(payload).value(QStringLiteral("data")).toMap();
}

} // namespace

QByteArray ByHandCodec::messageRequest(const MessageFields& message)
{
    return request(QStringLiteral("sendMessage"),
                   {{QStringLiteral("UID"), message.uid},
                    {QStringLiteral("date"), message.date.toString(datePattern())},
                    {QStringLiteral("message"), message.text},
                    {QStringLiteral("reciever"), message.reciever},
                    {QStringLiteral("sender"), message.sender}});
}

QByteArray ByHandCodec::settingsRequest(const QString& owner)
{
    return request(QStringLiteral("loadSettings"), {{QStringLiteral("owner"), owner}});
}

QByteArray ByHandCodec::acknowledgement(const MessageFields& message)
{
    const QVariantMap data{{QStringLiteral("reciever"), message.reciever},
                           {QStringLiteral("sender"), message.sender},
                           {QStringLiteral("uid"), message.uid}};
    const QVariantMap result{{QStringLiteral("code"), 0}, {QStringLiteral("description"), QString()}};
    return frame("[-REPLY-]\r\n",
                 {{QStringLiteral("operation"), QStringLiteral("sendMessage")},
                  {QStringLiteral("data"), data},
                  {QStringLiteral("result"), result}});
}

bool ByHandCodec::readResult(const QByteArray& payload)
{
    const QVariantMap result = envelopeOf(payload).value(QStringLiteral("result")).toMap();
    return result.contains(QStringLiteral("code")) && result.value(QStringLiteral("code")).toInt() == 0;
}

int ByHandCodec::readSettings(const QByteArray& payload)
{
    const QVariantMap data = dataOf(payload);
    tarvex::ClientSettings settings;
    settings.setOwner(data.value(QStringLiteral("owner")).toString());
    settings.setDescription(data.value(QStringLiteral("description")).toString());
    settings.setDt(QDateTime::fromString(data.value(QStringLiteral("date")).toString(), datePattern()));
    settings.setMailOwner(data.value(QStringLiteral("mailOwner")).toBool());
    settings.setSettings(data.value(QStringLiteral("settings")).toList());
    return settings.settings().size();
}

MessageFields ByHandCodec::readMessage(const QByteArray& payload)
{
    const QVariantMap data = dataOf(payload);
    return {data.value(QStringLiteral("sender")).toString(), data.value(QStringLiteral("reciever")).toString(),
            data.value(QStringLiteral("message")).toString(), data.value(QStringLiteral("UID")).toString(),
            QDateTime::fromString(data.value(QStringLiteral("date")).toString(), datePattern())};
}
