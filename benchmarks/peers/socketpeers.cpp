// The ways that use a plain QTcpSocket and differ in the frame codec alone.

#include "byhandcodec.h"
#include "framepeer.h"
#include "plaincodec.h"
#include "possiblecodec.h"
#include "require.h"
#include "samples.h"
#include "wire/busframe_p.h"
#include "wire/busterms_p.h"

#include <QHostAddress>
#include <QTcpSocket>

#include <type_traits>

namespace {

namespace busframe = tarvex::busframe;
namespace busterms = tarvex::busterms;

constexpr int PATIENCE_MS = 30000;

/// One end of a connection, and what has come on it.
class FrameSocket
{
public:
    explicit FrameSocket(quint16 port)
    {
        m_socket.connectToHost(QHostAddress(QHostAddress::LocalHost), port);
        require(m_socket.waitForConnected(PATIENCE_MS), "the server of frames cannot be reached");
    }

    void write(const QByteArray& frame)
    {
        m_socket.write(frame);
        m_socket.flush();
    }

    /// Looks at what has come. \return whether there is a whole frame.
    bool hasFrame()
    {
        if (m_socket.bytesAvailable() > 0) {
            m_bytes += m_socket.readAll();
        }
        const int sizeAt = m_bytes.indexOf('\n') + 1;
        const int payloadAt = m_bytes.indexOf('\n', sizeAt) + 1;
        if (payloadAt == 0) {
            return false;
        }
        const int size = QByteArray::fromRawData(m_bytes.constData() + sizeAt, payloadAt - sizeAt - 2).toInt();
        m_payloadAt = payloadAt;
        return m_bytes.size() == payloadAt + size;
    }

    void waitForFrame()
    {
        while (!hasFrame()) {
            require(m_socket.waitForReadyRead(PATIENCE_MS), "no frame comes");
        }
    }

    /// Valid until forget().
    QByteArray payload() const
    {
        return QByteArray::fromRawData(m_bytes.constData() + m_payloadAt, m_bytes.size() - m_payloadAt);
    }

    void forget() { m_bytes.clear(); }

private:
    QTcpSocket m_socket;
    QByteArray m_bytes;
    int m_payloadAt = 0;
};

/// Shakes hands on both ports, as the server expects.
template <typename Codec>
class SocketPeer : public FramePeer
{
public:
    SocketPeer() : FramePeer(0, 0), m_query(queryPort()), m_receiver(receiverPort())
    {
        for (FrameSocket* socket : {&m_query, &m_receiver}) {
            socket->write(busframe::encodeRequest(busterms::OPERATION_HANDSHAKE,
                                                  {{busterms::KEY_NAME, QString::fromUtf8(samples::CLIENT)}}));
            socket->waitForFrame();
            socket->forget();
        }
    }

    Codec& codec() { return m_codec; }

    void prepare(Operation operation, int bytes, int count) override
    {
        FramePeer::prepare(operation, bytes, count);
        m_hasEntries = !samples::settings(bytes).value(busterms::KEY_SETTINGS).toList().isEmpty();
    }

    void makeReady() override
    {
        if (operation() == Operation::Up) {
            m_message = samples::message(bytes());
        }
    }

    void run() override
    {
        switch (operation()) {
        case Operation::Up:
            exchange(m_codec.messageRequest(m_message));
            require(m_codec.readResult(m_query.payload()), "a message is not taken");
            m_query.forget();
            break;
        case Operation::Down:
            exchange(m_codec.settingsRequest(QString::fromUtf8(samples::CLIENT)));
            require(m_codec.readSettings(m_query.payload()) > 0 || !m_hasEntries, "the settings are not understood");
            m_query.forget();
            break;
        case Operation::Push:
            takePush();
            break;
        }
    }

private:
    void exchange(const QByteArray& request)
    {
        m_query.write(request);
        m_query.waitForFrame();
        pause();
    }

    void takePush()
    {
        order();
        serveUntil([this] { return m_receiver.hasFrame(); });
        pause();
        const MessageFields message = m_codec.readMessage(m_receiver.payload());
        m_receiver.forget();
        m_receiver.write(m_codec.acknowledgement(message));
    }

    Codec m_codec;
    FrameSocket m_query;
    FrameSocket m_receiver;
    MessageFields m_message;
    bool m_hasEntries = false;
};

QByteArray payloadOf(const QByteArray& frame)
{
    return frame.mid(frame.lastIndexOf('\n') + 1);
}

void verifyMessage(FrameCodec& codec, int bytes)
{
    const MessageFields message = samples::message(bytes);
    const tarvex::Message record = samples::record(message);
    const QByteArray request = codec.messageRequest(message);
    require(request == busframe::encodeRequest(busterms::OPERATION_SEND_MESSAGE, record.toVariantMap()),
            "the codec writes another message");
    // As maps, because codecs may hold the time of day in different time zones.
    require(samples::record(codec.readMessage(payloadOf(request))).toVariantMap() == record.toVariantMap(),
            "the codec reads another message");
    require(codec.acknowledgement(message)
                == busframe::encodeReply(busterms::OPERATION_SEND_MESSAGE, 0, QString(),
                                         {{busterms::KEY_SENDER, message.sender},
                                          {busterms::KEY_RECIEVER, message.reciever},
                                          {busterms::KEY_ACKNOWLEDGED_UID, message.uid}}),
            "the codec writes another acknowledgement");
}

/// Ends the program unless the codec reads the record that the library reads. Settings of 64 bytes have no date, and a
/// record without one takes the time at which it is made.
void verifySettings(PossibleRecordCodec& codec)
{
    for (const int bytes : {1000, 16000}) {
        const auto expected = tarvex::ClientSettings::fromVariantMap(samples::settings(bytes));
        require(codec.readClientSettings(payloadOf(samples::settingsReply(bytes))).toVariantMap()
                    == expected.toVariantMap(),
                "the codec reads another record");
    }
}

/// Ends the program unless the codec writes what the library writes, and reads as many settings and the same messages.
void verify(FrameCodec& codec)
{
    for (const int bytes : {64, 1000, 16000}) {
        verifyMessage(codec, bytes);
        const QVariantMap settings = samples::settings(bytes);
        require(codec.readSettings(payloadOf(samples::settingsReply(bytes)))
                    == settings.value(busterms::KEY_SETTINGS).toList().size(),
                "the codec reads other settings");
    }
    const QString owner = QString::fromUtf8(samples::CLIENT);
    require(codec.settingsRequest(owner)
                == busframe::encodeRequest(busterms::OPERATION_LOAD_SETTINGS, {{busterms::KEY_OWNER, owner}}),
            "the codec writes another request");
    require(codec.readResult(payloadOf(samples::resultReply())), "the codec does not see a success");
    require(!codec.readResult(payloadOf(busframe::encodeReply(busterms::OPERATION_SEND_MESSAGE, 5, QString(), {}))),
            "the codec does not see a refusal");
}

template <typename Codec>
std::unique_ptr<Peer> makeVerified()
{
    auto peer = std::make_unique<SocketPeer<Codec>>();
    verify(peer->codec());
    if constexpr (std::is_same_v<Codec, PossibleRecordCodec>) {
        verifySettings(peer->codec());
    }
    return peer;
}

} // namespace

std::unique_ptr<Peer> makePlainPeer()
{
    return std::make_unique<SocketPeer<PlainCodec>>();
}

std::unique_ptr<Peer> makePossiblePeer()
{
    return makeVerified<PossibleCodec>();
}

std::unique_ptr<Peer> makePossibleRecordPeer()
{
    return makeVerified<PossibleRecordCodec>();
}

std::unique_ptr<Peer> makeByHandPeer()
{
    return makeVerified<ByHandCodec>();
}
