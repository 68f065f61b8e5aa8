#include "packetreader.h"

#include "traffic/capturefile.h"
#include "traffic/packetobserver.h"

#include <utility>

using namespace tarvex::traffic;

namespace tarvexctl {

void PacketReader::read()
{
    CaptureFile file(std::exchange(m_packets, nullptr));
    PacketObserver observer(PacketObserver::WithoutPacket, [this](const SeenFrame& frame) { Q_EMIT seen(&frame); });
    Packet packet;
    while (file.next(packet) == CaptureFile::Read) {
        observer.take(packet);
    }
    observer.finish();
    Q_EMIT ended(file.errorString());
}

} // namespace tarvexctl
