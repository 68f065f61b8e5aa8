#include "printer.h"

#include "client/tarvexmsgworker.h"
#include "client/tarvexqueryhandler.h"
#include "cmdlayer/tarvexcommand.h"
#include "literals.h"

namespace {

constexpr int STATE_INTERVAL_MS = 60000; // reports of its own accord only when it starts
constexpr int LOG_REPEAT_INTERVAL_MS = 1000;

QString printerName()
{
    return u"printer"_s;
}

} // namespace

PrinterWorker::PrinterWorker() : TarvexQueryWorker(STATE_INTERVAL_MS, printerName()) { }

void PrinterWorker::doSendState()
{
    tarvex::ClientState state;
    state.setStateType(static_cast<tarvex::ClientState::EStateType>(1));
    state.setState(QString::number(m_printed));
    handler->saveState(state);
}

void PrinterWorker::doApplySettings(tarvex::ClientSettings settings)
{
    m_paper = settings.formattedSettings().value(u"paper"_s).toMap().value(u"kind"_s).toString();
}

void PrinterWorker::answer(Message message)
{
    TarvexCommand command;
    if (!TarvexCommand::incomingMessageToCmd(message, command)) {
        return;
    }
    const bool isKnown = command.name() == QLatin1String("print") || command.name() == QLatin1String("store");
    if (command.name() == QLatin1String("store")) {
        tarvex::ClientSettings settings;
        settings.setOwner(printerName());
        settings.setDescription(u"stored by the printer"_s);
        settings.setMailOwner(false);
        handler->saveSettings(settings);
    } else if (isKnown) {
        ++m_printed;
        sendState();
    }
    TarvexCommand reply = command;
    reply.setName(isKnown ? u"printed"_s : u"commandError"_s);
    reply.setData({{u"paper"_s, m_paper}});
    handler->sendMessage(reply.toOutgoingMessage());
}

Printer::Printer() : TarvexController(LOG_REPEAT_INTERVAL_MS, printerName(), nullptr) { }

void Printer::doStart()
{
    auto* const messages = new tarvex::TarvexMsgWorker(printerName());
    auto* const queries = new PrinterWorker;
    connect(messages, SIGNAL(unprocessedMessage(Message)), queries, SLOT(answer(Message)), Qt::QueuedConnection);
    initWorkers(messages, queries);
}
