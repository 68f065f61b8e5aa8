#include "busreplay.h"

#include "framesocket.h"
#include "output.h"
#include "programwords.h"
#include "traffic/operations.h"

#include <algorithm>
#include <deque>

namespace tarvexctl {

using tarvex::traffic::Direction;
using tarvex::traffic::Kind;
using tarvex::traffic::Port;
using tarvex::traffic::SeenFrame;

namespace {

constexpr quint16 CODE_NOT_RECORDED = 4;
constexpr qint64 MAX_DELAY_MS = 3600000;
constexpr int SAME_DATA = 3;
/// While somebody must do the next thing.
constexpr qint64 LOOK_INTERVAL_MS = 50;

bool isHandshake(const SeenFrame& frame)
{
    return frame.operation == tarvex::traffic::handshakeOperation();
}

/// Log lines come when they come. No push waits for them, and no end.
bool isLogLine(const SeenFrame& frame)
{
    const QString command = frame.command();
    return command == tarvex::traffic::commands::saveLog() || command == tarvex::traffic::commands::showLogMessage();
}

QString requestWords(const SeenFrame& frame)
{
    const QString command = frame.command();
    return command.isEmpty() ? Words::tr("request %1").arg(frame.operation)
                             : Words::tr("request %1 %2").arg(frame.operation, command);
}

QString acknowledgementWords(const SeenFrame& push)
{
    return Words::tr("acknowledgement of %1").arg(push.command().isEmpty() ? push.uid() : push.command());
}

/// How well a request fits a recorded one of the same operation; 0 when it is another one.
int rankOf(const SeenFrame& recorded, const SeenFrame& request)
{
    if (replayDifferences(QString(), recorded.data, request.data, Strictness::Ordinary).isEmpty()) {
        return SAME_DATA;
    }
    if (recorded.command() == request.command() && recorded.to() == request.to()) {
        return 2;
    }
    return isLogLine(request) || recorded.isMessage() ? 0 : 1;
}

} // namespace

/// A request of the recording with its reply, or a push with its acknowledgement.
struct BusReplay::Item
{
    SeenFrame frame;
    std::optional<SeenFrame> answer;
    qint64 offsetUs;
    bool isDone = false;     ///< The request has come, or the push is sent.
    bool isAnswered = false; ///< The push is acknowledged.

    bool isPush() const { return frame.direction == Direction::Out; }

    /// A request that may be missing.
    bool isOptional() const { return !isPush() && (isLogLine(frame) || isHandshake(frame)); }
};

/// One client of the recording.
struct BusReplay::Player
{
    QString client;
    std::vector<Item> items;
    std::size_t next = 0; ///< The first item that the replay still waits for.
    /// The requests that have not come yet, in their order. A recording may hold a hundred thousand of them.
    std::map<std::pair<QString, Port>, std::deque<Item*>> requests;
    std::deque<Item*> unacknowledged; ///< The pushes that are sent and not acknowledged yet.
    int unsent = 0;                   ///< How many pushes are not sent yet.
    int missing = 0; ///< How many requests, and acknowledgements that were recorded, have not come yet.
    Connection* receiver = nullptr;
    bool hasConnected = false;
    qint64 startMs = -1;      ///< When its receiving connection introduced itself.
    qint64 startOffsetUs = 0; ///< The same in the recording.
};

struct BusReplay::Connection
{
    FrameSocket* socket = nullptr;
    Port port = Port::Query;
    Player* player = nullptr;
    int lateReplies = 0; ///< That are not sent yet.
    QObject timers;      ///< Ends the timers of the late replies with the connection.
};

BusReplay::BusReplay(const Recording& recording, const ReplayChoice& choice, const ReplayPace& pace,
                     Strictness strictness)
    : Replay(pace, strictness)
{
    readRecording(recording, choice);
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, QOverload<>::of(&BusReplay::advance));
    listen(m_queryServer, Port::Query);
    listen(m_receiverServer, Port::Receiver);
}

BusReplay::~BusReplay() = default;

void BusReplay::start()
{
    begin();
    if (pace().isByStep) {
        m_stepReader = std::make_unique<StepReader>();
        connect(m_stepReader.get(), &StepReader::stepped, this, [this] {
            ++m_steps;
            m_timer.start(0);
        });
        connect(m_stepReader.get(), &StepReader::closed, this, [this] { m_isInputOver = true; });
    }
    m_timer.start(0);
}

void BusReplay::giveUp()
{
    for (const auto& entry : m_players) {
        for (const Item& item : entry.second->items) {
            if (item.isPush() ? item.isDone && item.answer && !item.isAnswered : !item.isDone && !item.isOptional()) {
                tellOfFrame(item.frame, item.isPush() ? acknowledgementWords(item.frame) : requestWords(item.frame),
                            true);
            }
        }
    }
}

QStringList BusReplay::clients() const
{
    QStringList names;
    for (const auto& entry : m_players) {
        names.append(entry.first);
    }
    return names;
}

void BusReplay::readRecording(const Recording& recording, const ReplayChoice& choice)
{
    QHash<qint64, QPair<Player*, std::size_t>> requests;
    qint64 offsetUs = 0;
    qint64 lastNumber = 0;
    for (const RecordedFrame& recorded : recording.frames) {
        const SeenFrame& frame = recorded.frame;
        offsetUs = qMax(offsetUs, frame.timeUs - recording.frames.first().frame.timeUs);
        if (frame.number <= lastNumber) {
            requests.clear(); // the bus was started again
        }
        lastNumber = frame.number;
        const QString client = frame.client.isEmpty() && frame.direction == Direction::In ? frame.from() : frame.client;
        const bool isChosen = !client.isEmpty() && (choice.only.isEmpty() || choice.only.contains(client));
        if (frame.kind == Kind::Reply && requests.contains(frame.answers)) {
            const auto place = requests.value(frame.answers);
            place.first->items.at(place.second).answer = frame;
        } else if (frame.kind == Kind::Bad && frame.direction == Direction::Out && isChosen) {
            ++m_leftOutBadFrames;
        } else if (frame.kind == Kind::Request && isChosen && !frame.isDataLeftOut) {
            if (frame.direction == Direction::Out && !choice.withCommands && isRealCommand(frame)) {
                ++m_leftOutCommands;
                continue;
            }
            Player& player = playerOf(client);
            if (isHandshake(frame) && frame.port == Port::Receiver && player.startOffsetUs == 0) {
                player.startOffsetUs = offsetUs;
            }
            requests.insert(frame.number, {&player, player.items.size()});
            player.items.push_back({frame, std::nullopt, offsetUs});
            player.items.back().frame.client = client;
        }
    }
    for (const auto& entry : m_players) {
        makeIndex(*entry.second);
    }
}

/// Prepares the look-ups, when the items do not move any more.
void BusReplay::makeIndex(Player& player)
{
    for (Item& item : player.items) {
        if (item.isPush()) {
            ++player.unsent;
            player.missing += item.answer ? 1 : 0;
        } else {
            player.requests[{item.frame.operation, item.frame.port}].push_back(&item);
            player.missing += item.isOptional() ? 0 : 1;
        }
    }
}

BusReplay::Player& BusReplay::playerOf(const QString& client)
{
    std::unique_ptr<Player>& player = m_players[client];
    if (!player) {
        player = std::make_unique<Player>();
        player->client = client;
    }
    return *player;
}

void BusReplay::listen(QTcpServer& server, Port port)
{
    const quint16 number = tarvex::traffic::portNumber(port);
    if (!server.listen(QHostAddress(QHostAddress::LocalHost), number)) {
        throw Failure(Refused,
                      Words::tr("cannot play the bus on port %1: %2; end the bus that is there first")
                          .arg(QString::number(number), server.errorString()));
    }
    connect(&server, &QTcpServer::newConnection, this, [this, &server, port] { accept(server, port); });
}

void BusReplay::accept(QTcpServer& server, Port port)
{
    while (QTcpSocket* const socket = server.nextPendingConnection()) {
        m_connections.push_back(std::make_unique<Connection>());
        Connection& connection = *m_connections.back();
        connection.socket = new FrameSocket(socket, this);
        connection.port = port;
        connect(connection.socket, &FrameSocket::received, this,
                [this, &connection](const SeenFrame& frame) { take(connection, frame); });
        connect(
            connection.socket, &FrameSocket::closed, this, [this, &connection] { remove(connection); },
            Qt::QueuedConnection);
    }
}

void BusReplay::take(Connection& connection, const SeenFrame& frame)
{
    m_lastActivityMs = elapsedMs();
    SeenFrame came = frame;
    came.port = connection.port;
    came.direction = Direction::In;
    came.client = connection.player != nullptr ? connection.player->client : QString();
    if (came.kind == Kind::Request && isHandshake(came)) {
        introduce(connection, came);
    } else if (came.kind == Kind::Request && connection.player != nullptr) {
        answer(connection, came);
    } else if (came.kind == Kind::Reply && connection.player != nullptr) {
        takeAcknowledgement(connection, came);
    } else if (came.kind == Kind::Bad) {
        tellOfEvent(came.client, Words::tr("bad frame"), came.problem);
    }
    m_timer.start(0);
}

void BusReplay::introduce(Connection& connection, const SeenFrame& handshake)
{
    const QString name = handshake.from();
    const auto found = m_players.find(name);
    if (found == m_players.end()) {
        complain(Words::tr("\"%1\" is not played; its handshake is refused").arg(name));
        connection.socket->send(
            tarvex::traffic::encodeReply(handshake.operation, CODE_NOT_RECORDED, QStringLiteral("Not recorded"), {}));
        return;
    }
    Player& player = *found->second;
    connection.player = &player;
    player.hasConnected = true;
    if (connection.port == Port::Receiver) {
        player.receiver = &connection;
        if (player.startMs < 0) {
            player.startMs = elapsedMs();
        }
    }
    SeenFrame named = handshake;
    named.client = name;
    answer(connection, named);
}

void BusReplay::answer(Connection& connection, const SeenFrame& request)
{
    Item* const item = takeRequest(*connection.player, request);
    if (item == nullptr) {
        const bool isHarmless = isHandshake(request) || isLogLine(request);
        if (!isHarmless) {
            tellOfFrame(request, requestWords(request), false);
        }
        connection.socket->send(tarvex::traffic::encodeReply(request.operation, isHarmless ? 0 : CODE_NOT_RECORDED,
                                                             isHarmless ? QString() : QStringLiteral("Not recorded"),
                                                             {}));
        return;
    }
    item->isDone = true;
    connection.player->missing -= item->isOptional() ? 0 : 1;
    if (!isLogLine(request)) {
        compare(item->frame, requestWords(item->frame), request);
    }
    reply(connection, *item);
}

void BusReplay::reply(Connection& connection, const Item& item)
{
    if (!item.answer) {
        return; // the bus of the recording has not answered either
    }
    const SeenFrame& recorded = *item.answer;
    const QByteArray frame = tarvex::traffic::encodeReply(recorded.operation, recorded.code, recorded.description,
                                                          uids().withFresh(recorded.data));
    const qint64 delayMs = pace().isByStep ? 0 : pace().dueMs(qMax<qint64>(recorded.tookUs, 0));
    if (delayMs == 0) {
        sendReply(connection, frame);
        return;
    }
    ++connection.lateReplies;
    QTimer::singleShot(static_cast<int>(qMin<qint64>(delayMs, MAX_DELAY_MS)), &connection.timers,
                       [this, &connection, frame] {
                           --connection.lateReplies;
                           sendReply(connection, frame);
                       });
}

void BusReplay::sendReply(Connection& connection, const QByteArray& frame)
{
    connection.socket->send(frame);
    countSent();
    m_lastActivityMs = elapsedMs();
    m_timer.start(0);
}

void BusReplay::takeAcknowledgement(Connection& connection, const SeenFrame& reply)
{
    const QString uid = uids().withRecorded(reply.data).value(QStringLiteral("uid")).toString();
    Player& player = *connection.player;
    const auto found = std::find_if(player.unacknowledged.begin(), player.unacknowledged.end(),
                                    [&](const Item* item) { return item->frame.uid() == uid; });
    if (found == player.unacknowledged.end()) {
        return;
    }
    Item& item = **found;
    player.unacknowledged.erase(found);
    item.isAnswered = true;
    if (item.answer) {
        --player.missing;
        compare(*item.answer, acknowledgementWords(item.frame), reply);
    }
}

/// Finds the recorded request that \a request is, which is waited for no longer then: with the same data if there is
/// one, otherwise the first of its operation.
BusReplay::Item* BusReplay::takeRequest(Player& player, const SeenFrame& request)
{
    const auto found = player.requests.find({request.operation, request.port});
    if (found == player.requests.end()) {
        return nullptr;
    }
    std::deque<Item*>& items = found->second;
    auto best = items.end();
    int bestRank = 0;
    for (auto at = items.begin(); at != items.end() && bestRank < SAME_DATA; ++at) {
        const int rank = rankOf((*at)->frame, request);
        if (rank > bestRank) {
            best = at;
            bestRank = rank;
        }
    }
    if (best == items.end()) {
        return nullptr;
    }
    Item* const item = *best;
    items.erase(best);
    return item;
}

void BusReplay::remove(Connection& connection)
{
    for (const auto& entry : m_players) {
        if (entry.second->receiver == &connection) {
            entry.second->receiver = nullptr;
        }
    }
    connection.socket->deleteLater();
    const auto found = std::find_if(m_connections.begin(), m_connections.end(),
                                    [&](const auto& owned) { return owned.get() == &connection; });
    m_connections.erase(found);
}

void BusReplay::advance()
{
    qint64 nextMs = LOOK_INTERVAL_MS;
    for (const auto& entry : m_players) {
        nextMs = qMin(nextMs, advance(*entry.second));
    }
    if (m_isStuck) {
        setInputEnded(unsentPushes());
        end();
    } else if (isOver()) {
        giveUp();
        end();
    } else {
        m_timer.start(static_cast<int>(nextMs));
    }
}

qint64 BusReplay::advance(Player& player)
{
    for (; player.next < player.items.size(); ++player.next) {
        Item& item = player.items[player.next];
        if (item.isDone || item.isOptional()) {
            continue;
        }
        if (player.startMs < 0 || player.receiver == nullptr) {
            return LOOK_INTERVAL_MS;
        }
        const qint64 rest = restMs(player, item);
        // A request that has not come in time is not waited for any longer.
        if (rest > 0 || (item.isPush() && !push(player, item))) {
            return qBound<qint64>(1, rest, LOOK_INTERVAL_MS);
        }
    }
    return LOOK_INTERVAL_MS;
}

/// How long until a push is due, or until a request is waited for no longer.
qint64 BusReplay::restMs(Player& player, const Item& item) const
{
    const qint64 offsetUs = qMax<qint64>(item.offsetUs - player.startOffsetUs, 0);
    const qint64 dueMs = pace().isByStep ? player.startMs : player.startMs + pace().dueMs(offsetUs);
    const qint64 patienceMs = item.isPush() ? 0 : pace().patienceMs;
    return dueMs + patienceMs - elapsedMs();
}

/// \return false when nobody has asked for the next step yet
bool BusReplay::push(Player& player, Item& item)
{
    if (pace().isByStep) {
        if (m_steps == 0) {
            m_isStuck = m_isInputOver;
            return false;
        }
        --m_steps;
    }
    item.isDone = true;
    --player.unsent;
    player.unacknowledged.push_back(&item);
    player.receiver->socket->send(
        tarvex::traffic::encodeRequest(item.frame.operation, uids().withFresh(item.frame.data)));
    countSent();
    m_lastActivityMs = elapsedMs();
    return true;
}

int BusReplay::unsentPushes() const
{
    int count = 0;
    for (const auto& entry : m_players) {
        count += entry.second->unsent;
    }
    return count;
}

/// Whether every client was there, every push and reply is sent, and every request has come or nothing comes any more.
bool BusReplay::isOver()
{
    for (const auto& connection : m_connections) {
        if (connection->lateReplies > 0) {
            return false;
        }
    }
    bool isComplete = true;
    for (const auto& entry : m_players) {
        const Player& player = *entry.second;
        if (!player.hasConnected || player.unsent > 0) {
            return false;
        }
        isComplete = isComplete && player.missing == 0;
    }
    return isComplete || elapsedMs() - m_lastActivityMs > pace().patienceMs;
}

} // namespace tarvexctl
