#ifndef ECHOWORKER_H
#define ECHOWORKER_H

#include "client/tarvexqueryworker.h"

using tarvex::Message;

/// Answers the command "echo" with its own data, behind a prefix from the settings. Everything here runs in the query
/// worker's thread, so nothing needs a lock.
class EchoWorker : public tarvex::TarvexQueryWorker
{
    Q_OBJECT
public:
    EchoWorker(int stateInterval, const QString& clientName);

    void doSendState() override;
    void doApplySettings(tarvex::ClientSettings settings) override;

public Q_SLOTS:
    void answer(Message message);

private Q_SLOTS:
    void storeDefaults();
    void answerWaiting();

private:
    QString m_prefix;
    bool m_hasSettings = false;
    QList<Message> m_waiting;
    int m_answered = 0;
};

#endif // ECHOWORKER_H
