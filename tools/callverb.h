#ifndef CALLVERB_H
#define CALLVERB_H

#include <QString>

namespace tarvexctl {

class Output;

/// What to send, and how to wait for the reply.
struct Call
{
    QString receiver;
    QString text; ///< See commandText().
    int timeoutMs;
    bool silenceIsOk; ///< No reply is a success: many services answer only what fails.
};

/// Sends a command as \a clientName and writes the reply, which is the first message with the command's uid. Throws
/// Failure, with what the receiver says when it answers with the command "commandError".
void callClient(const QString& clientName, const Call& call, Output& output);

} // namespace tarvexctl

#endif // CALLVERB_H
