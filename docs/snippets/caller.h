#ifndef CALLER_H
#define CALLER_H

#include <tarvexcommand.h>
#include <tarvexqueryworker.h>

#include <QMap>
#include <QStringList>

using tarvex::Message;

/// A query worker that also calls other services: sends them commands, and tells what came of each. Everything here
/// runs in the worker's thread, so nothing needs a lock.
class Caller : public tarvex::TarvexQueryWorker
{
    Q_OBJECT
public:
    Caller(const QString& clientName, int replyTimeoutMs);

    void doSendState() override { }

    void doApplySettings(tarvex::ClientSettings settings) override { Q_UNUSED(settings) }

public Q_SLOTS:
    /// Sends \a command to its agent() under a uid of its own. One of the two signals below follows.
    /// \return the uid, by which the command of that signal can be told. For callers in this thread.
    QString call(TarvexCommand command);

    /// For all that is pushed: connect the message worker's unprocessedMessage() here.
    void take(Message message);

Q_SIGNALS:
    void succeeded(TarvexCommand command, TarvexCommand reply);
    void failed(TarvexCommand command, QString why);

    /// Somebody asks this service for something.
    void commandReceived(TarvexCommand command);

private Q_SLOTS:
    void sendUnsent();

private:
    void fail(const QString& uid, const QString& why);

    const QString m_prefix; ///< Of the uids of our calls.
    const int m_replyTimeoutMs;
    QMap<QString, TarvexCommand> m_calls; ///< By uid: what is not answered yet.
    QStringList m_unsent;                 ///< Uids of calls that the bus has not confirmed.
};

#endif // CALLER_H
