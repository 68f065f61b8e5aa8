// Compiling this is the test: one header is enough for a query worker that uses its connection and the records.
#include "client/tarvexqueryworker.h"

class PrinterQueries : public tarvex::TarvexQueryWorker
{
    Q_OBJECT
public:
    PrinterQueries() : TarvexQueryWorker(1000, QString()) { }

    void doSendState() override
    {
        tarvex::ClientState state;
        if (handler->loadState(QString(), state)) {
            handler->saveState(state);
        }
    }

    void doApplySettings(tarvex::ClientSettings settings) override
    {
        const QVariantMap group = settings.formattedSettings().value(QString()).toMap();
        tarvex::Message message;
        message.setMessage(group.value(QString()).toString());
        if (!handler->sendMessage(message) && handler->lastOutcome().kind() == tarvex::QueryOutcome::Refused) {
            Q_EMIT refused(handler->lastOutcome().code(), handler->lastOutcome().text());
        }
    }

Q_SIGNALS:
    void refused(int code, QString text);
};

#include "queryworker_single_include.moc"
