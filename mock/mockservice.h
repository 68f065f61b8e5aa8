#ifndef MOCKSERVICE_H
#define MOCKSERVICE_H

#include "client/tarvexqueryhandler.h"
#include "cmdlayer/abstracttarvexcommandsworker.h"
#include "mockanswers.h"
#include "mockdescription.h"
#include "mockevents.h"
#include "records/clientstate.h"
#include "records/message.h"

#include <QElapsedTimer>
#include <QList>
#include <QTimer>

#include <memory>

namespace tarvex {
class TarvexMessagesReciever;
}

namespace tarvex::mock {

/// One stand-in on the bus. It has both connections, like a service, and carries out commands as its description says.
///
/// It is handed to wexcor::AbstractWorkerController::addWorkerToThread(), and everything here runs in its thread. While
/// the bus is away, it tries again every second.
///
/// It does not use the library's query worker, message worker and controller. Those write log lines, and the controller
/// sends the log lines of the process to the bus. In a test these lines would look like lines of the service under
/// test.
class MockService : public AbstractTarvexCommandsWorker
{
    Q_OBJECT
public:
    MockService(const ServiceDescription& description, std::shared_ptr<MockEvents> events);
    ~MockService() override;

    bool doStart() override;
    bool doStop() override;

    /// Answers a command.
    void doExec(TarvexCommand cmd) override;

private Q_SLOTS:
    void onMessage(Message message);
    void onLost();
    void send(TarvexCommand command);

private:
    void connectToBus();
    void lookAtReceiver();
    void tryAgain(const QString& why);
    bool storeSettings();
    bool hasStoredSettings(bool& isStored);
    bool saveState();
    bool isDone(bool hasSucceeded, const QString& pattern);

    void give(const TarvexCommand& command, const Answer& answer);
    void answer(const TarvexCommand& command, const Answer& answer);
    void changeState(const StateChange& change);
    void sendFurther(const QList<SentCommand>& commands);
    void sendWaiting();
    void tell(MockEvent::Kind kind, const QString& words = {});

    const ServiceDescription m_description;
    const std::shared_ptr<MockEvents> m_events;
    const QString m_uidPrefix; ///< The uids of the commands that it sends begin with it.
    TarvexQueryHandler* const m_query;
    TarvexMessagesReciever* const m_receiver;
    MockAnswers m_answers;
    ClientState m_state;
    bool m_hasState = false;
    bool m_areSettingsStored = false;
    QList<Message> m_waiting; ///< Could not be sent yet.
    QTimer m_retryTimer{this};
    QTimer m_lookTimer{this};
    QElapsedTimer m_sinceOpen;
};

} // namespace tarvex::mock

#endif // MOCKSERVICE_H
