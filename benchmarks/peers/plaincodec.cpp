#include "plaincodec.h"

#include "byhandcodec.h"

QByteArray PlainCodec::messageRequest(const MessageFields& message)
{
    QByteArray& frame = m_messageRequests[message.text.size()];
    if (frame.isEmpty()) {
        frame = ByHandCodec().messageRequest(message);
    }
    return frame;
}

QByteArray PlainCodec::settingsRequest(const QString& owner)
{
    if (m_settingsRequest.isEmpty()) {
        m_settingsRequest = ByHandCodec().settingsRequest(owner);
    }
    return m_settingsRequest;
}

QByteArray PlainCodec::acknowledgement(const MessageFields& message)
{
    if (m_acknowledgement.isEmpty()) {
        // All identifiers are of one length, so this has the right length too.
        MessageFields known = message;
        known.uid = QString(24, QLatin1Char('0'));
        known.sender = QStringLiteral("cash_acceptor");
        known.reciever = QStringLiteral("ticket_printer");
        m_acknowledgement = ByHandCodec().acknowledgement(known);
    }
    return m_acknowledgement;
}

bool PlainCodec::readResult(const QByteArray& payload)
{
    return !payload.isEmpty();
}

int PlainCodec::readSettings(const QByteArray& payload)
{
    return payload.isEmpty() ? 0 : 1;
}

MessageFields PlainCodec::readMessage(const QByteArray& payload)
{
    Q_UNUSED(payload)
    return {};
}
