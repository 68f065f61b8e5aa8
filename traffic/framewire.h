#ifndef FRAMEWIRE_H
#define FRAMEWIRE_H

#include "traffic/seenframe.h"

#include <QByteArray>
#include <QString>
#include <QVariantMap>

#include <memory>

namespace tarvex {
class FrameStream;
}

/// Frames as bytes, for those who speak to a bus or to a client without the library's connections.
namespace tarvex::traffic {

/// The number of a port on 127.0.0.1.
quint16 portNumber(Port port);

QByteArray encodeRequest(const QString& operation, const QVariantMap& data);
QByteArray encodeReply(const QString& operation, quint16 code, const QString& description, const QVariantMap& data);

/// The data of a handshake.
QVariantMap handshakeData(const QString& clientName);
QString handshakeOperation();

/// The data with which a client acknowledges a pushed message.
QVariantMap acknowledgementData(const QVariantMap& message);

/// Finds the frames in what a connection delivers in pieces of any size, and decodes them.
class FrameReader
{
public:
    FrameReader();
    ~FrameReader();
    Q_DISABLE_COPY_MOVE(FrameReader)

    void append(const QByteArray& bytes);

    /// Hands out the next frame: its kind, size and contents. Where the bytes are no frame it is Bad, and there is no
    /// further one. \return false when more bytes are needed
    bool next(SeenFrame& frame);

private:
    const std::unique_ptr<FrameStream> m_stream;
    bool m_isLost = false;
};

} // namespace tarvex::traffic

#endif // FRAMEWIRE_H
