#ifndef CALLER_H
#define CALLER_H

#include <tarvexcommand.h>
#include <tarvexqueryworker.h>

#include <QMap>
#include <QStringList>

using tarvex::Message;

//! [class]
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
    /// \return the uid, by which a caller in this thread recognises the command of that signal.
    QString call(TarvexCommand command);

    /// Takes everything that is pushed. Connect the message worker's unprocessedMessage() to it.
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

    const QString m_prefix; ///< The uids of our calls begin with it.
    const int m_replyTimeoutMs;
    QMap<QString, TarvexCommand> m_calls; ///< The calls that are not answered yet, by uid.
    QStringList m_unsent;                 ///< Uids of calls that the bus has not confirmed.
};

//! [class]

#endif // CALLER_H
