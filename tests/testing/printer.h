#ifndef PRINTER_H
#define PRINTER_H

#include "client/tarvexcontroller.h"
#include "client/tarvexqueryworker.h"

using tarvex::Message;

/// A service to test the kit with. Its commands: "print" is answered with "printed" and counted in the state, "store"
/// saves its own settings, anything else is answered with "commandError".
class PrinterWorker : public tarvex::TarvexQueryWorker
{
    Q_OBJECT
public:
    PrinterWorker();

    void doSendState() override;
    void doApplySettings(tarvex::ClientSettings settings) override;

public Q_SLOTS:
    void answer(Message message);

private:
    QString m_paper;
    int m_printed = 0;
};

class Printer : public tarvex::TarvexController
{
public:
    Printer();
    void doStart() override;
};

#endif // PRINTER_H
