#include "samples.h"

#include "sampledata.h"
#include "wire/busframe_p.h"
#include "wire/busterms_p.h"

#include <map>

namespace samples {

namespace {

namespace busframe = tarvex::busframe;
namespace busterms = tarvex::busterms;

/// Each text is made once, so that nothing but the message itself is made between two operations.
QString textOf(int bytes)
{
    static std::map<int, QString> texts;
    QString& text = texts[bytes];
    if (text.isEmpty()) {
        text = sampledata::commandText(bytes);
    }
    return text;
}

} // namespace

MessageFields message(int bytes)
{
    static int number = 0;
    // Made once, because the system is asked for the time zone each time.
    static const QDateTime date(QDate(2024, 3, 15), QTime(8, 30, 0, 125));
    return {QStringLiteral("cash_acceptor"), QString::fromUtf8(CLIENT), textOf(bytes), sampledata::uid(++number), date};
}

tarvex::Message record(const MessageFields& fields)
{
    tarvex::Message message;
    message.setSender(fields.sender);
    message.setReciever(fields.reciever);
    message.setDt(fields.date);
    message.setMessage(fields.text);
    message.setUid(fields.uid);
    return message;
}

QVariantMap settings(int bytes)
{
    return sampledata::settings(busterms::OPERATION_LOAD_SETTINGS, bytes);
}

QByteArray resultReply()
{
    return busframe::encodeReply(busterms::OPERATION_SEND_MESSAGE, 0, QString(), {});
}

QByteArray settingsReply(int bytes)
{
    return busframe::encodeReply(busterms::OPERATION_LOAD_SETTINGS, 0, QString(), settings(bytes));
}

QByteArray push(int bytes)
{
    return busframe::encodeRequest(busterms::OPERATION_SEND_MESSAGE, record(message(bytes)).toVariantMap());
}

} // namespace samples
