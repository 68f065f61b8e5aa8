#ifndef BUSCAPTURE_H
#define BUSCAPTURE_H

#include <memory>
#include <string>

struct pcap;
struct pcap_dumper;
struct pcap_pkthdr;

namespace tarvexcapture {

/// The packets of the bus's two ports on one interface.
class BusCapture
{
public:
    enum Result {
        Done,
        NoRight,     ///< This program may not capture.
        NoInterface, ///< There is no such interface.
        Failed       ///< errorString() says why.
    };

    /// Opens \a interface. Only this needs the right to capture.
    Result open(const std::string& interface);

    /// Writes each packet to stdout, as a pcap file, until a signal or the end of the reader.
    Result run();

    /// What was captured and what was lost, in words.
    std::string statistics() const;

    const std::string& errorString() const { return m_errorString; }

private:
    struct Closer
    {
        void operator()(pcap* capture) const;
        void operator()(pcap_dumper* dumper) const;
    };

    Result fail(const std::string& words);
    bool setUp(pcap* capture);
    void writePacket(const pcap_pkthdr& header, const unsigned char* bytes);
    Result writePackets();
    Result waitAndWrite();

    std::unique_ptr<pcap, Closer> m_capture;
    std::unique_ptr<pcap_dumper, Closer> m_dumper;
    long m_written = 0;
    int m_writeError = 0; ///< errno of the first packet that could not be written.
    std::string m_errorString;
};

} // namespace tarvexcapture

#endif // BUSCAPTURE_H
