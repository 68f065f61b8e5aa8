#include "traffic/capturefile.h"

#include <pcap/pcap.h>

#include <array>
#include <climits>

namespace tarvex::traffic {

CaptureFile::CaptureFile(std::FILE* file)
{
    if (file == nullptr) {
        return;
    }
    std::array<char, PCAP_ERRBUF_SIZE> error{};
    m_pcap.reset(pcap_fopen_offline(file, error.data()));
    if (!m_pcap) {
        m_errorString = QString::fromLocal8Bit(error.data());
        std::fclose(file);
    }
}

CaptureFile::~CaptureFile() = default;

CaptureFile::Result CaptureFile::next(Packet& packet)
{
    if (!m_pcap) {
        return AtEnd;
    }
    constexpr qint64 US_PER_S = 1000000;
    pcap_pkthdr* header = nullptr;
    const u_char* bytes = nullptr;
    const int result = pcap_next_ex(m_pcap.get(), &header, &bytes);
    if (result != 1) {
        const bool isEnd = result == PCAP_ERROR_BREAK;
        m_errorString = isEnd ? QString() : QString::fromLocal8Bit(pcap_geterr(m_pcap.get()));
        m_pcap.reset();
        return isEnd ? AtEnd : Damaged;
    }
    packet.number = ++m_count;
    packet.timeUs = static_cast<qint64>(header->ts.tv_sec) * US_PER_S + header->ts.tv_usec;
    packet.linkType = pcap_datalink(m_pcap.get());
    packet.size = static_cast<int>(qMin<bpf_u_int32>(header->len, INT_MAX));
    packet.bytes = QByteArray(reinterpret_cast<const char*>(bytes), static_cast<int>(header->caplen));
    return Read;
}

void CaptureFile::Closer::operator()(pcap* file) const
{
    pcap_close(file);
}

} // namespace tarvex::traffic
