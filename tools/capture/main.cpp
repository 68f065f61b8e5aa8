// tarvex-capture: captures the packets of the bus's two ports and writes them to stdout as a pcap file. It is apart
// from tarvexctl, so that only this small program needs the right to capture.

#include "buscapture.h"
#include "privileges.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <unistd.h>

using tarvexcapture::BusCapture;

namespace {

/// The same as those of tarvexctl.
enum ExitStatus {
    Done = 0,
    Refused = 1,
    WrongUse = 2
};

const char* const HELP = "Captures the packets of the local Tarvex bus and writes them to stdout as a pcap file.\n"
                         "\n"
                         "Usage: tarvex-capture [INTERFACE]\n"
                         "\n"
                         "  INTERFACE   where to capture; lo when there is none\n"
                         "  -h, --help  Shows this text\n"
                         "\n"
                         "tarvexctl monitor --capture starts this program. By hand:\n"
                         "  tarvex-capture > bus.pcap            until Ctrl+C\n"
                         "  tarvex-capture | tarvexctl decode -\n"
                         "\n"
                         "It needs the right to capture: that of root, or the capability cap_net_raw.\n"
                         "Exit status: 0 done, 1 no right or a failure, 2 wrong use.\n";

/// Takes the numbers of the standard streams that are not open, so that no other file gets them.
void holdStandardStreams()
{
    int descriptor = 0;
    while (descriptor >= 0 && descriptor <= STDERR_FILENO) {
        descriptor = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    }
    if (descriptor > STDERR_FILENO) {
        ::close(descriptor);
    }
    std::signal(SIGPIPE, SIG_IGN);
}

void say(const std::string& words)
{
    std::fprintf(stderr, "tarvex-capture: %s\n", words.c_str());
}

/// This program's file, to be named to whoever gives the right.
std::string ownFile()
{
    char* const path = ::realpath("/proc/self/exe", nullptr);
    std::string file = path == nullptr ? "/usr/bin/tarvex-capture" : path;
    std::free(path); // NOLINT(cppcoreguidelines-no-malloc): realpath() has allocated it
    return file;
}

/// \return whether the capture is open. Otherwise \a status says how the program ends.
bool isOpen(BusCapture::Result opened, const BusCapture& capture, const std::string& interface, ExitStatus& status)
{
    status = Refused;
    switch (opened) {
    case BusCapture::NoRight:
        say("no right to capture: run as root, or let an administrator run `setcap cap_net_raw+ep " + ownFile() + "`");
        break;
    case BusCapture::NoInterface:
        say("there is no interface " + interface);
        status = WrongUse;
        break;
    case BusCapture::Failed:
        say("cannot capture: " + capture.errorString());
        break;
    case BusCapture::Done:
        return true;
    }
    return false;
}

int capture(const std::string& interface)
{
    BusCapture capture;
    const BusCapture::Result opened = capture.open(interface);
    if (!tarvexcapture::dropPrivileges()) {
        say("cannot give up its privileges");
        return Refused;
    }
    ExitStatus status = Done;
    if (!isOpen(opened, capture, interface, status)) {
        return status;
    }
    say("capturing on " + interface);
    const bool isDone = capture.run() == BusCapture::Done;
    if (!isDone) {
        say(capture.errorString());
    }
    say(capture.statistics());
    return isDone ? Done : Refused;
}

} // namespace

int main(int argc, char** argv)
{
    holdStandardStreams();
    const std::string argument = argc > 1 ? argv[1] : "lo";
    if (argument == "-h" || argument == "--help") {
        return std::fputs(HELP, stdout) < 0 || std::fflush(stdout) != 0 ? Refused : Done;
    }
    if (argc > 2 || argument.empty() || argument[0] == '-') {
        say(argc > 2 ? "at most one INTERFACE; see --help" : argument + " is no INTERFACE; see --help");
        return WrongUse;
    }
    if (::isatty(STDOUT_FILENO) == 1) {
        say("stdout is a terminal: send it to a file or into a pipe; see --help");
        return WrongUse;
    }
    return capture(argument);
}
