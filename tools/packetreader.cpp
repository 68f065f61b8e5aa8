#include "packetreader.h"

#include "traffic/capturefile.h"
#include "traffic/packetobserver.h"

#include <utility>

using namespace tarvex::traffic;

namespace tarvexctl {

void PacketReader::take(const std::function<void(const SeenFrame& frame)>& taker)
{
    const SeenFrame* frame = nullptr;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        frame = m_frame;
    }
    if (frame == nullptr) {
        return;
    }
    taker(*frame);
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_frame = nullptr;
    }
    m_changed.notify_one();
}

void PacketReader::leave()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isLeft = true;
    }
    m_changed.notify_one();
}

QString PacketReader::errorString()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_errorString;
}

void PacketReader::read()
{
    CaptureFile file(std::exchange(m_packets, nullptr));
    PacketObserver observer(PacketObserver::WithoutPacket, [this](const SeenFrame& frame) { offer(frame); });
    Packet packet;
    while (file.next(packet) == CaptureFile::Read) {
        observer.take(packet);
    }
    observer.finish();
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_errorString = file.errorString();
    }
    Q_EMIT ended();
}

/// Returns when the frame is taken.
void PacketReader::offer(const SeenFrame& frame)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_frame = &frame;
    }
    Q_EMIT ready();
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [this] { return m_frame == nullptr || m_isLeft; });
    m_frame = nullptr;
}

} // namespace tarvexctl
