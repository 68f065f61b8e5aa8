#ifndef CAPTUREFILE_H
#define CAPTUREFILE_H

#include <QByteArray>
#include <QString>
#include <QtGlobal>

#include <cstdio>
#include <memory>

struct pcap;

namespace tarvex::traffic {

/// A packet as it was captured.
struct Packet
{
    qint64 number = 0; ///< Its place in the capture, from 1.
    qint64 timeUs = 0; ///< When, in microseconds since 1970-01-01T00:00:00 UTC.
    int linkType = 0;  ///< What its first bytes are: one of libpcap's DLT_ numbers.
    int size = 0;      ///< On the wire, in bytes. The capture may have kept fewer.
    QByteArray bytes;  ///< What the capture has kept.
};

/// Reads the packets of a capture, which is a file or what comes through a pipe. It understands what libpcap
/// understands: pcap and pcapng. Reading blocks.
class CaptureFile
{
public:
    enum Result {
        Read,   ///< There was a packet.
        AtEnd,  ///< There is no further one.
        Damaged ///< What follows is no packet. errorString() says why.
    };

    /// Reads the beginning of \a file and closes it in the end. It may be null, and then nothing is open.
    explicit CaptureFile(std::FILE* file);
    ~CaptureFile();
    Q_DISABLE_COPY_MOVE(CaptureFile)

    /// Whether it is a capture. Otherwise errorString() says why not.
    bool isOpen() const { return m_pcap != nullptr; }

    /// Reads the next packet. Nothing is read after AtEnd and Damaged.
    Result next(Packet& packet);

    QString errorString() const { return m_errorString; }

private:
    struct Closer
    {
        void operator()(pcap* file) const;
    };

    std::unique_ptr<pcap, Closer> m_pcap;
    qint64 m_count = 0;
    QString m_errorString;
};

} // namespace tarvex::traffic

#endif // CAPTUREFILE_H
