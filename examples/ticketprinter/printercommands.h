#ifndef PRINTERCOMMANDS_H
#define PRINTERCOMMANDS_H

#include "cmdlayer/abstracttarvexcommandsworker.h"
#include "records/clientsettings.h"

#include <QTimer>

using tarvex::ClientSettings;

/// Carries out what others ask of the printer. Every slot runs in this worker's own thread, one after the other.
class PrinterCommands : public AbstractTarvexCommandsWorker
{
    Q_OBJECT
public:
    PrinterCommands();

    bool doStart() override;
    bool doStop() override;

    /// The settings that hold as long as nobody sets anything else, by group and key.
    static QVariantMap defaultSettings();

    /// Sends an answer to whoever sent the command of this \a uid.
    void answer(const QString& agent, const QString& uid, const QString& name, const QVariantMap& data);

public Q_SLOTS:
    //! [commands]
    /// The command "print", with data: {"text": what to print}. Answers "printed" with what is left of the paper.
    QVariant print(QString agent, QString uid, QVariantMap data = {}); // found without data as well

    /// The command "status", without data. Answers "statusReport" with the state.
    QVariant status(QString agent, QString uid);

    /// Takes "copies" and "paperWarning" from the group "printer"; a missing or wrong value becomes its default.
    void applySettings(ClientSettings settings);
    //! [commands]

private Q_SLOTS:
    void coolDown();

private:
    QString printTicket(const QVariant& data);
    void updateStatus();

    QTimer m_coolingTimer{this}; // a child, so that it moves to the thread together with the worker
    static constexpr int DEFAULT_COPIES = 1;
    static constexpr int DEFAULT_PAPER_WARNING = 10;

    int m_copies = DEFAULT_COPIES;
    int m_paperWarning = DEFAULT_PAPER_WARNING; ///< With this many tickets or fewer the paper is low.
};

#endif // PRINTERCOMMANDS_H
