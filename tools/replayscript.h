#ifndef REPLAYSCRIPT_H
#define REPLAYSCRIPT_H

#include "recording.h"

#include <QList>
#include <QString>
#include <QStringList>

namespace tarvexctl {

/// What of a recording is played.
struct ReplayChoice
{
    QStringList only;          ///< These clients; all when it is empty.
    bool withCommands = false; ///< Also messages whose text is a command.
};

/// One step of a replay.
struct ReplayStep
{
    enum Type {
        Open,        ///< Connects.
        Send,        ///< Sends the frame.
        ExpectReply, ///< Waits for the reply; the frame is the recorded one.
        ExpectPush,  ///< Waits for the pushed message; the same.
        Close        ///< Closes the connection.
    };

    Type type = Open;
    int session = 0;
    tarvex::traffic::SeenFrame frame;
    qint64 offsetUs = 0; ///< Since the first step.
};

/// One connection of a client.
struct ReplaySession
{
    QString client;
    tarvex::traffic::Port port = tarvex::traffic::Port::Query;
};

/// The clients' side of a recording, as steps in their order.
struct ReplayScript
{
    QList<ReplaySession> sessions;
    QList<ReplayStep> steps;
    // What is left out:
    int commands = 0;    ///< Messages that are commands.
    int withoutData = 0; ///< Requests whose data was too large to be recorded.
    int nameless = 0;    ///< Connections of which the client is not known.
    int badFrames = 0;   ///< What the clients have sent and is no frame.

    QStringList clients() const;
};

/// Makes the script. A connection whose handshake was not recorded introduces itself first.
ReplayScript clientScript(const Recording& recording, const ReplayChoice& choice);

/// Whether a replay needs permission for this frame: it carries a command that somebody carries out. The two with which
/// the bus tells that something has changed are none.
bool isRealCommand(const tarvex::traffic::SeenFrame& frame);

} // namespace tarvexctl

#endif // REPLAYSCRIPT_H
