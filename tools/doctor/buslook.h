#ifndef BUSLOOK_H
#define BUSLOOK_H

#include "failure.h"
#include "records/clientsettings.h"

#include <QDeadlineTimer>
#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>
#include <QVariantMap>
#include <QVector>

#include <memory>
#include <optional>
#include <thread>

namespace tarvexctl::doctor {

/// What to ask the bus for, beside the handshakes.
struct Questions
{
    QString clientName; ///< Nobody else may have it, because the bus has one receiver connection for each name.
    QStringList settingsOwners;
    QStringList stateOwners;
    QDeadlineTimer loadDeadline; ///< What has not been loaded by then is left out.
};

/// What the bus has answered so far.
struct BusAnswers
{
    std::optional<Failure> queryFailure; ///< Why nothing more was asked on the query port.
    std::optional<double> handshakeMs;   ///< On the query port, connecting included; nothing until it is accepted.
    QVector<double> exchangesMs;
    QList<tarvex::ClientSettings> settings;
    QList<QVariantMap> states;
    int skippedCount = 0;                    ///< Records that were left out.
    QList<QPair<QString, QString>> refusals; ///< The owner and the bus's words for each record that it did not give.
    bool isQueryDone = false;

    std::optional<Failure> receiverFailure;
    bool isReceiverAccepted = false;
    bool isReceiverDone = false;

    bool isDone() const { return isQueryDone && isReceiverDone; }
};

/// Introduces itself on both ports of the bus and asks, in threads of its own, because the library's waits block. It
/// only reads: it saves, sends and subscribes nothing.
class BusLook
{
public:
    /// Begins.
    explicit BusLook(const Questions& questions);
    /// When answers().isDone() is false, a thread is left behind. Then the program must end by leaveAtOnce().
    ~BusLook();
    Q_DISABLE_COPY_MOVE(BusLook)

    /// Waits until all is answered, or until the time is over.
    void wait(const QDeadlineTimer& deadline);

    BusAnswers answers() const;

private:
    struct Shared;

    static void askQueryPort(Shared& shared, const Questions& questions);
    static void askReceiverPort(Shared& shared, const QString& clientName);

    const std::shared_ptr<Shared> m_shared;
    std::thread m_queryThread;
    std::thread m_receiverThread;
};

} // namespace tarvexctl::doctor

#endif // BUSLOOK_H
