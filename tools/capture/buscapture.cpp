#include "buscapture.h"

#include <pcap/pcap.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <net/if.h>
#include <poll.h>
#include <unistd.h>

namespace tarvexcapture {

namespace {

const char* const ANY_INTERFACE = "any";
const char* const FILTER = "tcp port 45535 or tcp port 45537";
/// A packet on the loopback may be as large as this, in bytes.
constexpr int MAX_PACKET_SIZE = 262144;
/// What the kernel keeps while nobody reads, in bytes.
constexpr int KERNEL_BUFFER_SIZE = 16 << 20;
/// libpcap wants a limit for the waits of the kernel. This program waits by itself.
constexpr int TIMEOUT_MS = 100;

// A signal handler has no place for data of its own.
volatile std::sig_atomic_t isStopped = 0;

void stop(int)
{
    isStopped = 1;
}

sigset_t endSignals()
{
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        ::sigaddset(&signals, signal);
    }
    return signals;
}

/// A signal that was ignored when the program was started stays ignored, as background jobs need it. A write is
/// interrupted too, because the reader may have stopped reading.
void handleSignals()
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action = {};
        ::sigaction(signal, nullptr, &action);
        if (action.sa_handler != SIG_IGN) {
            action.sa_handler = stop;
            action.sa_flags = 0;
            ::sigaction(signal, &action, nullptr);
        }
    }
}

} // namespace

BusCapture::Result BusCapture::open(const std::string& interface)
{
    // libpcap has names for other things than interfaces as well. Some of them run code that this program must not run
    // with its rights.
    if (interface != ANY_INTERFACE && ::if_nametoindex(interface.c_str()) == 0) {
        return NoInterface;
    }
    std::array<char, PCAP_ERRBUF_SIZE> error{};
    m_capture.reset(pcap_create(interface.c_str(), error.data()));
    if (!m_capture) {
        return fail(error.data());
    }
    pcap* const capture = m_capture.get();
    pcap_set_snaplen(capture, MAX_PACKET_SIZE);
    pcap_set_buffer_size(capture, KERNEL_BUFFER_SIZE);
    pcap_set_timeout(capture, TIMEOUT_MS);
    pcap_set_immediate_mode(capture, 1); // a packet comes at once, not with the next ones
    const int result = pcap_activate(capture);
    if (result == PCAP_ERROR_PERM_DENIED || result == PCAP_ERROR_PROMISC_PERM_DENIED) {
        return NoRight;
    }
    if (result == PCAP_ERROR_NO_SUCH_DEVICE) {
        return NoInterface;
    }
    if (result < 0) {
        const std::string words = pcap_geterr(capture);
        return fail(interface + ": " + (words.empty() ? pcap_statustostr(result) : words));
    }
    return setUp(capture) ? Done : fail(interface + ": " + pcap_geterr(capture));
}

BusCapture::Result BusCapture::run()
{
    m_dumper.reset(pcap_dump_fopen(m_capture.get(), stdout));
    if (!m_dumper) {
        return fail(pcap_geterr(m_capture.get()));
    }
    if (pcap_dump_flush(m_dumper.get()) != 0) {
        return fail(std::string("cannot write to stdout: ") + std::strerror(errno));
    }
    return waitAndWrite();
}

std::string BusCapture::statistics() const
{
    std::string words = std::to_string(m_written) + (m_written == 1 ? " packet" : " packets");
    pcap_stat statistics{};
    if (pcap_stats(m_capture.get(), &statistics) == 0) {
        words += ", " + std::to_string(statistics.ps_drop + statistics.ps_ifdrop) + " more were lost";
    }
    return words;
}

BusCapture::Result BusCapture::fail(const std::string& words)
{
    m_errorString = words;
    return Failed;
}

bool BusCapture::setUp(pcap* capture)
{
    bpf_program program{};
    if (pcap_compile(capture, &program, FILTER, 1, PCAP_NETMASK_UNKNOWN) != 0) {
        return false;
    }
    const bool isSet = pcap_setfilter(capture, &program) == 0;
    pcap_freecode(&program);
    std::array<char, PCAP_ERRBUF_SIZE> error{};
    return isSet && pcap_setnonblock(capture, 1, error.data()) == 0;
}

/// Each packet is flushed, so that only whole packets count as written. pcap_dump() does not say whether it has
/// written, and a later flush has nothing to write any more. After an error no packet is written, because it would
/// stand behind a part of one.
void BusCapture::writePacket(const pcap_pkthdr& header, const unsigned char* bytes)
{
    if (m_writeError != 0) {
        return;
    }
    errno = 0;
    pcap_dump(reinterpret_cast<u_char*>(m_dumper.get()), &header, bytes);
    const bool isFlushed = pcap_dump_flush(m_dumper.get()) == 0;
    if (isFlushed && std::ferror(pcap_dump_file(m_dumper.get())) == 0) {
        ++m_written;
    } else {
        m_writeError = errno == 0 ? EIO : errno;
    }
}

/// Writes the packets that are there.
BusCapture::Result BusCapture::writePackets()
{
    const auto write = [](u_char* user, const pcap_pkthdr* header, const u_char* bytes) {
        reinterpret_cast<BusCapture*>(user)->writePacket(*header, bytes);
    };
    m_writeError = 0;
    if (pcap_dispatch(m_capture.get(), -1, write, reinterpret_cast<u_char*>(this)) < 0) {
        return fail(pcap_geterr(m_capture.get()));
    }
    if (m_writeError != 0 && m_writeError != EPIPE && isStopped == 0) {
        return fail(std::string("cannot write to stdout: ") + std::strerror(m_writeError));
    }
    return Done;
}

/// The signals are held back between the look at the flag and the wait, so none is missed. The wait also ends when the
/// reader goes away, which is seen as an error of stdout.
BusCapture::Result BusCapture::waitAndWrite()
{
    const sigset_t held = endSignals();
    sigset_t ordinary;
    ::sigprocmask(SIG_BLOCK, &held, &ordinary);
    handleSignals();
    std::array<pollfd, 2> files{{{pcap_get_selectable_fd(m_capture.get()), POLLIN, 0}, {STDOUT_FILENO, 0, 0}}};
    while (isStopped == 0) {
        if (::ppoll(files.data(), files.size(), nullptr, &ordinary) < 0 && errno != EINTR) {
            return fail(std::string("cannot wait: ") + std::strerror(errno));
        }
        if ((files[1].revents & (POLLERR | POLLHUP | POLLNVAL)) != 0) {
            return Done;
        }
        ::sigprocmask(SIG_SETMASK, &ordinary, nullptr);
        const Result result = writePackets();
        ::sigprocmask(SIG_BLOCK, &held, nullptr);
        if (result != Done) {
            return result;
        }
    }
    return Done;
}

void BusCapture::Closer::operator()(pcap* capture) const
{
    pcap_close(capture);
}

void BusCapture::Closer::operator()(pcap_dumper* dumper) const
{
    pcap_dump_close(dumper);
}

} // namespace tarvexcapture
