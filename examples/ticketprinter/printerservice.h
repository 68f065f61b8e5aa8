#ifndef PRINTERSERVICE_H
#define PRINTERSERVICE_H

#include "client/tarvexcontroller.h"
#include "cmdlayer/tarvexcommand.h"

using tarvex::Message;

/// The service: three workers, each in a thread of its own, and the connections between them.
class PrinterService : public tarvex::TarvexController
{
    Q_OBJECT
public:
    explicit PrinterService(const QString& clientName);

    void doStart() override;

Q_SIGNALS:
    void commandReceived(TarvexCommand command);

private Q_SLOTS:
    void onMessage(Message message);

private:
    const QString m_clientName;
};

#endif // PRINTERSERVICE_H
