#ifndef TARVEXCONTROLLER_H
#define TARVEXCONTROLLER_H

#include "abstractworkercontroller.h"
#include "records/message.h"
#include "tarvexlib_export.h"

#include <QString>

namespace tarvex {

class TarvexMsgWorker;
class TarvexQueryWorker;

/// The object through which a service joins the bus.
///
/// A service derives from it and creates one, in its main thread.
///
/// From construction to destruction the process's log lines go to the device's log service over the bus. Those of
/// GUILOGGER() go to the screen as well. A line that comes to the query worker while its connection is not open is
/// dropped. The forwarding belongs to the process: a second controller takes it over, and it ends when the first of the
/// two is destroyed. It also ends when the service later installs a message handler of its own that does not call the
/// one before it. A controller that is never destroyed forwards until the process ends or the library is unloaded. In a
/// thread without an event loop a small object remains for each forwarded line until that thread ends.
///
/// <!-- quote: docs/snippets/reference/service.cpp#controller -->
/// \code
/// class Printer : public tarvex::TarvexController
/// {
///     Q_OBJECT
/// public:
///     Printer() : TarvexController(10000, tarvex::BUSNAME_TICKET_PRINTER, nullptr) { }
///
///     void doStart() override
///     {
///         auto* const messages = new PrinterMsgWorker(tarvex::BUSNAME_TICKET_PRINTER);
///         connect(messages, SIGNAL(unprocessedMessage(Message)), this, SLOT(show(Message)), Qt::QueuedConnection);
///         initWorkers(messages, new PrinterQueryWorker);
///     }
///
/// private Q_SLOTS:
///     void show(Message message);
/// };
/// \endcode
///
/// \see docs/first-service.md
class TARVEXLIB_EXPORT TarvexController : public wexcor::AbstractWorkerController
{
    Q_OBJECT
public:
    /// \a repeatInterval says after how many ms a log line that repeats is sent again, see TarvexLogCreator. With 1000
    /// or less every line is sent. More than 300000 counts as 300000. With an empty \a clientName no line is sent.
    ///
    /// Replaces the rules that QLoggingCategory::setFilterRules() has set before. So a service that silences a category
    /// of its own in that way does so afterwards. Rules from the environment and from Qt's configuration files stay.
    TarvexController(int repeatInterval, const QString& clientName, QObject* parent);

    /// Carries out what is queued between the workers, log lines included, takes the logging bridge down and stops the
    /// workers. AbstractWorkerController says in which order, and how long that may take. What is queued for slots of
    /// the derived class is not carried out any more. Deleting a message worker whose thread was never started takes
    /// 100 ms.
    ~TarvexController() override;

    /// Gives each worker a thread of its own, connects them with each other and with this controller, and starts the
    /// threads, the query worker's first. Either may be null. The workers belong to the controller from then on. A
    /// second call with the same workers changes nothing: a worker keeps its thread and is connected once.
    ///
    /// The service itself connects TarvexMsgWorker's stateChanged() and unprocessedMessage().
    /// \return true.
    virtual bool initWorkers(tarvex::TarvexMsgWorker* msgWorker, tarvex::TarvexQueryWorker* queryWorker);

Q_SIGNALS:
    /// The service emits it, from any thread. The query worker then reports the state at once.
    void stateChanged();

    /// The query worker's settingsChanged().
    void settingsChanged();

    /// The query worker sends this message. The logging bridge emits the signal for each log line.
    void sendLogMessage(Message msg);

private:
    const QString m_clientName;
};

} // namespace tarvex

#endif // TARVEXCONTROLLER_H
