#include "traffic/framewire.h"

#include "wire/busframe_p.h"
#include "wire/busterms_p.h"
#include "wire/framestream_p.h"

namespace tarvex::traffic {

quint16 portNumber(Port port)
{
    return port == Port::Query ? busterms::QUERY_PORT : busterms::RECEIVER_PORT;
}

QByteArray encodeRequest(const QString& operation, const QVariantMap& data)
{
    return busframe::encodeRequest(operation, data);
}

QByteArray encodeReply(const QString& operation, quint16 code, const QString& description, const QVariantMap& data)
{
    return busframe::encodeReply(operation, code, description, data);
}

QVariantMap handshakeData(const QString& clientName)
{
    return {{busterms::KEY_NAME, clientName}};
}

QString handshakeOperation()
{
    return busterms::OPERATION_HANDSHAKE;
}

QVariantMap acknowledgementData(const QVariantMap& message)
{
    return {{busterms::KEY_SENDER, message.value(busterms::KEY_SENDER)},
            {busterms::KEY_RECIEVER, message.value(busterms::KEY_RECIEVER)},
            {busterms::KEY_ACKNOWLEDGED_UID, message.value(busterms::KEY_UID)}};
}

FrameReader::FrameReader() : m_stream(std::make_unique<FrameStream>()) { }

FrameReader::~FrameReader() = default;

void FrameReader::append(const QByteArray& bytes)
{
    if (!m_isLost) {
        m_stream->append(bytes);
    }
}

bool FrameReader::next(SeenFrame& frame)
{
    if (m_isLost) {
        return false;
    }
    Frame found;
    const FrameStream::Result result = m_stream->next(found);
    if (result == FrameStream::Incomplete) {
        return false;
    }
    frame = SeenFrame();
    if (result == FrameStream::Complete) {
        frame.kind = found.isReply ? Kind::Reply : Kind::Request;
        frame.size = found.payload.size();
        decodePayload(found.payload, frame);
        return true;
    }
    m_isLost = true;
    frame.kind = Kind::Bad;
    const QString what = result == FrameStream::WrongSize
        ? QStringLiteral("a size line that is no possible size: \"%1\"")
        : QStringLiteral("a line that begins no frame: \"%1\"");
    frame.problem = what.arg(m_stream->lostLine());
    return true;
}

} // namespace tarvex::traffic
