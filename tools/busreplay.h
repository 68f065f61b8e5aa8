#ifndef BUSREPLAY_H
#define BUSREPLAY_H

#include "replay.h"
#include "replayscript.h"

#include <QHash>
#include <QTcpServer>

#include <map>
#include <vector>

namespace tarvexctl {

class FrameSocket;

/// Plays the bus of a recording to the clients that connect.
///
/// A request gets the reply that was recorded for it: that of the first recorded request of this client, not used yet,
/// with the same operation and data, or else with the same operation. A pushed message comes at its recorded time after
/// the handshake of the receiving connection, but not before the requests that were recorded before it, or the patience
/// for them is over.
class BusReplay : public Replay
{
    Q_OBJECT
public:
    /// Throws Failure when a port is taken.
    BusReplay(const Recording& recording, const ReplayChoice& choice, const ReplayPace& pace, Strictness strictness);
    ~BusReplay() override;

    void start() override;
    void giveUp() override;

    QStringList clients() const;

    /// How many commands are not pushed.
    int leftOutCommands() const { return m_leftOutCommands; }

    /// How many bad frames of the bus are not sent.
    int leftOutBadFrames() const { return m_leftOutBadFrames; }

private:
    struct Item;
    struct Player;
    struct Connection;

    void readRecording(const Recording& recording, const ReplayChoice& choice);
    static void makeIndex(Player& player);
    Player& playerOf(const QString& client);
    void listen(QTcpServer& server, tarvex::traffic::Port port);
    void accept(QTcpServer& server, tarvex::traffic::Port port);
    void take(Connection& connection, const tarvex::traffic::SeenFrame& frame);
    void introduce(Connection& connection, const tarvex::traffic::SeenFrame& handshake);
    void answer(Connection& connection, const tarvex::traffic::SeenFrame& request);
    void takeAcknowledgement(Connection& connection, const tarvex::traffic::SeenFrame& reply);
    Item* takeRequest(Player& player, const tarvex::traffic::SeenFrame& request);
    void reply(Connection& connection, const Item& item);
    void sendReply(Connection& connection, const QByteArray& frame);
    void remove(Connection& connection);
    void advance();
    /// \return after how many ms to look again
    qint64 advance(Player& player);
    qint64 restMs(Player& player, const Item& item) const;
    bool push(Player& player, Item& item);
    int unsentPushes() const;
    bool isOver();

    QTcpServer m_queryServer;
    QTcpServer m_receiverServer;
    std::map<QString, std::unique_ptr<Player>> m_players;
    std::vector<std::unique_ptr<Connection>> m_connections;
    std::unique_ptr<StepReader> m_stepReader;
    QTimer m_timer;
    int m_steps = 0;
    bool m_isInputOver = false;
    bool m_isStuck = false; ///< A push waits for a step, and there are no further ones.
    qint64 m_lastActivityMs = 0;
    int m_leftOutCommands = 0;
    int m_leftOutBadFrames = 0;
};

} // namespace tarvexctl

#endif // BUSREPLAY_H
