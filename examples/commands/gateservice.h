#ifndef GATESERVICE_H
#define GATESERVICE_H

#include "client/tarvexcontroller.h"
#include "cmdlayer/tarvexcommand.h"

using tarvex::Message;

/// The service: joins the bus, and turns its messages into commands.
class GateService : public tarvex::TarvexController
{
    Q_OBJECT
public:
    explicit GateService(const QString& clientName);

    void doStart() override;

Q_SIGNALS:
    void commandReceived(TarvexCommand command);
    void answerReady(Message message);

private Q_SLOTS:
    void onMessage(Message message);
    void onAnswer(TarvexCommand answer);

private:
    const QString m_clientName;
};

#endif // GATESERVICE_H
