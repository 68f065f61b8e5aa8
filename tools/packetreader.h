#ifndef PACKETREADER_H
#define PACKETREADER_H

#include <QObject>
#include <QString>

#include <condition_variable>
#include <cstdio>
#include <functional>
#include <mutex>

namespace tarvex::traffic {
struct SeenFrame;
}

namespace tarvexctl {

/// Reads a capture as it comes through a pipe, in a thread of its own, because reading blocks. Another thread takes the
/// frames, one at a time; the reader waits until a frame is taken. So it is held up when the taker is slower than the
/// bus.
class PacketReader : public QObject
{
    Q_OBJECT
public:
    /// Takes \a packets over.
    explicit PacketReader(std::FILE* packets) : m_packets(packets) { }

    /// Calls \a taker with the frame that waits; does nothing when there is none. For the other thread.
    void take(const std::function<void(const tarvex::traffic::SeenFrame& frame)>& taker);

    /// Nobody takes frames any more, so the reader does not wait. For the other thread.
    void leave();

    /// Why it could not read on; empty at the end of the capture. Call it after ended().
    QString errorString();

public Q_SLOTS:
    /// Reads up to the end.
    void read();

Q_SIGNALS:
    /// A frame waits.
    void ready();
    void ended();

private:
    void offer(const tarvex::traffic::SeenFrame& frame);

    std::FILE* m_packets;
    // Standard types, because the thread sanitizer does not see those of Qt.
    std::mutex m_mutex;
    std::condition_variable m_changed;
    const tarvex::traffic::SeenFrame* m_frame = nullptr;
    bool m_isLeft = false;
    QString m_errorString;
};

} // namespace tarvexctl

#endif // PACKETREADER_H
