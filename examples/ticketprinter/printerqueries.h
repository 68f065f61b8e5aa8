#ifndef PRINTERQUERIES_H
#define PRINTERQUERIES_H

#include "client/tarvexqueryworker.h"
#include "cmdlayer/tarvexcommand.h"

using tarvex::ClientSettings;

/// The printer's side of the bus: its settings, its state, its answers.
class PrinterQueries : public tarvex::TarvexQueryWorker
{
    Q_OBJECT
public:
    /// Stores \a defaults, by group and key, when the bus has no settings for the printer.
    PrinterQueries(const QString& clientName, const QVariantMap& defaults);

    void doSendState() override;

    void doApplySettings(tarvex::ClientSettings settings) override;

public Q_SLOTS:
    /// Sends an answer, after those that wait. Without a connection it waits for the next one.
    void send(TarvexCommand command);

Q_SIGNALS:
    void settingsLoaded(ClientSettings settings);

private Q_SLOTS:
    void storeDefaults();
    void sendWaiting();

private:
    const QVariantMap m_defaults;
    bool m_hasSettings = false;
    QList<TarvexCommand> m_waiting;
};

#endif // PRINTERQUERIES_H
