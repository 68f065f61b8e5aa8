#ifndef GATECOMMANDS_H
#define GATECOMMANDS_H

#include "cmdlayer/abstracttarvexcommandsworker.h"

/// The commands of the gate. Runs in a thread of its own. Every slot of this class that has a handler's signature is a
/// command, so the other functions are no slots.
class GateCommands : public AbstractTarvexCommandsWorker
{
    Q_OBJECT
public:
    bool doStart() override { return true; }

    bool doStop() override { return true; }

    /// Sends an answer to whoever sent the command of this \a uid.
    void answer(const QString& agent, const QString& uid, const QString& name, const QVariantMap& data = {});

    //! [handlers]
public Q_SLOTS:
    /// The command "open", with data: {"seconds": how long}. Answers "opened".
    QVariant open(QString agent, QString uid, QVariantMap data);

    /// The command "status", without data. Answers "statusReport".
    QVariant status(QString agent, QString uid);

    /// The command "lock", without data. Answers "locked"; from then on the gate stays shut until "unlock".
    QVariant lock(QString agent, QString uid);
    //! [handlers]

private:
    int m_timesOpened = 0;
};

#endif // GATECOMMANDS_H
