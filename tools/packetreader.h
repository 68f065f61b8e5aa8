#ifndef PACKETREADER_H
#define PACKETREADER_H

#include <QObject>
#include <QString>

#include <cstdio>

namespace tarvex::traffic {
struct SeenFrame;
}

namespace tarvexctl {

/// Reads a capture as it comes through a pipe, in a thread of its own, because reading blocks.
class PacketReader : public QObject
{
    Q_OBJECT
public:
    /// Takes \a packets over.
    explicit PacketReader(std::FILE* packets) : m_packets(packets) { }

public Q_SLOTS:
    /// Reads up to the end.
    void read();

Q_SIGNALS:
    /// The frame is valid until the receivers have returned. So they must block the reader, which holds it up as well
    /// when they are slower than the bus.
    void seen(const tarvex::traffic::SeenFrame* frame);
    /// \a error says why it could not read on. It is empty at the end of the capture.
    void ended(const QString& error);

private:
    std::FILE* m_packets;
};

} // namespace tarvexctl

#endif // PACKETREADER_H
