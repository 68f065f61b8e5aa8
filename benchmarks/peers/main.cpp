// Measures one way in which two processes talk. scripts/bench starts one such process for each way and asks them in
// turn, so that all of them see the same machine.

#include "figures.h"
#include "peer.h"
#include "require.h"

#include <QByteArray>
#include <QCoreApplication>

#include <cstdio>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <unistd.h>

namespace {

constexpr char USAGE[] =
    "usage: tarvex-peers WAY | --list\n"
    "\n"
    "Measures one of the ways that --list names. Prints \"ready PID\", then takes commands from its standard input:\n"
    "\n"
    "  prepare OPERATION BYTES COUNT   makes both sides ready for COUNT operations, after a few that warm them up\n"
    "  measure COUNT                   carries out some of them; prints for each its CPU time and its wall time, in "
    "ns,\n"
    "                                  and its page faults\n"
    "  run COUNT                       the same without figures and without a look at a clock\n"
    "\n"
    "The ways possible and possible_record go over QTcpSocket, as the plain bytes do.\n"
    "OPERATION is up, down or push. Each command is answered with \"done\" at the end.\n"
    "\n"
    "Exit status: 0 done, 2 wrong use. It ends by a signal when something does not work.\n";

const std::map<std::string, std::unique_ptr<Peer> (*)()> WAYS = {
    {"pause", makePausePeer},       {"plain", makePlainPeer},
    {"possible", makePossiblePeer}, {"possible_record", makePossibleRecordPeer},
    {"by_hand", makeByHandPeer},    {"project", makeProjectPeer},
#ifdef DBUS_DAEMON
    {"dbus", makeDBusPeer},
#endif
#ifdef MQTT_BROKER
    {"mqtt", makeMqttPeer},
#endif
};

const std::map<std::string, int (*)(const QList<QByteArray>&)> SERVERS = {
    {"frames", serveFrames},
#ifdef DBUS_DAEMON
    {"dbus", serveDBus},
#endif
#ifdef MQTT_BROKER
    {"mqtt", serveMqtt},
#endif
};

const std::map<std::string, Operation> OPERATIONS = {
    {"up", Operation::Up}, {"down", Operation::Down}, {"push", Operation::Push}};

/// Until the sockets' buffers, the heap and the zlib streams have the size that they then keep.
constexpr int WARMING_UP = 2;
/// The shortest text for which there is a sample.
constexpr int MIN_BYTES = 64;

void run(Peer& peer, int count)
{
    for (int number = 0; number < count; ++number) {
        peer.makeReady();
        peer.run();
    }
}

void measure(Peer& peer, int count)
{
    for (int number = 0; number < count; ++number) {
        peer.makeReady();
        const Figures before = Figures::now();
        peer.run();
        const Figures after = Figures::now();
        std::cout << after.cpu - before.cpu << ' ' << after.wall - before.wall << ' ' << after.faults - before.faults
                  << '\n';
    }
}

bool prepare(Peer& peer, std::istream& words)
{
    std::string operation;
    int bytes = 0;
    int count = 0;
    words >> operation >> bytes >> count;
    const auto known = OPERATIONS.find(operation);
    if (words.fail() || known == OPERATIONS.end() || bytes < MIN_BYTES) {
        return false;
    }
    peer.prepare(known->second, bytes, WARMING_UP + count);
    run(peer, WARMING_UP);
    return true;
}

/// Carries one command out. \return false if it is none.
bool carryOut(Peer& peer, const std::string& line)
{
    std::istringstream words(line);
    std::string verb;
    words >> verb;
    if (verb == "prepare") {
        return prepare(peer, words);
    }
    int count = 0;
    words >> count;
    if (words.fail() || (verb != "measure" && verb != "run")) {
        return false;
    }
    if (verb == "run") {
        run(peer, count);
    } else {
        measure(peer, count);
    }
    return true;
}

int serveCommands(const std::string& way)
{
    const std::unique_ptr<Peer> peer = WAYS.at(way)();
    std::cout << "ready " << ::getpid() << std::endl;
    for (std::string line; std::getline(std::cin, line);) {
        if (!carryOut(*peer, line)) {
            std::cerr << "tarvex-peers: unknown command '" << line << "'\n";
            return 2;
        }
        std::cout << "done" << std::endl;
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    const std::string first = argc > 1 ? argv[1] : "";
    if (first == "--help") {
        std::cout << USAGE;
        return 0;
    }
    if (first == "--list") {
        for (const auto& way : WAYS) {
            std::cout << way.first << '\n';
        }
        return 0;
    }
    QCoreApplication application(argc, argv); // the sockets need it
    if (first == "--serve" && argc > 2 && SERVERS.count(argv[2]) > 0) {
        return SERVERS.at(argv[2])(QList<QByteArray>(argv + 3, argv + argc));
    }
    if (argc != 2 || WAYS.count(first) == 0) {
        std::cerr << USAGE;
        return 2;
    }
    return serveCommands(first);
}
